#pragma once

#include "loggedinconnection.h"
#include "pgtestdb.h"

#include <QSqlRecord>
#include <QVariant>
#include <memory>

class QSqlConnection;

// A record of named values, as a table hands one to a script (a name the
// script uses and the record lacks is bound as NULL).
QSqlRecord recordOf(const QVariantMap &values);

// The common ground of the test programs: a fresh copy of the demo database
// on the test cluster and, unless asked otherwise, the host's logged-in
// connection on it (see LoggedInConnection). A program opts in with one line,
// in initTestCase() for one database per program or in init() for a fresh
// one per case; the database goes when the fixture does:
//
//   std::unique_ptr<TestFixture> m_fx;
//   void initTestCase() { START_FIXTURE(m_fx, "table"); }     // kuznetsova
//   void init() { START_FIXTURE(m_fx, "host", TestFixture::DatabaseOnly); }
class TestFixture
{
public:
    enum Mode { LoggedIn, DatabaseOnly };

    explicit TestFixture(const QString &prefix, Mode mode = LoggedIn,
                         const QString &user = QStringLiteral("kuznetsova"));
    ~TestFixture();

    bool isValid() const { return m_error.isEmpty(); }
    QString error() const { return m_error; }

    // Logs `user` in on a new connection (a demo user's password is the
    // login); the previous connection goes first. False with error() set.
    bool login(const QString &user);

    PgTestDb &db() { return m_db; }
    QSqlConnection *connection() const { return m_conn ? m_conn->connection() : nullptr; }
    QSqlConnection *operator->() const { return connection(); }

    // The first value of a statement run on a second connection of its own.
    QVariant value(const QString &sql) const;

private:
    PgTestDb m_db;
    std::unique_ptr<LoggedInConnection> m_conn;
    QString m_error;
};

#define START_FIXTURE(fixture, ...)                                                                \
    do {                                                                                           \
        fixture.reset();                                                                           \
        fixture = std::make_unique<TestFixture>(__VA_ARGS__);                                      \
        QVERIFY2(fixture->isValid(), qPrintable(fixture->error()));                                \
    } while (false)
