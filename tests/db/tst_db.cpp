// The database of the defect register: the script store, the statements the
// clients quote, and the rules the database decides (document numbers, fault
// code numbering, status texts, merging, constraints). Statements are bound
// the way the system binds them: through the driver's entry points, after the
// driver has connected and logged in.

#include "pgdriverapi.h"
#include "testfixture.h"
#include "testmain.h"

#include <QDate>
#include <QFile>
#include <QLibrary>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <memory>

namespace {

const char connectionName[] = "tst_db";

// The scripts run with positional values, and how many each takes; all
// others take named values.
const QMap<QString, int> positionalScripts = {{"PROC_EXAM_MERGE", 2},
                                              {"FILE_OWNER_COPY", 3},
                                              {"FILE_BYTEA_INSERT", 3},
                                              {"DOC_TEMPLATE_SELECT_ONCE", 1}};

// The placeholders of a statement as the connection finds them: the pieces
// between blanks, commas and parentheses that begin with ":".
QStringList placeholders(const QString &sql)
{
    static const QRegularExpression separators(QStringLiteral("[ ,()]"));
    QStringList found;
    const QStringList pieces = sql.split(separators);
    for (const QString &piece : pieces)
        if (piece.startsWith(QLatin1Char(':')))
            found << piece;
    return found;
}

} // namespace

class TestDb : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void scriptStore_data();
    void scriptStore();

    void selects_data();
    void selects();

    void newDefect_getsDocumentNumberAndStatus();
    void defectUpdate_statusFollowsDecision_data();
    void defectUpdate_statusFollowsDecision();
    void defectDelete_onlyWhileNotAnalysed();
    void discussionInsert_returnsRowWithAuthor();
    void linkRows_storedOncePerPair_data();
    void linkRows_storedOncePerPair();
    void repairPlan_insertAndContent();
    void files_storedInDatabaseAttachedAndDetached();
    void merge_movesDiscussionPicturesLinksAndRemovesSource();
    void constraints_refuseOrphansAndDefectWithoutStage_data();
    void constraints_refuseOrphansAndDefectWithoutStage();
    void implausibleValues_refusedWithReason_data();
    void implausibleValues_refusedWithReason();
    void updates_refuseStaleVersionNamingChanger_data();
    void updates_refuseStaleVersionNamingChanger();
    void defectGone_updateAndDeleteRefused();
    void defectUpdate_withoutVersionKeepsFieldsNotGiven();
    void planSearch_takesUserTextLiterally_data();
    void planSearch_takesUserTextLiterally();

private:
    QSqlDatabase db() const { return QSqlDatabase::database(QLatin1String(connectionName), false); }
    QString script(const QString &name) const { return m_getScript(name); }
    // Named values, as a table's record or its select parameters; names that
    // the values lack are bound as invalid values (the driver's NULL).
    QSqlQuery run(const QString &sql, const QVariantMap &values = QVariantMap());
    // Positional values, with the connection's "NULL" pre-pass.
    QSqlQuery runPositional(const QString &sql, const QVariantList &values);
    QSqlQuery runScript(const QString &name, const QVariantMap &values = QVariantMap())
    {
        return run(script(name), values);
    }
    // Runs a statement that must fail, keeping the test's transaction usable.
    QString failure(const QString &name, const QVariantMap &values);
    QString failureSql(const QString &sql);
    qlonglong value(const QString &sql);

    std::unique_ptr<TestFixture> m_fx;
    QLibrary m_driver;
    PgConnectFn m_connect = nullptr;
    PgLoginFn m_login = nullptr;
    PgGetScriptFn m_getScript = nullptr;
    PgBindQueryParamFn m_bind = nullptr;
    qlonglong m_userId = 0;
};

void TestDb::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("db"), TestFixture::DatabaseOnly);
    m_fx->db().makeDefault();
    m_driver.setFileName(PgTestDb::driverPath());
    QVERIFY2(m_driver.load(), qPrintable(m_driver.errorString()));
    m_connect = reinterpret_cast<PgConnectFn>(m_driver.resolve("Connect"));
    m_login = reinterpret_cast<PgLoginFn>(m_driver.resolve("login"));
    m_getScript = reinterpret_cast<PgGetScriptFn>(m_driver.resolve("getScript"));
    m_bind = reinterpret_cast<PgBindQueryParamFn>(m_driver.resolve("bindQueryParam"));
    QVERIFY(m_connect && m_login && m_getScript && m_bind);

    QVariant status;
    m_connect(status, QLatin1String(connectionName), true);
    QCOMPARE(status.toString(), QStringLiteral("Ok"));
    QVERIFY(m_login(QStringLiteral("kuznetsova"), QStringLiteral("kuznetsova")));
    m_userId = value(QStringLiteral("SELECT id FROM sys.t_user WHERE c_login = 'kuznetsova'"));
    QVERIFY(m_userId > 0);
}

void TestDb::cleanupTestCase()
{
    if (QSqlDatabase::contains(QLatin1String(connectionName))) {
        db().close();
        QSqlDatabase::removeDatabase(QLatin1String(connectionName));
    }
    m_fx.reset();
}

// Every case works inside a transaction that is rolled back, so the demo
// data stays as loaded.
void TestDb::init()
{
    QVERIFY(db().transaction());
}

void TestDb::cleanup()
{
    db().rollback();
}

QSqlQuery TestDb::run(const QString &sql, const QVariantMap &values)
{
    QString text = sql;
    for (const QString &placeholder : placeholders(sql)) {
        const QString name = placeholder.mid(1);
        text = m_bind(text, name, values.value(name));
    }
    QSqlQuery query(db());
    if (!query.exec(text))
        qWarning().noquote() << "statement failed:" << text << query.lastError().text();
    return query;
}

