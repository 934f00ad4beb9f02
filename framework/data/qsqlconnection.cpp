#include "qsqlconnection.h"

#include "infolist.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QLibrary>
#include <QMessageBox>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlField>
#include <QTcpSocket>
#include <QTimer>
#include <cstdio>

namespace {

// The server's own refusals (a broken key, a missing right) name tables and
// constraints in English; the user reads what happened in plain words. The
// refusals our schema raises are written for the user and stay as they are;
// the developer log keeps the server's text with the statement.
struct PlainReason
{
    const char *state;
    const char *serverText;
    const char *text;
};

const PlainReason plainReasons[] = {
    {"23503", "violates foreign key constraint",
     QT_TRANSLATE_NOOP("QSqlConnection",
                       "Запись связана с другими данными (используется в них или ссылается на "
                       "удаленную): изменение не сохранено")},
    {"23505", "violates unique constraint",
     QT_TRANSLATE_NOOP("QSqlConnection", "Такая запись уже есть")},
    {"23502", "null value in column",
     QT_TRANSLATE_NOOP("QSqlConnection", "Не заполнено обязательное поле")},
    {"23514", "violates check constraint",
     QT_TRANSLATE_NOOP("QSqlConnection", "Значение не допускается")},
    {"42501", "permission denied",
     QT_TRANSLATE_NOOP("QSqlConnection", "Недостаточно прав для этого действия")},
};

QVariant appProperty(const char *name)
{
    return QCoreApplication::instance() ? QCoreApplication::instance()->property(name) : QVariant();
}

void setAppProperty(const char *name, const QVariant &value)
{
    if (QCoreApplication::instance())
        QCoreApplication::instance()->setProperty(name, value);
}

// One line of standard input without its line end; false at the end of input.
bool readConsoleLine(QString &line)
{
    QByteArray bytes;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, stdin)) {
        bytes += buffer;
        if (bytes.endsWith('\n'))
            break;
    }
    if (bytes.isEmpty())
        return false;
    line = QString::fromLocal8Bit(bytes).trimmed();
    return true;
}

} // namespace

QSqlConnection::QSqlConnection(QLibrary *driver, QObject *parent)
    : QObject(parent)
{
    // While the server is lost the connection is tried again this often.
    m_reconnectTimer = new QTimer(this);
    m_reconnectTimer->setInterval(2000);
    connect(m_reconnectTimer, &QTimer::timeout, this, &QSqlConnection::tryReconnect);
    m_probe = new QTcpSocket(this);
    connect(m_probe, &QTcpSocket::connected, this, [this] {
        m_probe->abort();
        if (m_lost)
            reconnect();
    });
    database.close();
    if (driver)
        init(driver);
}

void QSqlConnection::init(QLibrary *newDriver)
{
    if (!newDriver)
        return;
    if (!newDriver->isLoaded())
        newDriver->load();
    database.close();
    connected = false;
    loginError = false;
    clearEntryPoints();
    fnConnect = reinterpret_cast<PgConnectFn>(newDriver->resolve("Connect"));
    fnGetScript = reinterpret_cast<PgGetScriptFn>(newDriver->resolve("getScript"));
    fnCanDo = reinterpret_cast<PgCanDoFn>(newDriver->resolve("canDo"));
    fnGetSystemAttr = reinterpret_cast<PgGetSystemAttrFn>(newDriver->resolve("getSystemAttr"));
    fnBindQueryParam = reinterpret_cast<PgBindQueryParamFn>(newDriver->resolve("bindQueryParam"));
    fnGetPanels = reinterpret_cast<PgGetPanelsFn>(newDriver->resolve("GetPanels"));
    fnConvert = reinterpret_cast<PgConvertFn>(newDriver->resolve("convert"));
    fnLogin = reinterpret_cast<PgLoginFn>(newDriver->resolve("login"));
    fnBatchExec = reinterpret_cast<PgBatchExecFn>(newDriver->resolve("batchExec"));
    fnResultExecSql = reinterpret_cast<PgResultExecSqlFn>(newDriver->resolve("resultExecSQL"));
    fnScopeIdentity = reinterpret_cast<PgScopeIdentityFn>(newDriver->resolve("scopeIdentity"));
    driver = newDriver;
}

