#include "qdatatable.h"

#include "qdatatableitem.h"
#include "qdatatablemodel.h"
#include "qsqlconnection.h"

#include <QCoreApplication>
#include <QDebug>
#include <QMetaMethod>
#include <QSqlField>
#include <QSqlQuery>
#include <QTableView>

// ---------------------------------------------------------------- construction

QDataTable::QDataTable(QString name, QSqlConnection *connection, QObject *parent)
    : QObject(parent)
{
    setObjectName(name);
    m_model = new QDataTableModel(this);
    m_model->setObjectName(name + QStringLiteral("_data_"));
    // Rows that move (sorting, inserts, removals) make the row -> serial map stale.
    auto moved = [this] { m_rowsMoved = true; };
    connect(m_model, &QAbstractItemModel::rowsInserted, this, moved);
    connect(m_model, &QAbstractItemModel::rowsRemoved, this, moved);
    connect(m_model, &QAbstractItemModel::rowsMoved, this, moved);
    connect(m_model, &QAbstractItemModel::layoutChanged, this, moved);
    connect(m_model, &QAbstractItemModel::modelReset, this, moved);
    // Rows removed through the model itself leave the indexes and lists too.
    connect(m_model, &QAbstractItemModel::rowsAboutToBeRemoved, this,
            [this](const QModelIndex &parent, int first, int last) {
                if (parent.isValid())
                    return;
                for (int row = first; row <= last; ++row) {
                    dropIdentity(identityOf(row));
                    unindexRow(row);
                    dropSerial(row);
                }
            });
    m_connection = connection;
    if (m_connection)
        m_database = m_connection->getDatabase();
}

QDataTable::QDataTable(QDataTable *source)
    : QDataTable(source ? source->objectName() : QString(), source ? source->m_connection : nullptr,
                 nullptr)
{
    if (!source)
        return;
    m_selectName = source->m_selectName;
    m_updateName = source->m_updateName;
    m_insertName = source->m_insertName;
    m_deleteName = source->m_deleteName;
    m_selectSql = source->m_selectSql;
    m_updateSql = source->m_updateSql;
    m_insertSql = source->m_insertSql;
    m_deleteSql = source->m_deleteSql;
    m_literal = source->m_literal;
    m_columns = source->m_columns;
    m_keyField = source->m_keyField;
    m_indexKinds = source->m_indexKinds;
    m_selectParams = source->m_selectParams;
    m_generated = source->m_generated;
    m_directEdit = source->m_directEdit;
    columnsChanged();
    for (int row = 0; row < source->rowCount(); ++row) {
        const int copy = addRecord(source->getRecord(row));
        for (int c = 0; c < columnCount(); ++c) {
            if (QDataTableItem *from = source->cell(row, c)) {
                QDataTableItem *to = cell(copy, c);
                const QVariant now = to->current;
                to->current = from->original();
                to->setValue(now, false);
            }
        }
        const int state = source->getRowState(row);
        if (state != rsUnchanged)
            setRowState(copy, rowState(state));
    }
    watchEdits(true);
}

QDataTable::~QDataTable()
{
    watchEdits(false);
    qDeleteAll(m_indexes);
    delete m_model;
    m_model = nullptr;
}

void QDataTable::setConnection(QSqlConnection *connection)
{
    m_connection = connection;
    m_database = connection ? connection->getDatabase() : QSqlDatabase();
    setScripts(m_selectName, m_updateName, m_insertName, m_deleteName, m_literal);
}

void QDataTable::setScripts(QString select, QString update, QString insert, QString remove,
                            bool literal)
{
    m_selectName = select;
    m_updateName = update;
    m_insertName = insert;
    m_deleteName = remove;
    m_literal = literal;
    resolveScripts();
}

void QDataTable::resolveScripts()
{
    if (m_literal) {
        m_selectSql = m_selectName;
        m_updateSql = m_updateName;
        m_insertSql = m_insertName;
        m_deleteSql = m_deleteName;
        return;
    }
    if (!m_connection) {
        qWarning() << "Connection not defined";
        return;
    }
    auto script = [this](const QString &name) {
        return name.isEmpty() ? QString() : m_connection->getScript(name);
    };
    m_selectSql = script(m_selectName);
    m_updateSql = script(m_updateName);
    m_insertSql = script(m_insertName);
    m_deleteSql = script(m_deleteName);
}

