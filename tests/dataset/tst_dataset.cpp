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
#include <QSqlQuery>
#include <QTemporaryDir>

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

QString fileText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : QString();
}

} // namespace

class TestDataSet : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestFixture> m_fx;
    std::unique_ptr<QObject> m_owner;
    PublishProbe m_probe; // parent of the module's document, for the whole run

    // A table of `set` whose new rows log its name, and the key of their
    // master row, into public.t_log; it starts with `rows` new rows.
    QDataTable *logTable(QDataSet &set, const QString &name, int rows = 0)
    {
        auto *table = new QDataTable(name, m_fx->connection(), m_owner.get());
        table->setScripts(QString(), QString(),
                          "INSERT INTO public.t_log (c_table, id_master) VALUES (:c_table, "
                          ":id_master) RETURNING *",
                          QString(), true);
        table->addColumn("id", QVariant::LongLong, false, QString(), -1);
        table->addColumn("c_table", QVariant::String, true, QString(), 0, 100, name);
        table->addColumn("id_master", QVariant::LongLong);
        table->setKeyField("id");
        for (int row = 0; row < rows; ++row)
            table->newRow();
        set.addTable(table);
        return table;
    }

    // What reached the database, seen from a second connection: the logged
    // names in order, each with its master's key when it has one.
    QString logged() const
    {
        const QString sql = QStringLiteral("SELECT string_agg(concat(c_table, ':' || id_master), ' "
                                           "' ORDER BY id) FROM public.t_log");
        return m_fx->value(sql).toString();
    }