QSqlQuery TestDb::runPositional(const QString &sql, const QVariantList &values)
{
    QString text = m_bind(sql, QStringLiteral("NULL"), QVariant(QStringLiteral("NULL")));
    const QStringList found = placeholders(text);
    if (found.size() == values.size())
        for (int i = 0; i < found.size(); ++i)
            text = m_bind(text, found.at(i).mid(1), values.at(i));
    QSqlQuery query(db());
    if (!query.exec(text))
        qWarning().noquote() << "statement failed:" << text << query.lastError().text();
    return query;
}

QString TestDb::failureSql(const QString &sql)
{
    QSqlQuery sp(db());
    sp.exec(QStringLiteral("SAVEPOINT expected_failure"));
    QSqlQuery q(db());
    const bool ok = q.exec(sql);
    const QString error = ok ? QString() : q.lastError().text();
    sp.exec(ok ? QStringLiteral("RELEASE SAVEPOINT expected_failure")
               : QStringLiteral("ROLLBACK TO SAVEPOINT expected_failure"));
    return error;
}

QString TestDb::failure(const QString &name, const QVariantMap &values)
{
    QString text = script(name);
    for (const QString &placeholder : placeholders(text))
        text = m_bind(text, placeholder.mid(1), values.value(placeholder.mid(1)));
    return failureSql(text);
}

qlonglong TestDb::value(const QString &sql)
{
    QSqlQuery q(db());
    if (!q.exec(sql) || !q.next())
        return -1;
    return q.value(0).toLongLong();
}

// ------------------------------------------------------------ the store ---

void TestDb::scriptStore_data()
{
    QTest::addColumn<QString>("name");
    QSqlQuery q(db());
    QVERIFY(q.exec(QStringLiteral("SELECT c_name FROM sys.t_script ORDER BY c_name")));
    while (q.next())
        QTest::newRow(qPrintable(q.value(0).toString())) << q.value(0).toString();
    for (const QString &name : positionalScripts.keys())
        QVERIFY2(!script(name).isEmpty(), qPrintable(name + " missing from the store"));
}

// Every stored script's placeholders are what the connection's splitter
// finds (a clean name followed by a blank, comma or parenthesis), it uses no
// "::" casts, and a positional script names one placeholder per value (so no
// :UserID there).
void TestDb::scriptStore()
{
    QFETCH(QString, name);
    const QString text = script(name);
    QVERIFY2(!text.contains(QLatin1String("::")), "a \"::\" cast looks like a placeholder");

    static const QRegularExpression cleanName(QStringLiteral("^:[A-Za-z_][A-Za-z0-9_]*$"));
    static const QRegularExpression anyPlaceholder(
        QStringLiteral("(?<![A-Za-z0-9_'\"]):[A-Za-z_]"));
    const QStringList found = placeholders(text);
    for (const QString &p : found)
        QVERIFY2(cleanName.match(p).hasMatch(), qPrintable(QStringLiteral("bad placeholder ") + p));
    QCOMPARE(found.size(), text.count(anyPlaceholder));
    if (positionalScripts.contains(name)) {
        const int arity = positionalScripts.value(name);
        QCOMPARE(found.size(), arity);
        QCOMPARE(QSet<QString>(found.begin(), found.end()).size(), arity);
    }
}

// ------------------------------------------------------------- selects ---

