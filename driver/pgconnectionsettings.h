#pragma once

#include <QString>

class QSqlDatabase;

// Where and as whom the driver connects. Read from the host's settings object
// (application property "Settings", a QSettings* held as a qlonglong address;
// keys Database/host, Database/port, Database/name, Database/user,
// Database/password), each overridden by PGHOST, PGPORT, PGDATABASE, PGUSER and
// PGPASSWORD when that variable is set and not empty. Without either:
// localhost, 5432, "rejects", the operating-system user, no password.
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
};
