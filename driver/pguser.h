#pragma once

#include "pgconnectionsettings.h"

#include <QString>

class QSqlDatabase;

// The user logged in through the driver. The login is the database's:
//   1. on the connection as it is (the pre-login role of the settings),
//      sys.f_login_begin(login) gives the salt and iterations of the user's
//      SCRAM verifier and a nonce, or a refusal while the login has to wait
//      after failed attempts;
//   2. sys.f_login_finish(login, proof) checks the proof computed here from
//      the password (PgScram) and gives the user's login role, or a refusal;
//   3. the named connection is reopened as that role with the password, so
//      the server checks it again (SCRAM over TCP) and every later statement
//      runs with the user's own rights;
//   4. his id is read back as that role.
// The password never appears in a statement. A failed login reopens the
// connection with the settings' role and leaves nobody logged in; message()
// then says why ("Неверное имя пользователя или пароль.", the wait, ...).
class PgUser
{
public:
    bool login(const QString &connectionName, const PgConnectionSettings &settings,
               const QString &login, const QString &password);
    // Forgets the user (the connection is left as it is).
    void logout();

    bool isLoggedIn() const { return m_id >= 0; }
    qlonglong id() const { return m_id; }
    bool isAdministrator() const { return m_administrator; }
    QString message() const { return m_message; }

    // Asks the database (sys.f_has_right) on every call, so that a revoked
    // right is gone at once. False when nobody is logged in or for an empty name.
    bool canDo(const QSqlDatabase &db, const QString &right) const;

private:
    bool refuse(const QString &message);
    void reopenAsSettings();

    qlonglong m_id = -1;
    bool m_administrator = false;
    bool m_reconnected = false;
    QString m_message;
    QString m_connectionName;
    PgConnectionSettings m_settings;
};