void QDataTable::setNativeScripts(QString select, QString update, QString insert, QString remove)
{
    // Kept as literal texts, so that re-resolving leaves them as they are.
    setScripts(select, update, insert, remove, true);
}

void QDataTable::addColumn(QString name, int type, bool visible, QString header, int step,
                           int width, QVariant defaultValue, int flags, QString toolTip,
                           QIcon *icon)
{
    colInfo column;
    column.name = name;
    column.header = header;
    column.toolTip = toolTip;
    column.type = type;
    column.defaultValue = defaultValue;
    column.width = width;
    column.visible = visible;
    column.flags = flags;
    column.step = step;
    column.icon = icon;
    m_columns.append(column);
    if (flags & cfSearchIndex)
        m_indexKinds.insert(name, itValue);
    columnsChanged();
}

void QDataTable::generateColumns(QSqlRecord record)
{
    if (!m_columns.isEmpty())
        return;
    for (int i = 0; i < record.count(); ++i) {
        const QSqlField field = record.field(i);
        colInfo column;
        column.name = field.name();
        column.header = field.name();
        column.type = field.type();
        m_columns.append(column);
    }
    columnsChanged();
}

void QDataTable::dropColumns()
{
    clear();
    m_columns.clear();
    m_generated.clear();
    columnsChanged();
}

void QDataTable::setKeyField(QString name)
{
    m_keyField = name;
    if (!m_indexKinds.contains(name)) {
        m_indexKinds.insert(name, itValue);
        rebuildIndexes();
    }
}

void QDataTable::addSearchIndex(QString name, idxType kind)
{
    if (kind == itNone)
        m_indexKinds.remove(name);
    else
        m_indexKinds.insert(name, kind);
    rebuildIndexes();
}

void QDataTable::setSelectParam(QString name, QVariant value)
{
    if (!m_selectParams.contains(name))
        m_selectParams.append(QSqlField(name, value.type()));
    m_selectParams.setValue(name, value);
}

void QDataTable::columnsChanged()
{
    rebuildEmptyRecord();
    rebuildIndexes();
    if (m_model->columnCount() != m_columns.count()) {
        QSignalBlocker blocker(m_model);
        m_model->setColumnCount(m_columns.count());
    }
    setHeaderItems();
}

void QDataTable::rebuildEmptyRecord()
{
    m_emptyRecord = QSqlRecord();
    for (const colInfo &column : m_columns)
        m_emptyRecord.append(QSqlField(column.name, QVariant::Type(column.type)));
}

void QDataTable::rebuildIndexes()
{
    qDeleteAll(m_indexes);
    m_indexes.fill(nullptr, m_columns.count());
    for (int c = 0; c < m_columns.count(); ++c) {
        const colInfo &column = m_columns.at(c);
        if (m_columns.indexOf(column.name) != c)
            continue; // a name declared twice is indexed at its first position
        if ((column.flags & (cfSearchIndex | cfValueIndex)) ||
            m_indexKinds.value(column.name, itNone) != itNone)
            m_indexes[c] = new ValueIndex;
    }
    const int rows = rowCount();
    for (int c = 0; c < m_columns.count(); ++c) {
        if (!m_indexes.at(c))
            continue;
        for (int row = 0; row < rows; ++row) {
            if (QDataTableItem *item = cell(row, c))
                indexInsert(c, QDataTableItem::text(item->current), serialOf(row));
        }
    }
}

void QDataTable::setHeaderItems()
{
    // Header items are replaced only where they differ: every replacement
    // makes the attached view lay its header out again.
    for (int c = 0; c < m_columns.count(); ++c) {
        const colInfo &column = m_columns.at(c);
        const QString toolTip = column.toolTip.isEmpty() ? column.header : column.toolTip;
        QStandardItem *current = m_model->horizontalHeaderItem(c);
        if (current && current->text() == column.header && current->toolTip() == toolTip &&
            current->icon().isNull() == !column.icon)
            continue;
        auto *header = new QStandardItem(column.header);
        header->setToolTip(toolTip);
        if (column.icon)
            header->setIcon(*column.icon);
        m_model->setHorizontalHeaderItem(c, header);
    }
}

