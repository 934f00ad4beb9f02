// The database of the defect register as the module's named scripts meet it:
// the script store, the selects on the demo data, what the write scripts
// store and return, and the rules the database decides (document numbers,
// statuses, merging, constraints, implausible values, row versions, LIKE
// escaping). Everything runs on the logged-in connection (kuznetsova), bound
// the way the system binds it, inside a transaction each case rolls back.

#include "qsqlconnection.h"
#include "testfixture.h"
#include "testmain.h"

#include <QDate>
#include <QRegularExpression>
#include <QSqlField>
#include <QSqlRecord>

class TestDb : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void scriptStore_placeholdersAsTheConnectionSplitsThem();
    void selects_findTheDemoRows_data();
    void selects_findTheDemoRows();
    void writes_returnTheStoredRow_data();
    void writes_returnTheStoredRow();
    void newDefects_takeTheNextNumber();
    void linkRows_storedOncePerPair_data();
    void linkRows_storedOncePerPair();
    void mergeAndDelete_carryEveryDependentRow();
    void constraints_refuse_data();
    void constraints_refuse();
    void refusals_sayTheirReason_data();
    void refusals_sayTheirReason();
    void updates_refuseStaleVersionNamingChanger_data();
    void updates_refuseStaleVersionNamingChanger();

private:
    QSqlDatabase db() const { return m_fx->connection()->getDatabase(); }
    // A named script (a name has no blank) or a statement, with named values;
    // positioned on its first row when it ran.
    QSqlQuery run(const QString &script, const QVariantMap &values = {})
    {
        return run(script, recordOf(values));
    }
    QSqlQuery run(const QString &script, const QSqlRecord &record);
    // The error of a statement that must fail; the transaction stays usable.
    QString failure(const QString &script, const QSqlRecord &record = {});
    QVariant value(const QString &sql) { return run(sql).value(0); }
    qlonglong defect(const char *description);

    std::unique_ptr<TestFixture> m_fx;
};

void TestDb::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("db"));
}

void TestDb::init()
{
    QVERIFY(db().transaction());
}

void TestDb::cleanup()
{
    db().rollback();
}

QSqlQuery TestDb::run(const QString &script, const QSqlRecord &record)
{
    const bool named = !script.contains(QLatin1Char(' '));
    return m_fx->connection()->execScript(named ? m_fx->connection()->getScript(script) : script,
                                          record);
}

QString TestDb::failure(const QString &script, const QSqlRecord &record)
{
    QSqlQuery(db()).exec(QStringLiteral("SAVEPOINT expected_failure"));
    const QSqlQuery q = run(script, record);
    QSqlQuery(db()).exec(q.isActive() ? QStringLiteral("RELEASE SAVEPOINT expected_failure")
                                      : QStringLiteral("ROLLBACK TO SAVEPOINT expected_failure"));
    return q.isActive() ? QString() : q.lastError().text();
}

qlonglong TestDb::defect(const char *description)
{
    return value("SELECT id FROM docs.t_process_exam WHERE c_description LIKE '" +
                 QString(description) + "%'")
        .toLongLong();
}

// The connection finds placeholders by splitting on blanks, commas and
// parentheses: in every stored script each ":" piece is a clean name, none is
// glued to another character, and no "::" cast looks like one.
void TestDb::scriptStore_placeholdersAsTheConnectionSplitsThem()
{
    static const QRegularExpression separators(QStringLiteral("[ ,()]"));
    static const QRegularExpression cleanName(QStringLiteral("^:[A-Za-z_][A-Za-z0-9_]*$"));
    static const QRegularExpression anyPlaceholder(
        QStringLiteral("(?<![A-Za-z0-9_'\"]):[A-Za-z_]"));
    QSqlQuery names = run(QStringLiteral("SELECT c_name FROM sys.t_script"));
    QVERIFY(names.size() >= 50);
    do {
        const QString name = names.value(0).toString();
        const QString text = m_fx->connection()->getScript(name);
        QVERIFY2(!text.contains(QLatin1String("::")), qPrintable(name));
        const QStringList found = text.split(separators).filter(QRegularExpression("^:"));
        for (const QString &piece : found)
            QVERIFY2(cleanName.match(piece).hasMatch(), qPrintable(name + ": " + piece));
        QVERIFY2(found.size() == text.count(anyPlaceholder), qPrintable(name));
    } while (names.next());
}

