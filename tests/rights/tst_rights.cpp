// The rights are the database's: what a user may not do is refused by the
// server, whether he goes through the framework or connects with psql.

#include "qsqlconnection.h"
#include "testfixture.h"
#include "testmain.h"

#include <QProcess>
#include <QSqlError>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUuid>

namespace {

const char refused[] = "42501"; // insufficient_privilege

QVariantMap values(std::initializer_list<std::pair<const char *, QVariant>> pairs)
{
    QVariantMap map;
    for (const auto &pair : pairs)
        map.insert(QLatin1String(pair.first), pair.second);
    return map;
}

QSqlRecord record(const QVariantMap &fields)
{
    QSqlRecord r;
    for (auto it = fields.cbegin(); it != fields.cend(); ++it) {
        QSqlField f(it.key(), it.value().type());
        f.setValue(it.value());
        r.append(f);
    }
    return r;
}

// Runs one statement with psql as a login role over TCP; the SQLSTATE of the
// error, or "" when it ran.
QString psqlState(const QString &database, const QString &role, const QString &password,
                  const QString &sql)
{
    QProcess psql;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("PGUSER"), role);
    env.insert(QStringLiteral("PGPASSWORD"), password);
    env.insert(QStringLiteral("PGDATABASE"), database);
    psql.setProcessEnvironment(env);
    psql.start(QStringLiteral("psql"), {QStringLiteral("-X"), QStringLiteral("-q"),
                                        QStringLiteral("-v"), QStringLiteral("VERBOSITY=verbose"),
                                        QStringLiteral("-v"), QStringLiteral("ON_ERROR_STOP=1"),
                                        QStringLiteral("-c"), sql});
    if (!psql.waitForFinished(30000))
        return QStringLiteral("psql did not finish");
    const QString err = QString::fromUtf8(psql.readAllStandardError());
    if (psql.exitCode() == 0)
        return QString();
    const int at = err.indexOf(QStringLiteral("ERROR:  "));
    return at < 0 ? err : err.mid(at + 8, 5);
}

QString uniqueLogin(const char *prefix)
{
    return QLatin1String(prefix) + QUuid::createUuid().toString(QUuid::Id128).left(8);
}

} // namespace

class TestRights : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();

    void guestIsRefused_data();
    void guestIsRefused();
    void demoUsers_haveTheReadmeAbilities_data();
    void demoUsers_haveTheReadmeAbilities();
    void beforeLogin_onlyTheLoginReads();
    void loginWithQuote_runsNothing();
    void revokedRight_failsTheNextStatement();
    void passwords_checkedWhateverTheSocketAndWaitAfterFailures();

private:
    QString dbValue(const QString &sql) const { return m_fx->value(sql).toString(); }
    QString createUser(const char *prefix, const QString &password, const QString &right = {});

    std::unique_ptr<TestFixture> m_fx;
};

void TestRights::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("rights"), TestFixture::DatabaseOnly);
}

void TestRights::cleanupTestCase()
{
    m_fx.reset();
}

QString TestRights::createUser(const char *prefix, const QString &password, const QString &right)
{
    const QString login = uniqueLogin(prefix);
    QString error;
    if (!m_fx->db().exec(QStringLiteral("SELECT sys.f_user_create('%1', 'Пользователь %1', '%2')")
                        .arg(login, password),
                    &error))
        qWarning() << error;
    if (!right.isEmpty())
        m_fx->db().exec(QStringLiteral("SELECT sys.f_user_grant('%1', '%2')").arg(login, right));
    return login;
}