void QDataTable::watchEdits(bool on)
{
    if (on == m_watching || !m_model)
        return;
    if (on)
        connect(m_model, &QStandardItemModel::itemChanged, this, &QDataTable::onItemChanged);
    else
        disconnect(m_model, &QStandardItemModel::itemChanged, this, &QDataTable::onItemChanged);
    m_watching = on;
}

// ------------------------------------------------------------------- reading

bool QDataTable::open(bool processEvents, bool debug)
{
    watchEdits(false);
    const bool ok = fillTable(processEvents, debug);
    if (m_model->columnCount() != m_columns.count())
        m_model->setColumnCount(m_columns.count());
    setHeaderItems();
    watchEdits(true);
    m_open = true;
    return ok;
}

bool QDataTable::fillTable(bool processEvents, bool debug)
{
    if (m_connection)
        resolveScripts();
    if (m_selectSql.isEmpty() || !m_connection)
        return false;

    QSqlQuery query(m_database);
    query.setForwardOnly(true); // rows are copied as they come: no second copy of the result
    m_connection->execScript(m_selectSql, &query, m_selectParams, debug);
    if (!query.isActive() || !query.isSelect()) {
        m_tableState = -1;
        return false;
    }

    const bool watching = m_watching;
    watchEdits(false);
    m_model->beginReset();
    m_model->blockSignals(true);
    clear();
    const QSqlRecord fields = query.record();
    generateColumns(fields);
    if (m_model->columnCount() != m_columns.count())
        m_model->setColumnCount(m_columns.count());

    const int columns = m_columns.count();
    QVector<int> source(columns);
    QVector<int> types(columns);
    QVector<bool> shown(columns);
    for (int c = 0; c < columns; ++c) {
        source[c] = fields.indexOf(m_columns.at(c).name);
        types[c] = m_columns.at(c).type;
        shown[c] = m_columns.at(c).visible;
    }
    const bool offered = isSignalConnected(QMetaMethod::fromSignal(&QDataTable::getDispInfo));
    const cellData fresh;

    // One record is reused for every row: it is what receivers of
    // getDispInfo see. Texts repeated down a column (statuses, stages,
    // products ...) are stored once: each column keeps a bounded pool.
    QSqlRecord record = m_emptyRecord;
    QVector<QSet<QString>> pools(columns);
    const int poolLimit = 4096;
    QList<QStandardItem *> items;
    items.reserve(columns);
    int row = 0;
    for (bool valid = query.isValid(); valid; valid = query.next(), ++row) {
        for (int c = 0; c < columns; ++c) {
            if (source.at(c) < 0) {
                record.setValue(c, QVariant(QVariant::Type(types.at(c))));
                continue;
            }
            QVariant value = toColumnType(query.value(source.at(c)), types.at(c));
            if (types.at(c) == QVariant::String && !value.isNull()) {
                QSet<QString> &pool = pools[c];
                const QString text = QDataTableItem::text(value);
                const auto known = pool.constFind(text);
                if (known != pool.constEnd())
                    value = QVariant(*known);
                else if (pool.size() < poolLimit)
                    pool.insert(text);
            }
            record.setValue(c, value);
        }
        items.clear();
        for (int c = 0; c < columns; ++c) {
            auto *item = new QDataTableItem;
            item->current = record.value(c);
            if (offered && shown.at(c)) {
                QVariant value = item->current;
                cellData cell = fresh;
                emit getDispInfo(c, &value, &cell, &record, rsUnchanged);
                item->decoration = m_model->decorationOf(cell, fresh);
                item->setShown(value);
            }
            items.append(item);
        }
        auto *first = static_cast<QDataTableItem *>(items.first());
        first->first = true;
        giveSerial(first);
        m_model->appendRow(items);
        m_rowSerials.append(int(first->serial));
        for (int c = 0; c < columns; ++c) {
            if (m_indexes.at(c))
                indexInsert(c, QDataTableItem::text(record.value(c)), int(first->serial));
        }
        if (processEvents && (row & 1023) == 1023)
            QCoreApplication::processEvents();
    }
    m_model->blockSignals(false);
    m_model->endReset();
    m_rowsMoved = false;    // filled in order: m_rowSerials is right
    if (m_tableState == -1) // a failed select before; other states are the owner's
        m_tableState = 0;
    watchEdits(watching);
    setHeaderItems();
    prepareView(m_view);
    if (!m_filters.isEmpty())
        applyFilters();
    return true;
}

