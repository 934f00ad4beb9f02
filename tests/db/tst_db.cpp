// The database of the defect register: the script store, the statements the
// clients quote, and the rules the database decides (document numbers, fault
// code numbering, status texts, merging, constraints). Statements are bound
// the way the system binds them: through the driver's entry points, after the
// driver has connected and logged in.

#include "pgdriver.h"
#include "pgtestdb.h"
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

// Every named script of the system, with the parameters it is run with:
// "record" scripts take named values (a table's row or select parameters),
// "positional" ones a list of values in the given order.
struct ScriptInfo
{
    const char *name;
    bool positional;
    int arity; // positional scripts only
};

const ScriptInfo allScripts[] = {
    {"PROC_EXAM_SELECT", false, 0},
    {"PROC_EXAM_INSERT", false, 0},
    {"PROC_EXAM_UPDATE", false, 0},
    {"PROC_EXAM_DELETE", false, 0},
    {"PROC_EXAM_MERGE", true, 2},
    {"PROC_EXAM_STAGE_SELECT", false, 0},
    {"PROC_EXAM_DISC_SELECT", false, 0},
    {"PROC_EXAM_DISC_INSERT", false, 0},
    {"PROD_UNITS_SELECT", false, 0},
    {"ITEM_FAMILY_BY_UNIT_SELECT", false, 0},
    {"PLAN_ORDER_FOR_REJECT_SELECT", false, 0},
    {"PLAN_ORDER_TYPE_SELECT", false, 0},
    {"PLAN_ORDER_INSERT", false, 0},
    {"PLAN_ORDER_CONTENT_SELECT", false, 0},
    {"PLAN_ORDER_CONTENT_INSERT", false, 0},
    {"PLAN_ORDER_CONTENT_UPDATE", false, 0},
    {"PLAN_ORDER_CONTENT_DELETE", false, 0},
    {"FILE_OWNER_SELECT", false, 0},
    {"FILE_OWNER_INSERT", false, 0},
    {"FILE_OWNER_UPDATE", false, 0},
    {"FILE_OWNER_DELETE", false, 0},
    {"FILE_OWNER_COPY", true, 3},
    {"FILE_BYTEA_INSERT", true, 3},
    {"FILE_USE_SELECT", false, 0},
    {"FAULT_TYPE_SELECT", false, 0},
    {"FAULT_TYPE_INSERT", false, 0},
    {"FAULT_TYPE_UPDATE", false, 0},
    {"FAULT_TYPE_DELETE", false, 0},
    {"FAULT_CODE_SELECT", false, 0},
    {"FAULT_CODE_INSERT", false, 0},
    {"FAULT_CODE_UPDATE", false, 0},
    {"FAULT_CODE_DELETE", false, 0},
    {"PROCESS_WORK_REJECT_SELECT", false, 0},
    {"PROCESS_WORK_REJECT_INSERT", false, 0},
    {"PROCESS_WORK_REJECT_DELETE", false, 0},
    {"QUALITY_CONTROL_WORKS_REJECT_SELECT", false, 0},
    {"QUALITY_CONTROL_WORKS_REJECT_INSERT", false, 0},
    {"QUALITY_CONTROL_WORKS_REJECT_DELETE", false, 0},
    {"REJECT_NOTIFICATION_SELECT", false, 0},
    {"REJECT_NOTIFICATION_INSERT", false, 0},
    {"REJECT_NOTIFICATION_DELETE", false, 0},
    {"ALL_ITEM_FAMILY_SELECT", false, 0},
    {"ALL_ITEM_TYPE_SELECT", false, 0},
    {"FAMILY_IN_STORAGE_SELECT", false, 0},
    {"TYPES_FOR_PRODUCTS_SELECT", false, 0},
    {"PRODUCT_SELECT", false, 0},
    {"PRODUCT_VERSION_SELECT", false, 0},
    {"GET_USER_BY_RIGHT", false, 0},
    {"USER_ATTR_READ", false, 0},
    {"USER_ATTR_WRITE", false, 0},
    {"DOC_TEMPLATE_SELECT_GROUP", false, 0},
    {"DOC_TEMPLATE_SELECT_ONCE", true, 1},
};

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

