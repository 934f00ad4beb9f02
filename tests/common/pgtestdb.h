#pragma once

#include <QPair>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>

// A database of the test cluster that scripts/test started (PGHOST and PGPORT
// point at it; the fixture connects as REJECTS_TEST_DBA over TCP). Each PgTestDb is a fresh
// database, either a copy of the demo template (schema, scripts, initial and demo data) or an empty
// one, and it is dropped again when the object goes away.
class PgTestDb
{
public:
    enum Content { Demo, Empty };

    explicit PgTestDb(const QString &prefix, Content content = Demo);
    ~PgTestDb();
    PgTestDb(const PgTestDb &) = delete;
    PgTestDb &operator=(const PgTestDb &) = delete;

    // False (with the reason in error()) when no test cluster is reachable.
    bool isValid() const { return m_valid; }
    QString error() const { return m_error; }
    QString name() const { return m_name; }

    // Makes this database the default of the driver (PGDATABASE), with the
    // role the driver connects as (PGUSER, PGPASSWORD): the pre-login role
    // for a demo copy, the test administrator for an empty database (only a
    // privileged role may create the schema).
    void makeDefault() const;
    // The pre-login role and its password, as scripts/test gave them.
    static QPair<QString, QString> loginRole();
    // The test administrator and his password.
    static QPair<QString, QString> dbaRole();

    // A plain Qt connection of its own to this database, for checking what
    // the system wrote ("a second connection"). Closed by the destructor.
    QSqlDatabase directConnection(const QString &connectionName = QString()) const;

    // Runs statements as the test administrator (acting as the schema's
    // owner, no superuser) on this database; false on error.
    bool exec(const QString &sql, QString *errorText = nullptr) const;

    // The driver library file and the directory of the test data.
    static QString driverPath();
    static QString dataDir();

private:
    bool adminExec(const QString &sql);

    Content m_content;
    QString m_name;
    QString m_error;
    bool m_valid = false;
    mutable QStringList m_connections;
};
