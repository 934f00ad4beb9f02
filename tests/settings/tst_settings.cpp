#include "qdatatable.h"
#include "qdbsettings.h"
#include "qsqlconnection.h"
#include "testfixture.h"
#include "testmain.h"

#include <QHeaderView>
#include <QLibrary>
#include <QSqlError>
#include <QSqlQuery>
#include <QTableView>
#include <memory>

namespace {

// A table of four columns read by a literal select, shown in its own view.
struct ShownTable
{
    explicit ShownTable(QSqlConnection *connection,
                        const QStringList &names = {"id", "c_name", "n_count", "d_create"})
        : table(QStringLiteral("t_layout"), connection)
    {
        QStringList fields;
        for (const QString &name : names) {
            if (name == QLatin1String("id"))
                fields << QStringLiteral("CAST(1 AS bigint) AS id");
            else if (name.startsWith(QLatin1String("n_")))
                fields << QStringLiteral("7 AS ") + name;
            else if (name.startsWith(QLatin1String("d_")))
                fields << QStringLiteral("now() AS ") + name;
            else
                fields << QStringLiteral("'шов' AS ") + name;
            table.addColumn(name,
                            name.startsWith(QLatin1String("n_")) ? QVariant::Int : QVariant::String,
                            true, name, 0, 100);
        }
        table.setScripts(QStringLiteral("SELECT ") + fields.join(QStringLiteral(", ")), QString(),
                         QString(), QString(), true);
        table.setView(&view);
        table.open(false, false);
        view.resize(800, 300);
        view.show();
    }

    QHeaderView *header() const { return view.horizontalHeader(); }
    int column(const QString &name) const { return table.getColumns().indexOf(name); }
    int width(const QString &name) const { return view.columnWidth(column(name)); }
    bool hidden(const QString &name) const { return view.isColumnHidden(column(name)); }
    int position(const QString &name) const { return header()->visualIndex(column(name)); }

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

    void splitPath_data();
    void splitPath();
    void value_withoutGroup_readsGlobal();
    void setValue_storesTextAndType_data();
    void setValue_storesTextAndType();
    void setValue_replacesEarlierValue();
    void value_missing_givesDefault();
    void noConnection_storesNothing();
    void settings_belongToTheLoggedInUser();

    void tableLayout_comesBackInAFreshView();
    void tableLayout_doesNotLeakToAnotherUser();
    void tableLayout_columnsChangedSinceSaving();
    void tableLayout_needsConnectionTableAndView();

private:
    void login(const QString &user);
    qlonglong userId(const QString &login);
    // c_value and n_type stored for the user, group and key; empty when none.
    QVariantList stored(const QString &login, const QString &group, const QString &key);

    std::unique_ptr<TestFixture> fx;
};

void tst_Settings::initTestCase()
{
    START_FIXTURE(fx, QStringLiteral("settings"), TestFixture::DatabaseOnly);
}

void tst_Settings::init()
{
    QVERIFY(fx->db().exec(QStringLiteral("DELETE FROM sys.t_user_attr")));
    login(QStringLiteral("kuznetsova"));
}

void tst_Settings::login(const QString &user)
{
    QVERIFY2(fx->login(user), qPrintable(fx->error()));
}

qlonglong tst_Settings::userId(const QString &login)
{
    QSqlQuery query(fx->db().directConnection());
    query.prepare(QStringLiteral("SELECT id FROM sys.t_user WHERE c_login = ?"));
    query.addBindValue(login);
    if (!query.exec() || !query.next())
        return -1;
    return query.value(0).toLongLong();
}

QVariantList tst_Settings::stored(const QString &login, const QString &group, const QString &key)
{
    QSqlQuery query(fx->db().directConnection());
    query.prepare(QStringLiteral("SELECT a.c_value, a.n_type FROM sys.t_user_attr a JOIN "
                                 "sys.t_user u ON u.id = a.id_user WHERE u.c_login = ? AND "
                                 "a.c_group = ? AND a.c_key = ?"));
    query.addBindValue(login);
    query.addBindValue(group);
    query.addBindValue(key);
    if (!query.exec() || !query.next())
        return {};
    return {query.value(0), query.value(1)};
}

void tst_Settings::splitPath_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("bare key") << QString() << "width" << QStringList{"GLOBAL", "width"};
    QTest::newRow("group and key")
        << QString() << "RejectsView/width" << QStringList{"RejectsView", "width"};
    QTest::newRow("deeper path") << QString() << "Rejects/View/width"
                                 << QStringList{"Rejects/View", "width"};
    QTest::newRow("empty parts dropped")
        << QString() << "/RejectsView//width/" << QStringList{"RejectsView", "width"};
    QTest::newRow("bare key in a group") << "RejectsEditor"
                                         << "splitter" << QStringList{"RejectsEditor", "splitter"};
    QTest::newRow("path in a group") << "RejectsEditor"
                                     << "RejectsView/width" << QStringList{"RejectsView", "width"};
}

