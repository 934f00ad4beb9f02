#include "callouts.h"
#include "openwithdefaultapp.h"
#include "testfixture.h"
#include "testmain.h"
#include "utils.h"

#include <QAction>
#include <QLibrary>
#include <QPointer>
#include <QRegularExpression>
#include <QTemporaryDir>

class TestUtils : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void formatPhone_byLength_data();
    void formatPhone_byLength();
    void newUUID_upperCaseWithoutBraces();
    void separator_ownedByParent();

    void getLibDirFile_data();
    void getLibDirFile();

    void callouts_reachTheNamedModule();
    void callouts_trailingSlashInLibDir();
    void getLibIcon_fromModule();
    void callouts_missingLibrary_doNothing();
    void callouts_missingFunction_doNothing();
    void historyByItem_passesItsFamily();

    void openWithDefaultApp_startsDesktopHandler();
    void openWithDefaultApp_missingFile();

private:
    // What the stand-in module library last received, as "Module:function(arguments)".
    static QString lastCall(const QString &module);
    static void resetCalls();
    static QString address(const void *p) { return QString::number(quintptr(p), 16); }
};

namespace {
const QStringList modules = {
    QStringLiteral("ItemHistoryReport"), QStringLiteral("DesignDocumentation"),
    QStringLiteral("FamilyParameters"), QStringLiteral("ProcessTechnologyEditor")};
const char *libDir = "libDir";
} // namespace

QString TestUtils::lastCall(const QString &module)
{
    QLibrary library(QStringLiteral(CALLOUT_LIB_DIR "/") + module);
    using Record = const char *(*)();
    auto record = reinterpret_cast<Record>(library.resolve("calloutRecord"));
    if (!record)
        return QStringLiteral("<library not loaded: %1>").arg(library.errorString());
    return QString::fromUtf8(record());
}

void TestUtils::resetCalls()
{
    for (const QString &module : modules) {
        QLibrary library(QStringLiteral(CALLOUT_LIB_DIR "/") + module);
        using Reset = void (*)();
        if (auto reset = reinterpret_cast<Reset>(library.resolve("calloutReset")))
            reset();
    }
}

void TestUtils::cleanup()
{
    qApp->setProperty(libDir, QVariant());
    resetCalls();
}

// The numbers a user types, and malformed ones that must come back unharmed.
void TestUtils::formatPhone_byLength_data()
{
    QTest::addColumn<QString>("number");
    QTest::addColumn<QString>("shown");
    const char *const cases[][2] = {
        {"", ""},
        {"123", "123"},
        {"1234", "12-34"},
        {"12345", "123-45"},
        {"123456", "123-456"},
        {"1234567", "123-45-67"},
        {"12345678", "12345678"},
        {"89123456789", "8(912)345-67-89"},
        {"789123456789", "789123456789"},
        {"8 912-34567", "8( 91)2-3-45-67"},
    };
    for (const auto &c : cases)
        QTest::newRow(*c[0] ? c[0] : "empty") << QString::fromUtf8(c[0]) << QString::fromUtf8(c[1]);
}

void TestUtils::formatPhone_byLength()
{
    QFETCH(QString, number);
    QFETCH(QString, shown);
    QCOMPARE(formatPhone(number), shown);
}

void TestUtils::newUUID_upperCaseWithoutBraces()
{
    const QString id = newUUID();
    QVERIFY2(QRegularExpression(QStringLiteral("^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$"))
                 .match(id)
                 .hasMatch(),
             qPrintable(id));
    QVERIFY(newUUID() != id);
}

void TestUtils::separator_ownedByParent()
{
    auto *owner = new QObject;
    QPointer<QAction> action = separator(owner);
    QVERIFY(action && action->isSeparator());
    delete owner;
    QVERIFY(action.isNull());
}

void TestUtils::getLibDirFile_data()
{
    QTest::addColumn<QVariant>("dir");
    QTest::addColumn<QString>("path");

    QTest::newRow("unset") << QVariant() << "FamilyParameters";
    QTest::newRow("absolute") << QVariant("/opt/host/lib") << "/opt/host/lib/FamilyParameters";
    QTest::newRow("trailing slash")
        << QVariant("/opt/host/lib/") << "/opt/host/lib//FamilyParameters";
}

