#include "fileexistdialog.h"

#include "ui_fileexistdialog.h"

#include <QDateTime>
#include <QLocale>

FileExistDialog::FileExistDialog(QSqlRecord &storedFile, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::FileExistDialog)
{
    ui->setupUi(this);
    ui->lbName->setText(tr("Файл с именем %1 уже существует")
                            .arg(storedFile.value(QStringLiteral("c_file")).toString()));
    ui->lbComment->setText(
        tr("Описание: %1").arg(storedFile.value(QStringLiteral("c_comment")).toString()));
    ui->lbCreated->setText(
        tr("Создан %1")
            .arg(QLocale().toString(storedFile.value(QStringLiteral("d_create")).toDateTime(),
                                    QLocale::ShortFormat)));
    ui->tvUse->setData(storedFile.value(QStringLiteral("id")).toLongLong());
}

FileExistDialog::~FileExistDialog()
{
    delete ui;
}
