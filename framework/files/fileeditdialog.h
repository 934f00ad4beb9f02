#pragma once

#include "rejects_global.h"

#include <QDialog>
#include <QSqlRecord>

namespace Ui {
class FileEditDialog;
}

// Edits an attachment: its description and, in the checkable group
// "Заменить файл", a new file to replace the stored one, with the list of the
// places that share the stored file (they all see the new content).
class REJECTS_EXPORT FileEditDialog : public QDialog
{
    Q_OBJECT
public:
    FileEditDialog(QSqlRecord record, QWidget *parent = nullptr);
    ~FileEditDialog() override;

    // True when the record is a stored file (id > 0) and a new file was chosen.
    bool isNewFile() const;
    // Allows replacing only when `on` and the record is a stored file; the
    // replace group starts unchecked.
    void setFileEdit(bool on);
    QString comment() const;
    // The chosen new file (full path); empty when none.
    QString newFileName() const { return m_newFile; }

public slots:
    // Asks for the new file.
    void selectFile();

private slots:
    void on_btSelectFile_clicked();

private:
    qint64 storedId() const;

    Ui::FileEditDialog *ui;
    QSqlRecord m_record;
    QString m_newFile;
};
