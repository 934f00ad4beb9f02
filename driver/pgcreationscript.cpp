#include "pgcreationscript.h"

#include "pgliteral.h"
#include "pgscram.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

QString PgCreationScript::adminPassword()
{
    const QString password = qEnvironmentVariable("REJECTS_ADMIN_PASSWORD");
    return password.isEmpty() ? QStringLiteral("admin") : password;
}

QString PgCreationScript::filePath()
{
    QString path = qEnvironmentVariable("REJECTS_FILE_PATH");
    if (path.isEmpty())
        path = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
               QStringLiteral("/files");
    QDir().mkpath(path);
    return path;
}

bool PgCreationScript::append(QString &script, const char *part)
{
    QFile file{QLatin1String(part)};
    if (!file.open(QIODevice::ReadOnly))
        return false;
    script += QString::fromUtf8(file.readAll());
    // A part may end in a comment or without its last semicolon.
    script += QStringLiteral("\n;\n");
    return true;
}

QString PgCreationScript::text()
{
    QString script = QStringLiteral("SET rejects.admin_verifier = ") +
                     PgLiteral::text(PgScram::verifier(adminPassword())) + QStringLiteral(";\n") +
                     QStringLiteral("SET rejects.file_path = ") + PgLiteral::text(filePath()) +
                     QStringLiteral(";\n");
    if (!append(script, ":/db/roles.sql"))
        return QString(); // a broken build: no half script
    script += QStringLiteral("SET ROLE rejects_owner;\n");
    for (const char *part : {":/db/schema.sql", ":/db/scripts.sql", ":/db/init.sql",
                             ":/db/users.sql", ":/db/rights.sql"}) {
        if (!append(script, part))
            return QString();
    }
    script += QStringLiteral("RESET ROLE;\nRESET rejects.admin_verifier;\n");
    return script;
}
