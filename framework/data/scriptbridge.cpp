#include "scriptbridge.h"

#include "qsqlconnection.h"
#include "recordhelpers.h"

#include <QCoreApplication>
#include <QSqlDatabase>

namespace {

QSqlConnection *publishedConnection()
{
    return appConnection();
}

} // namespace

QSqlQuery runScript(QString name, QList<QVariant> values)
{
    QSqlConnection *connection = publishedConnection();
    if (!connection)
        return QSqlQuery();
    QSqlQuery query(QSqlDatabase::database(QStringLiteral("MainConnection"), false));
    connection->execScript(connection->getScript(name), &query, values);
    return query;
}

void runScript(QString name, QSqlQuery *query, QList<QVariant> values)
{
    QSqlConnection *connection = publishedConnection();
    if (!connection || !query)
        return;
    connection->execScript(connection->getScript(name), query, values);
}