private slots:
    void initTestCase() { START_FIXTURE(m_fx, QStringLiteral("dataset")); }

    void cleanupTestCase()
    {
        // The document outlives the run: let its tables go of the database first.
        if (m_probe.seen) {
            for (QDataTable *table : m_probe.seen->tables())
                table->setConnection(nullptr);
        }
        m_fx.reset();
    }

    void init()
    {
        QString error;
        QVERIFY2(m_fx->db().exec(
                     QStringLiteral("DROP TABLE IF EXISTS public.t_log; CREATE TABLE public.t_log "
                                    "(id bigserial PRIMARY KEY, c_table text CHECK (c_table <> "
                                    "'bad'), id_master bigint REFERENCES public.t_log); GRANT ALL "
                                    "ON public.t_log, public.t_log_id_seq TO PUBLIC;"),
                     &error),
                 qPrintable(error));
        m_owner.reset(new QObject);
    }

    void cleanup() { m_owner.reset(); }

    // Links need both tables; the tables are written in the changing order,
    // unknown names skipped and tables outside it left pending, or without
    // an order in the order they were added.
    void commit_followsChangingOrderAndSkipsUnknownNames()
    {
        QDataSet set;
        for (const char *name : {"t_a", "t_b", "t_c", "t_d"})
            logTable(set, QString::fromLatin1(name), 1);
        set.createDataLink("t_a", "id", "t_none", "id_master");
        set.createDataLink("t_none", "t_a", "id");
        QVERIFY(set.links().isEmpty());
        set.createDataLink("t_a", "t_b", "id_master");
        QCOMPARE(set.links().size(), 1);
        QVERIFY(set.isModified());

        set.setChangingOrder({"t_c", "t_missing", "t_a", "t_b"});
        QVERIFY(set.commit(m_fx->connection()));
        QCOMPARE(logged(), QStringLiteral("t_c t_a t_b"));
        QVERIFY(set.getTable(QStringLiteral("t_d"))->isModified());

        QDataSet plain;
        logTable(plain, QStringLiteral("t_y"), 1);
        logTable(plain, QStringLiteral("t_x"), 1);
        QVERIFY(plain.commit(m_fx->connection()));
        QVERIFY(plain.commit(m_fx->connection())); // nothing to do: an empty transaction
        QCOMPARE(logged(), QStringLiteral("t_c t_a t_b t_y t_x"));
    }

    // One failing row rolls back the whole transaction: nothing reaches the
    // database and nothing is marked saved, the dump shows every row pending
    // with its temporary key, and the corrected retry writes both tables.
    void commit_failureRollsBackTheWholeTransaction()
    {
        QDataSet set;
        QDataTable *first = logTable(set, QStringLiteral("t_a"), 2);
        QDataTable *second = logTable(set, QStringLiteral("t_b"), 1);
        second->append(QStringLiteral("c_table"), "bad");
        QVERIFY(!set.commit(m_fx->connection()));
        QVERIFY(!set.lastError().isEmpty());
        QCOMPARE(logged(), QString());
        QTemporaryDir dir;
        const QString path = set.dump(dir.path(), true, QStringLiteral("doc"));
        QVERIFY(QFileInfo(path).fileName().startsWith(QStringLiteral("dataset_")));
        QCOMPARE(fileText(path),
                 QStringLiteral("\"DATASET:\";\"doc\";\n\"TABLE:\";\"t_a\";\n"
                                "ROW_STATE;\"id\";\"c_table\";\"id_master\";\n"
                                "A;\"-1\";\"t_a\";\"\";;\nA;\"-2\";\"t_a\";\"\";;\n;\n;\n;\n"
                                "\"TABLE:\";\"t_b\";\nROW_STATE;\"id\";\"c_table\";\"id_master\";\n"
                                "A;\"-1\";\"t_b\";\"\";;\nA;\"-2\";\"bad\";\"\";;\n"));
        QCOMPARE(fileText(set.dump(dir.filePath("b"), false, QString(), {"t_b"})),
                 QStringLiteral("\"TABLE:\";\"t_b\";\n\"id\";\"c_table\";\"id_master\";\n"
                                "\"-1\";\"t_b\";\"\";;\n\"-2\";\"bad\";\"\";;\n"));

        second->setCurrentRow(1);
        QVERIFY(second->setField(QStringLiteral("c_table"), "t_b"));
        QVERIFY(set.commit(m_fx->connection()));
        QCOMPARE(logged(), QStringLiteral("t_a t_a t_b t_b"));
        QVERIFY(!set.isModified());
        first->newRow(); // a rollback drops what was added since
        set.rollback();
        QVERIFY(!set.isModified());
        QCOMPARE(first->rowCount(), 2);
    }

    // A master's new key reaches every detail row that holds its temporary
    // one, within the transaction; a detail table in state -2 keeps its keys.
    void commit_passesNewMasterKeyToEveryDetailRow()
    {
        QDataSet set;
        QDataTable *detail = logTable(set, QStringLiteral("t_b")); // added first, written second
        QDataTable *kept = logTable(set, QStringLiteral("t_c"));
        QDataTable *master = logTable(set, QStringLiteral("t_a"), 1);
        set.createDataLink("t_a", "id", "t_b", "id_master");
        set.createDataLink("t_a", "id", "t_c", "id_master");
        set.setChangingOrder({"t_a", "t_b"});
        detail->append(QStringLiteral("id_master"), -1LL);
        detail->append(QStringLiteral("id_master"), -1LL);
        kept->append(QStringLiteral("id_master"), -1LL);
        kept->setTableState(-2);

        QVERIFY(set.commit(m_fx->connection()));
        const QString key = master->getField(QStringLiteral("id"), 0).toString();
        QCOMPARE(logged(), QStringLiteral("t_a t_b:%1 t_b:%1").arg(key));
        QVERIFY(!detail->isModified());
        QCOMPARE(kept->getField(QStringLiteral("id_master"), 0).toLongLong(), -1LL);
    }

    // The module's document is built once and published before its tables
    // are made. Its tables open on the demo database, each select giving
    // every declared field; the tables that write, and only they, are in
    // the changing order, a master before its details.
    void getDocument_buildsOnceAndOpensOnDemoDatabase()
    {
        QDataSet *document = getDocument(&m_probe);
        QCOMPARE(m_probe.seen, document); // asked for while the tables were made
        QCOMPARE(m_probe.tablesSeen, 0);
        QObject other;
        QCOMPARE(getDocument(&other), document);
        QCOMPARE(document->parent(), &m_probe);
        QCOMPARE(document->tables().size(), 23);
        QCOMPARE(document->links().size(), 7);
        const QStringList order = document->changingOrder();

        QSqlQuery sample(m_fx->connection()->getDatabase());
        QVERIFY(sample.exec(QStringLiteral(
            "SELECT id AS id_process_exam, id AS n_key, coalesce(id_fault, 0) AS id_fault_code, "
            "coalesce(id_plan_order, 0) AS id_plan, coalesce(id_product_version, 0) AS id_version, "
            "coalesce(c_serial, '') AS c_serial, 0 AS id_unit, 0 AS id_store_order, "
            "'t_process_exam' AS c_table FROM docs.v_process_exam ORDER BY id LIMIT 1")));
        QVERIFY(sample.next());
        const QSqlRecord params = sample.record();
        for (QDataTable *table : document->tables()) {
            const QString name = table->objectName();
            QCOMPARE(table->getConnection(), m_fx->connection());
            const QString writes = table->insertSql() + table->updateSql() + table->deleteSql();
            QVERIFY2(writes.isEmpty() != order.contains(name), qPrintable(name));
            for (int i = 0; i < params.count(); ++i)
                table->setSelectParam(params.fieldName(i), params.value(i));
            if (name == QLatin1String("t_plan_order_repair")) {
                QVERIFY(!table->open()); // insert only
                continue;
            }
            QVERIFY2(table->open() && table->columnCount() > 0, qPrintable(name));
            QSqlQuery query(m_fx->connection()->getDatabase());
            m_fx->connection()->execScript(table->selectSql(), &query, table->selectParams());
            QVERIFY2(query.isActive(), qPrintable(name));
            for (const colInfo &column : table->getColumns())
                QVERIFY2(query.record().contains(column.name),
                         qPrintable(name + '.' + column.name));
        }
        // Every link joins columns of two tables, and its master is written first.
        for (const dataLink &link : document->links()) {
            QVERIFY(document->getTable(link.masterTable)->getColumns().contains(link.masterField));
            QVERIFY(document->getTable(link.detailTable)->getColumns().contains(link.detailField));
            QVERIFY(order.indexOf(link.masterTable) < order.indexOf(link.detailTable));
        }
        const qlonglong exam = params.value(0).toLongLong();
        QVERIFY(document->getTable(QStringLiteral("t_process_exam"))
                    ->locate(QStringLiteral("id"), exam) >= 0);
        QVERIFY(document->getTable(QStringLiteral("t_fault_code"))->rowCount() > 0);
        QVERIFY(document->getTable(QStringLiteral("t_process_exam_stage"))->rowCount() > 0);
    }
};

REJECTS_TEST_MAIN(TestDataSet)
#include "tst_dataset.moc"
