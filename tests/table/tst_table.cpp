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
#include <QSqlField>
#include <QSqlQuery>
#include <QStandardItemModel>
#include <QTableView>
#include <QTemporaryDir>
#include <QTextCodec>
#include <cstdio>
#include <memory>

namespace {

const char *const selectSql = "SELECT id, c_name, c_status, n_qty, b_flag FROM public.t_scratch "
                              "ORDER BY id";
const char *const updateSql = "UPDATE public.t_scratch SET c_name = :c_name , c_status = "
                              ":c_status , n_qty = :n_qty WHERE id = :id RETURNING id, c_name, "
                              "c_status, n_qty, b_flag";
const char *const insertSql = "INSERT INTO public.t_scratch (c_name, c_status, n_qty) VALUES "
                              "(:c_name, :c_status, :n_qty) RETURNING id, c_name, c_status, "
                              "n_qty, b_flag";
const char *const deleteSql = "DELETE FROM public.t_scratch WHERE id = :id";

// Rows of the scratch table, in id order: name, status, quantity.
struct ScratchRow
{
    const char *name;
    const char *status; // null: NULL
    int qty;
};
const ScratchRow scratchRows[] = {
    {"a", "new", 1},  {"b", "done", 2}, {"c", "new", 3},
    {"d", "open", 4}, {"e", "done", 5}, {"ф \"кавычки\"", nullptr, 6},
};
const int scratchCount = 6;

} // namespace

// A receiver connected by signature text, as the module's views connect.
class DispReceiver : public QObject
{
    Q_OBJECT
public:
    QList<int> columns;
    QStringList names;
    int lastState = -1;

public slots:
    void onGetDispInfo(int column, QVariant *value, QCellData *cell, QSqlRecord *record)
    {
        columns.append(column);
        names.append(record->value(QStringLiteral("c_name")).toString());
        if (column == 1)
            *value = QStringLiteral("<%1>").arg(value->toString());
        if (record->value(QStringLiteral("c_status")).toString() == QLatin1String("done")) {
            cell->background = QBrush(Qt::gray);
            cell->foreground = QBrush(Qt::white);
            cell->font.setBold(true);
            cell->toolTip = QStringLiteral("решено");
        }
    }
    void onGetDispInfoState(int, QVariant *, QCellData *, QSqlRecord *, int state)
    {
        lastState = state;
    }
};

class TestTable : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void open_readsRowsIntoModelAndPreparesViewOnce();
    void editing_sameValueChangesNothing_otherValueMarksUpdated();
    void getRecord_ofDeletedRow();
    void deleteRow_refusedWhileTableStateIsNotIdle();
    void insertedThenDeleted_sendsNoStatement();
    void commit_writesDeletesInsertsUpdates();
    void commit_newKeysReplaceTemporaryOnes();
    void commit_emptyUpdateTextKeepsUpdatesPending();
    void commit_failingRowWritesNothingAndKeepsAllPending();
    void commit_touchingNoRowFails_data();
    void commit_touchingNoRowFails();
    void commit_killedMidwayLeavesAllOrNothing();
    void insert_columnsNotReturnedStayAsSent();
    void nullNumber_isNotZero();
    void editRole_givesStoredValueNotShownText();
    void cursor_followsItsRowThroughSortAndRemoval();
    void rollback_restoresDatabaseValuesInModelAndView();
    void filters_hideExactlyFailingRows_data();
    void filters_hideExactlyFailingRows();
    void filters_followChangedValuesAndCombine();
    void locate_match_getRows();
    void cursor_movesOverShownRows();
    void sortedModel_keepsRowIdentities();
    void scripts_literalNativeAndResolved();
    void dispInfo_receiversDecorateVisibleColumns();
    void dumpTable_writesStateLettersAndQuotes();
    void makeReport_writesVisibleRowsInCp1251();

private:
    QDataTable *makeTable(bool open = true);
    QSqlConnection *connection() const { return m_fx->connection(); }
    QList<QStringList> databaseRows() const;

    std::unique_ptr<TestFixture> m_fx;
    std::unique_ptr<QObject> m_owner;
};

void TestTable::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("table"));
}

void TestTable::init()
{
    QString error;
    QVERIFY2(
        m_fx->db().exec(QStringLiteral("DROP TABLE IF EXISTS public.t_scratch; "
                                       "CREATE TABLE public.t_scratch (id bigserial PRIMARY KEY, "
                                       "c_name text, c_status text, n_qty integer CHECK (n_qty "
                                       ">= 0), b_flag boolean NOT NULL DEFAULT false); "
                                       "GRANT ALL ON public.t_scratch TO PUBLIC; "
                                       "GRANT ALL ON SEQUENCE public.t_scratch_id_seq TO PUBLIC;"),
                        &error),
        qPrintable(error));
    for (const ScratchRow &row : scratchRows) {
        QString status = row.status ? QStringLiteral("'%1'").arg(QString::fromUtf8(row.status))
                                    : QStringLiteral("NULL");
        QString name = QString::fromUtf8(row.name);
        name.replace(QLatin1Char('\''), QLatin1String("''"));
        QVERIFY(
            m_fx->db().exec(QStringLiteral("INSERT INTO public.t_scratch (c_name, c_status, n_qty) "
                                           "VALUES ('%1', %2, %3);")
                                .arg(name, status)
                                .arg(row.qty)));
    }
    m_owner.reset(new QObject);
    qApp->setProperty("bNoStoredProc", false);
}

void TestTable::cleanup()
{
    m_owner.reset();
}

