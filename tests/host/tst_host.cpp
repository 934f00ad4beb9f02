#include "testfixture.h"
#include "testmain.h"

#include <QLibrary>
#include <QProcess>
#include <QTemporaryDir>

namespace {

// One run of build/bin/rejects-host on the offscreen platform.
struct HostRun
{
    int exitCode = -1;
    QProcess::ExitStatus exitStatus = QProcess::CrashExit;
    QString out;
    QString err;
};

HostRun runHost(const QString &database, const QStringList &arguments,
                const QByteArray &input = QByteArray())
{
    static QTemporaryDir config; // the host keeps its settings here, not in $HOME
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("PGDATABASE"), database);
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(BIN_DIR "/rejects-host"), arguments);
    HostRun run;
    if (!process.waitForStarted(10000))
        return run;
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        run.err = QStringLiteral("timed out");
        return run;
    }
    run.exitCode = process.exitCode();
    run.exitStatus = process.exitStatus();
    run.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    run.err = QString::fromLocal8Bit(process.readAllStandardError());
    return run;
}

enum ModuleFile { NoFile, OtherLibrary, TextFile };

} // namespace

class TestHost : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void check_windowUpWithModule_data();
    void check_windowUpWithModule();
    void refusedLogin_clearMessageAndCode_data();
    void refusedLogin_clearMessageAndCode();
    void missingDriver_exitsWithMessage();
    void brokenModules_areSkipped_data();
    void brokenModules_areSkipped();
    void emptyDatabase_createdFromConsole();

private:
    // The demo database shared by the cases that only read from it.
    std::unique_ptr<TestFixture> m_fx;
};

void TestHost::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("host"), TestFixture::DatabaseOnly);
}

void TestHost::check_windowUpWithModule_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("user") << QStringList{QStringLiteral("--user"), QStringLiteral("kuznetsova"),
                                         QStringLiteral("--password"),
                                         QStringLiteral("kuznetsova")};
    QTest::newRow("administrator, console")
        << QStringList{QStringLiteral("--no-gui"), QStringLiteral("--user"), QString(),
                       QStringLiteral("--password"), QStringLiteral("admin")};
}

void TestHost::check_windowUpWithModule()
{
    QFETCH(QStringList, arguments);
    const PgTestDb &db = m_fx->db();
    QVERIFY2(db.isValid(), qPrintable(db.error()));

    const HostRun run = runHost(db.name(), arguments + QStringList{QStringLiteral("--check")});
    QCOMPARE(run.exitStatus, QProcess::NormalExit);
    QVERIFY2(run.exitCode == 0, qPrintable(run.out + run.err));
    QVERIFY2(run.out.contains(QStringLiteral("window up, 1 of 1 module(s) loaded")),
             qPrintable(run.out));
}

void TestHost::refusedLogin_clearMessageAndCode_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::newRow("wrong password") << QStringLiteral("kuznetsova") << QStringLiteral("wrong");
    QTest::newRow("unknown user") << QStringLiteral("nobody") << QStringLiteral("nobody");
    QTest::newRow("no password") << QStringLiteral("kuznetsova") << QString();
    QTest::newRow("quote") << QStringLiteral("o'neil") << QStringLiteral("' or ''='");
}

void TestHost::refusedLogin_clearMessageAndCode()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    const PgTestDb &db = m_fx->db();
    QVERIFY2(db.isValid(), qPrintable(db.error()));
    QStringList arguments{QStringLiteral("--check"), QStringLiteral("--user"), user};
    if (!password.isNull())
        arguments << QStringLiteral("--password") << password;
    const HostRun run = runHost(db.name(), arguments);
    QCOMPARE(run.exitStatus, QProcess::NormalExit);
    QCOMPARE(run.exitCode, 3);
    QVERIFY2(run.err.contains(QStringLiteral("Неверное имя пользователя или пароль.")),
             qPrintable(run.err));
    QVERIFY(!run.out.contains(QStringLiteral("window up")));
}

void TestHost::missingDriver_exitsWithMessage()
{
    QTemporaryDir empty;
    const HostRun run = runHost(QStringLiteral("postgres"),
                                {QStringLiteral("--check"), QStringLiteral("--libdir"),
                                 empty.path(), QStringLiteral("--user"), QStringLiteral("x"),
                                 QStringLiteral("--password"), QStringLiteral("x")});
    QCOMPARE(run.exitStatus, QProcess::NormalExit);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.contains(QStringLiteral("Не удалось загрузить драйвер базы данных")),
             qPrintable(run.err));
}

void TestHost::brokenModules_areSkipped_data()
{
    QTest::addColumn<int>("module"); // what librejects.so is
    QTest::addColumn<QString>("message");
    QTest::newRow("library without getContent")
        << int(OtherLibrary) << QStringLiteral("нет точки входа getContent");
    QTest::newRow("library missing") << int(NoFile) << QStringLiteral("пропущен");
    QTest::newRow("not a library") << int(TextFile) << QStringLiteral("пропущен");
}

void TestHost::brokenModules_areSkipped()
{
    QFETCH(int, module);
    QFETCH(QString, message);
    const PgTestDb &db = m_fx->db();
    QVERIFY2(db.isValid(), qPrintable(db.error()));
    QTemporaryDir libDir;
    QVERIFY(QFile::link(PgTestDb::driverPath(), libDir.filePath(QStringLiteral("libpgdriver.so"))));
    const QString moduleFile = libDir.filePath(QStringLiteral("librejects.so"));
    if (module == OtherLibrary) {
        QVERIFY(QFile::link(PgTestDb::driverPath(), moduleFile));
    } else if (module == TextFile) {
        QFile f(moduleFile);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("not a library\n");
    }
    const HostRun run =
        runHost(db.name(), {QStringLiteral("--check"), QStringLiteral("--libdir"), libDir.path(),
                            QStringLiteral("--user"), QStringLiteral("kuznetsova"),
                            QStringLiteral("--password"), QStringLiteral("kuznetsova")});
    QCOMPARE(run.exitStatus, QProcess::NormalExit);
    QCOMPARE(run.exitCode, 4); // the window came up, but without its module
    QVERIFY2(run.out.contains(QStringLiteral("window up, 0 of 1 module(s) loaded")),
             qPrintable(run.out + run.err));
    QVERIFY2(run.err.contains(message), qPrintable(run.err));
}

void TestHost::emptyDatabase_createdFromConsole()
{
    PgTestDb db(QStringLiteral("tst_host_empty"), PgTestDb::Empty);
    QVERIFY2(db.isValid(), qPrintable(db.error()));
    db.makeDefault(); // creating the schema needs the privileged role
    const QStringList arguments{QStringLiteral("--check"),    QStringLiteral("--no-gui"),
                                QStringLiteral("--user"),     QString(),
                                QStringLiteral("--password"), QStringLiteral("admin")};
    HostRun run = runHost(db.name(), arguments, "n\n");
    QCOMPARE(run.exitStatus, QProcess::NormalExit);
    QCOMPARE(run.exitCode, 2);
    QVERIFY2(run.out.contains(QStringLiteral("Want for create? (y/n)")), qPrintable(run.out));

    run = runHost(db.name(), arguments, "y\n");
    QCOMPARE(run.exitStatus, QProcess::NormalExit);
    QVERIFY2(run.exitCode == 0, qPrintable(run.out + run.err));
    QVERIFY(run.out.contains(QStringLiteral("window up, 1 of 1 module(s) loaded")));
    m_fx->db().makeDefault();
}

REJECTS_TEST_MAIN(TestHost)

#include "tst_host.moc"
