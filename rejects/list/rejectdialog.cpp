#include "rejectdialog.h"

#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "rejectdecoration.h"
#include "rejectsdocument.h"
#include "ui_rejectdialog.h"

#include <QApplication>
#include <QDateTime>
#include <QIcon>
#include <QLocale>
#include <QScopedPointer>
#include <QSet>
#include <QStandardItemModel>

namespace {

// The register's columns without the creator, plan-repair, product-version
// and row-version fields, with three deliberate differences: "id" takes no
// temporary keys, "c_version" keeps no value index, and
// "id_production_group_content" is indexed (and takes no width).
QVector<ColumnDecl> dialogColumns()
{
    static const QSet<QByteArray> left = {"id_product_version", "c_creator", "id_plan_order_repair",
                                          "c_plan_order_repair", "n_version"};
    QVector<ColumnDecl> columns;
    for (ColumnDecl column : RejectsDocument::registerColumns()) {
        const QByteArray name(column.name);
        if (left.contains(name))
            continue;
        if (name == "id") {
            column.step = 0;
        } else if (name == "c_version") {
            column.flags &= ~cfValueIndex;
        } else if (name == "id_production_group_content") {
            column.width = 0;
            column.flags |= cfValueIndex;
        }
        columns.append(column);
    }
    return columns;
}

} // namespace

RejectDialog::RejectDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::RejectDialog)
{
    ui->setupUi(this);

    m_table = new QDataTable(QStringLiteral("t_process_exam"), appConnection(), this);
    m_table->setScripts(QStringLiteral("PROC_EXAM_SELECT"), QString(), QString(), QString(), false);
    RejectsDocument::addColumns(m_table, dialogColumns());

    // The decoration is connected before the rows are read, so that they are
    // drawn once, already decorated.
    connect(m_table, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)), this,
            SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *)));
    m_decoration.setTable(m_table);
    m_table->setView(ui->tvRejects);
    m_table->getModel()->setSortRole(QDataTable::CurrentRole);
    m_table->open(false, false);

    ui->cbStage->addItem(tr("-= ВСЕ =-"));
    ui->cbStage->addItems(m_table->getValuesList(QStringLiteral("c_exam_stage")));
    ui->cbStatus->addItem(tr("-= ВСЕ =-"));
    ui->cbStatus->addItems(m_table->getValuesList(QStringLiteral("c_status")));

    connect(ui->chkHideReady, SIGNAL(stateChanged(int)), this, SLOT(applyFilters()));
    connect(ui->cbStage, SIGNAL(currentIndexChanged(int)), this, SLOT(applyFilters()));
    connect(ui->cbStatus, SIGNAL(currentIndexChanged(int)), this, SLOT(applyFilters()));
}

RejectDialog::~RejectDialog()
{
    if (m_table)
        m_table->setView(nullptr);
    delete ui;
}

void RejectDialog::setGroupContent(qint64 id)
{
    if (!m_table)
        return;
    if (id < 1)
        m_table->clearFilter(QStringLiteral("id_production_group_content"));
    else
        m_table->setFilter(QStringLiteral("id_production_group_content"), QString::number(id),
                           ftEqual);
}

bool RejectDialog::isRejectExists(qint64 id)
{
    QScopedPointer<QDataTable> table(
        new QDataTable(QStringLiteral("t_process_exam"), appConnection(), nullptr));
    table->setScripts(QStringLiteral("PROC_EXAM_SELECT"), QString(), QString(), QString(), false);
    table->open(false, false);
    return table->locate(QStringLiteral("id_production_group_content"), id) >= 0;
}

void RejectDialog::applyFilters()
{
    if (!m_table)
        return;
    QMap<QString, QString> wanted;
    if (ui->cbStage->currentIndex() > 0)
        wanted.insert(QStringLiteral("c_exam_stage"), ui->cbStage->currentText());
    if (ui->cbStatus->currentIndex() > 0)
        wanted.insert(QStringLiteral("c_status"), ui->cbStatus->currentText());
    if (ui->chkHideReady->isChecked())
        wanted.insert(QStringLiteral("c_solution"), QString());
    // Every call into the table re-filters all rows: one call per change.
    for (const QString &field : {QStringLiteral("c_exam_stage"), QStringLiteral("c_status"),
                                 QStringLiteral("c_solution")}) {
        if (!wanted.contains(field)) {
            if (m_filters.contains(field))
                m_table->clearFilter(field);
        } else if (!m_filters.contains(field) || m_filters.value(field) != wanted.value(field)) {
            m_table->setFilter(field, wanted.value(field), ftEqual);
        }
    }
    m_filters = wanted;
}

void RejectDialog::onGetDispInfo(int colNum, QVariant *data, QCellData *cData, QSqlRecord *record)
{
    m_decoration.decorate(colNum, data, cData, record, ui->tvRejects->font());
}
