// The data set: commit order and transaction, key links, dumps, and the
// module's document (getDocument) with its 23 tables on the demo database.

#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "rejectsdocument.h"
#include "testfixture.h"
#include "testmain.h"

#include <QChildEvent>
#include <QFileInfo>
#include <QLibrary>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTextCodec>
#include <algorithm>
#include <memory>

namespace {

// Asks for the document while it is being built: the first child added is
// the data set itself, the second its first table.
class PublishProbe : public QObject
{
public:
    int added = 0;
    QDataSet *seen = nullptr;
    int tablesSeen = -1;

protected:
    void childEvent(QChildEvent *event) override
    {
        if (event->type() != QEvent::ChildAdded || ++added != 2)
            return;
        seen = getDocument(nullptr);
        tablesSeen = seen->tables().size();
    }
};

} // namespace

class TestDataSet : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void getTable_andLinksNeedBothTables();
    void commit_followsChangingOrderAndSkipsUnknownNames();
    void commit_failureRollsBackTheWholeTransaction();
    void commit_passesNewMasterKeyToEveryDetailRow();
    void commit_detailInStateMinusTwoKeepsItsKeys();
    void rollback_andDump();

    void getDocument_buildsOnceAndPublishesEarly();
    void getDocument_tablesOpenOnDemoDatabase();

private:
    QDataTable *logTable(const QString &name);
    QStringList logged() const;
    QSqlConnection *connection() const { return m_fx->connection(); }

    std::unique_ptr<TestFixture> m_fx;
    std::unique_ptr<QObject> m_owner;
    PublishProbe m_probe; // parent of the module's document, for the whole run
};

void TestDataSet::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("dataset"));
}

void TestDataSet::cleanupTestCase()
{
    // The document outlives the run: let its tables go of the database first.
    if (m_probe.seen) {
        for (QDataTable *table : m_probe.seen->tables())
            table->setConnection(nullptr);
    }
    m_fx.reset();
}

void TestDataSet::init()
{
    QString error;
    QVERIFY2(m_fx->db().exec(
                 QStringLiteral(
                     "DROP TABLE IF EXISTS public.t_log, public.t_detail, public.t_master; "
                     "CREATE TABLE public.t_log (id bigserial PRIMARY KEY, c_table text NOT "
                     "NULL CHECK (c_table <> 'bad')); "
                     "CREATE TABLE public.t_master (id bigserial PRIMARY KEY, c_name text); "
                     "CREATE TABLE public.t_detail (id bigserial PRIMARY KEY, id_master bigint "
                     "NOT NULL REFERENCES public.t_master (id), c_text text); "
                     "GRANT ALL ON public.t_log, public.t_master, public.t_detail TO PUBLIC; "
                     "GRANT ALL ON ALL SEQUENCES IN SCHEMA public TO PUBLIC;"),
                 &error),
             qPrintable(error));
    m_owner.reset(new QObject);
}

void TestDataSet::cleanup()
{
    m_owner.reset();
}

// A table whose new rows log its name into public.t_log.
QDataTable *TestDataSet::logTable(const QString &name)
{
    auto *table = new QDataTable(name, connection(), m_owner.get());
    table->setScripts(QStringLiteral("SELECT id, c_table FROM public.t_log WHERE c_table = "
                                     ":c_table ORDER BY id"),
                      QString(),
                      QStringLiteral("INSERT INTO public.t_log (c_table) VALUES (:c_table) "
                                     "RETURNING id, c_table"),
                      QString(), true);
    table->addColumn(QStringLiteral("id"), QVariant::LongLong, false, QString(), -1);
    table->addColumn(QStringLiteral("c_table"), QVariant::String, true, QString(), 0, 100, name);
    table->setKeyField(QStringLiteral("id"));
    return table;
}

QStringList TestDataSet::logged() const
{
    QStringList names;
    QSqlQuery query(m_fx->db().directConnection(QStringLiteral("check")));
    query.exec(QStringLiteral("SELECT c_table FROM public.t_log ORDER BY id"));
    while (query.next())
        names.append(query.value(0).toString());
    return names;
}

