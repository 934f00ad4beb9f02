#include "comentdialog.h"

#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "taskdialog.h"
#include "ui_comentdialog.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPushButton>
#include <QSignalBlocker>

ComentDialog::ComentDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::ComentDialog)
{
    ui->setupUi(this);
    ui->buttonBox->button(QDialogButtonBox::Ok)->setEnabled(false);
    ui->btTask->setVisible(false);
    ui->chkCorrection->setVisible(false);
    ui->cbReject->setVisible(false);
}

ComentDialog::~ComentDialog()
{
    delete ui;
}

void ComentDialog::setData(const QString &text, bool readOnly)
{
    {
        const QSignalBlocker blocker(ui->teComent);
        ui->teComent->setPlainText(text);
    }
    ui->teComent->setReadOnly(readOnly);
    on_teComent_textChanged();
}

void ComentDialog::setTaskId(qint64 id, const QString &text)
{
    m_taskText = text;
    QSqlConnection *connection = appConnection();
    ui->btTask->setVisible(id >= 1 && connection &&
                           connection->canDo(QStringLiteral("TASK_CREATOR")));
}

void ComentDialog::on_teComent_textChanged()
{
    ui->buttonBox->button(QDialogButtonBox::Ok)->setEnabled(!ui->teComent->toPlainText().isEmpty());
}

void ComentDialog::on_chkCorrection_toggled(bool checked)
{
    // The sentence is offered once, as a starting text.
    if (!checked || m_correctionInserted)
        return;
    ui->teComent->append(ui->chkCorrection->text());
    m_correctionInserted = true;
}

void ComentDialog::on_btTask_clicked()
{
    TaskDialog dialog(m_taskText, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    ui->teComent->append(QStringLiteral("\n%1: %2").arg(dialog.taskExec(), dialog.task()));
}

void ComentDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
