#include "producttreedialog.h"

#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "ui_producttreedialog.h"

#include <QApplication>
#include <QHash>
#include <QPushButton>
#include <QSqlRecord>
#include <QTreeWidgetItemIterator>

namespace {

const int idRole = Qt::UserRole;
const int kindRole = Qt::UserRole + 1;
const int versionTextRole = Qt::UserRole + 2;

} // namespace

// Rows of a table grouped by the value of one of its fields (null -> 0).
QHash<qint64, QList<int>> ProductTreeDialog::rowsBy(QDataTable *table, const QString &field)
{
    QHash<qint64, QList<int>> rows;
    const int count = table->rowCount();
    for (int row = 0; row < count; ++row)
        rows[table->getField(field, row).toLongLong()].append(row);
    return rows;
}

ProductTreeDialog::ProductTreeDialog(QWidget *parent, Mode mode)
    : QDialog(parent)
    , m_mode(mode)
    , ui(new Ui::ProductTreeDialog)
{
    ui->setupUi(this);
    ui->checkBoxRecursive->setVisible(mode == RecursiveMode);

    QSqlConnection *connection = appConnection();
    m_dataSet = new QDataSet(this);
    m_dataSet->setObjectName(QStringLiteral("Product_tree_dataset"));
    m_types = new QDataTable(QStringLiteral("t_product_type"), connection, m_dataSet);
    m_types->setScripts(QStringLiteral("TYPES_FOR_PRODUCTS_SELECT"), QString(), QString(),
                        QString(), false);
    m_dataSet->addTable(m_types);
    m_products = new QDataTable(QStringLiteral("t_product"), connection, m_dataSet);
    m_products->setScripts(QStringLiteral("PRODUCT_SELECT"), QString(), QString(), QString(),
                           false);
    m_dataSet->addTable(m_products);
    m_versions = new QDataTable(QStringLiteral("t_product_version"), connection, m_dataSet);
    m_versions->setScripts(QStringLiteral("PRODUCT_VERSION_SELECT"), QString(), QString(),
                           QString(), false);
    m_dataSet->addTable(m_versions);

    createTree();
}

ProductTreeDialog::~ProductTreeDialog()
{
    delete ui;
}

void ProductTreeDialog::createTree()
{
    ui->trvProducts->clear();
    for (QDataTable *table : {m_types, m_products, m_versions}) {
        table->close();
        table->open(false, false);
    }
    m_productsByType = rowsBy(m_products, QStringLiteral("id_type"));
    m_versionsByProduct = rowsBy(m_versions, QStringLiteral("id_product"));
    fillType(nullptr, 0);
    ui->trvProducts->sortItems(0, Qt::AscendingOrder);
    updateButtons();
}

// Adds the sub-types of a type (the root types for idParent 0), each with its
// own sub-types and its products.
void ProductTreeDialog::fillType(QTreeWidgetItem *parent, qint64 idParent)
{
    static const QIcon typeIcon(QStringLiteral(":/Icons/TYPE"));
    const QHash<qint64, QList<int>> children = rowsBy(m_types, QStringLiteral("id_parent"));
    QList<QPair<QTreeWidgetItem *, qint64>> pending = {{parent, idParent}};
    while (!pending.isEmpty()) {
        const auto next = pending.takeFirst();
        for (int row : children.value(next.second)) {
            const qint64 id = m_types->getField(QStringLiteral("id"), row).toLongLong();
            if (id == next.second)
                continue; // a type that names itself as its parent
            auto *item =
                next.first ? new QTreeWidgetItem(next.first) : new QTreeWidgetItem(ui->trvProducts);
            item->setText(0, m_types->getField(QStringLiteral("c_name"), row).toString());
            item->setIcon(0, typeIcon);
            item->setData(0, idRole, id);
            item->setData(0, kindRole, TypeItem);
            pending.append({item, id});
            fillProduct(item, id);
        }
    }
}