void TestDataSet::getTable_andLinksNeedBothTables()
{
    QDataSet set;
    set.addTable(logTable(QStringLiteral("t_a")));
    set.addTable(logTable(QStringLiteral("t_b")));
    QCOMPARE(set.tables().size(), 2);
    QCOMPARE(set.getTable(QStringLiteral("t_b"))->objectName(), QStringLiteral("t_b"));
    QVERIFY(!set.getTable(QStringLiteral("t_none")));
    set.createDataLink(QStringLiteral("t_a"), QStringLiteral("id"), QStringLiteral("t_none"),
                       QStringLiteral("id_a"));
    set.createDataLink(QStringLiteral("t_none"), QStringLiteral("t_a"), QStringLiteral("id"));
    QVERIFY(set.links().isEmpty());
    set.createDataLink(QStringLiteral("t_a"), QStringLiteral("t_b"), QStringLiteral("c_table"));
    QCOMPARE(set.links().size(), 1);
    QCOMPARE(set.links().first().masterField, QStringLiteral("c_table"));
    QCOMPARE(set.links().first().detailField, QStringLiteral("c_table"));
    QVERIFY(!set.isModified());
    set.getTable(QStringLiteral("t_a"))->newRow();
    QVERIFY(set.isModified());
}

void TestDataSet::commit_followsChangingOrderAndSkipsUnknownNames()
{
    QDataSet set;
    for (const char *name : {"t_a", "t_b", "t_c", "t_d"}) {
        QDataTable *table = logTable(QString::fromLatin1(name));
        table->newRow();
        set.addTable(table);
    }
    set.setChangingOrder({QStringLiteral("t_c"), QStringLiteral("t_missing"), QStringLiteral("t_a"),
                          QStringLiteral("t_b")});
    QVERIFY(set.commit(connection()));
    QCOMPARE(logged(),
             (QStringList{QStringLiteral("t_c"), QStringLiteral("t_a"), QStringLiteral("t_b")}));
    // A table outside the order is not written.
    QVERIFY(set.getTable(QStringLiteral("t_d"))->isModified());
    QVERIFY(!set.getTable(QStringLiteral("t_a"))->isModified());

    // Without an order the tables go in the order they were added.
    QDataSet plain;
    for (const char *name : {"t_y", "t_x"}) {
        QDataTable *table = logTable(QString::fromLatin1(name));
        table->newRow();
        plain.addTable(table);
    }
    QVERIFY(plain.commit(connection()));
    QCOMPARE(logged().mid(3), (QStringList{QStringLiteral("t_y"), QStringLiteral("t_x")}));
    // Nothing to do is a successful, empty transaction.
    QVERIFY(plain.commit(connection()));
}

void TestDataSet::commit_failureRollsBackTheWholeTransaction()
{
    QDataSet set;
    QDataTable *first = logTable(QStringLiteral("t_a"));
    QDataTable *second = logTable(QStringLiteral("t_b"));
    first->newRow();
    first->newRow();
    second->newRow();
    second->append(QStringLiteral("c_table"), QStringLiteral("bad"));
    set.addTable(first);
    set.addTable(second);
    set.setChangingOrder({QStringLiteral("t_a"), QStringLiteral("t_b")});

    QVERIFY(!set.commit(connection()));
    // Nothing reached the database, seen from another connection.
    QVERIFY(logged().isEmpty());
    // The failing table keeps its failing row pending, and the first table
    // its rows, with their temporary keys: nothing is marked saved.
    QVERIFY(second->isModified());
    QCOMPARE(second->getRowState(1), int(rsInserted));
    QCOMPARE(first->insertedRows().size(), 2);
    QCOMPARE(first->getField(QStringLiteral("id"), 0).toLongLong(), -1LL);
    QCOMPARE(first->getField(QStringLiteral("id"), 1).toLongLong(), -2LL);
    QVERIFY(!set.lastError().isEmpty());
    // Corrected, the retry writes the rows of both tables.
    second->setCurrentRow(1);
    QVERIFY(second->setField(QStringLiteral("c_table"), QStringLiteral("t_b")));
    QVERIFY(set.commit(connection()));
    QCOMPARE(logged(), (QStringList{QStringLiteral("t_a"), QStringLiteral("t_a"),
                                    QStringLiteral("t_b"), QStringLiteral("t_b")}));
    QVERIFY(!set.isModified());
    // The connection is usable again after the rollback.
    QSqlQuery query = connection()->execScript(QStringLiteral("SELECT 1"), QList<QVariant>());
    QVERIFY(query.isActive());
}

