#include "pgdriverapi.h"
#include "testfixture.h"
#include "testmain.h"

#include <QDir>
#include <QLibrary>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUuid>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <ctime>

namespace {

const char connectionName[] = "driver_test";

// Sets environment variables for one scope and puts the old values back.
class EnvironmentScope
{
public:
    void set(const char *name, const QByteArray &value)
    {
        if (!m_saved.contains(name))
            m_saved.insert(name, qgetenv(name));
        qputenv(name, value);
    }
    ~EnvironmentScope()
    {
        for (auto it = m_saved.cbegin(); it != m_saved.cend(); ++it) {
            if (it.value().isNull())
                qunsetenv(it.key().constData());
            else
                qputenv(it.key().constData(), it.value());
        }
    }

private:
    QMap<QByteArray, QByteArray> m_saved;
};

bool sameDouble(double a, double b)
{
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b);
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// What the connection does with a positional statement: the NULL pre-pass,
// then one substitution per placeholder found by splitting on blanks, commas
// and parentheses.
QStringList placeholdersOf(const QString &sql)
{
    QStringList found;
    const QStringList pieces = sql.split(QRegularExpression(QStringLiteral("[ ,()]")));
    for (const QString &piece : pieces)
        if (piece.startsWith(QLatin1Char(':')))
            found << piece.mid(1);
    return found;
}

} // namespace

class TestDriver : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void entryPoints_beforeConnect_giveNeutralAnswers();
    void creationScript_buildsFreshDatabases();
    void connect_reportsStatus_data();
    void connect_reportsStatus();
    void bindQueryParam_valuesRoundTrip_data();
    void bindQueryParam_valuesRoundTrip();
    void bindQueryParam_valueNeverRunsAStatement();
    void bindQueryParam_findsOnlyWholePlaceholdersInCode_data();
    void bindQueryParam_findsOnlyWholePlaceholdersInCode();
    void login_checksPasswordsAndRights();
    void userId_boundInPrePassAndByName();
    void connect_missingDatabaseWithoutCreateRight_isAnError();
    void scriptsAttributesAndPanels();
    void batchExec_splitsSafelyAndIsAllOrNothing();
    void scopeIdentity_returnsNewKey();
    void convert_givesColumnTypes_data();
    void convert_givesColumnTypes();

private:
    QString connectTo(const PgTestDb &db);
    QString connectAsDba(const PgTestDb &db);
    QSqlDatabase driverDb() const { return QSqlDatabase::database(connectionName, false); }
    QVariant scalar(const QString &sql);

    QLibrary m_library;
    PgConnectFn m_connect = nullptr;
    PgGetScriptFn m_getScript = nullptr;
    PgCanDoFn m_canDo = nullptr;
    PgGetSystemAttrFn m_getSystemAttr = nullptr;
    PgBindQueryParamFn m_bind = nullptr;
    PgGetPanelsFn m_getPanels = nullptr;
    PgConvertFn m_convert = nullptr;
    PgLoginFn m_login = nullptr;
    PgBatchExecFn m_batchExec = nullptr;
    PgResultExecSqlFn m_resultExecSql = nullptr;
    PgScopeIdentityFn m_scopeIdentity = nullptr;
    PgGetStartFn m_getStart = nullptr;
    std::unique_ptr<TestFixture> m_fx;
};

void TestDriver::initTestCase()
{
    // Local time away from UTC, so that time zone slips show (UTC+5, no DST).
    qputenv("TZ", "YEKT-5");
    tzset();
    m_library.setFileName(PgTestDb::driverPath());
    QVERIFY2(m_library.load(), qPrintable(m_library.errorString()));
    m_connect = reinterpret_cast<PgConnectFn>(m_library.resolve("Connect"));
    m_getScript = reinterpret_cast<PgGetScriptFn>(m_library.resolve("getScript"));
    m_canDo = reinterpret_cast<PgCanDoFn>(m_library.resolve("canDo"));
    m_getSystemAttr = reinterpret_cast<PgGetSystemAttrFn>(m_library.resolve("getSystemAttr"));
    m_bind = reinterpret_cast<PgBindQueryParamFn>(m_library.resolve("bindQueryParam"));
    m_getPanels = reinterpret_cast<PgGetPanelsFn>(m_library.resolve("GetPanels"));
    m_convert = reinterpret_cast<PgConvertFn>(m_library.resolve("convert"));
    m_login = reinterpret_cast<PgLoginFn>(m_library.resolve("login"));
    m_batchExec = reinterpret_cast<PgBatchExecFn>(m_library.resolve("batchExec"));
    m_resultExecSql = reinterpret_cast<PgResultExecSqlFn>(m_library.resolve("resultExecSQL"));
    m_scopeIdentity = reinterpret_cast<PgScopeIdentityFn>(m_library.resolve("scopeIdentity"));
    m_getStart = reinterpret_cast<PgGetStartFn>(m_library.resolve("getStart"));
    QVERIFY(m_connect && m_getScript && m_canDo && m_getSystemAttr && m_bind && m_getPanels &&
            m_convert && m_login && m_batchExec && m_resultExecSql && m_scopeIdentity &&
            m_getStart);

    START_FIXTURE(m_fx, QStringLiteral("driver"), TestFixture::DatabaseOnly);
}

void TestDriver::cleanupTestCase()
{
    if (QSqlDatabase::contains(connectionName)) {
        driverDb().close();
        QSqlDatabase::removeDatabase(connectionName);
    }
    m_fx.reset();
}