void QDataTable::close()
{
    clear();
    watchEdits(false);
    m_open = false;
}

int QDataTable::rowCount() const
{
    return m_model->rowCount();
}

int QDataTable::visibleRowCount() const
{
    const int rows = rowCount();
    int count = 0;
    for (int row = 0; row < rows; ++row) {
        if (m_view ? !m_view->isRowHidden(row) : !rowFails(row))
            ++count;
    }
    return count;
}

QDataTableItem *QDataTable::firstItem(int row) const
{
    return static_cast<QDataTableItem *>(m_model->item(row, 0));
}

QDataTableItem *QDataTable::cell(int row, int column) const
{
    return static_cast<QDataTableItem *>(m_model->item(row, column));
}

qlonglong QDataTable::identityOf(int row) const
{
    QDataTableItem *first = row < 0 ? nullptr : firstItem(row);
    if (!first)
        return 0;
    return (qlonglong(m_generation) << 32) | (qlonglong(first->serial) + 1);
}

int QDataTable::rowOf(qlonglong identity) const
{
    // An identity is only read, never followed blindly: one from before the
    // last clear or of a row that is gone answers -1.
    if (identity <= 0 || quint32(identity >> 32) != m_generation)
        return -1;
    const qlonglong serial = (identity & 0xffffffffLL) - 1;
    if (serial < 0 || serial >= m_serialItems.size())
        return -1;
    QDataTableItem *first = m_serialItems.at(int(serial));
    return first && first->model() == m_model ? first->row() : -1;
}

QVariant QDataTable::toColumnType(const QVariant &value, int type) const
{
    if (value.isNull())
        return QVariant(QVariant::Type(type));
    if (value.userType() == type)
        return value;
    if (m_connection)
        return m_connection->convert(value, QVariant::Type(type));
    QVariant converted = value;
    return converted.convert(type) ? converted : value;
}

QSqlRecord QDataTable::getRecord(int row, bool skipDeleted) const
{
    if (row < 0 || row >= rowCount())
        return QSqlRecord();
    if (skipDeleted && getRowState(row) == rsDeleted)
        return QSqlRecord();
    QSqlRecord record = m_emptyRecord;
    for (int c = 0; c < m_columns.count(); ++c) {
        if (QDataTableItem *item = cell(row, c))
            record.setValue(c, item->current);
    }
    return record;
}

QVariant QDataTable::getField(QString name, int row) const
{
    if (row < 0)
        row = currentRow();
    const int c = m_columns.indexOf(name);
    QDataTableItem *item = c < 0 || row < 0 ? nullptr : cell(row, c);
    return item ? item->current : QVariant();
}

QStringList QDataTable::getValuesList(int column) const
{
    QStringList values;
    if (column < 0 || column >= m_columns.count())
        return values;
    QSet<QString> seen;
    const int rows = rowCount();
    for (int row = 0; row < rows; ++row) {
        QDataTableItem *item = cell(row, column);
        const QString text = item ? QDataTableItem::text(item->current) : QString();
        if (!seen.contains(text)) {
            seen.insert(text);
            values.append(text);
        }
    }
    return values;
}

QStringList QDataTable::getValuesList(QString name) const
{
    return getValuesList(m_columns.indexOf(name));
}

int QDataTable::getRowState(int row) const
{
    QDataTableItem *item = row < 0 ? nullptr : firstItem(row);
    return item ? int(item->state) : int(rsDeleted);
}

int QDataTable::getLock(int row) const
{
    QDataTableItem *item = row < 0 ? nullptr : firstItem(row);
    return item ? int(item->lock) : int(lsUnlocked);
}

void QDataTable::setLock(int row, lockState lock)
{
    QDataTableItem *item = row < 0 ? nullptr : firstItem(row);
    if (!item)
        return;
    item->lock = qint8(lock);
    const bool watching = m_watching;
    watchEdits(false);
    for (int c = 0; c < m_columns.count(); ++c) {
        if (QDataTableItem *each = cell(row, c))
            each->setEditable(lock == lsUnlocked);
    }
    watchEdits(watching);
}

QStandardItemModel *QDataTable::getModel() const
{
    return m_model;
}

bool QDataTable::isModified() const
{
    return !m_inserted.isEmpty() || !m_updated.isEmpty() || !m_deleted.isEmpty();
}