QDataTable *TestTable::makeTable(bool open)
{
    auto *table = new QDataTable(QStringLiteral("t_scratch"), connection(), m_owner.get());
    table->setScripts(QString::fromLatin1(selectSql), QString::fromLatin1(updateSql),
                      QString::fromLatin1(insertSql), QString::fromLatin1(deleteSql), true);
    table->addColumn(QStringLiteral("id"), QVariant::LongLong, false, QString(), -1, 100);
    table->addColumn(QStringLiteral("c_name"), QVariant::String, true, QStringLiteral("Имя"), 0,
                     120, QStringLiteral("новый"));
    table->addColumn(QStringLiteral("c_status"), QVariant::String, true, QStringLiteral("Статус"),
                     0, 90, QVariant(), 2);
    table->addColumn(QStringLiteral("n_qty"), QVariant::Int, true, QStringLiteral("Кол"), 0, 60, 0,
                     4);
    table->addColumn(QStringLiteral("b_flag"), QVariant::Bool, false, QString(), 0, 40, false);
    table->setKeyField(QStringLiteral("id"));
    if (open)
        table->open();
    return table;
}

QList<QStringList> TestTable::databaseRows() const
{
    QList<QStringList> rows;
    QSqlQuery query(m_fx->db().directConnection(QStringLiteral("check")));
    query.exec(QStringLiteral("SELECT id, c_name, coalesce(c_status, '<null>'), n_qty FROM "
                              "public.t_scratch ORDER BY id"));
    while (query.next()) {
        rows.append({query.value(0).toString(), query.value(1).toString(),
                     query.value(2).toString(), query.value(3).toString()});
    }
    return rows;
}

// ------------------------------------------------------------------ reading

void TestTable::open_readsRowsIntoModelAndPreparesViewOnce()
{
    QDataTable *table = makeTable(false);
    QTableView view;
    table->setView(&view);
    QVERIFY(table->open());
    QCOMPARE(table->rowCount(), scratchCount);
    QCOMPARE(table->getModel()->objectName(), QStringLiteral("t_scratch_data_"));
    QCOMPARE(table->getModel()->columnCount(), 5);
    QCOMPARE(table->getModel()->headerData(1, Qt::Horizontal).toString(), QStringLiteral("Имя"));
    QCOMPARE(table->getModel()->headerData(1, Qt::Horizontal, Qt::ToolTipRole).toString(),
             QStringLiteral("Имя"));

    const QSqlRecord record = table->getRecord(5);
    QCOMPARE(record.count(), 5);
    QCOMPARE(record.fieldName(0), QStringLiteral("id"));
    QCOMPARE(record.value(QStringLiteral("c_name")).toString(), QStringLiteral("ф \"кавычки\""));
    QVERIFY(record.value(QStringLiteral("c_status")).isNull());
    QCOMPARE(record.value(QStringLiteral("n_qty")).toInt(), 6);
    QCOMPARE(record.field(QStringLiteral("n_qty")).type(), QVariant::Int);
    QVERIFY(table->getRecord(scratchCount).isEmpty());
    QVERIFY(table->getRecord(-1).isEmpty());
    for (int row = 0; row < scratchCount; ++row)
        QCOMPARE(table->getRowState(row), int(rsUnchanged));
    QCOMPARE(table->getField(QStringLiteral("c_status"), 1).toString(), QStringLiteral("done"));
    QCOMPARE(table->getValuesList(QStringLiteral("c_status")),
             (QStringList{QStringLiteral("new"), QStringLiteral("done"), QStringLiteral("open"),
                          QString()}));

    // Roles: database value, current value, state.
    const QModelIndex qty = table->getModel()->index(2, 3);
    QCOMPARE(qty.data(QDataTable::OriginalRole).toInt(), 3);
    QCOMPARE(qty.data(QDataTable::CurrentRole).toInt(), 3);
    QCOMPARE(table->getModel()->index(2, 0).data(QDataTable::StateRole).toInt(), 0);

    // Prepared once: widths, hidden columns, header modes.
    QVERIFY(view.property("isPrepared").toBool());
    QVERIFY(view.isColumnHidden(0));
    QVERIFY(!view.isColumnHidden(1));
    QCOMPARE(view.columnWidth(1), 120);
    QCOMPARE(view.horizontalHeader()->sectionResizeMode(3), QHeaderView::Fixed);
    view.setColumnWidth(1, 77);
    view.setColumnHidden(0, false);
    QVERIFY(table->open());
    QCOMPARE(view.columnWidth(1), 77);
    QVERIFY(!view.isColumnHidden(0));
    QCOMPARE(table->rowCount(), scratchCount);

    // A select that gives no result leaves the rows and marks the table.
    table->setScripts(QStringLiteral("SELECT * FROM public.no_such_table"), QString(), QString(),
                      QString(), true);
    QVERIFY(!table->open());
    QCOMPARE(table->rowCount(), scratchCount);
    QCOMPARE(table->getTableState(), -1);
}

// ------------------------------------------------------------------ editing

void TestTable::editing_sameValueChangesNothing_otherValueMarksUpdated()
{
    QDataTable *table = makeTable();
    QSignalSpy changed(table, &QDataTable::dataChanged);
    QStandardItemModel *model = table->getModel();

    // Back to its own value: nothing happens.
    QVERIFY(model->setData(model->index(0, 1), QStringLiteral("a"), Qt::EditRole));
    QCOMPARE(changed.count(), 0);
    QCOMPARE(table->getRowState(0), int(rsUnchanged));
    QVERIFY(!table->isModified());

    // Another value: signal and state; without direct edit the current value stays.
    QVERIFY(model->setData(model->index(0, 1), QStringLiteral("a2"), Qt::EditRole));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(0).toString(), QStringLiteral("t_scratch"));
    QCOMPARE(changed.at(0).at(1).toString(), QStringLiteral("a"));
    QCOMPARE(changed.at(0).at(2).toString(), QStringLiteral("a2"));
    QCOMPARE(changed.at(0).at(3).toString(), QStringLiteral("c_name"));
    QCOMPARE(table->getRowState(0), int(rsUpdated));
    QCOMPARE(table->updatedRows().size(), 1);
    QCOMPARE(table->getField(QStringLiteral("c_name"), 0).toString(), QStringLiteral("a"));

    // Direct edit: the edit becomes the current value and is written by commit.
    table->setDirectEdit(true);
    QVERIFY(model->setData(model->index(1, 3), 42, Qt::EditRole));
    QCOMPARE(table->getField(QStringLiteral("n_qty"), 1).toInt(), 42);
    QCOMPARE(table->getRowState(1), int(rsUpdated));
    QCOMPARE(table->updatedRows().size(), 2);
    QVERIFY(table->commit());
    QCOMPARE(databaseRows().at(1).at(3), QStringLiteral("42"));
    QCOMPARE(databaseRows().at(0).at(1), QStringLiteral("a"));
    QVERIFY(!table->isModified());

    // setField works on the cursor row and tells who listens.
    QCOMPARE(table->locate(QStringLiteral("c_name"), QStringLiteral("c")), 2);
    changed.clear();
    QVERIFY(table->setField(QStringLiteral("n_qty"), 7));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(table->getRowState(2), int(rsUpdated));
    QVERIFY(table->setNull(QStringLiteral("c_status")));
    QVERIFY(table->getField(QStringLiteral("c_status"), 2).isNull());
}

