#include "faultcodeeditdialog.h"

#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "ui_faultcodeeditdialog.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMessageBox>

FaultCodeEditDialog::FaultCodeEditDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::FaultCodeEditDialog)
{
    ui->setupUi(this);

    QSqlConnection *connection = appConnection();
    m_types = new QDataTable(QStringLiteral("t_fault_type"), connection, this);
    m_types->setScripts(QStringLiteral("FAULT_TYPE_SELECT"), QString(), QString(), QString(),
                        false);
    fillComboBox(ui->comboBoxType, m_types, QStringLiteral("c_name"), QStringLiteral("id"),
                 QString(), QVariant());
    ui->comboBoxType->setCurrentIndex(-1);

    connect(ui->lineEditDescription, &QLineEdit::textChanged, this,
            &FaultCodeEditDialog::updateButtons);
    connect(ui->comboBoxType, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &FaultCodeEditDialog::updateButtons);
    updateButtons();
}

FaultCodeEditDialog::~FaultCodeEditDialog()
{
    delete ui;
}

void FaultCodeEditDialog::setType(qint64 idType)
{
    ui->comboBoxType->setCurrentIndex(ui->comboBoxType->findData(QVariant(qlonglong(idType))));
}

void FaultCodeEditDialog::setRecord(const QSqlRecord &record)
{
    ui->lineEditCode->setText(record.value(QStringLiteral("c_name")).toString());
    ui->lineEditDescription->setText(record.value(QStringLiteral("c_description")).toString());
    setType(record.value(QStringLiteral("id_type")).toLongLong());
}

bool FaultCodeEditDialog::getRecord(QSqlRecord &record) const
{
    if (!check())
        return false;
    record.setValue(QStringLiteral("c_description"), description());
    record.setValue(QStringLiteral("id_type"), QVariant(qlonglong(selectedType())));
    return true;
}

bool FaultCodeEditDialog::check() const
{
    return !description().isEmpty() && selectedType() > 0;
}

void FaultCodeEditDialog::updateButtons()
{
    ui->pushButtonAccept->setEnabled(check());
}

void FaultCodeEditDialog::accept()
{
    if (check()) {
        QDialog::accept();
        return;
    }
    // Both problems are named, one after the other.
    if (description().isEmpty())
        QMessageBox::warning(this, tr("Внимание"), tr("Не задано описание"));
    if (selectedType() < 1)
        QMessageBox::warning(this, tr("Внимание"), tr("Не выбран тип"));
}

void FaultCodeEditDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}

QString FaultCodeEditDialog::description() const
{
    return ui->lineEditDescription->text().trimmed();
}

qint64 FaultCodeEditDialog::selectedType() const
{
    return ui->comboBoxType->currentData().toLongLong();
}
