#pragma once

#include <QLibrary>
#include <QTextStream>
#include <memory>

class QCommandLineParser;
class QSqlConnection;

// Where every benchmark prints its figures.
QTextStream &benchOut();

// The logged-in session a benchmark measures in, set up as the host sets up
// its own: the driver library, the connection "MainConnection" in console
// mode, the login, and the connection published as the application's.
//
//   QCommandLineParser parser;
//   BenchSession session;
//   session.addOptions(parser);     // --login, --password, --driver
//   parser.process(app);
//   if (!session.open(parser))
//       return 1;
class BenchSession
{
public:
    BenchSession();
    ~BenchSession();

    void addOptions(QCommandLineParser &parser) const;
    // Connects and logs in; says why on failure.
    bool open(const QCommandLineParser &parser);
    QSqlConnection *connection() const { return m_connection.get(); }

private:
    QLibrary m_driver;
    std::unique_ptr<QSqlConnection> m_connection;
};
