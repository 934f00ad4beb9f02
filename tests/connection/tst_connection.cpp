#include "infolist.h"
#include "loggedinconnection.h"
#include "modalresponder.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "testfixture.h"
#include "testmain.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QProcess>
#include <QSignalSpy>
#include <QSqlError>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <cstdio>

namespace {

// Collects the warnings written while it lives (and passes them on).
class WarningCatcher
{
public:
    WarningCatcher()
    {
        s_lines.clear();
        m_previous = qInstallMessageHandler(handler);
    }
    ~WarningCatcher() { qInstallMessageHandler(m_previous); }
    QStringList lines() const { return s_lines; }

private:
    static void handler(QtMsgType type, const QMessageLogContext &, const QString &message)
    {
        if (type == QtWarningMsg)
            s_lines << message;
    }
    static QStringList s_lines;
    QtMessageHandler m_previous;
};
QStringList WarningCatcher::s_lines;

QSqlRecord makeRecord(const QVariantMap &values)
{
    QSqlRecord record;
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        QSqlField field(it.key(), it.value().type());
        field.setValue(it.value());
        record.append(field);
    }
    return record;
}

QString readAll(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromLocal8Bit(f.readAll());
}

// Standard input read from a file for the duration of a test.
class StdinFromText
{
public:
    explicit StdinFromText(const QByteArray &text)
    {
        m_file.open();
        m_file.write(text);
        m_file.flush();
        m_ok = std::freopen(QFile::encodeName(m_file.fileName()).constData(), "r", stdin);
    }
    bool ok() const { return m_ok; }
    // The rest of standard input, after the code under test read from it.
    QByteArray rest() const
    {
        QByteArray bytes;
        int c;
        while ((c = std::fgetc(stdin)) != EOF)
            bytes += char(c);
        return bytes;
    }

private:
    QTemporaryFile m_file;
    bool m_ok = false;
};

} // namespace

// A logged-in connection of the case's own on the program's database.
#define LOGGED_IN(conn, ...)                                                                       \
    LoggedInConnection conn(m_fx->db(), ##__VA_ARGS__);                                            \
    QVERIFY2(conn.isValid(), qPrintable(conn.error()))

class TestConnection : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void missingEntryPoints_giveNeutralAnswers();

    void positionalPlaceholders_data();
    void positionalPlaceholders();
    void recordPlaceholders_data();
    void recordPlaceholders();
    void recordQueryForm_runsOnMainDatabase();

    void trace_appendsEachStatement();

    void failedStatement_boxOnlyInDebugWithGui_data();
    void failedStatement_boxOnlyInDebugWithGui();
    void notConnected_runsNothing();

    void login_setsProperties_data();
    void login_setsProperties();
    void login_wrongPasswordChangesNothing();

    void connect_invalidDatabaseConsole_data();
    void connect_invalidDatabaseConsole();
    void connect_invalidDatabaseGui_data();
    void connect_invalidDatabaseGui();

    void userId_boundForLoggedInUser();
    void connect_loginErrorSilent_data();
    void connect_loginErrorSilent();
    void connect_serverUnreachable_data();
    void connect_serverUnreachable();
    void driverForwards();
    void remakeConnection_connectsAgain();
    void convertRecord_followsColumns();
    void statementTimeout_failsStalledCall();
    // Restarts the test cluster: last, so that no other case meets it.
    void serverRestart_reconnectsSameUserAndSaysSoOnce();

private:
    // The demo database shared by the cases that only read from it.
    std::unique_ptr<TestFixture> m_fx;
};

void TestConnection::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("connection"), TestFixture::DatabaseOnly);
}

void TestConnection::init()
{
    for (const char *name :
         {"SQLTraceFile", "bDebugDB", "bNoGUI", "LogedIn", "LogedUser", "LogedPass"})
        qApp->setProperty(name, QVariant());
}

void TestConnection::cleanup()
{
    init();
}