// Each select runs on the demo data and finds at least the rows the demo data
// holds for it (a broken join or filter loses rows); 0 means it finds none.
void TestDb::selects_findTheDemoRows_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("params");
    QTest::addColumn<int>("minRows");
    const QVariantMap none;
    const QVariantMap ofDefect{{"id_process_exam", defect("После прогона 24 ч")}};
    QTest::newRow("ITEM_FAMILY_BY_UNIT_SELECT") << "ITEM_FAMILY_BY_UNIT_SELECT" << none << 8;
    QTest::newRow("plans for a defect, all") << "PLAN_ORDER_FOR_REJECT_SELECT" << none << 6;
    QTest::newRow("plans for a defect, unit, version, serial")
        << "PLAN_ORDER_FOR_REJECT_SELECT"
        << QVariantMap{{"id_unit", value("SELECT id FROM prod.t_reference_units "
                                         "WHERE c_name = 'Цех сборки печатных плат'")},
                       {"id_version", value("SELECT id FROM inv.t_product_version WHERE "
                                            "c_part_num = 'АБВГ.421457.010-01'")},
                       {"c_serial", "КМ3-26"}}
        << 1;
    // The user's text is taken literally, not as a LIKE pattern.
    QTest::newRow("plans by serial, part of one")
        << "PLAN_ORDER_FOR_REJECT_SELECT" << QVariantMap{{"c_serial", "-"}} << 1;
    QTest::newRow("plans by serial, percent")
        << "PLAN_ORDER_FOR_REJECT_SELECT" << QVariantMap{{"c_serial", "%"}} << 0;
    QTest::newRow("plans by serial, underscore")
        << "PLAN_ORDER_FOR_REJECT_SELECT" << QVariantMap{{"c_serial", "_"}} << 0;
    QTest::newRow("plans by serial, backslash")
        << "PLAN_ORDER_FOR_REJECT_SELECT" << QVariantMap{{"c_serial", "\\"}} << 0;
    QTest::newRow("FILE_USE_SELECT")
        << "FILE_USE_SELECT"
        << QVariantMap{{"id",
                        value("SELECT id FROM lrg.t_file WHERE c_file = 'rs485_log_km3.png'")}}
        << 2;
    QTest::newRow("PROCESS_WORK_REJECT_SELECT") << "PROCESS_WORK_REJECT_SELECT" << ofDefect << 1;
    QTest::newRow("QUALITY_CONTROL_WORKS_REJECT_SELECT")
        << "QUALITY_CONTROL_WORKS_REJECT_SELECT" << ofDefect << 1;
    QTest::newRow("REJECT_NOTIFICATION_SELECT")
        << "REJECT_NOTIFICATION_SELECT" << QVariantMap{{"id_process_exam", defect("Рекламация")}}
        << 1;
    QTest::newRow("ALL_ITEM_FAMILY_SELECT") << "ALL_ITEM_FAMILY_SELECT" << none << 10;
    QTest::newRow("ALL_ITEM_TYPE_SELECT") << "ALL_ITEM_TYPE_SELECT" << none << 7;
    QTest::newRow("FAMILY_IN_STORAGE_SELECT") << "FAMILY_IN_STORAGE_SELECT" << none << 10;
    QTest::newRow("TYPES_FOR_PRODUCTS_SELECT") << "TYPES_FOR_PRODUCTS_SELECT" << none << 4;
    QTest::newRow("PRODUCT_SELECT") << "PRODUCT_SELECT" << none << 6;
    QTest::newRow("PRODUCT_VERSION_SELECT") << "PRODUCT_VERSION_SELECT" << none << 8;
}

