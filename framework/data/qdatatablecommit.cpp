#include "qdatatable.h"
#include "qdatatableitem.h"
#include "qdatatablemodel.h"
#include "qsqlconnection.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSqlError>
#include <QSqlQuery>
#include <algorithm>

// -------------------------------------------------------------------- commit
//
// A commit is one transaction: the table's own, or the data set's around the
// commits of all its tables. During it the written rows take what the
// database returned (new keys reach the detail tables through dataChanged),
// but they change state only when the transaction has committed
// (endCommit(true)); after a rollback, endCommit(false) puts every pending
// row back as beginCommit found it.

namespace {

// A statement touched its row: it returned the row, or (without a result)
// changed one.
bool touchedRow(QSqlQuery &query)
{
    if (query.isSelect())
        return query.isValid() || query.first();
    return query.numRowsAffected() != 0;
}

} // namespace

bool QDataTable::runStatement(const QString &sql, int row, QSqlQuery &query)
{
    if (!m_connection) {
        m_lastError = tr("Нет соединения с базой данных");
        return false;
    }
    m_connection->execScript(sql, &query, getRecord(row), false);
    if (query.isActive() && query.lastError().type() == QSqlError::NoError)
        return true;
    m_lastError = m_connection->lastErrorText();
    if (m_lastError.isEmpty())
        m_lastError = tr("Запись не сохранена");
    return false;
}

bool QDataTable::commitPending(QList<qlonglong> &pending, const QString &sql, const char *kind,
                               bool processEvents,
                               const std::function<bool(int, QSqlQuery &)> &written)
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
        if (!runStatement(sql, row, query) || !written(row, query)) {
            query.finish();
            return false;
        }
        pending.removeAll(identity);
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
}

void QDataTable::takeWrittenRow(int row, QSqlQuery &query)
{
    // What was sent is what is stored, also in the columns the statement
    // does not return; then the values the database decided.
    for (int c = 0; c < m_columns.count(); ++c) {
        if (QDataTableItem *item = cell(row, c))
            item->setValue(QVariant(item->current), true);
    }
    if (query.isSelect() && query.isValid())
        writeRow(row, query.record(), true);
    emitRowChanged(row);
}

void QDataTable::beginCommit()
{
    if (m_journal.active)
        return;
    m_journal = CommitJournal();
    m_journal.active = true;
    m_journal.inserted = m_inserted;
    m_journal.updated = m_updated;
    m_journal.deleted = m_deleted;
    const QList<qlonglong> pending = m_inserted + m_updated + m_deleted;
    for (qlonglong identity : pending) {
        const int row = rowOf(identity);
        if (row < 0 || m_journal.rows.contains(identity))
            continue;
        SavedRow saved;
        saved.state = getRowState(row);
        for (int c = 0; c < m_columns.count(); ++c) {
            QDataTableItem *item = cell(row, c);
            saved.current.append(item ? item->current : QVariant());
            saved.original.append(item ? item->original() : QVariant());
            saved.hasOriginal.append(item && item->hasOriginal());
        }
        m_journal.rows.insert(identity, saved);
    }
}

