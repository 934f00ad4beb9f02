// The table model against a scratch table of a test database: loading, row
// states, commit, rollback, search, filters through the value index, the
// display-information hook and the exports.

#include "qdatatable.h"
#include "qsqlconnection.h"
#include "testfixture.h"
#include "testmain.h"

#include <QHeaderView>
#include <QLibrary>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTableView>
#include <QTemporaryDir>
#include <QTextCodec>
#include <cstdio>
#include <memory>

namespace {

const QString selectSql = QStringLiteral("SELECT * FROM public.t_scratch ORDER BY id");
const QString updateSql = QStringLiteral("UPDATE public.t_scratch SET c_name = :c_name , c_status "
                                         "= :c_status , n_qty = :n_qty WHERE id = :id RETURNING *");
const QString insertSql = QStringLiteral("INSERT INTO public.t_scratch (c_name, c_status, n_qty) "
                                         "VALUES (:c_name, :c_status, :n_qty) RETURNING *");
const QString deleteSql = QStringLiteral("DELETE FROM public.t_scratch WHERE id = :id");

// The scratch rows, ids 1 to 6, as stored() shows them.
const char *const scratchSql =
    "DROP TABLE IF EXISTS public.t_scratch; CREATE TABLE public.t_scratch (id bigserial PRIMARY "
    "KEY, c_name text, c_status text, n_qty integer CHECK (n_qty >= 0), b_flag boolean NOT NULL "
    "DEFAULT false); GRANT ALL ON public.t_scratch, public.t_scratch_id_seq TO PUBLIC; INSERT INTO "
    "public.t_scratch (c_name, c_status, n_qty) VALUES ('a', 'new', 1), ('b', 'done', 2), ('c', "
    "'new', 3), ('d', 'open', 4), ('e', 'done', 5), ('\"я\"', NULL, 6);";
const int scratchCount = 6;
const QString scratchStored = QStringLiteral("a1 b2 c3 d4 e5 \"я\"6");

// A table on the scratch rows: the key hidden, three visible columns (the
// status indexed, the quantity of fixed width), the flag hidden.
QDataTable *scratchTable(QSqlConnection *connection, QObject *owner)
{
    auto *table = new QDataTable(QStringLiteral("t_scratch"), connection, owner);
    table->setScripts(selectSql, updateSql, insertSql, deleteSql, true);
    table->addColumn(QStringLiteral("id"), QVariant::LongLong, false, QString(), -1, 100);
    table->addColumn("c_name", QVariant::String, true, "Имя", 0, 120, "новый");
    table->addColumn("c_status", QVariant::String, true, "Статус", 0, 90, QVariant(), 2);
    table->addColumn("n_qty", QVariant::Int, true, "Кол", 0, 60, 0, 4);
    table->addColumn("b_flag", QVariant::Bool, false, QString(), 0, 40, false);
    table->setKeyField(QStringLiteral("id"));
    return table;
}

// Each row's state letter ("O", "A", "M", "D", as in dumps) and current value
// of one field (a null as "-"), space-separated.
QString rows(const QDataTable *table, const QString &field = QStringLiteral("c_name"))
{
    QStringList values;
    for (int row = 0; row < table->rowCount(); ++row) {
        const QVariant value = table->getField(field, row);
        const int state = table->getModel()->index(row, 0).data(QDataTable::StateRole).toInt();
        values.append(QStringLiteral("OAMD").at(state) +
                      (value.isNull() ? QStringLiteral("-") : value.toString()));
    }
    return values.join(QLatin1Char(' '));
}

// The rows of a view: "x" hidden, "." shown.
QString hiddenRows(const QTableView &view)
{
    QString marks;
    for (int row = 0; row < view.model()->rowCount(); ++row)
        marks += view.isRowHidden(row) ? QLatin1Char('x') : QLatin1Char('.');
    return marks;
}

// A file's text in the given encoding.
QString fileText(const QString &path, QTextCodec *codec)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? codec->toUnicode(file.readAll()) : QString();
}

} // namespace

