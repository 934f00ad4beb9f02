#include "pgdriverapi.h"
#include "testfixture.h"
#include "testmain.h"

#include <QPlainTextEdit>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <ctime>

namespace {

const char connectionName[] = "driver_test";

QStringList roleEnvironment(const QPair<QString, QString> &role)
{
    return {QStringLiteral("PGUSER=") + role.first, QStringLiteral("PGPASSWORD=") + role.second};
}

// The same double, bit for bit (NaN is NaN, -0 is not 0).
bool sameDouble(double a, double b)
{
    return qIsNaN(a) ? qIsNaN(b) : a == b && std::signbit(a) == std::signbit(b);
}

} // namespace

class TestDriver : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void connect_reportsStatusAndCreatesMissingDatabase_data();
    void connect_reportsStatusAndCreatesMissingDatabase();
    void bindQueryParam_valuesRoundTripNeverRunSql_scopeIdentityGivesKey_data();
    void bindQueryParam_valuesRoundTripNeverRunSql_scopeIdentityGivesKey();
    void bindQueryParam_findsOnlyWholePlaceholdersInCode();
    void login_checksPasswordsRightsAndUserId();
    void scriptsAttributesAndPanels();
    void batchExec_splitsSafelyAndIsAllOrNothing();
    void convert_givesColumnTypes();

private:
    template <typename Fn> Fn resolve(const char *name)
    {
        return reinterpret_cast<Fn>(m_library.resolve(name));
    }
    QString connectTo(const PgTestDb &db, const QStringList &environment = {});
    QSqlDatabase driverDb() const { return QSqlDatabase::database(connectionName, false); }
    bool answersNothing();

    QLibrary m_library{PgTestDb::driverPath()};
    const PgConnectFn m_connect = resolve<PgConnectFn>("Connect");
    const PgGetScriptFn m_getScript = resolve<PgGetScriptFn>("getScript");
    const PgCanDoFn m_canDo = resolve<PgCanDoFn>("canDo");
    const PgGetSystemAttrFn m_getSystemAttr = resolve<PgGetSystemAttrFn>("getSystemAttr");
    const PgBindQueryParamFn m_bind = resolve<PgBindQueryParamFn>("bindQueryParam");
    const PgGetPanelsFn m_getPanels = resolve<PgGetPanelsFn>("GetPanels");
    const PgConvertFn m_convert = resolve<PgConvertFn>("convert");
    const PgLoginFn m_login = resolve<PgLoginFn>("login");
    const PgBatchExecFn m_batchExec = resolve<PgBatchExecFn>("batchExec");
    const PgResultExecSqlFn m_resultExecSql = resolve<PgResultExecSqlFn>("resultExecSQL");
    const PgScopeIdentityFn m_scopeIdentity = resolve<PgScopeIdentityFn>("scopeIdentity");
    const PgGetStartFn m_getStart = resolve<PgGetStartFn>("getStart");
    QTemporaryDir m_files;
    std::unique_ptr<TestFixture> m_fx;
};

// Before any Connect every entry point answers neutrally; binding needs no
// connection, and :UserID stays NULL while nobody is logged in.
void TestDriver::initTestCase()
{
    QVERIFY(m_connect && m_getScript && m_canDo && m_getSystemAttr && m_bind && m_getPanels &&
            m_convert && m_login && m_batchExec && m_resultExecSql && m_scopeIdentity &&
            m_getStart);
    QVERIFY(answersNothing());
    QCOMPARE(m_bind(QStringLiteral("SELECT :UserID, :NULL, :x"), QStringLiteral("NULL"),
                    QVariant(QStringLiteral("NULL"))),
             QStringLiteral("SELECT NULL, NULL, :x"));

    // Local time away from UTC, so that time zone slips show (UTC+5, no DST).
    qputenv("TZ", "YEKT-5");
    tzset();
    // What a created database is given; the administrator's role is the
    // cluster's, so his password stays "admin".
    qputenv("REJECTS_FILE_PATH", QFile::encodeName(m_files.filePath(QStringLiteral("store 'x'"))));
    qputenv("REJECTS_ADMIN_PASSWORD", "admin");
    START_FIXTURE(m_fx, QStringLiteral("driver"), TestFixture::DatabaseOnly);
}

