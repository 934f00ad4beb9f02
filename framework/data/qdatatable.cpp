#include "qdatatable.h"

#include "qsqlconnection.h"

#include <QAbstractItemView>
#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QIcon>
#include <QMessageBox>
#include <QMetaMethod>
#include <QSqlError>
#include <QSqlField>
#include <QSqlQuery>
#include <QStandardItemModel>
#include <QTableView>
#include <QTextCodec>
#include <algorithm>
#include <memory>

// The decoration of a cell, kept once per distinct decoration in the model's
// pool: most cells of a table share a handful of them.
struct QCellDecoration
{
    QIcon icon;
    QBrush foreground;
    QBrush background;
    QFont font;
    bool hasFont = false;
    QString toolTip;

    bool operator==(const QCellDecoration &other) const
    {
        return hasFont == other.hasFont && icon.cacheKey() == other.icon.cacheKey() &&
               foreground == other.foreground && background == other.background &&
               toolTip == other.toolTip && (!hasFont || font == other.font);
    }
};

// One cell. The values the table works with are plain members, so that loading
// and redrawing a row neither allocates role vectors nor emits per-cell
// notifications; the roles map onto them. The database value and the shown
// value are stored apart only when they differ from the current value, and a
// decoration is an index into the model's pool.
class QDataTableItem : public QStandardItem
{
public:
    QVariant current;
    quint32 decoration = 0; // 0: none
    qint8 state = rsUnchanged;
    qint8 lock = lsUnlocked;
    bool first = false;
    bool edited = false;
    quint32 serial = 0; // the row's serial number (first item only)

    const QVariant &original() const
    {
        return m_extra && m_extra->hasOriginal ? m_extra->original : current;
    }
    const QVariant &shown() const
    {
        return m_extra && m_extra->hasShown ? m_extra->shown : current;
    }
    // A new current value; from the database it is the original value too,
    // otherwise the original value is kept.
    void setValue(const QVariant &value, bool fromDatabase)
    {
        if (fromDatabase) {
            if (m_extra)
                m_extra->hasOriginal = false, m_extra->original = QVariant();
        } else if (!m_extra || !m_extra->hasOriginal) {
            extra().original = current;
            m_extra->hasOriginal = true;
        }
        current = value;
        tidy();
    }
    void setShown(const QVariant &value)
    {
        if (value.userType() == current.userType() && value == current) {
            if (m_extra)
                m_extra->hasShown = false, m_extra->shown = QVariant();
        } else {
            extra().shown = value;
            m_extra->hasShown = true;
        }
        tidy();
    }

    QVariant data(int role) const override;
    void setData(const QVariant &value, int role) override;
    QStandardItem *clone() const override { return new QDataTableItem; }

private:
    struct Extra
    {
        QVariant original;
        QVariant shown;
        bool hasOriginal = false;
        bool hasShown = false;
    };
    Extra &extra()
    {
        if (!m_extra)
            m_extra.reset(new Extra);
        return *m_extra;
    }
    void tidy()
    {
        if (m_extra && !m_extra->hasOriginal && !m_extra->hasShown)
            m_extra.reset();
    }
    std::unique_ptr<Extra> m_extra;
};

// The model of a table; it lets the table announce a whole refill as one reset
// and a redrawn row as one change, and keeps the pool of cell decorations.
class QDataTableModel : public QStandardItemModel
{
public:
    explicit QDataTableModel(QObject *parent)
        : QStandardItemModel(parent)
    {
        m_decorations.append(QCellDecoration());
    }
    void beginReset() { beginResetModel(); }
    void endReset() { endResetModel(); }
    void rowChanged(int row, int columns)
    {
        if (columns > 0)
            emit dataChanged(index(row, 0), index(row, columns - 1));
    }

    const QCellDecoration &decoration(quint32 index) const { return m_decorations.at(index); }
    // The pool index of a cell's decoration, 0 when it has none.
    quint32 decorationOf(const cellData &cell, const cellData &fresh)
    {
        const bool hasFont = !(cell.font == fresh.font);
        if (cell.icon.isNull() && cell.foreground.style() == Qt::NoBrush &&
            cell.background.style() == Qt::NoBrush && cell.toolTip.isEmpty() && !hasFont)
            return 0;
        QCellDecoration wanted;
        wanted.icon = cell.icon;
        wanted.foreground = cell.foreground;
        wanted.background = cell.background;
        wanted.toolTip = cell.toolTip;
        wanted.hasFont = hasFont;
        if (hasFont)
            wanted.font = cell.font;
        if (m_lastHit && m_decorations.at(m_lastHit) == wanted)
            return m_lastHit;
        // A bounded search: a receiver that makes every cell different (a
        // tool tip per cell) only grows the pool.
        const int last = m_decorations.size() - 1;
        for (int i = last; i >= 1 && i > last - 64; --i) {
            if (m_decorations.at(i) == wanted)
                return m_lastHit = quint32(i);
        }
        m_decorations.append(wanted);
        return m_lastHit = quint32(m_decorations.size() - 1);
    }
    void clearDecorations()
    {
        m_decorations.resize(1);
        m_lastHit = 0;
    }

private:
    QVector<QCellDecoration> m_decorations;
    quint32 m_lastHit = 0;
};

