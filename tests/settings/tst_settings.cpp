#include "qdatatable.h"
#include "qdbsettings.h"
#include "testfixture.h"
#include "testmain.h"

#include <QHeaderView>
#include <QTableView>

namespace {

// A table of text columns read by a literal select, shown in its own view,
// every column 100 wide.
struct ShownTable
{
    explicit ShownTable(QSqlConnection *connection,
                        const QStringList &names = {"id", "c_name", "n_count", "d_create"})
        : table(QStringLiteral("t_layout"), connection)
    {
        for (const QString &name : names)
            table.addColumn(name, QVariant::String, true, name, 0, 100);
        table.setScripts(QStringLiteral("SELECT 'шов' AS ") + names.join(", 'шов' AS "), QString(),
                         QString(), QString(), true);
        table.setView(&view);
        table.open(false, false);
        view.show();
    }

    int column(const QString &name) const { return table.getColumns().indexOf(name); }
    void move(const QString &name, int to)
    {
        view.horizontalHeader()->moveSection(view.horizontalHeader()->visualIndex(column(name)),
                                             to);
    }
    // The columns in the order shown with their widths (a hidden one: -1).
    QString layout() const
    {
        QStringList shown;
        for (int visual = 0; visual < view.horizontalHeader()->count(); ++visual) {
            const int logical = view.horizontalHeader()->logicalIndex(visual);
            const int width = view.isColumnHidden(logical) ? -1 : view.columnWidth(logical);
            shown << table.getColumns().at(logical).name + ' ' + QString::number(width);
        }
        return shown.join(QStringLiteral(", "));
    }

    QTableView view;
    QDataTable table;
};

} // namespace

class tst_Settings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void path_namesGroupAndKey_data();
    void path_namesGroupAndKey();
    void setValue_storesTextAndTypeOnce_data();
    void setValue_storesTextAndTypeOnce();
    void settings_belongToTheLoggedInUser();
    void tableLayout_needsConnectionTableAndView();

private:
    // "value/type" of every row stored for the user, group and key.
    QString stored(const QString &login, const QString &group, const QString &key) const;

    std::unique_ptr<TestFixture> fx;
};

void tst_Settings::initTestCase()
{
    START_FIXTURE(fx, QStringLiteral("settings"), TestFixture::DatabaseOnly);
}

void tst_Settings::init()
{
    QVERIFY(fx->db().exec(QStringLiteral("DELETE FROM sys.t_user_attr")));
    QVERIFY2(fx->login(QStringLiteral("kuznetsova")), qPrintable(fx->error()));
}

QString tst_Settings::stored(const QString &login, const QString &group, const QString &key) const
{
    return fx
        ->value(QStringLiteral("SELECT string_agg(a.c_value || '/' || a.n_type, ',') FROM "
                               "sys.t_user_attr a JOIN sys.t_user u ON u.id = a.id_user WHERE "
                               "u.c_login = '%1' AND a.c_group = '%2' AND a.c_key = '%3'")
                    .arg(login, group, key))
        .toString();
}

// The parts of a path before the last "/" are the group, a bare key lies in
// the current group (GLOBAL by default); the value is stored there and read
// from there only.
void tst_Settings::path_namesGroupAndKey_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("stored"); // group|key
    QTest::newRow("bare key") << QString() << QStringLiteral("width") << "GLOBAL|width";
    QTest::newRow("group and key") << QString() << QStringLiteral("View/width") << "View|width";
    QTest::newRow("deeper path") << QString() << QStringLiteral("A/View/width") << "A/View|width";
    QTest::newRow("empty parts dropped")
        << QString() << QStringLiteral("/View//width/") << "View|width";
    QTest::newRow("bare key in a group")
        << QStringLiteral("Editor") << QStringLiteral("split") << "Editor|split";
    QTest::newRow("path in a group")
        << QStringLiteral("Editor") << QStringLiteral("View/width") << "View|width";
}

void tst_Settings::path_namesGroupAndKey()
{
    QFETCH(QString, group);
    QFETCH(QString, path);
    QFETCH(QString, stored);
    const QStringList at = stored.split('|');
    QDbSettings settings;
    if (!group.isEmpty())
        settings.beginGroup(group);
    QCOMPARE(settings.splitPath(path), at);
    QVERIFY(settings.setValue(path, 7));
    QCOMPARE(this->stored("kuznetsova", at.first(), at.last()), QStringLiteral("7/2"));
    QCOMPARE(settings.value(path), QVariant(7));
    settings.endGroup();
    QCOMPARE(settings.group(), QStringLiteral("GLOBAL"));
    QCOMPARE(settings.value(QStringLiteral("Other/") + at.last(), 17), QVariant(17));
}