// Connects as the host does, with `environment` ("NAME=value") over the
// database's defaults for the time of the call.
QString TestDriver::connectTo(const PgTestDb &db, const QStringList &environment)
{
    db.makeDefault();
    QList<QPair<QByteArray, QByteArray>> saved;
    for (const QString &assignment : environment) {
        const QByteArray name = assignment.section(QLatin1Char('='), 0, 0).toUtf8();
        saved << qMakePair(name, qgetenv(name.constData()));
        qputenv(name.constData(), assignment.section(QLatin1Char('='), 1).toUtf8());
    }
    QVariant status;
    m_connect(status, QLatin1String(connectionName), true);
    for (const auto &variable : saved)
        qputenv(variable.first.constData(), variable.second);
    return status.toString();
}

// Every entry point that needs an open database refuses quietly.
bool TestDriver::answersNothing()
{
    QPanelList panels;
    QSqlQuery query;
    m_scopeIdentity(QStringLiteral("t_process_exam"), &query);
    m_scopeIdentity(QStringLiteral("t_process_exam"), nullptr);
    return m_getScript(QStringLiteral("FAULT_CODE_SELECT")).isEmpty() &&
           !m_canDo(QStringLiteral("REJECT_SOLUTION")) &&
           !m_getSystemAttr(QStringLiteral("FilePath")).isValid() && !m_getPanels(panels) &&
           !m_login(QString(), QStringLiteral("admin")) &&
           !m_batchExec(QStringLiteral("SELECT 1"), nullptr, nullptr) &&
           !m_resultExecSql(QStringLiteral("SELECT 1 "), QString()).isValid() && !query.isActive();
}

void TestDriver::connect_reportsStatusAndCreatesMissingDatabase_data()
{
    QTest::addColumn<QStringList>("environment");
    QTest::addColumn<QString>("status"); // a pattern

    const QString missing =
        QStringLiteral("driver_missing_") + QUuid::createUuid().toString(QUuid::Id128).left(8);
    QTest::newRow("missing database is created")
        << QStringList("PGDATABASE=" + missing) + roleEnvironment(PgTestDb::dbaRole())
        << "^INVALID$";
    // The pre-login role may not create databases.
    QTest::newRow("missing database without the right to create")
        << QStringList("PGDATABASE=" + missing + "x") + roleEnvironment(PgTestDb::loginRole())
        << missing + "x\".* cannot be created";
    QTest::newRow("unknown role") << QStringList{"PGUSER=no_such_role_xyz"} << "^LOGIN ERROR$";
    QTest::newRow("unreachable port")
        << QStringList{"PGPORT=1"} << "^(?!Ok$|INVALID$|LOGIN ERROR$)."; // the server's reason
}

// A database that is missing is created empty ("INVALID") when the role may,
// and the creation script makes it a register its administrator logs in to;
// any other failure leaves every entry point answering neutrally.
void TestDriver::connect_reportsStatusAndCreatesMissingDatabase()
{
    QFETCH(QStringList, environment);
    QFETCH(QString, status);
    const QString answer = connectTo(m_fx->db(), environment);
    QVERIFY2(QRegularExpression(status).match(answer).hasMatch(), qPrintable(answer));
    if (answer != QLatin1String("INVALID")) {
        QVERIFY(answersNothing());
        return;
    }
    QString script;
    m_getStart(script);
    // The password itself is not in the script, only its verifier.
    QVERIFY(
        script.startsWith(QStringLiteral("SET rejects.admin_verifier = E'SCRAM-SHA-256$4096:")));
    QPlainTextEdit log;
    QVERIFY2(m_batchExec(script, &log, nullptr), qPrintable(log.toPlainText()));
    // On the database just created; the verifier does not stay readable.
    const QString created = environment.first().section(QLatin1Char('='), 1);
    QSqlQuery session(driverDb());
    QVERIFY(session.exec(QStringLiteral("SELECT current_database(), "
                                        "current_setting('rejects.admin_verifier', true)")));
    QVERIFY(session.next());
    QCOMPARE(session.value(0).toString() + session.value(1).toString(), created);

    QCOMPARE(connectTo(m_fx->db(), environment), QStringLiteral("Ok"));
    QCOMPARE(m_getSystemAttr(QStringLiteral("FilePath")).toString(),
             qEnvironmentVariable("REJECTS_FILE_PATH"));
    QVERIFY(QDir(qEnvironmentVariable("REJECTS_FILE_PATH")).exists());
    QVERIFY(m_login(QString(), QStringLiteral("admin")));
    QVERIFY(m_canDo(QStringLiteral("REJECT_SOLUTION")));
    driverDb().close();
    QVERIFY(m_fx->db().exec(QStringLiteral("DROP DATABASE \"%1\" WITH (FORCE)").arg(created)));
}

