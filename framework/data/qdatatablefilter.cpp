#include "qdatatable.h"
#include "qdatatableitem.h"
#include "qdatatablemodel.h"

#include <QHeaderView>
#include <QTableView>

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
                if (!passes(filter.value(), item ? QDataTableItem::text(item->current) : QString()))
                    ++m_failed[m_rowSerials.at(row)];
            }
        }
    }
    if (!m_view || m_view->model() != m_model) {
        emit filtered();
        return;
    }
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
    emit filtered();
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
            indexRemove(c, QDataTableItem::text(item->current), serial);
    }
}

void QDataTable::dropIdentity(qlonglong identity)
{
    m_inserted.removeAll(identity);
    m_updated.removeAll(identity);
    m_deleted.removeAll(identity);
}