QStringList fieldNames(const QSqlRecord &record)
{
    QStringList names;
    for (int i = 0; i < record.count(); ++i)
        names << record.fieldName(i);
    return names;
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
    void creationText_loadsAsOneStatementText();

    void selects_data();
    void selects();
    void quotedStatements_data();
    void quotedStatements();

    void newDefect_getsDocumentNumberAndStatus();
    void defectUpdate_statusFollowsDecision_data();
    void defectUpdate_statusFollowsDecision();
    void defectDelete_onlyWhileNotAnalysed();
    void discussionInsert_returnsRowWithAuthor();
    void faultCodes_numberedFromTypeCounter();
    void faultDictionary_updatesAndRefusals();
    void linkRows_storedOncePerPair_data();
    void linkRows_storedOncePerPair();
    void repairPlan_insertAndContent();
    void files_storedInDatabaseAttachedAndDetached();
    void userSettings_writeThenRead();
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
    void rights_ofDemoUsers();

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

    std::unique_ptr<PgTestDb> m_db;
    QLibrary m_driver;
    PgConnectFn m_connect = nullptr;
    PgLoginFn m_login = nullptr;
    PgGetScriptFn m_getScript = nullptr;
    PgBindQueryParamFn m_bind = nullptr;
    qlonglong m_userId = 0;
};

void TestDb::initTestCase()
{
    m_db = std::make_unique<PgTestDb>(QStringLiteral("tst_db"));
    QVERIFY2(m_db->isValid(), qPrintable(m_db->error()));
    m_db->makeDefault();
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
    m_db.reset();
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
    QTest::addColumn<bool>("positional");
    QTest::addColumn<int>("arity");
    for (const ScriptInfo &s : allScripts)
        QTest::newRow(s.name) << s.positional << s.arity;
}

// Each script exists under its exact name, its placeholders are what the
// connection's splitter finds (a clean name followed by a blank, comma or
// parenthesis), it uses no "::" casts, and a positional script names one
// placeholder per value (so no :UserID there).
void TestDb::scriptStore()
{
    QFETCH(bool, positional);
    QFETCH(int, arity);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    const QString text = script(name);
    QVERIFY2(!text.trimmed().isEmpty(), "script missing from the store");
    QVERIFY2(!text.contains(QLatin1String("::")), "a \"::\" cast looks like a placeholder");

    static const QRegularExpression cleanName(QStringLiteral("^:[A-Za-z_][A-Za-z0-9_]*$"));
    static const QRegularExpression anyPlaceholder(
        QStringLiteral("(?<![A-Za-z0-9_'\"]):[A-Za-z_]"));
    const QStringList found = placeholders(text);
    for (const QString &p : found)
        QVERIFY2(cleanName.match(p).hasMatch(), qPrintable(QStringLiteral("bad placeholder ") + p));
    QCOMPARE(found.size(), text.count(anyPlaceholder));
    if (positional) {
        QCOMPARE(found.size(), arity);
        QVERIFY(!found.contains(QStringLiteral(":UserID")));
        QCOMPARE(QSet<QString>(found.begin(), found.end()).size(), arity);
    }
}

// schema.sql, scripts.sql and init.sql, preceded by the driver's settings,
// load into an empty database as one text, the way the creation script is
// sent.
void TestDb::creationText_loadsAsOneStatementText()
{
    PgTestDb empty(QStringLiteral("tst_db_empty"), PgTestDb::Empty);
    QVERIFY2(empty.isValid(), qPrintable(empty.error()));
    QString text = QStringLiteral("SET rejects.admin_password = 'secret';\n"
                                  "SET rejects.file_path = '/tmp/rejects-test-files';\n");
    for (const char *part : {"schema.sql", "scripts.sql", "init.sql"}) {
        QFile f(QStringLiteral(DB_DIR "/") + QLatin1String(part));
        QVERIFY2(f.open(QIODevice::ReadOnly), part);
        text += QString::fromUtf8(f.readAll()) + QLatin1Char('\n');
    }
    QString error;
    QVERIFY2(empty.exec(text, &error), qPrintable(error));

    QSqlQuery q(empty.directConnection());
    QVERIFY(q.exec(QStringLiteral(
        "SELECT (SELECT count(*) FROM sys.t_script), "
        "(SELECT c_value FROM sys.t_sys_attr WHERE c_attr = 'FilePath'), "
        "(SELECT c_password = crypt('secret', c_password) FROM sys.t_user WHERE c_login = ''), "
        "(SELECT count(*) FROM sys.t_access_right)")));
    QVERIFY(q.next());
    QVERIFY(q.value(0).toInt() >= int(sizeof(allScripts) / sizeof(allScripts[0])));
    QCOMPARE(q.value(1).toString(), QStringLiteral("/tmp/rejects-test-files"));
    QVERIFY(q.value(2).toBool());
    QVERIFY(q.value(3).toInt() >= 6);
}