// The privileged operations, as the framework runs them (a script by name or
// a statement, with named values) and, with the same final text, from psql.
void TestRights::guestIsRefused_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QVariantMap>("values");

    const QString type = dbValue(QStringLiteral("SELECT min(id) FROM qms.t_fault_type"));
    QTest::newRow("FAULT_TYPE_INSERT")
        << QStringLiteral("FAULT_TYPE_INSERT")
        << values({{"c_name", "Гостевой"}, {"c_sys_name", "GUEST"}, {"c_prefix", "G-"}});
    QTest::newRow("FAULT_CODE_INSERT")
        << QStringLiteral("FAULT_CODE_INSERT")
        << values({{"id_type", type}, {"c_description", "от гостя"}});
    QTest::newRow("FAULT_CODE_DELETE")
        << QStringLiteral("FAULT_CODE_DELETE")
        << values({{"id", dbValue(QStringLiteral("SELECT max(id) FROM qms.t_fault_code"))}});
    QTest::newRow("PROC_EXAM_UPDATE deciding")
        << QStringLiteral("PROC_EXAM_UPDATE")
        << values({{"id", dbValue(QStringLiteral(
                                  "SELECT min(id) FROM docs.t_process_exam WHERE c_solution = ''"))},
                       {"c_solution", "decided by guest"}, {"b_reject", true}});
    QTest::newRow("PLAN_ORDER_INSERT")
        << QStringLiteral("PLAN_ORDER_INSERT")
        << values({{"id_type", dbValue(QStringLiteral("SELECT min(id) FROM docs.t_plan_order_type"))},
                       {"id_unit", dbValue(QStringLiteral("SELECT min(id) FROM prod.t_reference_units"))},
                       {"c_coment", "ремонт"}, {"n_qnt", 1}});
    QTest::newRow("task insert")
        << QStringLiteral("SELECT id FROM task.t_scheduler_insert(:UserID, :id_user, :n_number, "
                          ":c_name, :c_description, :n_due, :b_is_complete, :b_is_del)")
        << values({{"id_user", dbValue(QStringLiteral("SELECT min(id) FROM sys.t_user"))},
                       {"c_name", "задача"}, {"n_due", 1}});
    QTest::newRow("read password verifiers")
        << QStringLiteral("SELECT c_verifier FROM sys.t_user_password") << QVariantMap();
    QTest::newRow("grant himself a right")
        << QStringLiteral("SELECT sys.f_user_grant('guest', 'REJECT_SOLUTION')") << QVariantMap();
    QTest::newRow("right row of his own")
        << QStringLiteral("INSERT INTO sys.tl_user_access_right (id_user, id_access_right) "
                          "SELECT u.id, r.id FROM sys.t_user u, sys.t_access_right r "
                          "WHERE u.c_login = 'guest'")
        << QVariantMap();
    QTest::newRow("administrator's password")
        << QStringLiteral("ALTER ROLE rejects_admin PASSWORD 'guest'") << QVariantMap();
    QTest::newRow("another user's verifier")
        << QStringLiteral("UPDATE sys.t_user_password SET c_verifier = ''") << QVariantMap();
    QTest::newRow("program on the server")
        << QStringLiteral("COPY (SELECT 1) TO PROGRAM 'id'") << QVariantMap();
}

void TestRights::guestIsRefused()
{
    QFETCH(QString, script);
    QFETCH(QVariantMap, values);
    LoggedInConnection conn(m_fx->db(), QStringLiteral("guest"), QStringLiteral("guest"));
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    const QString sql = script.contains(QLatin1Char(' ')) ? script : conn->getScript(script);
    QVERIFY(!sql.isEmpty());
    QSqlRecord fields = record(values);
    const QString text = conn->parseQuery(sql, &fields);

    QSqlQuery query = conn->execScript(sql, fields);
    QVERIFY(!query.isActive());
    QCOMPARE(query.lastError().nativeErrorCode(), QLatin1String(refused));
    QCOMPARE(psqlState(m_fx->db().name(), QStringLiteral("rejects_u_guest"), QStringLiteral("guest"),
                       text),
             QLatin1String(refused));
    QCOMPARE(dbValue(QStringLiteral("SELECT count(*) FROM docs.t_process_exam "
                                     "WHERE c_solution = 'decided by guest'")),
             QStringLiteral("0"));
}

