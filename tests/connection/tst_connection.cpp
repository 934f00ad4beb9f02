#include "infolist.h"
#include "loggedinconnection.h"
#include "modalresponder.h"
#include "qsqlconnection.h"
#include "testfixture.h"
#include "testmain.h"

#include <QMessageBox>
#include <QSqlField>
#include <cstdio>

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

    void notConnected_runsNothingAndMissingEntryPointsAnswerNeutrally();
    void placeholders_boundAndTraced_data();
    void placeholders_boundAndTraced();
    void failedStatement_boxOnlyInDebugWithGui_data();
    void failedStatement_boxOnlyInDebugWithGui();
    void refusals_saidInPlainWords_data();
    void refusals_saidInPlainWords();
    void login_setsPropertiesAndRefusalChangesNothing_data();
    void login_setsPropertiesAndRefusalChangesNothing();
    void connect_answersEachStatus_data();
    void connect_answersEachStatus();
    void driverForwardsAndRemakeConnectsAgain();
    // Restarts the test cluster: last, so that no other case meets it.
    void stalledOrRestartedServer_failsCleanlyAndReconnectsSameUser();

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

// A library that is no database driver gives neutral answers; not
// connected, a connection runs and traces nothing.
void TestConnection::notConnected_runsNothingAndMissingEntryPointsAnswerNeutrally()
{
    QTemporaryDir dir;
    const QString trace = dir.filePath(QStringLiteral("trace.sql"));
    qApp->setProperty("SQLTraceFile", trace);
    QLibrary other(QStringLiteral(LIB_DIR "/librejects.so"));
    QVERIFY2(other.load(), qPrintable(other.errorString()));
    QSqlConnection connection(&other);
    QVERIFY(!connection.Connect(QStringLiteral("tst_missing"), true));
    QVERIFY(!connection.batchExec(QStringLiteral("select 1"), nullptr, nullptr));
    QPanelList panels;
    QVERIFY(!connection.GetList(panels) && panels.isEmpty());
    QVERIFY(!connection.execScript(QStringLiteral("select 1")).isValid());
    QCOMPARE(connection.parseQuery(QStringLiteral("select :a"), QStringLiteral("a"), 1),
             QStringLiteral("select :a"));
    QSqlQuery query;
    connection.scopeIdentity(QStringLiteral("t_process_exam"), &query);
    connection.scopeIdentity(QStringLiteral("t_process_exam"), nullptr);
    connection.execScript(QStringLiteral("select 1"), &query, QVariantList());
    QVERIFY(!query.isActive());
    QVERIFY(!connection.execScript(QStringLiteral("select 1"), QSqlRecord()).isActive());
    QVERIFY(!QFile::exists(trace));

    // Binding a null driver keeps the old one; rebinding to nothing is refused.
    connection.init(nullptr);
    QCOMPARE(connection.currentDriver(), &other);
    QVERIFY(!connection.remakeConnection(nullptr, QStringLiteral("tst_missing")));
}

void TestConnection::placeholders_boundAndTraced_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QVariant>("values"); // a list: positional; a map: a record's fields
    QTest::addColumn<QStringList>("row"); // empty: the text ran unchanged and failed
    const auto row = [](const char *name, const QString &sql, const QVariant &values,
                        const QStringList &expected) {
        QTest::newRow(name) << sql << values << expected;
    };
    // The demo user the cases log in as, found by :UserID.
    const QString isUser =
        QStringLiteral("(select :UserID = id from sys.t_user where c_login = 'kuznetsova')");
    const QVariantMap idName{{QStringLiteral("id"), 5}, {QStringLiteral("name"), "Брак"}};

    row("parentheses and commas", "select (:a) + :b,(:c)", QVariantList{2, 3, "x"}, {"5", "x"});
    row("operator glued to a placeholder hides the next one", "select (:a)+:b", QVariantList{2, 3},
        {});
    row("same name twice counts twice", "select :a , :a", QVariantList{1, 2}, {"1", "2"});
    row("three values for two", "select :a , :b", QVariantList{1, 2, 3}, {});
    row("one value for two", "select :a , :b", QVariantList{1}, {});
    row("no placeholders, values ignored", "select 41+1", QVariantList{1}, {"42"});
    row("cast is no placeholder", "select '5'::int + :a", QVariantList{1}, {"6"});
    row(":UserID needs no value of its own", "select " + isUser + " , :a", QVariantList{5},
        {"true", "5"});
    row("record: order of the text", "select :name , :id", idName, {"Брак", "5"});
    row("record: missing field gives NULL", "select :id , :missing", idName, {"5", "NULL"});
    row("record: semicolon stays in the name", "select :id , :id;", idName, {"5", "NULL"});
    row("record: quote in a value", "select :name", QVariantMap{{"name", "O'Brien"}}, {"O'Brien"});
    row("record: :UserID is the user's, not a field", "select " + isUser + " , :id", idName,
        {"true", "5"});
}

