#include "pgidentity.h"

#include "pgliteral.h"

#include <QSqlDatabase>
#include <QSqlQuery>

QString PgIdentity::sequenceOf(const QSqlDatabase &db, const QString &table)
{
    if (table.isEmpty())
        return QString();
    QSqlQuery q(db);
    q.setForwardOnly(true);
    const QString name = PgLiteral::text(table);
    if (!q.exec(QStringLiteral(
                    "SELECT s.seq FROM (SELECT pg_get_serial_sequence(c.oid::regclass::text, "
                    "a.attname) AS seq FROM pg_class c "
                    "JOIN pg_namespace n ON n.oid = c.relnamespace "
                    "JOIN pg_attribute a ON a.attrelid = c.oid AND a.attname = 'id' "
                    "AND NOT a.attisdropped "
                    "WHERE c.relkind IN ('r', 'p') AND (c.relname = %1 "
                    "OR n.nspname || '.' || c.relname = %1)) s WHERE s.seq IS NOT NULL")
                    .arg(name)))
        return QString();
    if (!q.next())
        return QString();
    const QString sequence = q.value(0).toString();
    return q.next() ? QString() : sequence; // the same bare name in two schemas
}

void PgIdentity::select(const QSqlDatabase &db, const QString &table, QSqlQuery *query)
{
    if (!query || !db.isOpen())
        return;
    const QString sequence = sequenceOf(db, table);
    if (sequence.isEmpty())
        query->exec(QStringLiteral("SELECT lastval() AS id"));
    else
        query->exec(QStringLiteral("SELECT currval(%1) AS id").arg(PgLiteral::text(sequence)));
    if (query->isActive())
        query->first();
}