void TestDriver::bindQueryParam_valuesRoundTripNeverRunSql_scopeIdentityGivesKey_data()
{
    QTest::addColumn<QString>("column");
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char *name, const char *column, const QVariant &value) {
        QTest::newRow(name) << QString::fromLatin1(column) << value;
    };
    QString longText;
    while (longText.size() < (1 << 20))
        longText += QStringLiteral("ab'c\\d\"e;--$$ :id ::int Ж😀 𝄞 \u00e9\u0301\n");
    QByteArray everyByte;
    for (int b = 0; b < 256; ++b)
        everyByte.append(char(b));
    const double inf = std::numeric_limits<double>::infinity();

    row("quote", "c_text", QStringLiteral("O'Brien ''x'' '"));
    // Each attack would drop the table the value goes into.
    row("attack: quote", "c_text", QStringLiteral("'); DROP TABLE public.t_bind; --"));
    row("attack: escaped quote", "c_text", QStringLiteral("\\'); DROP TABLE public.t_bind; --"));
    row("attack: two backslashes", "c_text",
        QStringLiteral("\\\\'); DROP TABLE public.t_bind; --"));
    row("attack: dollar quote", "c_text", QStringLiteral("$$); DROP TABLE public.t_bind; --"));
    row("attack: comment end", "c_text", QStringLiteral("*/'); DROP TABLE public.t_bind; /*"));
    row("attack: new line", "c_text", QStringLiteral("x\nE'); DROP TABLE public.t_bind; --"));
    row("attack: NUL (refused as a whole)", "c_text",
        QString(QStringLiteral("a") + QChar(0) +
                QStringLiteral("'); DROP TABLE public.t_bind; --")));
    row("1 MB text", "c_text", longText);
    row("empty text", "c_text", QStringLiteral(""));
    row("text NULL word", "c_text", QStringLiteral("NULL"));
    row("null text", "c_text", QVariant(QVariant::String));
    row("invalid", "c_text", QVariant());
    row("every byte", "bl_data", everyByte);
    row("empty bytes", "bl_data", QByteArray(""));
    row("NaN", "n_double", std::numeric_limits<double>::quiet_NaN());
    row("+Inf", "n_double", inf);
    row("-Inf", "n_double", -inf);
    row("-0.0", "n_double", -0.0);
    row("denormal", "n_double", std::numeric_limits<double>::denorm_min());
    row("-1/3", "n_double", -1.0 / 3);
    row("numeric 0.1", "n_numeric", 0.1);
    row("LLONG_MIN", "n_bigint", std::numeric_limits<qlonglong>::min());
    row("uint", "n_bigint", 4000000000u);
    row("true", "b_flag", true);
    row("false", "b_flag", false);
    row("old date", "d_date", QDate(1, 1, 1));
    row("invalid date", "d_date", QDate());
    row("date-time UTC", "d_stamp", QDateTime(QDate(2026, 3, 1), QTime(22, 30, 0, 5), Qt::UTC));
    row("date-time with offset", "d_stamp",
        QDateTime(QDate(2026, 3, 1), QTime(1, 2, 3, 4), Qt::OffsetFromUTC, -7 * 3600));
    row("date-time UTC into timestamptz", "d_stamptz",
        QDateTime(QDate(2026, 3, 1), QTime(22, 30, 0, 5), Qt::UTC));
    row("time ms", "t_time", QTime(23, 59, 59, 999));
}