void TestTable::getRecord_ofDeletedRow()
{
    QDataTable *table = makeTable();
    QVERIFY(table->deleteRow(3));
    QCOMPARE(table->getRowState(3), int(rsDeleted));
    QCOMPARE(table->rowCount(), scratchCount); // stays until commit
    QVERIFY(table->getRecord(3, true).isEmpty());
    const QSqlRecord record = table->getRecord(3, false);
    QCOMPARE(record.value(QStringLiteral("c_name")).toString(), QStringLiteral("d"));
    QCOMPARE(table->deletedRows().size(), 1);
}

void TestTable::deleteRow_refusedWhileTableStateIsNotIdle()
{
    QDataTable *table = makeTable();
    table->setTableState(1);
    QVERIFY(!table->deleteRow(0));
    QCOMPARE(table->getRowState(0), int(rsUnchanged));
    QVERIFY(!table->isModified());
    table->setTableState(0);
    QVERIFY(!table->deleteRow(scratchCount));
    table->setLock(0, lsLocked);
    QVERIFY(!table->deleteRow(0));
    QVERIFY(!(table->getModel()->item(0, 1)->flags() & Qt::ItemIsEditable));
    QVERIFY(table->deleteRow(1));
}

void TestTable::insertedThenDeleted_sendsNoStatement()
{
    QDataTable *table = makeTable();
    const int row = table->newRow();
    QCOMPARE(row, scratchCount);
    QCOMPARE(table->getRowState(row), int(rsInserted));
    QCOMPARE(table->getField(QStringLiteral("id"), row).toLongLong(), -1LL);
    QCOMPARE(table->getField(QStringLiteral("c_name"), row).toString(), QStringLiteral("новый"));
    QVERIFY(table->deleteRow(row));
    QCOMPARE(table->insertedRows().size(), 1);
    QCOMPARE(table->deletedRows().size(), 1);
    const qlonglong dropped = table->insertedRows().first();

    QVERIFY(table->commit());
    QCOMPARE(table->rowOf(dropped), -1); // the row is gone: its identity is stale
    QCOMPARE(databaseRows().size(), scratchCount);
    QCOMPARE(table->rowCount(), scratchCount);
    QVERIFY(!table->isModified());
}

// ------------------------------------------------------------------- commit

void TestTable::commit_writesDeletesInsertsUpdates()
{
    QDataTable *table = makeTable();
    QVERIFY(table->deleteRow(0));
    QSqlRecord changed = table->getRecord(1);
    changed.setValue(QStringLiteral("c_status"), QStringLiteral("closed"));
    QVERIFY(table->setRow(1, changed));
    QCOMPARE(table->getRowState(1), int(rsUpdated));
    table->append({QStringLiteral("c_name"), QStringLiteral("n_qty")}, {QStringLiteral("z"), 9});
    QVERIFY(table->isModified());

    QVERIFY(table->commit());
    QVERIFY(!table->isModified());
    QCOMPARE(table->rowCount(), scratchCount);
    const QList<QStringList> rows = databaseRows();
    QCOMPARE(rows.size(), scratchCount);
    QCOMPARE(rows.first().at(1), QStringLiteral("b"));
    QCOMPARE(rows.first().at(2), QStringLiteral("closed"));
    QCOMPARE(rows.last().at(1), QStringLiteral("z"));
    QCOMPARE(rows.last().at(3), QStringLiteral("9"));
    for (int row = 0; row < table->rowCount(); ++row)
        QCOMPARE(table->getRowState(row), int(rsUnchanged));
    // The value written is now the database value of the row.
    QCOMPARE(table->getModel()->index(0, 2).data(QDataTable::OriginalRole).toString(),
             QStringLiteral("closed"));
}

