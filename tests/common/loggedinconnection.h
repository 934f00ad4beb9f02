#pragma once

#include <QLibrary>
#include <QString>

class PgTestDb;
class QSqlConnection;

// A logged-in QSqlConnection on a PgTestDb, set up the way the host sets up
// its own: the driver library (PgTestDb::driverPath()) is loaded, the database
// is made the driver's default (PgTestDb::makeDefault), the connection is
// connected in console mode under the Qt connection name "MainConnection" and
// logged in. The application properties are published as the host publishes
// them:
//   "Connection"      the QSqlConnection (objToVar; varToObj gives it back)
//   "MainConnection"  the Qt connection name, "MainConnection"
//   "LogedIn", "LogedUser", "LogedPass"   set by QSqlConnection::login
//   "libDir"          the build's library directory
//   "bNoGUI", "bDebugDB", "bNoStoredProc" false
// Only one LoggedInConnection may live at a time (one "MainConnection" per
// process). The destructor clears "Connection", deletes the connection and
// removes the Qt connection, so the PgTestDb can be dropped afterwards: keep
// the PgTestDb alive longer than the LoggedInConnection.
//
//   PgTestDb db(QStringLiteral("mytest"));
//   LoggedInConnection conn(db);            // kuznetsova, logged in
//   QVERIFY2(conn.isValid(), qPrintable(conn.error()));
//   QSqlQuery q = conn->execScript(conn->getScript("FAULT_CODE_SELECT"), QVariantList());
class LoggedInConnection
{
public:
    explicit LoggedInConnection(const PgTestDb &db,
                                const QString &login = QStringLiteral("kuznetsova"),
                                const QString &password = QStringLiteral("kuznetsova"));
    ~LoggedInConnection();
    LoggedInConnection(const LoggedInConnection &) = delete;
    LoggedInConnection &operator=(const LoggedInConnection &) = delete;

    // True when the connection is connected and the login succeeded;
    // otherwise error() says which step failed.
    bool isValid() const { return m_valid; }
    QString error() const { return m_error; }

    QSqlConnection *connection() const { return m_connection; }
    QSqlConnection *operator->() const { return m_connection; }
    QLibrary *driver() { return &m_driver; }

    static QString connectionName() { return QStringLiteral("MainConnection"); }

private:
    QLibrary m_driver;
    QSqlConnection *m_connection = nullptr;
    bool m_valid = false;
    QString m_error;
};