QString TestDriver::connectTo(const PgTestDb &db)
{
    db.makeDefault();
    QVariant status;
    m_connect(status, QLatin1String(connectionName), true);
    return status.toString();
}

// The driver's mechanics on tables of the test's own, which the test
// administrator makes: connected as him, not as the pre-login role.
QString TestDriver::connectAsDba(const PgTestDb &db)
{
    db.makeDefault();
    EnvironmentScope env;
    env.set("PGUSER", PgTestDb::dbaRole().first.toUtf8());
    env.set("PGPASSWORD", PgTestDb::dbaRole().second.toUtf8());
    QVariant status;
    m_connect(status, QLatin1String(connectionName), true);
    return status.toString();
}

QVariant TestDriver::scalar(const QString &sql)
{
    QSqlQuery q(driverDb());
    if (!q.exec(sql) || !q.next())
        return QVariant();
    return q.value(0);
}

void TestDriver::entryPoints_beforeConnect_giveNeutralAnswers()
{
    QVERIFY(m_getScript(QStringLiteral("FAULT_CODE_SELECT")).isEmpty());
    QVERIFY(!m_canDo(QStringLiteral("REJECT_SOLUTION")));
    QVERIFY(!m_getSystemAttr(QStringLiteral("FilePath")).isValid());
    QPanelList panels;
    QVERIFY(!m_getPanels(panels));
    QVERIFY(!m_login(QString(), QStringLiteral("admin")));
    QVERIFY(!m_batchExec(QStringLiteral("SELECT 1"), nullptr, nullptr));
    QVERIFY(!m_resultExecSql(QStringLiteral("ANY"), QString()).isValid());
    QSqlQuery query;
    m_scopeIdentity(QStringLiteral("t_process_exam"), &query);
    m_scopeIdentity(QStringLiteral("t_process_exam"), nullptr);
    QVERIFY(!query.isActive());
    // Binding needs no connection; :UserID stays NULL while nobody is logged in.
    QCOMPARE(m_bind(QStringLiteral("SELECT :UserID, :NULL, :x"), QStringLiteral("NULL"),
                    QVariant(QStringLiteral("NULL"))),
             QStringLiteral("SELECT NULL, NULL, :x"));
}

void TestDriver::creationScript_buildsFreshDatabases()
{
    EnvironmentScope env;
    // The administrator's role is the cluster's: the password stays "admin".
    const QString password = QStringLiteral("admin");
    env.set("REJECTS_ADMIN_PASSWORD", password.toUtf8());
    QTemporaryDir files;
    const QString filePath = files.path() + QStringLiteral("/store 'x'");
    env.set("REJECTS_FILE_PATH", filePath.toUtf8());

    for (int round = 0; round < 2; ++round) {
        PgTestDb db(QStringLiteral("driver_create"), PgTestDb::Empty);
        QVERIFY2(db.isValid(), qPrintable(db.error()));
        QCOMPARE(connectTo(db), QStringLiteral("INVALID"));

        QString script;
        m_getStart(script);
        // The password itself is not in the script, only its verifier.
        QVERIFY(script.startsWith(QStringLiteral("SET rejects.admin_verifier = E'SCRAM-SHA-256$4096:")));
        QVERIFY(!script.contains(QStringLiteral("admin_password")));
        QVERIFY(QDir(filePath).exists());

        QPlainTextEdit log;
        QList<QSqlQuery> results;
        QVERIFY2(m_batchExec(script, &log, &results), qPrintable(log.toPlainText()));
        QVERIFY(!results.isEmpty());
        QVERIFY(log.toPlainText().contains(QStringLiteral("CREATE TABLE sys.t_script")));
        // The verifier does not stay readable in the session.
        QVERIFY(scalar(QStringLiteral("SELECT current_setting('rejects.admin_verifier', true)"))
                    .toString()
                    .isEmpty());

        QCOMPARE(connectTo(db), QStringLiteral("Ok"));
        QCOMPARE(m_getSystemAttr(QStringLiteral("FilePath")).toString(), filePath);
        QVERIFY(!m_login(QString(), QStringLiteral("wrong")));
        QVERIFY(m_login(QString(), password));
        QVERIFY(m_canDo(QStringLiteral("REJECT_SOLUTION")));
        driverDb().close();
    }
}

void TestDriver::connect_reportsStatus_data()
{
    QTest::addColumn<QByteArray>("variable");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("expected");

    const QByteArray missing =
        "driver_missing_" + QUuid::createUuid().toString(QUuid::Id128).left(8).toLatin1();
    QTest::newRow("missing database is created")
        << QByteArray("PGDATABASE") << missing << QStringLiteral("INVALID");
    QTest::newRow("unknown role") << QByteArray("PGUSER") << QByteArray("no_such_role_xyz")
                                  << QStringLiteral("LOGIN ERROR");
    QTest::newRow("unreachable port")
        << QByteArray("PGHOST") << QByteArray("127.0.0.1") << QString();
}