// A value bound into a statement is stored exactly as given (read back on a
// second connection) and never ends the literal to run SQL of its own. The
// key of the new row is what scopeIdentity gives, even though a trigger
// draws from another sequence.
void TestDriver::bindQueryParam_valuesRoundTripNeverRunSql_scopeIdentityGivesKey()
{
    QFETCH(QString, column);
    QFETCH(QVariant, value);
    QCOMPARE(connectTo(m_fx->db(), roleEnvironment(PgTestDb::dbaRole())), QStringLiteral("Ok"));
    QVERIFY(m_fx->db().exec(QStringLiteral(
        "CREATE TABLE IF NOT EXISTS public.t_bind (id bigserial PRIMARY KEY, c_text text, "
        "bl_data bytea, n_double double precision, n_numeric numeric, n_bigint bigint, "
        "b_flag boolean, d_date date, d_stamp timestamp, d_stamptz timestamptz, t_time time);"
        "CREATE SEQUENCE IF NOT EXISTS public.s_log START 1000;"
        "CREATE OR REPLACE FUNCTION public.f_log() RETURNS trigger LANGUAGE plpgsql AS $$ "
        "BEGIN PERFORM nextval('public.s_log'); RETURN NEW; END $$;"
        "CREATE OR REPLACE TRIGGER tr_log AFTER INSERT ON public.t_bind "
        "FOR EACH ROW EXECUTE FUNCTION public.f_log()")));

    // Parentheses, commas and a trailing blank as in the system's scripts.
    const QString sql = m_bind(
        QStringLiteral("INSERT INTO public.t_bind (%1) VALUES (:value) RETURNING id ").arg(column),
        QStringLiteral("value"), value);
    QSqlQuery insert(driverDb());
    const bool inserted = insert.exec(sql) && insert.next();
    if (value.type() == QVariant::String && value.toString().contains(QChar(0))) {
        QVERIFY(!inserted);
        QVERIFY(m_fx->db().exec(QStringLiteral("SELECT FROM public.t_bind")));
        return;
    }
    QVERIFY2(inserted, qPrintable(insert.lastError().text() + QLatin1Char('\n') + sql.left(300)));
    const QVariant id = insert.value(0);
    for (const char *table : {"t_bind", "public.t_bind"}) {
        m_scopeIdentity(QLatin1String(table), &insert);
        QCOMPARE(insert.record().indexOf(QStringLiteral("id")), 0);
        QCOMPARE(insert.value(0), id);
    }
    QVariant back = m_fx->value(
        QStringLiteral("SELECT %1 FROM public.t_bind WHERE id = %2").arg(column, id.toString()));
    if (value.isNull())
        QVERIFY2(back.isNull(), qPrintable(back.toString()));
    else if (value.type() == QVariant::Double)
        QVERIFY2(sameDouble(back.toDouble(), value.toDouble()),
                 qPrintable(QString::number(back.toDouble(), 'g', 17)));
    else
        QVERIFY2(!back.isNull() && back.convert(value.userType()) && back == value,
                 qPrintable(back.toString().left(300)));
}

void TestDriver::bindQueryParam_findsOnlyWholePlaceholdersInCode()
{
    // Bound to 7: case, text, placeholder name, result.
    const char *const cases[][4] = {
        {"whole name only", "SELECT :id_plan, :id, :idx", "id", "SELECT :id_plan, 7, :idx"},
        {"first occurrence only", "SELECT :id, :id", "id", "SELECT 7, :id"},
        {"at the very start and end", ":id", "id", "7"},
        {"given with colon", "WHERE a=:id", ":id", "WHERE a=7"},
        {"name with semicolon", "WHERE a = :id;", "id;", "WHERE a = 7;"},
        {"name with cast", "WHERE a = :id::bigint", "id::bigint", "WHERE a = 7::bigint"},
        {"cast is no placeholder", "SELECT x::id, :id", "id", "SELECT x::id, 7"},
        {"inside a word", "SELECT arr[1:id], :id", "id", "SELECT arr[1:id], 7"},
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
        {"digits", "WHERE c_file = :1 ;", "1", "WHERE c_file = 7 ;"},
        {"case matters", "SELECT :ID, :id", "id", "SELECT :ID, 7"},
        {"empty name", "SELECT : , :id", "", "SELECT : , :id"},
    };
    for (const auto &c : cases) {
        const QString bound = m_bind(QString::fromUtf8(c[1]), QString::fromUtf8(c[2]), 7);
        QVERIFY2(bound == QString::fromUtf8(c[3]), qPrintable(c[0] + (": " + bound)));
    }
}