void TestTable::commit_newKeysReplaceTemporaryOnes()
{
    QDataTable *table = makeTable();
    const int first = table->newRow();
    const int second = table->newRow();
    QCOMPARE(table->getField(QStringLiteral("id"), first).toLongLong(), -1LL);
    QCOMPARE(table->getField(QStringLiteral("id"), second).toLongLong(), -2LL);
    QSignalSpy changed(table, &QDataTable::dataChanged);
    const qlonglong identity = table->insertedRows().first();

    QVERIFY(table->commit());
    QCOMPARE(table->rowOf(identity), first);
    const QList<QStringList> rows = databaseRows();
    QCOMPARE(rows.size(), scratchCount + 2);
    const qlonglong firstKey = table->getField(QStringLiteral("id"), first).toLongLong();
    const qlonglong secondKey = table->getField(QStringLiteral("id"), second).toLongLong();
    QCOMPARE(QString::number(firstKey), rows.at(scratchCount).at(0));
    QCOMPARE(QString::number(secondKey), rows.at(scratchCount + 1).at(0));
    QCOMPARE(changed.count(), 2);
    QCOMPARE(changed.at(0).at(1).toLongLong(), -1LL);
    QCOMPARE(changed.at(0).at(2).toLongLong(), firstKey);
    QCOMPARE(changed.at(0).at(3).toString(), QStringLiteral("id"));
    QCOMPARE(changed.at(1).at(1).toLongLong(), -2LL);
    QCOMPARE(changed.at(1).at(2).toLongLong(), secondKey);
    // The key index follows the new keys.
    QCOMPARE(table->locate(QStringLiteral("id"), secondKey), second);
    QCOMPARE(table->locate(QStringLiteral("id"), -2LL), -1);
    // The next new row goes on counting down.
    QCOMPARE(table->getField(QStringLiteral("id"), table->newRow()).toLongLong(), -3LL);
    // A refill frees every row: identities taken before it, or made up, find nothing.
    QVERIFY(table->open());
    QCOMPARE(table->rowOf(identity), -1);
    QCOMPARE(table->rowOf(0x7fff0000deadLL), -1);
}

void TestTable::commit_emptyUpdateTextKeepsUpdatesPending()
{
    QDataTable *table = makeTable();
    table->setScripts(QString::fromLatin1(selectSql), QString(), QString::fromLatin1(insertSql),
                      QString::fromLatin1(deleteSql), true);
    QVERIFY(table->setRow(2, table->getRecord(2)));
    QVERIFY(table->deleteRow(4));
    QVERIFY(table->commit());
    QCOMPARE(table->updatedRows().size(), 1);
    QCOMPARE(table->getRowState(2), int(rsUpdated));
    QCOMPARE(table->deletedRows().size(), 0);
    QCOMPARE(databaseRows().size(), scratchCount - 1);
}

// A failing row fails the whole commit: it is one transaction, so nothing is
// written; every row stays pending, edits in the view are tracked again, and
// the corrected retry writes them all.
void TestTable::commit_failingRowWritesNothingAndKeepsAllPending()
{
    QDataTable *table = makeTable();
    for (int row = 0; row < 3; ++row) {
        QSqlRecord record = table->getRecord(row);
        record.setValue(QStringLiteral("n_qty"), row == 1 ? -5 : 100 + row);
        QVERIFY(table->setRow(row, record));
    }
    QVERIFY(!table->commit());
    QVERIFY(!table->lastError().isEmpty());
    const QList<QStringList> rows = databaseRows();
    for (int row = 0; row < 3; ++row) {
        QCOMPARE(rows.at(row).at(3), QString::number(row + 1));
        QCOMPARE(table->getRowState(row), int(rsUpdated));
    }
    QCOMPARE(table->updatedRows().size(), 3);

    table->setDirectEdit(true);
    const QModelIndex qty = table->getModel()->index(1, 3);
    QVERIFY(table->getModel()->setData(qty, 55, Qt::EditRole));
    QCOMPARE(table->getField(QStringLiteral("n_qty"), 1).toInt(), 55);
    QVERIFY(table->commit());
    QCOMPARE(databaseRows().at(0).at(3), QStringLiteral("100"));
    QCOMPARE(databaseRows().at(1).at(3), QStringLiteral("55"));
    QCOMPARE(databaseRows().at(2).at(3), QStringLiteral("102"));
}

// A statement that touches no row fails the commit and keeps the row pending:
// an insert that returns nothing, an update or delete of a removed record.
void TestTable::commit_touchingNoRowFails_data()
{
    QTest::addColumn<QString>("change");
    QTest::newRow("insert returns nothing") << "insert";
    QTest::newRow("update of a removed row") << "update";
    QTest::newRow("delete of a removed row") << "delete";
}

void TestTable::commit_touchingNoRowFails()
{
    QFETCH(QString, change);
    QDataTable *table = makeTable();
    QVERIFY(m_fx->db().exec(QStringLiteral("DELETE FROM public.t_scratch WHERE c_name = 'a'")));
    int row = 0;
    if (change == QLatin1String("insert")) {
        table->setScripts(QString::fromLatin1(selectSql), QString::fromLatin1(updateSql),
                          QStringLiteral("INSERT INTO public.t_scratch (c_name) SELECT :c_name "
                                         "WHERE false RETURNING id, c_name"),
                          QString::fromLatin1(deleteSql), true);
        row = table->newRow();
    } else if (change == QLatin1String("update")) {
        table->setCurrentRow(0);
        QVERIFY(table->setField(QStringLiteral("c_name"), QStringLiteral("b2")));
    } else {
        QVERIFY(table->deleteRow(0));
    }
    const int state = table->getRowState(row);
    const QVariant key = table->getField(QStringLiteral("id"), row);
    QVERIFY(!table->commit());
    QVERIFY(!table->lastError().isEmpty());
    QCOMPARE(table->getRowState(row), state);
    QCOMPARE(table->getField(QStringLiteral("id"), row), key);
    QVERIFY(table->isModified());
}

// Columns the insert does not return keep what was sent as their stored
// value: putting the original data back does not blank them.
void TestTable::insert_columnsNotReturnedStayAsSent()
{
    QDataTable *table = makeTable();
    table->setScripts(QString::fromLatin1(selectSql), QString::fromLatin1(updateSql),
                      QStringLiteral("INSERT INTO public.t_scratch (c_name, n_qty) VALUES "
                                     "(:c_name, :n_qty) RETURNING id"),
                      QString::fromLatin1(deleteSql), true);
    const int row = table->append({QStringLiteral("c_name"), QStringLiteral("n_qty")},
                                  {QStringLiteral("новая"), 9});
    QVERIFY(table->commit());
    QVERIFY(table->getField(QStringLiteral("id"), row).toLongLong() > 0);
    table->resetOriginalData(row);
    QCOMPARE(table->getField(QStringLiteral("c_name"), row).toString(), QStringLiteral("новая"));
    QCOMPARE(table->getField(QStringLiteral("n_qty"), row).toInt(), 9);
}