void TestDriver::connect_reportsStatus()
{
    QFETCH(QByteArray, variable);
    QFETCH(QByteArray, value);
    QFETCH(QString, expected);

    PgTestDb empty(QStringLiteral("driver_empty"), PgTestDb::Empty);
    QVERIFY2(empty.isValid(), qPrintable(empty.error()));
    {
        EnvironmentScope env;
        QCOMPARE(connectTo(empty), QStringLiteral("INVALID"));
        driverDb().close();
    }

    QString status;
    {
        EnvironmentScope env;
        env.set("PGDATABASE", empty.name().toUtf8());
        env.set(variable.constData(), value);
        if (variable == "PGHOST")
            env.set("PGPORT", "1"); // nothing listens there
        QVariant result;
        m_connect(result, QLatin1String(connectionName), true);
        status = result.toString();
    }
    if (expected.isEmpty()) {
        QVERIFY(!status.isEmpty());
        QVERIFY2(status != QLatin1String("Ok") && status != QLatin1String("INVALID") &&
                     status != QLatin1String("LOGIN ERROR"),
                 qPrintable(status));
        QVERIFY(!m_getSystemAttr(QStringLiteral("FilePath")).isValid());
        QVERIFY(m_getScript(QStringLiteral("X")).isEmpty());
    } else {
        QCOMPARE(status, expected);
    }
    if (variable == "PGDATABASE") {
        QCOMPARE(driverDb().databaseName(), QString::fromLatin1(value));
        QVERIFY(driverDb().isOpen());
        QCOMPARE(scalar(QStringLiteral("SELECT current_database()")).toString(),
                 QString::fromLatin1(value));
        driverDb().close();
        QSqlQuery drop(empty.directConnection());
        QVERIFY2(drop.exec(QStringLiteral("DROP DATABASE \"%1\" WITH (FORCE)")
                               .arg(QString::fromLatin1(value))),
                 qPrintable(drop.lastError().text()));
    }
    driverDb().close();
}

void TestDriver::bindQueryParam_valuesRoundTrip_data()
{
    QTest::addColumn<QString>("column");
    QTest::addColumn<QVariant>("value");

    QString longText;
    longText.reserve(1 << 20);
    const QString chunk = QStringLiteral("ab'c\\d\"e;--$$ Ж😀\n");
    while (longText.size() < (1 << 20))
        longText += chunk;
    QByteArray everyByte;
    for (int b = 0; b < 256; ++b)
        everyByte.append(char(b));

    QTest::newRow("quote") << "c_text" << QVariant(QStringLiteral("O'Brien ''x'' '"));
    QTest::newRow("backslashes") << "c_text" << QVariant(QStringLiteral("C:\\dir\\ \\' \\\\"));
    QTest::newRow("sql-like") << "c_text"
                              << QVariant(QStringLiteral("a; b -- c /* d */ $$ e $x$ :id ::int"));
    QTest::newRow("unicode") << "c_text"
                             << QVariant(QStringLiteral("Учет брака ✓ 😀 𝄞 日本語 \u00e9\u0301"));
    QTest::newRow("empty text") << "c_text" << QVariant(QStringLiteral(""));
    QTest::newRow("text NULL word") << "c_text" << QVariant(QStringLiteral("NULL"));
    QTest::newRow("1 MB text") << "c_text" << QVariant(longText);
    QTest::newRow("null text") << "c_text" << QVariant(QVariant::String);
    QTest::newRow("invalid") << "c_text" << QVariant();
    QTest::newRow("every byte") << "bl_data" << QVariant(everyByte);
    QTest::newRow("empty bytes") << "bl_data" << QVariant(QByteArray(""));
    QTest::newRow("null bytes") << "bl_data" << QVariant(QVariant::ByteArray);
    QTest::newRow("NaN") << "n_double" << QVariant(std::nan(""));
    QTest::newRow("+Inf") << "n_double" << QVariant(HUGE_VAL);
    QTest::newRow("-Inf") << "n_double" << QVariant(-HUGE_VAL);
    QTest::newRow("DBL_MAX") << "n_double" << QVariant(DBL_MAX);
    QTest::newRow("-DBL_MAX") << "n_double" << QVariant(-DBL_MAX);
    QTest::newRow("DBL_MIN") << "n_double" << QVariant(DBL_MIN);
    QTest::newRow("denormal") << "n_double" << QVariant(DBL_MIN / 1024);
    QTest::newRow("-0.0") << "n_double" << QVariant(-0.0);
    QTest::newRow("0.1") << "n_double" << QVariant(0.1);
    QTest::newRow("-1/3") << "n_double" << QVariant(-1.0 / 3);
    QTest::newRow("null double") << "n_double" << QVariant(QVariant::Double);
    QTest::newRow("numeric 0.1") << "n_numeric" << QVariant(0.1);
    QTest::newRow("LLONG_MIN") << "n_bigint" << QVariant(qlonglong(LLONG_MIN));
    QTest::newRow("LLONG_MAX") << "n_bigint" << QVariant(qlonglong(LLONG_MAX));
    QTest::newRow("negative int") << "n_bigint" << QVariant(-42);
    QTest::newRow("uint") << "n_bigint" << QVariant(4000000000u);
    QTest::newRow("null int") << "n_bigint" << QVariant(QVariant::LongLong);
    QTest::newRow("true") << "b_flag" << QVariant(true);
    QTest::newRow("false") << "b_flag" << QVariant(false);
    QTest::newRow("null bool") << "b_flag" << QVariant(QVariant::Bool);
    QTest::newRow("date") << "d_date" << QVariant(QDate(2026, 11, 21));
    QTest::newRow("old date") << "d_date" << QVariant(QDate(1, 1, 1));
    QTest::newRow("invalid date") << "d_date" << QVariant(QDate());
    QTest::newRow("date-time ms") << "d_stamp"
                                  << QVariant(
                                         QDateTime(QDate(2026, 11, 21), QTime(13, 45, 12, 345)));
    QTest::newRow("date-time midnight")
        << "d_stamp" << QVariant(QDateTime(QDate(2000, 2, 29), QTime(0, 0, 0, 1)));
    QTest::newRow("date-time UTC")
        << "d_stamp" << QVariant(QDateTime(QDate(2026, 3, 1), QTime(22, 30, 0, 5), Qt::UTC));
    QTest::newRow("date-time with offset")
        << "d_stamp"
        << QVariant(QDateTime(QDate(2026, 3, 1), QTime(1, 2, 3, 4), Qt::OffsetFromUTC, -7 * 3600));
    QTest::newRow("date-time UTC into timestamptz")
        << "d_stamptz" << QVariant(QDateTime(QDate(2026, 3, 1), QTime(22, 30, 0, 5), Qt::UTC));
    QTest::newRow("null date-time") << "d_stamp" << QVariant(QVariant::DateTime);
    QTest::newRow("time ms") << "t_time" << QVariant(QTime(23, 59, 59, 999));
    QTest::newRow("null time") << "t_time" << QVariant(QVariant::Time);
}