// Each statement run, failed ones too, is appended to the trace file; both
// record forms run on the connection's own database.
void TestConnection::placeholders_boundAndTraced()
{
    QFETCH(QString, sql);
    QFETCH(QVariant, values);
    QFETCH(QStringList, row);
    LOGGED_IN(conn);
    QTemporaryDir dir;
    QFile file(dir.filePath(QStringLiteral("trace.sql")));
    QVERIFY(file.open(QIODevice::ReadWrite) && file.write("-- earlier\r\n") > 0 && file.flush());
    qApp->setProperty("SQLTraceFile", file.fileName());

    QList<QSqlQuery> queries;
    if (values.type() == QVariant::Map) {
        const QSqlRecord record = recordOf(values.toMap());
        QSqlQuery given(conn->getDatabase());
        conn->execScript(sql, &given, record, true);
        conn->execScript(sql, nullptr, record); // no query: nothing
        queries << given << conn->execScript(sql, record);
    } else {
        queries << conn->execScript(sql, values.toList());
    }
    QVERIFY(file.seek(0));
    const QStringList traced = QString::fromUtf8(file.readAll()).split(QStringLiteral("\r\n"));
    QCOMPARE(traced.size(), queries.size() + 2);
    QCOMPARE(traced.first(), QStringLiteral("-- earlier"));
    if (row.isEmpty()) {
        // PostgreSQL refuses ":a".
        QCOMPARE(traced.at(1), sql);
        QVERIFY(!queries.first().isActive());
        return;
    }
    for (const QSqlQuery &query : qAsConst(queries)) { // each on its first row
        QStringList got;
        for (int i = 0; i < row.size(); ++i)
            got << (query.isNull(i) ? QStringLiteral("NULL") : query.value(i).toString());
        QCOMPARE(got, row);
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

// A failed statement leaves a failed query and a warning line with the
// statement and the error; the box comes only in database-debug mode with a GUI.
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
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral(
                             "^Error executing query: select no_such_column .*no_such_column")));
    QSqlQuery query = conn->execScript(QStringLiteral("select no_such_column"), QVariantList());
    QVERIFY(!query.isActive());
    QCOMPARE(modal.messages(),
             box ? QStringList{"Database error|" + query.lastError().text().trimmed()}
                 : QStringList());
}

void TestConnection::refusals_saidInPlainWords_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("said");
    const QString entry = "INSERT INTO docs.t_process_exam_disc (id_process_exam, c_text) ";
    QTest::newRow("missing defect") << entry + "VALUES (-1, 'x')"
                                    << "Запись связана с другими данными";
    QTest::newRow("empty entry") << entry + "SELECT min(id), '' FROM docs.t_process_exam"
                                 << "Значение не допускается";
    QTest::newRow("no right") << "DELETE FROM sys.t_script"
                              << "Недостаточно прав";
    QTest::newRow("the schema's own reason") << "SELECT sys.f_check_quantity('NaN', 'Количество')"
                                             << "Количество должно быть числом больше нуля";
    QTest::newRow("other errors as they are") << "select no_such_column"
                                              << "no_such_column";
}

// The server's refusals of a key, a check or a right reach the user in plain
// words; the reasons the schema gives itself, and other errors, unchanged.
void TestConnection::refusals_saidInPlainWords()
{
    QFETCH(QString, sql);
    QFETCH(QString, said);
    LOGGED_IN(conn);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Error executing query: "));
    QVERIFY(!conn->execScript(sql, QVariantList()).isActive());
    QVERIFY2(conn->lastErrorText().contains(said), qPrintable(conn->lastErrorText()));
}

void TestConnection::login_setsPropertiesAndRefusalChangesNothing_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::newRow("user") << QStringLiteral("kuznetsova") << QStringLiteral("kuznetsova");
    QTest::newRow("built-in administrator") << QString() << QStringLiteral("admin");
}

void TestConnection::login_setsPropertiesAndRefusalChangesNothing()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    LOGGED_IN(conn, login, password);
    const QString name =
        m_fx->value(QStringLiteral("select c_name from sys.t_user where c_login = '%1'").arg(login))
            .toString();
    const QList<QPair<QString, QString>> refused{
        {"kuznetsova", "wrong"}, {"nobody", "nobody"}, {"x' or '1'='1", "x' or '1'='1"}};
    for (const auto &attempt : refused)
        QVERIFY(!conn->login(attempt.first, attempt.second));
    QCOMPARE(
        (QStringList{qApp->property("LogedIn").toString(), qApp->property("LogedUser").toString(),
                     qApp->property("LogedPass").toString()}),
        (QStringList{name, login, password}));
}

