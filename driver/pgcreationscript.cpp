#include "pgcreationscript.h"

#include "pgliteral.h"

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

QString PgCreationScript::text()
{
    QString script = QStringLiteral("SET rejects.admin_password = ") +
                     PgLiteral::text(adminPassword()) + QStringLiteral(";\n") +
                     QStringLiteral("SET rejects.file_path = ") + PgLiteral::text(filePath()) +
                     QStringLiteral(";\n");
    for (const char *part : {":/db/schema.sql", ":/db/scripts.sql", ":/db/init.sql"}) {
        QFile file{QLatin1String(part)};
        if (!file.open(QIODevice::ReadOnly))
            return QString(); // a broken build: no half script
        script += QString::fromUtf8(file.readAll());
        // A part may end in a comment or without its last semicolon.
        script += QStringLiteral("\n;\n");
    }
    script += QStringLiteral("RESET rejects.admin_password;\n");
    return script;
}