// The select scripts on the demo data: each runs and finds at least the rows
// the demo data holds for it (a broken join or filter loses rows).
void TestDb::selects_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("params");
    QTest::addColumn<int>("minRows");

    auto id = [this](const char *sql) { return value(QString::fromUtf8(sql)); };
    const qlonglong openDefect =
        id("SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'После прогона 24 ч%'");
    const qlonglong km3Defect =
        id("SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'Рекламация%'");
    const qlonglong appeal = id("SELECT min(id) FROM qms.t_customer_appeal "
                                "WHERE c_text LIKE 'Контроллер%'");
    const QVariantMap ofDefect{{"id_process_exam", openDefect}};

    QTest::newRow("PROC_EXAM_SELECT") << "PROC_EXAM_SELECT" << QVariantMap() << 14;
    QTest::newRow("PROC_EXAM_STAGE_SELECT") << "PROC_EXAM_STAGE_SELECT" << QVariantMap() << 6;
    QTest::newRow("PROC_EXAM_DISC_SELECT") << "PROC_EXAM_DISC_SELECT" << ofDefect << 2;
    QTest::newRow("PROD_UNITS_SELECT") << "PROD_UNITS_SELECT" << QVariantMap() << 4;
    QTest::newRow("ITEM_FAMILY_BY_UNIT_SELECT")
        << "ITEM_FAMILY_BY_UNIT_SELECT" << QVariantMap() << 8;
    QTest::newRow("PLAN_ORDER_FOR_REJECT_SELECT all")
        << "PLAN_ORDER_FOR_REJECT_SELECT" << QVariantMap() << 6;
    QTest::newRow("PLAN_ORDER_FOR_REJECT_SELECT unit, version, serial")
        << "PLAN_ORDER_FOR_REJECT_SELECT"
        << QVariantMap{{"id_unit", id("SELECT id FROM prod.t_reference_units "
                                      "WHERE c_name = 'Цех сборки печатных плат'")},
                       {"id_version", id("SELECT id FROM inv.t_product_version WHERE c_part_num = "
                                         "'АБВГ.421457.010-01'")},
                       {"c_serial", "КМ3-26"}}
        << 1;
    QTest::newRow("PLAN_ORDER_TYPE_SELECT") << "PLAN_ORDER_TYPE_SELECT" << QVariantMap() << 3;
    QTest::newRow("PLAN_ORDER_CONTENT_SELECT")
        << "PLAN_ORDER_CONTENT_SELECT"
        << QVariantMap{{"id_store_order", id("SELECT id FROM docs.t_plan_order WHERE c_coment = "
                                             "'Ремонт БП-24 по замечаниям ПСИ'")}}
        << 3;
    QTest::newRow("FILE_OWNER_SELECT pictures")
        << "FILE_OWNER_SELECT" << QVariantMap{{"c_table", "t_process_exam"}, {"n_key", openDefect}}
        << 1;
    QTest::newRow("FILE_OWNER_SELECT appeal files")
        << "FILE_OWNER_SELECT" << QVariantMap{{"c_table", "t_customer_appeal"}, {"n_key", appeal}}
        << 1;
    QTest::newRow("FILE_USE_SELECT")
        << "FILE_USE_SELECT"
        << QVariantMap{{"id", id("SELECT id FROM lrg.t_file WHERE c_file = 'rs485_log_km3.png'")}}
        << 2;
    QTest::newRow("FAULT_TYPE_SELECT") << "FAULT_TYPE_SELECT" << QVariantMap() << 5;
    QTest::newRow("FAULT_CODE_SELECT") << "FAULT_CODE_SELECT" << QVariantMap() << 15;
    QTest::newRow("PROCESS_WORK_REJECT_SELECT") << "PROCESS_WORK_REJECT_SELECT" << ofDefect << 1;
    QTest::newRow("QUALITY_CONTROL_WORKS_REJECT_SELECT")
        << "QUALITY_CONTROL_WORKS_REJECT_SELECT" << ofDefect << 1;
    QTest::newRow("REJECT_NOTIFICATION_SELECT")
        << "REJECT_NOTIFICATION_SELECT" << QVariantMap{{"id_process_exam", km3Defect}} << 1;
    QTest::newRow("ALL_ITEM_FAMILY_SELECT") << "ALL_ITEM_FAMILY_SELECT" << QVariantMap() << 10;
    QTest::newRow("ALL_ITEM_TYPE_SELECT") << "ALL_ITEM_TYPE_SELECT" << QVariantMap() << 7;
    QTest::newRow("FAMILY_IN_STORAGE_SELECT") << "FAMILY_IN_STORAGE_SELECT" << QVariantMap() << 10;
    QTest::newRow("TYPES_FOR_PRODUCTS_SELECT") << "TYPES_FOR_PRODUCTS_SELECT" << QVariantMap() << 4;
    QTest::newRow("PRODUCT_SELECT") << "PRODUCT_SELECT" << QVariantMap() << 6;
    QTest::newRow("PRODUCT_VERSION_SELECT") << "PRODUCT_VERSION_SELECT" << QVariantMap() << 8;
    QTest::newRow("GET_USER_BY_RIGHT")
        << "GET_USER_BY_RIGHT" << QVariantMap{{"c_right_list", "TASK_EXECUTOR"}} << 4;
    QTest::newRow("DOC_TEMPLATE_SELECT_GROUP")
        << "DOC_TEMPLATE_SELECT_GROUP" << QVariantMap{{"c_type", "t_process_exam"}} << 1;
}

void TestDb::selects()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, params);
    QFETCH(int, minRows);

    QSqlQuery q = runScript(name, params);
    QVERIFY2(q.isActive() && q.isSelect(), qPrintable(q.lastError().text()));
    int rows = 0;
    while (q.next())
        ++rows;
    QVERIFY2(rows >= minRows, qPrintable(QStringLiteral("%1 rows").arg(rows)));
}

// ------------------------------------------------------------- defects ---

namespace {

// A defect row as the defect table holds it before its first commit.
QVariantMap newDefect(const QString &stage)
{
    return {{"id", -1},
            {"n_pics", 0},
            {"c_name", "Новый дефект"},
            {"c_exam_stage_sys_name", stage},
            {"c_description", "Трещина корпуса у разъема питания"},
            {"b_reject", false}};
}

} // namespace

void TestDb::newDefect_getsDocumentNumberAndStatus()
{
    QVariantMap defect = newDefect(QStringLiteral("ACCEPTANCE"));
    defect["id_plan_order"] =
        value(QStringLiteral("SELECT id FROM docs.t_plan_order WHERE c_coment LIKE 'КМ-3%'"));
    defect["id_fault"] =
        value(QStringLiteral("SELECT id FROM qms.t_fault_code WHERE c_name = 'MHCS-3'"));
    QSqlQuery q = runScript(QStringLiteral("PROC_EXAM_INSERT"), defect);
    QVERIFY2(q.isActive(), qPrintable(q.lastError().text()));
    QVERIFY(q.first());
    const QSqlRecord row = q.record();
    QVERIFY(row.value("id").toLongLong() > 0);
    QVERIFY2(QRegularExpression(QStringLiteral("^ДЕФ-\\d{6}$"))
                 .match(row.value("c_name").toString())
                 .hasMatch(),
             qPrintable(row.value("c_name").toString()));
    QCOMPARE(row.value("c_status").toString(), QStringLiteral("Не проанализировано"));
    QCOMPARE(row.value("c_exam_stage").toString(), QStringLiteral("Приемо-сдаточные испытания"));
    QCOMPARE(row.value("c_fault").toString(), QStringLiteral("MHCS-3"));
    QCOMPARE(row.value("c_creator").toString(), QStringLiteral("Кузнецова А.С."));
    QCOMPARE(row.value("c_version").toString(), QStringLiteral("исп. 02 Контроллер КМ-3"));
    QVERIFY(!row.value("id_product_version").isNull());
    QCOMPARE(row.value("n_pics").toInt(), 0);
    QVERIFY(row.value("d_create").toDateTime().isValid());

    // The next defect takes the next number.
    QSqlQuery next = runScript(QStringLiteral("PROC_EXAM_INSERT"), newDefect("INCOMING"));
    QVERIFY(next.first());
    const int n1 = row.value("c_name").toString().mid(4).toInt();
    const int n2 = next.record().value("c_name").toString().mid(4).toInt();
    QCOMPARE(n2, n1 + 1);
}