// Users of our own, so that the check does not depend on the demo data; the
// session's user is what :UserID (bound in the pre-pass or by name) becomes.
void TestDriver::login_checksPasswordsRightsAndUserId()
{
    QCOMPARE(connectTo(m_fx->db()), QStringLiteral("Ok"));
    QVERIFY(m_fx->db().exec(QStringLiteral(
        "INSERT INTO sys.t_access_right (c_sys_name, c_name) VALUES ('TEST_RIGHT', 'T');"
        "SELECT sys.f_user_create('t_holder', 'Holder', 'pw''1'),"
        " sys.f_user_create('t_blocked', 'Blocked', 'pw'), sys.f_user_grant('t_holder', "
        "'TEST_RIGHT');"
        "UPDATE sys.t_user SET b_active = false WHERE c_login = 't_blocked'")));
    const QString holder =
        m_fx->value(QStringLiteral("SELECT id FROM sys.t_user WHERE c_login = 't_holder'"))
            .toString();
    const QString sql = QStringLiteral("SELECT :UserID, ':UserID', :NULL, :UserID, :x");
    const auto prePass = [&] {
        return m_bind(sql, QStringLiteral("NULL"), QStringLiteral("NULL"));
    };
    const QString nobody = QStringLiteral("SELECT NULL, ':UserID', NULL, NULL, :x");
    QCOMPARE(prePass(), nobody);

    const QList<QPair<QString, QString>> refused{
        {"t_holder", "pw"},  {"t_holder", QString()}, {"t_holder' OR ''='", "' OR ''='"},
        {"t_blocked", "pw"}, {"nobody", "pw"},        {"T_holder", "pw'1"}};
    for (const auto &attempt : refused)
        QVERIFY2(!m_login(attempt.first, attempt.second), qPrintable(attempt.first));

    QVERIFY(m_login(QStringLiteral("t_holder"), QStringLiteral("pw'1")));
    QVERIFY(m_canDo(QStringLiteral("TEST_RIGHT")));
    QVERIFY(!m_canDo(QStringLiteral("REJECT_SOLUTION")));
    QCOMPARE(prePass(), QStringLiteral("SELECT %1, ':UserID', NULL, %1, :x").arg(holder));
    // By name, whatever value the caller hands.
    QCOMPARE(m_bind(sql, QStringLiteral("UserID"), QVariant(99)),
             QStringLiteral("SELECT %1, ':UserID', :NULL, %1, :x").arg(holder));
    QCOMPARE(m_bind(QStringLiteral("u = :UserID;"), QStringLiteral("UserID;"), QVariant()),
             QStringLiteral("u = %1;").arg(holder));

    // A failed login leaves nobody logged in.
    QVERIFY(!m_login(QStringLiteral("t_holder"), QStringLiteral("wrong")));
    QVERIFY(!m_canDo(QStringLiteral("TEST_RIGHT")));
    QCOMPARE(prePass(), nobody);
    // The administrator (a null login; an empty one elsewhere) holds every right.
    QVERIFY(!m_login(QString(), QStringLiteral("wrong")));
    QVERIFY(m_login(QString(), QStringLiteral("admin")));
    QVERIFY(m_canDo(QStringLiteral("TEST_RIGHT")));
    // Connect logs out.
    QCOMPARE(connectTo(m_fx->db()), QStringLiteral("Ok"));
    QVERIFY(!m_canDo(QStringLiteral("TEST_RIGHT")));
    QCOMPARE(prePass(), nobody);
}