void TestDriver::bindQueryParam_valuesRoundTrip()
{
    QFETCH(QString, column);
    QFETCH(QVariant, value);

    QCOMPARE(connectAsDba(m_fx->db()), QStringLiteral("Ok"));
    QVERIFY(m_fx->db().exec(QStringLiteral(
        "CREATE TABLE IF NOT EXISTS public.t_bind (id bigserial PRIMARY KEY, c_text text, "
        "bl_data bytea, n_double double precision, n_numeric numeric, n_bigint bigint, "
        "b_flag boolean, d_date date, d_stamp timestamp, d_stamptz timestamptz, t_time time)")));

    // Parentheses, commas and a trailing blank as in the system's scripts.
    const QString sql = m_bind(
        QStringLiteral("INSERT INTO public.t_bind (%1) VALUES (:value) RETURNING id ").arg(column),
        QStringLiteral("value"), value);
    QSqlQuery insert(driverDb());
    QVERIFY2(insert.exec(sql) && insert.next(),
             qPrintable(insert.lastError().text() + QLatin1Char('\n') + sql.left(300)));
    const qlonglong id = insert.value(0).toLongLong();

    QSqlQuery read(m_fx->db().directConnection());
    QVERIFY(read.exec(
        QStringLiteral("SELECT %1 FROM public.t_bind WHERE id = %2").arg(column).arg(id)));
    QVERIFY(read.next());
    const QVariant back = read.value(0);
    if (value.isNull() || !value.isValid()) {
        QVERIFY2(back.isNull(), qPrintable(back.toString()));
        return;
    }
    QVERIFY(!back.isNull());
    switch (value.type()) {
    case QVariant::Double:
        QVERIFY2(sameDouble(back.toDouble(), value.toDouble()),
                 qPrintable(QString::number(back.toDouble(), 'g', 17)));
        break;
    case QVariant::ByteArray:
        QCOMPARE(back.toByteArray(), value.toByteArray());
        break;
    case QVariant::String:
        QCOMPARE(back.toString().size(), value.toString().size());
        QVERIFY(back.toString() == value.toString());
        break;
    case QVariant::Int:
    case QVariant::UInt:
    case QVariant::LongLong:
        QCOMPARE(back.toLongLong(), value.toLongLong());
        break;
    case QVariant::Bool:
        QCOMPARE(back.toBool(), value.toBool());
        break;
    case QVariant::Date:
        QCOMPARE(back.toDate(), value.toDate());
        break;
    case QVariant::DateTime:
        QCOMPARE(back.toDateTime(), value.toDateTime());
        break;
    case QVariant::Time:
        QCOMPARE(back.toTime(), value.toTime());
        break;
    default:
        QFAIL("unexpected type in the case table");
    }
}

void TestDriver::bindQueryParam_valueNeverRunsAStatement()
{
    QCOMPARE(connectAsDba(m_fx->db()), QStringLiteral("Ok"));
    QVERIFY(m_fx->db().exec(QStringLiteral("CREATE TABLE public.t_victim (c text)")));
    const QStringList attacks{QStringLiteral("'); DROP TABLE public.t_victim; --"),
                              QStringLiteral("\\'); DROP TABLE public.t_victim; --"),
                              QStringLiteral("\\\\'); DROP TABLE public.t_victim; --"),
                              QStringLiteral("$$); DROP TABLE public.t_victim; --"),
                              QStringLiteral("*/'); DROP TABLE public.t_victim; /*"),
                              QStringLiteral("x\nE'); DROP TABLE public.t_victim; --")};
    for (const QString &attack : attacks) {
        const QString sql = m_bind(QStringLiteral("INSERT INTO public.t_victim (c) VALUES (:c)"),
                                   QStringLiteral("c"), attack);
        QSqlQuery q(driverDb());
        QVERIFY2(q.exec(sql), qPrintable(q.lastError().text()));
    }
    // A NUL cannot be stored: the statement fails, nothing runs after it.
    QSqlQuery nul(driverDb());
    QVERIFY(!nul.exec(m_bind(QStringLiteral("INSERT INTO public.t_victim (c) VALUES (:c)"),
                             QStringLiteral("c"),
                             QVariant(QStringLiteral("a") + QChar(0) +
                                      QStringLiteral("'); DROP TABLE public.t_victim; --")))));
    QSqlQuery check(m_fx->db().directConnection());
    QVERIFY(check.exec(QStringLiteral("SELECT c FROM public.t_victim ORDER BY c")));
    QStringList stored;
    while (check.next())
        stored << check.value(0).toString();
    QStringList expected = attacks;
    std::sort(expected.begin(), expected.end());
    std::sort(stored.begin(), stored.end());
    QCOMPARE(stored.size(), attacks.size());
    QCOMPARE(QSet<QString>(stored.begin(), stored.end()),
             QSet<QString>(expected.begin(), expected.end()));
}

