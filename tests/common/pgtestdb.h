#pragma once

#include <QSqlDatabase>
#include <QString>
#include <QStringList>

// A database of the test cluster that scripts/test started (PGHOST, PGPORT and
// PGUSER point at it). Each PgTestDb is a fresh database, either a copy of the
// demo template (schema, scripts, initial and demo data) or an empty one, and
// it is dropped again when the object goes away.
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

    // Makes this database the default of the driver (PGDATABASE).
    void makeDefault() const;

    // A plain Qt connection of its own to this database, for checking what
    // the system wrote ("a second connection"). Closed by the destructor.
    QSqlDatabase directConnection(const QString &connectionName = QString()) const;

    // Runs one statement as the cluster's superuser on this database; false on error.
    bool exec(const QString &sql, QString *errorText = nullptr) const;

    // The driver library file and the directory of the test data.
    static QString driverPath();
    static QString dataDir();

private:
    bool adminExec(const QString &sql);

    QString m_name;
    QString m_error;
    bool m_valid = false;
    mutable QStringList m_connections;
};