// A receiver connected by signature text, as the module's views connect.
class DispReceiver : public QObject
{
    Q_OBJECT
public:
    QList<int> columns;
    int lastState = -1;

public slots:
    void onGetDispInfo(int column, QVariant *value, QCellData *cell, QSqlRecord *record, int state)
    {
        columns.append(column);
        lastState = state;
        if (column == 1)
            *value = QStringLiteral("<%1>").arg(value->toString());
        if (record->value(QStringLiteral("c_status")).toString() == QLatin1String("done")) {
            cell->background = QBrush(Qt::gray);
            cell->foreground = QBrush(Qt::white);
            cell->font.setBold(true);
            cell->toolTip = QStringLiteral("решено");
        }
    }
};

class TestTable : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestFixture> m_fx;
    std::unique_ptr<QObject> m_owner;
    std::unique_ptr<QTableView> m_view; // the view of the table made last

    // An open scratch table shown in a view of its own.
    QDataTable *makeTable()
    {
        QDataTable *table = scratchTable(m_fx->connection(), m_owner.get());
        m_view = std::make_unique<QTableView>();
        table->setView(m_view.get());
        table->open();
        return table;
    }

    // The rows as a second connection sees them, in id order.
    QString stored(const char *expression = "concat(c_name, n_qty)") const
    {
        const char *sql = "SELECT string_agg(%1, ' ' ORDER BY id) FROM public.t_scratch";
        return m_fx->value(QString::fromLatin1(sql).arg(QString::fromUtf8(expression))).toString();
    }