void tst_Settings::splitPath()
{
    QFETCH(QString, group);
    QFETCH(QString, path);
    QFETCH(QStringList, expected);
    QDbSettings settings;
    QCOMPARE(settings.group(), QStringLiteral("GLOBAL"));
    if (!group.isEmpty())
        settings.beginGroup(group);
    QCOMPARE(settings.splitPath(path), expected);
    settings.endGroup();
    QCOMPARE(settings.group(), QStringLiteral("GLOBAL"));
}

void tst_Settings::value_withoutGroup_readsGlobal()
{
    const qlonglong id = userId(QStringLiteral("kuznetsova"));
    QVERIFY(id > 0);
    QVERIFY(
        fx->db().exec(QStringLiteral("INSERT INTO sys.t_user_attr (id_user, c_group, c_key, "
                                     "c_value, n_type) VALUES (%1, 'GLOBAL', 'width', '240', 2), "
                                     "(%1, 'RejectsView', 'width', '120', 2)")
                          .arg(id)));
    QDbSettings settings;
    QCOMPARE(settings.value(QStringLiteral("width")), QVariant(240));
    QCOMPARE(settings.value(QStringLiteral("RejectsView/width")), QVariant(120));
    settings.beginGroup(QStringLiteral("RejectsView"));
    QCOMPARE(settings.value(QStringLiteral("width")), QVariant(120));
    settings.endGroup();
    QCOMPARE(settings.value(QStringLiteral("width")), QVariant(240));

    // Writing a bare key lands in GLOBAL too.
    QVERIFY(settings.setValue(QStringLiteral("height"), 80));
    QCOMPARE(
        stored(QStringLiteral("kuznetsova"), QStringLiteral("GLOBAL"), QStringLiteral("height")),
        (QVariantList{QStringLiteral("80"), 2}));
}

void tst_Settings::setValue_storesTextAndType_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("type");
    QTest::newRow("true") << QVariant(true) << "1" << 1;
    QTest::newRow("bytes") << QVariant(QByteArray("\x00\x01\xff"
                                                  "AB",
                                                  5))
                           << "0001ff4142" << 12;
    QTest::newRow("empty bytes") << QVariant(QByteArray("")) << "" << 12;
    QTest::newRow("int") << QVariant(-42) << "-42" << 2;
    QTest::newRow("long") << QVariant(qlonglong(9007199254740993)) << "9007199254740993" << 4;
    QTest::newRow("double") << QVariant(2.5) << "2.5" << 6;
    QTest::newRow("text") << QVariant(QStringLiteral("Трещина 'сварного' шва; \\n"))
                          << "Трещина 'сварного' шва; \\n"
                          << 10;
    QTest::newRow("date") << QVariant(QDate(2026, 11, 21)) << "2026-11-21" << 14;
}

void tst_Settings::setValue_storesTextAndType()
{
    QFETCH(QVariant, value);
    QFETCH(QString, text);
    QFETCH(int, type);
    QDbSettings settings;
    QVERIFY(settings.setValue(QStringLiteral("RejectsView/value"), value));
    const QVariantList row = stored(QStringLiteral("kuznetsova"), QStringLiteral("RejectsView"),
                                    QStringLiteral("value"));
    QCOMPARE(row.count(), 2);
    QCOMPARE(row.at(0).toString(), text);
    QCOMPARE(row.at(1).toInt(), type);

    const QVariant back = settings.value(QStringLiteral("RejectsView/value"));
    QCOMPARE(int(back.type()), type);
    QCOMPARE(back, value);
}

