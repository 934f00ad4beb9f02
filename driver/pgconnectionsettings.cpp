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
    override(s.password, "PGPASSWORD");
    bool ok = false;
    const int number = port.toInt(&ok);
    if (ok && number > 0)
        s.port = number;
    return s;
}

void PgConnectionSettings::applyTo(QSqlDatabase &db, const QString &databaseName) const
{
    db.setHostName(host);
    db.setPort(port);
    db.setDatabaseName(databaseName.isEmpty() ? name : databaseName);
    db.setUserName(user);
    db.setPassword(password);
}