private slots:
    void initTestCase() { START_FIXTURE(m_fx, QStringLiteral("table")); }

    void init()
    {
        QVERIFY(m_fx->db().exec(QString::fromUtf8(scratchSql)));
        m_owner.reset(new QObject);
    }

    void cleanup() { m_owner.reset(); }

    void open_readsRowsPreparesViewOnce_andFindsRows()
    {
        QDataTable *table = makeTable();
        QCOMPARE(rows(table, "c_status"), QStringLiteral("Onew Odone Onew Oopen Odone O-"));
        QCOMPARE(table->getRecord(5).value(QStringLiteral("n_qty")).type(), QVariant::Int);
        QVERIFY(table->getRecord(scratchCount).isEmpty());

        // Prepared once: widths, hidden columns and header modes, then the user's.
        QVERIFY(m_view->isColumnHidden(0));
        QCOMPARE(m_view->columnWidth(1), 120);
        QCOMPARE(m_view->horizontalHeader()->sectionResizeMode(3), QHeaderView::Fixed);
        m_view->setColumnWidth(1, 77);
        QVERIFY(table->open());
        QCOMPARE(m_view->columnWidth(1), 77);

        // Search: by one or several fields, a null, the key index; matching
        // rows copied as read; a copy of the whole table with the row states.
        QCOMPARE(table->locate(QStringLiteral("c_status"), "done"), 1);
        QCOMPARE(table->locate(QStringList{"c_status", "n_qty"}, {"new", 3}), 2);
        QCOMPARE(table->locate(QStringLiteral("c_status"), QVariant()), 5);
        QCOMPARE(table->locate(QStringLiteral("c_status"), "missing"), -1);
        QCOMPARE(table->locate(QStringLiteral("no_field"), 1), -1);
        QCOMPARE(table->locate(QStringLiteral("id"), 4LL), 3);
        QVERIFY(QDataTable::match(table->getRecord(2), {"c_name"}, {"c"}));
        QVERIFY(!QDataTable::match(table->getRecord(2), {"c_name"}, {"C"}));

        QDataTable target(QStringLiteral("tmp"), nullptr, nullptr);
        QCOMPARE(table->getRows(&target, QStringLiteral("c_status"), "new"), 2);
        QCOMPARE(table->getRows(&target, QStringLiteral("c_status"), QVariant()), 1);
        QCOMPARE(rows(&target), QStringLiteral("Oa Oc O\"я\""));
        QVERIFY(table->deleteRow(0));
        QDataTable copy(table);
        QCOMPARE(rows(&copy), QStringLiteral("Da Ob Oc Od Oe O\"я\""));

        // A select that gives no result leaves the rows and marks the table.
        table->setNativeScripts("SELECT * FROM public.no_such", QString(), QString(), QString());
        QVERIFY(!table->open());
        QCOMPARE(table->rowCount(), scratchCount);
        QCOMPARE(table->getTableState(), -1);
    }

    void editing_sameValueChangesNothing_otherValueMarksUpdated()
    {
        QDataTable *table = makeTable();
        QSignalSpy changed(table, &QDataTable::dataChanged);
        QStandardItemModel *model = table->getModel();
        QVERIFY(model->setData(model->index(0, 1), "a", Qt::EditRole));
        QVERIFY(!table->isModified());

        // Another value: told and marked; without direct edit the current value stays.
        QVERIFY(model->setData(model->index(0, 1), "a2", Qt::EditRole));
        QCOMPARE(changed.takeFirst(), (QVariantList{"t_scratch", "a", "a2", "c_name"}));
        QCOMPARE(rows(table), QStringLiteral("Ma Ob Oc Od Oe O\"я\""));

        // Direct edit: the edit becomes the current value, the database value stays.
        table->setDirectEdit(true);
        const QModelIndex qty = model->index(1, 3);
        QVERIFY(model->setData(qty, 42, Qt::EditRole));
        QCOMPARE(qty.data(QDataTable::OriginalRole).toInt(), 2);
        QVERIFY(table->commit());
        QCOMPARE(stored(), QStringLiteral("a1 b42 c3 d4 e5 \"я\"6"));

        // setField and setNull act on the cursor row and tell who listens.
        QCOMPARE(table->locate(QStringLiteral("c_name"), "c"), 2);
        QVERIFY(table->setField(QStringLiteral("n_qty"), 7));
        QCOMPARE(changed.count(), 2);
        QVERIFY(table->setNull(QStringLiteral("c_status")));
        QCOMPARE(rows(table, "c_status"), QStringLiteral("Onew Odone M- Oopen Odone O-"));
    }

    // Deleting is refused while the table is busy, beyond the rows and on a
    // locked row. Commit deletes, inserts and updates; the new keys replace
    // the temporary ones and are told to who listens, and a new row deleted
    // again goes without a statement, leaving a stale identity.
    void commit_writesRowsAndReplacesTemporaryKeys()
    {
        QDataTable *table = makeTable();
        table->setTableState(1);
        QVERIFY(!table->deleteRow(0));
        table->setTableState(0);
        QVERIFY(!table->deleteRow(scratchCount));
        table->setLock(5, lsLocked);
        QVERIFY(!table->deleteRow(5));
        QVERIFY(!(table->getModel()->item(5, 1)->flags() & Qt::ItemIsEditable));
        QVERIFY(!table->isModified());

        QVERIFY(table->deleteRow(0));
        QVERIFY(table->getRecord(0, true).isEmpty());
        QCOMPARE(table->getRecord(0).value(QStringLiteral("c_name")).toString(),
                 QStringLiteral("a"));
        QVERIFY(table->deleteRow(table->newRow()));
        const qlonglong dropped = table->insertedRows().first();
        table->setCurrentRow(1);
        QVERIFY(table->setField(QStringLiteral("n_qty"), 20));
        table->append({"c_name", "n_qty"}, {"y", 8});
        table->append({"c_name", "n_qty"}, {"z", 9});
        QCOMPARE(rows(table, "id"), QStringLiteral("D1 M2 O3 O4 O5 O6 D-1 A-2 A-3"));
        const qlonglong identity = table->insertedRows().at(1);
        QSignalSpy keys(table, &QDataTable::dataChanged);

        QVERIFY(table->commit());
        QCOMPARE(stored(), QStringLiteral("b20 c3 d4 e5 \"я\"6 y8 z9"));
        QCOMPARE(rows(table, "id"), QStringLiteral("O2 O3 O4 O5 O6 O7 O8"));
        QCOMPARE(table->getModel()->index(0, 3).data(QDataTable::OriginalRole).toInt(), 20);
        QCOMPARE(keys.count(), 2);
        QCOMPARE(keys.at(1), (QVariantList{"t_scratch", -3LL, 8LL, "id"}));
        QCOMPARE(table->rowOf(dropped), -1);
        QCOMPARE(table->rowOf(identity), 5);
        QCOMPARE(table->locate(QStringLiteral("id"), 8LL), 6);
        QCOMPARE(table->locate(QStringLiteral("id"), -3LL), -1);
        QCOMPARE(table->getField(QStringLiteral("id"), table->newRow()).toLongLong(), -4LL);

        // A refill frees every row: identities taken before it, or made up, find nothing.
        QVERIFY(table->open());
        QCOMPARE(table->rowOf(identity), -1);
        QCOMPARE(table->rowOf(0x7fff0000deadLL), -1);

        // Without an update text changed rows wait while the others are
        // written; the columns an insert does not return keep what was sent
        // as their stored value, so putting the original data back keeps them.
        table->setScripts(selectSql, QString(),
                          "INSERT INTO public.t_scratch (c_name, n_qty) VALUES (:c_name, "
                          ":n_qty) RETURNING id",
                          deleteSql, true);
        QVERIFY(table->setRow(2, table->getRecord(2)));
        QVERIFY(table->deleteRow(4));
        table->append({"c_name", "n_qty"}, {"новая", 9});
        QVERIFY(table->commit());
        QCOMPARE(stored(), QStringLiteral("b20 c3 d4 e5 y8 z9 новая9"));
        table->resetOriginalData(table->lastRow());
        QCOMPARE(rows(table, "n_qty"), QStringLiteral("O20 O3 M4 O5 O8 O9 O9"));
        QCOMPARE(rows(table), QStringLiteral("Ob Oc Md Oe Oy Oz Oновая"));
    }

    // A failing commit writes nothing, since it is one transaction: a row
    // the database refuses, or a statement that touches no row (an insert
    // that returns nothing, an update or delete of a removed record). Every
    // row stays pending as it was, with its key; edits in the view are
    // tracked again, and the corrected retry writes them all.
    void commit_failureWritesNothingAndKeepsAllPending_data()
    {
        QTest::addColumn<QString>("change");
        QTest::newRow("row the database refuses") << "refused";
        QTest::newRow("insert returns nothing") << "insert";
        QTest::newRow("update of a removed row") << "update";
        QTest::newRow("delete of a removed row") << "delete";
    }

    void commit_failureWritesNothingAndKeepsAllPending()
    {
        QFETCH(QString, change);
        QDataTable *table = makeTable();
        for (int row : {1, 2}) {
            QSqlRecord record = table->getRecord(row);
            record.setValue(QStringLiteral("n_qty"), row == 1 && change == "refused" ? -5 : 102);
            QVERIFY(table->setRow(row, record));
        }
        if (change == QLatin1String("insert")) {
            table->setScripts(selectSql, updateSql,
                              "INSERT INTO public.t_scratch (c_name) SELECT :c_name WHERE false "
                              "RETURNING id, c_name",
                              deleteSql, true);
            table->newRow();
        } else if (change != QLatin1String("refused")) {
            QVERIFY(m_fx->db().exec(QStringLiteral("DELETE FROM public.t_scratch WHERE id = 1")));
            QVERIFY(change == "update" ? table->setRow(0, table->getRecord(0))
                                       : table->deleteRow(0));
        }
        const QString storedBefore = stored();
        const QString before = rows(table, "id") + rows(table, "n_qty");
        QVERIFY(!table->commit());
        QVERIFY(!table->lastError().isEmpty());
        QCOMPARE(stored(), storedBefore);
        QCOMPARE(rows(table, "id") + rows(table, "n_qty"), before);

        table->setDirectEdit(true);
        QVERIFY(table->getModel()->setData(table->getModel()->index(1, 3), 55, Qt::EditRole));
        QCOMPARE(rows(table, "n_qty").section(' ', 1, 2), QStringLiteral("M55 M102"));
        if (change == QLatin1String("refused")) {
            QVERIFY(table->commit());
            QCOMPARE(stored(), QStringLiteral("a1 b55 c102 d4 e5 \"я\"6"));
        }
    }

    // A client killed in the middle of a commit leaves all of it or nothing:
    // the commit runs in a child process of this program, killed while it writes.
    void commit_killedMidwayLeavesAllOrNothing()
    {
        const int count = 3000;
        if (qEnvironmentVariableIsSet("REJECTS_COMMIT_CHILD")) {
            qputenv("PGDATABASE", qgetenv("REJECTS_COMMIT_CHILD"));
            QLibrary driver(PgTestDb::driverPath());
            QSqlConnection child(&driver);
            QVERIFY(child.Connect(QStringLiteral("commit_child"), true));
            std::unique_ptr<QDataTable> table(scratchTable(&child, nullptr));
            for (int i = 0; i < count; ++i)
                table->append({"c_name", "n_qty"}, {"k", i});
            std::printf("committing\n");
            std::fflush(stdout);
            table->commit(true);
            return;
        }
        QProcess child;
        qputenv("REJECTS_COMMIT_CHILD", m_fx->db().name().toUtf8());
        child.start(QCoreApplication::applicationFilePath(),
                    {QStringLiteral("commit_killedMidwayLeavesAllOrNothing")});
        qunsetenv("REJECTS_COMMIT_CHILD");
        QByteArray output;
        while (!output.contains("committing") && child.waitForReadyRead(60000))
            output += child.readAllStandardOutput();
        QVERIFY2(output.contains("committing"), output.constData());
        QTest::qWait(100);
        child.kill();
        child.waitForFinished();
        const int written = m_fx->value("SELECT count(*) - 6 FROM public.t_scratch").toInt();
        QVERIFY2(written == 0 || written == count, qPrintable(QString::number(written)));
    }

    // The cursor moves over the shown rows, follows the user in the view,
    // and follows its row when the view sorts and other rows come or go:
    // setField writes into the row the user sees as current. Sorting also
    // carries states, indexes and filters with the rows.
    void cursor_followsItsRowThroughFilterSortInsertAndRemoval()
    {
        QDataTable *table = makeTable();
        table->setFilter(QStringLiteral("c_status"), QStringLiteral("done")); // "b" and "e"
        QVERIFY(table->first());
        QCOMPARE(table->getViewCurrentRecord().value(QStringLiteral("c_name")), QVariant("b"));
        QVERIFY(table->next());
        QCOMPARE(table->getViewCurrentRow(), 4);
        QVERIFY(!table->next());
        QVERIFY(table->prev());
        QCOMPARE(table->currentRow(), 1);
        QVERIFY(table->last());
        QCOMPARE(table->currentRow(), 4);
        table->clearAllFilters();
        m_view->setCurrentIndex(table->getModel()->index(0, 1)); // the user picks "a"
        QCOMPARE(table->currentRow(), 0);

        m_view->sortByColumn(3, Qt::DescendingOrder);
        QCOMPARE(table->currentRow(), m_view->currentIndex().row());
        QCOMPARE(table->currentRow(), scratchCount - 1);
        QVERIFY(table->killRow(0)); // "я" goes without a statement
        QCOMPARE(table->currentRow(), scratchCount - 2);
        QVERIFY(table->setField(QStringLiteral("c_status"), "moved"));
        QCOMPARE(table->getField(QStringLiteral("c_name")).toString(), QStringLiteral("a"));
        QVERIFY(table->deleteRow(table->locate(QStringLiteral("c_name"), "b")));
        QCOMPARE(rows(table, "c_status"), QStringLiteral("Odone Oopen Onew Ddone Mmoved"));
        QCOMPARE(table->locate(QStringLiteral("c_status"), "open"), 1);
        table->setFilter(QStringLiteral("c_status"), QStringLiteral("new"));
        QCOMPARE(hiddenRows(*m_view), QStringLiteral("xx.xx"));
        QVERIFY(table->commit());
        QCOMPARE(stored("c_name || c_status"), QStringLiteral("amoved cnew dopen edone"));
        const int fresh = table->newRow(true);
        QCOMPARE(table->getViewCurrentRow(), fresh);
        QCOMPARE(table->currentRow(), fresh);
    }

    void filters_hideExactlyFailingRows_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("values"); // separated by "|"
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("hidden");
        auto row = [](const char *name, const char *field, const char *values, filterType type,
                      const char *hidden) {
            QTest::newRow(name) << field << values << int(type) << hidden;
        };
        row("indexed equal", "c_status", "new", ftEqual, ".x.xxx");
        row("indexed several", "c_status", "new|open", ftEqual, ".x..xx");
        row("indexed null as empty", "c_status", "", ftEqual, "xxxxx.");
        row("indexed not equal", "c_status", "done", ftNotEqual, ".x..x.");
        row("indexed contains", "c_status", "e", ftContains, ".....x");
        row("plain equal", "c_name", "d", ftEqual, "xxx.xx");
        row("plain begins", "c_name", "\"я", ftBeginsWith, "xxxxx.");
        row("nothing passes", "c_status", "none", ftEqual, "xxxxxx");
    }

    void filters_hideExactlyFailingRows()
    {
        QFETCH(QString, field);
        QFETCH(QString, values);
        QFETCH(int, type);
        QFETCH(QString, hidden);
        QDataTable *table = makeTable();
        table->setFilter(field, values.split(QLatin1Char('|')), filterType(type));
        QCOMPARE(hiddenRows(*m_view), hidden);
        QCOMPARE(table->visibleRowCount(), hidden.count(QLatin1Char('.')));
        table->clearFilter(field);
        QCOMPARE(hiddenRows(*m_view), QStringLiteral("......"));
    }

    void filters_followChangedValuesAndCombine_nullIsNotZero()
    {
        QDataTable *table = makeTable();
        table->setFilter(QStringLiteral("c_status"), QStringLiteral("done"));
        QSqlRecord record = table->getRecord(0); // a changed value moves the row in the index
        record.setValue(QStringLiteral("c_status"), "done");
        table->setRow(0, record);
        table->applyFilters();
        QCOMPARE(hiddenRows(*m_view), QStringLiteral("..xx.x"));

        // A second filter narrows the first; a row hidden by someone else is
        // shown again when it passes.
        table->setFilter(QStringLiteral("c_name"), QStringList{"a", "b"});
        m_view->setRowHidden(1, true);
        table->applyFilters();
        QCOMPARE(hiddenRows(*m_view), QStringLiteral("..xxxx"));

        // Filters survive a reload ("a" is "new" again) and reach a view attached later.
        QVERIFY(table->open());
        QCOMPARE(hiddenRows(*m_view), QStringLiteral("x.xxxx"));
        QTableView other;
        table->setView(&other);
        QCOMPARE(hiddenRows(other), QStringLiteral("x.xxxx"));
        table->clearAllFilters();
        QCOMPARE(table->visibleRowCount(), scratchCount);

        // A null number is not "0": filters, value lists, search and dumps tell them apart.
        QVERIFY(m_fx->db().exec(QStringLiteral("UPDATE public.t_scratch SET n_qty = CASE id WHEN "
                                               "4 THEN 0 WHEN 5 THEN NULL ELSE n_qty END")));
        QVERIFY(table->open());
        table->addSearchIndex(QStringLiteral("n_qty"));
        table->setFilter(QStringLiteral("n_qty"), QString());
        QCOMPARE(hiddenRows(other), QStringLiteral("xxxx.x"));
        table->setView(nullptr); // without a view the rows that pass are counted
        table->setFilter(QStringLiteral("n_qty"), QStringLiteral("0"));
        QCOMPARE(table->visibleRowCount(), 1);
        QVERIFY(table->getValuesList(QStringLiteral("n_qty")).contains(QString()));
        QCOMPARE(table->locate(QStringLiteral("n_qty"), QVariant(QVariant::Int)), 4);
        QCOMPARE(table->locate(QStringLiteral("n_qty"), 0), 3);
        QVERIFY(table->prepareDump().contains(QStringLiteral("\"e\";\"done\";\"\";")));
    }

    void dispInfo_decoratesVisibleCells_editRoleKeepsStoredValue()
    {
        QDataTable *table = makeTable();
        DispReceiver receiver;
        QVERIFY(connect(table, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)),
                        &receiver,
                        SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int))));
        QVERIFY(table->open());
        // Only the visible columns 1..3 are offered, once per row.
        QCOMPARE(receiver.columns.size(), scratchCount * 3);
        QCOMPARE(receiver.columns.mid(0, 4), (QList<int>{1, 2, 3, 1}));

        // The shown text is the receiver's; the edit role and the record keep
        // the stored value, so an editor writing back what it read changes nothing.
        QStandardItemModel *model = table->getModel();
        const QModelIndex name = model->index(0, 1);
        QCOMPARE(name.data(Qt::DisplayRole).toString(), QStringLiteral("<a>"));
        QCOMPARE(name.data(Qt::EditRole).toString(), QStringLiteral("a"));
        model->setData(name, name.data(Qt::EditRole), Qt::EditRole);
        QCOMPARE(rows(table), QStringLiteral("Oa Ob Oc Od Oe O\"я\""));

        // Decorations of the rows the receiver styles, and none elsewhere.
        const QModelIndex done = model->index(1, 2);
        QCOMPARE(done.data(Qt::BackgroundRole).value<QBrush>().color(), QColor(Qt::gray));
        QCOMPARE(done.data(Qt::ForegroundRole).value<QBrush>().color(), QColor(Qt::white));
        QVERIFY(done.data(Qt::FontRole).value<QFont>().bold());
        QCOMPARE(done.data(Qt::ToolTipRole).toString(), QStringLiteral("решено"));
        QVERIFY(!model->index(0, 2).data(Qt::BackgroundRole).isValid());

        // A redrawn row is offered again, with its state; a decoration goes
        // when the row no longer asks for it.
        receiver.columns.clear();
        QVERIFY(table->deleteRow(1));
        QCOMPARE(receiver.columns, (QList<int>{1, 2, 3}));
        QCOMPARE(receiver.lastState, int(rsDeleted));
        QSqlRecord record = table->getRecord(4);
        record.setValue(QStringLiteral("c_status"), "open");
        table->setRow(4, record);
        QVERIFY(!model->index(4, 2).data(Qt::BackgroundRole).isValid());
    }

    void exports_dumpWithStatesReportOfVisibleRows_thenRollback()
    {
        QDataTable *table = makeTable();
        QTemporaryDir dir;
        // The report: visible columns and rows, in Windows-1251.
        table->setFilter(QStringLiteral("n_qty"), QStringList{"2", "6"});
        QVERIFY(table->makeReport(dir.filePath(QStringLiteral("report.txt"))));
        QVERIFY(!table->makeReport(dir.filePath(QStringLiteral("no/such/dir/report.txt"))));
        QCOMPARE(fileText(dir.filePath("report.txt"), QTextCodec::codecForName("cp1251")),
                 QStringLiteral("\"Имя\";\"Статус\";\"Кол\"\n\"b\";\"done\";\"2\"\n"
                                "\"\"\"я\"\"\";\"\";\"6\"\n"));

        // The dump: every row with its state letter, in a directory made for it.
        QVERIFY(table->deleteRow(0));
        table->setCurrentRow(1);
        QVERIFY(table->setField(QStringLiteral("n_qty"), 20));
        table->append(QStringLiteral("c_name"), "x");
        const QString path = table->dumpTable(dir.filePath(QStringLiteral("dumps/sub")), true);
        QVERIFY(QFileInfo(path).fileName().contains(QRegularExpression(
            QStringLiteral("^t_scratch_\\d{4}_\\d{2}_\\d{2} \\d{2}_\\d{2}\\.csv$"))));
        QCOMPARE(fileText(path, QTextCodec::codecForLocale()),
                 QStringLiteral("ROW_STATE;\"id\";\"c_name\";\"c_status\";\"n_qty\";\"b_flag\";\n"
                                "D;\"1\";\"a\";\"new\";\"1\";\"false\";;\nM;\"2\";\"b\";\"done\";"
                                "\"20\";\"false\";;\n"
                                "O;\"3\";\"c\";\"new\";\"3\";\"false\";;\nO;\"4\";\"d\";\"open\";"
                                "\"4\";\"false\";;\n"
                                "O;\"5\";\"e\";\"done\";\"5\";\"false\";;\n"
                                "O;\"6\";\"\"\"я\"\"\";\"\";\"6\";\"false\";;\nA;\"-1\";\"x\";\"\";"
                                "\"0\";\"false\";;\n"));
        // Without states: no state column and no deleted rows.
        const QString plain = table->prepareDump(false);
        QVERIFY(plain.startsWith(QStringLiteral("\"id\";\"c_name\";")));
        QCOMPARE(plain.count(QLatin1Char('\n')), 1 + scratchCount);

        // A rollback puts the database values back in the model and the view.
        table->rollback();
        QCOMPARE(rows(table, "n_qty"), QStringLiteral("O1 O2 O3 O4 O5 O6"));
        QCOMPARE(m_view->model()->index(1, 3).data().toInt(), 2);
        QCOMPARE(stored(), scratchStored);
    }
};

REJECTS_TEST_MAIN(TestTable)
#include "tst_table.moc"
