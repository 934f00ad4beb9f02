#pragma once

#include "pgdriverapi.h"
#include "rejects_global.h"

#include <QList>
#include <QObject>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QString>
#include <QVariant>

class QLibrary;
class QPlainTextEdit;
class QTcpSocket;
class QTimer;
class infoList;

// The one database connection of the process.
//
// The host creates a single QSqlConnection over the database driver library
// (libpgdriver.so, see driver/api/pgdriverapi.h), connects it under the Qt connection
// name "MainConnection", logs the user in and publishes its address as the
// application property "Connection" (objToVar/varToObj). Every module reaches
// the database through it.
//
// The connection speaks no SQL dialect of its own: connecting, the text of
// named scripts, rights, system attributes, turning values into SQL, batch
// execution, identities and the panel list are the driver's. The connection
// resolves the driver's entry points by their exact names and adds:
//   - the start-up dialogue (Connect): on an empty or damaged database it
//     offers to create it with the driver's creation script ("getStart");
//   - login bookkeeping in the application properties "LogedIn" (display name),
//     "LogedUser" (login) and "LogedPass" (password);
//   - statements with positional or record-based placeholders (execScript);
//   - the SQL trace: when the application property "SQLTraceFile" names a file,
//     every statement is appended to it, followed by "\r\n";
//   - the error report: a failed statement leaves a failed query (isActive()
//     false, lastError() set), writes the warning "Error executing query: "
//     followed by the statement and the error, and shows a "Database error"
//     box only when the property "bDebugDB" is true and "bNoGUI" is not.
//
// Placeholders are ":name" pieces of the statement: the text is split on
// blanks, commas and parentheses ("[ ,()]") and every piece that begins with
// ":" is one placeholder, so a placeholder followed by any other character
// (";" for instance) keeps that character in its name. Each is replaced
// through the driver's bindQueryParam, which alone renders values as SQL.
//
// A lost server (a broken connection, found when a statement fails) is said
// once through connectionLost(); the connection then opens again through the
// driver's "Connect" and logs the same user in with the session's
// credentials, at once and every few seconds until the server answers
// (connectionRestored()). While it is lost, statements fail at once with
// lastError() saying so; what failed can be repeated once it is back.
//
// Optional entry points the driver lacks give neutral answers: false
// (batchExec, GetList), an invalid QVariant (execScript(name)), nothing
// (scopeIdentity); a driver without "login" is fatal. Nothing here throws.
// GUI thread only.
class REJECTS_EXPORT QSqlConnection : public QObject
{
    Q_OBJECT
public:
    // Binds `driver` when it is given (see init).
    explicit QSqlConnection(QLibrary *driver = nullptr, QObject *parent = nullptr);

    // Binds a driver: loads the library when it is not loaded yet, closes the
    // database, clears the flags and resolves the entry points. Null: no-op.
    void init(QLibrary *driver);
    // Closes the database and clears the flags (connected, loginError).
    void clear();

    // The start-up step: asks the driver to open the Qt connection
    // `connectionName`. On an invalid database it asks (on the console as
    // "y/n" from standard input, or in a question box) whether to create it
    // and runs the driver's creation script. False on any failure; a
    // "LOGIN ERROR" answer sets isLoginError() and shows nothing.
    bool Connect(const QString &connectionName, bool console);
    // Rebinds to another driver and connects again in GUI mode.
    bool remakeConnection(QLibrary *driver, const QString &connectionName);

    // Logs the user in through the driver; on success sets the application
    // properties "LogedIn", "LogedUser" and "LogedPass".
    bool login(const QString &login, const QString &password);
    // Why the last login was refused, in the database's words (wrong
    // password, the wait after repeated failures); empty when the driver
    // does not say.
    QString loginMessage() const;

    // Forwards to the driver.
    QString getScript(const QString &name);
    bool canDo(const QString &name);
    QVariant getSystemAttr(const QString &name);
    QVariant convert(const QVariant &value, QVariant::Type type);

    // Runs a multi-statement script; false when the driver cannot.
    bool batchExec(const QString &script, QPlainTextEdit *log, QList<QSqlQuery> *results);
    // The installed panels (table sys.t_panel); false when the driver cannot.
    bool GetList(QPanelList &panels);

