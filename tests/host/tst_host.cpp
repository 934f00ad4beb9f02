#include "testfixture.h"
#include "testmain.h"

#include <QProcess>
#include <QTemporaryDir>

namespace {

// Runs build/bin/rejects-host on the offscreen platform: its exit code (-1
// when it crashed or hung), and in `output` what it wrote to stdout and stderr.
int runHost(const QString &database, const QStringList &arguments, QString *output,
            const QByteArray &input = QByteArray())
{
    static QTemporaryDir config; // the host keeps its settings here, not in $HOME
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("PGDATABASE"), database);
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
    QProcess process;
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(BIN_DIR "/rejects-host"), arguments);
    process.write(input);
    process.closeWriteChannel();
    const bool finished = process.waitForFinished(60000);
    if (!finished)
        process.kill();
    *output = QString::fromLocal8Bit(process.readAll());
    return finished && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// What the library folder given with --libdir holds besides the driver:
// nothing, the driver again, or a text file where the module should be.
enum LibDir { BuildDir, NoDriver, NoModule, OtherLibrary, TextFile };

} // namespace

class TestHost : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void check_exitCodeAndMessage_data();
    void check_exitCodeAndMessage();
    void emptyDatabase_createdFromConsole();

private:
    // The demo database shared by the cases that only read from it.
    std::unique_ptr<TestFixture> m_fx;
};

void TestHost::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("host"), TestFixture::DatabaseOnly);
}

// Logins, a missing driver and broken modules: a module that cannot be used
// is refused with a message and the window still comes up without it.
void TestHost::check_exitCodeAndMessage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("libDir");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("window");
    QTest::addColumn<QString>("message");

    const QStringList user{"--user", "kuznetsova", "--password", "kuznetsova"};
    const QString up = QStringLiteral("window up, 1 of 1 module(s) loaded");
    const QString without = QStringLiteral("window up, 0 of 1 module(s) loaded");
    const QString refused = QStringLiteral("Неверное имя пользователя или пароль.");
    QTest::newRow("user") << user << int(BuildDir) << 0 << up << QString();
    QTest::newRow("administrator, console")
        << QStringList{"--no-gui", "--user", "", "--password", "admin"} << int(BuildDir) << 0 << up
        << QString();
    QTest::newRow("wrong password") << QStringList{"--user", "kuznetsova", "--password", "wrong"}
                                    << int(BuildDir) << 3 << QString() << refused;
    QTest::newRow("no password") << QStringList{"--user", "kuznetsova"} << int(BuildDir) << 3
                                 << QString() << refused;
    QTest::newRow("unknown user with quotes")
        << QStringList{"--user", "o'neil", "--password", "' or ''='"} << int(BuildDir) << 3
        << QString() << refused;
    QTest::newRow("driver missing")
        << user << int(NoDriver) << 1 << QString() << "Не удалось загрузить драйвер базы данных";
    QTest::newRow("module without getContent")
        << user << int(OtherLibrary) << 4 << without << "нет точки входа getContent";
    QTest::newRow("module missing") << user << int(NoModule) << 4 << without << "пропущен";
    QTest::newRow("module not a library") << user << int(TextFile) << 4 << without << "пропущен";
}

void TestHost::check_exitCodeAndMessage()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, libDir);
    QFETCH(int, exitCode);
    QFETCH(QString, window);
    QFETCH(QString, message);

    QTemporaryDir dir;
    if (libDir != BuildDir)
        arguments << QStringLiteral("--libdir") << dir.path();
    const QString module = dir.filePath(QStringLiteral("librejects.so"));
    QVERIFY(libDir == NoDriver ||
            QFile::link(PgTestDb::driverPath(), dir.filePath(QStringLiteral("libpgdriver.so"))));
    QVERIFY(libDir != OtherLibrary || QFile::link(PgTestDb::driverPath(), module));
    QVERIFY(libDir != TextFile || QFile::copy(QStringLiteral(DB_DIR "/schema.sql"), module));

    QString output;
    const int code = runHost(m_fx->db().name(), arguments << QStringLiteral("--check"), &output);
    QVERIFY2(code == exitCode && output.contains(window) && output.contains(message),
             qPrintable(output));
}

void TestHost::emptyDatabase_createdFromConsole()
{
    PgTestDb db(QStringLiteral("tst_host_empty"), PgTestDb::Empty);
    QVERIFY2(db.isValid(), qPrintable(db.error()));
    db.makeDefault(); // creating the schema needs the privileged role
    const QStringList arguments{"--check", "--no-gui", "--user", "", "--password", "admin"};
    QString output;
    QCOMPARE(runHost(db.name(), arguments, &output, "n\n"), 2);
    QVERIFY2(output.contains(QStringLiteral("Want for create? (y/n)")), qPrintable(output));
    QCOMPARE(runHost(db.name(), arguments, &output, "y\n"), 0);
    QVERIFY2(output.contains(QStringLiteral("window up, 1 of 1 module(s) loaded")),
             qPrintable(output));
    m_fx->db().makeDefault();
}

REJECTS_TEST_MAIN(TestHost)

#include "tst_host.moc"