void TestConnection::missingEntryPoints_giveNeutralAnswers()
{
    // The module library is a library, but no database driver.
    QLibrary other(QStringLiteral(LIB_DIR "/librejects.so"));
    QVERIFY2(other.load(), qPrintable(other.errorString()));
    QSqlConnection connection(&other);
    QCOMPARE(connection.currentDriver(), &other);

    QVERIFY(!connection.Connect(QStringLiteral("tst_missing"), true));
    QVERIFY(!connection.isConnected());
    QVERIFY(!connection.batchExec(QStringLiteral("select 1"), nullptr, nullptr));
    QPanelList panels;
    QVERIFY(!connection.GetList(panels));
    QVERIFY(panels.isEmpty());
    QVERIFY(!connection.execScript(QStringLiteral("select 1")).isValid());
    QCOMPARE(connection.parseQuery(QStringLiteral("select :a"), QStringLiteral("a"), 1),
             QStringLiteral("select :a"));

    QSqlQuery query;
    connection.scopeIdentity(QStringLiteral("t_process_exam"), &query);
    connection.scopeIdentity(QStringLiteral("t_process_exam"), nullptr);
    QVERIFY(!query.isActive());
    connection.execScript(QStringLiteral("select 1"), &query, QVariantList());
    QVERIFY(!query.isActive());

    // Binding a null driver keeps the old one; rebinding to nothing is refused.
    connection.init(nullptr);
    QCOMPARE(connection.currentDriver(), &other);
    QVERIFY(!connection.remakeConnection(nullptr, QStringLiteral("tst_missing")));
}

void TestConnection::positionalPlaceholders_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QVariantList>("values");
    QTest::addColumn<bool>("substituted");
    QTest::addColumn<QVariantList>("row");

    QTest::newRow("two of two") << QStringLiteral("select :a , :b") << QVariantList{7, 8} << true
                                << QVariantList{7, 8};
    QTest::newRow("parentheses and commas")
        << QStringLiteral("select (:a) + :b,(:c)") << QVariantList{2, 3, QStringLiteral("x")}
        << true << QVariantList{5, QStringLiteral("x")};
    QTest::newRow("operator glued to a placeholder hides the next one")
        << QStringLiteral("select (:a)+:b") << QVariantList{2, 3} << false << QVariantList();
    QTest::newRow("same name twice counts twice")
        << QStringLiteral("select :a , :a") << QVariantList{1, 2} << true << QVariantList{1, 2};
    QTest::newRow("three values for two")
        << QStringLiteral("select :a , :b") << QVariantList{1, 2, 3} << false << QVariantList();
    QTest::newRow("one value for two")
        << QStringLiteral("select :a , :b") << QVariantList{1} << false << QVariantList();
    QTest::newRow("none given") << QStringLiteral("select :a") << QVariantList() << false
                                << QVariantList();
    QTest::newRow("no placeholders, values ignored")
        << QStringLiteral("select 41+1") << QVariantList{1} << true << QVariantList{42};
    QTest::newRow("cast is no placeholder")
        << QStringLiteral("select '5'::int + :a") << QVariantList{1} << true << QVariantList{6};
}

void TestConnection::positionalPlaceholders()
{
    QFETCH(QString, sql);
    QFETCH(QVariantList, values);
    QFETCH(bool, substituted);
    QFETCH(QVariantList, row);

    LOGGED_IN(conn);
    QTemporaryDir dir;
    const QString trace = dir.filePath(QStringLiteral("trace.sql"));
    qApp->setProperty("SQLTraceFile", trace);

    QSqlQuery query = conn->execScript(sql, values);
    const QString executed = readAll(trace).chopped(2);
    if (!substituted) {
        // The text ran as it was written, and PostgreSQL refuses ":a".
        QCOMPARE(executed, sql);
        QVERIFY(!query.isActive());
        return;
    }
    QVERIFY2(query.isActive(), qPrintable(query.lastError().text()));
    QVERIFY(!executed.contains(QLatin1Char(':')) || sql.contains(QLatin1String("::")));
    QVERIFY(query.isValid()); // positioned on the first row
    for (int i = 0; i < row.size(); ++i)
        QCOMPARE(query.value(i).toString(), row.at(i).toString());
}

