#include "tabitemseditor.h"

#include "callouts.h"
#include "itemdialog.h"
#include "planadddialog.h"
#include "planlinkdialog.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "qwaitdialog.h"
#include "recordhelpers.h"
#include "ui_tabitemseditor.h"

#include <QApplication>
#include <QDoubleSpinBox>
#include <QMessageBox>
#include <QSqlQuery>
#include <QTreeWidgetItem>

extern "C" QDataSet *getDocument(QObject *parent);

namespace {

const int idRole = Qt::UserRole;
const int kindRole = Qt::UserRole + 1;
enum ItemKind { TypeItem = 0, FamilyItem = 1, PlaceholderItem = 2 };

bool isPlaceholder(const QTreeWidgetItem *item)
{
    return item && item->data(0, kindRole).toInt() == PlaceholderItem;
}

} // namespace

TabItemsEditor::TabItemsEditor(QWidget *editor)
    : QWidget(editor)
    , ui(new Ui::TabItemsEditor)
{
    ui->setupUi(this);
    ui->btRefreshTree->setIcon(QIcon(QStringLiteral(":/commonIcon/REFRESH")));
    ui->btAddItem->setIcon(QIcon(QStringLiteral(":/commonIcon/NEW")));
    ui->btEditItem->setIcon(QIcon(QStringLiteral(":/commonIcon/EDIT")));
    ui->btDeleteItem->setIcon(QIcon(QStringLiteral(":/commonIcon/DELETE")));
    ui->labelStatus->hide();

    m_dataSet = getDocument(qApp);
    if (m_dataSet) {
        m_types = m_dataSet->getTable(QStringLiteral("t_item_type"));
        m_families = m_dataSet->getTable(QStringLiteral("t_item_family"));
        m_stock = m_dataSet->getTable(QStringLiteral("t_family_in_store"));
        m_content = m_dataSet->getTable(QStringLiteral("t_store_order_content"));
        m_exams = m_dataSet->getTable(QStringLiteral("t_process_exam"));
    }
    if (m_content) {
        m_content->setView(ui->tvContent);
        connect(m_content, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)),
                this, SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)));
        connect(ui->tvContent->selectionModel(), &QItemSelectionModel::currentChanged, this,
                &TabItemsEditor::updateButtons);
    }
    connect(ui->btRefreshTree, &QToolButton::clicked, this, &TabItemsEditor::createTree);
    connect(ui->leSearch, &QLineEdit::textChanged, this, &TabItemsEditor::search);
    connect(ui->trwItems, &QTreeWidget::itemExpanded, this, &TabItemsEditor::onExpanded);
    connect(ui->trwItems, &QTreeWidget::currentItemChanged, this, &TabItemsEditor::updateButtons);
    connect(ui->pushButtonPlanLink, &QPushButton::clicked, this, &TabItemsEditor::linkPlan);
    connect(ui->pushButtonPlanAdd, &QPushButton::clicked, this, &TabItemsEditor::addPlan);
    connect(ui->btAddItem, &QToolButton::clicked, this, &TabItemsEditor::addElement);
    connect(ui->btEditItem, &QToolButton::clicked, this, &TabItemsEditor::editElement);
    connect(ui->btDeleteItem, &QToolButton::clicked, this, &TabItemsEditor::deleteElement);
    connect(ui->btHistory, &QToolButton::clicked, this, &TabItemsEditor::reportHistory);
    connect(ui->btHistoryTree, &QToolButton::clicked, this, &TabItemsEditor::reportHistoryTree);
    updateButtons();
}

TabItemsEditor::~TabItemsEditor()
{
    delete ui;
}

void TabItemsEditor::setRecord(QSqlRecord *reject)
{
    m_reject = reject;
    refresh();
}

QSqlRecord TabItemsEditor::record() const
{
    return m_reject ? *m_reject : m_ownReject;
}

QSqlRecord &TabItemsEditor::reject()
{
    return m_reject ? *m_reject : m_ownReject;
}

