#include "pgconnectionsettings.h"

#include <QCoreApplication>
#include <QSettings>
#include <QSqlDatabase>

namespace {

QSettings *hostSettings()
{
    if (!QCoreApplication::instance())
        return nullptr;
    const QVariant address = QCoreApplication::instance()->property("Settings");
    if (!address.isValid())
        return nullptr;
    return reinterpret_cast<QSettings *>(address.toLongLong());
}

QString operatingSystemUser()
{
    for (const char *variable : {"USER", "LOGNAME", "USERNAME"}) {
        const QString user = qEnvironmentVariable(variable);
        if (!user.isEmpty())
            return user;
    }
    return QStringLiteral("postgres");
}

void override(QString &value, const char *variable)
{
    const QString fromEnvironment = qEnvironmentVariable(variable);
    if (!fromEnvironment.isEmpty())
        value = fromEnvironment;
}

} // namespace

PgConnectionSettings PgConnectionSettings::fromEnvironment()
{
    PgConnectionSettings s;
    s.host = QStringLiteral("localhost");
    s.name = QStringLiteral("rejects");
    s.user = operatingSystemUser();
    QString port = QString::number(s.port);
    if (QSettings *settings = hostSettings()) {
        s.host = settings->value(QStringLiteral("Database/host"), s.host).toString();
        port = settings->value(QStringLiteral("Database/port"), port).toString();
        s.name = settings->value(QStringLiteral("Database/name"), s.name).toString();
        s.user = settings->value(QStringLiteral("Database/user"), s.user).toString();
        s.password = settings->value(QStringLiteral("Database/password")).toString();
    }
    override(s.host, "PGHOST");
    override(port, "PGPORT");
    override(s.name, "PGDATABASE");
    override(s.user, "PGUSER");
    bool ok = false;
    override(s.password, "PGPASSWORD");
    QString timeout = QString::number(s.statementTimeout);
    if (QSettings *settings = hostSettings())
        timeout = settings->value(QStringLiteral("Database/statement_timeout"), timeout).toString();
    override(timeout, "REJECTS_STATEMENT_TIMEOUT");
    const int seconds = timeout.toInt(&ok);
    if (ok && seconds >= 0)
        s.statementTimeout = seconds;
    const int number = port.toInt(&ok);
    if (ok && number > 0)
        s.port = number;
    return s;
}

QString PgConnectionSettings::connectOptions() const
{
    return QStringLiteral("connect_timeout=10;application_name=rejects;keepalives=1;"
                          "keepalives_idle=15;keepalives_interval=5;keepalives_count=3;"
                          "options='-c statement_timeout=%1s'")
        .arg(statementTimeout);
}

void PgConnectionSettings::applyTo(QSqlDatabase &db, const QString &databaseName) const
{
    db.setHostName(host);
    db.setPort(port);
    db.setDatabaseName(databaseName.isEmpty() ? name : databaseName);
    db.setUserName(user);
    db.setPassword(password);
}