void TestConnection::recordPlaceholders_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QVariantMap>("fields");
    QTest::addColumn<QVariantList>("row"); // invalid entry: NULL expected

    const QVariantMap idName{{QStringLiteral("id"), 5}, {QStringLiteral("name"), "Брак"}};
    QTest::newRow("all found") << QStringLiteral("select :id , :name") << idName
                               << QVariantList{5, QStringLiteral("Брак")};
    QTest::newRow("order of the text, not of the record")
        << QStringLiteral("select :name , :id") << idName
        << QVariantList{QStringLiteral("Брак"), 5};
    QTest::newRow("missing field gives NULL")
        << QStringLiteral("select :id , :missing") << idName << QVariantList{5, QVariant()};
    QTest::newRow("semicolon stays in the name")
        << QStringLiteral("select :id;") << idName << QVariantList{QVariant()};
    QTest::newRow("quote in a value")
        << QStringLiteral("select :name") << QVariantMap{{QStringLiteral("name"), "O'Brien"}}
        << QVariantList{QStringLiteral("O'Brien")};
}

void TestConnection::recordPlaceholders()
{
    QFETCH(QString, sql);
    QFETCH(QVariantMap, fields);
    QFETCH(QVariantList, row);

    LOGGED_IN(conn);

    QSqlQuery query(conn->getDatabase());
    conn->execScript(sql, &query, makeRecord(fields), true);
    QVERIFY2(query.isActive(), qPrintable(query.lastError().text()));
    QVERIFY(query.isValid());
    for (int i = 0; i < row.size(); ++i) {
        if (row.at(i).isValid())
            QCOMPARE(query.value(i).toString(), row.at(i).toString());
        else
            QVERIFY2(query.value(i).isNull(), qPrintable(query.value(i).toString()));
    }
}

void TestConnection::recordQueryForm_runsOnMainDatabase()
{
    LOGGED_IN(conn);

    QSqlQuery query = conn->execScript(QStringLiteral("select current_database() , :x"),
                                       makeRecord({{QStringLiteral("x"), 3}}));
    QVERIFY2(query.isActive(), qPrintable(query.lastError().text()));
    QCOMPARE(query.value(0).toString(), m_fx->db().name());
    QCOMPARE(query.value(1).toInt(), 3);
    conn->execScript(QStringLiteral("select 1"), nullptr, QSqlRecord()); // no query: nothing
}

// Each statement, failed ones too, is appended to the trace file; a trace
// file that cannot be written does not stop the statement.
void TestConnection::trace_appendsEachStatement()
{
    LOGGED_IN(conn);
    QTemporaryDir dir;
    const QString trace = dir.filePath(QStringLiteral("trace.sql"));
    {
        QFile f(trace);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("-- earlier\r\n");
    }
    qApp->setProperty("SQLTraceFile", trace);
    conn->execScript(QStringLiteral("select 1"), QVariantList());
    conn->execScript(QStringLiteral("select no_such_column"), QVariantList()); // traced too
    qApp->setProperty("SQLTraceFile", QString());
    conn->execScript(QStringLiteral("select 2"), QVariantList()); // trace off
    QCOMPARE(readAll(trace), QStringLiteral("-- earlier\r\nselect 1\r\nselect no_such_column\r\n"));

    for (const QString &unwritable : {dir.path(), dir.filePath(QStringLiteral("no/dir/t.sql"))}) {
        qApp->setProperty("SQLTraceFile", unwritable);
        QSqlQuery query = conn->execScript(QStringLiteral("select :a"), QVariantList{11});
        QVERIFY2(query.isActive(), qPrintable(query.lastError().text()));
        QCOMPARE(query.value(0).toInt(), 11);
    }
}

void TestConnection::failedStatement_boxOnlyInDebugWithGui_data()
{
    QTest::addColumn<QVariant>("debugDB");
    QTest::addColumn<QVariant>("noGui");
    QTest::addColumn<bool>("box");
    QTest::newRow("normal") << QVariant() << QVariant() << false;
    QTest::newRow("debug") << QVariant(true) << QVariant(false) << true;
    QTest::newRow("debug, no GUI") << QVariant(true) << QVariant(true) << false;
    QTest::newRow("GUI, no debug") << QVariant(false) << QVariant(false) << false;
}