// ------------------------------------------------------------- selects ---

void TestDb::selects_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("params");
    QTest::addColumn<QStringList>("fields");
    QTest::addColumn<int>("minRows");

    const qlonglong openDefect = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'После прогона 24 ч%'"));
    const qlonglong km3Defect = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'Рекламация%'"));
    const qlonglong repairPlan = value(QStringLiteral(
        "SELECT id FROM docs.t_plan_order WHERE c_coment = 'Ремонт БП-24 по замечаниям ПСИ'"));
    const qlonglong pcbUnit = value(QStringLiteral(
        "SELECT id FROM prod.t_reference_units WHERE c_name = 'Цех сборки печатных плат'"));
    const qlonglong km3Version = value(QStringLiteral(
        "SELECT id FROM inv.t_product_version WHERE c_part_num = 'АБВГ.421457.010-01'"));
    const qlonglong photo =
        value(QStringLiteral("SELECT id FROM lrg.t_file WHERE c_file = 'rs485_log_km3.png'"));

    const QStringList examFields = {"id",
                                    "n_pics",
                                    "d_create",
                                    "c_name",
                                    "c_plan_order",
                                    "c_version",
                                    "c_exam_stage",
                                    "c_serial",
                                    "c_fault",
                                    "c_description",
                                    "c_status",
                                    "c_solution",
                                    "b_reject",
                                    "id_plan_order",
                                    "id_product_version",
                                    "id_fault",
                                    "id_production_group_content",
                                    "c_exam_stage_sys_name",
                                    "b_reaction",
                                    "c_creator",
                                    "id_plan_order_repair",
                                    "c_plan_order_repair"};
    const QStringList fileFields = {"id",        "c_file",  "n_size", "c_table",   "n_key",
                                    "c_comment", "bl_file", "n_crc",  "id_creator"};

    QTest::newRow("PROC_EXAM_SELECT") << "PROC_EXAM_SELECT" << QVariantMap() << examFields << 14;
    QTest::newRow("PROC_EXAM_STAGE_SELECT") << "PROC_EXAM_STAGE_SELECT" << QVariantMap()
                                            << QStringList{"id", "c_name", "c_sys_name"} << 6;
    QTest::newRow("PROC_EXAM_DISC_SELECT")
        << "PROC_EXAM_DISC_SELECT" << QVariantMap{{"id_process_exam", openDefect}}
        << QStringList{"id", "d_create", "c_author", "c_text", "id_process_exam", "id_author"} << 2;
    QTest::newRow("PROD_UNITS_SELECT")
        << "PROD_UNITS_SELECT" << QVariantMap() << QStringList{"id", "c_name"} << 4;
    QTest::newRow("ITEM_FAMILY_BY_UNIT_SELECT") << "ITEM_FAMILY_BY_UNIT_SELECT" << QVariantMap()
                                                << QStringList{"id", "c_name", "c_sys_name"} << 8;
    QTest::newRow("PLAN_ORDER_FOR_REJECT_SELECT all")
        << "PLAN_ORDER_FOR_REJECT_SELECT" << QVariantMap()
        << QStringList{"id",         "id_doc",   "id_unit", "id_prod_ver", "c_plan_name",
                       "c_prod_ver", "c_coment", "n_qnt",   "d_create",    "d_close"}
        << 6;
    QTest::newRow("PLAN_ORDER_FOR_REJECT_SELECT unit, version, serial")
        << "PLAN_ORDER_FOR_REJECT_SELECT"
        << QVariantMap{{"id_unit", pcbUnit}, {"id_version", km3Version}, {"c_serial", "КМ3-26"}}
        << QStringList{"id", "c_plan_name"} << 1;
    QTest::newRow("PLAN_ORDER_FOR_REJECT_SELECT empty serial")
        << "PLAN_ORDER_FOR_REJECT_SELECT"
        << QVariantMap{{"id_unit", pcbUnit}, {"id_version", QVariant()}, {"c_serial", ""}}
        << QStringList{"id", "c_plan_name"} << 4;
    QTest::newRow("PLAN_ORDER_TYPE_SELECT")
        << "PLAN_ORDER_TYPE_SELECT" << QVariantMap() << QStringList{"id", "c_name"} << 3;
    QTest::newRow("PLAN_ORDER_CONTENT_SELECT")
        << "PLAN_ORDER_CONTENT_SELECT" << QVariantMap{{"id_store_order", repairPlan}}
        << QStringList{"id",     "id_store_order", "id_item_family",
                       "c_name", "n_qnt_require",  "n_qnt_giveout"}
        << 3;
    QTest::newRow("FILE_OWNER_SELECT pictures")
        << "FILE_OWNER_SELECT" << QVariantMap{{"c_table", "t_process_exam"}, {"n_key", openDefect}}
        << fileFields << 1;
    QTest::newRow("FILE_OWNER_SELECT appeal files")
        << "FILE_OWNER_SELECT"
        << QVariantMap{{"c_table", "t_customer_appeal"},
                       {"n_key", value(QStringLiteral("SELECT min(id) FROM qms.t_customer_appeal "
                                                      "WHERE c_text LIKE 'Контроллер%'"))}}
        << fileFields << 1;
    QTest::newRow("FILE_USE_SELECT")
        << "FILE_USE_SELECT" << QVariantMap{{"id", photo}}
        << QStringList{"id", "c_table", "n_key", "c_description", "c_name"} << 2;
    QTest::newRow("FAULT_TYPE_SELECT")
        << "FAULT_TYPE_SELECT" << QVariantMap()
        << QStringList{"id", "c_name", "c_sys_name", "c_prefix"} << 5;
    QTest::newRow("FAULT_CODE_SELECT")
        << "FAULT_CODE_SELECT" << QVariantMap()
        << QStringList{"id", "c_name", "c_description", "id_type"} << 15;
    QTest::newRow("PROCESS_WORK_REJECT_SELECT")
        << "PROCESS_WORK_REJECT_SELECT" << QVariantMap{{"id_process_exam", openDefect}}
        << QStringList{"id", "id_process_exam", "id_process_work"} << 1;
    QTest::newRow("QUALITY_CONTROL_WORKS_REJECT_SELECT")
        << "QUALITY_CONTROL_WORKS_REJECT_SELECT" << QVariantMap{{"id_process_exam", openDefect}}
        << QStringList{"id", "id_process_exam", "id_quality_control_works"} << 1;
    QTest::newRow("REJECT_NOTIFICATION_SELECT")
        << "REJECT_NOTIFICATION_SELECT" << QVariantMap{{"id_process_exam", km3Defect}}
        << QStringList{"id", "id_process_exam", "id_user"} << 1;
    QTest::newRow("ALL_ITEM_FAMILY_SELECT") << "ALL_ITEM_FAMILY_SELECT" << QVariantMap()
                                            << QStringList{"id", "id_type", "c_name"} << 10;
    QTest::newRow("ALL_ITEM_TYPE_SELECT")
        << "ALL_ITEM_TYPE_SELECT" << QVariantMap() << QStringList{"id", "id_parent", "c_name"} << 7;
    QTest::newRow("FAMILY_IN_STORAGE_SELECT") << "FAMILY_IN_STORAGE_SELECT" << QVariantMap()
                                              << QStringList{"id_item_family", "n_qty"} << 10;
    QTest::newRow("TYPES_FOR_PRODUCTS_SELECT") << "TYPES_FOR_PRODUCTS_SELECT" << QVariantMap()
                                               << QStringList{"id", "id_parent", "c_name"} << 4;
    QTest::newRow("PRODUCT_SELECT") << "PRODUCT_SELECT" << QVariantMap()
                                    << QStringList{"id", "id_type", "c_name", "b_virtual"} << 6;
    QTest::newRow("PRODUCT_VERSION_SELECT")
        << "PRODUCT_VERSION_SELECT" << QVariantMap()
        << QStringList{"id", "id_product", "c_name", "c_part_num"} << 8;
    QTest::newRow("GET_USER_BY_RIGHT")
        << "GET_USER_BY_RIGHT" << QVariantMap{{"c_right_list", "TASK_EXECUTOR"}}
        << QStringList{"id", "c_name"} << 4;
    QTest::newRow("DOC_TEMPLATE_SELECT_GROUP")
        << "DOC_TEMPLATE_SELECT_GROUP" << QVariantMap{{"c_type", "t_process_exam"}}
        << QStringList{"id", "c_type", "c_name"} << 2;
}