// Adds the products of a type with their versions.
void ProductTreeDialog::fillProduct(QTreeWidgetItem *parent, qint64 idType)
{
    static const QIcon productIcon(QStringLiteral(":/Icons/PRODMAIN"));
    static const QIcon virtualIcon(QStringLiteral(":/Icons/V_PRODUCT"));
    static const QIcon versionIcon(QStringLiteral(":/Icons/VERSION"));
    for (int row : m_productsByType.value(idType)) {
        const qint64 id = m_products->getField(QStringLiteral("id"), row).toLongLong();
        const QString name = m_products->getField(QStringLiteral("c_name"), row).toString();
        auto *product = new QTreeWidgetItem(parent);
        product->setText(0, name);
        product->setIcon(0, m_products->getField(QStringLiteral("b_virtual"), row).toBool()
                                ? virtualIcon
                                : productIcon);
        product->setData(0, idRole, id);
        product->setData(0, kindRole, ProductItem);
        for (int v : m_versionsByProduct.value(id)) {
            const QString version = m_versions->getField(QStringLiteral("c_name"), v).toString();
            auto *item = new QTreeWidgetItem(product);
            item->setText(
                0, QStringLiteral("%1 (%2)").arg(
                       version, m_versions->getField(QStringLiteral("c_part_num"), v).toString()));
            item->setIcon(0, versionIcon);
            item->setData(0, idRole, m_versions->getField(QStringLiteral("id"), v));
            item->setData(0, kindRole, VersionItem);
            item->setData(0, versionTextRole, version);
        }
    }
}

void ProductTreeDialog::updateButtons()
{
    const bool chosen = m_mode == ProductMode ? productItem() != nullptr : versionItem() != nullptr;
    ui->buttonOk->setEnabled(chosen);
}

void ProductTreeDialog::on_trvProducts_itemDoubleClicked(QTreeWidgetItem *, int)
{
    if (ui->buttonOk->isEnabled())
        accept();
}

QTreeWidgetItem *ProductTreeDialog::versionItem() const
{
    QTreeWidgetItem *item = ui->trvProducts->currentItem();
    return item && item->data(0, kindRole).toInt() == VersionItem ? item : nullptr;
}

QTreeWidgetItem *ProductTreeDialog::productItem() const
{
    QTreeWidgetItem *item = ui->trvProducts->currentItem();
    if (item && item->data(0, kindRole).toInt() == VersionItem)
        item = item->parent();
    return item && item->data(0, kindRole).toInt() == ProductItem ? item : nullptr;
}

QString ProductTreeDialog::versionName(const QTreeWidgetItem *item) const
{
    if (!item || !item->parent())
        return QString();
    return item->data(0, versionTextRole).toString() + QLatin1Char(' ') + item->parent()->text(0);
}

qint64 ProductTreeDialog::getCurrentVersion() const
{
    const QTreeWidgetItem *item = versionItem();
    return item ? item->data(0, idRole).toLongLong() : 0;
}

QString ProductTreeDialog::getCurrentVersionName() const
{
    return versionName(versionItem());
}

qint64 ProductTreeDialog::getCurrentProduct() const
{
    const QTreeWidgetItem *item = productItem();
    return item ? item->data(0, idRole).toLongLong() : 0;
}

QString ProductTreeDialog::getCurrentProductName() const
{
    const QTreeWidgetItem *item = productItem();
    return item ? item->text(0) : QString();
}

QList<qint64> ProductTreeDialog::getCurrentVersionList() const
{
    QList<qint64> ids;
    const qint64 id = getCurrentVersion();
    if (id == 0)
        return ids;
    ids.append(id);
    if (!ui->checkBoxRecursive->isChecked())
        return ids;
    QDataTable analogs(QStringLiteral("t_product_version_id"), appConnection(), nullptr);
    analogs.setScripts(QStringLiteral("SELECT * FROM inv.n_version_recursive_analog(:id_version);"),
                       QString(), QString(), QString(), true);
    analogs.setSelectParam(QStringLiteral("id_version"), id);
    analogs.open(false, false);
    for (int row = 0; row < analogs.rowCount(); ++row) {
        const qint64 analog = analogs.getRecord(row, false).value(0).toLongLong();
        if (analog != 0 && !ids.contains(analog))
            ids.append(analog);
    }
    return ids;
}

QStringList ProductTreeDialog::getCurrentVersionListName() const
{
    QStringList names;
    const QList<qint64> ids = getCurrentVersionList();
    QTreeWidgetItemIterator it(ui->trvProducts);
    QHash<qint64, QString> known;
    for (; *it; ++it)
        if ((*it)->data(0, kindRole).toInt() == VersionItem)
            known.insert((*it)->data(0, idRole).toLongLong(), versionName(*it));
    for (qint64 id : ids)
        names.append(known.value(id));
    return names;
}

bool ProductTreeDialog::selectVersion(qint64 idVersion)
{
    for (QTreeWidgetItemIterator it(ui->trvProducts); *it; ++it) {
        if ((*it)->data(0, kindRole).toInt() == VersionItem &&
            (*it)->data(0, idRole).toLongLong() == idVersion) {
            ui->trvProducts->setCurrentItem(*it);
            ui->trvProducts->scrollToItem(*it);
            return true;
        }
    }
    return false;
}