void QSqlConnection::clearEntryPoints()
{
    fnConnect = nullptr;
    fnGetScript = nullptr;
    fnCanDo = nullptr;
    fnGetSystemAttr = nullptr;
    fnBindQueryParam = nullptr;
    fnGetPanels = nullptr;
    fnConvert = nullptr;
    fnLogin = nullptr;
    fnBatchExec = nullptr;
    fnResultExecSql = nullptr;
    fnScopeIdentity = nullptr;
}

void QSqlConnection::clear()
{
    database.close();
    connected = false;
    loginError = false;
}

void QSqlConnection::internalError(int number, bool console)
{
    if (console) {
        qDebug().noquote()
            << QStringLiteral("Internal error #%1. System can not startup.").arg(number);
        return;
    }
    QMessageBox::critical(nullptr, QStringLiteral("ERROR"),
                          tr("Internal error ") + QStringLiteral("#%1. ").arg(number) +
                              tr("System can not startup,"),
                          QMessageBox::Ok);
}

bool QSqlConnection::Connect(const QString &connectionName, bool console)
{
    if (!fnConnect) {
        qWarning() << "QSqlConnection::Connect: the driver has no \"Connect\" entry point";
        return false;
    }
    QVariant result;
    m_connectionName = connectionName;
    fnConnect(result, connectionName, console);
    database = QSqlDatabase::database(connectionName, true);

    const QString status = result.toString();
    if (status == QLatin1String("Ok")) {
        connected = true;
        return true;
    }
    if (status == QLatin1String("LOGIN ERROR")) {
        loginError = true;
        return connected;
    }
    if (status != QLatin1String("INVALID")) {
        if (!console)
            QMessageBox::critical(nullptr, QStringLiteral("ERROR"), status, QMessageBox::Ok);
        return connected;
    }

    // The database is empty or damaged: offer to create it.
    if (console) {
        for (;;) {
            std::fputs("Database is invalid or corrupted. Want for create? (y/n): ", stdout);
            std::fflush(stdout);
            QString answer;
            if (!readConsoleLine(answer))
                return false; // nobody left to answer
            const QString first = answer.left(1).toUpper();
            if (first == QLatin1String("Y"))
                break;
            if (first == QLatin1String("N"))
                return false;
        }
    } else if (QMessageBox::question(
                   nullptr, QStringLiteral("Unknown database"),
                   QStringLiteral("Database is invalid or corrupted. Want for create?"),
                   QMessageBox::Ok | QMessageBox::Cancel) != QMessageBox::Ok) {
        return false;
    }

    const auto getStart = reinterpret_cast<PgGetStartFn>(driver->resolve("getStart"));
    if (!getStart) {
        internalError(1001, console);
        return false;
    }
    QString script;
    getStart(script);
    if (script.isEmpty()) {
        internalError(1002, console);
        return false;
    }
    connected = batchExec(script, nullptr, nullptr);
    if (connected)
        return true;
    internalError(1003, console);
    return false;
}

bool QSqlConnection::remakeConnection(QLibrary *newDriver, const QString &connectionName)
{
    if (!newDriver)
        return false;
    database.close();
    connected = false;
    loginError = false;
    clearEntryPoints();
    init(newDriver);
    return Connect(connectionName, false);
}

bool QSqlConnection::login(const QString &login, const QString &password)
{
    if (!fnLogin)
        qFatal("login procedure not valid");
    if (!fnLogin(login, password))
        return false;

    // The login goes into the statement through the driver, like any value.
    QSqlQuery query(database);
    if (query.exec(
            parseQuery(QStringLiteral("select c_name from sys.t_user where c_login = :login"),
                       QStringLiteral("login"),
                       QVariant(login.isNull() ? QString(QLatin1String("")) : login)))) {
        query.first();
        setAppProperty("LogedIn", query.value(QStringLiteral("c_name")).toString());
    } else if (login.isEmpty()) {
        setAppProperty("LogedIn", getSystemAttr(QStringLiteral("superAdminId")).toString());
    } else {
        setAppProperty("LogedIn", QString());
    }
    setAppProperty("LogedUser", login);
    setAppProperty("LogedPass", password);
    m_loggedIn = true;
    m_login = login;
    m_password = password;
    return true;
}

