#include "qdatatable.h"
#include "qdatatableitem.h"
#include "qdatatablemodel.h"

#include <QAbstractItemView>
#include <QCoreApplication>
#include <QHeaderView>
#include <QMessageBox>
#include <QTableView>

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
                                          m_cursor = m_model->index(current.row(), 0);
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
        if (column.flags & cfFixedWidth)
            header->setSectionResizeMode(c, QHeaderView::Fixed);
        if (column.flags & cfStretch)
            header->setSectionResizeMode(c, QHeaderView::Stretch);
        if (column.flags & cfFitContents)
            header->setSectionResizeMode(c, QHeaderView::ResizeToContents);
    }
    view->setProperty("isPrepared", true);
}

void QDataTable::setCurrentRow(int row)
{
    if (row < 0 || row >= rowCount())
        return;
    m_cursor = m_model->index(row, 0);
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
    for (int row = currentRow() + 1; row < rows; ++row) {
        if (!m_view || !m_view->isRowHidden(row)) {
            setCurrentRow(row);
            return true;
        }
    }
    return false;
}

bool QDataTable::prev()
{
    for (int row = qMin(currentRow(), rowCount()) - 1; row >= 0; --row) {
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
        return currentRow();
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
        m_view, tr("Отладка"),
        tr("Таблица '%1'\nID = %2")
            .arg(objectName(), getViewCurrentRecord().value(QStringLiteral("id")).toString()));
}

// ------------------------------------------------------------------- search

bool QDataTable::match(QSqlRecord record, QStringList fields, QList<QVariant> values)
{
    if (fields.size() != values.size())
        return false;
    for (int i = 0; i < fields.size(); ++i) {
        const int f = record.indexOf(fields.at(i));
        if (f < 0 || !QDataTableItem::sameValue(record.value(f), values.at(i)))
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
            if (!item || !QDataTableItem::sameValue(item->current, values.at(i)))
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
        const QVector<int> candidates = index->value(QDataTableItem::text(values.at(indexed)));
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
        m_cursor = m_model->index(found, 0);
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