void tst_Settings::setValue_replacesEarlierValue()
{
    QDbSettings settings;
    QVERIFY(settings.setValue(QStringLiteral("Filters/status"), QStringLiteral("Открыт")));
    QVERIFY(settings.setValue(QStringLiteral("Filters/status"), 3));
    QCOMPARE(settings.value(QStringLiteral("Filters/status")), QVariant(3));
    QSqlQuery count(fx->db().directConnection());
    QVERIFY(
        count.exec(QStringLiteral("SELECT count(*) FROM sys.t_user_attr WHERE c_key = 'status'")));
    QVERIFY(count.next());
    QCOMPARE(count.value(0).toInt(), 1);
}

void tst_Settings::value_missing_givesDefault()
{
    QDbSettings settings;
    QCOMPARE(settings.value(QStringLiteral("nothing/here"), 17), QVariant(17));
    QVERIFY(!settings.value(QStringLiteral("nothing")).isValid());
    // Another group with the same key is not the value asked for.
    QVERIFY(settings.setValue(QStringLiteral("A/key"), 1));
    QCOMPARE(settings.value(QStringLiteral("B/key"), 2), QVariant(2));
    QCOMPARE(settings.value(QStringLiteral("key"), 3), QVariant(3));
}

void tst_Settings::noConnection_storesNothing()
{
    const QVariant published = qApp->property("Connection");
    qApp->setProperty("Connection", QVariant());
    QDbSettings settings;
    const bool written = settings.setValue(QStringLiteral("width"), 10);
    const QVariant read = settings.value(QStringLiteral("width"), 5);
    qApp->setProperty("Connection", published);
    QVERIFY(!written);
    QCOMPARE(read, QVariant(5));
    QVERIFY(stored(QStringLiteral("kuznetsova"), QStringLiteral("GLOBAL"), QStringLiteral("width"))
                .isEmpty());
}

void tst_Settings::settings_belongToTheLoggedInUser()
{
    QDbSettings settings;
    QVERIFY(settings.setValue(QStringLiteral("width"), 300));
    login(QStringLiteral("petrov"));
    QCOMPARE(settings.value(QStringLiteral("width"), 100), QVariant(100));
    QVERIFY(settings.setValue(QStringLiteral("width"), 150));
    login(QStringLiteral("kuznetsova"));
    QCOMPARE(settings.value(QStringLiteral("width"), 100), QVariant(300));
    QCOMPARE(stored(QStringLiteral("petrov"), QStringLiteral("GLOBAL"), QStringLiteral("width")),
             (QVariantList{QStringLiteral("150"), 2}));
}

void tst_Settings::tableLayout_comesBackInAFreshView()
{
    QDbSettings settings;
    {
        ShownTable shown(fx->connection());
        QCOMPARE(shown.table.rowCount(), 1);
        shown.view.setColumnWidth(shown.column(QStringLiteral("c_name")), 230);
        shown.view.setColumnWidth(shown.column(QStringLiteral("n_count")), 45);
        shown.view.setColumnHidden(shown.column(QStringLiteral("id")), true);
        // Drag d_create to the front: d_create, id, c_name, n_count.
        shown.header()->moveSection(shown.position(QStringLiteral("d_create")), 0);
        QVERIFY(settings.saveTableHeader(QStringLiteral("RejectsView/header"), &shown.table));
    }
    const QVariantList row = stored(QStringLiteral("kuznetsova"), QStringLiteral("RejectsView"),
                                    QStringLiteral("header"));
    QCOMPARE(row.value(1).toInt(), int(QVariant::ByteArray));

    ShownTable fresh(fx->connection());
    QCOMPARE(fresh.width(QStringLiteral("c_name")), 100);
    QVERIFY(settings.restoreTableHeader(QStringLiteral("RejectsView/header"), &fresh.table));
    QCOMPARE(fresh.width(QStringLiteral("c_name")), 230);
    QCOMPARE(fresh.width(QStringLiteral("n_count")), 45);
    QCOMPARE(fresh.width(QStringLiteral("d_create")), 100);
    QVERIFY(fresh.hidden(QStringLiteral("id")));
    QVERIFY(!fresh.hidden(QStringLiteral("c_name")));
    QCOMPARE(fresh.position(QStringLiteral("d_create")), 0);
    QCOMPARE(fresh.position(QStringLiteral("id")), 1);
    QCOMPARE(fresh.position(QStringLiteral("c_name")), 2);
    QCOMPARE(fresh.position(QStringLiteral("n_count")), 3);

    // Restoring twice leaves the same layout.
    QVERIFY(settings.restoreTableHeader(QStringLiteral("RejectsView/header"), &fresh.table));
    QCOMPARE(fresh.position(QStringLiteral("d_create")), 0);
    QCOMPARE(fresh.position(QStringLiteral("n_count")), 3);
}