QVariant QDataTableItem::data(int role) const
{
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return shown();
    case QDataTable::OriginalRole:
        return original();
    case QDataTable::CurrentRole:
        return current;
    case QDataTable::StateRole:
        return first ? QVariant(int(state)) : QVariant();
    case QDataTable::LockRole:
        return first ? QVariant(int(lock)) : QVariant();
    case Qt::DecorationRole:
    case Qt::ForegroundRole:
    case Qt::BackgroundRole:
    case Qt::FontRole:
    case Qt::ToolTipRole:
        if (decoration && model()) {
            const QCellDecoration &d =
                static_cast<const QDataTableModel *>(model())->decoration(decoration);
            if (role == Qt::DecorationRole && !d.icon.isNull())
                return d.icon;
            if (role == Qt::ForegroundRole && d.foreground.style() != Qt::NoBrush)
                return d.foreground;
            if (role == Qt::BackgroundRole && d.background.style() != Qt::NoBrush)
                return d.background;
            if (role == Qt::FontRole && d.hasFont)
                return d.font;
            if (role == Qt::ToolTipRole && !d.toolTip.isEmpty())
                return d.toolTip;
        }
        break;
    default:
        break;
    }
    return QStandardItem::data(role);
}

void QDataTableItem::setData(const QVariant &value, int role)
{
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        if (shown().userType() == value.userType() && shown() == value)
            return;
        setShown(value);
        edited = true;
        emitDataChanged();
        edited = false;
        return;
    case QDataTable::OriginalRole:
        extra().original = value;
        m_extra->hasOriginal = true;
        emitDataChanged();
        return;
    case QDataTable::CurrentRole:
        setValue(value, false);
        emitDataChanged();
        return;
    case QDataTable::StateRole:
        state = qint8(value.toInt());
        emitDataChanged();
        return;
    case QDataTable::LockRole:
        lock = qint8(value.toInt());
        emitDataChanged();
        return;
    default:
        break;
    }
    QStandardItem::setData(value, role);
}