// A null number is not "0": filters, value lists, search and dumps tell them apart.
void TestTable::nullNumber_isNotZero()
{
    QVERIFY(
        m_fx->db().exec(QStringLiteral("UPDATE public.t_scratch SET n_qty = CASE c_name WHEN 'd' "
                                       "THEN 0 WHEN 'e' THEN NULL ELSE n_qty END")));
    QDataTable *table = makeTable();
    table->addSearchIndex(QStringLiteral("n_qty"));
    table->setFilter(QStringLiteral("n_qty"), QString());
    QCOMPARE(table->visibleRowCount(), 1);
    table->setFilter(QStringLiteral("n_qty"), QStringLiteral("0"));
    QCOMPARE(table->visibleRowCount(), 1);
    QVERIFY(table->getValuesList(QStringLiteral("n_qty")).contains(QString()));
    QCOMPARE(table
                 ->getField(QStringLiteral("c_name"),
                            table->locate(QStringLiteral("n_qty"), QVariant(QVariant::Int)))
                 .toString(),
             QStringLiteral("e"));
    QCOMPARE(table->getField(QStringLiteral("c_name"), table->locate(QStringLiteral("n_qty"), 0))
                 .toString(),
             QStringLiteral("d"));
    QVERIFY(table->prepareDump().contains(QStringLiteral("\"e\";\"done\";\"\";")));
}

// The edit role gives the stored value, not the text a display-info
// receiver made of it: an editor that writes back what it read changes nothing.
void TestTable::editRole_givesStoredValueNotShownText()
{
    QDataTable *table = makeTable(false);
    DispReceiver receiver;
    QVERIFY(connect(table, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)),
                    &receiver, SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *))));
    QVERIFY(table->open());
    QStandardItemModel *model = table->getModel();
    const QModelIndex name = model->index(0, 1);
    QCOMPARE(name.data(Qt::DisplayRole).toString(), QStringLiteral("<a>"));
    QCOMPARE(name.data(Qt::EditRole).toString(), QStringLiteral("a"));
    model->setData(name, name.data(Qt::EditRole), Qt::EditRole);
    QCOMPARE(table->getRowState(0), int(rsUnchanged));
    QCOMPARE(table->getField(QStringLiteral("c_name"), 0).toString(), QStringLiteral("a"));
}

// The cursor follows its row when the view sorts and when other rows go:
// setField writes into the row the user sees as current.
void TestTable::cursor_followsItsRowThroughSortAndRemoval()
{
    QDataTable *table = makeTable();
    QTableView view;
    table->setView(&view);
    table->setCurrentRow(0); // "a", quantity 1
    view.sortByColumn(3, Qt::DescendingOrder);
    QCOMPARE(table->currentRow(), view.currentIndex().row());
    QCOMPARE(table->currentRow(), scratchCount - 1);
    QVERIFY(table->killRow(0));
    QCOMPARE(table->currentRow(), scratchCount - 2);
    QVERIFY(table->setField(QStringLiteral("c_status"), QStringLiteral("moved")));
    QCOMPARE(table->updatedRows().size(), 1);
    QCOMPARE(table->getField(QStringLiteral("c_name")).toString(), QStringLiteral("a"));
    QCOMPARE(table->getField(QStringLiteral("c_status")).toString(), QStringLiteral("moved"));
}

// A client killed in the middle of a commit leaves all of it or nothing:
// the commit runs in a child process of this program, killed while it writes.
void TestTable::commit_killedMidwayLeavesAllOrNothing()
{
    const int rows = 3000;
    if (qEnvironmentVariableIsSet("REJECTS_COMMIT_CHILD")) {
        qputenv("PGDATABASE", qgetenv("REJECTS_COMMIT_CHILD"));
        QLibrary driver(PgTestDb::driverPath());
        QSqlConnection child(&driver);
        QVERIFY(child.Connect(QStringLiteral("commit_child"), true));
        QDataTable table(QStringLiteral("t_scratch"), &child);
        table.setScripts(QString::fromLatin1(selectSql), QString::fromLatin1(updateSql),
                         QString::fromLatin1(insertSql), QString::fromLatin1(deleteSql), true);
        table.addColumn(QStringLiteral("id"), QVariant::LongLong, false, QString(), -1);
        table.addColumn(QStringLiteral("c_name"), QVariant::String);
        table.addColumn(QStringLiteral("n_qty"), QVariant::Int);
        for (int i = 0; i < rows; ++i)
            table.append({QStringLiteral("c_name"), QStringLiteral("n_qty")},
                         {QStringLiteral("k"), i});
        std::printf("committing\n");
        std::fflush(stdout);
        table.commit(true);
        return;
    }
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("REJECTS_COMMIT_CHILD"), m_fx->db().name());
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("commit_killedMidwayLeavesAllOrNothing")});
    QByteArray output;
    while (!output.contains("committing") && child.waitForReadyRead(60000))
        output += child.readAllStandardOutput();
    QVERIFY2(output.contains("committing"), output.constData());
    QTest::qWait(100);
    child.kill();
    child.waitForFinished();
    QSqlQuery query(m_fx->db().directConnection(QStringLiteral("check")));
    QVERIFY(query.exec(QStringLiteral("SELECT count(*) FROM public.t_scratch WHERE c_name = 'k'")));
    QVERIFY(query.next());
    const int written = query.value(0).toInt();
    QVERIFY2(written == 0 || written == rows, qPrintable(QString::number(written)));
}