void TestDriver::scriptsAttributesAndPanels()
{
    QCOMPARE(connectTo(m_fx->db()), QStringLiteral("Ok"));
    QVERIFY(m_fx->db().exec(QStringLiteral(
        "INSERT INTO sys.t_script (c_name, c_text) VALUES "
        "('TEST_DRIVER_SCRIPT', 'SELECT 41 + 1'), ('TEST_DRIVER_USER', 'SELECT :UserID ');"
        "INSERT INTO sys.t_panel (c_name, c_library, c_caption, n_order) "
        "VALUES ('first', 'first', 'Первая', -1)")));
    // Names are exact.
    for (const char *unknown : {"NO_SUCH_SCRIPT", "", "test_driver_script"})
        QVERIFY2(m_getScript(QLatin1String(unknown)).isEmpty(), unknown);
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
    QVERIFY(!m_getSystemAttr(QStringLiteral("NoSuchAttribute")).isValid());

    QPanelList panels{panelData()};
    QVERIFY(m_getPanels(panels));
    QStringList shown;
    for (const panelData &p : qAsConst(panels))
        shown << p.name + QLatin1Char('|') + p.library + QLatin1Char('|') + p.caption;
    QCOMPARE(shown.first(), QStringLiteral("first|first|Первая")); // in their order
    QVERIFY2(shown.contains(QStringLiteral("rejects|rejects|Учет брака")),
             qPrintable(shown.join(',')));
}

void TestDriver::batchExec_splitsSafelyAndIsAllOrNothing()
{
    QCOMPARE(connectTo(m_fx->db(), roleEnvironment(PgTestDb::dbaRole())), QStringLiteral("Ok"));
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
    QVERIFY(results.last().isSelect() && results.last().first());
    QCOMPARE(results.last().value(0).toInt(), 3 + 5);

    // A failing statement undoes the whole script and says why.
    QVERIFY(!m_batchExec(QStringLiteral("CREATE TABLE public.t_batch2 (c int);"
                                        "INSERT INTO public.t_batch2 VALUES ('x')"),
                         &log, nullptr));
    QVERIFY(log.toPlainText().contains(QStringLiteral("Error")));
    QVERIFY(
        !m_fx->value(QStringLiteral("SELECT to_regclass('public.t_batch2') IS NOT NULL")).toBool());

    // Inside the caller's transaction only the script is undone.
    QVERIFY(driverDb().transaction());
    QVERIFY(QSqlQuery(driverDb()).exec(QStringLiteral("DELETE FROM public.t_batch")));
    QVERIFY(!m_batchExec(QStringLiteral("INSERT INTO public.t_batch VALUES ('lost'); SELECT 1/0"),
                         nullptr, nullptr));
    QVERIFY(m_batchExec(QStringLiteral("INSERT INTO public.t_batch VALUES ('kept')"), nullptr,
                        nullptr));
    QVERIFY(driverDb().commit());
    QCOMPARE(m_fx->value(QStringLiteral("SELECT string_agg(c, '|') FROM public.t_batch")),
             QVariant(QStringLiteral("kept")));
    QVERIFY(m_batchExec(QStringLiteral("  -- nothing but a comment\n"), nullptr, nullptr));
}

// Values as read from the database become the columns' types; what does not
// convert is a null of the type.
void TestDriver::convert_givesColumnTypes()
{
    const QList<std::tuple<QVariant, QVariant::Type, QVariant>> cases{
        {"t", QVariant::Bool, true},
        {"FALSE", QVariant::Bool, false},
        {0, QVariant::Bool, false},
        {"42", QVariant::Int, 42},
        {"2026-11-21", QVariant::Date, QDate(2026, 11, 21)},
        {"abc", QVariant::Int, QVariant()},
        {QVariant(QVariant::String), QVariant::Int, QVariant()}};
    for (const auto &[value, type, expected] : cases) {
        const QVariant result = m_convert(value, type);
        QCOMPARE(result.type(), type);
        QCOMPARE(result.isNull(), !expected.isValid());
        if (expected.isValid())
            QCOMPARE(result, expected);
    }
}

REJECTS_TEST_MAIN(TestDriver)

#include "tst_driver.moc"
