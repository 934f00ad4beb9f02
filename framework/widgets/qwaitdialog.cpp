#include "qwaitdialog.h"

#include "qchasewidget.h"
#include "ui_qwaitdialog.h"

#include <QHBoxLayout>
#include <QKeyEvent>

QWaitDialog::QWaitDialog(QString text, QWidget *parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint)
    , ui(new Ui::QWaitDialog)
{
    ui->setupUi(this);
    setModal(true);
    auto *layout = new QHBoxLayout(ui->lbWait);
    layout->setContentsMargins(0, 0, 0, 0);
    m_chase = new QChaseWidget(ui->lbWait);
    layout->addWidget(m_chase);
    if (!text.isEmpty())
        setText(text);
}

QWaitDialog::~QWaitDialog()
{
    delete ui;
}

void QWaitDialog::setText(QString text)
{
    ui->lbText->setText(text);
}

QString QWaitDialog::text() const
{
    return ui->lbText->text();
}

void QWaitDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}

void QWaitDialog::showEvent(QShowEvent *event)
{
    m_chase->setAnimated(true);
    QDialog::showEvent(event);
}

void QWaitDialog::hideEvent(QHideEvent *event)
{
    m_chase->setAnimated(false);
    QDialog::hideEvent(event);
}

void QWaitDialog::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}
