// The rights are the database's: what a user may not do is refused by the
// server, whether he goes through the framework or connects with psql.

#include "qsqlconnection.h"
#include "testfixture.h"
#include "testmain.h"

#include <QProcess>
#include <QSqlField>
#include <QSqlRecord>

namespace {

const char refused[] = "42501"; // insufficient_privilege

// Runs one statement with psql as guest over TCP; the SQLSTATE of the error,
// or "" when it ran.
QString psqlAsGuest(const QString &database, const QString &sql)
{
    QProcess psql;
    psql.start(QStringLiteral("psql"),
               QStringList{"-X", "-q", "-v", "VERBOSITY=verbose", "-v", "ON_ERROR_STOP=1", "-d",
                           "dbname=" + database + " user=rejects_u_guest password=guest", "-c",
                           sql});
    psql.waitForFinished(30000);
    const QString err = QString::fromUtf8(psql.readAllStandardError());
    const int at = err.indexOf(QStringLiteral("ERROR:  "));
    return psql.exitCode() == 0 ? QString() : at < 0 ? err : err.mid(at + 8, 5);
}

} // namespace

class TestRights : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();

    void guestIsRefused_data();
    void guestIsRefused();
    void demoUsers_haveTheReadmeAbilities_data();
    void demoUsers_haveTheReadmeAbilities();
    void account_loginRightsAndPasswordsHeldByTheDatabase();

private:
    QString dbValue(const QString &sql) const { return m_fx->value(sql).toString(); }

    std::unique_ptr<TestFixture> m_fx;
};

void TestRights::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("rights"), TestFixture::DatabaseOnly);
}

// The privileged operations, as the framework runs them (a script by name or
// a statement, with named values) and, with the same final text, from psql.
void TestRights::guestIsRefused_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QVariantMap>("values");
    QTest::newRow("FAULT_TYPE_INSERT") << "FAULT_TYPE_INSERT" << QVariantMap();
    QTest::newRow("FAULT_CODE_INSERT")
        << "FAULT_CODE_INSERT"
        << QVariantMap{{"id_type", dbValue("SELECT min(id) FROM qms.t_fault_type")}};
    QTest::newRow("FAULT_CODE_DELETE") << "FAULT_CODE_DELETE" << QVariantMap();
    QTest::newRow("PROC_EXAM_UPDATE deciding")
        << "PROC_EXAM_UPDATE"
        << QVariantMap{{"id", dbValue("SELECT min(id) FROM docs.t_process_exam")},
                       {"c_solution", "decided by guest"}};
    QTest::newRow("PLAN_ORDER_INSERT") << "PLAN_ORDER_INSERT" << QVariantMap();
    QTest::newRow("task insert")
        << "SELECT id FROM task.t_scheduler_insert(:UserID, :UserID, NULL, 'x', NULL, 1, false, "
           "false)"
        << QVariantMap();
    QTest::newRow("read password verifiers")
        << "SELECT c_verifier FROM sys.t_user_password" << QVariantMap();
    QTest::newRow("grant himself a right")
        << "SELECT sys.f_user_grant('guest', 'REJECT_SOLUTION')" << QVariantMap();
    QTest::newRow("right row of his own")
        << "INSERT INTO sys.tl_user_access_right (id_user, id_access_right) SELECT u.id, r.id FROM "
           "sys.t_user u, sys.t_access_right r WHERE u.c_login = 'guest'"
        << QVariantMap();
    QTest::newRow("administrator's password")
        << "ALTER ROLE rejects_admin PASSWORD 'guest'" << QVariantMap();
    QTest::newRow("another user's verifier")
        << "UPDATE sys.t_user_password SET c_verifier = ''" << QVariantMap();
    QTest::newRow("program on the server") << "COPY (SELECT 1) TO PROGRAM 'id'" << QVariantMap();
}

