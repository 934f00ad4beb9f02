#pragma once

// The contract of the database driver library (libpgdriver.so): its entry
// points and the panel record. Header only, and owned by the driver: whoever
// loads the driver (QSqlConnection) includes this file and nothing else of the
// driver, and the driver knows nothing of its callers.
//
// The host loads it with QLibrary and hands it to QSqlConnection, which
// resolves the entry points below by their exact, undecorated names. All
// PostgreSQL knowledge of the system lives behind them: connecting, the text
// of named scripts (table sys.t_script), user rights, system attributes, the
// rendering of values as SQL literals, batch execution, identities and the
// database creation script.
//
// Connection parameters come from the host's settings object (application
// property "Settings", keys Database/host, port, name, user, password),
// overridden by PGHOST, PGPORT, PGDATABASE, PGUSER and PGPASSWORD.
//
// Entry points (extern "C", default visibility). All of them work on the Qt
// connection that the last "Connect" named; before any Connect, or while that
// connection is closed, they give the neutral answer (empty, false, invalid).
//
//   void     Connect(QVariant &result, const QString &connectionName, bool console)
//            Adds (or reuses) and opens the QPSQL connection under that name,
//            clears the script cache and logs the user out. result:
//            "Ok"          the database holds the schema (sys.t_script exists);
//            "INVALID"     the database is empty, or was missing and has just
//                          been created empty (CREATE DATABASE through the
//                          maintenance database "postgres"/"template1"); the
//                          connection is open on it, ready for getStart +
//                          batchExec;
//            "LOGIN ERROR" the server refused the credentials (wrong or missing
//                          password, unknown role, failed peer/ident check);
//            other text    the error (unreachable server, a missing database
//                          the role may not create, ...).
//   QString  getScript(const QString &name)
//            Text of sys.t_script by exact name, cached until the next Connect;
//            empty for an unknown name.
//   bool     canDo(const QString &right)
//            Whether the logged-in user holds the right now, asked of the
//            database on every call (sys.f_has_right: membership of the right's
//            group role); the built-in administrator may do everything. Unknown
//            or empty right, or nobody logged in: false.
//   QVariant getSystemAttr(const QString &name)
//            c_value of sys.t_system_attr as text; invalid when absent.
//   QString  bindQueryParam(const QString &sql, const QString &placeholder,
//                           const QVariant &value)
//            Replaces the first ":placeholder" found in code (never in literals,
//            quoted identifiers, $$ bodies or comments, never a "::" cast, never
//            a longer name) by the value as a literal (PgLiteral describes the
//            forms: NULL, numbers, true/false, E'text', CAST(E'\\x..' AS bytea),
//            quoted ISO dates/times with milliseconds).
//            "UserID" binds every ":UserID" to the logged-in user's id (NULL when
//            nobody is logged in), whatever the value.
//            "NULL" is the connection's pre-pass: every ":NULL" becomes NULL and
//            every ":UserID" the user's id; nothing else changes.
//   bool     GetPanels(QPanelList &panels)
//            Replaces the list with sys.t_panel ordered by n_order (then id).
//   QVariant convert(const QVariant &value, QVariant::Type type)
//            Null/invalid give a null QVariant of the type; "t"/"f",
//            "true"/"false" (any case) become Bool; otherwise QVariant::convert,
//            a failed conversion gives a null QVariant of the type.
//   bool     login(const QString &login, const QString &password)
//            The database checks the password (a SCRAM challenge answered with
//            a proof: the password never travels in a statement), counts
//            failures and makes the login wait after them; then the named
//            connection is reopened as the user's own login role with the
//            password (the server checks it again), so that every later
//            statement runs with his rights. A null or empty login is the
//            built-in administrator. A failed login reopens the connection
//            with the settings' role and leaves nobody logged in.
//   QString  loginMessage()
//            Why the last login failed (the database's refusal text, with the
//            wait after repeated failures); empty after a success. Optional.
//   bool     batchExec(const QString &script, QPlainTextEdit *log, QList<QSqlQuery> *results)
//            Splits at top-level semicolons and runs the statements all or
//            nothing (own transaction, or a savepoint inside the caller's);
//            logs each statement's first line and any error; appends every
//            executed query to results.
//   QVariant resultExecSQL(const QString &scriptName, const QString &unused)
//            Runs the named script, or the text itself when it is a statement and
//            no script has that name (":UserID" and ":NULL" bound), and returns the
//            first column of the first row; invalid when there is none.
//   void     scopeIdentity(const QString &table, QSqlQuery *query)
//            Runs on the query "SELECT currval(<sequence of table.id>) AS id" (or
//            "SELECT lastval() AS id" when the table's sequence is not found)
//            and leaves it on its row.
//   void     getStart(QString &script)
//            The creation script: the administrator's password verifier and
//            the file path as settings, db/roles.sql (the privileged step),
//            then as rejects_owner db/schema.sql, scripts.sql, init.sql,
//            users.sql and rights.sql.

#include <QList>
#include <QString>
#include <QVariant>

class QPlainTextEdit;
class QSqlQuery;

// One installed panel (module) of the host, as the database lists it: the
// host loads `library` from its library directory and shows it under `caption`.
struct panelData
{
    QString name;    // system name of the module, e.g. "rejects"
    QString library; // library base name, e.g. "rejects" for librejects.so
    QString caption; // text of the host's menu entry
    int order = 0;   // position in the host's menus
};

typedef QList<panelData> QPanelList;

typedef void (*PgConnectFn)(QVariant &, const QString &, bool);
typedef QString (*PgGetScriptFn)(const QString &);
typedef bool (*PgCanDoFn)(const QString &);
typedef QVariant (*PgGetSystemAttrFn)(const QString &);
typedef QString (*PgBindQueryParamFn)(const QString &, const QString &, const QVariant &);
typedef bool (*PgGetPanelsFn)(QPanelList &);
typedef QVariant (*PgConvertFn)(const QVariant &, QVariant::Type);
typedef bool (*PgLoginFn)(const QString &, const QString &);
typedef QString (*PgLoginMessageFn)();
typedef bool (*PgBatchExecFn)(const QString &, QPlainTextEdit *, QList<QSqlQuery> *);
typedef QVariant (*PgResultExecSqlFn)(const QString &, const QString &);
typedef void (*PgScopeIdentityFn)(const QString &, QSqlQuery *);
typedef void (*PgGetStartFn)(QString &);