bool QSqlConnection::reconnect()
{
    if (!fnConnect || m_connectionName.isEmpty())
        return false;
    QVariant result;
    fnConnect(result, m_connectionName, true);
    database = QSqlDatabase::database(m_connectionName, false);
    if (result.toString() != QLatin1String("Ok") || !database.isOpen())
        return false;
    connected = true;
    if (m_loggedIn && !login(m_login, m_password))
        return false;
    m_reconnectTimer->stop();
    if (m_lost) {
        m_lost = false;
        qWarning().noquote() << "Connection to the database restored";
        emit connectionRestored();
    }
    return true;
}

void QSqlConnection::markLost(const QString &reason)
{
    if (m_lost)
        return;
    m_lost = true;
    qWarning().noquote() << "Connection to the database lost:" << reason;
    emit connectionLost(reason);
    // The server may be back already (a restart): try at once, then keep
    // trying until it answers.
    tryReconnect();
    if (m_lost)
        m_reconnectTimer->start();
}

void QSqlConnection::tryReconnect()
{
    // A server on a TCP host is first knocked at, without waiting: connecting
    // to an unreachable host would hold the window for the whole connect
    // timeout on every attempt. Its answer (connected) reconnects; a knock
    // still unanswered at the next attempt is given up. A local socket, or a
    // list of hosts, answers at once and is tried directly.
    const QString host = database.hostName();
    if (host.isEmpty() || host.startsWith(QLatin1Char('/')) || host.contains(QLatin1Char(','))) {
        reconnect();
        return;
    }
    m_probe->abort();
    m_probe->connectToHost(host, database.port() > 0 ? quint16(database.port()) : quint16(5432));
}

bool QSqlConnection::isBroken(const QSqlError &error)
{
    if (error.type() == QSqlError::ConnectionError)
        return true;
    const QString state = error.nativeErrorCode();
    if (state.startsWith(QLatin1String("08")) || state.startsWith(QLatin1String("57P")))
        return true;
    if (!state.isEmpty())
        return false;
    // libpq reports a closed connection without a state: ask the server.
    QSqlQuery probe(database);
    if (probe.exec(QStringLiteral("SELECT 1")))
        return false;
    return probe.lastError().nativeErrorCode().isEmpty();
}

QString QSqlConnection::lastErrorText() const
{
    QString text = m_lastError.databaseText().trimmed();
    if (text.isEmpty())
        text = m_lastError.text().trimmed();
    // "ERROR:  message\nDETAIL: ..." (or the server's translation of ERROR)
    // becomes "message".
    text = text.section(QLatin1Char('\n'), 0, 0).trimmed();
    const int colon = text.indexOf(QLatin1String(":  "));
    if (colon > 0 && colon < 16 && !text.left(colon).contains(QLatin1Char(' ')))
        text = text.mid(colon + 3).trimmed();
    for (const PlainReason &reason : plainReasons) {
        if (m_lastError.nativeErrorCode() == QLatin1String(reason.state) &&
            text.contains(QLatin1String(reason.serverText)))
            return tr(reason.text);
    }
    return text;
}

QString QSqlConnection::loginMessage() const
{
    const auto message =
        driver ? reinterpret_cast<PgLoginMessageFn>(driver->resolve("loginMessage")) : nullptr;
    return message ? message() : QString();
}

QString QSqlConnection::getScript(const QString &name)
{
    return fnGetScript ? fnGetScript(name) : QString();
}

bool QSqlConnection::canDo(const QString &name)
{
    return fnCanDo ? fnCanDo(name) : false;
}

QVariant QSqlConnection::getSystemAttr(const QString &name)
{
    return fnGetSystemAttr ? fnGetSystemAttr(name) : QVariant();
}

QVariant QSqlConnection::convert(const QVariant &value, QVariant::Type type)
{
    return fnConvert ? fnConvert(value, type) : value;
}

bool QSqlConnection::batchExec(const QString &script, QPlainTextEdit *log,
                               QList<QSqlQuery> *results)
{
    return fnBatchExec ? fnBatchExec(script, log, results) : false;
}

bool QSqlConnection::GetList(QPanelList &panels)
{
    qDebug() << "bool QSqlConnection::GetList(QPanelList&)"
             << "GetPanels" << reinterpret_cast<void *>(fnGetPanels);
    if (!fnGetPanels)
        return false;
    qDebug() << "Loading plugin list";
    return fnGetPanels(panels);
}