void TestDriver::bindQueryParam_findsOnlyWholePlaceholdersInCode_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("placeholder");
    QTest::addColumn<QString>("expected");
    // Bound to 7: case, text, placeholder name, result.
    const char *const cases[][4] = {
        {"whole name", "SELECT :id_plan, :id, :idx", "id", "SELECT :id_plan, 7, :idx"},
        {"prefix of a longer name", "SELECT :id_plan", "id", "SELECT :id_plan"},
        {"first occurrence only", "SELECT :id, :id", "id", "SELECT 7, :id"},
        {"at the very start and end", ":id", "id", "7"},
        {"given with colon", "WHERE a=:id", ":id", "WHERE a=7"},
        {"name with semicolon", "WHERE a = :id;", "id;", "WHERE a = 7;"},
        {"name with cast", "WHERE a = :id::bigint", "id::bigint", "WHERE a = 7::bigint"},
        {"cast is no placeholder", "SELECT x::id, :id", "id", "SELECT x::id, 7"},
        {"inside a word", "SELECT arr[1:id], :id", "id", "SELECT arr[1:id], 7"},
        {"string", "SELECT ':id', :id", "id", "SELECT ':id', 7"},
        {"string with doubled quote", "SELECT 'it'':id', :id", "id", "SELECT 'it'':id', 7"},
        {"escape string", "SELECT E'\\':id', :id", "id", "SELECT E'\\':id', 7"},
        {"backslash in plain string", "SELECT 'C:\\', :id", "id", "SELECT 'C:\\', 7"},
        {"quoted identifier", "SELECT \":id\", :id", "id", "SELECT \":id\", 7"},
        {"dollar body", "SELECT $$ :id $$, :id", "id", "SELECT $$ :id $$, 7"},
        {"tagged dollar body", "SELECT $f$ $$ :id $f$, :id", "id", "SELECT $f$ $$ :id $f$, 7"},
        {"positional is not a quote", "SELECT $1, :id, $2", "id", "SELECT $1, 7, $2"},
        {"line comment", "SELECT -- :id\n :id", "id", "SELECT -- :id\n 7"},
        {"block comment", "SELECT /* :id /* :id */ */ :id", "id", "SELECT /* :id /* :id */ */ 7"},
        {"unterminated string", "SELECT ' :id", "id", "SELECT ' :id"},
        {"no such placeholder", "SELECT 1", "id", "SELECT 1"},
        {"digits", "WHERE c_file = :1 ;", "1", "WHERE c_file = 7 ;"},
        {"case matters", "SELECT :ID, :id", "id", "SELECT :ID, 7"},
        {"empty name", "SELECT : , :id", "", "SELECT : , :id"},
    };
    for (const auto &c : cases)
        QTest::newRow(c[0]) << QString::fromUtf8(c[1]) << QString::fromUtf8(c[2])
                            << QString::fromUtf8(c[3]);
}

void TestDriver::bindQueryParam_findsOnlyWholePlaceholdersInCode()
{
    QFETCH(QString, sql);
    QFETCH(QString, placeholder);
    QFETCH(QString, expected);
    QCOMPARE(m_bind(sql, placeholder, QVariant(7)), expected);
}