void TestDb::defectUpdate_statusFollowsDecision_data()
{
    QTest::addColumn<QString>("solution");
    QTest::addColumn<bool>("reject");
    QTest::addColumn<bool>("reaction");
    QTest::addColumn<QString>("status");
    QTest::newRow("open") << "" << false << false << "Не проанализировано";
    QTest::newRow("open, flags left over") << "" << false << true << "Не проанализировано";
    QTest::newRow("analysed") << "Изделие годно." << false << false << "Проанализировано";
    QTest::newRow("rejected") << "Изделие забраковано." << true << true << "Забракован";
    QTest::newRow("preventive actions")
        << "Заменен компонент." << false << true << "Требуются предупреждающие действия";
}

void TestDb::defectUpdate_statusFollowsDecision()
{
    QFETCH(QString, solution);
    QFETCH(bool, reject);
    QFETCH(bool, reaction);
    QFETCH(QString, status);

    QSqlQuery select = runScript(QStringLiteral("PROC_EXAM_SELECT"));
    QVERIFY(select.first());
    // The open БП-48 defect without decision; the record as the list holds it.
    QSqlRecord record;
    do {
        if (select.record().value("c_description").toString().startsWith("Смещение дросселя"))
            record = select.record();
    } while (select.next());
    QVERIFY(!record.isEmpty());
    QVariantMap row;
    for (int i = 0; i < record.count(); ++i)
        row[record.fieldName(i)] = record.value(i);
    row["c_solution"] = solution;
    row["b_reject"] = reject && !solution.isEmpty();
    row["b_reaction"] = reaction;
    row["c_exam_stage_sys_name"] = "ACCEPTANCE";

    QSqlQuery q = runScript(QStringLiteral("PROC_EXAM_UPDATE"), row);
    QVERIFY2(q.first(), qPrintable(q.lastError().text()));
    QCOMPARE(q.record().value("c_status").toString(), status);
    QCOMPARE(q.record().value("c_solution").toString(), solution);
    QCOMPARE(q.record().value("c_exam_stage").toString(),
             QStringLiteral("Приемо-сдаточные испытания"));
    QCOMPARE(q.record().value("c_name").toString(), record.value("c_name").toString());
    QCOMPARE(value(QStringLiteral("SELECT count(*) FROM docs.t_process_exam WHERE id = %1 AND "
                                  "(d_solution IS NOT NULL) = %2")
                       .arg(record.value("id").toLongLong())
                       .arg(solution.isEmpty() ? "false" : "true")),
             1LL);
}

void TestDb::defectDelete_onlyWhileNotAnalysed()
{
    const qlonglong open = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'После прогона 24 ч%'"));
    const qlonglong decided = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'Пробой изоляции%'"));

    QVERIFY(failure(QStringLiteral("PROC_EXAM_DELETE"), {{"id", decided}})
                .contains(QStringLiteral("проанализирован")));
    QCOMPARE(
        value(
            QStringLiteral("SELECT count(*) FROM docs.t_process_exam WHERE id = %1").arg(decided)),
        1LL);

    QSqlQuery q = runScript(QStringLiteral("PROC_EXAM_DELETE"), {{"id", open}});
    QVERIFY2(q.first(), qPrintable(q.lastError().text()));
    QCOMPARE(q.record().value("id").toLongLong(), open);
    // The defect goes with its discussion, links, pictures and document.
    QCOMPARE(value(QStringLiteral("SELECT (SELECT count(*) FROM docs.t_process_exam WHERE id = %1)"
                                  " + (SELECT count(*) FROM docs.t_process_exam_disc WHERE "
                                  "id_process_exam = %1) + (SELECT count(*) FROM "
                                  "prod.tl_process_work_reject WHERE id_process_exam = %1) + "
                                  "(SELECT count(*) FROM lrg.t_file_owner WHERE c_table = "
                                  "'t_process_exam' AND n_key = %1) + (SELECT count(*) FROM "
                                  "docs.t_doc WHERE c_name = '%2')")
                       .arg(open)
                       .arg(q.record().value("c_name").toString())),
             0LL);
}

void TestDb::discussionInsert_returnsRowWithAuthor()
{
    const qlonglong defect = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'Ток потребления%'"));
    QSqlQuery q = runScript(QStringLiteral("PROC_EXAM_DISC_INSERT"),
                            {{"id", -1},
                             {"c_author", "Кузнецова А.С."},
                             {"c_text", "Прошу заменить DC/DC и повторить ПСИ."},
                             {"id_process_exam", defect}});
    QVERIFY2(q.first(), qPrintable(q.lastError().text()));
    QVERIFY(q.record().value("id").toLongLong() > 0);
    QCOMPARE(q.record().value("c_author").toString(), QStringLiteral("Кузнецова А.С."));
    QCOMPARE(q.record().value("id_author").toLongLong(), m_userId);
    QVERIFY(q.record().value("d_create").toDateTime().isValid());

    QSqlQuery list =
        runScript(QStringLiteral("PROC_EXAM_DISC_SELECT"), {{"id_process_exam", defect}});
    QVERIFY(list.last());
    QCOMPARE(list.record().value("c_text").toString(),
             QStringLiteral("Прошу заменить DC/DC и повторить ПСИ."));

    // An empty comment is refused.
    QVERIFY(!failure(QStringLiteral("PROC_EXAM_DISC_INSERT"),
                     {{"c_text", ""}, {"id_process_exam", defect}})
                 .isEmpty());
}

// ---------------------------------------------------------- link rows ---