namespace {

bool sameValue(const QVariant &a, const QVariant &b)
{
    if (a.isNull() || b.isNull())
        return a.isNull() == b.isNull();
    if (a == b)
        return true;
    return a.toString() == b.toString();
}

QString quoted(QString text)
{
    text.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

const char *const stateLetters[] = {"O", "A", "M", "D"};

} // namespace

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
    if (flags & 1)
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
        if ((column.flags & 3) || m_indexKinds.value(column.name, itNone) != itNone)
            m_indexes[c] = new ValueIndex;
    }
    const int rows = rowCount();
    for (int c = 0; c < m_columns.count(); ++c) {
        if (!m_indexes.at(c))
            continue;
        for (int row = 0; row < rows; ++row) {
            if (QDataTableItem *item = cell(row, c))
                indexInsert(c, item->current.toString(), serialOf(row));
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
                const QString text = value.toString();
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
                indexInsert(c, record.value(c).toString(), int(first->serial));
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
    return qlonglong(firstItem(row));
}

int QDataTable::rowOf(qlonglong identity) const
{
    if (!identity)
        return -1;
    auto *item = reinterpret_cast<QStandardItem *>(identity);
    return item->model() == m_model ? item->row() : -1;
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
        row = m_currentRow;
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
        const QString text = item ? item->current.toString() : QString();
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

// ---------------------------------------------------------------------- view

void QDataTable::setView(QTableView *view)
{
    if (m_currentConnection)
        disconnect(m_currentConnection);
    if (m_activatedConnection)
        disconnect(m_activatedConnection);
    m_view = view;
    if (!view)
        return;
    if (view->model() != m_model)
        view->setModel(m_model);
    m_currentConnection = connect(view->selectionModel(), &QItemSelectionModel::currentRowChanged,
                                  this, [this](const QModelIndex &current) {
                                      if (current.isValid())
                                          m_currentRow = current.row();
                                  });
    // A debug aid: the table and the id of a row the user activates.
    if (QCoreApplication::instance() && QCoreApplication::instance()->property("bDebugDB").toBool())
        m_activatedConnection =
            connect(view, &QAbstractItemView::activated, this, &QDataTable::onIDRequest);
    prepareView(view);
    if (!m_filters.isEmpty())
        applyFilters();
}

QTableView *QDataTable::getView() const
{
    return m_view;
}

void QDataTable::prepareView(QTableView *view)
{
    if (!view || m_columns.isEmpty() || view->property("isPrepared").toBool())
        return;
    QHeaderView *header = view->horizontalHeader();
    for (int c = 0; c < m_columns.count(); ++c) {
        const colInfo &column = m_columns.at(c);
        view->setColumnWidth(c, column.width);
        view->setColumnHidden(c, !column.visible);
        if (column.flags & 4)
            header->setSectionResizeMode(c, QHeaderView::Fixed);
        if (column.flags & 64)
            header->setSectionResizeMode(c, QHeaderView::Stretch);
        if (column.flags & 16)
            header->setSectionResizeMode(c, QHeaderView::ResizeToContents);
    }
    view->setProperty("isPrepared", true);
}

void QDataTable::setCurrentRow(int row)
{
    if (row < 0 || row >= rowCount())
        return;
    m_currentRow = row;
    if (!m_view || m_view->model() != m_model)
        return;
    int column = 0;
    while (column < m_columns.count() - 1 && m_view->isColumnHidden(column))
        ++column;
    m_view->setCurrentIndex(m_model->index(row, column));
}

bool QDataTable::first()
{
    const int rows = rowCount();
    for (int row = 0; row < rows; ++row) {
        if (!m_view || !m_view->isRowHidden(row)) {
            setCurrentRow(row);
            return true;
        }
    }
    return false;
}

bool QDataTable::last()
{
    for (int row = rowCount() - 1; row >= 0; --row) {
        if (!m_view || !m_view->isRowHidden(row)) {
            setCurrentRow(row);
            return true;
        }
    }
    return false;
}

bool QDataTable::next()
{
    const int rows = rowCount();
    for (int row = m_currentRow + 1; row < rows; ++row) {
        if (!m_view || !m_view->isRowHidden(row)) {
            setCurrentRow(row);
            return true;
        }
    }
    return false;
}

bool QDataTable::prev()
{
    for (int row = qMin(m_currentRow, rowCount()) - 1; row >= 0; --row) {
        if (!m_view || !m_view->isRowHidden(row)) {
            setCurrentRow(row);
            return true;
        }
    }
    return false;
}

int QDataTable::getViewCurrentRow() const
{
    if (!m_view)
        return m_currentRow < rowCount() ? m_currentRow : -1;
    const QModelIndex index = m_view->currentIndex();
    return index.isValid() && index.model() == m_model ? index.row() : -1;
}

QSqlRecord QDataTable::getViewCurrentRecord() const
{
    return getRecord(getViewCurrentRow());
}

void QDataTable::onIDRequest()
{
    QMessageBox::information(
        m_view, QStringLiteral("Отладка"),
        QStringLiteral("Таблица '%1'\nID = %2")
            .arg(objectName(), getViewCurrentRecord().value(QStringLiteral("id")).toString()));
}

// ------------------------------------------------------------------- search

bool QDataTable::match(QSqlRecord record, QStringList fields, QList<QVariant> values)
{
    if (fields.size() != values.size())
        return false;
    for (int i = 0; i < fields.size(); ++i) {
        const int f = record.indexOf(fields.at(i));
        if (f < 0 || !sameValue(record.value(f), values.at(i)))
            return false;
    }
    return true;
}

int QDataTable::locate(QString field, QVariant value)
{
    return locate(QStringList{field}, QList<QVariant>{value});
}

int QDataTable::locate(QStringList fields, QList<QVariant> values)
{
    if (fields.isEmpty() || fields.size() != values.size())
        return -1;
    QVector<int> columns;
    for (const QString &field : fields) {
        const int c = m_columns.indexOf(field);
        if (c < 0)
            return -1;
        columns.append(c);
    }
    auto rowMatches = [&](int row) {
        for (int i = 0; i < columns.size(); ++i) {
            QDataTableItem *item = cell(row, columns.at(i));
            if (!item || !sameValue(item->current, values.at(i)))
                return false;
        }
        return true;
    };
    int found = -1;
    int indexed = -1;
    for (int i = 0; i < columns.size() && indexed < 0; ++i) {
        if (m_indexes.at(columns.at(i)))
            indexed = i;
    }
    if (indexed >= 0) {
        const ValueIndex *index = m_indexes.at(columns.at(indexed));
        const QVector<int> candidates = index->value(values.at(indexed).toString());
        for (int serial : candidates) {
            QDataTableItem *first = m_serialItems.value(serial);
            const int row = first ? first->row() : -1;
            if (row >= 0 && (found < 0 || row < found) && rowMatches(row))
                found = row;
        }
    } else {
        const int rows = rowCount();
        for (int row = 0; row < rows && found < 0; ++row) {
            if (rowMatches(row))
                found = row;
        }
    }
    if (found >= 0)
        m_currentRow = found;
    return found;
}

int QDataTable::getRows(QDataTable *target, QStringList fields, QList<QVariant> values)
{
    if (!target || target == this)
        return 0;
    if (target->m_columns.isEmpty()) {
        target->m_columns = m_columns;
        target->columnsChanged();
    }
    int count = 0;
    const int rows = rowCount();
    for (int row = 0; row < rows; ++row) {
        const QSqlRecord record = getRecord(row);
        if (match(record, fields, values)) {
            target->addRecord(record);
            ++count;
        }
    }
    return count;
}

int QDataTable::getRows(QDataTable *target, QString field, QVariant value)
{
    return getRows(target, QStringList{field}, QList<QVariant>{value});
}

// ------------------------------------------------------------------- filters

void QDataTable::setFilter(QString field, QStringList values, filterType type)
{
    FilterInfo filter;
    filter.values = values;
    filter.type = type;
    m_filters.insert(field, filter);
    applyFilters();
}

void QDataTable::setFilter(QString field, QString value, filterType type)
{
    setFilter(field, QStringList{value}, type);
}

void QDataTable::clearFilter(QString field)
{
    m_filters.remove(field);
    applyFilters();
}

void QDataTable::clearFilter(QStringList fields)
{
    for (const QString &field : fields)
        m_filters.remove(field);
    applyFilters();
}

void QDataTable::clearAllFilters()
{
    m_filters.clear();
    applyFilters();
}

bool QDataTable::passes(const FilterInfo &filter, const QString &text) const
{
    switch (filter.type) {
    case ftNotEqual:
        return !filter.values.contains(text);
    case ftContains:
        for (const QString &value : filter.values) {
            if (text.contains(value))
                return true;
        }
        return false;
    case ftBeginsWith:
        for (const QString &value : filter.values) {
            if (text.startsWith(value))
                return true;
        }
        return false;
    case ftEqual:
    default:
        return filter.values.contains(text);
    }
}

void QDataTable::applyFilters()
{
    ensureRowSerials();
    const int rows = rowCount();
    m_failed.fill(0, m_serialItems.size());
    for (auto filter = m_filters.cbegin(); filter != m_filters.cend(); ++filter) {
        const int c = m_columns.indexOf(filter.key());
        if (c < 0)
            continue;
        if (const ValueIndex *index = m_indexes.at(c)) {
            // Each distinct value text is tested once; only the rows of the
            // texts that fail are counted.
            for (auto value = index->cbegin(); value != index->cend(); ++value) {
                if (passes(filter.value(), value.key()))
                    continue;
                for (int serial : value.value())
                    ++m_failed[serial];
            }
        } else {
            for (int row = 0; row < rows; ++row) {
                QDataTableItem *item = cell(row, c);
                if (!passes(filter.value(), item ? item->current.toString() : QString()))
                    ++m_failed[m_rowSerials.at(row)];
            }
        }
    }
    if (!m_view || m_view->model() != m_model)
        return;
    // Only the rows whose visibility changes are touched, with the view's
    // updates suspended and its vertical header quiet (a shown header would
    // lay itself out again on every change); the view lays out once after.
    QHeaderView *rowHeader = m_view->verticalHeader();
    const bool updates = m_view->updatesEnabled();
    m_view->setUpdatesEnabled(false);
    int changed = 0;
    {
        QSignalBlocker quiet(rowHeader);
        for (int row = 0; row < rows; ++row) {
            const bool hide = m_failed.at(m_rowSerials.at(row)) != 0;
            if (m_view->isRowHidden(row) != hide) {
                m_view->setRowHidden(row, hide);
                ++changed;
            }
        }
    }
    if (changed)
        m_view->doItemsLayout();
    m_view->setUpdatesEnabled(updates);
}

// ---------------------------------------------------------------- indexing

void QDataTable::indexInsert(int column, const QString &text, int serial)
{
    (*m_indexes.at(column))[text].append(serial);
}

void QDataTable::indexRemove(int column, const QString &text, int serial)
{
    ValueIndex *index = m_indexes.at(column);
    auto found = index->find(text);
    if (found == index->end())
        return;
    QVector<int> &serials = found.value();
    const int at = serials.lastIndexOf(serial);
    if (at < 0)
        return;
    serials[at] = serials.last();
    serials.removeLast();
    if (serials.isEmpty())
        index->erase(found);
}

int QDataTable::serialOf(int row) const
{
    QDataTableItem *first = firstItem(row);
    return first ? int(first->serial) : -1;
}

void QDataTable::giveSerial(QDataTableItem *first)
{
    first->serial = quint32(m_serialItems.size());
    m_serialItems.append(first);
}

void QDataTable::dropSerial(int row)
{
    const int serial = serialOf(row);
    if (serial >= 0 && serial < m_serialItems.size())
        m_serialItems[serial] = nullptr;
}

void QDataTable::ensureRowSerials()
{
    if (!m_rowsMoved && m_rowSerials.size() == rowCount())
        return;
    const int rows = rowCount();
    m_rowSerials.resize(rows);
    for (int row = 0; row < rows; ++row)
        m_rowSerials[row] = serialOf(row);
    m_rowsMoved = false;
}

bool QDataTable::rowFails(int row) const
{
    const int serial = serialOf(row);
    return serial >= 0 && m_failed.value(serial) != 0;
}

void QDataTable::unindexRow(int row)
{
    const int serial = serialOf(row);
    for (int c = 0; c < m_indexes.size(); ++c) {
        if (!m_indexes.at(c))
            continue;
        if (QDataTableItem *item = cell(row, c))
            indexRemove(c, item->current.toString(), serial);
    }
}

void QDataTable::dropIdentity(qlonglong identity)
{
    m_inserted.removeAll(identity);
    m_updated.removeAll(identity);
    m_deleted.removeAll(identity);
}

// ------------------------------------------------------------------- editing

void QDataTable::writeRow(int row, const QSqlRecord &record, bool fromDatabase)
{
    const int columns = m_columns.count();
    // The whole row as it will be, for the receivers of getDispInfo.
    QSqlRecord full = m_emptyRecord;
    QVector<bool> given(columns, false);
    for (int c = 0; c < columns; ++c) {
        QDataTableItem *item = cell(row, c);
        const int f = record.indexOf(m_columns.at(c).name);
        if (f >= 0) {
            full.setValue(c, toColumnType(record.value(f), m_columns.at(c).type));
            given[c] = true;
        } else if (item) {
            full.setValue(c, item->current);
        }
    }
    const int serial = serialOf(row);
    const int state = getRowState(row);
    const cellData fresh;
    for (int c = 0; c < columns; ++c) {
        if (!given.at(c))
            continue;
        QDataTableItem *item = cell(row, c);
        if (!item) {
            item = new QDataTableItem;
            QSignalBlocker blocker(m_model);
            m_model->setItem(row, c, item);
        }
        const QVariant value = full.value(c);
        if (m_indexes.at(c)) {
            const QString before = item->current.toString();
            const QString after = value.toString();
            if (before != after || item->current.isNull() != value.isNull()) {
                indexRemove(c, before, serial);
                indexInsert(c, after, serial);
            }
        }
        item->setValue(value, fromDatabase);
        QVariant shown = value;
        cellData cell = fresh;
        if (m_columns.at(c).visible)
            emit getDispInfo(c, &shown, &cell, &full, state);
        item->setShown(shown);
        item->decoration = m_model->decorationOf(cell, fresh);
    }
    if (state != rsInserted && state != rsDeleted)
        setRowState(row, fromDatabase ? rsUnchanged : rsUpdated);
}

void QDataTable::emitRowChanged(int row)
{
    m_model->rowChanged(row, m_model->columnCount());
}

bool QDataTable::setRow(int row, QSqlRecord record, bool fromDatabase)
{
    if (row < 0 || row >= rowCount())
        return false;
    writeRow(row, record, fromDatabase);
    emitRowChanged(row);
    return true;
}

void QDataTable::setRowState(int row, rowState state)
{
    QDataTableItem *item = row < 0 ? nullptr : firstItem(row);
    if (!item)
        return;
    const qlonglong identity = qlonglong(item);
    switch (state) {
    case rsInserted:
        m_deleted.removeAll(identity);
        m_updated.removeAll(identity);
        if (!m_inserted.contains(identity))
            m_inserted.append(identity);
        break;
    case rsUnchanged:
        dropIdentity(identity);
        break;
    case rsUpdated:
        m_inserted.removeAll(identity);
        m_deleted.removeAll(identity);
        if (!m_updated.contains(identity))
            m_updated.append(identity);
        break;
    case rsDeleted:
        if (!m_deleted.contains(identity))
            m_deleted.append(identity);
        break;
    }
    item->state = qint8(state);
    if (state == rsDeleted)
        setRow(row, getRecord(row), false);
}

void QDataTable::forceInsert(int row)
{
    forceState(row, rsInserted);
}

void QDataTable::forceUpdate(int row)
{
    forceState(row, rsUpdated);
}

void QDataTable::forceState(int row, rowState state)
{
    if (row >= 0) {
        setRowState(row, state);
        return;
    }
    for (int each = 0; each < rowCount(); ++each)
        setRowState(each, state);
}

bool QDataTable::deleteRow(int row)
{
    if (m_tableState != 0 || row < 0 || row >= rowCount() || getLock(row) == lsLocked)
        return false;
    setRowState(row, rsDeleted);
    return true;
}

bool QDataTable::killRow(int row)
{
    if (row < 0 || row >= rowCount())
        return false;
    dropIdentity(identityOf(row));
    unindexRow(row);
    dropSerial(row);
    m_model->removeRow(row);
    if (m_currentRow == row)
        m_currentRow = -1;
    else if (m_currentRow > row)
        --m_currentRow;
    return true;
}

void QDataTable::resetOriginalData(int row, bool redraw)
{
    if (row < 0 || row >= rowCount())
        return;
    QSqlRecord record = m_emptyRecord;
    for (int c = 0; c < m_columns.count(); ++c) {
        if (QDataTableItem *item = cell(row, c))
            record.setValue(c, item->original());
    }
    setRowState(row, rsUnchanged);
    if (redraw) {
        setRow(row, record, true);
        return;
    }
    const int serial = serialOf(row);
    for (int c = 0; c < m_columns.count(); ++c) {
        QDataTableItem *item = cell(row, c);
        if (!item)
            continue;
        if (m_indexes.at(c)) {
            indexRemove(c, item->current.toString(), serial);
            indexInsert(c, item->original().toString(), serial);
        }
        item->setValue(QVariant(item->original()), true);
        item->setShown(item->current);
    }
    emitRowChanged(row);
}

void QDataTable::rollback()
{
    const bool watching = m_watching;
    watchEdits(false);
    QVector<int> fresh;
    for (qlonglong identity : qAsConst(m_inserted)) {
        const int row = rowOf(identity);
        if (row >= 0)
            fresh.append(row);
    }
    std::sort(fresh.begin(), fresh.end(), std::greater<int>());
    for (int row : qAsConst(fresh))
        killRow(row);
    const QList<qlonglong> changed = m_updated + m_deleted;
    for (qlonglong identity : changed)
        resetOriginalData(rowOf(identity), true);
    m_inserted.clear();
    m_updated.clear();
    m_deleted.clear();
    watchEdits(watching);
}

void QDataTable::clear()
{
    const bool blocked = m_model->signalsBlocked();
    if (!blocked)
        m_model->beginReset();
    {
        QSignalBlocker blocker(m_model);
        m_model->removeRows(0, m_model->rowCount());
    }
    m_model->clearDecorations();
    m_serialItems.clear();
    m_rowSerials.clear();
    m_failed.clear();
    m_rowsMoved = false;
    if (!blocked)
        m_model->endReset();
    m_inserted.clear();
    m_updated.clear();
    m_deleted.clear();
    for (ValueIndex *index : qAsConst(m_indexes)) {
        if (index)
            index->clear();
    }
    m_currentRow = -1;
}

void QDataTable::makeRowItems(QList<QStandardItem *> &items, int state)
{
    items.clear();
    for (int c = 0; c < qMax(1, m_columns.count()); ++c)
        items.append(new QDataTableItem);
    auto *first = static_cast<QDataTableItem *>(items.first());
    first->first = true;
    first->state = qint8(state);
    giveSerial(first);
}

int QDataTable::insertNewRow(int at, bool makeCurrent)
{
    QSqlRecord record = m_emptyRecord;
    for (int c = 0; c < m_columns.count(); ++c) {
        const colInfo &column = m_columns.at(c);
        if (column.step != 0) {
            const int value = m_generated.value(column.name) + column.step;
            m_generated.insert(column.name, value);
            record.setValue(c, toColumnType(value, column.type));
        } else {
            record.setValue(c, toColumnType(column.defaultValue, column.type));
        }
    }
    QList<QStandardItem *> items;
    makeRowItems(items, rsInserted);
    m_model->insertRow(at, items);
    if (m_currentRow >= at)
        ++m_currentRow;
    setRowState(at, rsInserted);
    setRow(at, record, false);
    m_currentRow = at;
    if (makeCurrent)
        setCurrentRow(at);
    return at;
}

int QDataTable::newRow(bool makeCurrent)
{
    return insertNewRow(rowCount(), makeCurrent);
}

int QDataTable::newFirstRow(bool makeCurrent)
{
    return insertNewRow(0, makeCurrent);
}

int QDataTable::append(QStringList fields, QList<QVariant> values, bool makeCurrent)
{
    const int row = newRow(makeCurrent);
    QSqlRecord record;
    for (int i = 0; i < fields.size() && i < values.size(); ++i) {
        record.append(QSqlField(fields.at(i), values.at(i).type()));
        record.setValue(i, values.at(i));
    }
    setRow(row, record, false);
    return row;
}

int QDataTable::append(QString field, QVariant value, bool makeCurrent)
{
    return append(QStringList{field}, QList<QVariant>{value}, makeCurrent);
}

int QDataTable::addRecord(QSqlRecord record)
{
    QList<QStandardItem *> items;
    makeRowItems(items, rsUnchanged);
    const int row = rowCount();
    m_model->appendRow(items);
    setRow(row, record, true);
    return row;
}

bool QDataTable::setField(QString name, QVariant value)
{
    const int row = m_currentRow;
    const int c = m_columns.indexOf(name);
    if (row < 0 || row >= rowCount() || c < 0)
        return false;
    const QVariant before = getField(name, row);
    const QVariant after = toColumnType(value, m_columns.at(c).type);
    if (sameValue(before, after) && before.isNull() == after.isNull())
        return true;
    QSqlRecord record;
    record.append(QSqlField(name, QVariant::Type(m_columns.at(c).type)));
    record.setValue(0, after);
    setRow(row, record, false);
    emit dataChanged(objectName(), before, after, name);
    return true;
}

bool QDataTable::setNull(QString name)
{
    const int c = m_columns.indexOf(name);
    if (c < 0)
        return false;
    return setField(name, QVariant(QVariant::Type(m_columns.at(c).type)));
}

void QDataTable::onItemChanged(QStandardItem *standardItem)
{
    auto *item = dynamic_cast<QDataTableItem *>(standardItem);
    if (!item || !item->edited)
        return;
    const int row = item->row();
    const int c = item->column();
    if (row < 0 || c < 0 || c >= m_columns.count())
        return;
    const QVariant before = item->current;
    const QVariant after = toColumnType(item->shown(), m_columns.at(c).type);
    if (sameValue(before, after))
        return;
    emit dataChanged(objectName(), before, after, m_columns.at(c).name);
    const int state = getRowState(row);
    if (state != rsInserted && state != rsDeleted)
        setRowState(row, rsUpdated);
    if (m_directEdit && state != rsDeleted) {
        const bool watching = m_watching;
        watchEdits(false);
        if (m_indexes.at(c)) {
            indexRemove(c, before.toString(), serialOf(row));
            indexInsert(c, after.toString(), serialOf(row));
        }
        item->setValue(after, false);
        setRow(row, getRecord(row), false);
        watchEdits(watching);
    }
}

// -------------------------------------------------------------------- commit

bool QDataTable::runStatement(const QString &sql, int row, QSqlQuery &query)
{
    if (!m_connection)
        return false;
    m_connection->execScript(sql, &query, getRecord(row), false);
    return query.isActive() && query.lastError().type() == QSqlError::NoError;
}

bool QDataTable::commit(bool processEvents)
{
    watchEdits(false);
    if (m_connection)
        resolveScripts();

    // A row added and deleted again never reached the database: it goes
    // without any statement.
    const QList<qlonglong> deleted = m_deleted;
    for (qlonglong identity : deleted) {
        if (m_inserted.contains(identity))
            killRow(rowOf(identity));
    }

    // 1. deletes
    if (!m_deleted.isEmpty() && m_deleteSql.isEmpty()) {
        qDebug().noquote() << "WARNING: delete script is empty." << objectName();
    } else {
        while (!m_deleted.isEmpty()) {
            const qlonglong identity = m_deleted.first();
            const int row = rowOf(identity);
            if (row < 0) {
                m_deleted.removeFirst();
                continue;
            }
            QSqlQuery query(m_database);
            if (!runStatement(m_deleteSql, row, query)) {
                query.finish();
                return false;
            }
            unindexRow(row);
            dropIdentity(identity);
            dropSerial(row);
            m_model->removeRow(row);
            if (m_currentRow == row)
                m_currentRow = -1;
            else if (m_currentRow > row)
                --m_currentRow;
            if (processEvents)
                QCoreApplication::processEvents();
        }
    }

    // 2. inserts
    if (!m_inserted.isEmpty() && m_insertSql.isEmpty()) {
        qDebug().noquote() << "WARNING: insert script is empty." << objectName();
    } else {
        const bool noStoredProc = QCoreApplication::instance() &&
                                  QCoreApplication::instance()->property("bNoStoredProc").toBool();
        while (!m_inserted.isEmpty()) {
            const qlonglong identity = m_inserted.first();
            const int row = rowOf(identity);
            if (row < 0) {
                m_inserted.removeFirst();
                continue;
            }
            QSqlQuery query(m_database);
            if (!runStatement(m_insertSql, row, query))
                return false;
            if (noStoredProc && !m_keyField.isEmpty())
                m_connection->scopeIdentity(objectName(), &query);
            const QVariant keyBefore =
                m_keyField.isEmpty() ? QVariant() : getField(m_keyField, row);
            if (query.isSelect() && (query.isValid() || query.first()))
                setRow(row, query.record(), true);
            else
                setRow(row, getRecord(row), true); // what was sent is what is stored
            setRowState(row, rsUnchanged);
            if (!m_keyField.isEmpty()) {
                const QVariant keyAfter = getField(m_keyField, row);
                qDebug().noquote() << "emit dataChanged(" + objectName() + ") ";
                emit dataChanged(objectName(), keyBefore, keyAfter, m_keyField);
            }
            if (processEvents)
                QCoreApplication::processEvents();
        }
    }

    // 3. updates
    if (!m_updated.isEmpty() && m_updateSql.isEmpty()) {
        qDebug().noquote() << "WARNING: update script is empty." << objectName();
    } else {
        while (!m_updated.isEmpty()) {
            const qlonglong identity = m_updated.first();
            const int row = rowOf(identity);
            if (row < 0) {
                m_updated.removeFirst();
                continue;
            }
            QSqlQuery query(m_database);
            if (!runStatement(m_updateSql, row, query))
                return false;
            if (query.isSelect() && (query.isValid() || query.first()))
                setRow(row, query.record(), true);
            else
                setRow(row, getRecord(row), true);
            setRowState(row, rsUnchanged);
            if (processEvents)
                QCoreApplication::processEvents();
        }
    }

    watchEdits(true);
    return true;
}

// -------------------------------------------------------------------- export

QString QDataTable::prepareDump(bool withState) const
{
    QString text;
    QStringList names;
    for (const colInfo &column : m_columns)
        names.append(quoted(column.name));
    if (withState)
        text += QStringLiteral("ROW_STATE;");
    text += names.join(QLatin1Char(';')) + QStringLiteral(";\n");
    const int rows = rowCount();
    for (int row = 0; row < rows; ++row) {
        const int state = getRowState(row);
        if (state == rsDeleted && !withState)
            continue;
        if (withState)
            text += QLatin1String(stateLetters[qBound(0, state, 3)]) + QLatin1Char(';');
        for (int c = 0; c < m_columns.count(); ++c) {
            QDataTableItem *item = cell(row, c);
            text += quoted(item ? item->current.toString() : QString()) + QLatin1Char(';');
        }
        text += QStringLiteral(";\n");
    }
    return text;
}

QString QDataTable::dumpTable(QString directory, bool withState)
{
    QDir dir(directory);
    if (!dir.exists() && !dir.mkpath(QStringLiteral(".")))
        return QString();
    const QString path =
        dir.filePath(objectName() + QLatin1Char('_') +
                     QDateTime::currentDateTime().toString(QStringLiteral("yyyy_MM_dd hh_mm")) +
                     QStringLiteral(".csv"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QString();
    file.write(prepareDump(withState).toLocal8Bit());
    return path;
}

bool QDataTable::makeReport(QString fileName) const
{
    QTextCodec *codec = QTextCodec::codecForName("cp1251");
    QFile file(fileName);
    if (!codec || !file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    QVector<int> columns;
    QStringList line;
    for (int c = 0; c < m_columns.count(); ++c) {
        const bool shown = m_view ? !m_view->isColumnHidden(c) : m_columns.at(c).visible;
        if (shown) {
            columns.append(c);
            line.append(quoted(m_columns.at(c).header));
        }
    }
    QString text = line.join(QLatin1Char(';')) + QLatin1Char('\n');
    const int rows = rowCount();
    for (int row = 0; row < rows; ++row) {
        QDataTableItem *first = firstItem(row);
        if (!first || first->state == rsDeleted)
            continue;
        if (m_view ? m_view->isRowHidden(row) : rowFails(row))
            continue;
        line.clear();
        for (int c : qAsConst(columns)) {
            QDataTableItem *item = cell(row, c);
            line.append(quoted(item ? item->shown().toString() : QString()));
        }
        text += line.join(QLatin1Char(';')) + QLatin1Char('\n');
    }
    return file.write(codec->fromUnicode(text)) >= 0;
}
