#pragma once

#include "datalink.h"
#include "rejects_global.h"

#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariant>

class QDataTable;
class QSqlConnection;

// A module's document: the QDataTable objects of one master table and its
// details, found by name, with master/detail key links and one transactional
// commit.
//
// commit writes the tables in the changing order (unknown names skipped; the
// order of addTable when no order is set) inside one database transaction and
// stops at the first table that fails, rolling the transaction back. Rows
// change state only once the transaction has committed: after a failure every
// table's pending rows are as they were before the commit (temporary keys
// included), so the user can correct them and commit again.
//
// A key link passes a master's new key (QDataTable::dataChanged after an
// insert) into every detail row holding the temporary key; a detail table in
// table state -2 is left alone.
//
// The set does not own its tables (they live by their Qt parent). GUI thread
// only.
class REJECTS_EXPORT QDataSet : public QObject
{
    Q_OBJECT
public:
    explicit QDataSet(QObject *parent = nullptr);

    void addTable(QDataTable *table);
    QList<QDataTable *> tables() const { return m_tables; }
    // The first table of that name; null (with a debug line) when none.
    QDataTable *getTable(QString name) const;

    // Links need both tables to exist; otherwise nothing is linked.
    void createDataLink(QString masterTable, QString masterField, QString detailTable,
                        QString detailField);
    void createDataLink(QString masterTable, QString detailTable, QString field);
    QList<dataLink> links() const { return m_links; }

    void setChangingOrder(QStringList names);
    QStringList changingOrder() const { return m_changingOrder; }

    // True when any table has rows waiting for commit.
    bool isModified() const;
    bool commit(QSqlConnection *connection);
    // Why the last commit failed (the failing table's reason); empty after a
    // success.
    QString lastError() const { return m_lastError; }
    void rollback();
    void closeAll();
    // Key changes of the other set's tables reach this set's links too.
    void intersect(QDataSet *other);

    // Writes the listed tables (all when empty) into
    // "dataset_yyyy_MM_dd hh_mm.csv" in `directory`: per table a line
    // "TABLE:";"<name>"; and its QDataTable::prepareDump text, blocks
    // separated by ";\n;\n;\n". A non-empty `name` heads the file as
    // "DATASET:";"<name>";. Returns the file path, empty on failure.
    QString dump(QString directory, bool withState = false, QString name = QString(),
                 QStringList tables = QStringList());

public slots:
    void linkedDataChanged(QString table, QVariant oldValue, QVariant newValue, QString field);

private:
    QList<QDataTable *> m_tables;
    QList<dataLink> m_links;
    QStringList m_changingOrder;
    QString m_lastError;
};