void TestTable::rollback_restoresDatabaseValuesInModelAndView()
{
    QDataTable *table = makeTable();
    QTableView view;
    table->setView(&view);
    QSqlRecord record = table->getRecord(0);
    record.setValue(QStringLiteral("c_name"), QStringLiteral("changed"));
    QVERIFY(table->setRow(0, record));
    QVERIFY(table->deleteRow(2));
    table->newRow();
    QCOMPARE(table->rowCount(), scratchCount + 1);
    QCOMPARE(view.model()->index(0, 1).data().toString(), QStringLiteral("changed"));

    table->rollback();
    QVERIFY(!table->isModified());
    QCOMPARE(table->rowCount(), scratchCount);
    for (int row = 0; row < scratchCount; ++row)
        QCOMPARE(table->getRowState(row), int(rsUnchanged));
    QCOMPARE(table->getField(QStringLiteral("c_name"), 0).toString(), QStringLiteral("a"));
    QCOMPARE(view.model()->index(0, 1).data().toString(), QStringLiteral("a"));
    QCOMPARE(view.model()->index(2, 1).data().toString(), QStringLiteral("c"));
    // Nothing reached the database.
    QCOMPARE(databaseRows().at(0).at(1), QStringLiteral("a"));
    QCOMPARE(databaseRows().size(), scratchCount);
}

// ------------------------------------------------------------------ filters

void TestTable::filters_hideExactlyFailingRows_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<QStringList>("values");
    QTest::addColumn<int>("type");
    QTest::addColumn<QList<int>>("shown");

    QTest::newRow("indexed equal")
        << "c_status" << QStringList{"new"} << int(ftEqual) << QList<int>{0, 2};
    QTest::newRow("indexed several")
        << "c_status" << QStringList{"new", "open"} << int(ftEqual) << QList<int>{0, 2, 3};
    QTest::newRow("indexed null as empty")
        << "c_status" << QStringList{""} << int(ftEqual) << QList<int>{5};
    QTest::newRow("indexed not equal")
        << "c_status" << QStringList{"done"} << int(ftNotEqual) << QList<int>{0, 2, 3, 5};
    QTest::newRow("indexed contains")
        << "c_status" << QStringList{"e"} << int(ftContains) << QList<int>{0, 1, 2, 3, 4};
    QTest::newRow("plain equal") << "c_name" << QStringList{"d"} << int(ftEqual) << QList<int>{3};
    QTest::newRow("plain begins") << "c_name" << QStringList{"ф"} << int(ftBeginsWith)
                                  << QList<int>{5};
    QTest::newRow("nothing passes")
        << "c_status" << QStringList{"none"} << int(ftEqual) << QList<int>{};
}

void TestTable::filters_hideExactlyFailingRows()
{
    QFETCH(QString, field);
    QFETCH(QStringList, values);
    QFETCH(int, type);
    QFETCH(QList<int>, shown);

    QDataTable *table = makeTable();
    QTableView view;
    table->setView(&view);
    table->setFilter(field, values, filterType(type));
    for (int row = 0; row < scratchCount; ++row)
        QCOMPARE(view.isRowHidden(row), !shown.contains(row));
    QCOMPARE(table->visibleRowCount(), shown.size());
    table->clearFilter(field);
    for (int row = 0; row < scratchCount; ++row)
        QVERIFY(!view.isRowHidden(row));
}

void TestTable::filters_followChangedValuesAndCombine()
{
    QDataTable *table = makeTable();
    QTableView view;
    table->setView(&view);
    table->setFilter(QStringLiteral("c_status"), QStringLiteral("done"));
    QList<bool> hidden;
    for (int row = 0; row < scratchCount; ++row)
        hidden.append(view.isRowHidden(row));
    QCOMPARE(hidden, (QList<bool>{true, false, true, true, false, true}));

    // A changed value moves the row in the index.
    QSqlRecord record = table->getRecord(0);
    record.setValue(QStringLiteral("c_status"), QStringLiteral("done"));
    table->setRow(0, record);
    table->applyFilters();
    QVERIFY(!view.isRowHidden(0));

    // A second filter narrows the first; a row hidden by someone else is shown
    // again when it passes.
    table->setFilter(QStringLiteral("c_name"),
                     QStringList{QStringLiteral("a"), QStringLiteral("b")});
    QVERIFY(!view.isRowHidden(0));
    QVERIFY(!view.isRowHidden(1));
    QVERIFY(view.isRowHidden(4));
    view.setRowHidden(1, true);
    table->applyFilters();
    QVERIFY(!view.isRowHidden(1));

    // Filters survive a reload and reach a view attached later.
    QVERIFY(table->open());
    QVERIFY(view.isRowHidden(0)); // "a" is "new" again in the database
    QVERIFY(!view.isRowHidden(1));
    QTableView other;
    table->setView(&other);
    QVERIFY(other.isRowHidden(2));
    QVERIFY(!other.isRowHidden(1));
    table->clearAllFilters();
    QCOMPARE(table->visibleRowCount(), scratchCount);
}

// ------------------------------------------------------------------- search

