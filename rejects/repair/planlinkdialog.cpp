#include "planlinkdialog.h"

#include "qdatatable.h"
#include "recordhelpers.h"
#include "ui_planlinkdialog.h"

#include <QMessageBox>

namespace {

const char *const linkableSql =
    "SELECT po.id, d.c_name, po.c_coment, t.c_name AS c_type, s.c_name AS c_state, ru.c_name AS "
    "c_unit FROM docs.t_plan_order po JOIN docs.t_doc d ON d.id = po.id_doc AND NOT d.b_is_del "
    "JOIN docs.t_plan_order_type t ON t.id = po.id_type JOIN docs.t_plan_order_state s ON s.id = "
    "po.id_state JOIN prod.t_reference_units ru ON ru.id = po.id_unit WHERE po.id_prod_ver IS "
    "NULL AND NOT po.b_is_del AND 2 != po.id_state AND po.id NOT IN (SELECT id_plan_order_repair "
    "FROM docs.t_process_exam WHERE id_plan_order_repair IS NOT NULL) ORDER BY d.c_name;";

} // namespace

PlanLinkDialog::PlanLinkDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::PlanLinkDialog)
{
    ui->setupUi(this);
    m_plans = new QDataTable(QStringLiteral("t_plan"), appConnection(), this);
    m_plans->setScripts(QLatin1String(linkableSql), QString(), QString(), QString(), true);
    m_plans->addColumn(QStringLiteral("c_name"), QVariant::String, true, tr("План"), 0, 100);
    m_plans->addColumn(QStringLiteral("c_coment"), QVariant::String, true, tr("Описание"), 0, 500);
    m_plans->addColumn(QStringLiteral("c_type"), QVariant::String, true, tr("Тип"), 0, 150);
    m_plans->addColumn(QStringLiteral("c_state"), QVariant::String, true, tr("Состояние"), 0, 200);
    m_plans->addColumn(QStringLiteral("c_unit"), QVariant::String, true, tr("Участок"), 0, 200);
    m_plans->addColumn(QStringLiteral("id"), QVariant::LongLong, false);
    m_plans->setView(ui->tvPlan);
    m_plans->open(false, false);
}

PlanLinkDialog::~PlanLinkDialog()
{
    delete ui;
}

QSqlRecord PlanLinkDialog::getPlanRec() const
{
    const int row = m_plans->getViewCurrentRow();
    return row < 0 ? QSqlRecord() : m_plans->getRecord(row);
}

void PlanLinkDialog::accept()
{
    if (m_plans->getViewCurrentRow() < 0) {
        QMessageBox::warning(this, tr("Внимание!"), tr("План не выбран"));
        return;
    }
    QDialog::accept();
}

void PlanLinkDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