void TestConnection::connect_answersEachStatus_data()
{
    QTest::addColumn<QByteArray>("setting"); // over an empty database's defaults
    QTest::addColumn<bool>("console");
    QTest::addColumn<QByteArray>("input"); // standard input; the GUI's answer too
    QTest::addColumn<bool>("connected");
    QTest::addColumn<QString>("message"); // the start of the one box shown, if any
    QTest::addColumn<QByteArray>("rest");
    const auto row = [](const char *name, const char *setting, bool console, const char *input,
                        bool connected, const QString &message, const char *rest) {
        QTest::newRow(name) << QByteArray(setting) << console << QByteArray(input) << connected
                            << message << QByteArray(rest);
    };
    const QString question =
        QStringLiteral("Unknown database|Database is invalid or corrupted. Want for create?");
    const char asIs[] = "PGAPPNAME=tst_connection";
    row("invalid, console: asks again until Yes", asIs, true, "x\nmaybe\n\nYes\nafter\n", true,
        QString(), "after\n");
    row("invalid, console: n", asIs, true, "n\nafter\n", false, QString(), "after\n");
    row("invalid, console: end of input", asIs, true, "x\n", false, QString(), "");
    // The GUI reads nothing from standard input.
    row("invalid, GUI: Ok", asIs, false, "Ok", true, question, "Ok");
    row("invalid, GUI: Cancel", asIs, false, "Cancel", false, question, "Cancel");
    row("unknown role, GUI: silent", "PGUSER=tst_no_such_role", false, "", false, QString(), "");
    row("no server, GUI: ERROR box", "PGPORT=1", false, "Ok", false, "ERROR|", "Ok");
    row("no server, console: no box", "PGPORT=1", true, "", false, QString(), "");
}

// On an empty database the connection offers to create it (console: y/n from
// standard input, read no further than the answer; GUI: a question box); a
// refused login is silent; an unreachable server is said in a box in the GUI.
void TestConnection::connect_answersEachStatus()
{
    QFETCH(QByteArray, setting);
    QFETCH(bool, console);
    QFETCH(QByteArray, input);
    QFETCH(bool, connected);
    QFETCH(QString, message);
    QFETCH(QByteArray, rest);

    PgTestDb db(QStringLiteral("tst_conn_empty"), PgTestDb::Empty);
    QVERIFY2(db.isValid(), qPrintable(db.error()));
    db.makeDefault();
    QTemporaryFile stdinFile;
    QVERIFY(stdinFile.open() && stdinFile.write(input) >= 0 && stdinFile.flush());
    QVERIFY(std::freopen(QFile::encodeName(stdinFile.fileName()).constData(), "r", stdin));
    QLibrary driver(PgTestDb::driverPath());
    {
        QSqlConnection connection(&driver);
        ModalResponder modal;
        if (!console && !input.isEmpty())
            modal.expect(
                ModalResponder::pressButton(input == "Ok" ? QMessageBox::Ok : QMessageBox::Cancel));
        const QByteArray variable = setting.left(setting.indexOf('='));
        const QByteArray saved = qgetenv(variable.constData());
        qputenv(variable.constData(), setting.mid(variable.size() + 1));
        const bool ok = connection.Connect(QStringLiteral("tst_connect"), console);
        qputenv(variable.constData(), saved);

        QCOMPARE(ok, connected);
        QCOMPARE(connection.isConnected(), connected);
        // A role the server does not know is a login error.
        QCOMPARE(connection.isLoginError(), setting.startsWith("PGUSER"));
        QByteArray left;
        for (int c = std::fgetc(stdin); c != EOF; c = std::fgetc(stdin))
            left += char(c);
        QCOMPARE(left, rest);
        QCOMPARE(modal.messages().size(), message.isEmpty() ? 0 : 1);
        QVERIFY(modal.messages().join(QString()).startsWith(message));
        QCOMPARE(db.exec(QStringLiteral("select from sys.t_user")), connected);
        // A created database is ready for its administrator.
        QCOMPARE(connection.login(QString(), QStringLiteral("admin")), connected);
        connection.clear();
        QVERIFY(!connection.isLoginError() && !connection.isConnected());
    }
    QSqlDatabase::removeDatabase(QStringLiteral("tst_connect"));
}