void TestDriver::login_checksPasswordsAndRights()
{
    QCOMPARE(connectTo(m_fx->db()), QStringLiteral("Ok"));
    // Users of our own, so that the check does not depend on the demo data.
    QString error;
    QVERIFY2(m_fx->db().exec(QStringLiteral(
                              "INSERT INTO sys.t_access_right (c_sys_name, c_name) VALUES "
                              "('TEST_RIGHT_A', 'A'), ('TEST_RIGHT_B', 'B') ON CONFLICT DO NOTHING;"
                              "SELECT sys.f_user_create('t_holder', 'Holder', 'pw''1'),"
                              " sys.f_user_create('t_blocked', 'Blocked', 'pw');"
                              "UPDATE sys.t_user SET b_active = false WHERE c_login = 't_blocked';"
                              "SELECT sys.f_user_grant('t_holder', 'TEST_RIGHT_A')"),
                          &error),
             qPrintable(error));

    QVERIFY(!m_canDo(QStringLiteral("TEST_RIGHT_A"))); // nobody logged in yet

    QVERIFY(!m_login(QStringLiteral("t_holder"), QStringLiteral("pw")));
    QVERIFY(!m_login(QStringLiteral("t_holder"), QString()));
    QVERIFY(!m_login(QStringLiteral("t_holder' OR ''='"), QStringLiteral("' OR ''='")));
    QVERIFY(!m_login(QStringLiteral("t_blocked"), QStringLiteral("pw")));
    QVERIFY(!m_login(QStringLiteral("nobody"), QStringLiteral("pw")));

    QVERIFY(m_login(QStringLiteral("t_holder"), QStringLiteral("pw'1")));
    QVERIFY(m_canDo(QStringLiteral("TEST_RIGHT_A")));
    QVERIFY(!m_canDo(QStringLiteral("TEST_RIGHT_B")));
    QVERIFY(!m_canDo(QStringLiteral("NO_SUCH_RIGHT")));
    QVERIFY(!m_canDo(QString()));

    // A failed login leaves nobody logged in.
    QVERIFY(!m_login(QStringLiteral("t_holder"), QStringLiteral("wrong")));
    QVERIFY(!m_canDo(QStringLiteral("TEST_RIGHT_A")));

    for (const QString &adminLogin : {QString(), QStringLiteral("")}) {
        QVERIFY(!m_login(adminLogin, QStringLiteral("wrong")));
        QVERIFY(m_login(adminLogin, QStringLiteral("admin")));
        QVERIFY(m_canDo(QStringLiteral("TEST_RIGHT_A")));
        QVERIFY(m_canDo(QStringLiteral("TEST_RIGHT_B")));
        QVERIFY(m_canDo(QStringLiteral("REJECT_SOLUTION")));
    }

    // The demo users: one holds every right, the guest none.
    QVERIFY(m_login(QStringLiteral("kuznetsova"), QStringLiteral("kuznetsova")));
    for (const char *right : {"REJECT_SOLUTION", "FAIL_CODE_CREATE", "TASK_CREATOR",
                              "ADMIN_MANUFACTURE", "TASK_EXECUTOR"})
        QVERIFY2(m_canDo(QLatin1String(right)), right);
    QVERIFY(!m_canDo(QStringLiteral("NO_SUCH_RIGHT")));
    QVERIFY(m_login(QStringLiteral("guest"), QStringLiteral("guest")));
    for (const char *right : {"REJECT_SOLUTION", "FAIL_CODE_CREATE", "TASK_CREATOR",
                              "ADMIN_MANUFACTURE", "TASK_EXECUTOR"})
        QVERIFY2(!m_canDo(QLatin1String(right)), right);
    QVERIFY(!m_login(QStringLiteral("guest"), QStringLiteral("kuznetsova")));
    QVERIFY(!m_login(QStringLiteral("Guest"), QStringLiteral("guest")));
}

void TestDriver::userId_boundInPrePassAndByName()
{
    QCOMPARE(connectTo(m_fx->db()), QStringLiteral("Ok"));
    const QString sql = QStringLiteral(
        "SELECT :UserID, :id_user, :n_number, :c_name, :c_description, :n_due, :b_is_complete, "
        ":b_is_del, :NULL ");
    // Connect logs out: :UserID is NULL until somebody logs in.
    QVERIFY(m_bind(sql, QStringLiteral("NULL"), QVariant(QStringLiteral("NULL")))
                .startsWith(QStringLiteral("SELECT NULL, :id_user")));

    QVERIFY(m_login(QString(), QStringLiteral("admin")));
    const qlonglong adminId = m_getSystemAttr(QStringLiteral("superAdminId")).toLongLong();
    QVERIFY(adminId > 0);

    // By name, whatever value the caller hands.
    QCOMPARE(m_bind(QStringLiteral("SELECT :UserID, ':UserID', :UserID "), QStringLiteral("UserID"),
                    QVariant()),
             QStringLiteral("SELECT %1, ':UserID', %1 ").arg(adminId));
    QCOMPARE(m_bind(QStringLiteral("WHERE u = :UserID;"), QStringLiteral("UserID;"), QVariant(99)),
             QStringLiteral("WHERE u = %1;").arg(adminId));

    // Positional run as the connection does it: seven values for seven places.
    QString text = m_bind(sql, QStringLiteral("NULL"), QVariant(QStringLiteral("NULL")));
    const QStringList places = placeholdersOf(text);
    const QVariantList values{QVariant(qlonglong(5)),
                              QVariant(QVariant::Int),
                              QVariant(QStringLiteral("Задача 'срочно'")),
                              QVariant(QStringLiteral("C:\\temp")),
                              QVariant(QVariant::DateTime),
                              QVariant(false),
                              QVariant(true)};
    QCOMPARE(places.size(), values.size());
    for (int i = 0; i < places.size(); ++i)
        text = m_bind(text, places.at(i), values.at(i));
    QSqlQuery q(driverDb());
    QVERIFY2(q.exec(text) && q.next(), qPrintable(q.lastError().text() + text));
    QCOMPARE(q.value(0).toLongLong(), adminId);
    QCOMPARE(q.value(1).toLongLong(), 5);
    QVERIFY(q.value(2).isNull());
    QCOMPARE(q.value(3).toString(), values.at(2).toString());
    QCOMPARE(q.value(4).toString(), values.at(3).toString());
    QVERIFY(q.value(5).isNull());
    QCOMPARE(q.value(6).toBool(), false);
    QCOMPARE(q.value(7).toBool(), true);
    QVERIFY(q.value(8).isNull());
}

void TestDriver::connect_missingDatabaseWithoutCreateRight_isAnError()
{
    // The pre-login role may not create databases.
    const QString missing =
        QStringLiteral("driver_never_") + QUuid::createUuid().toString(QUuid::Id128).left(8);
    QString status;
    {
        EnvironmentScope env;
        env.set("PGUSER", PgTestDb::loginRole().first.toUtf8());
        env.set("PGPASSWORD", PgTestDb::loginRole().second.toUtf8());
        env.set("PGDATABASE", missing.toUtf8());
        QVariant result;
        m_connect(result, QLatin1String(connectionName), true);
        status = result.toString();
    }
    QVERIFY2(status.contains(missing) && status.contains(QStringLiteral("cannot be created")),
             qPrintable(status));
    QVERIFY(!driverDb().isOpen());
    QVERIFY(m_getScript(QStringLiteral("FAULT_CODE_SELECT")).isEmpty());
    QVERIFY(!m_login(QString(), QStringLiteral("admin")));
}

