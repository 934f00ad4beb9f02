#include "pgscriptcache.h"

#include "pgliteral.h"

#include <QSqlDatabase>
#include <QSqlQuery>

QString PgScriptCache::script(const QSqlDatabase &db, const QString &name)
{
    const auto cached = m_scripts.constFind(name);
    if (cached != m_scripts.constEnd())
        return cached.value();
    if (name.isEmpty() || !db.isOpen())
        return QString();
    QSqlQuery q(db);
    q.setForwardOnly(true);
    if (!q.exec(QStringLiteral("SELECT c_text FROM sys.t_script WHERE c_name = ") +
                PgLiteral::text(name)) ||
        !q.next())
        return QString();
    const QString text = q.value(0).toString();
    m_scripts.insert(name, text);
    return text;
}