void TestDataSet::commit_passesNewMasterKeyToEveryDetailRow()
{
    auto *master = new QDataTable(QStringLiteral("t_master"), connection(), m_owner.get());
    master->setScripts(QString(), QString(),
                       QStringLiteral("INSERT INTO public.t_master (c_name) VALUES (:c_name) "
                                      "RETURNING id, c_name"),
                       QString(), true);
    master->addColumn(QStringLiteral("id"), QVariant::LongLong, false, QString(), -1);
    master->addColumn(QStringLiteral("c_name"), QVariant::String);
    master->setKeyField(QStringLiteral("id"));
    auto *detail = new QDataTable(QStringLiteral("t_detail"), connection(), m_owner.get());
    detail->setScripts(QString(), QString(),
                       QStringLiteral("INSERT INTO public.t_detail (id_master, c_text) VALUES "
                                      "(:id_master, :c_text) RETURNING id, id_master, c_text"),
                       QString(), true);
    detail->addColumn(QStringLiteral("id"), QVariant::LongLong, false, QString(), -1);
    detail->addColumn(QStringLiteral("id_master"), QVariant::LongLong);
    detail->addColumn(QStringLiteral("c_text"), QVariant::String);

    QDataSet set;
    set.addTable(detail); // added first, written second
    set.addTable(master);
    set.createDataLink(QStringLiteral("t_master"), QStringLiteral("id"), QStringLiteral("t_detail"),
                       QStringLiteral("id_master"));
    set.setChangingOrder({QStringLiteral("t_master"), QStringLiteral("t_detail")});

    const int row = master->newRow();
    const QVariant temporary = master->getField(QStringLiteral("id"), row);
    QCOMPARE(temporary.toLongLong(), -1LL);
    detail->append({QStringLiteral("id_master"), QStringLiteral("c_text")},
                   {temporary, QStringLiteral("one")});
    detail->append({QStringLiteral("id_master"), QStringLiteral("c_text")},
                   {temporary, QStringLiteral("two")});

    QVERIFY(set.commit(connection()));
    const qlonglong key = master->getField(QStringLiteral("id"), row).toLongLong();
    QVERIFY(key > 0);
    QCOMPARE(detail->getField(QStringLiteral("id_master"), 0).toLongLong(), key);
    QCOMPARE(detail->getField(QStringLiteral("id_master"), 1).toLongLong(), key);
    QVERIFY(!detail->isModified());
    QSqlQuery query(m_fx->db().directConnection(QStringLiteral("check")));
    QVERIFY(query.exec(QStringLiteral("SELECT id_master, count(*) FROM public.t_detail GROUP BY "
                                      "id_master")));
    QVERIFY(query.next());
    QCOMPARE(query.value(0).toLongLong(), key);
    QCOMPARE(query.value(1).toInt(), 2);
    QVERIFY(!query.next());
}

