#include "qdataset.h"

#include "qdatatable.h"
#include "qsqlconnection.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>

QDataSet::QDataSet(QObject *parent)
    : QObject(parent)
{
}

void QDataSet::addTable(QDataTable *table)
{
    if (table && !m_tables.contains(table))
        m_tables.append(table);
}

QDataTable *QDataSet::getTable(QString name) const
{
    for (QDataTable *table : m_tables) {
        if (table->objectName() == name)
            return table;
    }
    qDebug().noquote() << "table not found [" + name + "]";
    return nullptr;
}

void QDataSet::createDataLink(QString masterTable, QString masterField, QString detailTable,
                              QString detailField)
{
    QDataTable *master = getTable(masterTable);
    if (!master || !getTable(detailTable))
        return;
    m_links.append(dataLink{masterTable, masterField, detailTable, detailField});
    // One connection per master, however many links it has.
    connect(master, &QDataTable::dataChanged, this, &QDataSet::linkedDataChanged,
            Qt::UniqueConnection);
}

void QDataSet::createDataLink(QString masterTable, QString detailTable, QString field)
{
    createDataLink(masterTable, field, detailTable, field);
}

void QDataSet::setChangingOrder(QStringList names)
{
    if (names != m_changingOrder)
        m_changingOrder = names;
}

bool QDataSet::isModified() const
{
    for (QDataTable *table : m_tables) {
        if (table->isModified())
            return true;
    }
    return false;
}

bool QDataSet::commit(QSqlConnection *connection)
{
    QSqlDatabase database;
    if (connection)
        database = connection->getDatabase();
    const bool open = database.isValid() && database.isOpen();
    m_lastError.clear();
    // Every table remembers its pending rows first: a key given to a master
    // reaches the detail tables during the transaction, and a rollback must
    // put them back too.
    for (QDataTable *table : qAsConst(m_tables))
        table->beginCommit();
    if (open)
        database.transaction();

    QList<QDataTable *> order;
    if (m_changingOrder.isEmpty()) {
        order = m_tables;
    } else {
        for (const QString &name : m_changingOrder) {
            if (QDataTable *table = getTable(name)) // unknown names are skipped
                order.append(table);
        }
    }
    bool ok = true;
    for (QDataTable *table : order) {
        if (!table->commit(false)) {
            m_lastError = table->lastError();
            ok = false;
            break;
        }
    }
    if (open) {
        if (ok && !database.commit()) {
            ok = false;
            m_lastError = database.lastError().text().trimmed();
        }
        if (!ok)
            database.rollback();
    }
    // Rows change state only now: written when committed, as before otherwise.
    for (QDataTable *table : qAsConst(m_tables))
        table->endCommit(ok);
    return ok;
}

void QDataSet::rollback()
{
    for (QDataTable *table : m_tables)
        table->rollback();
}

void QDataSet::closeAll()
{
    for (QDataTable *table : m_tables)
        table->close();
}

void QDataSet::intersect(QDataSet *other)
{
    if (!other || other == this)
        return;
    for (QDataTable *table : other->m_tables)
        connect(table, &QDataTable::dataChanged, this, &QDataSet::linkedDataChanged,
                Qt::UniqueConnection);
}

void QDataSet::linkedDataChanged(QString table, QVariant oldValue, QVariant newValue, QString field)
{
    if (oldValue == newValue && oldValue.isNull() == newValue.isNull())
        return;
    for (const dataLink &link : qAsConst(m_links)) {
        if (link.masterTable != table || link.masterField != field)
            continue;
        QDataTable *detail = getTable(link.detailTable);
        if (!detail || detail->getTableState() == -2)
            continue;
        // Each pass moves one row off the old value; the bound keeps a value
        // the detail column cannot take from looping for ever.
        for (int left = detail->rowCount(); left > 0; --left) {
            const int row = detail->locate(link.detailField, oldValue);
            if (row < 0 || !detail->setField(link.detailField, newValue) ||
                detail->getField(link.detailField, row) == oldValue)
                break;
        }
    }
}

QString QDataSet::dump(QString directory, bool withState, QString name, QStringList tables)
{
    QDir dir(directory);
    if (!dir.exists() && !dir.mkpath(QStringLiteral(".")))
        return QString();
    QStringList blocks;
    for (QDataTable *table : qAsConst(m_tables)) {
        if (!tables.isEmpty() && !tables.contains(table->objectName()))
            continue;
        blocks.append(QStringLiteral("\"TABLE:\";\"") + table->objectName() +
                      QStringLiteral("\";\n") + table->prepareDump(withState));
    }
    QString text = blocks.join(QStringLiteral(";\n;\n;\n"));
    if (!name.isEmpty())
        text.prepend(QStringLiteral("\"DATASET:\";\"") + name + QStringLiteral("\";\n"));
    const QString path =
        dir.filePath(QStringLiteral("dataset_") +
                     QDateTime::currentDateTime().toString(QStringLiteral("yyyy_MM_dd hh_mm")) +
                     QStringLiteral(".csv"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QString();
    file.write(text.toLocal8Bit());
    return path;
}