void QDataTable::endCommit(bool committed)
{
    if (!m_journal.active)
        return;
    const CommitJournal journal = m_journal;
    m_journal = CommitJournal();
    if (committed) {
        QVector<int> gone;
        for (qlonglong identity : journal.removed) {
            const int row = rowOf(identity);
            if (row >= 0)
                gone.append(row);
        }
        std::sort(gone.begin(), gone.end(), std::greater<int>());
        for (int row : qAsConst(gone))
            removeCommittedRow(row);
        for (qlonglong identity : journal.written) {
            const int row = rowOf(identity);
            if (row >= 0 && getRowState(row) != rsUnchanged)
                setRowState(row, rsUnchanged);
        }
        return;
    }
    // Rolled back: every pending row as it was, with its temporary keys.
    for (auto it = journal.rows.cbegin(); it != journal.rows.cend(); ++it) {
        const int row = rowOf(it.key());
        if (row < 0)
            continue;
        const SavedRow &saved = it.value();
        QSqlRecord record = m_emptyRecord;
        for (int c = 0; c < m_columns.count() && c < saved.current.size(); ++c)
            record.setValue(c, saved.current.at(c));
        writeRow(row, record, false);
        for (int c = 0; c < m_columns.count() && c < saved.current.size(); ++c) {
            if (QDataTableItem *item = cell(row, c))
                item->restoreOriginal(saved.original.at(c), saved.hasOriginal.at(c));
        }
        firstItem(row)->state = qint8(saved.state);
        emitRowChanged(row);
    }
    auto alive = [this](QList<qlonglong> list) {
        list.erase(std::remove_if(list.begin(), list.end(),
                                  [this](qlonglong identity) { return rowOf(identity) < 0; }),
                   list.end());
        return list;
    };
    m_inserted = alive(journal.inserted);
    m_updated = alive(journal.updated);
    m_deleted = alive(journal.deleted);
}

bool QDataTable::commit(bool processEvents)
{
    watchEdits(false);
    m_lastError.clear();
    if (m_connection)
        resolveScripts();

    // A row added and deleted again never reached the database: it goes
    // without any statement.
    const QList<qlonglong> deleted = m_deleted;
    for (qlonglong identity : deleted) {
        if (m_inserted.contains(identity))
            killRow(rowOf(identity));
    }

    // On its own the table writes in a transaction of its own, so that a
    // commit is all or nothing; in a data set the set's transaction holds.
    const bool own = !m_journal.active;
    const bool transaction = own && isModified() && m_database.isValid() && m_database.isOpen() &&
                             m_database.transaction();
    if (own)
        beginCommit();

    const bool noStoredProc = QCoreApplication::instance() &&
                              QCoreApplication::instance()->property("bNoStoredProc").toBool();
    const QString gone = tr("Запись не найдена: ее удалил или изменил другой пользователь");
    auto removed = [&](int row, QSqlQuery &query) {
        if (!touchedRow(query)) {
            m_lastError = gone;
            return false;
        }
        m_journal.removed.append(identityOf(row));
        return true;
    };
    auto inserted = [&](int row, QSqlQuery &query) {
        if (noStoredProc && !m_keyField.isEmpty())
            m_connection->scopeIdentity(objectName(), &query);
        if (!touchedRow(query)) {
            m_lastError = tr("База данных не вернула добавленную запись");
            return false;
        }
        const QVariant keyBefore = m_keyField.isEmpty() ? QVariant() : getField(m_keyField, row);
        takeWrittenRow(row, query);
        m_journal.written.append(identityOf(row));
        if (!m_keyField.isEmpty()) {
            const QVariant keyAfter = getField(m_keyField, row);
            qDebug().noquote() << "emit dataChanged(" + objectName() + ") ";
            emit dataChanged(objectName(), keyBefore, keyAfter, m_keyField);
        }
        return true;
    };
    auto updated = [&](int row, QSqlQuery &query) {
        if (!touchedRow(query)) {
            m_lastError = gone;
            return false;
        }
        takeWrittenRow(row, query);
        m_journal.written.append(identityOf(row));
        return true;
    };
    bool ok = commitPending(m_deleted, m_deleteSql, "delete", processEvents, removed) &&
              commitPending(m_inserted, m_insertSql, "insert", processEvents, inserted) &&
              commitPending(m_updated, m_updateSql, "update", processEvents, updated);

    if (transaction) {
        if (ok && !m_database.commit()) {
            ok = false;
            m_lastError = m_database.lastError().text().trimmed();
        }
        if (!ok)
            m_database.rollback();
    }
    if (own)
        endCommit(ok);
    // Edits are tracked again whatever happened: the user corrects and saves again.
    watchEdits(true);
    return ok;
}