void TestDb::linkRows_storedOncePerPair_data()
{
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("target");
    QTest::newRow("production works") << "PROCESS_WORK_REJECT"
                                      << "id_process_work"
                                      << "SELECT max(id) FROM prod.t_process_work";
    QTest::newRow("quality-control works") << "QUALITY_CONTROL_WORKS_REJECT"
                                           << "id_quality_control_works"
                                           << "SELECT max(id) FROM qms.t_quality_control_works";
    QTest::newRow("notified users") << "REJECT_NOTIFICATION"
                                    << "id_user"
                                    << "SELECT id FROM sys.t_user WHERE c_login = 'volkov'";
}

// Saving twice does not duplicate a link: the second insert returns the
// stored row. Deleting works by id or by the pair.
void TestDb::linkRows_storedOncePerPair()
{
    QFETCH(QString, prefix);
    QFETCH(QString, field);
    QFETCH(QString, target);
    const qlonglong defect = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'Ток потребления%'"));
    const QVariantMap link{{"id", QVariant()}, {"id_process_exam", defect}, {field, value(target)}};

    QSqlQuery first = runScript(prefix + "_INSERT", link);
    QVERIFY2(first.first(), qPrintable(first.lastError().text()));
    const qlonglong id = first.record().value("id").toLongLong();
    QVERIFY(id > 0);
    QCOMPARE(first.record().value(field).toLongLong(), value(target));
    QSqlQuery again = runScript(prefix + "_INSERT", link);
    QVERIFY(again.first());
    QCOMPARE(again.record().value("id").toLongLong(), id);

    int rows = 0;
    QSqlQuery list = runScript(prefix + "_SELECT", {{"id_process_exam", defect}});
    while (list.next())
        rows += list.record().value(field).toLongLong() == value(target);
    QCOMPARE(rows, 1);

    QSqlQuery del = runScript(prefix + "_DELETE",
                              {{"id", -5}, {"id_process_exam", defect}, {field, value(target)}});
    QVERIFY(del.first());
    QCOMPARE(del.record().value("id").toLongLong(), id);
    rows = 0;
    QSqlQuery after = runScript(prefix + "_SELECT", {{"id_process_exam", defect}});
    while (after.next())
        rows += after.record().value(field).toLongLong() == value(target);
    QCOMPARE(rows, 0);
}

// ------------------------------------------------------- repair plans ---

void TestDb::repairPlan_insertAndContent()
{
    const qlonglong unit = value(
        QStringLiteral("SELECT id FROM prod.t_reference_units WHERE c_name = 'Участок окраски'"));
    const qlonglong type =
        value(QStringLiteral("SELECT id FROM docs.t_plan_order_type WHERE c_name = 'Ремонтный'"));
    QSqlQuery plan = runScript(QStringLiteral("PLAN_ORDER_INSERT"),
                               {{"id", -1},
                                {"c_coment", "Перекраска двери ШУ-10"},
                                {"id_unit", unit},
                                {"id_prod_ver", QVariant()},
                                {"id_type", type},
                                {"n_priority", 700},
                                {"n_qnt", 1},
                                {"d_shipment_plan", QDate::currentDate().addDays(10)}});
    QVERIFY2(plan.first(), qPrintable(plan.lastError().text()));
    const qlonglong planId = plan.record().value("id").toLongLong();
    QVERIFY(planId > 0);
    QVERIFY(plan.record().value("c_name").toString().startsWith(QStringLiteral("ПЛ-")));
    QCOMPARE(plan.record().value("id_store_order").toLongLong(), planId);
    QCOMPARE(plan.record().value("d_shipment_plan").toDate(), QDate::currentDate().addDays(10));

    const qlonglong family =
        value(QStringLiteral("SELECT id FROM dirs.t_item_family WHERE c_name LIKE 'Эмаль%'"));
    QSqlQuery item =
        runScript(QStringLiteral("PLAN_ORDER_CONTENT_INSERT"), {{"id", -1},
                                                                {"c_name", "Эмаль"},
                                                                {"id_store_order", planId},
                                                                {"id_item_family", family},
                                                                {"n_qnt_require", 1.5}});
    QVERIFY2(item.first(), qPrintable(item.lastError().text()));
    const qlonglong itemId = item.record().value("id").toLongLong();
    QCOMPARE(item.record().value("c_name").toString(), QStringLiteral("Эмаль порошковая RAL 7035"));
    QCOMPARE(item.record().value("n_qnt_require").toDouble(), 1.5);

    QSqlQuery upd =
        runScript(QStringLiteral("PLAN_ORDER_CONTENT_UPDATE"), {{"id", itemId},
                                                                {"id_store_order", planId},
                                                                {"id_item_family", family},
                                                                {"n_qnt_require", 2.25},
                                                                {"n_qnt_giveout", QVariant()}});
    QVERIFY2(upd.first(), qPrintable(upd.lastError().text()));
    QCOMPARE(upd.record().value("n_qnt_require").toDouble(), 2.25);
    QVERIFY(upd.record().value("n_qnt_giveout").isNull());

    // A closed plan takes no changes.
    QVERIFY(
        failureSql(
            QStringLiteral("UPDATE docs.t_plan_order SET id_state = 2 WHERE id = %1").arg(planId))
            .isEmpty());
    QVERIFY(!failure(QStringLiteral("PLAN_ORDER_CONTENT_DELETE"), {{"id", itemId}}).isEmpty());
    QVERIFY(
        failureSql(
            QStringLiteral("UPDATE docs.t_plan_order SET id_state = 1 WHERE id = %1").arg(planId))
            .isEmpty());
    QSqlQuery del = runScript(QStringLiteral("PLAN_ORDER_CONTENT_DELETE"), {{"id", itemId}});
    QVERIFY(del.first());
    QCOMPARE(del.record().value("id").toLongLong(), itemId);
}

// --------------------------------------------------------------- files ---

