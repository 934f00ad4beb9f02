#pragma once

#include <QString>

// The whole database creation script: the settings that init.sql reads,
//   SET rejects.admin_password = <REJECTS_ADMIN_PASSWORD, default "admin">;
//   SET rejects.file_path = <REJECTS_FILE_PATH, default AppDataLocation + "/files">;
// (the directory is created), then db/schema.sql, db/scripts.sql and
// db/init.sql compiled in from the resources, and finally a RESET of the
// password setting so that it does not stay readable in the session.
class PgCreationScript
{
public:
    static QString text();
    static QString filePath();
    static QString adminPassword();
};
