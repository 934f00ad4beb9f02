#pragma once

#include "filevirtualwidget.h"

class QDataSet;

// The attachments of one owner record as a table of the owner's own data set
// (by default "t_file_owner"). Changes stay pending until the owner saves:
//
//   files->saveFiles();        // store new contents, attach copied files
//   dataSet->commit(...);      // FILE_OWNER_INSERT / UPDATE / DELETE
//   files->deleteFiles();      // move files nothing stores any more aside
//
// saveFiles answers false when a content could not be stored; the rows stay
// pending then, and the owner should not commit.
class REJECTS_EXPORT FileWidget : public FileVirtualWidget
{
    Q_OBJECT
public:
    FileWidget(QDataSet *dataSet, QString ownerTable, QWidget *parent = nullptr);

    // Binds the data set's table of that name instead.
    void setTable(QString tableName);
    bool saveFiles();
    void deleteFiles();

public slots:
    void init() override;
    void photo() override;
    void addFile() override;
    void addImageClipboard() override;
    void delFile() override;
};