void TestDb::files_storedInDatabaseAttachedAndDetached()
{
    const qlonglong defect = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'Ток потребления%'"));
    const QByteArray bytes("\x89PNG\r\n\x1a\nnot really a picture", 28);

    // The shared directory could not be written: the content goes to the database.
    QSqlQuery stored = runPositional(script(QStringLiteral("FILE_BYTEA_INSERT")),
                                     {QStringLiteral("dcdc_2026-11-21.png"), bytes, false});
    QVERIFY2(stored.first(), qPrintable(stored.lastError().text()));
    const qlonglong fileId = stored.record().value("id").toLongLong();
    QVERIFY(fileId > 0);

    // The picture row of the defect is then inserted by name.
    QSqlQuery attached =
        runScript(QStringLiteral("FILE_OWNER_INSERT"), {{"id", -1},
                                                        {"c_file", "dcdc_2026-11-21.png"},
                                                        {"n_size", bytes.size()},
                                                        {"c_table", "t_process_exam"},
                                                        {"n_key", defect},
                                                        {"c_comment", "Плата DC/DC"},
                                                        {"bl_file", bytes},
                                                        {"n_crc", 12345}});
    QVERIFY2(attached.first(), qPrintable(attached.lastError().text()));
    QCOMPARE(attached.record().value("id").toLongLong(), fileId);
    QCOMPARE(attached.record().value("c_comment").toString(), QStringLiteral("Плата DC/DC"));
    QCOMPARE(attached.record().value("id_creator").toLongLong(), m_userId);

    QSqlQuery content =
        run(QStringLiteral("SELECT lrg.bl_get_file('dcdc_2026-11-21.png', :bHelp);"),
            {{"bHelp", false}});
    QVERIFY(content.first());
    QCOMPARE(content.value(0).toByteArray(), bytes);
    QCOMPARE(runScript("PROC_EXAM_SELECT").isActive(), true);
    QCOMPARE(
        value(QStringLiteral("SELECT n_pics FROM docs.v_process_exam WHERE id = %1").arg(defect)),
        1LL);

    // A file written to the shared directory gets its row from the insert.
    QSqlQuery onDisk =
        runScript(QStringLiteral("FILE_OWNER_INSERT"), {{"id", -2},
                                                        {"c_file", "dcdc_side.png"},
                                                        {"n_size", 1000},
                                                        {"c_table", "t_process_exam"},
                                                        {"n_key", defect},
                                                        {"n_crc", 777}});
    QVERIFY2(onDisk.first(), qPrintable(onDisk.lastError().text()));
    const qlonglong diskId = onDisk.record().value("id").toLongLong();
    QVERIFY(diskId != fileId);
    QCOMPARE(
        value(QStringLiteral("SELECT count(*) FROM lrg.t_file WHERE id = %1 AND bl_file IS NULL")
                  .arg(diskId)),
        1LL);

    QSqlQuery comment =
        runScript(QStringLiteral("FILE_OWNER_UPDATE"), {{"id", fileId},
                                                        {"c_table", "t_process_exam"},
                                                        {"n_key", defect},
                                                        {"c_comment", "Плата DC/DC, вид сверху"},
                                                        {"bl_file", bytes}});
    QVERIFY2(comment.first(), qPrintable(comment.lastError().text()));
    QCOMPARE(comment.record().value("c_comment").toString(),
             QStringLiteral("Плата DC/DC, вид сверху"));

    // Attach the same stored file to an appeal, then detach it from the defect:
    // the file stays while the appeal uses it.
    const qlonglong appeal = value(QStringLiteral("SELECT min(id) FROM qms.t_customer_appeal"));
    QSqlQuery copy = runPositional(script(QStringLiteral("FILE_OWNER_COPY")),
                                   {QStringLiteral("t_customer_appeal"), appeal, fileId});
    QVERIFY2(copy.first(), qPrintable(copy.lastError().text()));
    QCOMPARE(copy.record().value("id").toLongLong(), fileId);

    QSqlQuery detach =
        runScript(QStringLiteral("FILE_OWNER_DELETE"),
                  {{"id", fileId}, {"c_table", "t_process_exam"}, {"n_key", defect}});
    QVERIFY(detach.first());
    QCOMPARE(detach.record().value("b_file_deleted").toBool(), false);
    QSqlQuery last =
        runScript(QStringLiteral("FILE_OWNER_DELETE"),
                  {{"id", fileId}, {"c_table", "t_customer_appeal"}, {"n_key", appeal}});
    QVERIFY(last.first());
    QCOMPARE(last.record().value("b_file_deleted").toBool(), true);
    QCOMPARE(value(QStringLiteral("SELECT count(*) FROM lrg.t_file WHERE id = %1").arg(fileId)),
             0LL);

    // File names are unique in the store.
    QVERIFY(!failureSql(QStringLiteral("INSERT INTO lrg.t_file (c_file) VALUES ('dcdc_side.png')"))
                 .isEmpty());
}

// --------------------------------------------------------------- merge ---

