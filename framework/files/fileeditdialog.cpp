#include "fileeditdialog.h"

#include "ui_fileeditdialog.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>

FileEditDialog::FileEditDialog(QSqlRecord record, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::FileEditDialog)
    , m_record(record)
{
    ui->setupUi(this);
    ui->leComment->setText(record.value(QStringLiteral("c_comment")).toString());
    ui->lbOldFile->setText(tr("Старый файл: ") + record.value(QStringLiteral("c_file")).toString());
    ui->lbNewFile->setText(tr("Новый файл: "));
    if (!record.contains(QStringLiteral("id")) || record.value(QStringLiteral("id")).isNull())
        QMessageBox::warning(this, tr("Внимание!"), tr("Запись не найдена"));
    else
        ui->tvUse->setData(storedId());
}

FileEditDialog::~FileEditDialog()
{
    delete ui;
}

qint64 FileEditDialog::storedId() const
{
    return m_record.value(QStringLiteral("id")).toLongLong();
}

bool FileEditDialog::isNewFile() const
{
    return storedId() > 0 && !m_newFile.isEmpty() && ui->gbReplace->isChecked();
}

void FileEditDialog::setFileEdit(bool on)
{
    ui->gbReplace->setCheckable(on && storedId() >= 1);
    ui->gbReplace->setChecked(false);
    ui->gbReplace->setEnabled(on && storedId() >= 1);
}

QString FileEditDialog::comment() const
{
    return ui->leComment->text();
}

void FileEditDialog::selectFile()
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Прикрепить файл"), QString(), tr("Все файлы (*.*)"));
    if (path.isEmpty())
        return;
    m_newFile = path;
    ui->lbNewFile->setText(tr("Новый файл: ") + QFileInfo(path).fileName());
}

void FileEditDialog::on_btSelectFile_clicked()
{
    selectFile();
}
