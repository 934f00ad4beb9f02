#include "pgdriver.h"

#include "pgbatch.h"
#include "pgconnectionsettings.h"
#include "pgconnector.h"
#include "pgcreationscript.h"
#include "pgidentity.h"
#include "pgliteral.h"
#include "pgplaceholderbinder.h"
#include "pgsession.h"
#include "pgvalueconverter.h"

#include <QSqlQuery>
#include <type_traits>

namespace {

PgSession &session()
{
    return PgSession::instance();
}

const char userIdPlaceholder[] = "UserID";
const char nullPlaceholder[] = "NULL";

QString namePart(const QString &placeholder)
{
    QString name = placeholder.startsWith(QLatin1Char(':')) ? placeholder.mid(1) : placeholder;
    int i = 0;
    while (i < name.size() && (name.at(i).isLetterOrNumber() || name.at(i) == QLatin1Char('_')))
        ++i;
    return name.left(i);
}

QString bindSessionPlaceholders(const QString &sql)
{
    const QString withNulls = PgPlaceholderBinder::bind(
        sql, QLatin1String(nullPlaceholder), QStringLiteral("NULL"), PgPlaceholderBinder::All);
    return PgPlaceholderBinder::bind(withNulls, QLatin1String(userIdPlaceholder),
                                     session().userIdLiteral(), PgPlaceholderBinder::All);
}

} // namespace

PGDRIVER_EXPORT void Connect(QVariant &result, const QString &connectionName, bool console)
{
    Q_UNUSED(console)
    const PgConnectionSettings settings = PgConnectionSettings::fromEnvironment();
    const QString status = PgConnector::connect(connectionName, settings);
    session().reset(connectionName, settings);
    result = status;
}

PGDRIVER_EXPORT QString getScript(const QString &name)
{
    return session().scripts().script(session().database(), name);
}

PGDRIVER_EXPORT bool canDo(const QString &right)
{
    return session().user().canDo(session().database(), right);
}

PGDRIVER_EXPORT QVariant getSystemAttr(const QString &name)
{
    if (!session().isOpen())
        return QVariant();
    QSqlQuery q(session().database());
    q.setForwardOnly(true);
    if (!q.exec(QStringLiteral("SELECT c_value FROM sys.t_system_attr WHERE c_name = ") +
                PgLiteral::text(name)) ||
        !q.next())
        return QVariant();
    return q.value(0);
}

PGDRIVER_EXPORT QString bindQueryParam(const QString &sql, const QString &placeholder,
                                       const QVariant &value)
{
    const QString name = namePart(placeholder);
    if (name == QLatin1String(nullPlaceholder) && placeholder.endsWith(name))
        return bindSessionPlaceholders(sql);
    if (name == QLatin1String(userIdPlaceholder))
        return PgPlaceholderBinder::bind(sql, placeholder, session().userIdLiteral(),
                                         PgPlaceholderBinder::All);
    return PgPlaceholderBinder::bind(sql, placeholder, PgLiteral::render(value));
}

PGDRIVER_EXPORT bool GetPanels(QPanelList &panels)
{
    if (!session().isOpen())
        return false;
    QSqlQuery q(session().database());
    q.setForwardOnly(true);
    if (!q.exec(QStringLiteral("SELECT c_name, c_library, c_caption, n_order FROM sys.t_panel"
                               " ORDER BY n_order, id")))
        return false;
    panels.clear();
    while (q.next()) {
        panelData panel;
        panel.name = q.value(0).toString();
        panel.library = q.value(1).toString();
        panel.caption = q.value(2).toString();
        panel.order = q.value(3).toInt();
        panels.append(panel);
    }
    return true;
}

PGDRIVER_EXPORT QVariant convert(const QVariant &value, QVariant::Type type)
{
    return PgValueConverter::convert(value, type);
}

PGDRIVER_EXPORT bool login(const QString &login, const QString &password)
{
    if (!session().isOpen())
        return false;
    return session().user().login(session().connectionName(), session().settings(), login,
                                  password);
}

PGDRIVER_EXPORT QString loginMessage()
{
    return session().user().message();
}

PGDRIVER_EXPORT bool batchExec(const QString &script, QPlainTextEdit *log,
                               QList<QSqlQuery> *results)
{
    return PgBatch::exec(session().database(), script, log, results);
}

PGDRIVER_EXPORT QVariant resultExecSQL(const QString &scriptName, const QString &unused)
{
    Q_UNUSED(unused)
    // A stored script by that name, or else the statement text itself: callers
    // also hand over ready statements ("SELECT ... WHERE id = 42 ;").
    QString script = getScript(scriptName);
    if (script.trimmed().isEmpty() && scriptName.trimmed().contains(QLatin1Char(' ')))
        script = scriptName;
    if (script.trimmed().isEmpty())
        return QVariant();
    QSqlQuery q(session().database());
    q.setForwardOnly(true);
    if (!q.exec(bindSessionPlaceholders(script)) || !q.next())
        return QVariant();
    return q.value(0);
}

PGDRIVER_EXPORT void scopeIdentity(const QString &table, QSqlQuery *query)
{
    PgIdentity::select(session().database(), table, query);
}

PGDRIVER_EXPORT void getStart(QString &script)
{
    script = PgCreationScript::text();
}

// Each entry point has exactly the type its loader resolves it with: a change
// on either side of the contract fails here, not at run time.
static_assert(std::is_same<decltype(&Connect), PgConnectFn>::value, "Connect");
static_assert(std::is_same<decltype(&getScript), PgGetScriptFn>::value, "getScript");
static_assert(std::is_same<decltype(&canDo), PgCanDoFn>::value, "canDo");
static_assert(std::is_same<decltype(&getSystemAttr), PgGetSystemAttrFn>::value, "getSystemAttr");
static_assert(std::is_same<decltype(&bindQueryParam), PgBindQueryParamFn>::value, "bindQueryParam");
static_assert(std::is_same<decltype(&GetPanels), PgGetPanelsFn>::value, "GetPanels");
static_assert(std::is_same<decltype(&convert), PgConvertFn>::value, "convert");
static_assert(std::is_same<decltype(&login), PgLoginFn>::value, "login");
static_assert(std::is_same<decltype(&loginMessage), PgLoginMessageFn>::value, "loginMessage");
static_assert(std::is_same<decltype(&batchExec), PgBatchExecFn>::value, "batchExec");
static_assert(std::is_same<decltype(&resultExecSQL), PgResultExecSqlFn>::value, "resultExecSQL");
static_assert(std::is_same<decltype(&scopeIdentity), PgScopeIdentityFn>::value, "scopeIdentity");
static_assert(std::is_same<decltype(&getStart), PgGetStartFn>::value, "getStart");