void TestDb::merge_movesDiscussionPicturesLinksAndRemovesSource()
{
    const qlonglong target = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'Ток потребления%'"));
    const qlonglong source = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'После прогона 24 ч%'"));
    auto count = [this](const QString &table, const QString &column, qlonglong id) {
        return value(
            QStringLiteral("SELECT count(*) FROM %1 WHERE %2 = %3").arg(table, column).arg(id));
    };
    const qlonglong targetDisc = count("docs.t_process_exam_disc", "id_process_exam", target);
    const qlonglong sourceDisc = count("docs.t_process_exam_disc", "id_process_exam", source);
    const qlonglong sourceWorks = count("prod.tl_process_work_reject", "id_process_exam", source);
    const qlonglong sourceQc =
        count("qms.tl_quality_control_works_reject", "id_process_exam", source);
    QVERIFY(sourceDisc > 0 && sourceWorks > 0 && sourceQc > 0);
    QCOMPARE(
        value(QStringLiteral("SELECT n_pics FROM docs.v_process_exam WHERE id = %1").arg(source)),
        1LL);
    const QString targetText = QStringLiteral("Ток потребления 180 мА при норме не более 150 мА.");

    QSqlQuery q = runPositional(script(QStringLiteral("PROC_EXAM_MERGE")), {target, source});
    QVERIFY2(q.first(), qPrintable(q.lastError().text()));
    QCOMPARE(q.record().value("id").toLongLong(), target);
    QCOMPARE(q.record().value("c_description").toString(), targetText);
    QCOMPARE(q.record().value("n_pics").toInt(), 1);

    QCOMPARE(count("docs.t_process_exam", "id", source), 0LL);
    QCOMPARE(count("docs.t_process_exam_disc", "id_process_exam", target), targetDisc + sourceDisc);
    QCOMPARE(count("prod.tl_process_work_reject", "id_process_exam", target), sourceWorks);
    QCOMPARE(count("qms.tl_quality_control_works_reject", "id_process_exam", target), sourceQc);
    QCOMPARE(value(QStringLiteral(
                       "SELECT count(*) FROM lrg.t_file_owner WHERE c_table = 't_process_exam' "
                       "AND n_key = %1")
                       .arg(source)),
             0LL);
    QCOMPARE(value(QStringLiteral("SELECT count(*) FROM lrg.t_file WHERE c_file = "
                                  "'2026-09-01_12-30_photo.png'")),
             1LL);

    // Merging a defect into itself or with one that is gone is refused.
    QVERIFY(
        !failureSql(QStringLiteral("SELECT * FROM docs.f_process_exam_merge(%1, %1)").arg(target))
             .isEmpty());
    QVERIFY(!failureSql(QStringLiteral("SELECT * FROM docs.f_process_exam_merge(%1, %2)")
                            .arg(target)
                            .arg(source))
                 .isEmpty());
}

// --------------------------------------------------------- constraints ---

void TestDb::constraints_refuseOrphansAndDefectWithoutStage_data()
{
    QTest::addColumn<QString>("sql");
    QTest::newRow("defect without stage")
        << "INSERT INTO docs.t_process_exam (id_creator, id_exam_stage) SELECT id, NULL FROM "
           "sys.t_user WHERE c_login = 'kuznetsova'";
    QTest::newRow("defect with unknown stage")
        << "SELECT * FROM docs.f_process_exam_insert(1, 'NO_SUCH_STAGE', NULL, NULL, NULL, NULL, "
           "'x', '', false, false, NULL)";
    QTest::newRow("discussion of no defect")
        << "INSERT INTO docs.t_process_exam_disc (id_process_exam, c_text) VALUES (-7, 'x')";
    QTest::newRow("notification of no defect")
        << "INSERT INTO qms.tl_reject_notification (id_process_exam, id_user) VALUES (-7, 1)";
    QTest::newRow("cause of no defect")
        << "INSERT INTO qms.tl_quality_control_works_reject (id_process_exam, "
           "id_quality_control_works) SELECT -7, min(id) FROM qms.t_quality_control_works";
    QTest::newRow("work of no defect")
        << "INSERT INTO prod.tl_process_work_reject (id_process_exam, id_process_work) "
           "SELECT -7, min(id) FROM prod.t_process_work";
    QTest::newRow("picture of no defect")
        << "INSERT INTO lrg.t_file_owner (id_file, c_table, n_key) SELECT min(id), "
           "'t_process_exam', 999999 FROM lrg.t_file";
    QTest::newRow("attachment of no file")
        << "INSERT INTO lrg.t_file_owner (id_file, c_table, n_key) SELECT -1, 't_process_exam', "
           "min(id) FROM docs.t_process_exam";
    QTest::newRow("stored file still attached")
        << "DELETE FROM lrg.t_file WHERE c_file = 'rs485_log_km3.png'";
    QTest::newRow("rejected without decision")
        << "UPDATE docs.t_process_exam SET b_reject = true, c_solution = '' WHERE id = (SELECT "
           "min(id) FROM docs.t_process_exam)";
    QTest::newRow("defect of unknown fault code")
        << "UPDATE docs.t_process_exam SET id_fault = -3 WHERE id = (SELECT min(id) FROM "
           "docs.t_process_exam)";
    QTest::newRow("two documents with one number")
        << "INSERT INTO docs.t_doc (c_name, c_doc_type) VALUES ('ДЕФ-000001', 'process_exam')";
}

void TestDb::constraints_refuseOrphansAndDefectWithoutStage()
{
    QFETCH(QString, sql);
    QVERIFY2(!failureSql(sql).isEmpty(), "the database accepted it");
}

// ------------------------------------------- values and concurrent saves ---

void TestDb::implausibleValues_refusedWithReason_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("reason");
    const QString content =
        QStringLiteral("UPDATE docs.t_store_order_content SET %1 WHERE id = (SELECT min(id) FROM "
                       "docs.t_store_order_content)");
    const QString plan = QStringLiteral(
        "UPDATE docs.t_plan_order SET d_shipment_plan = %1 WHERE id = (SELECT min(id) FROM "
        "docs.t_plan_order)");
    QTest::newRow("NaN quantity") << content.arg("n_qnt_require = 'NaN'") << "Требуемое количество";
    QTest::newRow("NaN given out") << content.arg("n_qnt_giveout = 'NaN'") << "Выданное количество";
    QTest::newRow("4713 BC") << plan.arg("'4713-01-01 BC'") << "Дата отгрузки";
    QTest::newRow("5874897 AD") << plan.arg("'5874897-12-31'") << "Дата отгрузки";
    QTest::newRow("infinity") << plan.arg("'infinity'") << "Дата отгрузки";
    QTest::newRow("work begun in 1899")
        << "UPDATE qms.t_quality_control_works SET d_start = '1899-12-31' WHERE id = (SELECT "
           "min(id) FROM qms.t_quality_control_works)"
        << "Дата начала";
}