void TestDb::selects_findTheDemoRows()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, params);
    QFETCH(int, minRows);
    QSqlQuery q = run(name, params);
    QVERIFY2(q.isActive() && q.isSelect(), qPrintable(q.lastError().text()));
    const int rows = q.size();
    QVERIFY2(minRows ? rows >= minRows : rows == 0, qPrintable(QString::number(rows)));
}

// What a write script stores, as the row it returns shows it: fields joined
// with "|"; a field written "?name" gives "set" or "null".
void TestDb::writes_returnTheStoredRow_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QVariantMap>("values");
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QString>("expected");
    const qlonglong open = defect("Смещение дросселя");
    // An update given only some fields keeps the others as they were.
    const QString decision = QStringLiteral(
        "c_status|c_solution|b_reject|?d_solution|c_description|c_exam_stage|c_fault|c_serial");
    const QString kept = "|" + value("SELECT concat_ws('|', c_description, c_exam_stage, c_fault, "
                                     "c_serial) FROM docs.v_process_exam WHERE id = " +
                                     QString::number(open))
                                   .toString();
    const auto decide = [open](const char *solution, bool reject, bool reaction) {
        return QVariantMap{
            {"id", open}, {"c_solution", solution}, {"b_reject", reject}, {"b_reaction", reaction}};
    };
    QTest::newRow("new defect: open, named from plan and code, by its creator")
        << "PROC_EXAM_INSERT"
        << QVariantMap{{"c_exam_stage_sys_name", "ACCEPTANCE"},
                       {"c_description", "Трещина корпуса у разъема питания"},
                       {"id_plan_order", value("SELECT id FROM docs.t_plan_order "
                                               "WHERE c_coment LIKE 'КМ-3%'")},
                       {"id_fault",
                        value("SELECT id FROM qms.t_fault_code WHERE c_name = 'MHCS-3'")}}
        << "c_status|c_exam_stage|c_fault|c_creator|c_version|n_pics|?d_create"
        << "Не проанализировано|Приемо-сдаточные испытания|MHCS-3|Кузнецова А.С.|"
           "исп. 02 Контроллер КМ-3|0|set";
    QTest::newRow("open, flags left over") << "PROC_EXAM_UPDATE" << decide("", false, true)
                                           << decision << "Не проанализировано||false|null" + kept;
    QTest::newRow("analysed") << "PROC_EXAM_UPDATE" << decide("Изделие годно.", false, false)
                              << decision << "Проанализировано|Изделие годно.|false|set" + kept;
    QTest::newRow("rejected") << "PROC_EXAM_UPDATE" << decide("Забраковать.", true, true)
                              << decision << "Забракован|Забраковать.|true|set" + kept;
    QTest::newRow("preventive actions")
        << "PROC_EXAM_UPDATE" << decide("Заменен компонент.", false, true) << decision
        << "Требуются предупреждающие действия|Заменен компонент.|false|set" + kept;
    QTest::newRow("discussion entry by the session's user")
        << "PROC_EXAM_DISC_INSERT"
        << QVariantMap{{"id_process_exam", open}, {"c_text", "Прошу повторить ПСИ."}}
        << "c_author|c_text|?d_create"
        << "Кузнецова А.С.|Прошу повторить ПСИ.|set";
    const QVariant plan = value("SELECT id FROM docs.t_plan_order WHERE c_coment = "
                                "'Ремонт БП-24 по замечаниям ПСИ'");
    QTest::newRow("order item named from its family")
        << "PLAN_ORDER_CONTENT_INSERT"
        << QVariantMap{{"id_store_order", plan},
                       {"id_item_family", value("SELECT id FROM dirs.t_item_family "
                                                "WHERE c_name LIKE 'Эмаль%'")},
                       {"n_qnt_require", 1.5}}
        << "c_name|n_qnt_require|?n_qnt_giveout"
        << "Эмаль порошковая RAL 7035|1.5|null";
    // The first item belongs to the open plan.
    const QVariant item = value("SELECT min(id) FROM docs.t_store_order_content");
    QTest::newRow("order item quantity changed")
        << "PLAN_ORDER_CONTENT_UPDATE" << QVariantMap{{"id", item}, {"n_qnt_require", 2.25}}
        << "id|n_qnt_require" << item.toString() + "|2.25";
    QTest::newRow("order item deleted")
        << "PLAN_ORDER_CONTENT_DELETE" << QVariantMap{{"id", item}} << "id" << item.toString();
    QTest::newRow("new plan, its own store order")
        << "PLAN_ORDER_INSERT"
        << QVariantMap{{"c_coment", "Перекраска двери ШУ-10"},
                       {"id_unit", value("SELECT min(id) FROM prod.t_reference_units")},
                       {"id_type", value("SELECT min(id) FROM docs.t_plan_order_type")}}
        << "c_coment|n_qnt|?id_store_order"
        << "Перекраска двери ШУ-10|1|set";
}