void TestDb::selects()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, params);
    QFETCH(QStringList, fields);
    QFETCH(int, minRows);

    QSqlQuery q = runScript(name, params);
    QVERIFY2(q.isActive() && q.isSelect(), qPrintable(q.lastError().text()));
    const QStringList got = fieldNames(q.record());
    for (const QString &f : fields)
        QVERIFY2(got.contains(f), qPrintable(QStringLiteral("field %1 missing").arg(f)));
    int rows = 0;
    while (q.next())
        ++rows;
    QVERIFY2(rows >= minRows, qPrintable(QStringLiteral("%1 rows").arg(rows)));
}

// The literal statements that the module's tables and dialogs run.
void TestDb::quotedStatements_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QVariantMap>("params");
    QTest::addColumn<QStringList>("fields");
    QTest::addColumn<int>("minRows");

    const qlonglong solderDefect = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'После прогона 24 ч%'"));
    const QVariantMap solder{
        {"id_process_exam", solderDefect},
        {"id_fault_code",
         value(QStringLiteral("SELECT id_fault FROM docs.t_process_exam WHERE id = %1")
                   .arg(solderDefect))},
        {"id_plan", value(QStringLiteral("SELECT id_plan_order FROM docs.t_process_exam "
                                         "WHERE id = %1")
                              .arg(solderDefect))}};
    const qlonglong km3Defect = value(QStringLiteral(
        "SELECT id FROM docs.t_process_exam WHERE c_description LIKE 'Рекламация%'"));

    QTest::newRow("S1 serials")
        << "SELECT id, c_serial, id_plan_order FROM docs.t_production_group_content;"
        << QVariantMap() << QStringList{"id", "c_serial", "id_plan_order"} << 100;
    QTest::newRow("S2 reasons")
        << "SELECT (r.id IS NOT NULL) AS v, qcw.id, qcw.c_reason, qcw.d_start, qcw.d_end FROM "
           "qms.t_quality_control_works qcw LEFT JOIN qms.tl_quality_control_works_reject r ON "
           "r.id_quality_control_works = qcw.id AND r.id_process_exam = :id_process_exam WHERE "
           "qcw.id_fault_code = :id_fault_code ;"
        << solder << QStringList{"v", "id", "c_reason", "d_start", "d_end"} << 1;
    QTest::newRow("S3 executors")
        << "SELECT (r.id IS NOT NULL) AS v, pw.id, pw.id_process_technology, pt.c_name, "
           "pw.id_user, u.c_name AS c_user, pw.n_qty, pw.c_description FROM prod.t_process_work "
           "pw JOIN inv.v_process_technology pt ON pt.id = pw.id_process_technology JOIN "
           "sys.t_user u ON u.id = pw.id_user LEFT JOIN prod.tl_process_work_reject r ON "
           "r.id_process_work = pw.id AND r.id_process_exam = :id_process_exam WHERE pw.id_plan "
           "= :id_plan ;"
        << solder << QStringList{"v",      "id",    "id_process_technology", "c_name", "id_user",
                                 "c_user", "n_qty", "c_description"}
        << 2;
    QTest::newRow("S4 notification")
        << "SELECT DISTINCT u.id, u.c_name, (rn.id_user IS NOT NULL) AS v FROM "
           "sys.tl_user_access_right ur JOIN sys.t_user u ON u.id = ur.id_user JOIN "
           "sys.t_access_right r ON r.id = ur.id_access_right LEFT JOIN qms.tl_reject_notification "
           "rn ON rn.id_user = u.id AND rn.id_process_exam = :id_process_exam WHERE r.c_sys_name = "
           "'REJECT_NOTIFICATION' ORDER BY u.c_name;"
        << QVariantMap{{"id_process_exam", km3Defect}} << QStringList{"id", "c_name", "v"} << 4;
    QTest::newRow("S5 customer appeals")
        << "SELECT ca.id, ca.id_contractor, c.c_name AS c_contractor, ca.d_date, ca.c_text FROM "
           "qms.t_customer_appeal ca JOIN docs.t_production_group_content pgc ON pgc.id = "
           "ca.id_production_group_content JOIN docs.t_plan_order po ON po.id = pgc.id_plan_order "
           "JOIN jur.t_contractor c ON c.id = ca.id_contractor WHERE po.id_prod_ver = :id_version "
           "AND pgc.c_serial = :c_serial ORDER BY ca.d_date;"
        << QVariantMap{{"id_version", value(QStringLiteral("SELECT id_product_version FROM "
                                                           "docs.t_process_exam WHERE id = %1")
                                                .arg(km3Defect))},
                       {"c_serial", "КМ3-2609012"}}
        << QStringList{"id", "id_contractor", "c_contractor", "d_date", "c_text"} << 2;
    QTest::newRow("plan link list")
        << "SELECT po.id, d.c_name, po.c_coment, t.c_name AS c_type, s.c_name AS c_state, "
           "ru.c_name AS c_unit FROM docs.t_plan_order po JOIN docs.t_doc d ON d.id = po.id_doc "
           "AND NOT d.b_is_del JOIN docs.t_plan_order_type t ON t.id = po.id_type JOIN "
           "docs.t_plan_order_state s ON s.id = po.id_state JOIN prod.t_reference_units ru ON "
           "ru.id = po.id_unit WHERE po.id_prod_ver IS NULL AND NOT po.b_is_del AND 2 != "
           "po.id_state AND po.id NOT IN (SELECT id_plan_order_repair FROM docs.t_process_exam "
           "WHERE id_plan_order_repair IS NOT NULL) ORDER BY d.c_name;"
        << QVariantMap() << QStringList{"id", "c_name", "c_coment", "c_type", "c_state", "c_unit"}
        << 1;
    QTest::newRow("file path") << "SELECT c_value FROM sys.t_sys_attr WHERE c_attr = 'FilePath';"
                               << QVariantMap() << QStringList{"c_value"} << 1;
    QTest::newRow("help path")
        << "SELECT c_value FROM sys.t_sys_attr WHERE c_attr = 'FileHelpPath';" << QVariantMap()
        << QStringList{"c_value"} << 1;
    QTest::newRow("file content") << "SELECT lrg.bl_get_file('rs485_log_km3.png', :bHelp);"
                                  << QVariantMap{{"bHelp", false}} << QStringList{"bl_get_file"}
                                  << 1;
    QTest::newRow("appeal picture") << "SELECT lrg.bl_get_file('rs485_log_km3.png', true);"
                                    << QVariantMap() << QStringList{"bl_get_file"} << 1;
    QTest::newRow("file by crc") << "SELECT * FROM lrg.t_file WHERE n_crc = :1 ;"
                                 << QVariantMap{{"1", 3480846189LL}}
                                 << QStringList{"id",     "c_file",     "c_comment", "n_crc",
                                                "n_size", "id_creator", "d_create",  "bl_file"}
                                 << 1;
    QTest::newRow("item family unit")
        << "SELECT f.c_name, u.n_precission, u.c_short_name FROM dirs.t_item_family f JOIN "
           "dirs.t_meas_unit u ON u.id = f.id_meas_unit WHERE f.id = :id_family ;"
        << QVariantMap{{"id_family", value(QStringLiteral("SELECT id FROM dirs.t_item_family "
                                                          "WHERE c_name LIKE 'Припой%'"))}}
        << QStringList{"c_name", "n_precission", "c_short_name"} << 1;
    QTest::newRow("recursive analogs")
        << "SELECT * FROM inv.n_version_recursive_analog(:id_version);"
        << QVariantMap{{"id_version", value(QStringLiteral("SELECT id FROM inv.t_product_version "
                                                           "WHERE c_part_num = "
                                                           "'АБВГ.436534.001-01'"))}}
        << QStringList{"id"} << 2;
    QTest::newRow("item of history report")
        << "SELECT id_item_family FROM dirs.t_item WHERE id = :id ;"
        << QVariantMap{{"id", value(QStringLiteral("SELECT min(id) FROM dirs.t_item"))}}
        << QStringList{"id_item_family"} << 1;
    QTest::newRow("repair plan record")
        << "SELECT * FROM docs.t_plan_order WHERE id = :idPlan ;"
        << QVariantMap{{"idPlan", value(QStringLiteral("SELECT id_plan_order_repair FROM "
                                                       "docs.t_process_exam WHERE "
                                                       "id_plan_order_repair IS NOT NULL"))}}
        << QStringList{"id", "id_store_order", "id_state"} << 1;
    QTest::newRow("creator names") << "SELECT id, c_name FROM sys.t_user;" << QVariantMap()
                                   << QStringList{"id", "c_name"} << 8;
    QTest::newRow("stored file") << "SELECT * FROM lrg.t_file WHERE id = :id ;"
                                 << QVariantMap{{"id", value(QStringLiteral(
                                                           "SELECT min(id) FROM lrg.t_file"))}}
                                 << QStringList{"id", "c_file", "bl_file"} << 1;
    QTest::newRow("new task")
        << "SELECT id FROM task.t_scheduler_insert(:UserID, :id_user, :n_number, :c_name, "
           ":c_description, :n_due, :b_is_complete, :b_is_del) "
        << QVariantMap{{"id_user", value(QStringLiteral("SELECT id FROM sys.t_user WHERE c_login "
                                                        "= 'petrov'"))},
                       {"n_number", QVariant()},
                       {"c_name", "Проверить трафарет"},
                       {"c_description", "ДЕФ-000005"},
                       {"n_due", QVariant()},
                       {"b_is_complete", false},
                       {"b_is_del", false}}
        << QStringList{"id"} << 1;
}

