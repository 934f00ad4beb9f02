#pragma once

#include "rejects_global.h"

#include <QDialog>
#include <QSqlRecord>

namespace Ui {
class FileExistDialog;
}

// Tells that a file of this name is already stored: its name, description,
// time stored and where it is attached (`storedFile` is its lrg.t_file row).
class REJECTS_EXPORT FileExistDialog : public QDialog
{
    Q_OBJECT
public:
    FileExistDialog(QSqlRecord &storedFile, QWidget *parent = nullptr);
    ~FileExistDialog() override;

private:
    Ui::FileExistDialog *ui;
};
