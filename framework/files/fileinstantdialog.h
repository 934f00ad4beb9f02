#pragma once

#include "rejects_global.h"

#include <QDialog>
#include <QSqlRecord>

class FileInstantWidget;

namespace Ui {
class FileInstantDialog;
}

// The attachments of one owner record in a dialog of their own (changes are
// written at once). For choosing a file, setSelected(true) offers "Выбрать"
// and "Отмена"; otherwise only "Закрыть".
class REJECTS_EXPORT FileInstantDialog : public QDialog
{
    Q_OBJECT
public:
    FileInstantDialog(QString ownerTable, qint64 key, QWidget *parent = nullptr);
    ~FileInstantDialog() override;

    void setReadOnly(bool readOnly);
    void setSelected(bool selected);
    QSqlRecord getCurrentRecord();
    FileInstantWidget *fileWidget() const { return m_files; }

private:
    Ui::FileInstantDialog *ui;
    FileInstantWidget *m_files;
};