void TestDb::implausibleValues_refusedWithReason()
{
    QFETCH(QString, sql);
    QFETCH(QString, reason);
    const QString error = failureSql(sql);
    QVERIFY2(error.contains(reason), qPrintable(error));
}

void TestDb::updates_refuseStaleVersionNamingChanger_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("row");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("defect") << "PROC_EXAM_UPDATE"
                            << "SELECT * FROM docs.v_process_exam WHERE c_description LIKE "
                               "'Смещение дросселя%'"
                            << "c_solution" << QVariant("Изделие годно.");
    QTest::newRow("fault code") << "FAULT_CODE_UPDATE"
                                << "SELECT * FROM qms.t_fault_code WHERE c_name = 'KIT-2'"
                                << "c_description" << QVariant("Нет паспорта и этикетки");
    QTest::newRow("fault type") << "FAULT_TYPE_UPDATE"
                                << "SELECT * FROM qms.t_fault_type WHERE c_sys_name = 'KIT'"
                                << "c_name" << QVariant("Комплектность поставки");
    QTest::newRow("order item")
        << "PLAN_ORDER_CONTENT_UPDATE"
        << "SELECT * FROM docs.t_store_order_content WHERE id_store_order IN (SELECT id FROM "
           "docs.t_plan_order WHERE id_state <> 2) ORDER BY id LIMIT 1"
        << "n_qnt_require" << QVariant(7);
    QTest::newRow("stored file") << "FILE_OWNER_UPDATE"
                                 << "SELECT * FROM lrg.v_file_owner ORDER BY id LIMIT 1"
                                 << "c_comment" << QVariant("Снимок платы");
}

// Two users hold the same record; the first one's save raises the version,
// the second one's (from the older copy) is refused and names the first.
void TestDb::updates_refuseStaleVersionNamingChanger()
{
    QFETCH(QString, script);
    QFETCH(QString, row);
    QFETCH(QString, field);
    QFETCH(QVariant, value);

    QSqlQuery read(db());
    QVERIFY2(read.exec(row) && read.next(), qPrintable(read.lastError().text()));
    QVariantMap record;
    for (int i = 0; i < read.record().count(); ++i)
        record[read.record().fieldName(i)] = read.value(i);
    const int version = record.value("n_version").toInt();
    QVERIFY(version > 0);

    QVariantMap mine = record;
    mine[field] = value;
    QSqlQuery saved = runScript(script, mine);
    QVERIFY2(saved.first(), qPrintable(saved.lastError().text()));
    QCOMPARE(saved.record().value("n_version").toInt(), version + 1);
    QCOMPARE(saved.record().value(field).toString(), value.toString());

    const QString stale = failure(script, record);
    QVERIFY2(stale.contains(QStringLiteral("Кузнецова А.С.")) &&
                 stale.contains(QDate::currentDate().toString(QStringLiteral("dd.MM.yyyy"))),
             qPrintable(stale));
    QSqlQuery now(db());
    QVERIFY(now.exec(row) && now.next());
    QCOMPARE(now.record().value(field).toString(), value.toString());
}

void TestDb::defectGone_updateAndDeleteRefused()
{
    QSqlQuery read = run(QStringLiteral("SELECT * FROM docs.v_process_exam WHERE c_description "
                                        "LIKE 'После прогона 24 ч%'"));
    QVERIFY(read.first());
    QVariantMap record;
    for (int i = 0; i < read.record().count(); ++i)
        record[read.record().fieldName(i)] = read.value(i);
    QVERIFY(run(QStringLiteral("DELETE FROM docs.t_process_exam WHERE id = %1")
                    .arg(record.value("id").toLongLong()))
                .isActive());
    QVERIFY(failure(QStringLiteral("PROC_EXAM_UPDATE"), record).contains("удалил"));
    QVERIFY(failure(QStringLiteral("PROC_EXAM_DELETE"), record).contains("удалил"));
}

// A record that carries only some fields (and no version) changes only those.
void TestDb::defectUpdate_withoutVersionKeepsFieldsNotGiven()
{
    const QString row = QStringLiteral(
        "SELECT * FROM docs.v_process_exam WHERE c_description LIKE 'Пробой изоляции%'");
    QSqlQuery before = run(row);
    QVERIFY(before.first());
    const QSqlRecord old = before.record();
    QSqlQuery saved = runScript(QStringLiteral("PROC_EXAM_UPDATE"),
                                {{"id", old.value("id")}, {"c_description", "Пробой изоляции."}});
    QVERIFY2(saved.first(), qPrintable(saved.lastError().text()));
    const QSqlRecord now = saved.record();
    QCOMPARE(now.value("c_description").toString(), QStringLiteral("Пробой изоляции."));
    for (const char *kept : {"c_solution", "b_reject", "b_reaction", "id_fault", "id_plan_order",
                             "id_production_group_content", "id_plan_order_repair", "c_exam_stage"})
        QVERIFY2(now.value(kept) == old.value(kept), kept);
}

void TestDb::planSearch_takesUserTextLiterally_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<bool>("found");
    QTest::newRow("percent") << "%" << false;
    QTest::newRow("underscore") << "_" << false;
    QTest::newRow("backslash") << "\\" << false;
    QTest::newRow("part of a serial") << "-" << true;
}

void TestDb::planSearch_takesUserTextLiterally()
{
    QFETCH(QString, serial);
    QFETCH(bool, found);
    QSqlQuery q = runScript(QStringLiteral("PLAN_ORDER_FOR_REJECT_SELECT"), {{"c_serial", serial}});
    QVERIFY2(q.isActive(), qPrintable(q.lastError().text()));
    QCOMPARE(q.first(), found);
}

REJECTS_TEST_MAIN(TestDb)
#include "tst_db.moc"
