#include "benchsession.h"

#include "qsqlconnection.h"
#include "recordhelpers.h"

#include <QCommandLineParser>
#include <QCoreApplication>

QTextStream &benchOut()
{
    static QTextStream out(stdout);
    return out;
}

BenchSession::BenchSession() = default;

BenchSession::~BenchSession()
{
    if (QCoreApplication::instance())
        QCoreApplication::instance()->setProperty("Connection", QVariant());
}

void BenchSession::addOptions(QCommandLineParser &parser) const
{
    parser.addOption({QStringLiteral("login"), QStringLiteral("User login."),
                      QStringLiteral("login"), QStringLiteral("kuznetsova")});
    parser.addOption({QStringLiteral("password"), QStringLiteral("Password."),
                      QStringLiteral("password"), QStringLiteral("kuznetsova")});
    parser.addOption({QStringLiteral("driver"), QStringLiteral("Driver library."),
                      QStringLiteral("path"), QStringLiteral(PGDRIVER_PATH)});
}

bool BenchSession::open(const QCommandLineParser &parser)
{
    m_driver.setFileName(parser.value(QStringLiteral("driver")));
    m_connection = std::make_unique<QSqlConnection>(&m_driver);
    if (!m_connection->Connect(QStringLiteral("MainConnection"), true) ||
        !m_connection->login(parser.value(QStringLiteral("login")),
                             parser.value(QStringLiteral("password")))) {
        benchOut() << "cannot connect or log in (check PGDATABASE and the login)" << Qt::endl;
        return false;
    }
    QCoreApplication::instance()->setProperty("Connection", objToVar(m_connection.get()));
    return true;
}