void TestDb::writes_returnTheStoredRow()
{
    QFETCH(QString, script);
    QFETCH(QVariantMap, values);
    QFETCH(QString, fields);
    QFETCH(QString, expected);
    const QSqlQuery q = run(script, values);
    QVERIFY2(q.isValid(), qPrintable(q.lastError().text()));
    QStringList got;
    for (const QString &field : fields.split(QLatin1Char('|'))) {
        const QVariant v = q.record().value(field.startsWith('?') ? field.mid(1) : field);
        got << (field.startsWith('?') ? QString(v.isNull() ? "null" : "set") : v.toString());
    }
    QCOMPARE(got.join(QLatin1Char('|')), expected);
}

// Defects are documents numbered in turn.
void TestDb::newDefects_takeTheNextNumber()
{
    const QVariantMap newDefect{{"c_exam_stage_sys_name", "INCOMING"}, {"c_description", "брак"}};
    const QString first = run("PROC_EXAM_INSERT", newDefect).value("c_name").toString();
    const QString second = run("PROC_EXAM_INSERT", newDefect).value("c_name").toString();
    QVERIFY2(QRegularExpression("^ДЕФ-\\d{6}$").match(first).hasMatch(), qPrintable(first));
    QCOMPARE(second.mid(4).toInt(), first.mid(4).toInt() + 1);
}

