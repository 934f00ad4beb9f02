#include "qdatatable.h"
#include "qdatatableitem.h"
#include "qdatatablemodel.h"

#include <QSqlField>
#include <algorithm>

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
            const QString before = QDataTableItem::text(item->current);
            const QString after = QDataTableItem::text(value);
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
    const qlonglong identity = identityOf(row);
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
            indexRemove(c, QDataTableItem::text(item->current), serial);
            indexInsert(c, QDataTableItem::text(item->original()), serial);
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
    m_generation = (m_generation + 1) & 0x7fffffff; // identities of the old rows go stale
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
    m_cursor = QPersistentModelIndex();
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
    setRowState(at, rsInserted);
    setRow(at, record, false);
    m_cursor = m_model->index(at, 0);
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
    const int row = currentRow();
    const int c = m_columns.indexOf(name);
    if (row < 0 || row >= rowCount() || c < 0)
        return false;
    const QVariant before = getField(name, row);
    const QVariant after = toColumnType(value, m_columns.at(c).type);
    if (QDataTableItem::sameValue(before, after) && before.isNull() == after.isNull())
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
    if (QDataTableItem::sameValue(before, after))
        return;
    emit dataChanged(objectName(), before, after, m_columns.at(c).name);
    const int state = getRowState(row);
    if (state != rsInserted && state != rsDeleted)
        setRowState(row, rsUpdated);
    if (m_directEdit && state != rsDeleted) {
        const bool watching = m_watching;
        watchEdits(false);
        if (m_indexes.at(c)) {
            indexRemove(c, QDataTableItem::text(before), serialOf(row));
            indexInsert(c, QDataTableItem::text(after), serialOf(row));
        }
        item->setValue(after, false);
        setRow(row, getRecord(row), false);
        watchEdits(watching);
    }
}
