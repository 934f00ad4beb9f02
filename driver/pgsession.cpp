#include "pgsession.h"

#include "pgliteral.h"

PgSession &PgSession::instance()
{
    static PgSession session;
    return session;
}

void PgSession::reset(const QString &connectionName, const PgConnectionSettings &settings)
{
    m_connected = true;
    m_connectionName = connectionName;
    m_settings = settings;
    m_scripts.clear();
    m_user = PgUser();
}

QSqlDatabase PgSession::database() const
{
    if (!m_connected || !QSqlDatabase::contains(m_connectionName))
        return QSqlDatabase();
    return QSqlDatabase::database(m_connectionName, false);
}

bool PgSession::isOpen() const
{
    return database().isOpen();
}

QString PgSession::userIdLiteral() const
{
    return m_user.isLoggedIn() ? PgLiteral::integer(m_user.id()) : QStringLiteral("NULL");
}
