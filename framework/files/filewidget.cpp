#include "filewidget.h"

#include "qdataset.h"

FileWidget::FileWidget(QDataSet *dataSet, QString ownerTable, QWidget *parent)
    : FileVirtualWidget(ownerTable, parent)
{
    setDataSet(dataSet);
    init();
}

void FileWidget::init()
{
    setTable(QStringLiteral("t_file_owner"));
}

void FileWidget::setTable(QString tableName)
{
    bindTable(dataSet() ? dataSet()->getTable(tableName) : nullptr);
}

bool FileWidget::saveFiles()
{
    return storePendingFiles();
}

void FileWidget::deleteFiles()
{
    moveDeletedFiles();
}

void FileWidget::photo()
{
    addPhoto();
}

void FileWidget::addFile()
{
    chooseAndAddFile();
}

void FileWidget::addImageClipboard()
{
    pasteFromClipboard();
}

void FileWidget::delFile()
{
    FileVirtualWidget::delFile();
}