    // A value-returning script (the driver's resultExecSQL); invalid when the
    // driver cannot run it.
    QVariant execScript(const QString &name);
    // A new query on the database, run with the forms below and returned
    // (positioned on its first row when it succeeded).
    QSqlQuery execScript(const QString &sql, const QList<QVariant> &values);
    QSqlQuery execScript(const QString &sql, const QSqlRecord &record);
    // Positional placeholders: value i replaces placeholder i, but only when
    // the counts agree; otherwise the text runs unchanged. The placeholder
    // "NULL" is handed to the driver first. Does nothing while not connected.
    void execScript(const QString &sql, QSqlQuery *query, const QList<QVariant> &values);
    // Named placeholders taken from the fields of `record` (a name that is no
    // field gets an invalid value). `debug` logs the final text first.
    void execScript(const QString &sql, QSqlQuery *query, const QSqlRecord &record,
                    bool debug = false);

    // One substitution through the driver's bindQueryParam (`placeholder`
    // without its ":"); the text unchanged when the driver cannot bind.
    QString parseQuery(const QString &sql, const QString &placeholder, const QVariant &value);
    // All placeholders of `sql` replaced by the fields of `record`.
    QString parseQuery(const QString &sql, QSqlRecord *record);

    // Lets the driver run, on `query`, the statement that yields the identity
    // generated by the last insert into `table`; the caller reads it there.
    void scopeIdentity(const QString &table, QSqlQuery *query);

    // A record with one field per column of `columns` (its name and type),
    // valued from the field of the same name in `record`, converted to the
    // column's type; fields no column names are dropped.
    QSqlRecord convert(const QSqlRecord &record, infoList &columns);

    QLibrary *currentDriver() const { return driver; }
    // True once Connect succeeded (or the creation script ran).
    bool isConnected() const { return connected; }
    // True when the driver answered "LOGIN ERROR" to the last Connect.
    bool isLoginError() const { return loginError; }
    // The open Qt database of this connection.
    QSqlDatabase getDatabase() const { return database; }

    // The error of the last statement run here; no error after a success.
    QSqlError lastError() const { return m_lastError; }
    // The same in plain words: the server's message without its severity
    // prefix and its detail lines, and the server's own refusals of a key, a
    // required field, a check or a right said as the user understands them;
    // empty after a success.
    QString lastErrorText() const;
    // The server is not reachable since a statement found the connection
    // broken; cleared by a successful reconnect().
    bool isLost() const { return m_lost; }
    // Opens the connection again (the driver's "Connect" under the name of
    // the last Connect) and logs the session's user in again; true when the
    // connection is back.
    bool reconnect();

signals:
    // The server stopped answering; emitted once per outage.
    void connectionLost(const QString &reason);
    // The connection is back and the user logged in again.
    void connectionRestored();

private:
    void clearEntryPoints();
    void internalError(int number, bool console);
    static QStringList placeholders(const QString &sql);
    void run(QString text, QSqlQuery *query);
    bool isBroken(const QSqlError &error);
    void markLost(const QString &reason);
    void tryReconnect();

    bool loginError = false;
    QLibrary *driver = nullptr;
    PgConnectFn fnConnect = nullptr;
    PgGetScriptFn fnGetScript = nullptr;
    PgCanDoFn fnCanDo = nullptr;
    PgGetSystemAttrFn fnGetSystemAttr = nullptr;
    PgBindQueryParamFn fnBindQueryParam = nullptr;
    PgGetPanelsFn fnGetPanels = nullptr;
    PgConvertFn fnConvert = nullptr;
    PgLoginFn fnLogin = nullptr;
    PgBatchExecFn fnBatchExec = nullptr;
    PgResultExecSqlFn fnResultExecSql = nullptr;
    PgScopeIdentityFn fnScopeIdentity = nullptr;
    bool connected = false;
    QSqlDatabase database;
    QSqlError m_lastError;
    QString m_connectionName;
    bool m_loggedIn = false;
    QString m_login, m_password;
    bool m_lost = false;
    QTimer *m_reconnectTimer = nullptr;
    QTcpSocket *m_probe = nullptr;
};
