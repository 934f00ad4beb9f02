#include "fileinstantwidget.h"

#include "qdataset.h"
#include "qdatatable.h"
#include "recordhelpers.h"

FileInstantWidget::FileInstantWidget(QString ownerTable, QWidget *parent)
    : FileVirtualWidget(ownerTable, parent)
{
    auto *set = new QDataSet(this);
    set->setObjectName(QStringLiteral("File_instant_widget_dataset"));
    auto *files = new QDataTable(QStringLiteral("t_file_owner"), appConnection(), set);
    files->setScripts(QStringLiteral("FILE_OWNER_SELECT"), QStringLiteral("FILE_OWNER_UPDATE"),
                      QStringLiteral("FILE_OWNER_INSERT"), QStringLiteral("FILE_OWNER_DELETE"));
    addAttachmentColumns(files);
    set->addTable(files);
    auto *users = new QDataTable(QStringLiteral("t_user"), appConnection(), set);
    users->setScripts(QStringLiteral("SELECT id, c_name FROM sys.t_user;"), QString(), QString(),
                      QString(), true);
    set->addTable(users);
    users->open();
    setDataSet(set);
    init();
}

void FileInstantWidget::init()
{
    bindTable(dataSet()->getTable(QStringLiteral("t_file_owner")));
}

QSqlRecord FileInstantWidget::getCurrentRecord()
{
    const int row = currentRow();
    return row >= 0 ? table()->getRecord(row) : QSqlRecord();
}

bool FileInstantWidget::writeNow()
{
    const bool written = storePendingFiles() && dataSet()->commit(appConnection());
    if (written)
        moveDeletedFiles();
    else
        dataSet()->rollback();
    refresh();
    return written;
}

void FileInstantWidget::photo()
{
    if (addPhoto())
        writeNow();
}

void FileInstantWidget::addFile()
{
    if (chooseAndAddFile())
        writeNow();
}

void FileInstantWidget::addImageClipboard()
{
    if (pasteFromClipboard())
        writeNow();
}

void FileInstantWidget::editFile()
{
    FileVirtualWidget::editFile();
    if (table() && table()->isModified())
        writeNow();
}

void FileInstantWidget::delFile()
{
    if (deleteCurrentRow())
        writeNow();
}
