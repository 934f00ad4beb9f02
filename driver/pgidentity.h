#pragma once

#include <QString>

class QSqlDatabase;
class QSqlQuery;

// The key the last insert into a table generated, for tables whose "id"
// column draws from a sequence (serial or identity). Runs on the caller's
// query "SELECT currval('<the table's sequence>') AS id" when the table
// (named bare, "t_process_exam", or with its schema, "qms.t_process_exam") is
// found with such a sequence, otherwise "SELECT lastval() AS id", and
// positions the query on its row.
class PgIdentity
{
public:
    static void select(const QSqlDatabase &db, const QString &table, QSqlQuery *query);

private:
    static QString sequenceOf(const QSqlDatabase &db, const QString &table);
};