void TestDriver::scriptsAttributesAndPanels()
{
    QCOMPARE(connectTo(m_fx->db()), QStringLiteral("Ok"));
    QVERIFY(m_fx->db().exec(QStringLiteral(
        "INSERT INTO sys.t_script (c_name, c_text) VALUES "
        "('TEST_DRIVER_SCRIPT', 'SELECT 41 + 1'), ('TEST_DRIVER_USER', 'SELECT :UserID ')")));

    QVERIFY(m_getScript(QStringLiteral("NO_SUCH_SCRIPT")).isEmpty());
    QVERIFY(m_getScript(QString()).isEmpty());
    QVERIFY(m_getScript(QStringLiteral("test_driver_script")).isEmpty()); // exact name
    QCOMPARE(m_getScript(QStringLiteral("TEST_DRIVER_SCRIPT")), QStringLiteral("SELECT 41 + 1"));
    QCOMPARE(m_resultExecSql(QStringLiteral("TEST_DRIVER_SCRIPT"), QString()).toInt(), 42);
    QVERIFY(!m_resultExecSql(QStringLiteral("NO_SUCH_SCRIPT"), QString()).isValid());

    // Cached until the next Connect.
    QVERIFY(m_fx->db().exec(QStringLiteral(
        "UPDATE sys.t_script SET c_text = 'SELECT 2' WHERE c_name = 'TEST_DRIVER_SCRIPT'")));
    QCOMPARE(m_getScript(QStringLiteral("TEST_DRIVER_SCRIPT")), QStringLiteral("SELECT 41 + 1"));
    QCOMPARE(connectTo(m_fx->db()), QStringLiteral("Ok"));
    QCOMPARE(m_getScript(QStringLiteral("TEST_DRIVER_SCRIPT")), QStringLiteral("SELECT 2"));

    QVERIFY(m_login(QStringLiteral(""), QStringLiteral("admin")));
    QCOMPARE(m_resultExecSql(QStringLiteral("TEST_DRIVER_USER"), QString()),
             m_getSystemAttr(QStringLiteral("superAdminId")).toLongLong());

    QVERIFY(!m_getSystemAttr(QStringLiteral("FilePath")).toString().isEmpty());
    QVERIFY(!m_getSystemAttr(QStringLiteral("NoSuchAttribute")).isValid());

    QVERIFY(m_fx->db().exec(QStringLiteral("INSERT INTO sys.t_panel (c_name, c_library, c_caption, "
                                           "n_order) VALUES ('first', 'first', 'Первая', -1)")));
    QPanelList panels{panelData()};
    QVERIFY(m_getPanels(panels));
    QVERIFY(panels.size() >= 2);
    QCOMPARE(panels.first().name, QStringLiteral("first"));
    QCOMPARE(panels.first().caption, QStringLiteral("Первая"));
    auto rejects = std::find_if(panels.cbegin(), panels.cend(),
                                [](const panelData &p) { return p.name == "rejects"; });
    QVERIFY(rejects != panels.cend());
    QCOMPARE(rejects->library, QStringLiteral("rejects"));
    QCOMPARE(rejects->caption, QStringLiteral("Учет брака"));
    for (int i = 1; i < panels.size(); ++i)
        QVERIFY(panels.at(i - 1).order <= panels.at(i).order);
}

void TestDriver::batchExec_splitsSafelyAndIsAllOrNothing()
{
    QCOMPARE(connectAsDba(m_fx->db()), QStringLiteral("Ok"));
    const QString good = QStringLiteral(
        "-- a comment; with a semicolon\n"
        "CREATE TABLE public.t_batch (c text);\n"
        "/* block; comment /* nested; */ */\n"
        "INSERT INTO public.t_batch VALUES ('a;b'), (E'c\\';d'), ($q$e;f$q$);\n"
        "CREATE FUNCTION public.f_batch() RETURNS int LANGUAGE plpgsql AS $$\n"
        "BEGIN\n  PERFORM 1; RETURN (SELECT count(*) FROM public.t_batch);\nEND;\n$$;\n"
        "CREATE FUNCTION public.f_atomic(x int) RETURNS text LANGUAGE sql\n"
        "BEGIN ATOMIC\n  SELECT 1;\n  SELECT CASE WHEN x > 0 THEN 'plus;' ELSE 'minus' END;\nEND;\n"
        "SELECT public.f_batch() + length(public.f_atomic(1))");
    QPlainTextEdit log;
    QList<QSqlQuery> results;
    QVERIFY2(m_batchExec(good, &log, &results), qPrintable(log.toPlainText()));
    QCOMPARE(results.size(), 5);
    QVERIFY(results.last().isSelect());
    QVERIFY(results.last().first());
    QCOMPARE(results.last().value(0).toInt(), 3 + 5);
    QCOMPARE(scalar(QStringLiteral("SELECT string_agg(c, '|' ORDER BY c) FROM public.t_batch"))
                 .toString(),
             QStringLiteral("a;b|c';d|e;f"));

    // A failing statement undoes the whole script and says why.
    QPlainTextEdit failedLog;
    QVERIFY(!m_batchExec(QStringLiteral("CREATE TABLE public.t_batch2 (c int);"
                                        "INSERT INTO public.t_batch2 VALUES (1);"
                                        "INSERT INTO public.t_batch2 VALUES ('x')"),
                         &failedLog, nullptr));
    QVERIFY(failedLog.toPlainText().contains(QStringLiteral("Error")));
    QVERIFY(!scalar(QStringLiteral("SELECT to_regclass('public.t_batch2') IS NOT NULL")).toBool());

    // Inside the caller's transaction only the script is undone.
    QVERIFY(driverDb().transaction());
    QSqlQuery q(driverDb());
    QVERIFY(q.exec(QStringLiteral("INSERT INTO public.t_batch VALUES ('kept')")));
    QVERIFY(!m_batchExec(QStringLiteral("INSERT INTO public.t_batch VALUES ('lost'); SELECT 1/0"),
                         nullptr, nullptr));
    QVERIFY(m_batchExec(QStringLiteral("INSERT INTO public.t_batch VALUES ('also kept')"), nullptr,
                        nullptr));
    QVERIFY(driverDb().commit());
    QCOMPARE(scalar(QStringLiteral("SELECT count(*) FROM public.t_batch WHERE c IN "
                                   "('kept', 'also kept', 'lost')"))
                 .toInt(),
             2);
    QVERIFY(m_batchExec(QStringLiteral("  -- nothing but a comment\n"), nullptr, nullptr));
}