void TestRights::guestIsRefused()
{
    QFETCH(QString, script);
    QFETCH(QVariantMap, values);
    LoggedInConnection conn(m_fx->db(), QStringLiteral("guest"), QStringLiteral("guest"));
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    const QString sql = script.contains(QLatin1Char(' ')) ? script : conn->getScript(script);
    QSqlRecord fields = recordOf(values);
    const QString text = conn->parseQuery(sql, &fields);

    QCOMPARE(conn->execScript(sql, fields).lastError().nativeErrorCode(), QLatin1String(refused));
    QCOMPARE(psqlAsGuest(m_fx->db().name(), text), QLatin1String(refused));
}

// What each demo user may do, as the README's table gives it (every user
// records defects); every attempt is rolled back.
void TestRights::demoUsers_haveTheReadmeAbilities_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QStringList>("allowed");
    const QStringList all{"REJECT_SOLUTION", "FAIL_CODE_CREATE", "ADMIN_MANUFACTURE",
                          "TASK_CREATOR"};
    QTest::newRow("kuznetsova") << "kuznetsova" << all;
    QTest::newRow("guest") << "guest" << QStringList();
    QTest::newRow("petrov") << "petrov" << QStringList();
    QTest::newRow("sidorova") << "sidorova" << QStringList{"TASK_CREATOR"};
    QTest::newRow("volkov") << "volkov" << QStringList{"ADMIN_MANUFACTURE", "TASK_CREATOR"};
    QTest::newRow("ivanova") << "ivanova" << QStringList{"FAIL_CODE_CREATE"};
    QTest::newRow("administrator") << QString() << all;
}

void TestRights::demoUsers_haveTheReadmeAbilities()
{
    QFETCH(QString, login);
    QFETCH(QStringList, allowed);
    LoggedInConnection conn(m_fx->db(), login, login.isEmpty() ? QStringLiteral("admin") : login);
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    const QString exam = dbValue("SELECT min(id) FROM docs.t_process_exam WHERE c_solution = ''");
    const QList<QPair<QString, QString>> attempts{
        {"REJECT_SOLUTION",
         "UPDATE docs.t_process_exam SET c_solution = 'годен' WHERE id = " + exam},
        {"FAIL_CODE_CREATE", "UPDATE qms.t_fault_code SET c_description = 'x'"},
        {"ADMIN_MANUFACTURE", "UPDATE docs.t_plan_order SET c_coment = 'x'"},
        {"TASK_CREATOR",
         "SELECT task.t_scheduler_insert(:UserID, :UserID, NULL, 'x', NULL, 1, false, false)"},
        {QString(), "SELECT id FROM docs.f_process_exam_insert(:UserID, 'INCOMING', NULL, NULL, "
                    "NULL, NULL, 'брак', '', false, false, NULL)"}};
    for (const auto &attempt : attempts) {
        QVERIFY(conn->getDatabase().transaction());
        const QSqlQuery q = conn->execScript(attempt.second, QVariantList());
        const bool expected = attempt.first.isEmpty() || allowed.contains(attempt.first);
        QVERIFY2(q.lastError().nativeErrorCode() == QLatin1String(expected ? "" : refused),
                 qPrintable(attempt.first + ": " + q.lastError().text()));
        QVERIFY(conn->getDatabase().rollback());
        if (!attempt.first.isEmpty())
            QCOMPARE(conn->canDo(attempt.first), expected);
    }
}

