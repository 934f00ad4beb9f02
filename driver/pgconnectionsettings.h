#pragma once

#include <QString>

class QSqlDatabase;

// Where and as whom the driver connects. Read from the host's settings object
// (application property "Settings", a QSettings* held as a qlonglong address;
// keys Database/host, Database/port, Database/name, Database/user,
// Database/password), each overridden by PGHOST, PGPORT, PGDATABASE, PGUSER and
// PGPASSWORD when that variable is set and not empty. Without either:
// localhost, 5432, "rejects", the operating-system user, no password.
//
// A statement that runs longer than the statement timeout (seconds; key
// Database/statement_timeout, overridden by REJECTS_STATEMENT_TIMEOUT; 30 by
// default, 0 for none) is cancelled by the server, so that a stalled server
// fails a call instead of freezing the window; TCP keepalives find a dead
// server within about half a minute.
class PgConnectionSettings
{
public:
    static PgConnectionSettings fromEnvironment();

    // Applies the parameters to `db`, with `databaseName` instead of `name`
    // when given (the maintenance database).
    void applyTo(QSqlDatabase &db, const QString &databaseName = QString()) const;

    QString host;
    int port = 5432;
    QString name;
    QString user;
    QString password;
    int statementTimeout = 30;

    // The libpq options the connection is opened with (connect timeout,
    // keepalives, statement timeout), in QSqlDatabase::setConnectOptions form.
    QString connectOptions() const;
};
