#include "plandialog.h"

#include "qdataset.h"
#include "qdatatable.h"
#include "ui_plandialog.h"

#include <QDateTime>
#include <QItemSelectionModel>
#include <QLocale>
#include <QPushButton>
#include <QSignalBlocker>

namespace {

QPushButton *okButton(Ui::PlanDialog *ui)
{
    return ui->buttonBox->button(QDialogButtonBox::Ok);
}

QVariant nullIfNone(const QVariant &data)
{
    return data.isValid() ? data : QVariant(QVariant::LongLong);
}

} // namespace

PlanDialog::PlanDialog(QDataSet *dataSet, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::PlanDialog)
    , m_dataSet(dataSet)
{
    ui->setupUi(this);
    ui->btRefresh->setIcon(QIcon(QStringLiteral(":/commonIcon/REFRESH")));
    const QSignalBlocker blocker(ui->cbUnit);
    if (m_dataSet) {
        m_families = m_dataSet->getTable(QStringLiteral("t_units_item_family"));
        m_plans = m_dataSet->getTable(QStringLiteral("t_plan_order"));
    }
    fillUnits();
    if (m_plans) {
        m_plans->setView(ui->tvPlan);
        connect(m_plans, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)), this,
                SLOT(onGetDispInfo(int, QVariant *, QCellData *)));
        connect(ui->tvPlan->selectionModel(), &QItemSelectionModel::currentChanged, this,
                &PlanDialog::onPlanSelected);
    }
    ui->cbUnit->setCurrentIndex(-1);
    ui->cbProduction->setEnabled(false);
    connect(ui->cbProduction, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &PlanDialog::refresh);
    connect(ui->edSerial, &QLineEdit::textChanged, this, &PlanDialog::refresh);
    connect(ui->btRefresh, &QToolButton::clicked, this, &PlanDialog::refresh);
    connect(ui->edSerial, &QLineEdit::returnPressed, ui->btRefresh, &QToolButton::click);
    okButton(ui)->setEnabled(false);
}

PlanDialog::~PlanDialog()
{
    if (m_plans)
        m_plans->setView(nullptr);
    delete ui;
}

// Units that make item families, in the order of the unit table.
void PlanDialog::fillUnits()
{
    QDataTable *units = m_dataSet ? m_dataSet->getTable(QStringLiteral("t_prod_units")) : nullptr;
    if (!m_families || !units)
        return;
    m_families->open(false, false);
    const QStringList withFamilies = m_families->getValuesList(QStringLiteral("c_sys_name"));
    units->open(false, false);
    for (int row = 0; row < units->rowCount(); ++row) {
        const QString name = units->getField(QStringLiteral("c_name"), row).toString();
        if (withFamilies.contains(name))
            ui->cbUnit->addItem(name, units->getField(QStringLiteral("id"), row));
    }
}

void PlanDialog::on_cbUnit_currentIndexChanged(int index)
{
    if (index < 0) {
        ui->cbProduction->setEnabled(false);
        return;
    }
    {
        const QSignalBlocker blocker(ui->cbProduction);
        ui->cbProduction->clear();
        if (m_families) {
            QDataTable tmp(QStringLiteral("tmp"), nullptr);
            m_families->getRows(&tmp, QStringLiteral("c_sys_name"), ui->cbUnit->currentText());
            for (int row = 0; row < tmp.rowCount(); ++row)
                ui->cbProduction->addItem(tmp.getField(QStringLiteral("c_name"), row).toString(),
                                          tmp.getField(QStringLiteral("id"), row));
        }
        ui->cbProduction->setCurrentIndex(-1);
        ui->cbProduction->setEnabled(true);
    }
    refresh();
}

void PlanDialog::refresh()
{
    if (!m_plans)
        return;
    m_plans->close();
    m_plans->setSelectParam(QStringLiteral("id_unit"), nullIfNone(ui->cbUnit->currentData()));
    m_plans->setSelectParam(QStringLiteral("id_version"),
                            nullIfNone(ui->cbProduction->currentData()));
    m_plans->setSelectParam(QStringLiteral("c_serial"), ui->edSerial->text());
    m_plans->open(false, false);
    onPlanSelected();
}

void PlanDialog::onPlanSelected()
{
    okButton(ui)->setEnabled(false);
    m_planName.clear();
    if (!m_plans || m_plans->getTableState() != 0)
        return;
    const QModelIndex current = ui->tvPlan->currentIndex();
    if (!current.isValid())
        return;
    const QSqlRecord record = m_plans->getRecord(current.row());
    if (record.isEmpty())
        return;
    m_plan = record.value(QStringLiteral("id")).toLongLong();
    m_planName = record.value(QStringLiteral("c_plan_name")).toString();
    okButton(ui)->setEnabled(true);
}

// The creation and closing dates as dates of the system locale.
void PlanDialog::onGetDispInfo(int column, QVariant *value, QCellData *)
{
    if ((column != 4 && column != 5) || !value)
        return;
    const QDateTime moment = value->toDateTime();
    *value = moment.isValid() ? QLocale::system().toString(moment.date(), QLocale::ShortFormat)
                              : QString();
}

void PlanDialog::setData(QSqlRecord reject)
{
    m_plan = reject.value(QStringLiteral("id_plan_order")).toLongLong();
    if (!m_plans)
        return;
    // Unfiltered, so that the defect's plan is found whatever was chosen last.
    m_plans->close();
    m_plans->clearAllFilters();
    for (const char *name : {"id_unit", "id_version"})
        m_plans->setSelectParam(QLatin1String(name), QVariant(QVariant::LongLong));
    m_plans->setSelectParam(QStringLiteral("c_serial"), QString());
    m_plans->open(false, false);
    if (m_plan <= 0 || m_plans->locate(QStringLiteral("id"), m_plan) < 0)
        return;
    const QVariant unit = m_plans->getField(QStringLiteral("id_unit"));
    const QVariant version = m_plans->getField(QStringLiteral("id_prod_ver"));
    {
        const QSignalBlocker unitBlocker(ui->cbUnit);
        const QSignalBlocker productBlocker(ui->cbProduction);
        const QSignalBlocker serialBlocker(ui->edSerial);
        ui->cbUnit->setCurrentIndex(ui->cbUnit->findData(unit));
        on_cbUnit_currentIndexChanged(ui->cbUnit->currentIndex());
        ui->cbProduction->setCurrentIndex(ui->cbProduction->findData(version));
        ui->edSerial->setText(reject.value(QStringLiteral("c_serial")).toString());
    }
    refresh();
    showChosenPlan();
}

void PlanDialog::showChosenPlan()
{
    const int row = m_plans->locate(QStringLiteral("id"), m_plan);
    if (row < 0)
        return;
    const QModelIndex index = ui->tvPlan->model()->index(row, 0);
    ui->tvPlan->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect |
                                                             QItemSelectionModel::Rows);
}

qint64 PlanDialog::serial() const
{
    QDataTable *serials = m_dataSet ? m_dataSet->getTable(QStringLiteral("t_serial")) : nullptr;
    if (!serials || m_plan <= 0)
        return -1;
    if (!serials->isOpen())
        serials->open(false, false);
    const int row =
        serials->locate(QStringList{QStringLiteral("c_serial"), QStringLiteral("id_plan_order")},
                        QList<QVariant>{ui->edSerial->text(), m_plan});
    return row < 0 ? -1 : serials->getField(QStringLiteral("id"), row).toLongLong();
}

void PlanDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
