#include "rejectdialog.h"

#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "rejectdecoration.h"
#include "ui_rejectdialog.h"

#include <QApplication>
#include <QDateTime>
#include <QIcon>
#include <QLocale>
#include <QScopedPointer>
#include <QStandardItemModel>

namespace {

const QString allItems = QStringLiteral("-= ВСЕ =-");

// The header icon of the picture column (colInfo keeps a pointer to it).
QIcon *photoIcon()
{
    static QIcon icon(QStringLiteral(":/Icons/PHOTO"));
    return &icon;
}

} // namespace

RejectDialog::RejectDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::RejectDialog)
{
    ui->setupUi(this);

    m_table = new QDataTable(QStringLiteral("t_process_exam"), appConnection(), this);
    m_table->setScripts(QStringLiteral("PROC_EXAM_SELECT"), QString(), QString(), QString(), false);
    const QVariant none;
    m_table->addColumn(QStringLiteral("id"), QVariant::LongLong, false, QString(), 0, 100, none, 0,
                       QString(), nullptr);
    m_table->addColumn(QStringLiteral("n_pics"), QVariant::UInt, true, QString(), 0, 40, none, 12,
                       QStringLiteral("Есть прикрепленные изображения"), photoIcon());
    m_table->addColumn(QStringLiteral("d_create"), QVariant::DateTime, true, QStringLiteral("Дата"),
                       0, 120, none, 0, QString(), nullptr);
    m_table->addColumn(QStringLiteral("c_name"), QVariant::String, true,
                       QStringLiteral("№ документа"), 0, 100, QStringLiteral("Новый дефект"), 0,
                       QString(), nullptr);
    m_table->addColumn(QStringLiteral("c_plan_order"), QVariant::String, true,
                       QStringLiteral("План"), 0, 100, none, 0, QString(), nullptr);
    m_table->addColumn(QStringLiteral("c_version"), QVariant::String, true,
                       QStringLiteral("Изделие"), 0, 200, none, 0, QString(), nullptr);
    m_table->addColumn(QStringLiteral("c_exam_stage"), QVariant::String, true,
                       QStringLiteral("Этап отбора"), 0, 200, none, 2, QString(), nullptr);
    m_table->addColumn(QStringLiteral("c_serial"), QVariant::String, true,
                       QStringLiteral("Серийный №"), 0, 100, none, 0, QString(), nullptr);
    m_table->addColumn(QStringLiteral("c_fault"), QVariant::String, true,
                       QStringLiteral("Код дефекта"), 0, 100, none, 0, QString(), nullptr);
    m_table->addColumn(QStringLiteral("c_description"), QVariant::String, true,
                       QStringLiteral("Описание"), 0, 250, none, 0, QString(), nullptr);
    m_table->addColumn(QStringLiteral("c_status"), QVariant::String, true, QStringLiteral("Статус"),
                       0, 150, none, 2, QString(), nullptr);
    m_table->addColumn(QStringLiteral("c_solution"), QVariant::String, true,
                       QStringLiteral("Решение"), 0, 250, none, 66, QString(), nullptr);
    m_table->addColumn(QStringLiteral("b_reject"), QVariant::Bool, true,
                       QStringLiteral("Забракован"), 0, 50, false, 16, QString(), nullptr);
    m_table->addColumn(QStringLiteral("id_plan_order"), QVariant::LongLong, false, QString(), 0,
                       100, none, 0, QString(), nullptr);
    m_table->addColumn(QStringLiteral("id_fault"), QVariant::LongLong, false, QString(), 0, 100,
                       none, 0, QString(), nullptr);
    m_table->addColumn(QStringLiteral("id_production_group_content"), QVariant::LongLong, false,
                       QString(), 0, 0, none, 2, QString(), nullptr);
    m_table->addColumn(QStringLiteral("c_exam_stage_sys_name"), QVariant::String, false, QString(),
                       0, 100, none, 0, QString(), nullptr);
    m_table->addColumn(QStringLiteral("b_reaction"), QVariant::Bool, false, QString(), 0, 100, none,
                       0, QString(), nullptr);

    // The decoration is connected before the rows are read, so that they are
    // drawn once, already decorated.
    connect(m_table, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)), this,
            SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *)));
    m_decoration.setTable(m_table);
    m_table->setView(ui->tvRejects);
    m_table->getModel()->setSortRole(QDataTable::CurrentRole);
    m_table->open(false, false);

    ui->cbStage->addItem(allItems);
    ui->cbStage->addItems(m_table->getValuesList(QStringLiteral("c_exam_stage")));
    ui->cbStatus->addItem(allItems);
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
