#include "qcommentdialog.h"

#include "ui_qcommentdialog.h"

#include <QPushButton>

QCommentDialog::QCommentDialog(QString text, bool readOnly, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::qCommentDialog)
{
    ui->setupUi(this);
    ui->buttonBox->button(QDialogButtonBox::Ok)->setEnabled(false);
    if (text.isEmpty()) {
        setWindowTitle(tr("Add comment"));
    } else {
        ui->teComment->setPlainText(text);
        ui->teComment->setReadOnly(readOnly);
        setWindowTitle(readOnly ? tr("View comment") : tr("Edit comment"));
    }
}

QCommentDialog::~QCommentDialog()
{
    delete ui;
}

QString QCommentDialog::text() const
{
    return ui->teComment->toPlainText();
}

void QCommentDialog::accept()
{
    if (text().isEmpty())
        return;
    QDialog::accept();
}

void QCommentDialog::on_teComment_textChanged()
{
    ui->buttonBox->button(QDialogButtonBox::Ok)->setEnabled(!text().isEmpty());
}
