#pragma once

#include <QHash>
#include <QString>

class QSqlDatabase;

// Texts of the named scripts (sys.t_script, exact name), read once per
// connection and kept until the next Connect. Unknown names are not cached: a
// script added later is found on the next call.
class PgScriptCache
{
public:
    // The script text; empty for an unknown name, a closed connection or a
    // failed look-up.
    QString script(const QSqlDatabase &db, const QString &name);
    void clear() { m_scripts.clear(); }

private:
    QHash<QString, QString> m_scripts;
};
