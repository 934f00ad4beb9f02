#include "testfixture.h"

#include <QSqlField>
#include <QSqlQuery>

TestFixture::TestFixture(const QString &prefix, Mode mode, const QString &user)
    : m_db(prefix)
{
    if (!m_db.isValid())
        m_error = QStringLiteral("no test database: ") + m_db.error();
    else if (mode == LoggedIn)
        login(user);
}

TestFixture::~TestFixture()
{
    m_conn.reset(); // before the database is dropped
}

bool TestFixture::login(const QString &user)
{
    m_conn.reset();
    m_conn = std::make_unique<LoggedInConnection>(m_db, user, user);
    m_error = m_conn->isValid() ? QString() : m_conn->error();
    return m_conn->isValid();
}

QVariant TestFixture::value(const QString &sql) const
{
    QSqlQuery query(m_db.directConnection());
    return query.exec(sql) && query.next() ? query.value(0) : QVariant();
}

QSqlRecord recordOf(const QVariantMap &values)
{
    QSqlRecord record;
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        QSqlField field(it.key(), it.value().type());
        field.setValue(it.value());
        record.append(field);
    }
    return record;
}
