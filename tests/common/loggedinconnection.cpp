#include "loggedinconnection.h"

#include "pgtestdb.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"

#include <QCoreApplication>
#include <QSqlDatabase>

LoggedInConnection::LoggedInConnection(const PgTestDb &db, const QString &login,
                                       const QString &password)
    : m_driver(PgTestDb::driverPath())
{
    QCoreApplication *app = QCoreApplication::instance();
    app->setProperty("MainConnection", connectionName());
    app->setProperty("libDir", QStringLiteral(LIB_DIR));
    app->setProperty("bNoGUI", false);
    app->setProperty("bDebugDB", false);
    app->setProperty("bNoStoredProc", false);

    if (!db.isValid()) {
        m_error = QStringLiteral("no test database: ") + db.error();
        return;
    }
    db.makeDefault();
    if (!m_driver.load()) {
        m_error = m_driver.errorString();
        return;
    }
    m_connection = new QSqlConnection(&m_driver);
    app->setProperty("Connection", objToVar(m_connection));
    if (!m_connection->Connect(connectionName(), true)) {
        m_error = QStringLiteral("Connect failed on ") + db.name();
        return;
    }
    if (!m_connection->login(login, password)) {
        m_error = QStringLiteral("login failed for \"%1\"").arg(login);
        return;
    }
    m_valid = true;
}

LoggedInConnection::~LoggedInConnection()
{
    QCoreApplication::instance()->setProperty("Connection", QVariant());
    if (m_connection) {
        m_connection->clear();
        delete m_connection;
    }
    if (QSqlDatabase::contains(connectionName())) {
        QSqlDatabase::database(connectionName(), false).close();
        QSqlDatabase::removeDatabase(connectionName());
    }
}