// A failed statement leaves a failed query and a warning line; the box comes
// only in database-debug mode with a GUI.
void TestConnection::failedStatement_boxOnlyInDebugWithGui()
{
    QFETCH(QVariant, debugDB);
    QFETCH(QVariant, noGui);
    QFETCH(bool, box);
    LOGGED_IN(conn);
    qApp->setProperty("bDebugDB", debugDB);
    qApp->setProperty("bNoGUI", noGui);

    ModalResponder modal;
    if (box)
        modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    WarningCatcher warnings;
    QSqlQuery query = conn->execScript(QStringLiteral("select no_such_column"), QVariantList());
    QVERIFY(!query.isActive());
    const QString error = query.lastError().text().trimmed();
    QVERIFY(!error.isEmpty());
    const QStringList lines = warnings.lines().filter(QStringLiteral("Error executing query: "));
    QCOMPARE(lines.size(), 1);
    QVERIFY(
        lines.first().startsWith(QStringLiteral("Error executing query: select no_such_column")));
    QVERIFY(lines.first().contains(error));
    QCOMPARE(modal.messages(),
             box ? QStringList{QStringLiteral("Database error|") + error} : QStringList());
}

void TestConnection::notConnected_runsNothing()
{
    QLibrary driver(PgTestDb::driverPath());
    QSqlConnection connection(&driver); // bound, never connected
    QVERIFY(!connection.isConnected());
    QTemporaryDir dir;
    const QString trace = dir.filePath(QStringLiteral("trace.sql"));
    qApp->setProperty("SQLTraceFile", trace);
    QSqlQuery query = connection.execScript(QStringLiteral("select 1"), QVariantList());
    QVERIFY(!query.isActive());
    query = connection.execScript(QStringLiteral("select 1"), QSqlRecord());
    QVERIFY(!query.isActive());
    QVERIFY(!QFile::exists(trace));
}

void TestConnection::login_setsProperties_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::newRow("user") << QStringLiteral("kuznetsova") << QStringLiteral("kuznetsova");
    QTest::newRow("built-in administrator") << QString() << QStringLiteral("admin");
}

void TestConnection::login_setsProperties()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    LOGGED_IN(conn, login, password);

    QSqlQuery check(m_fx->db().directConnection());
    QVERIFY(check.exec(
        QStringLiteral("select c_name from sys.t_user where c_login = '%1'").arg(login)));
    QVERIFY(check.next());
    QCOMPARE(qApp->property("LogedIn").toString(), check.value(0).toString());
    QVERIFY(!qApp->property("LogedIn").toString().isEmpty());
    QCOMPARE(qApp->property("LogedUser").toString(), login);
    QCOMPARE(qApp->property("LogedPass").toString(), password);
    QCOMPARE(varToObj(qApp->property("Connection")), conn.connection());
}

void TestConnection::login_wrongPasswordChangesNothing()
{
    LOGGED_IN(conn);
    qApp->setProperty("LogedUser", QStringLiteral("before"));
    QVERIFY(!conn->login(QStringLiteral("kuznetsova"), QStringLiteral("wrong")));
    QVERIFY(!conn->login(QStringLiteral("nobody"), QStringLiteral("nobody")));
    QVERIFY(!conn->login(QStringLiteral("x' or '1'='1"), QStringLiteral("x' or '1'='1")));
    QCOMPARE(qApp->property("LogedUser").toString(), QStringLiteral("before"));
}

void TestConnection::connect_invalidDatabaseConsole_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<bool>("created");
    QTest::addColumn<QByteArray>("rest");
    QTest::newRow("Yes") << QByteArray("Yes\n") << true << QByteArray();
    QTest::newRow("n") << QByteArray("n\nafter\n") << false << QByteArray("after\n");
    QTest::newRow("asks again until y") << QByteArray("x\nmaybe\n\ny\n") << true << QByteArray();
    QTest::newRow("end of input") << QByteArray("x\n") << false << QByteArray();
}

