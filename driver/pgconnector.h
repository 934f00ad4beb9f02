#pragma once

#include <QString>

class PgConnectionSettings;
class QSqlDatabase;

// Opens the named Qt connection (QPSQL) and tells what it found:
//   "Ok"           the database is there and holds the schema (sys.t_script);
//   "INVALID"      the database is empty (no sys.t_script), or did not exist and
//                  has just been created empty (through the maintenance database
//                  "postgres", or "template1" when that one is closed to us);
//   "LOGIN ERROR"  the server refused the credentials (wrong password, unknown
//                  role, failed peer/ident authentication, no password given);
//   anything else  an error message: unreachable server, a database that is
//                  missing and cannot be created (with the reason), ...
// The connection stays registered under its name in every case; it is open
// for "Ok" and "INVALID".
class PgConnector
{
public:
    static QString connect(const QString &connectionName, const PgConnectionSettings &settings);

    static bool hasSchema(const QSqlDatabase &db);
    static bool isLoginFailure(const QString &serverMessage);

private:
    enum class Probe { Missing, Exists, LoginFailure, Unreachable };
    // Looks the database up through the maintenance database; when missing,
    // tries to create it (`createError` gets the reason when that fails).
    static Probe probeAndCreate(const PgConnectionSettings &settings, QString *createError);
};