void TestDb::quotedStatements()
{
    QFETCH(QString, sql);
    QFETCH(QVariantMap, params);
    QFETCH(QStringList, fields);
    QFETCH(int, minRows);

    QSqlQuery q = run(sql, params);
    QVERIFY2(q.isActive() && q.isSelect(), qPrintable(q.lastError().text()));
    const QStringList got = fieldNames(q.record());
    for (const QString &f : fields)
        QVERIFY2(got.contains(f), qPrintable(QStringLiteral("field %1 missing").arg(f)));
    int rows = 0;
    while (q.next()) {
        ++rows;
        if (got.first() == QLatin1String("bl_get_file"))
            QVERIFY(q.value(0).toByteArray().startsWith("\x89PNG"));
    }
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

// ---------------------------------------------------- fault dictionary ---

void TestDb::faultCodes_numberedFromTypeCounter()
{
    QSqlQuery type =
        runScript(QStringLiteral("FAULT_TYPE_INSERT"),
                  {{"c_name", "Маркировка"}, {"c_sys_name", "MARKING"}, {"c_prefix", "MARK-"}});
    QVERIFY2(type.first(), qPrintable(type.lastError().text()));
    const qlonglong typeId = type.record().value("id").toLongLong();
    QVERIFY(typeId > 0);
    QCOMPARE(type.record().value("c_prefix").toString(), QStringLiteral("MARK-"));

    QStringList codes;
    for (const char *description : {"Нечитаемая маркировка", "Нет заводского номера"}) {
        QSqlQuery code = runScript(
            QStringLiteral("FAULT_CODE_INSERT"),
            {{"id", -1}, {"c_description", QString::fromUtf8(description)}, {"id_type", typeId}});
        QVERIFY2(code.first(), qPrintable(code.lastError().text()));
        QCOMPARE(code.record().value("id_type").toLongLong(), typeId);
        QCOMPARE(code.record().value("c_description").toString(), QString::fromUtf8(description));
        codes << code.record().value("c_name").toString();
    }
    QCOMPARE(codes, (QStringList{"MARK-1", "MARK-2"}));

    // An existing type continues its own counter.
    QSqlQuery mech = runScript(
        QStringLiteral("FAULT_CODE_INSERT"),
        {{"c_description", "Скол"},
         {"id_type", value(QStringLiteral(
                         "SELECT id FROM qms.t_fault_type WHERE c_sys_name = 'MECH_CASE'"))}});
    QVERIFY(mech.first());
    QCOMPARE(mech.record().value("c_name").toString(), QStringLiteral("MHCS-4"));

    // A second type with the same counter name is refused.
    QVERIFY(!failure(QStringLiteral("FAULT_TYPE_INSERT"),
                     {{"c_name", "Дубликат"}, {"c_sys_name", "MARKING"}, {"c_prefix", "X-"}})
                 .isEmpty());
}

void TestDb::faultDictionary_updatesAndRefusals()
{
    // Types are found by their counter name (the type editor's table has no id).
    QSqlQuery upd = runScript(
        QStringLiteral("FAULT_TYPE_UPDATE"),
        {{"c_name", "Комплектность поставки"}, {"c_sys_name", "KIT"}, {"c_prefix", "KIT-"}});
    QVERIFY2(upd.first(), qPrintable(upd.lastError().text()));
    QCOMPARE(upd.record().value("c_name").toString(), QStringLiteral("Комплектность поставки"));

    // A type with codes cannot be deleted; an empty one can.
    QVERIFY(!failure(QStringLiteral("FAULT_TYPE_DELETE"), {{"c_sys_name", "KIT"}}).isEmpty());
    QVERIFY(runScript(QStringLiteral("FAULT_TYPE_INSERT"),
                      {{"c_name", "Пустой"}, {"c_sys_name", "EMPTY"}, {"c_prefix", "E-"}})
                .first());
    QSqlQuery del = runScript(QStringLiteral("FAULT_TYPE_DELETE"), {{"c_sys_name", "EMPTY"}});
    QVERIFY(del.first());
    QCOMPARE(del.record().value("c_name").toString(), QStringLiteral("Пустой"));

    // A code keeps its name when it moves to another type.
    const qlonglong kit2 =
        value(QStringLiteral("SELECT id FROM qms.t_fault_code WHERE c_name = 'KIT-2'"));
    const qlonglong mech =
        value(QStringLiteral("SELECT id FROM qms.t_fault_type WHERE c_sys_name = 'MECH_CASE'"));
    QSqlQuery code = runScript(QStringLiteral("FAULT_CODE_UPDATE"),
                               {{"id", kit2},
                                {"c_name", "KIT-2"},
                                {"c_description", "Нет паспорта и этикетки"},
                                {"id_type", mech}});
    QVERIFY2(code.first(), qPrintable(code.lastError().text()));
    QCOMPARE(code.record().value("c_name").toString(), QStringLiteral("KIT-2"));
    QCOMPARE(code.record().value("id_type").toLongLong(), mech);

    // A code that defects use cannot be deleted; an unused one can.
    const qlonglong used =
        value(QStringLiteral("SELECT id FROM qms.t_fault_code WHERE c_name = 'ELEC-2'"));
    QVERIFY(!failure(QStringLiteral("FAULT_CODE_DELETE"), {{"id", used}}).isEmpty());
    QSqlQuery gone = runScript(QStringLiteral("FAULT_CODE_DELETE"), {{"id", kit2}});
    QVERIFY(gone.first());
    QCOMPARE(gone.record().value("id").toLongLong(), kit2);
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

// --------------------------------------------------------------- users ---

void TestDb::userSettings_writeThenRead()
{
    QSqlQuery none =
        runScript(QStringLiteral("USER_ATTR_READ"), {{"group", "RejectsView"}, {"key", "header"}});
    QVERIFY(none.isActive());
    QVERIFY(!none.first());
    for (const char *v : {"0a0b", "ff00ee"}) {
        QSqlQuery w =
            runScript(QStringLiteral("USER_ATTR_WRITE"),
                      {{"group", "RejectsView"}, {"key", "header"}, {"value", v}, {"type", 12}});
        QVERIFY2(w.first(), qPrintable(w.lastError().text()));
    }
    QSqlQuery r =
        runScript(QStringLiteral("USER_ATTR_READ"), {{"group", "RejectsView"}, {"key", "header"}});
    QVERIFY(r.first());
    QCOMPARE(r.value(0).toString(), QStringLiteral("ff00ee"));
    QCOMPARE(r.value(1).toInt(), 12);
    QCOMPARE(value(QStringLiteral("SELECT count(*) FROM sys.t_user_attr WHERE id_user = %1")
                       .arg(m_userId)),
             1LL);
}

void TestDb::rights_ofDemoUsers()
{
    QCOMPARE(
        value(QStringLiteral("SELECT count(*) FROM sys.tl_user_access_right ur JOIN sys.t_user u "
                             "ON u.id = ur.id_user WHERE u.c_login = 'guest'")),
        0LL);
    QCOMPARE(
        value(QStringLiteral("SELECT count(*) FROM sys.t_access_right r WHERE NOT EXISTS (SELECT 1 "
                             "FROM sys.tl_user_access_right ur WHERE ur.id_access_right = r.id "
                             "AND ur.id_user = %1)")
                  .arg(m_userId)),
        0LL);
    QStringList executors;
    QSqlQuery q =
        runScript(QStringLiteral("GET_USER_BY_RIGHT"), {{"c_right_list", "TASK_EXECUTOR"}});
    while (q.next())
        executors << q.value("c_name").toString();
    QVERIFY(executors.contains(QStringLiteral("Петров И.В.")));
    QVERIFY(executors.contains(QStringLiteral("Кузнецова А.С.")));
    QVERIFY(!executors.contains(QStringLiteral("Гость")));
    QVERIFY(!executors.contains(QStringLiteral("Волков Д.А.")));
    for (const char *right : {"REJECT_SOLUTION", "FAIL_CODE_CREATE", "TASK_CREATOR",
                              "TASK_EXECUTOR", "ADMIN_MANUFACTURE", "REJECT_NOTIFICATION"})
        QCOMPARE(
            value(QStringLiteral("SELECT count(*) FROM sys.t_access_right WHERE c_sys_name = '%1'")
                      .arg(QLatin1String(right))),
            1LL);
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