// Without an editor's record the page's plan changes go into the defect's
// row of the register, where the data set commits them.
void TabItemsEditor::storeReject()
{
    if (m_reject || !m_exams || m_ownReject.isEmpty())
        return;
    const int row = m_exams->rowOf(m_examIdentity);
    if (row >= 0)
        m_exams->setRow(row, m_ownReject);
}

void TabItemsEditor::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (!m_treeBuilt)
        createTree();
    refresh();
}

// ------------------------------------------------------------ catalogue -----

void TabItemsEditor::createTree()
{
    m_treeBuilt = true;
    ui->trwItems->clear();
    QCoreApplication::processEvents();
    if (!m_content || !m_types || !m_families)
        return;
    showStatus(true);
    for (QDataTable *table : {m_types, m_families}) {
        table->close();
        table->open(false, false);
    }
    indexCatalogue();
    QList<QTreeWidgetItem *> roots;
    for (int row : m_typeRows.value(0))
        roots.append(addTypeItem(nullptr, row));
    ui->trwItems->addTopLevelItems(roots);
    ui->trwItems->sortItems(0, Qt::AscendingOrder);
    search();
    showStatus(false);
    updateButtons();
}

void TabItemsEditor::indexCatalogue()
{
    m_typeRows.clear();
    m_familyRows.clear();
    m_typeRowById.clear();
    m_stockByFamily.clear();
    m_stockRead = false;
    const QString id = QStringLiteral("id");
    const QString parent = QStringLiteral("id_parent");
    const QString type = QStringLiteral("id_type");
    for (int row = 0, rows = m_types->rowCount(); row < rows; ++row) {
        const qint64 typeId = m_types->getField(id, row).toLongLong();
        m_typeRowById.insert(typeId, row);
        m_typeRows[m_types->getField(parent, row).toLongLong()].append(row);
    }
    for (int row = 0, rows = m_families->rowCount(); row < rows; ++row)
        m_familyRows[m_families->getField(type, row).toLongLong()].append(row);
}

// Stock quantities summed over the stores, read with the first family shown.
void TabItemsEditor::readStock()
{
    m_stockRead = true;
    if (!m_stock)
        return;
    m_stock->close();
    m_stock->open(false, false);
    const QString family = QStringLiteral("id_item_family");
    const QString qty = QStringLiteral("n_qty");
    for (int row = 0, rows = m_stock->rowCount(); row < rows; ++row)
        m_stockByFamily[m_stock->getField(family, row).toLongLong()] +=
            m_stock->getField(qty, row).toDouble();
}

bool TabItemsEditor::hasContent(qint64 idType) const
{
    return m_typeRows.contains(idType) || m_familyRows.contains(idType);
}

QTreeWidgetItem *TabItemsEditor::addTypeItem(QTreeWidgetItem *parent, int row)
{
    static const QIcon typeIcon(QStringLiteral(":/Icons/TYPE"));
    const qint64 id = m_types->getField(QStringLiteral("id"), row).toLongLong();
    auto *item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem();
    item->setText(0, m_types->getField(QStringLiteral("c_name"), row).toString());
    item->setIcon(0, typeIcon);
    item->setData(0, idRole, id);
    item->setData(0, kindRole, TypeItem);
    if (hasContent(id)) {
        auto *fake = new QTreeWidgetItem(item);
        fake->setText(0, QStringLiteral("<FAKE>"));
        fake->setData(0, kindRole, PlaceholderItem);
    }
    return item;
}