// What each demo user may do, as the README's table gives it; every attempt
// is rolled back.
void TestRights::demoUsers_haveTheReadmeAbilities_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QStringList>("allowed");
    QTest::newRow("kuznetsova") << QStringLiteral("kuznetsova")
                                << QStringList{"decide", "dictionary", "plan", "task"};
    QTest::newRow("guest") << QStringLiteral("guest") << QStringList();
    QTest::newRow("petrov") << QStringLiteral("petrov") << QStringList();
    QTest::newRow("sidorova") << QStringLiteral("sidorova") << QStringList{"task"};
    QTest::newRow("volkov") << QStringLiteral("volkov") << QStringList{"plan", "task"};
    QTest::newRow("ivanova") << QStringLiteral("ivanova") << QStringList{"dictionary"};
    QTest::newRow("administrator") << QString()
                                   << QStringList{"decide", "dictionary", "plan", "task"};
}

void TestRights::demoUsers_haveTheReadmeAbilities()
{
    QFETCH(QString, login);
    QFETCH(QStringList, allowed);
    LoggedInConnection conn(m_fx->db(), login, login.isEmpty() ? QStringLiteral("admin") : login);
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    const QString exam = dbValue(
        QStringLiteral("SELECT min(id) FROM docs.t_process_exam WHERE c_solution = ''"));
    const QList<QPair<QString, QString>> attempts{
        {"decide", QStringLiteral("UPDATE docs.t_process_exam SET c_solution = 'годен' WHERE id = ") +
                       exam},
        {"dictionary", QStringLiteral("UPDATE qms.t_fault_code SET c_description = 'x'")},
        {"plan", QStringLiteral("UPDATE docs.t_plan_order SET c_coment = 'x'")},
        {"task", QStringLiteral("SELECT task.t_scheduler_insert(:UserID, :UserID, NULL, 'x', "
                                "NULL, 1, false, false)")},
        // Every user records and discusses defects.
        {"record", QStringLiteral("SELECT id FROM docs.f_process_exam_insert(:UserID, "
                                  "'INCOMING', NULL, NULL, NULL, NULL, 'брак', '', false, false, NULL)")},
    };
    QSqlDatabase db = conn->getDatabase();
    for (const auto &attempt : attempts) {
        QVERIFY(db.transaction());
        const QSqlQuery q = conn->execScript(attempt.second, QVariantList());
        const bool expected = allowed.contains(attempt.first) || attempt.first == "record";
        QVERIFY2(q.isActive() == expected,
                 qPrintable(attempt.first + QLatin1String(": ") + q.lastError().text()));
        if (!expected)
            QCOMPARE(q.lastError().nativeErrorCode(), QLatin1String(refused));
        QVERIFY(db.rollback());
    }
    QCOMPARE(conn->canDo(QStringLiteral("REJECT_SOLUTION")), allowed.contains("decide"));
    QCOMPARE(conn->canDo(QStringLiteral("FAIL_CODE_CREATE")), allowed.contains("dictionary"));
    QCOMPARE(conn->canDo(QStringLiteral("ADMIN_MANUFACTURE")), allowed.contains("plan"));
    QCOMPARE(conn->canDo(QStringLiteral("TASK_CREATOR")), allowed.contains("task"));
}

void TestRights::beforeLogin_onlyTheLoginReads()
{
    m_fx->db().makeDefault();
    QLibrary driver(PgTestDb::driverPath());
    {
        QSqlConnection connection(&driver);
        QVERIFY(connection.Connect(LoggedInConnection::connectionName(), true));
        QVERIFY(!connection.getScript(QStringLiteral("PROC_EXAM_SELECT")).isEmpty());
        QVERIFY(!connection.getSystemAttr(QStringLiteral("FilePath")).toString().isEmpty());
        QPanelList panels;
        QVERIFY(connection.GetList(panels) && !panels.isEmpty());
        for (const char *sql :
             {"SELECT count(*) FROM sys.t_user", "SELECT count(*) FROM docs.t_process_exam",
              "SELECT count(*) FROM qms.t_fault_code", "SELECT c_verifier FROM sys.t_user_password",
              "SELECT count(*) FROM sys.t_login_attempt",
              "SELECT sys.f_user_create('intruder', 'x', 'intruder')",
              "UPDATE sys.t_script SET c_text = 'SELECT 1'"})
            QVERIFY2(!connection.execScript(QLatin1String(sql)).isValid(), sql);
        QVERIFY(!connection.canDo(QStringLiteral("REJECT_SOLUTION")));
    }
    QSqlDatabase::removeDatabase(LoggedInConnection::connectionName());
}

