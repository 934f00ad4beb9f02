#include "fileinstantdialog.h"

#include "fileinstantwidget.h"
#include "ui_fileinstantdialog.h"

FileInstantDialog::FileInstantDialog(QString ownerTable, qint64 key, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::FileInstantDialog)
    , m_files(new FileInstantWidget(ownerTable, this))
{
    ui->setupUi(this);
    ui->verticalLayout->insertWidget(0, m_files, 1);
    m_files->setData(key);
    setSelected(false);
}

FileInstantDialog::~FileInstantDialog()
{
    delete ui;
}

void FileInstantDialog::setReadOnly(bool readOnly)
{
    m_files->setReadOnly(readOnly);
}

void FileInstantDialog::setSelected(bool selected)
{
    ui->btSelect->setVisible(selected);
    ui->btCancel->setVisible(selected);
    ui->btClose->setVisible(!selected);
}

QSqlRecord FileInstantDialog::getCurrentRecord()
{
    return m_files->getCurrentRecord();
}
