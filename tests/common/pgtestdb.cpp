#include "pgtestdb.h"

#include <QCoreApplication>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>

namespace {

// The fixture's own connections are the test administrator's (scripts/test:
// REJECTS_TEST_DBA, a role that creates databases and acts as the schema's
// owner, no superuser); the system under test connects as PGUSER.
QString dbaUser()
{
    return qEnvironmentVariable("REJECTS_TEST_DBA", QStringLiteral("rejects_test"));
}

QString dbaPassword()
{
    return qEnvironmentVariable("REJECTS_TEST_DBA_PASSWORD", QStringLiteral("rejects_test"));
}

QSqlDatabase openDatabase(const QString &connectionName, const QString &dbName)
{
    QSqlDatabase db = QSqlDatabase::contains(connectionName)
                          ? QSqlDatabase::database(connectionName, false)
                          : QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), connectionName);
    db.setHostName(qEnvironmentVariable("PGHOST"));
    db.setPort(qEnvironmentVariableIntValue("PGPORT"));
    db.setUserName(dbaUser());
    db.setPassword(dbaPassword());
    db.setDatabaseName(dbName);
    db.open();
    return db;
}

const char adminConnection[] = "pgtestdb_admin";

} // namespace

PgTestDb::PgTestDb(const QString &prefix, Content content)
    : m_content(content)
{
    loginRole(); // remembered before any makeDefault changes PGUSER
    if (qEnvironmentVariableIsEmpty("PGHOST") || qEnvironmentVariableIsEmpty("PGPORT")) {
        m_error = QStringLiteral("PGHOST/PGPORT not set: run the tests through scripts/test");
        return;
    }
    const QString templ = content == Demo ? qEnvironmentVariable("REJECTS_TEST_TEMPLATE",
                                                                 QStringLiteral("rejects_template"))
                                          : QStringLiteral("template0");
    m_name = QStringLiteral("%1_%2_%3")
                 .arg(prefix.toLower())
                 .arg(QCoreApplication::applicationPid())
                 .arg(QUuid::createUuid().toString(QUuid::Id128).left(8));
    m_valid =
        adminExec(QStringLiteral("CREATE DATABASE \"%1\" TEMPLATE \"%2\"").arg(m_name, templ));
}

PgTestDb::~PgTestDb()
{
    for (const QString &c : qAsConst(m_connections)) {
        {
            QSqlDatabase::database(c, false).close();
        }
        QSqlDatabase::removeDatabase(c);
    }
    if (m_valid)
        adminExec(QStringLiteral("DROP DATABASE IF EXISTS \"%1\" WITH (FORCE)").arg(m_name));
}

bool PgTestDb::adminExec(const QString &sql)
{
    bool ok = false;
    {
        QSqlDatabase db = openDatabase(QLatin1String(adminConnection), QStringLiteral("postgres"));
        if (!db.isOpen()) {
            m_error = db.lastError().text();
        } else {
            QSqlQuery q(db);
            ok = q.exec(sql);
            if (!ok)
                m_error = q.lastError().text();
        }
    }
    return ok;
}

void PgTestDb::makeDefault() const
{
    qputenv("PGDATABASE", m_name.toUtf8());
    // Creating the schema of an empty database is the privileged step.
    if (m_content == Empty) {
        qputenv("PGUSER", dbaUser().toUtf8());
        qputenv("PGPASSWORD", dbaPassword().toUtf8());
    } else {
        qputenv("PGUSER", loginRole().first.toUtf8());
        qputenv("PGPASSWORD", loginRole().second.toUtf8());
    }
}

QPair<QString, QString> PgTestDb::dbaRole()
{
    return qMakePair(dbaUser(), dbaPassword());
}

QPair<QString, QString> PgTestDb::loginRole()
{
    static const QPair<QString, QString> role(
        qEnvironmentVariable("PGUSER", QStringLiteral("rejects_login")),
        qEnvironmentVariable("PGPASSWORD", QStringLiteral("rejects_login")));
    return role;
}

QSqlDatabase PgTestDb::directConnection(const QString &connectionName) const
{
    const QString name =
        connectionName.isEmpty() ? QStringLiteral("direct_") + m_name : connectionName;
    if (!m_connections.contains(name))
        m_connections << name;
    return openDatabase(name, m_name);
}

bool PgTestDb::exec(const QString &sql, QString *errorText) const
{
    QSqlQuery q(directConnection());
    const bool ok = q.exec(sql);
    if (!ok && errorText)
        *errorText = q.lastError().text();
    return ok;
}

QString PgTestDb::driverPath()
{
    return QStringLiteral(PGDRIVER_PATH);
}

QString PgTestDb::dataDir()
{
    return QStringLiteral(TEST_DATA_DIR);
}
