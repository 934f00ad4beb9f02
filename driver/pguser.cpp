#include "pguser.h"

#include "pgliteral.h"

#include <QSqlDatabase>
#include <QSqlQuery>

bool PgUser::login(const QSqlDatabase &db, const QString &login, const QString &password)
{
    logout();
    if (!db.isOpen())
        return false;
    QSqlQuery q(db);
    q.setForwardOnly(true);
    const QString loginText = login.isNull() ? QStringLiteral("") : login;
    const QString passwordText = password.isNull() ? QStringLiteral("") : password;
    if (!q.exec(QStringLiteral("SELECT id, c_login = '' FROM sys.t_user WHERE c_login = ") +
                PgLiteral::text(loginText) + QStringLiteral(" AND b_active") +
                QStringLiteral(" AND c_password = crypt(") + PgLiteral::text(passwordText) +
                QStringLiteral(", c_password)")) ||
        !q.next())
        return false;
    const qlonglong id = q.value(0).toLongLong();
    const bool administrator = q.value(1).toBool();
    QSet<QString> rights;
    if (!administrator) {
        QSqlQuery r(db);
        r.setForwardOnly(true);
        if (!r.exec(QStringLiteral("SELECT r.c_sys_name FROM sys.tl_user_access_right ur"
                                   " JOIN sys.t_access_right r ON r.id = ur.id_access_right"
                                   " WHERE ur.id_user = ") +
                    PgLiteral::integer(id)))
            return false;
        while (r.next())
            rights.insert(r.value(0).toString());
    }
    m_id = id;
    m_administrator = administrator;
    m_rights = rights;
    return true;
}

void PgUser::logout()
{
    m_id = -1;
    m_administrator = false;
    m_rights.clear();
}

bool PgUser::canDo(const QString &right) const
{
    if (!isLoggedIn() || right.trimmed().isEmpty())
        return false;
    return m_administrator || m_rights.contains(right);
}
