#include "pgconnector.h"

#include "pgconnectionsettings.h"
#include "pgliteral.h"

#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

namespace {

const char driverName[] = "QPSQL";
const char maintenanceConnection[] = "pgdriver_maintenance";

QString errorText(const QSqlDatabase &db)
{
    const QSqlError error = db.lastError();
    const QString text = error.databaseText().trimmed();
    return text.isEmpty() ? error.text().trimmed() : text;
}

} // namespace

bool PgConnector::isLoginFailure(const QString &serverMessage)
{
    // Server (FATAL) and libpq texts, English and Russian message catalogues.
    static const QRegularExpression pattern(
        QStringLiteral("authentication failed|no password supplied|password is required"
                       "|role \"[^\"]*\" does not exist"
                       "|не прошёл проверку подлинности|не прошел проверку подлинности"
                       "|пароль не указан|роль \"[^\"]*\" не существует"),
        QRegularExpression::CaseInsensitiveOption);
    return pattern.match(serverMessage).hasMatch();
}

bool PgConnector::hasSchema(const QSqlDatabase &db)
{
    QSqlQuery q(db);
    return q.exec(QStringLiteral("SELECT to_regclass('sys.t_script') IS NOT NULL")) && q.next() &&
           q.value(0).toBool();
}

PgConnector::Probe PgConnector::probeAndCreate(const PgConnectionSettings &settings,
                                               QString *createError)
{
    Probe probe = Probe::Unreachable;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QLatin1String(driverName),
                                                    QLatin1String(maintenanceConnection));
        db.setConnectOptions(settings.connectOptions());
        bool open = false;
        QString firstError;
        for (const char *maintenance : {"postgres", "template1"}) {
            settings.applyTo(db, QLatin1String(maintenance));
            open = db.open();
            if (open)
                break;
            if (firstError.isEmpty())
                firstError = errorText(db);
        }
        if (!open) {
            probe = isLoginFailure(firstError) ? Probe::LoginFailure : Probe::Unreachable;
        } else {
            QSqlQuery q(db);
            if (!q.exec(QStringLiteral("SELECT 1 FROM pg_database WHERE datname = ") +
                        PgLiteral::text(settings.name))) {
                probe = Probe::Exists; // cannot tell: report the original failure
            } else if (q.next()) {
                probe = Probe::Exists;
            } else if (q.exec(QStringLiteral("CREATE DATABASE ") +
                              PgLiteral::identifier(settings.name))) {
                probe = Probe::Missing;
            } else {
                *createError = q.lastError().databaseText().trimmed();
                probe = Probe::Exists;
            }
            db.close();
        }
    }
    QSqlDatabase::removeDatabase(QLatin1String(maintenanceConnection));
    return probe;
}

QString PgConnector::connect(const QString &connectionName, const PgConnectionSettings &settings)
{
    QSqlDatabase db = QSqlDatabase::contains(connectionName)
                          ? QSqlDatabase::database(connectionName, false)
                          : QSqlDatabase::addDatabase(QLatin1String(driverName), connectionName);
    if (!db.isValid())
        return QStringLiteral("The Qt PostgreSQL driver (QPSQL) is not available");
    db.close();
    settings.applyTo(db);
    db.setConnectOptions(settings.connectOptions());
    if (!db.open()) {
        const QString failure = errorText(db);
        if (isLoginFailure(failure))
            return QStringLiteral("LOGIN ERROR");
        QString createError;
        switch (probeAndCreate(settings, &createError)) {
        case Probe::LoginFailure:
            return QStringLiteral("LOGIN ERROR");
        case Probe::Unreachable:
            return failure;
        case Probe::Exists:
            if (!createError.isEmpty())
                return QStringLiteral("Database \"%1\" does not exist and cannot be created: %2")
                    .arg(settings.name, createError);
            return failure;
        case Probe::Missing:
            if (!db.open())
                return errorText(db);
            break;
        }
    }
    return hasSchema(db) ? QStringLiteral("Ok") : QStringLiteral("INVALID");
}
