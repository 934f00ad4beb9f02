#pragma once

// The database driver library (libpgdriver.so).
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
// Entry points (extern "C", default visibility):
//   void     Connect(QVariant &result, const QString &connectionName, bool console)
//            result: "Ok", "LOGIN ERROR", "INVALID" or an error message.
//   QString  getScript(const QString &name)            empty when unknown
//   bool     canDo(const QString &right)               rights of the logged-in user
//   QVariant getSystemAttr(const QString &name)        invalid when unknown
//   QString  bindQueryParam(const QString &sql, const QString &placeholder,
//                           const QVariant &value)     the one place a value becomes SQL
//   bool     GetPanels(QPanelList &panels)
//   QVariant convert(const QVariant &value, QVariant::Type type)
//   bool     login(const QString &login, const QString &password)
//   bool     batchExec(const QString &script, QPlainTextEdit *log, QList<QSqlQuery> *results)
//   QVariant resultExecSQL(const QString &scriptName, const QString &unused)
//   void     scopeIdentity(const QString &table, QSqlQuery *query)
//   void     getStart(QString &script)                 the whole creation script

#include "paneldata.h"

#include <QList>
#include <QString>
#include <QVariant>

class QPlainTextEdit;
class QSqlQuery;

typedef void (*PgConnectFn)(QVariant &, const QString &, bool);
typedef QString (*PgGetScriptFn)(const QString &);
typedef bool (*PgCanDoFn)(const QString &);
typedef QVariant (*PgGetSystemAttrFn)(const QString &);
typedef QString (*PgBindQueryParamFn)(const QString &, const QString &, const QVariant &);
typedef bool (*PgGetPanelsFn)(QPanelList &);
typedef QVariant (*PgConvertFn)(const QVariant &, QVariant::Type);
typedef bool (*PgLoginFn)(const QString &, const QString &);
typedef bool (*PgBatchExecFn)(const QString &, QPlainTextEdit *, QList<QSqlQuery> *);
typedef QVariant (*PgResultExecSqlFn)(const QString &, const QString &);
typedef void (*PgScopeIdentityFn)(const QString &, QSqlQuery *);
typedef void (*PgGetStartFn)(QString &);

#ifdef PGDRIVER_LIBRARY
#define PGDRIVER_EXPORT extern "C" Q_DECL_EXPORT
#else
#define PGDRIVER_EXPORT extern "C" Q_DECL_IMPORT
#endif
