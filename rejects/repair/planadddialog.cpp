#include "planadddialog.h"

#include "qdatatable.h"
#include "recordhelpers.h"
#include "ui_planadddialog.h"

#include <QDate>
#include <QMessageBox>

PlanAddDialog::PlanAddDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::PlanAddDialog)
{
    ui->setupUi(this);
    ui->deShipmentPlan->setDate(QDate::currentDate());
    QSqlConnection *connection = appConnection();
    m_types = new QDataTable(QStringLiteral("t_plan_order_type"), connection, this);
    m_types->setScripts(QStringLiteral("PLAN_ORDER_TYPE_SELECT"), QString(), QString(), QString());
    fillComboBox(ui->cbType, m_types, QStringLiteral("c_name"), QStringLiteral("id"));
    ui->cbType->setCurrentIndex(-1);
    m_units = new QDataTable(QStringLiteral("t_prod_units"), connection, this);
    m_units->setScripts(QStringLiteral("PROD_UNITS_SELECT"), QString(), QString(), QString());
    fillComboBox(ui->cbUnit, m_units, QStringLiteral("c_name"), QStringLiteral("id"));
}

PlanAddDialog::~PlanAddDialog()
{
    delete ui;
}

void PlanAddDialog::setPlanRec(QSqlRecord &record) const
{
    record.setValue(QStringLiteral("c_coment"), ui->leComment->toPlainText());
    record.setValue(QStringLiteral("id_type"), ui->cbType->currentData());
    record.setValue(QStringLiteral("n_priority"), ui->sbPriority->value());
    record.setValue(QStringLiteral("n_qnt"), 1);
    record.setValue(QStringLiteral("d_shipment_plan"), ui->deShipmentPlan->date());
    record.setValue(QStringLiteral("id_unit"), ui->cbUnit->currentData());
    record.setNull(QStringLiteral("id_prod_ver"));
}

void PlanAddDialog::accept()
{
    if (ui->cbType->currentIndex() < 0) {
        QMessageBox::warning(this, tr("Внимание!"), tr("Не задан тип"));
        return;
    }
    if (ui->cbUnit->currentIndex() < 0) {
        QMessageBox::warning(this, tr("Внимание!"), tr("Не выбран участок"));
        return;
    }
    QDialog::accept();
}

void PlanAddDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
