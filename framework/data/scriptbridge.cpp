#include "scriptbridge.h"

#include "qsqlconnection.h"
#include "recordhelpers.h"

#include <QCoreApplication>
#include <QSqlDatabase>

QSqlQuery runScript(QString name, QList<QVariant> values)
{
    QSqlConnection *connection = appConnection();
    if (!connection)
        return QSqlQuery();
    QSqlQuery query(QSqlDatabase::database(QStringLiteral("MainConnection"), false));
    connection->execScript(connection->getScript(name), &query, values);
    return query;
}

void runScript(QString name, QSqlQuery *query, QList<QVariant> values)
{
    QSqlConnection *connection = appConnection();
    if (!connection || !query)
        return;
    connection->execScript(connection->getScript(name), query, values);
}
