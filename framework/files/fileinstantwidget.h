#pragma once

#include "filevirtualwidget.h"

// The attachments of one owner record, written to the database at once: each
// addition, description change, replacement or deletion is stored and
// committed through the widget's own data set ("File_instant_widget_dataset":
// the attachment table "t_file_owner" and the user names "t_user").
class REJECTS_EXPORT FileInstantWidget : public FileVirtualWidget
{
    Q_OBJECT
public:
    FileInstantWidget(QString ownerTable, QWidget *parent = nullptr);

    QSqlRecord getCurrentRecord();

public slots:
    void init() override;
    void photo() override;
    void addFile() override;
    void addImageClipboard() override;
    void editFile() override;
    void delFile() override;

private:
    // Stores the pending contents, commits and reads the list again; on a
    // failure the changes are undone.
    bool writeNow();
};