void TestUtils::getLibDirFile()
{
    QFETCH(QVariant, dir);
    QFETCH(QString, path);
    qApp->setProperty(libDir, dir);
    QCOMPARE(::getLibDirFile(QStringLiteral("FamilyParameters")), path);
}

void TestUtils::callouts_reachTheNamedModule()
{
    qApp->setProperty(libDir, QStringLiteral(CALLOUT_LIB_DIR));
    QWidget parent;
    const QString p = address(&parent);

    showItemHistoryReport(Q_INT64_C(9000000000123), &parent);
    QCOMPARE(lastCall("ItemHistoryReport"),
             "ItemHistoryReport:getItemHistoryReport(9000000000123," + p + ")");

    QWidget *documentation = getDesignDocumentation(&parent);
    QVERIFY(documentation);
    QCOMPARE(documentation->objectName(), QStringLiteral("DesignDocumentation"));
    QCOMPARE(documentation->parentWidget(), &parent);
    QCOMPARE(lastCall("DesignDocumentation"),
             "DesignDocumentation:getDesignDocumentation(" + p + ")");

    const QString d = address(documentation);
    setIDVersionDesignDocumentation(documentation, 17);
    QCOMPARE(lastCall("DesignDocumentation"),
             "DesignDocumentation:setIDVersionDesignDocumentation(" + d + ",17)");
    setIDProductDesignDocumentation(documentation, -5);
    QCOMPARE(lastCall("DesignDocumentation"),
             "DesignDocumentation:setIDProductDesignDocumentation(" + d + ",-5)");

    QWidget *parameters = getFamilyParameters(&parent);
    QVERIFY(parameters);
    QCOMPARE(parameters->objectName(), QStringLiteral("FamilyParameters"));
    QCOMPARE(lastCall("FamilyParameters"), "FamilyParameters:getFamilyParameters(" + p + ")");

    const QString f = address(parameters);
    setIDFamilyParameters(parameters, 31);
    QCOMPARE(lastCall("FamilyParameters"), "FamilyParameters:setIDFamilyParameters(" + f + ",31)");
    showFamilyDetailDialog(32, nullptr);
    QCOMPARE(lastCall("FamilyParameters"), "FamilyParameters:showFamilyDetailDialog(32,0)");

    // The wrapper's name differs from the function it looks up.
    showProcessTechnologyEditor(7, Q_INT64_C(-8000000000), &parent);
    QCOMPARE(lastCall("ProcessTechnologyEditor"),
             "ProcessTechnologyEditor:showProcessTechnologyDialog(7,-8000000000," + p + ")");

    // Each call reached only its own module.
    QCOMPARE(lastCall("ItemHistoryReport"),
             "ItemHistoryReport:getItemHistoryReport(9000000000123," + p + ")");
}

void TestUtils::callouts_trailingSlashInLibDir()
{
    qApp->setProperty(libDir, QStringLiteral(CALLOUT_LIB_DIR "/"));
    showFamilyDetailDialog(44, nullptr);
    QCOMPARE(lastCall("FamilyParameters"), "FamilyParameters:showFamilyDetailDialog(44,0)");
}

void TestUtils::getLibIcon_fromModule()
{
    qApp->setProperty(libDir, QStringLiteral(CALLOUT_LIB_DIR));
    const QIcon icon = getLibIcon(QStringLiteral("FamilyParameters"));
    QVERIFY(!icon.isNull());
    QCOMPARE(icon.pixmap(16, 16).toImage().pixelColor(8, 8), QColor(Qt::red));

    // A module without an icon of its own, and no module at all.
    QVERIFY(getLibIcon(QStringLiteral("ItemHistoryReport")).isNull());
    QVERIFY(getLibIcon(QStringLiteral("NoSuchModule")).isNull());
}

void TestUtils::callouts_missingLibrary_doNothing()
{
    QTemporaryDir empty;
    QVERIFY(empty.isValid());
    // Load the stand-ins first, so that a call-out that ignored "libDir"
    // would find them and show up in their records.
    qApp->setProperty(libDir, QStringLiteral(CALLOUT_LIB_DIR));
    QVERIFY(!getLibIcon(QStringLiteral("FamilyParameters")).isNull());
    resetCalls();

    qApp->setProperty(libDir, empty.path());
    QWidget parent;
    showItemHistoryReport(1, &parent);
    QCOMPARE(getDesignDocumentation(&parent), nullptr);
    setIDVersionDesignDocumentation(&parent, 2);
    setIDProductDesignDocumentation(&parent, 3);
    QCOMPARE(getFamilyParameters(&parent), nullptr);
    setIDFamilyParameters(&parent, 4);
    showFamilyDetailDialog(5, &parent);
    showProcessTechnologyEditor(6, 7, &parent);
    QVERIFY(getLibIcon(QStringLiteral("FamilyParameters")).isNull());

    for (const QString &module : modules)
        QCOMPARE(lastCall(module), QString());
    QVERIFY(parent.children().isEmpty());
}