// The driver's answers pass through (values converted for columns); after a remake on another
// handle of the library the connection is connected again, without a box.
void TestConnection::driverForwardsAndRemakeConnectsAgain()
{
    LOGGED_IN(conn);
    QCOMPARE(
        conn->getSystemAttr(QStringLiteral("superAdminId")).toString(),
        m_fx->value(QStringLiteral("select id from sys.t_user where c_login = ''")).toString());
    QPanelList panels;
    QVERIFY(conn->GetList(panels) && !panels.isEmpty());
    QVERIFY(conn->batchExec(QStringLiteral("create temp table tst_b(x int); select 1;"), nullptr,
                            nullptr));

    // A value-returning script gives the first column of its first row; a
    // trace file that cannot be written does not stop it.
    QTemporaryDir dir;
    qApp->setProperty("SQLTraceFile", dir.path());
    const QString stages = conn->getScript(QStringLiteral("PROC_EXAM_STAGE_SELECT"));
    QSqlQuery first = conn->execScript(stages, QVariantList());
    QVERIFY2(first.isValid(), qPrintable(first.lastError().text()));
    QCOMPARE(conn->execScript(QStringLiteral("PROC_EXAM_STAGE_SELECT")), first.value(0));

    // Fields follow the columns, converted to their types; a column the row
    // lacks is NULL, a field no column names is dropped.
    infoList columns;
    const QList<QPair<QString, int>> types{
        {"c_name", QVariant::String}, {"id", QVariant::LongLong}, {"n_count", QVariant::Int}};
    for (const auto &type : types) {
        colInfo column;
        column.name = type.first;
        column.type = type.second;
        columns.append(column);
    }
    const QSqlRecord converted = conn->convert(
        recordOf({{"id", "9000000000"}, {"c_name", "Брак"}, {"c_extra", 1}}), columns);
    QStringList fields;
    for (int i = 0; i < converted.count(); ++i)
        fields << converted.fieldName(i) + QLatin1Char('=') +
                      (converted.isNull(i) ? QStringLiteral("NULL")
                                           : converted.value(i).toString()) +
                      QLatin1Char(':') +
                      QLatin1String(QVariant::typeToName(converted.field(i).type()));
    QCOMPARE(fields.join(QLatin1Char(' ')),
             QStringLiteral("c_name=Брак:QString id=9000000000:qlonglong n_count=NULL:int"));

    QLibrary other(PgTestDb::driverPath());
    ModalResponder modal; // no box comes
    QVERIFY(conn->remakeConnection(&other, LoggedInConnection::connectionName()));
    QSqlQuery query = conn->execScript(QStringLiteral("select current_database()"), QVariantList());
    QCOMPARE(query.value(0).toString(), m_fx->db().name());
}

// A stalled server fails the call after the statement timeout (configured
// here to one second) instead of freezing the window; the connection stays.
// After a server restart the first call fails with a clear error, the loss
// is said once, and the connection comes back by itself with the same user
// logged in (rights and :UserID), without the host doing anything.
void TestConnection::stalledOrRestartedServer_failsCleanlyAndReconnectsSameUser()
{
    qputenv("REJECTS_STATEMENT_TIMEOUT", "1");
    LoggedInConnection conn(m_fx->db(), QStringLiteral("ivanova"), QStringLiteral("ivanova"));
    qunsetenv("REJECTS_STATEMENT_TIMEOUT");
    QVERIFY2(conn.isValid(), qPrintable(conn.error()));
    QVERIFY(!conn->execScript(QStringLiteral("SELECT pg_sleep(5)"), QVariantList()).isActive());
    QCOMPARE(conn->lastError().nativeErrorCode(), QStringLiteral("57014"));
    QVERIFY(!conn->isLost());

    const QString restart = qEnvironmentVariable("REJECTS_PG_RESTART");
    if (restart.isEmpty())
        QSKIP("scripts/test gives the command that restarts the test cluster");
    const QString whoAmI = QStringLiteral("SELECT CAST(:UserID AS bigint)");
    const QVariant user = conn->execScript(whoAmI, QVariantList()).value(0);
    QVERIFY(user.toLongLong() > 0);
    QVERIFY(conn->canDo(QStringLiteral("FAIL_CODE_CREATE")));
    QSignalSpy lost(conn.connection(), &QSqlConnection::connectionLost);
    QSignalSpy restored(conn.connection(), &QSqlConnection::connectionRestored);

    QCOMPARE(QProcess::execute(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), restart}), 0);
    QVERIFY(!conn->execScript(QStringLiteral("SELECT 1"), QVariantList()).isActive());
    QVERIFY(!conn->lastErrorText().isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(restored.count(), 1, 20000);

    QSqlQuery again = conn->execScript(whoAmI, QVariantList());
    QVERIFY2(again.isActive(), qPrintable(conn->lastErrorText()));
    QCOMPARE(again.value(0), user);
    QVERIFY(conn->canDo(QStringLiteral("FAIL_CODE_CREATE")));
    QCOMPARE(qApp->property("LogedUser").toString(), QStringLiteral("ivanova"));
    QCOMPARE(lost.count(), 1);
}

REJECTS_TEST_MAIN(TestConnection)

#include "tst_connection.moc"