void TestDataSet::commit_detailInStateMinusTwoKeepsItsKeys()
{
    auto *master = logTable(QStringLiteral("t_a"));
    auto *detail = logTable(QStringLiteral("t_b"));
    detail->addColumn(QStringLiteral("id_a"), QVariant::LongLong);
    QDataSet set;
    set.addTable(master);
    set.addTable(detail);
    set.createDataLink(QStringLiteral("t_a"), QStringLiteral("id"), QStringLiteral("t_b"),
                       QStringLiteral("id_a"));
    set.setChangingOrder({QStringLiteral("t_a")});
    master->newRow();
    detail->append(QStringLiteral("id_a"), -1LL);
    detail->setTableState(-2);
    QVERIFY(set.commit(connection()));
    QVERIFY(master->getField(QStringLiteral("id"), 0).toLongLong() > 0);
    QCOMPARE(detail->getField(QStringLiteral("id_a"), 0).toLongLong(), -1LL);
}

void TestDataSet::rollback_andDump()
{
    QDataSet set;
    QDataTable *first = logTable(QStringLiteral("t_a"));
    QDataTable *second = logTable(QStringLiteral("t_b"));
    set.addTable(first);
    set.addTable(second);
    first->newRow();
    second->append(QStringLiteral("c_table"), QStringLiteral("\"q\""));

    QTemporaryDir dir;
    const QString path =
        set.dump(dir.filePath(QStringLiteral("out")), true, QString(), {QStringLiteral("t_b")});
    QVERIFY(QFileInfo(path).fileName().startsWith(QStringLiteral("dataset_")));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString text = QTextCodec::codecForLocale()->toUnicode(file.readAll());
    QCOMPARE(text, QStringLiteral("\"TABLE:\";\"t_b\";\nROW_STATE;\"id\";\"c_table\";\n"
                                  "A;\"-1\";\"\"\"q\"\"\";;\n"));
    const QString both = set.dump(dir.path(), false, QStringLiteral("doc"));
    QFile bothFile(both);
    QVERIFY(bothFile.open(QIODevice::ReadOnly));
    const QString bothText = QString::fromLocal8Bit(bothFile.readAll());
    QVERIFY(bothText.startsWith(QStringLiteral("\"DATASET:\";\"doc\";\n\"TABLE:\";\"t_a\";\n")));
    QVERIFY(bothText.contains(QStringLiteral(";\n;\n;\n\"TABLE:\";\"t_b\";\n")));

    set.rollback();
    QVERIFY(!set.isModified());
    QCOMPARE(first->rowCount(), 0);
    set.closeAll();
    QVERIFY(!first->isOpen());
}

// ------------------------------------------------------------ the document

void TestDataSet::getDocument_buildsOnceAndPublishesEarly()
{
    QDataSet *document = getDocument(&m_probe);
    QVERIFY(document);
    // Code run while the tables were made got the same, still empty, object.
    QCOMPARE(m_probe.seen, document);
    QCOMPARE(m_probe.tablesSeen, 0);
    QObject other;
    QCOMPARE(getDocument(&other), document);
    QCOMPARE(document->parent(), &m_probe);

    const QStringList names =
        QStringLiteral(
            "t_process_exam t_process_exam_stage t_process_exam_disc t_prod_units "
            "t_units_item_family t_plan_order t_process_exam_pics t_fault_type t_fault_code "
            "t_serial "
            "t_reasons t_executor t_process_work_reject t_quality_control_works_reject "
            "t_notification "
            "t_reject_notification t_customer_appeal t_file_customer_appeal t_plan_order_repair "
            "t_store_order_content t_item_family t_item_type t_family_in_store")
            .split(QLatin1Char(' '));
    QStringList built;
    for (QDataTable *table : document->tables()) {
        built.append(table->objectName());
        QCOMPARE(table->getConnection(), connection());
        QCOMPARE(table->parent(), &m_probe);
    }
    QCOMPARE(built, names);

    const QList<QStringList> links{
        {"t_process_exam", "id", "t_process_exam_disc", "id_process_exam"},
        {"t_process_exam", "id", "t_process_exam_pics", "n_key"},
        {"t_process_exam", "id", "t_process_work_reject", "id_process_exam"},
        {"t_process_exam", "id", "t_quality_control_works_reject", "id_process_exam"},
        {"t_process_exam", "id", "t_reject_notification", "id_process_exam"},
        {"t_plan_order_repair", "id", "t_process_exam", "id_plan_order_repair"},
        {"t_plan_order_repair", "id", "t_store_order_content", "id_store_order"}};
    QCOMPARE(document->links().size(), links.size());
    for (int i = 0; i < links.size(); ++i) {
        const dataLink &link = document->links().at(i);
        QCOMPARE(
            (QStringList{link.masterTable, link.masterField, link.detailTable, link.detailField}),
            links.at(i));
    }
    QCOMPARE(document->changingOrder(),
             (QStringList{"t_fault_type", "t_fault_code", "t_plan_order_repair",
                          "t_store_order_content", "t_process_exam", "t_process_exam_disc",
                          "t_process_exam_pics", "t_process_work_reject",
                          "t_quality_control_works_reject", "t_reject_notification"}));

    // Script names are resolved through the script store.
    QDataTable *exam = document->getTable(QStringLiteral("t_process_exam"));
    QCOMPARE(exam->keyField(), QStringLiteral("id"));
    QCOMPARE(exam->insertSql(), connection()->getScript(QStringLiteral("PROC_EXAM_INSERT")));
}