void TestRights::loginWithQuote_runsNothing()
{
    const QString login = QStringLiteral("q'; UPDATE sys.t_user SET c_name = 'x' --");
    QString error;
    QVERIFY2(m_fx->db().exec(QStringLiteral("SELECT sys.f_user_create(%1, 'Кавычкин', 'pw')")
                            .arg(QStringLiteral("'q''; UPDATE sys.t_user SET c_name = ''x'' --'")),
                        &error),
             qPrintable(error));
    LoggedInConnection conn(m_fx->db(), login, QStringLiteral("pw"));
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    QCOMPARE(qApp->property("LogedIn").toString(), QStringLiteral("Кавычкин"));
    QCOMPARE(dbValue(QStringLiteral("SELECT count(*) FROM sys.t_user WHERE c_name = 'x'")),
             QStringLiteral("0"));
}

void TestRights::revokedRight_failsTheNextStatement()
{
    const QString login = createUser("rt_", QStringLiteral("pw"), QStringLiteral("FAIL_CODE_CREATE"));
    LoggedInConnection conn(m_fx->db(), login, QStringLiteral("pw"));
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    const QString sql = QStringLiteral("UPDATE qms.t_fault_code SET c_description = c_description");
    QVERIFY(conn->canDo(QStringLiteral("FAIL_CODE_CREATE")));
    QVERIFY(conn->execScript(sql, QVariantList()).isActive());

    QVERIFY(m_fx->db().exec(QStringLiteral("SELECT sys.f_user_revoke('%1', 'FAIL_CODE_CREATE')").arg(login)));
    const QSqlQuery q = conn->execScript(sql, QVariantList());
    QVERIFY(!q.isActive());
    QCOMPARE(q.lastError().nativeErrorCode(), QLatin1String(refused));
    QVERIFY(!conn->canDo(QStringLiteral("FAIL_CODE_CREATE")));
    QCOMPARE(dbValue(QStringLiteral("SELECT count(*) FROM sys.tl_user_access_right ur JOIN "
                                    "sys.t_user u ON u.id = ur.id_user WHERE u.c_login = '%1'")
                         .arg(login)),
             QStringLiteral("0"));
}

void TestRights::passwords_checkedWhateverTheSocketAndWaitAfterFailures()
{
    const QString tooLong(73, QLatin1Char('p'));
    QVERIFY(!m_fx->db().exec(QStringLiteral("SELECT sys.f_user_create('long_pw', 'x', '%1')").arg(tooLong)));
    const QString login = createUser("pw_", QStringLiteral("correct"));

    LoggedInConnection conn(m_fx->db(), login, QStringLiteral("correct"));
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    // The cluster's socket trusts every role; the database still checks.
    const QByteArray tcpHost = qgetenv("PGHOST");
    qputenv("PGHOST", qgetenv("REJECTS_TEST_SOCKET"));
    const bool overSocket = conn->Connect(LoggedInConnection::connectionName(), true);
    qputenv("PGHOST", tcpHost);
    QVERIFY(overSocket);
    QVERIFY(!conn->login(login, QStringLiteral("wrong")));
    QVERIFY(!conn->login(login, tooLong));
    QVERIFY(conn->login(login, QStringLiteral("correct")));
    QCOMPARE(conn->execScript(QStringLiteral("SELECT session_user")).toString(),
             QStringLiteral("rejects_u_") + login);

    // After ten failures in a row even the right password waits.
    for (int i = 0; i < 10; ++i)
        QVERIFY(!conn->login(login, QStringLiteral("wrong %1").arg(i)));
    QVERIFY(!conn->login(login, QStringLiteral("correct")));
    QVERIFY2(conn->loginMessage().contains(QStringLiteral("Повторите через")),
             qPrintable(conn->loginMessage()));
    QVERIFY(!conn->canDo(QStringLiteral("REJECT_SOLUTION")));
    QVERIFY(!conn->execScript(QStringLiteral("SELECT count(*) FROM docs.t_process_exam")).isValid());
}

REJECTS_TEST_MAIN(TestRights)

#include "tst_rights.moc"