// An account the administrator makes: a login name carrying SQL logs in as
// itself and runs nothing; a revoked right fails the very next statement of
// the open session. Connected again over the trusted socket, before login
// only the login's reads work, the password is still checked, and after ten
// failures in a row even the right one waits.
void TestRights::account_loginRightsAndPasswordsHeldByTheDatabase()
{
    const QString login = QStringLiteral("q'; UPDATE sys.t_user SET c_name = 'x' --");
    const QString quoted = QStringLiteral("'q''; UPDATE sys.t_user SET c_name = ''x'' --'");
    const QString tooLong(73, QLatin1Char('p'));
    QVERIFY(!m_fx->db().exec("SELECT sys.f_user_create('long_pw', 'x', '" + tooLong + "')"));
    QVERIFY(m_fx->db().exec("SELECT sys.f_user_create(" + quoted + ", 'Кавычкин', 'pw')"));
    QVERIFY(m_fx->db().exec("SELECT sys.f_user_grant(" + quoted + ", 'FAIL_CODE_CREATE')"));
    LoggedInConnection conn(m_fx->db(), login, QStringLiteral("pw"));
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    QCOMPARE(qApp->property("LogedIn").toString(), QStringLiteral("Кавычкин"));
    QCOMPARE(dbValue("SELECT count(*) FROM sys.t_user WHERE c_name = 'x'"), QStringLiteral("0"));

    const QString sql = QStringLiteral("UPDATE qms.t_fault_code SET c_description = c_description");
    QVERIFY(conn->canDo(QStringLiteral("FAIL_CODE_CREATE")));
    QVERIFY(conn->execScript(sql, QVariantList()).isActive());
    QVERIFY(m_fx->db().exec("SELECT sys.f_user_revoke(" + quoted + ", 'FAIL_CODE_CREATE')"));
    QCOMPARE(conn->execScript(sql, QVariantList()).lastError().nativeErrorCode(),
             QLatin1String(refused));
    QVERIFY(!conn->canDo(QStringLiteral("FAIL_CODE_CREATE")));

    // The cluster's socket trusts every role; the database still checks.
    const QByteArray tcpHost = qgetenv("PGHOST");
    qputenv("PGHOST", qgetenv("REJECTS_TEST_SOCKET"));
    const bool overSocket = conn->Connect(LoggedInConnection::connectionName(), true);
    qputenv("PGHOST", tcpHost);
    QVERIFY(overSocket);
    // Before login the connection reads only what the login needs.
    QVERIFY(!conn->getScript(QStringLiteral("PROC_EXAM_SELECT")).isEmpty());
    QVERIFY(!conn->getSystemAttr(QStringLiteral("FilePath")).toString().isEmpty());
    QPanelList panels;
    QVERIFY(conn->GetList(panels) && !panels.isEmpty());
    for (const char *sql :
         {"SELECT count(*) FROM sys.t_user", "SELECT count(*) FROM docs.t_process_exam",
          "SELECT count(*) FROM qms.t_fault_code", "SELECT c_verifier FROM sys.t_user_password",
          "SELECT count(*) FROM sys.t_login_attempt",
          "SELECT sys.f_user_create('intruder', 'x', 'intruder')",
          "UPDATE sys.t_script SET c_text = 'SELECT 1'"})
        QVERIFY2(!conn->execScript(QLatin1String(sql)).isValid(), sql);
    QVERIFY(!conn->canDo(QStringLiteral("REJECT_SOLUTION")));
    QVERIFY(!conn->login(login, QStringLiteral("wrong")));
    QVERIFY(!conn->login(login, tooLong));
    QVERIFY(conn->login(login, QStringLiteral("pw")));
    QCOMPARE(conn->execScript(QStringLiteral("SELECT session_user")).toString(),
             QStringLiteral("rejects_u_") + login);
    for (int i = 0; i < 10; ++i)
        QVERIFY(!conn->login(login, QStringLiteral("wrong %1").arg(i)));
    QVERIFY(!conn->login(login, QStringLiteral("pw")));
    QVERIFY2(conn->loginMessage().contains(QStringLiteral("Повторите через")),
             qPrintable(conn->loginMessage()));
    QVERIFY(
        !conn->execScript(QStringLiteral("SELECT count(*) FROM docs.t_process_exam")).isValid());
}

REJECTS_TEST_MAIN(TestRights)

#include "tst_rights.moc"