void tst_Settings::tableLayout_doesNotLeakToAnotherUser()
{
    QDbSettings settings;
    {
        ShownTable shown(fx->connection());
        shown.view.setColumnWidth(shown.column(QStringLiteral("c_name")), 260);
        shown.view.setColumnHidden(shown.column(QStringLiteral("n_count")), true);
        shown.header()->moveSection(shown.position(QStringLiteral("c_name")), 3);
        QVERIFY(settings.saveTableHeader(QStringLiteral("RejectsView/header"), &shown.table));
    }

    login(QStringLiteral("petrov"));
    {
        ShownTable other(fx->connection());
        QVERIFY(!settings.restoreTableHeader(QStringLiteral("RejectsView/header"), &other.table));
        QCOMPARE(other.width(QStringLiteral("c_name")), 100);
        QVERIFY(!other.hidden(QStringLiteral("n_count")));
        QCOMPARE(other.position(QStringLiteral("c_name")), 1);
    }

    login(QStringLiteral("kuznetsova"));
    ShownTable own(fx->connection());
    QVERIFY(settings.restoreTableHeader(QStringLiteral("RejectsView/header"), &own.table));
    QCOMPARE(own.width(QStringLiteral("c_name")), 260);
    QVERIFY(own.hidden(QStringLiteral("n_count")));
    QCOMPARE(own.position(QStringLiteral("c_name")), 3);
}

void tst_Settings::tableLayout_columnsChangedSinceSaving()
{
    QDbSettings settings;
    {
        ShownTable shown(fx->connection());
        shown.view.setColumnWidth(shown.column(QStringLiteral("n_count")), 55);
        // n_count, d_create, id, c_name
        shown.header()->moveSection(shown.position(QStringLiteral("n_count")), 0);
        shown.header()->moveSection(shown.position(QStringLiteral("d_create")), 1);
        QVERIFY(settings.saveTableHeader(QStringLiteral("layout"), &shown.table));
    }
    // A later version of the view: c_name is gone, c_status is new.
    ShownTable changed(fx->connection(), {"id", "c_status", "n_count", "d_create"});
    QVERIFY(settings.restoreTableHeader(QStringLiteral("layout"), &changed.table));
    QCOMPARE(changed.width(QStringLiteral("n_count")), 55);
    QCOMPARE(changed.position(QStringLiteral("n_count")), 0);
    QCOMPARE(changed.position(QStringLiteral("d_create")), 1);
    QCOMPARE(changed.position(QStringLiteral("id")), 2);
    QCOMPARE(changed.position(QStringLiteral("c_status")), 3);
    QCOMPARE(changed.width(QStringLiteral("c_status")), 100);
}

void tst_Settings::tableLayout_needsConnectionTableAndView()
{
    QDbSettings settings;
    QVERIFY(!settings.saveTableHeader(QStringLiteral("layout"), nullptr));
    QVERIFY(!settings.restoreTableHeader(QStringLiteral("layout"), nullptr));

    QDataTable unseen(QStringLiteral("t_unseen"), fx->connection());
    unseen.addColumn(QStringLiteral("id"), QVariant::LongLong);
    QVERIFY(!settings.saveTableHeader(QStringLiteral("layout"), &unseen));
    QVERIFY(stored(QStringLiteral("kuznetsova"), QStringLiteral("GLOBAL"), QStringLiteral("layout"))
                .isEmpty());

    // Garbage under the key is not a layout: nothing is applied.
    QVERIFY(settings.setValue(QStringLiteral("layout"), QByteArray("not a layout")));
    ShownTable shown(fx->connection());
    QVERIFY(!settings.restoreTableHeader(QStringLiteral("layout"), &shown.table));
    QCOMPARE(shown.width(QStringLiteral("c_name")), 100);

    const QVariant published = qApp->property("Connection");
    qApp->setProperty("Connection", QVariant());
    const bool saved = settings.saveTableHeader(QStringLiteral("layout"), &shown.table);
    qApp->setProperty("Connection", published);
    QVERIFY(!saved);
}

REJECTS_TEST_MAIN(tst_Settings)
#include "tst_settings.moc"
