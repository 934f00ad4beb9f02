#pragma once

#include "pgconnectionsettings.h"
#include "pgscriptcache.h"
#include "pguser.h"

#include <QSqlDatabase>
#include <QString>

// What the driver remembers between calls: the name of the Qt connection that
// "Connect" opened and the settings it used (the pre-login role), the script
// cache of that connection and the logged-in user. One per process, like the
// connection it serves.
class PgSession
{
public:
    static PgSession &instance();

    // Forgets the scripts and the user; the next calls work on `connectionName`.
    void reset(const QString &connectionName, const PgConnectionSettings &settings);
    const PgConnectionSettings &settings() const { return m_settings; }
    QString connectionName() const { return m_connectionName; }

    // The connection "Connect" opened; an invalid database before that.
    QSqlDatabase database() const;
    bool isOpen() const;

    PgScriptCache &scripts() { return m_scripts; }
    PgUser &user() { return m_user; }

    // SQL for ":UserID": the logged-in user's id, NULL while nobody is.
    QString userIdLiteral() const;

private:
    PgSession() = default;

    bool m_connected = false;
    QString m_connectionName;
    PgConnectionSettings m_settings;
    PgScriptCache m_scripts;
    PgUser m_user;
};