void TestConnection::connect_invalidDatabaseConsole()
{
    QFETCH(QByteArray, input);
    QFETCH(bool, created);
    QFETCH(QByteArray, rest);

    PgTestDb db(QStringLiteral("tst_conn_empty"), PgTestDb::Empty);
    QVERIFY2(db.isValid(), qPrintable(db.error()));
    db.makeDefault();
    QLibrary driver(PgTestDb::driverPath());
    {
        QSqlConnection connection(&driver);
        StdinFromText stdinText(input);
        QVERIFY(stdinText.ok());

        QCOMPARE(connection.Connect(LoggedInConnection::connectionName(), true), created);
        QCOMPARE(connection.isConnected(), created);
        QCOMPARE(stdinText.rest(), rest);

        QSqlQuery check(db.directConnection());
        QVERIFY(check.exec(QStringLiteral("select to_regclass('sys.t_user') is not null")));
        QVERIFY(check.next());
        QCOMPARE(check.value(0).toBool(), created);
        // A created database is ready for its administrator.
        if (created)
            QVERIFY(connection.login(QString(), QStringLiteral("admin")));
    }
    QSqlDatabase::removeDatabase(LoggedInConnection::connectionName());
}

void TestConnection::connect_invalidDatabaseGui_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("created");
    QTest::newRow("Ok") << int(QMessageBox::Ok) << true;
    QTest::newRow("Cancel") << int(QMessageBox::Cancel) << false;
}

void TestConnection::connect_invalidDatabaseGui()
{
    QFETCH(int, answer);
    QFETCH(bool, created);
    PgTestDb db(QStringLiteral("tst_conn_empty"), PgTestDb::Empty);
    QVERIFY2(db.isValid(), qPrintable(db.error()));
    db.makeDefault();
    QLibrary driver(PgTestDb::driverPath());
    {
        QSqlConnection connection(&driver);
        ModalResponder modal;
        modal.expect(ModalResponder::pressButton(answer));
        QCOMPARE(connection.Connect(LoggedInConnection::connectionName(), false), created);
        QCOMPARE(modal.messages(),
                 QStringList{QStringLiteral("Unknown database|Database is invalid or corrupted. "
                                            "Want for create?")});
    }
    QSqlDatabase::removeDatabase(LoggedInConnection::connectionName());
}

void TestConnection::userId_boundForLoggedInUser()
{
    LOGGED_IN(conn);
    QSqlQuery check(m_fx->db().directConnection());
    QVERIFY(check.exec(QStringLiteral("select id from sys.t_user where c_login = 'kuznetsova'")));
    QVERIFY(check.next());
    const qlonglong userId = check.value(0).toLongLong();

    // Positional: ":UserID" needs no value of its own; the others count.
    QSqlQuery query = conn->execScript(QStringLiteral("select CAST(:UserID AS bigint) , :a , :b"),
                                       QVariantList{5, 6});
    QVERIFY2(query.isActive(), qPrintable(query.lastError().text()));
    QCOMPARE(query.value(0).toLongLong(), userId);
    QCOMPARE(query.value(1).toInt(), 5);
    QCOMPARE(query.value(2).toInt(), 6);

    // From a record that has no such field.
    query = conn->execScript(QStringLiteral("select CAST(:UserID AS bigint) , :a"),
                             makeRecord({{QStringLiteral("a"), 7}}));
    QVERIFY2(query.isActive(), qPrintable(query.lastError().text()));
    QCOMPARE(query.value(0).toLongLong(), userId);
    QCOMPARE(query.value(1).toInt(), 7);
}

void TestConnection::connect_loginErrorSilent_data()
{
    QTest::addColumn<bool>("console");
    QTest::newRow("GUI") << false;
    QTest::newRow("console") << true;
}

void TestConnection::connect_loginErrorSilent()
{
    QFETCH(bool, console);
    m_fx->db().makeDefault();
    const QByteArray user = qgetenv("PGUSER");
    qputenv("PGUSER", "tst_no_such_role");
    QLibrary driver(PgTestDb::driverPath());
    {
        QSqlConnection connection(&driver);
        ModalResponder modal;
        const bool ok = connection.Connect(LoggedInConnection::connectionName(), console);
        qputenv("PGUSER", user);
        QVERIFY(!ok);
        QVERIFY(connection.isLoginError());
        QVERIFY(!connection.isConnected());
        QVERIFY(modal.messages().isEmpty());
        connection.clear();
        QVERIFY(!connection.isLoginError());
    }
    qputenv("PGUSER", user);
    QSqlDatabase::removeDatabase(LoggedInConnection::connectionName());
}