void TestTable::locate_match_getRows()
{
    QDataTable *table = makeTable();
    QCOMPARE(table->locate(QStringLiteral("c_status"), QStringLiteral("done")), 1);
    QCOMPARE(table->currentRow(), 1);
    QCOMPARE(table->locate(QStringLiteral("c_name"), QStringLiteral("e")), 4);
    QCOMPARE(table->locate({QStringLiteral("c_status"), QStringLiteral("n_qty")},
                           {QStringLiteral("new"), 3}),
             2);
    QCOMPARE(table->locate(QStringLiteral("c_status"), QVariant()), 5);
    QCOMPARE(table->locate(QStringLiteral("c_status"), QStringLiteral("missing")), -1);
    QCOMPARE(table->locate(QStringLiteral("no_field"), 1), -1);
    const qlonglong id = table->getField(QStringLiteral("id"), 3).toLongLong();
    QCOMPARE(table->locate(QStringLiteral("id"), id), 3);

    const QSqlRecord record = table->getRecord(2);
    QVERIFY(QDataTable::match(record, {QStringLiteral("c_name")}, {QStringLiteral("c")}));
    QVERIFY(!QDataTable::match(record, {QStringLiteral("c_name")}, {QStringLiteral("C")}));
    QVERIFY(!QDataTable::match(record, {QStringLiteral("nope")}, {1}));

    QDataTable target(QStringLiteral("tmp"), nullptr, nullptr);
    QCOMPARE(table->getRows(&target, QStringLiteral("c_status"), QStringLiteral("new")), 2);
    QCOMPARE(target.columnCount(), table->columnCount());
    QCOMPARE(target.rowCount(), 2);
    QCOMPARE(target.getField(QStringLiteral("c_name"), 1).toString(), QStringLiteral("c"));
    QCOMPARE(target.getRowState(1), int(rsUnchanged));
    QCOMPARE(table->getRows(&target, QStringLiteral("c_status"), QVariant()), 1);
    QCOMPARE(target.rowCount(), 3);

    // A copy of the table carries rows and states.
    table->deleteRow(0);
    std::unique_ptr<QDataTable> copy(new QDataTable(table));
    QCOMPARE(copy->rowCount(), scratchCount);
    QCOMPARE(copy->getRowState(0), int(rsDeleted));
    QCOMPARE(copy->getField(QStringLiteral("c_name"), 5).toString(),
             table->getField(QStringLiteral("c_name"), 5).toString());
}

void TestTable::cursor_movesOverShownRows()
{
    QDataTable *table = makeTable();
    QTableView view;
    table->setView(&view);
    table->setFilter(QStringLiteral("c_status"), QStringLiteral("done"));
    QVERIFY(table->first());
    QCOMPARE(table->getViewCurrentRow(), 1);
    QCOMPARE(table->getViewCurrentRecord().value(QStringLiteral("c_name")).toString(),
             QStringLiteral("b"));
    QVERIFY(table->next());
    QCOMPARE(table->getViewCurrentRow(), 4);
    QVERIFY(!table->next());
    QVERIFY(table->prev());
    QCOMPARE(table->currentRow(), 1);
    QVERIFY(table->last());
    QCOMPARE(table->currentRow(), 4);
    QCOMPARE(table->lastRow(), scratchCount - 1);
    // The user moving in the view moves the cursor.
    view.setCurrentIndex(table->getModel()->index(3, 1));
    QCOMPARE(table->currentRow(), 3);
    QVERIFY(table->setField(QStringLiteral("c_name"), QStringLiteral("D")));
    QCOMPARE(table->getField(QStringLiteral("c_name"), 3).toString(), QStringLiteral("D"));
    const int fresh = table->newRow(true);
    QCOMPARE(table->getViewCurrentRow(), fresh);
}

void TestTable::sortedModel_keepsRowIdentities()
{
    QDataTable *table = makeTable();
    QTableView view;
    table->setView(&view);
    QSqlRecord record = table->getRecord(0); // "a"
    record.setValue(QStringLiteral("n_qty"), 11);
    QVERIFY(table->setRow(0, record));
    QVERIFY(table->deleteRow(1)); // "b"

    // Sorting moves the rows; states, indexes and filters follow them.
    table->getModel()->sort(1, Qt::DescendingOrder);
    QCOMPARE(table->getField(QStringLiteral("c_name"), 0).toString(),
             QStringLiteral("ф \"кавычки\""));
    const int a = table->locate(QStringLiteral("c_name"), QStringLiteral("a"));
    QCOMPARE(a, scratchCount - 1);
    QCOMPARE(table->getRowState(a), int(rsUpdated));
    QCOMPARE(table->locate(QStringLiteral("c_status"), QStringLiteral("open")), 2); // "d"
    table->setFilter(QStringLiteral("c_status"), QStringLiteral("new"));
    for (int row = 0; row < table->rowCount(); ++row) {
        QCOMPARE(view.isRowHidden(row),
                 table->getField(QStringLiteral("c_status"), row).toString() != "new");
    }
    QVERIFY(table->commit());
    const QList<QStringList> rows = databaseRows();
    QCOMPARE(rows.size(), scratchCount - 1);
    QCOMPARE(rows.at(0).at(3), QStringLiteral("11"));
    QCOMPARE(rows.at(1).at(1), QStringLiteral("c"));
    QCOMPARE(table->rowCount(), scratchCount - 1);
    table->clearAllFilters();
    QCOMPARE(table->visibleRowCount(), scratchCount - 1);
}

void TestTable::scripts_literalNativeAndResolved()
{
    QDataTable table(QStringLiteral("t_fault_code"), connection());
    table.setNativeScripts(QStringLiteral("S"), QStringLiteral("U"), QStringLiteral("I"),
                           QStringLiteral("D"));
    QCOMPARE(table.selectSql(), QStringLiteral("S")); // kept as written

    // Named scripts come from the script store, and are resolved again
    // against a new connection.
    table.setScripts(QStringLiteral("FAULT_CODE_SELECT"), QStringLiteral("FAULT_CODE_UPDATE"),
                     QStringLiteral("FAULT_CODE_INSERT"), QStringLiteral("FAULT_CODE_DELETE"));
    QCOMPARE(table.selectSql(), connection()->getScript(QStringLiteral("FAULT_CODE_SELECT")));
    QCOMPARE(table.deleteSql(), connection()->getScript(QStringLiteral("FAULT_CODE_DELETE")));
    QVERIFY(!table.updateSql().isEmpty());
    QVERIFY(table.open());
    QVERIFY(table.rowCount() > 0);
    QVERIFY(table.columnCount() > 0); // made from the result
    QCOMPARE(table.getModel()->headerData(0, Qt::Horizontal).toString(),
             table.getColumns().at(0).name);

    // Without a connection the texts stay as they were.
    table.setConnection(nullptr);
    QCOMPARE(table.selectSql(), connection()->getScript(QStringLiteral("FAULT_CODE_SELECT")));
    QVERIFY(!table.open());
}

