#include "callouts.h"
#include "openwithdefaultapp.h"
#include "testfixture.h"
#include "testmain.h"
#include "utils.h"

#include <QAction>
#include <QPointer>
#include <QTemporaryDir>
#include <QUuid>

namespace {

// The calls the stand-in modules received, as "Module:function(arguments)".
QStringList receivedCalls()
{
    return qApp->property("callouts").toStringList();
}

QString address(const void *p)
{
    return QString::number(quintptr(p), 16);
}

} // namespace

class TestUtils : public QObject
{
    Q_OBJECT

private slots:
    void formatPhone_byLength_data();
    void formatPhone_byLength();
    void newUUID_upperCaseWithoutBraces();
    void separator_ownedByParent();

    void callouts_reachTheNamedModuleOrDoNothing_data();
    void callouts_reachTheNamedModuleOrDoNothing();
    void historyByItem_passesItsFamily();
    void openWithDefaultApp_startsDesktopHandlerForFilesOnly();
};

// The numbers a user types, and malformed ones that must come back unharmed.
void TestUtils::formatPhone_byLength_data()
{
    QTest::addColumn<QString>("number");
    QTest::addColumn<QString>("shown");
    const char *const cases[][2] = {
        {"", ""},
        {"1234", "12-34"},
        {"12345", "123-45"},
        {"123456", "123-456"},
        {"1234567", "123-45-67"},
        {"12345678", "12345678"},
        {"89123456789", "8(912)345-67-89"},
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
    QCOMPARE(id, QUuid(id).toString(QUuid::WithoutBraces).toUpper());
    QVERIFY(!QUuid(id).isNull() && newUUID() != id);
}

void TestUtils::separator_ownedByParent()
{
    auto *owner = new QObject;
    QPointer<QAction> action = separator(owner);
    QVERIFY(action && action->isSeparator());
    delete owner;
    QVERIFY(action.isNull());
}

void TestUtils::callouts_reachTheNamedModuleOrDoNothing_data()
{
    QTest::addColumn<QString>("dir");
    QTest::addColumn<QStringList>("calls"); // %1 the parent widget
    const QStringList calls{
        "ItemHistoryReport:getItemHistoryReport(9000000000123,%1)",
        "DesignDocumentation:getDesignDocumentation(%1)",
        "DesignDocumentation:setIDVersionDesignDocumentation(%1,17)",
        "DesignDocumentation:setIDProductDesignDocumentation(%1,-5)",
        "FamilyParameters:getFamilyParameters(%1)",
        "FamilyParameters:setIDFamilyParameters(%1,31)",
        "FamilyParameters:showFamilyDetailDialog(32,0)",
        "ProcessTechnologyEditor:showProcessTechnologyDialog(7,-8000000000,%1)",
    };
    QTest::newRow("modules") << QStringLiteral(CALLOUT_LIB_DIR) << calls;
    QTest::newRow("no module libraries") << QStringLiteral("/nonexistent") << QStringList();
    QTest::newRow("libraries without the functions")
        << QStringLiteral(BARE_LIB_DIR) << QStringList();
}

// Every stand-in module exports every call-out function: the calls say which
// module and function each wrapper reached, with which arguments. Without a
// module or its function, nothing happens and nothing is made.
void TestUtils::callouts_reachTheNamedModuleOrDoNothing()
{
    QFETCH(QString, dir);
    QFETCH(QStringList, calls);
    qApp->setProperty("callouts", QVariant());
    qApp->setProperty("libDir", QVariant()); // a module is then looked up by its name alone
    QCOMPARE(getLibDirFile(QStringLiteral("FamilyParameters")), QStringLiteral("FamilyParameters"));
    qApp->setProperty("libDir", dir);

    QWidget parent;
    showItemHistoryReport(Q_INT64_C(9000000000123), &parent);
    const QWidget *documentation = getDesignDocumentation(&parent);
    setIDVersionDesignDocumentation(&parent, 17);
    setIDProductDesignDocumentation(&parent, -5);
    const QWidget *parameters = getFamilyParameters(&parent);
    setIDFamilyParameters(&parent, 31);
    showFamilyDetailDialog(32, nullptr);
    // The wrapper's name differs from the function it looks up.
    showProcessTechnologyEditor(7, Q_INT64_C(-8000000000), &parent);
    QCOMPARE(receivedCalls().join('\n'), calls.join('\n').arg(address(&parent)));
    QCOMPARE(documentation && parameters, !calls.isEmpty());
    QCOMPARE(parent.children().size(), calls.isEmpty() ? 0 : 2);

    // Only a module with an icon of its own gives one.
    QCOMPARE(getLibIcon(QStringLiteral("FamilyParameters")).isNull(), calls.isEmpty());
    QVERIFY(getLibIcon(QStringLiteral("ItemHistoryReport")).isNull());
}

// The report is asked for the item's family; 0 when the item is unknown or
// there is no connection to ask.
void TestUtils::historyByItem_passesItsFamily()
{
    TestFixture fx(QStringLiteral("utils"));
    QVERIFY2(fx.isValid(), qPrintable(fx.error()));
    const QString sql("SELECT concat_ws(',', id, id_item_family) FROM dirs.t_item WHERE "
                      "id_item_family IS NOT NULL ORDER BY id LIMIT 1");
    const QStringList item = fx.value(sql).toString().split(',');

    qApp->setProperty("libDir", QStringLiteral(CALLOUT_LIB_DIR));
    qApp->setProperty("callouts", QVariant());
    QWidget parent;
    const QString report = "ItemHistoryReport:getItemHistoryReport(%1," + address(&parent) + ")";
    showItemHistoryReportByItem(item.at(0).toLongLong(), &parent);
    showItemHistoryReportByItem(-1, &parent);
    qApp->setProperty("Connection", QVariant());
    showItemHistoryReportByItem(item.at(0).toLongLong(), &parent);
    QCOMPARE(receivedCalls(), (QStringList{report.arg(item.at(1)), report.arg(0), report.arg(0)}));
}

// A missing file starts nothing; an existing one is handed to the desktop's
// handler, here one of our own on the PATH that records what it was given.
void TestUtils::openWithDefaultApp_startsDesktopHandlerForFilesOnly()
{
    QTemporaryDir dir;
    QVERIFY(!openWithDefaultApp(dir.filePath("absent.pdf")) && !openWithDefaultApp(QString()));
    const QString log = dir.filePath(QStringLiteral("opened.txt"));
    QFile handler(dir.filePath(QStringLiteral("xdg-open")));
    QVERIFY(handler.open(QIODevice::WriteOnly));
    handler.write(QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$1\" >> '%1'\n").arg(log).toUtf8());
    handler.close();
    handler.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QString document = dir.filePath(QStringLiteral("отчет с пробелом.xlsx"));
    QVERIFY(handler.copy(document));

    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(dir.path()) + ':' + path);
    const bool started = openWithDefaultApp(document);
    qputenv("PATH", path);
    QVERIFY(started);
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(log).size() > 0, 10000);
    QFile opened(log);
    QVERIFY(opened.open(QIODevice::ReadOnly));
    const QString argument = QString::fromUtf8(opened.readAll()).trimmed();
    // Either the path itself or its file:// URL reaches the handler.
    QVERIFY2(argument == document || QUrl(argument).toLocalFile() == document,
             qPrintable(argument));
}

REJECTS_TEST_MAIN(TestUtils)
#include "tst_utils.moc"