void TestConnection::connect_serverUnreachable_data()
{
    QTest::addColumn<bool>("console");
    QTest::newRow("GUI: ERROR box") << false;
    QTest::newRow("console: no box") << true;
}

void TestConnection::connect_serverUnreachable()
{
    QFETCH(bool, console);
    QTemporaryDir nowhere; // no server listens here
    const QByteArray host = qgetenv("PGHOST");
    qputenv("PGHOST", QFile::encodeName(nowhere.path()));
    QLibrary driver(PgTestDb::driverPath());
    {
        QSqlConnection connection(&driver);
        ModalResponder modal;
        if (!console)
            modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
        const bool ok = connection.Connect(LoggedInConnection::connectionName(), console);
        qputenv("PGHOST", host);
        QVERIFY(!ok);
        QVERIFY(!connection.isLoginError());
        QCOMPARE(modal.messages().size(), console ? 0 : 1);
        if (!console)
            QVERIFY(modal.messages().first().startsWith(QStringLiteral("ERROR|")));
    }
    qputenv("PGHOST", host);
    QSqlDatabase::removeDatabase(LoggedInConnection::connectionName());
}

void TestConnection::driverForwards()
{
    LOGGED_IN(conn);

    QSqlQuery check(m_fx->db().directConnection());
    QVERIFY(check.exec(QStringLiteral("select id from sys.t_user where c_login = ''")));
    QVERIFY(check.next());
    QCOMPARE(conn->getSystemAttr(QStringLiteral("superAdminId")).toString(),
             check.value(0).toString());
    QVERIFY(!conn->getSystemAttr(QStringLiteral("NoSuchAttribute")).isValid());
    QVERIFY(conn->getScript(QStringLiteral("NO_SUCH_SCRIPT")).isEmpty());

    QPanelList panels;
    QVERIFY(conn->GetList(panels));
    bool found = false;
    for (const panelData &panel : qAsConst(panels))
        found = found || (panel.name == QLatin1String("rejects") && panel.library == "rejects");
    QVERIFY(found);

    // A value-returning script gives the first column of its first row.
    const QString stages = conn->getScript(QStringLiteral("PROC_EXAM_STAGE_SELECT"));
    QVERIFY(!stages.isEmpty());
    QSqlQuery first = conn->execScript(stages, QVariantList());
    QVERIFY2(first.isValid(), qPrintable(first.lastError().text()));
    const QVariant value = conn->execScript(QStringLiteral("PROC_EXAM_STAGE_SELECT"));
    QVERIFY(value.isValid());
    QCOMPARE(value.toString(), first.value(0).toString());
    QVERIFY(!conn->execScript(QStringLiteral("NO_SUCH_SCRIPT")).isValid());

    QList<QSqlQuery> results;
    QVERIFY(conn->batchExec(QStringLiteral("create temp table tst_b(x int);\n"
                                           "insert into tst_b values (1);\n"),
                            nullptr, nullptr));
    QVERIFY(!conn->batchExec(QStringLiteral("select no_such_column;"), nullptr, &results));
}

void TestConnection::remakeConnection_connectsAgain()
{
    LOGGED_IN(conn);
    QLibrary other(PgTestDb::driverPath()); // the same library through another handle
    ModalResponder modal;
    QVERIFY(conn->remakeConnection(&other, LoggedInConnection::connectionName()));
    QVERIFY(modal.messages().isEmpty());
    QCOMPARE(conn->currentDriver(), &other);
    QVERIFY(conn->isConnected());
    QSqlQuery query = conn->execScript(QStringLiteral("select current_database()"), QVariantList());
    QCOMPARE(query.value(0).toString(), m_fx->db().name());
}