void TestDriver::scopeIdentity_returnsNewKey()
{
    QCOMPARE(connectAsDba(m_fx->db()), QStringLiteral("Ok"));
    QVERIFY(m_fx->db().exec(QStringLiteral(
        "CREATE TABLE public.t_ident (id bigserial PRIMARY KEY, c text);"
        "CREATE TABLE public.t_other (id bigserial PRIMARY KEY, c text);"
        "SELECT setval('public.t_other_id_seq', 1000);"
        // A trigger that draws from another sequence must not confuse the answer.
        "CREATE FUNCTION public.f_ident_log() RETURNS trigger LANGUAGE plpgsql AS $$ "
        "BEGIN INSERT INTO public.t_other (c) VALUES (NEW.c); RETURN NEW; END $$;"
        "CREATE TRIGGER tr_ident AFTER INSERT ON public.t_ident "
        "FOR EACH ROW EXECUTE FUNCTION public.f_ident_log()")));
    for (int i = 1; i <= 2; ++i) {
        QSqlQuery q(driverDb());
        QVERIFY(q.exec(QStringLiteral("INSERT INTO public.t_ident (c) VALUES ('x')")));
        q.finish();
        m_scopeIdentity(QStringLiteral("t_ident"), &q);
        QVERIFY(q.isActive() && q.isSelect());
        QCOMPARE(q.record().indexOf(QStringLiteral("id")), 0);
        QCOMPARE(q.value(0).toLongLong(), qlonglong(i));
    }
    QSqlQuery q(driverDb());
    m_scopeIdentity(QStringLiteral("public.t_ident"), &q);
    QCOMPARE(q.value(0).toLongLong(), 2);
}

void TestDriver::convert_givesColumnTypes_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("type");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("t") << QVariant(QStringLiteral("t")) << int(QVariant::Bool) << QVariant(true);
    QTest::newRow("f") << QVariant(QStringLiteral("f")) << int(QVariant::Bool) << QVariant(false);
    QTest::newRow("true") << QVariant(QStringLiteral("true")) << int(QVariant::Bool)
                          << QVariant(true);
    QTest::newRow("FALSE") << QVariant(QStringLiteral("FALSE")) << int(QVariant::Bool)
                           << QVariant(false);
    QTest::newRow("int to bool") << QVariant(0) << int(QVariant::Bool) << QVariant(false);
    QTest::newRow("text to int") << QVariant(QStringLiteral("42")) << int(QVariant::Int)
                                 << QVariant(42);
    QTest::newRow("int to text") << QVariant(42) << int(QVariant::String)
                                 << QVariant(QStringLiteral("42"));
    QTest::newRow("int to bigint")
        << QVariant(42) << int(QVariant::LongLong) << QVariant(qlonglong(42));
    QTest::newRow("text to date") << QVariant(QStringLiteral("2026-11-21")) << int(QVariant::Date)
                                  << QVariant(QDate(2026, 11, 21));
    QTest::newRow("garbage to int")
        << QVariant(QStringLiteral("abc")) << int(QVariant::Int) << QVariant(QVariant::Int);
    QTest::newRow("null to int") << QVariant(QVariant::String) << int(QVariant::Int)
                                 << QVariant(QVariant::Int);
    QTest::newRow("invalid to date")
        << QVariant() << int(QVariant::Date) << QVariant(QVariant::Date);
}

void TestDriver::convert_givesColumnTypes()
{
    QFETCH(QVariant, value);
    QFETCH(int, type);
    QFETCH(QVariant, expected);
    const QVariant result = m_convert(value, QVariant::Type(type));
    QCOMPARE(int(result.type()), type);
    QCOMPARE(result.isNull(), expected.isNull());
    if (!expected.isNull())
        QCOMPARE(result, expected);
}

REJECTS_TEST_MAIN(TestDriver)

#include "tst_driver.moc"