void TestDb::linkRows_storedOncePerPair_data()
{
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("targetSql");
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

// Saving a link twice stores it once (the second insert returns the stored
// row); deleting finds it by the pair.
void TestDb::linkRows_storedOncePerPair()
{
    QFETCH(QString, prefix);
    QFETCH(QString, field);
    QFETCH(QString, targetSql);
    const QVariant target = value(targetSql);
    const QVariantMap link{{"id_process_exam", defect("Ток потребления")}, {field, target}};
    const QSqlQuery first = run(prefix + "_INSERT", link);
    QVERIFY2(first.value(field) == target, qPrintable(first.lastError().text()));
    QCOMPARE(run(prefix + "_INSERT", link).value("id"), first.value("id"));
    QVariantMap byPair = link;
    byPair["id"] = -5;
    QCOMPARE(run(prefix + "_DELETE", byPair).value("id"), first.value("id"));
    QVERIFY(!run(prefix + "_DELETE", byPair).isValid());
}

// Merging moves the source's discussion, production and quality-control works
// and pictures to the target, which keeps its description, and removes the
// source; deleting an open defect takes all of them and its document along,
// and a later save or delete of the gone defect is refused.
void TestDb::mergeAndDelete_carryEveryDependentRow()
{
    const qlonglong target = defect("Ток потребления");
    const qlonglong source = defect("После прогона 24 ч");
    const QString rows = QStringLiteral(
        "SELECT (SELECT count(*) FROM docs.t_process_exam_disc WHERE id_process_exam = %1) || '|' "
        "|| (SELECT count(*) FROM prod.tl_process_work_reject WHERE id_process_exam = %1) || '|' "
        "|| (SELECT count(*) FROM qms.tl_quality_control_works_reject WHERE id_process_exam = %1) "
        "|| '|' || (SELECT count(*) FROM lrg.t_file_owner WHERE c_table = 't_process_exam' AND "
        "n_key = %1) || '|' || (SELECT count(*) FROM docs.t_process_exam WHERE id = %1)");
    QCOMPARE(value(rows.arg(target)).toString(), QStringLiteral("1|0|0|0|1"));
    QCOMPARE(value(rows.arg(source)).toString(), QStringLiteral("2|1|1|1|1"));

    const QSqlQuery merged = m_fx->connection()->execScript(
        m_fx->connection()->getScript("PROC_EXAM_MERGE"), QVariantList{target, source});
    QVERIFY2(merged.value("id").toLongLong() == target, qPrintable(merged.lastError().text()));
    QCOMPARE(merged.value("c_description").toString(),
             QStringLiteral("Ток потребления 180 мА при норме не более 150 мА."));
    QCOMPARE(value(rows.arg(target)).toString(), QStringLiteral("3|1|1|1|1"));
    QCOMPARE(value(rows.arg(source)).toString(), QStringLiteral("0|0|0|0|0"));

    const QString document = QStringLiteral("SELECT count(*) FROM docs.t_doc WHERE c_name = '%1'")
                                 .arg(merged.value("c_name").toString());
    QCOMPARE(value(document).toInt(), 1);
    const QSqlQuery deleted = run("PROC_EXAM_DELETE", merged.record());
    QVERIFY2(deleted.value("id").toLongLong() == target, qPrintable(deleted.lastError().text()));
    QCOMPARE(value(rows.arg(target)).toString(), QStringLiteral("0|0|0|0|0"));
    QCOMPARE(value(document).toInt(), 0);
    // For the user who still shows it, saving or deleting it again says so.
    QVERIFY(failure("PROC_EXAM_UPDATE", merged.record()).contains("удалил"));
    QVERIFY(failure("PROC_EXAM_DELETE", merged.record()).contains("удалил"));
}

// Rows the database refuses: orphans, and rows that break a rule of the
// register.
void TestDb::constraints_refuse_data()
{
    QTest::addColumn<QString>("sql");
    const QString firstDefect = QStringLiteral("(SELECT min(id) FROM docs.t_process_exam)");
    QTest::newRow("defect without stage")
        << "INSERT INTO docs.t_process_exam (id_creator, id_exam_stage) SELECT id, NULL FROM "
           "sys.t_user WHERE c_login = 'kuznetsova'";
    QTest::newRow("defect with unknown stage")
        << "SELECT * FROM docs.f_process_exam_insert(1, 'NO_SUCH_STAGE', NULL, NULL, NULL, NULL, "
           "'x', '', false, false, NULL)";
    QTest::newRow("defect of unknown fault code")
        << "UPDATE docs.t_process_exam SET id_fault = -3 WHERE id = " + firstDefect;
    QTest::newRow("rejected without decision")
        << "UPDATE docs.t_process_exam SET b_reject = true, c_solution = '' WHERE id = " +
               firstDefect;
    QTest::newRow("defect merged into itself")
        << "SELECT * FROM docs.f_process_exam_merge(" + firstDefect + ", " + firstDefect + ")";
    QTest::newRow("two documents with one number")
        << "INSERT INTO docs.t_doc (c_name, c_doc_type) VALUES ('ДЕФ-000001', 'process_exam')";
    QTest::newRow("empty discussion entry")
        << "INSERT INTO docs.t_process_exam_disc (id_process_exam, c_text) VALUES (" + firstDefect +
               ", '')";
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
    QTest::newRow("two stored files with one name")
        << "INSERT INTO lrg.t_file (c_file) VALUES ('rs485_log_km3.png')";
}

void TestDb::constraints_refuse()
{
    QFETCH(QString, sql);
    QVERIFY2(!failure(sql).isEmpty(), "the database accepted it");
}

// Changes to a closed plan and values no plant could mean (NaN, dates
// outside 1900-2200) are refused with a plain reason.
void TestDb::refusals_sayTheirReason_data()
{
    QTest::addColumn<QString>("reason");
    QTest::addColumn<QString>("sql");
    const QString closedPlan =
        QStringLiteral(" id_store_order IN (SELECT id FROM docs.t_plan_order WHERE id_state = 2)");
    const QString content = "UPDATE docs.t_store_order_content SET %1 WHERE NOT" + closedPlan;
    const QString plan = QStringLiteral("UPDATE docs.t_plan_order SET d_shipment_plan = %1");
    QTest::newRow("item of a closed plan changed")
        << "План закрыт"
        << "UPDATE docs.t_store_order_content SET n_qnt_require = 5 WHERE" + closedPlan;
    QTest::newRow("item of a closed plan deleted")
        << "План закрыт"
        << "DELETE FROM docs.t_store_order_content WHERE" + closedPlan;
    QTest::newRow("NaN quantity") << "Требуемое количество" << content.arg("n_qnt_require = 'NaN'");
    QTest::newRow("NaN given out") << "Выданное количество" << content.arg("n_qnt_giveout = 'NaN'");
    QTest::newRow("4713 BC") << "Дата отгрузки" << plan.arg("'4713-01-01 BC'");
    QTest::newRow("5874897 AD") << "Дата отгрузки" << plan.arg("'5874897-12-31'");
    QTest::newRow("infinity") << "Дата отгрузки" << plan.arg("'infinity'");
    QTest::newRow("work begun in 1899")
        << "Дата начала"
        << "UPDATE qms.t_quality_control_works SET d_start = '1899-12-31'";
}

void TestDb::refusals_sayTheirReason()
{
    QFETCH(QString, reason);
    QFETCH(QString, sql);
    const QString error = failure(sql);
    QVERIFY2(error.contains(reason), qPrintable(error));
}

void TestDb::updates_refuseStaleVersionNamingChanger_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("row");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("fault code") << "FAULT_CODE_UPDATE"
                                << "SELECT * FROM qms.t_fault_code WHERE c_name = 'KIT-2'"
                                << "c_description" << QVariant("Нет паспорта и этикетки");
    QTest::newRow("fault type") << "FAULT_TYPE_UPDATE"
                                << "SELECT * FROM qms.t_fault_type WHERE c_sys_name = 'KIT'"
                                << "c_name" << QVariant("Комплектность поставки");
    QTest::newRow("order item") << "PLAN_ORDER_CONTENT_UPDATE"
                                << "SELECT * FROM docs.t_store_order_content ORDER BY id LIMIT 1"
                                << "n_qnt_require" << QVariant(7);
    QTest::newRow("stored file") << "FILE_OWNER_UPDATE"
                                 << "SELECT * FROM lrg.v_file_owner ORDER BY id LIMIT 1"
                                 << "c_comment" << QVariant("Снимок платы");
}

// Two users hold the same record; the first one's save raises the version,
// the second one's (from the older copy) is refused naming the first and
// the day, and the first one's value stays.
void TestDb::updates_refuseStaleVersionNamingChanger()
{
    QFETCH(QString, script);
    QFETCH(QString, row);
    QFETCH(QString, field);
    QFETCH(QVariant, value);
    const QSqlRecord record = run(row).record();
    const int version = record.value("n_version").toInt();
    QSqlRecord mine = record;
    mine.setValue(field, value);
    QCOMPARE(run(script, mine).value("n_version").toInt(), version + 1);

    const QString stale = failure(script, record);
    QVERIFY2(stale.contains(QStringLiteral("Кузнецова А.С.")) &&
                 stale.contains(QDate::currentDate().toString(QStringLiteral("dd.MM.yyyy"))),
             qPrintable(stale));
    QCOMPARE(run(row).value(field).toString(), value.toString());
}

REJECTS_TEST_MAIN(TestDb)
#include "tst_db.moc"