void TabItemsEditor::addFamilyTreeChild(QTreeWidgetItem *parent, qint64 idType)
{
    static const QIcon familyIcon(QStringLiteral(":/Icons/FAMILY"));
    const QVector<int> rows = m_familyRows.value(idType);
    if (!rows.isEmpty() && !m_stockRead)
        readStock();
    for (int row : rows) {
        const qint64 id = m_families->getField(QStringLiteral("id"), row).toLongLong();
        auto *item = new QTreeWidgetItem(parent);
        item->setText(0, m_families->getField(QStringLiteral("c_name"), row).toString());
        item->setText(1, QString::number(m_stockByFamily.value(id), 'g', 6));
        item->setIcon(0, familyIcon);
        item->setData(0, idRole, id);
        item->setData(0, kindRole, FamilyItem);
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
}

void TabItemsEditor::addTypeTreeChild(QTreeWidgetItem *parent, qint64 idType)
{
    for (int row : m_typeRows.value(idType))
        addTypeItem(parent, row);
}

void TabItemsEditor::onExpanded(QTreeWidgetItem *item)
{
    if (!item || item->childCount() == 0 || !isPlaceholder(item->child(0)))
        return;
    waitDialog(tr("Загрузка данных"));
    const qint64 id = item->data(0, idRole).toLongLong();
    item->setExpanded(false);
    qDeleteAll(item->takeChildren());
    addFamilyTreeChild(item, id);
    addTypeTreeChild(item, id);
    item->setExpanded(true);
    if (m_searching)
        applyFilter(item);
    closeWait();
}

// ---------------------------------------------------------------- search -----

void TabItemsEditor::search()
{
    const QString text = ui->leSearch->text().trimmed();
    m_searching = !text.isEmpty();
    m_foundTypes.clear();
    m_foundFamilies.clear();
    if (m_searching && m_types && m_families) {
        waitDialog(tr("Выполняется поиск"));
        const QString name = QStringLiteral("c_name");
        for (int row = 0, rows = m_types->rowCount(); row < rows; ++row)
            if (m_types->getField(name, row).toString().contains(text, Qt::CaseInsensitive))
                fillTypeHierahcy(m_types->getField(QStringLiteral("id"), row).toLongLong());
        for (int row = 0, rows = m_families->rowCount(); row < rows; ++row) {
            if (!m_families->getField(name, row).toString().contains(text, Qt::CaseInsensitive))
                continue;
            m_foundFamilies.insert(m_families->getField(QStringLiteral("id"), row).toLongLong());
            fillTypeHierahcy(m_families->getField(QStringLiteral("id_type"), row).toLongLong());
        }
    }
    if (m_searching && m_foundTypes.isEmpty() && m_foundFamilies.isEmpty()) {
        closeWait();
        QMessageBox::information(this, tr("Поиск"), tr("По вашему запросу ничего не найдено"));
    }
    for (int i = 0; i < ui->trwItems->topLevelItemCount(); ++i)
        applyFilter(ui->trwItems->topLevelItem(i));
    closeWait();
}

// A found type keeps the way to it from its root visible, as a found family
// keeps its type's.
void TabItemsEditor::fillTypeHierahcy(qint64 idType)
{
    while (idType != 0 && !m_foundTypes.contains(idType)) {
        m_foundTypes.insert(idType);
        const int row = m_typeRowById.value(idType, -1);
        idType = row < 0 ? 0 : m_types->getField(QStringLiteral("id_parent"), row).toLongLong();
    }
}

bool TabItemsEditor::applyFilter(QTreeWidgetItem *item)
{
    for (int i = 0; i < item->childCount(); ++i)
        if (!isPlaceholder(item->child(i)))
            applyFilter(item->child(i));
    const qint64 id = item->data(0, idRole).toLongLong();
    const bool found = item->data(0, kindRole).toInt() == FamilyItem ? m_foundFamilies.contains(id)
                                                                     : m_foundTypes.contains(id);
    const bool visible = !m_searching || found || hasVisibleChild(item);
    item->setHidden(!visible);
    return visible;
}

bool TabItemsEditor::hasVisibleChild(QTreeWidgetItem *item) const
{
    for (int i = 0; i < item->childCount(); ++i)
        if (!isPlaceholder(item->child(i)) && !item->child(i)->isHidden())
            return true;
    return false;
}

QWaitDialog *TabItemsEditor::waitDialog(const QString &text)
{
    if (!m_wait)
        m_wait = new QWaitDialog(text, this);
    m_wait->setText(text);
    m_wait->show();
    return m_wait;
}

void TabItemsEditor::closeWait()
{
    if (m_wait)
        m_wait->hide();
}

// ----------------------------------------------------------- repair plan -----

void TabItemsEditor::refresh()
{
    if (!m_reject && m_exams) {
        const int row = m_exams->currentRow();
        m_ownReject = m_exams->getRecord(row);
        m_examIdentity = row < 0 ? 0 : m_exams->identityOf(row);
    }
    const QSqlRecord &defect = reject();
    m_idPlan = defect.value(QStringLiteral("id_plan_order_repair")).toLongLong();
    ui->labelPlan->setText(m_idPlan != 0
                               ? defect.value(QStringLiteral("c_plan_order_repair")).toString()
                               : tr("Нет плана"));
    m_plan = QSqlRecord();
    QSqlConnection *connection = appConnection();
    if (m_idPlan > 0 && connection) {
        QSqlQuery query = connection->execScript(
            QStringLiteral("SELECT * FROM docs.t_plan_order WHERE id = :idPlan ;"),
            QList<QVariant>{m_idPlan});
        if (query.isActive() && query.isValid())
            m_plan = query.record();
    }
    if (m_content) {
        const QVariant order =
            m_plan.isEmpty() ? QVariant(m_idPlan) : m_plan.value(QStringLiteral("id_store_order"));
        // Items not yet saved stay while the plan is the same.
        const bool samePlan =
            m_content->selectParams().value(QStringLiteral("id_store_order")) == order;
        if (!samePlan || !m_content->isModified()) {
            m_content->close();
            m_content->setSelectParam(QStringLiteral("id_store_order"), order);
            if (!m_plan.isEmpty())
                m_content->open(false, false);
        }
    }
    updateButtons();
}

void TabItemsEditor::linkPlan()
{
    if (!ui->pushButtonPlanLink->isEnabled())
        return;
    PlanLinkDialog dialog(this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const QSqlRecord plan = dialog.getPlanRec();
    if (plan.isEmpty())
        return;
    reject().setValue(QStringLiteral("id_plan_order_repair"), plan.value(QStringLiteral("id")));
    reject().setValue(QStringLiteral("c_plan_order_repair"), plan.value(QStringLiteral("c_name")));
    storeReject();
    refresh();
    emit dataChanged();
}

void TabItemsEditor::addPlan()
{
    if (!ui->pushButtonPlanAdd->isEnabled())
        return;
    PlanAddDialog dialog(this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    QDataTable *plans =
        m_dataSet ? m_dataSet->getTable(QStringLiteral("t_plan_order_repair")) : nullptr;
    if (!plans)
        return;
    plans->close();
    plans->open(false, false);
    plans->newRow();
    const int row = plans->lastRow();
    QSqlRecord plan = plans->getRecord(row);
    dialog.setPlanRec(plan);
    plans->setRow(row, plan);
    reject().setValue(QStringLiteral("id_plan_order_repair"),
                      plans->getField(QStringLiteral("id"), row));
    reject().setValue(QStringLiteral("c_plan_order_repair"), tr("Новый план"));
    storeReject();
    refresh();
    emit dataChanged();
}

// ----------------------------------------------------------------- items -----

qint64 TabItemsEditor::currentFamily() const
{
    const QTreeWidgetItem *item = ui->trwItems->currentItem();
    if (!item || item->data(0, kindRole).toInt() != FamilyItem)
        return 0;
    return item->data(0, idRole).toLongLong();
}

int TabItemsEditor::contentRow() const
{
    return m_content ? m_content->getViewCurrentRow() : -1;
}

void TabItemsEditor::addElement()
{
    const qint64 family = currentFamily();
    if (!ui->btAddItem->isEnabled() || !m_content || family <= 0)
        return;
    ItemDialog dialog(family, 1.0, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const double qty = dialog.findChild<QDoubleSpinBox *>(QStringLiteral("sbQty"))->value();
    m_content->newRow();
    const int row = m_content->lastRow();
    QSqlRecord item = m_content->getRecord(row);
    item.setValue(QStringLiteral("id_store_order"), m_plan.value(QStringLiteral("id_store_order")));
    item.setValue(QStringLiteral("id_item_family"), family);
    item.setValue(QStringLiteral("c_name"), ui->trwItems->currentItem()->text(0));
    item.setValue(QStringLiteral("n_qnt_require"), qty);
    m_content->setRow(row, item);
    emit dataChanged();
    updateButtons();
}

// The issued quantity is kept as it is: the store's record of what it gave
// out does not change with the requirement.
void TabItemsEditor::editElement()
{
    const int row = contentRow();
    if (!ui->btEditItem->isEnabled() || row < 0)
        return;
    QSqlRecord item = m_content->getRecord(row);
    ItemDialog dialog(item.value(QStringLiteral("id_item_family")).toLongLong(),
                      item.value(QStringLiteral("n_qnt_require")).toDouble(), this);
    if (dialog.exec() != QDialog::Accepted) {
        updateButtons();
        ui->tvContent->setFocus();
        return;
    }
    item.setValue(QStringLiteral("n_qnt_require"),
                  dialog.findChild<QDoubleSpinBox *>(QStringLiteral("sbQty"))->value());
    m_content->setRow(row, item);
    ui->tvContent->setFocus();
    emit dataChanged();
    updateButtons();
}

void TabItemsEditor::deleteElement()
{
    const int row = contentRow();
    if (!ui->btDeleteItem->isEnabled() || row < 0)
        return;
    if (QMessageBox::question(this, tr("Удаление"), tr("Удалить позицию?"),
                              QMessageBox::Ok | QMessageBox::Cancel) != QMessageBox::Ok)
        return;
    m_content->deleteRow(row);
    ui->tvContent->setFocus();
    updateButtons();
    emit dataChanged();
}

void TabItemsEditor::reportHistory()
{
    const int row = contentRow();
    if (row >= 0)
        showItemHistoryReport(
            m_content->getField(QStringLiteral("id_item_family"), row).toLongLong(), this);
}

void TabItemsEditor::reportHistoryTree()
{
    const qint64 family = currentFamily();
    if (family > 0)
        showItemHistoryReport(family, this);
}

void TabItemsEditor::onGetDispInfo(int, QVariant *, QCellData *cell, QSqlRecord *, int rowState)
{
    if (rowState != rsDeleted || !cell)
        return;
    cell->font.setItalic(true);
    cell->font.setStrikeOut(true);
}

// ------------------------------------------------------------- buttons -----

void TabItemsEditor::updateButtons()
{
    QSqlConnection *connection = appConnection();
    const bool right = connection && connection->canDo(QStringLiteral("ADMIN_MANUFACTURE"));
    const bool family = currentFamily() > 0;
    const int row = contentRow();
    const bool hasRow = row >= 0 && m_content && m_content->rowCount() > 0;

    ui->pushButtonPlanLink->setEnabled(right && m_idPlan == 0);
    ui->pushButtonPlanAdd->setEnabled(right && m_idPlan == 0);
    ui->btHistoryTree->setEnabled(family);
    ui->btHistory->setEnabled(hasRow);

    const bool open = right && reject().value(QStringLiteral("id")).toLongLong() > 0 &&
                      m_idPlan >= 1 && !m_plan.isEmpty() &&
                      m_plan.value(QStringLiteral("id_state")).toLongLong() != 2;
    const bool editable = open && hasRow && m_content->getRowState(row) != rsDeleted;
    ui->btAddItem->setEnabled(open && family);
    ui->btEditItem->setEnabled(editable);
    ui->btDeleteItem->setEnabled(editable);
}

void TabItemsEditor::showStatus(bool show)
{
    ui->labelStatus->setVisible(show);
    if (show)
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void TabItemsEditor::setStatusMess(QString text)
{
    ui->labelStatus->setText(text);
}

void TabItemsEditor::updateStatusBar(qint64 total, qint64 done)
{
    const double percent = total > 0 ? double(done) / double(total) * 100.0 : 0.0;
    setStatusMess(tr("Загрузка списка: %1%").arg(percent, 8, 'f', 2));
}

void TabItemsEditor::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        const QString plan = ui->labelPlan->text();
        ui->retranslateUi(this);
        ui->labelPlan->setText(plan);
    }
    QWidget::changeEvent(event);
}
