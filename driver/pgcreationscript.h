#pragma once

#include <QString>

// The whole database creation script: the settings that the db/ files read,
//   SET rejects.admin_verifier = <SCRAM verifier of REJECTS_ADMIN_PASSWORD,
//                                 default "admin"; the password itself is not
//                                 in the script>;
//   SET rejects.file_path = <REJECTS_FILE_PATH, default AppDataLocation + "/files">;
// (the directory is created), then db/roles.sql, the one step that needs a
// privileged role (a superuser, or the database's owner with CREATEROLE), and
// as rejects_owner db/schema.sql, scripts.sql, init.sql, users.sql and
// rights.sql, all compiled in from the resources; finally RESET ROLE and a
// RESET of the verifier setting.
class PgCreationScript
{
public:
    static QString text();
    static QString filePath();
    static QString adminPassword();

private:
    static bool append(QString &script, const char *part);
};