void TestDataSet::getDocument_tablesOpenOnDemoDatabase()
{
    QDataSet *document = getDocument(nullptr);
    QSqlQuery sample(connection()->getDatabase());
    QVERIFY(sample.exec(QStringLiteral(
        "SELECT id, coalesce(id_fault, 0), coalesce(id_plan_order, 0), "
        "coalesce(id_product_version, 0), coalesce(c_serial, '') FROM docs.v_process_exam "
        "ORDER BY id LIMIT 1")));
    QVERIFY(sample.next());
    const qlonglong exam = sample.value(0).toLongLong();

    const int noColumns[] = {1, 3, 9, 15, 20, 21, 22};
    int index = 0;
    for (QDataTable *table : document->tables()) {
        const QString name = table->objectName();
        const bool declared = table->columnCount() > 0;
        QCOMPARE(declared, !std::count(std::begin(noColumns), std::end(noColumns), index++));
        table->setSelectParam(QStringLiteral("id_process_exam"), exam);
        table->setSelectParam(QStringLiteral("id_fault_code"), sample.value(1));
        table->setSelectParam(QStringLiteral("id_plan"), sample.value(2));
        table->setSelectParam(QStringLiteral("id_version"), sample.value(3));
        table->setSelectParam(QStringLiteral("c_serial"), sample.value(4));
        table->setSelectParam(QStringLiteral("id_unit"), 0);
        table->setSelectParam(QStringLiteral("id_store_order"), 0);
        table->setSelectParam(QStringLiteral("c_table"), QStringLiteral("t_process_exam"));
        table->setSelectParam(QStringLiteral("n_key"), exam);
        if (name == QLatin1String("t_plan_order_repair")) {
            QVERIFY(!table->open()); // insert only
            continue;
        }
        QVERIFY2(table->open(), qPrintable(name));
        QVERIFY2(table->getTableState() == 0, qPrintable(name));
        QVERIFY2(table->columnCount() > 0, qPrintable(name));

        // The select returns every declared field.
        QSqlQuery query(connection()->getDatabase());
        connection()->execScript(table->selectSql(), &query, table->selectParams());
        QVERIFY2(query.isActive(), qPrintable(name));
        const QSqlRecord fields = query.record();
        for (const colInfo &column : table->getColumns())
            QVERIFY2(fields.indexOf(column.name) >= 0, qPrintable(name + "." + column.name));
    }

    QDataTable *register_ = document->getTable(QStringLiteral("t_process_exam"));
    QVERIFY(register_->rowCount() > 0);
    QVERIFY(register_->locate(QStringLiteral("id"), exam) >= 0);
    QVERIFY(document->getTable(QStringLiteral("t_fault_code"))->rowCount() > 0);
    QVERIFY(document->getTable(QStringLiteral("t_process_exam_stage"))->rowCount() > 0);
}

REJECTS_TEST_MAIN(TestDataSet)
#include "tst_dataset.moc"