void tst_Settings::setValue_storesTextAndTypeOnce_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("stored"); // text/type
    QTest::newRow("true") << QVariant(true) << "1/1";
    QTest::newRow("bytes") << QVariant(QByteArray::fromHex("0001ff4142")) << "0001ff4142/12";
    QTest::newRow("empty bytes") << QVariant(QByteArray("")) << "/12";
    QTest::newRow("int") << QVariant(-42) << "-42/2";
    QTest::newRow("long") << QVariant(qlonglong(9007199254740993)) << "9007199254740993/4";
    QTest::newRow("double") << QVariant(2.5) << "2.5/6";
    QTest::newRow("text") << QVariant(QStringLiteral("Трещина 'сварного' шва; \\n"))
                          << "Трещина 'сварного' шва; \\n/10";
    QTest::newRow("date") << QVariant(QDate(2026, 11, 21)) << "2026-11-21/14";
}

// The value replaces an earlier one of another type and comes back as it was.
void tst_Settings::setValue_storesTextAndTypeOnce()
{
    QFETCH(QVariant, value);
    QFETCH(QString, stored);
    QDbSettings settings;
    QVERIFY(settings.setValue(QStringLiteral("View/value"), QStringLiteral("Открыт")));
    QVERIFY(settings.setValue(QStringLiteral("View/value"), value));
    QCOMPARE(this->stored("kuznetsova", "View", "value"), stored);
    const QVariant back = settings.value(QStringLiteral("View/value"));
    QCOMPARE(back.type(), value.type());
    QCOMPARE(back, value);
}

// Each user has settings of their own, table layouts included: widths,
// hidden columns and order come back in a fresh view, twice the same, and in
// a later version of the view (c_name gone, c_status new: after the stored
// columns).
void tst_Settings::settings_belongToTheLoggedInUser()
{
    QDbSettings settings;
    QVERIFY(settings.setValue(QStringLiteral("width"), 300));
    {
        ShownTable shown(fx->connection());
        shown.view.setColumnWidth(shown.column(QStringLiteral("c_name")), 230);
        shown.view.setColumnWidth(shown.column(QStringLiteral("n_count")), 45);
        shown.view.setColumnHidden(shown.column(QStringLiteral("id")), true);
        shown.move(QStringLiteral("d_create"), 0);
        QVERIFY(settings.saveTableHeader(QStringLiteral("RejectsView/header"), &shown.table));
    }

    QVERIFY2(fx->login(QStringLiteral("petrov")), qPrintable(fx->error()));
    QCOMPARE(settings.value(QStringLiteral("width"), 100), QVariant(100));
    QVERIFY(settings.setValue(QStringLiteral("width"), 150));
    QCOMPARE(stored("petrov", "GLOBAL", "width") + ',' + stored("kuznetsova", "GLOBAL", "width"),
             QStringLiteral("150/2,300/2"));
    ShownTable other(fx->connection());
    QVERIFY(!settings.restoreTableHeader(QStringLiteral("RejectsView/header"), &other.table));

    QVERIFY2(fx->login(QStringLiteral("kuznetsova")), qPrintable(fx->error()));
    const QString saved = QStringLiteral("d_create 100, id -1, c_name 230, n_count 45");
    ShownTable own(fx->connection());
    QVERIFY(settings.restoreTableHeader(QStringLiteral("RejectsView/header"), &own.table));
    QCOMPARE(own.layout(), saved);
    QVERIFY(settings.restoreTableHeader(QStringLiteral("RejectsView/header"), &own.table));
    QCOMPARE(own.layout(), saved);
    ShownTable changed(fx->connection(), {"id", "c_status", "n_count", "d_create"});
    QVERIFY(settings.restoreTableHeader(QStringLiteral("RejectsView/header"), &changed.table));
    QCOMPARE(changed.layout(), QStringLiteral("d_create 100, id -1, n_count 45, c_status 100"));
}

// Nothing is stored or applied without a connection, a table with a view, or
// a stored layout; without a connection defaults are read.
void tst_Settings::tableLayout_needsConnectionTableAndView()
{
    QDbSettings settings;
    QVERIFY(!settings.saveTableHeader(QStringLiteral("layout"), nullptr));
    QVERIFY(!settings.restoreTableHeader(QStringLiteral("layout"), nullptr));
    QDataTable unseen(QStringLiteral("t_unseen"), fx->connection());
    unseen.addColumn(QStringLiteral("id"), QVariant::LongLong);
    QVERIFY(!settings.saveTableHeader(QStringLiteral("layout"), &unseen));

    QVERIFY(settings.setValue(QStringLiteral("layout"), QByteArray("not a layout")));
    ShownTable shown(fx->connection());
    shown.view.setColumnWidth(shown.column(QStringLiteral("c_name")), 230);
    QVERIFY(!settings.restoreTableHeader(QStringLiteral("layout"), &shown.table));
    QCOMPARE(shown.layout(), QStringLiteral("id 100, c_name 230, n_count 100, d_create 100"));

    const QVariant published = qApp->property("Connection");
    qApp->setProperty("Connection", QVariant());
    const QString answers =
        QStringLiteral("%1 %2 %3")
            .arg(settings.setValue(QStringLiteral("width"), 10))
            .arg(settings.value(QStringLiteral("width"), 5).toInt())
            .arg(settings.saveTableHeader(QStringLiteral("layout"), &shown.table));
    qApp->setProperty("Connection", published);
    QCOMPARE(answers, QStringLiteral("0 5 0"));
}

REJECTS_TEST_MAIN(tst_Settings)
#include "tst_settings.moc"
