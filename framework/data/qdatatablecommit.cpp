#include "qdatatable.h"
#include "qdatatableitem.h"
#include "qdatatablemodel.h"
#include "qsqlconnection.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>

// -------------------------------------------------------------------- commit

bool QDataTable::runStatement(const QString &sql, int row, QSqlQuery &query)
{
    if (!m_connection)
        return false;
    m_connection->execScript(sql, &query, getRecord(row), false);
    return query.isActive() && query.lastError().type() == QSqlError::NoError;
}

bool QDataTable::commitPending(QList<qlonglong> &pending, const QString &sql, const char *kind,
                               bool processEvents,
                               const std::function<void(int, QSqlQuery &)> &written)
{
    if (!pending.isEmpty() && sql.isEmpty()) {
        qDebug().noquote()
            << QStringLiteral("WARNING: %1 script is empty.").arg(QLatin1String(kind))
            << objectName();
        return true;
    }
    while (!pending.isEmpty()) {
        const qlonglong identity = pending.first();
        const int row = rowOf(identity);
        if (row < 0) {
            pending.removeFirst();
            continue;
        }
        QSqlQuery query(m_database);
        if (!runStatement(sql, row, query)) {
            query.finish();
            return false;
        }
        written(row, query);
        pending.removeAll(identity); // written() has taken it off already
        if (processEvents)
            QCoreApplication::processEvents();
    }
    return true;
}

void QDataTable::removeCommittedRow(int row)
{
    dropIdentity(identityOf(row));
    unindexRow(row);
    dropSerial(row);
    m_model->removeRow(row);
    if (m_currentRow == row)
        m_currentRow = -1;
    else if (m_currentRow > row)
        --m_currentRow;
}

void QDataTable::takeWrittenRow(int row, QSqlQuery &query)
{
    if (query.isSelect() && (query.isValid() || query.first()))
        setRow(row, query.record(), true);
    else
        setRow(row, getRecord(row), true); // what was sent is what is stored
    setRowState(row, rsUnchanged);
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

    const bool noStoredProc = QCoreApplication::instance() &&
                              QCoreApplication::instance()->property("bNoStoredProc").toBool();
    auto inserted = [&](int row, QSqlQuery &query) {
        if (noStoredProc && !m_keyField.isEmpty())
            m_connection->scopeIdentity(objectName(), &query);
        const QVariant keyBefore = m_keyField.isEmpty() ? QVariant() : getField(m_keyField, row);
        takeWrittenRow(row, query);
        if (!m_keyField.isEmpty()) {
            const QVariant keyAfter = getField(m_keyField, row);
            qDebug().noquote() << "emit dataChanged(" + objectName() + ") ";
            emit dataChanged(objectName(), keyBefore, keyAfter, m_keyField);
        }
    };
    if (!commitPending(m_deleted, m_deleteSql, "delete", processEvents,
                       [this](int row, QSqlQuery &) { removeCommittedRow(row); }) ||
        !commitPending(m_inserted, m_insertSql, "insert", processEvents, inserted) ||
        !commitPending(m_updated, m_updateSql, "update", processEvents,
                       [this](int row, QSqlQuery &query) { takeWrittenRow(row, query); }))
        return false;

    watchEdits(true);
    return true;
}