QVariant QSqlConnection::execScript(const QString &name)
{
    return fnResultExecSql ? fnResultExecSql(name, QString()) : QVariant();
}

QSqlQuery QSqlConnection::execScript(const QString &sql, const QList<QVariant> &values)
{
    QSqlQuery query(database);
    execScript(sql, &query, values);
    return query;
}

QSqlQuery QSqlConnection::execScript(const QString &sql, const QSqlRecord &record)
{
    QSqlQuery query(database);
    execScript(sql, &query, record);
    return query;
}

QStringList QSqlConnection::placeholders(const QString &sql)
{
    static const QRegularExpression separators(QStringLiteral("[ ,()]"));
    QStringList pieces = sql.split(separators);
    for (int i = pieces.size() - 1; i >= 0; --i) {
        if (!pieces.at(i).startsWith(QLatin1Char(':')))
            pieces.removeAt(i);
    }
    return pieces;
}

void QSqlConnection::execScript(const QString &sql, QSqlQuery *query, const QList<QVariant> &values)
{
    if (!connected || !query)
        return;
    QString text = parseQuery(sql, QStringLiteral("NULL"), QVariant(QStringLiteral("NULL")));
    const QStringList names = placeholders(text);
    if (!names.isEmpty() && names.size() == values.size()) {
        for (int i = 0; i < names.size(); ++i)
            text = parseQuery(text, names.at(i).mid(1), values.at(i));
    }
    run(text, query);
}

void QSqlConnection::execScript(const QString &sql, QSqlQuery *query, const QSqlRecord &record,
                                bool debug)
{
    if (!connected || !query)
        return;
    QSqlRecord fields(record);
    const QString text = parseQuery(sql, &fields);
    if (debug)
        qDebug().noquote() << text;
    run(text, query);
}

void QSqlConnection::run(QString text, QSqlQuery *query)
{
    const QString tracePath = appProperty("SQLTraceFile").toString();
    if (!tracePath.isEmpty()) {
        QFile trace(tracePath);
        if (trace.open(QIODevice::WriteOnly | QIODevice::Append)) {
            trace.write(text.toLocal8Bit() + "\r\n");
            trace.close();
        }
    }

    if (m_lost) {
        // Nothing reaches the server until reconnect() has brought it back.
        m_lastError = QSqlError(QString(), tr("Нет связи с сервером базы данных"),
                                QSqlError::ConnectionError);
        return;
    }
    if (query->exec(text)) {
        m_lastError = QSqlError();
        query->first();
        return;
    }
    m_lastError = query->lastError();
    const QString error = query->lastError().text().trimmed();
    if (isBroken(m_lastError))
        markLost(error);
    if (error.isEmpty())
        return;
    qWarning().noquote() << QStringLiteral("Error executing query: ") + text << error;
    if (appProperty("bDebugDB").toBool() && !appProperty("bNoGUI").toBool())
        QMessageBox::critical(nullptr, QStringLiteral("Database error"), error);
}

QString QSqlConnection::parseQuery(const QString &sql, const QString &placeholder,
                                   const QVariant &value)
{
    return fnBindQueryParam ? fnBindQueryParam(sql, placeholder, value) : sql;
}

QString QSqlConnection::parseQuery(const QString &sql, QSqlRecord *record)
{
    if (!record)
        return sql;
    QString text = sql;
    const QStringList names = placeholders(sql);
    for (const QString &name : names) {
        const QString field = name.mid(1);
        text = parseQuery(text, field, record->value(field));
    }
    return text;
}

void QSqlConnection::scopeIdentity(const QString &table, QSqlQuery *query)
{
    if (!fnScopeIdentity || !query)
        return;
    query->finish();
    fnScopeIdentity(table, query);
}

QSqlRecord QSqlConnection::convert(const QSqlRecord &record, infoList &columns)
{
    QSqlRecord converted;
    for (const colInfo &column : columns) {
        const auto type = QVariant::Type(column.type);
        QSqlField field(column.name, type);
        if (record.contains(column.name))
            field.setValue(convert(record.value(column.name), type));
        converted.append(field);
    }
    return converted;
}
