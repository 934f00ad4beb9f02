#include "pguser.h"

#include "pgliteral.h"
#include "pgscram.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

namespace {

const int maxPasswordBytes = 72;

QString serverText(const QSqlError &error)
{
    const QString text = error.databaseText().trimmed();
    return text.isEmpty() ? error.text().trimmed() : text;
}

} // namespace

bool PgUser::refuse(const QString &message)
{
    m_message = message;
    reopenAsSettings();
    return false;
}

void PgUser::reopenAsSettings()
{
    if (!m_reconnected)
        return;
    m_reconnected = false;
    QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    db.close();
    m_settings.applyTo(db);
    db.open();
}

bool PgUser::login(const QString &connectionName, const PgConnectionSettings &settings,
                   const QString &login, const QString &password)
{
    logout();
    if (m_connectionName != connectionName)
        m_reconnected = false;
    m_connectionName = connectionName;
    m_settings = settings;
    m_message.clear();
    reopenAsSettings();
    QSqlDatabase db = QSqlDatabase::database(connectionName, false);
    if (!db.isOpen())
        return refuse(QStringLiteral("Нет соединения с базой данных."));
    if (password.toUtf8().size() > maxPasswordBytes)
        return refuse(QStringLiteral("Пароль длиннее 72 байт не принимается."));

    const QString loginText = login.isNull() ? QStringLiteral("") : login;
    QSqlQuery q(db);
    q.setForwardOnly(true);
    if (!q.exec(QStringLiteral("SELECT c_salt, n_iterations, c_nonce, c_refusal"
                               " FROM sys.f_login_begin(") +
                PgLiteral::text(loginText) + QStringLiteral(")")) ||
        !q.next())
        return refuse(serverText(q.lastError()));
    if (!q.value(3).toString().isEmpty())
        return refuse(q.value(3).toString());
    const QByteArray proof =
        PgScram::proof(password, QByteArray::fromBase64(q.value(0).toString().toLatin1()),
                       q.value(1).toInt(), q.value(2).toString().toUtf8());
    if (!q.exec(QStringLiteral("SELECT c_role, c_refusal FROM sys.f_login_finish(") +
                PgLiteral::text(loginText) + QStringLiteral(", ") +
                PgLiteral::text(QString::fromLatin1(proof.toBase64())) + QStringLiteral(")")) ||
        !q.next())
        return refuse(serverText(q.lastError()));
    const QString role = q.value(0).toString();
    if (role.isEmpty())
        return refuse(q.value(1).toString());
    q.finish();

    PgConnectionSettings asUser = settings;
    asUser.user = role;
    asUser.password = password;
    db.close();
    asUser.applyTo(db);
    m_reconnected = true;
    if (!db.open())
        return refuse(QStringLiteral("Сервер не принял вход: ") + serverText(db.lastError()));

    QSqlQuery who(db);
    who.setForwardOnly(true);
    if (!who.exec(QStringLiteral("SELECT id, c_login = '' FROM sys.t_user"
                                 " WHERE c_login = sys.f_session_login()")) ||
        !who.next())
        return refuse(QStringLiteral("Неверное имя пользователя или пароль."));
    m_id = who.value(0).toLongLong();
    m_administrator = who.value(1).toBool();
    return true;
}

void PgUser::logout()
{
    m_id = -1;
    m_administrator = false;
}

bool PgUser::canDo(const QSqlDatabase &db, const QString &right) const
{
    if (!isLoggedIn() || right.trimmed().isEmpty() || !db.isOpen())
        return false;
    QSqlQuery q(db);
    q.setForwardOnly(true);
    return q.exec(QStringLiteral("SELECT sys.f_has_right(") + PgLiteral::text(right) +
                  QStringLiteral(")")) &&
           q.next() && q.value(0).toBool();
}