void TestUtils::callouts_missingFunction_doNothing()
{
    // A DesignDocumentation library that exports none of its functions.
    qApp->setProperty(libDir, QStringLiteral(BARE_LIB_DIR));
    QWidget parent;
    QCOMPARE(getDesignDocumentation(&parent), nullptr);
    setIDVersionDesignDocumentation(&parent, 2);
    setIDProductDesignDocumentation(&parent, 3);
    QVERIFY(getLibIcon(QStringLiteral("DesignDocumentation")).isNull());
    QVERIFY(parent.children().isEmpty());
    QCOMPARE(lastCall("DesignDocumentation"), QString());
}

// The report is asked for the item's family; 0 when the item is unknown or
// there is no connection to ask.
void TestUtils::historyByItem_passesItsFamily()
{
    TestFixture fx(QStringLiteral("utils"));
    QVERIFY2(fx.isValid(), qPrintable(fx.error()));
    const qint64 item = fx.value(QStringLiteral("SELECT min(id) FROM dirs.t_item WHERE "
                                                "id_item_family IS NOT NULL"))
                            .toLongLong();
    const QString family =
        fx.value(QStringLiteral("SELECT id_item_family FROM dirs.t_item WHERE id = %1").arg(item))
            .toString();
    QVERIFY(family.toLongLong() > 0);
    const qint64 unknown =
        fx.value(QStringLiteral("SELECT max(id) + 1000 FROM dirs.t_item")).toLongLong();

    qApp->setProperty(libDir, QStringLiteral(CALLOUT_LIB_DIR));
    QWidget parent;
    const QString to = QLatin1Char(',') + address(&parent) + QLatin1Char(')');
    showItemHistoryReportByItem(item, &parent);
    QCOMPARE(lastCall("ItemHistoryReport"),
             "ItemHistoryReport:getItemHistoryReport(" + family + to);
    showItemHistoryReportByItem(unknown, &parent);
    QCOMPARE(lastCall("ItemHistoryReport"), "ItemHistoryReport:getItemHistoryReport(0" + to);
    qApp->setProperty("Connection", QVariant());
    showItemHistoryReportByItem(item, &parent);
    QCOMPARE(lastCall("ItemHistoryReport"), "ItemHistoryReport:getItemHistoryReport(0" + to);
}

void TestUtils::openWithDefaultApp_startsDesktopHandler()
{
    // A desktop handler of our own on the PATH records what it was asked to open.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString log = dir.filePath(QStringLiteral("opened.txt"));
    const QString handler = dir.filePath(QStringLiteral("xdg-open"));
    {
        QFile script(handler);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(
            QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$1\" >> '%1'\n").arg(log).toUtf8());
    }
    QFile::setPermissions(handler, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QByteArray oldPath = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(dir.path()) + ':' + oldPath);

    const QString document = dir.filePath(QStringLiteral("отчет с пробелом.xlsx"));
    {
        QFile file(document);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("PK");
    }
    const bool started = openWithDefaultApp(document);
    qputenv("PATH", oldPath);
    QVERIFY(started);

    auto opened = [&log] {
        QFile file(log);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed()
                                              : QString();
    };
    QTRY_VERIFY_WITH_TIMEOUT(!opened().isEmpty(), 10000);
    const QString argument = opened();
    // Either the path itself or its file:// URL reaches the handler.
    QVERIFY2(argument == document || QUrl(argument).toLocalFile() == document,
             qPrintable(argument));
}

void TestUtils::openWithDefaultApp_missingFile()
{
    QTemporaryDir dir;
    QVERIFY(!openWithDefaultApp(dir.filePath(QStringLiteral("absent.pdf"))));
    QVERIFY(!openWithDefaultApp(QString()));
}

REJECTS_TEST_MAIN(TestUtils)
#include "tst_utils.moc"
