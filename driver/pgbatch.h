#pragma once

#include <QList>
#include <QString>

class QPlainTextEdit;
class QSqlDatabase;
class QSqlQuery;

// Runs a script of many statements (the creation script, with PL/pgSQL bodies
// in $$...$$): cut at top-level semicolons by PgSqlLexer and run one statement
// after the other, all or nothing. Outside a transaction it opens and commits
// its own; inside the caller's transaction it works under a savepoint, so a
// failure rolls back only the script. Statements that refuse to run in a
// transaction block (CREATE DATABASE, VACUUM, ...) therefore cannot be part of
// a batch. Each statement is logged with its first line, a failure with the
// server's message; every executed query is appended to `results`.
class PgBatch
{
public:
    static bool exec(const QSqlDatabase &db, const QString &script, QPlainTextEdit *log,
                     QList<QSqlQuery> *results);
};