// --------------------------------------------------------------- decoration

void TestTable::dispInfo_receiversDecorateVisibleColumns()
{
    QDataTable *table = makeTable(false);
    DispReceiver receiver;
    QVERIFY(connect(table, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)),
                    &receiver, SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *))));
    QVERIFY(connect(table, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)),
                    &receiver,
                    SLOT(onGetDispInfoState(int, QVariant *, QCellData *, QSqlRecord *, int))));
    QVERIFY(table->open());

    // Only the visible columns 1..3 are offered, once per row.
    QCOMPARE(receiver.columns.size(), scratchCount * 3);
    QVERIFY(!receiver.columns.contains(0));
    QVERIFY(!receiver.columns.contains(4));
    QCOMPARE(receiver.names.first(), QStringLiteral("a"));

    QStandardItemModel *model = table->getModel();
    // The shown value is changed, the current one is not.
    QCOMPARE(model->index(0, 1).data().toString(), QStringLiteral("<a>"));
    QCOMPARE(model->index(0, 1).data(QDataTable::CurrentRole).toString(), QStringLiteral("a"));
    QCOMPARE(table->getRecord(0).value(QStringLiteral("c_name")).toString(), QStringLiteral("a"));
    // Decorations of the rows the receiver styles, and none elsewhere.
    const QModelIndex done = model->index(1, 2);
    QCOMPARE(done.data(Qt::BackgroundRole).value<QBrush>().color(), QColor(Qt::gray));
    QCOMPARE(done.data(Qt::ForegroundRole).value<QBrush>().color(), QColor(Qt::white));
    QVERIFY(done.data(Qt::FontRole).value<QFont>().bold());
    QCOMPARE(done.data(Qt::ToolTipRole).toString(), QStringLiteral("решено"));
    const QModelIndex plain = model->index(0, 2);
    QVERIFY(!plain.data(Qt::BackgroundRole).isValid());
    QVERIFY(!plain.data(Qt::FontRole).isValid());
    QVERIFY(!plain.data(Qt::ToolTipRole).isValid());

    // A redrawn row is offered again, with its state.
    receiver.columns.clear();
    QVERIFY(table->deleteRow(1));
    QCOMPARE(receiver.columns, (QList<int>{1, 2, 3}));
    QCOMPARE(receiver.lastState, int(rsDeleted));
    // The decoration goes when the row no longer asks for it.
    QSqlRecord record = table->getRecord(4);
    record.setValue(QStringLiteral("c_status"), QStringLiteral("open"));
    table->setRow(4, record);
    QVERIFY(!model->index(4, 2).data(Qt::BackgroundRole).isValid());
}

// ------------------------------------------------------------------- export

void TestTable::dumpTable_writesStateLettersAndQuotes()
{
    QDataTable *table = makeTable();
    table->deleteRow(0);
    QSqlRecord record = table->getRecord(1);
    record.setValue(QStringLiteral("n_qty"), 20);
    table->setRow(1, record);
    table->append(QStringLiteral("c_name"), QStringLiteral("x"));

    QTemporaryDir dir;
    const QString target = dir.filePath(QStringLiteral("dumps/sub"));
    const QString path = table->dumpTable(target, true);
    QVERIFY(!path.isEmpty());
    QVERIFY(QFileInfo(path).fileName().contains(QRegularExpression(
        QStringLiteral("^t_scratch_\\d{4}_\\d{2}_\\d{2} \\d{2}_\\d{2}\\.csv$"))));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList lines =
        QTextCodec::codecForLocale()->toUnicode(file.readAll()).split(QLatin1Char('\n'));
    QCOMPARE(lines.at(0),
             QStringLiteral("ROW_STATE;\"id\";\"c_name\";\"c_status\";\"n_qty\";\"b_flag\";"));
    QVERIFY(lines.at(1).startsWith(QStringLiteral("D;\"")));
    QVERIFY(lines.at(1).endsWith(QStringLiteral(";\"a\";\"new\";\"1\";\"false\";;")));
    QVERIFY(lines.at(2).startsWith(QStringLiteral("M;")));
    QVERIFY(lines.at(2).contains(QStringLiteral("\"20\";")));
    QVERIFY(lines.at(3).startsWith(QStringLiteral("O;")));
    QVERIFY(lines.at(6).contains(QStringLiteral(";\"ф \"\"кавычки\"\"\";\"\";\"6\";")));
    QVERIFY(lines.at(7).startsWith(QStringLiteral("A;\"-1\";\"x\";")));

    // Without states: no state column and no deleted rows.
    const QString plain = table->prepareDump(false);
    QVERIFY(plain.startsWith(QStringLiteral("\"id\";\"c_name\";")));
    QCOMPARE(plain.count(QLatin1Char('\n')), 1 + scratchCount);
    QVERIFY(!plain.contains(QStringLiteral("\"a\";\"new\"")));
}

void TestTable::makeReport_writesVisibleRowsInCp1251()
{
    QDataTable *table = makeTable();
    QTableView view;
    table->setView(&view);
    table->setFilter(QStringLiteral("n_qty"),
                     QStringList{QStringLiteral("2"), QStringLiteral("6")});
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("report.txt"));
    QVERIFY(table->makeReport(path));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    const QString text = QTextCodec::codecForName("cp1251")->toUnicode(bytes);
    QCOMPARE(text, QStringLiteral("\"Имя\";\"Статус\";\"Кол\"\n"
                                  "\"b\";\"done\";\"2\"\n"
                                  "\"ф \"\"кавычки\"\"\";\"\";\"6\"\n"));
    QVERIFY(bytes.contains("\xc8\xec\xff")); // "Имя" in Windows-1251
    QVERIFY(!table->makeReport(dir.filePath(QStringLiteral("no/such/dir/report.txt"))));
}

REJECTS_TEST_MAIN(TestTable)
#include "tst_table.moc"