void TestConnection::convertRecord_followsColumns()
{
    LOGGED_IN(conn);

    infoList columns;
    colInfo column;
    column.name = QStringLiteral("c_name");
    column.type = QVariant::String;
    columns.append(column);
    column.name = QStringLiteral("id");
    column.type = QVariant::LongLong;
    columns.append(column);
    column.name = QStringLiteral("n_count");
    column.type = QVariant::Int;
    columns.append(column);

    const QSqlRecord record = makeRecord({{QStringLiteral("id"), QStringLiteral("9000000000")},
                                          {QStringLiteral("c_name"), QStringLiteral("Брак")},
                                          {QStringLiteral("c_extra"), 1}});
    const QSqlRecord converted = conn->convert(record, columns);
    QCOMPARE(converted.count(), 3);
    QCOMPARE(converted.fieldName(0), QStringLiteral("c_name"));
    QCOMPARE(converted.fieldName(1), QStringLiteral("id"));
    QCOMPARE(converted.fieldName(2), QStringLiteral("n_count"));
    QCOMPARE(converted.value(0).toString(), QStringLiteral("Брак"));
    QCOMPARE(converted.value(1).toLongLong(), 9000000000LL);
    QCOMPARE(converted.field(1).type(), QVariant::LongLong);
    QVERIFY(converted.value(2).isNull()); // no such field in the loaded row
    QVERIFY(!converted.contains(QStringLiteral("c_extra")));
}

// A stalled server fails the call after the statement timeout (configured
// here to one second) instead of freezing the window; the connection stays.
void TestConnection::statementTimeout_failsStalledCall()
{
    qputenv("REJECTS_STATEMENT_TIMEOUT", "1");
    LoggedInConnection conn(m_fx->db());
    qunsetenv("REJECTS_STATEMENT_TIMEOUT");
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    QSqlQuery stalled = conn->execScript(QStringLiteral("SELECT pg_sleep(5)"), QVariantList());
    QVERIFY(!stalled.isActive());
    QCOMPARE(conn->lastError().nativeErrorCode(), QStringLiteral("57014"));
    QVERIFY(!conn->isLost());
    QVERIFY(conn->execScript(QStringLiteral("SELECT 1"), QVariantList()).isActive());
}

// After a server restart the first call fails with a clear error, the loss
// is said once, and the connection comes back by itself with the same user
// logged in (rights and :UserID), without the host doing anything.
void TestConnection::serverRestart_reconnectsSameUserAndSaysSoOnce()
{
    const QString restart = qEnvironmentVariable("REJECTS_PG_RESTART");
    if (restart.isEmpty())
        QSKIP("scripts/test gives the command that restarts the test cluster");
    LoggedInConnection conn(m_fx->db(), QStringLiteral("ivanova"), QStringLiteral("ivanova"));
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    const QString whoAmI = QStringLiteral("SELECT CAST(:UserID AS bigint)");
    const QVariant user = conn->execScript(whoAmI, QVariantList()).value(0);
    QVERIFY(user.toLongLong() > 0);
    QVERIFY(conn->canDo(QStringLiteral("FAIL_CODE_CREATE")));
    QSignalSpy lost(conn.connection(), &QSqlConnection::connectionLost);
    QSignalSpy restored(conn.connection(), &QSqlConnection::connectionRestored);

    QCOMPARE(QProcess::execute(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), restart}), 0);
    QSqlQuery failed = conn->execScript(QStringLiteral("SELECT 1"), QVariantList());
    QVERIFY(!failed.isActive());
    QVERIFY(!conn->lastErrorText().isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(restored.count(), 1, 20000);
    QCOMPARE(lost.count(), 1);

    QSqlQuery again = conn->execScript(whoAmI, QVariantList());
    QVERIFY2(again.isActive(), qPrintable(conn->lastErrorText()));
    QCOMPARE(again.value(0), user);
    QVERIFY(conn->canDo(QStringLiteral("FAIL_CODE_CREATE")));
    QCOMPARE(qApp->property("LogedUser").toString(), QStringLiteral("ivanova"));
    QCOMPARE(lost.count(), 1);
}

REJECTS_TEST_MAIN(TestConnection)

#include "tst_connection.moc"
