#pragma once

#include <QSet>
#include <QString>

class QSqlDatabase;

// The user logged in through the driver: his id (bound to ":UserID") and the
// system names of his rights, read at login. The built-in administrator (the
// sys.t_user row with the empty login) holds every right.
class PgUser
{
public:
    // Checks the password against the stored salted hash (pgcrypto crypt) of
    // an active user; a null or empty login means the built-in administrator.
    // On failure the previous user is logged out.
    bool login(const QSqlDatabase &db, const QString &login, const QString &password);
    void logout();

    bool isLoggedIn() const { return m_id >= 0; }
    qlonglong id() const { return m_id; }
    bool isAdministrator() const { return m_administrator; }

    // False when nobody is logged in and for an empty right name; true for
    // the administrator; otherwise whether the user holds the right.
    bool canDo(const QString &right) const;

private:
    qlonglong m_id = -1;
    bool m_administrator = false;
    QSet<QString> m_rights;
};
