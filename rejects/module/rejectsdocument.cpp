#include "rejectsdocument.h"

#include "qdataset.h"
#include "qdatatable.h"

#include <QIcon>
#include <QVariant>

namespace {

const int Bool = QVariant::Bool;
const int Int = QVariant::Int;
const int UInt = QVariant::UInt;
const int LongLong = QVariant::LongLong;
const int Double = QVariant::Double;
const int String = QVariant::String;
const int ByteArray = QVariant::ByteArray;
const int Date = QVariant::Date;
const int DateTime = QVariant::DateTime;

// A hidden column: no header, width 100 unless given.
void hidden(QDataTable *table, const QString &name, int type, int step = 0, int width = 100,
            int flags = 0)
{
    table->addColumn(name, type, false, QString(), step, width, QVariant(), flags);
}

QDataTable *makeTable(QSqlConnection *connection, QObject *parent, const QString &name,
                      const QString &select, const QString &update, const QString &insert,
                      const QString &remove, bool literal = false)
{
    auto *table = new QDataTable(name, connection, parent);
    table->setScripts(select, update, insert, remove, literal);
    return table;
}

} // namespace

void RejectsDocument::build(QDataSet *document, QSqlConnection *connection, QObject *parent)
{
    QDataTable *t;

    // 1. The defect register.
    t = makeTable(connection, parent, QStringLiteral("t_process_exam"),
                  QStringLiteral("PROC_EXAM_SELECT"), QStringLiteral("PROC_EXAM_UPDATE"),
                  QStringLiteral("PROC_EXAM_INSERT"), QStringLiteral("PROC_EXAM_DELETE"));
    hidden(t, QStringLiteral("id"), LongLong, -1);
    static QIcon *photo = new QIcon(QStringLiteral(":/Icons/PHOTO"));
    t->addColumn(QStringLiteral("n_pics"), UInt, true, QString(), 0, 40, QVariant(), 12,
                 QStringLiteral("Есть прикрепленные изображения"), photo);
    t->addColumn(QStringLiteral("d_create"), DateTime, true, QStringLiteral("Дата"), 0, 120);
    t->addColumn(QStringLiteral("c_name"), String, true, QStringLiteral("№ документа"), 0, 100,
                 QStringLiteral("Новый дефект"));
    t->addColumn(QStringLiteral("c_plan_order"), String, true, QStringLiteral("План"), 0, 100);
    t->addColumn(QStringLiteral("c_version"), String, true, QStringLiteral("Изделие"), 0, 200,
                 QVariant(), 2);
    t->addColumn(QStringLiteral("c_exam_stage"), String, true, QStringLiteral("Этап отбора"), 0,
                 200, QVariant(), 2);
    t->addColumn(QStringLiteral("c_serial"), String, true, QStringLiteral("Серийный №"), 0, 100);
    t->addColumn(QStringLiteral("c_fault"), String, true, QStringLiteral("Код дефекта"), 0, 100);
    t->addColumn(QStringLiteral("c_description"), String, true, QStringLiteral("Описание"), 0, 250);
    t->addColumn(QStringLiteral("c_status"), String, true, QStringLiteral("Статус"), 0, 150,
                 QVariant(), 2);
    t->addColumn(QStringLiteral("c_solution"), String, true, QStringLiteral("Решение"), 0, 250,
                 QVariant(), 66);
    t->addColumn(QStringLiteral("b_reject"), Bool, true, QStringLiteral("Забракован"), 0, 50, false,
                 16);
    hidden(t, QStringLiteral("id_plan_order"), LongLong);
    hidden(t, QStringLiteral("id_product_version"), LongLong);
    hidden(t, QStringLiteral("id_fault"), LongLong);
    hidden(t, QStringLiteral("id_production_group_content"), LongLong);
    hidden(t, QStringLiteral("c_exam_stage_sys_name"), String);
    hidden(t, QStringLiteral("b_reaction"), Bool);
    hidden(t, QStringLiteral("c_creator"), String);
    hidden(t, QStringLiteral("id_plan_order_repair"), LongLong);
    hidden(t, QStringLiteral("c_plan_order_repair"), String);
    // The row version the database checks on every save (concurrent changes).
    hidden(t, QStringLiteral("n_version"), Int);
    t->setKeyField(QStringLiteral("id"));
    document->addTable(t);

    // 2. Selection stages.
    t = makeTable(connection, parent, QStringLiteral("t_process_exam_stage"),
                  QStringLiteral("PROC_EXAM_STAGE_SELECT"), QString(), QString(), QString());
    document->addTable(t);

    // 3. Discussion of a defect.
    t = makeTable(connection, parent, QStringLiteral("t_process_exam_disc"),
                  QStringLiteral("PROC_EXAM_DISC_SELECT"), QString(),
                  QStringLiteral("PROC_EXAM_DISC_INSERT"), QString());
    hidden(t, QStringLiteral("id"), LongLong, -1);
    t->addColumn(QStringLiteral("d_create"), DateTime, true, QStringLiteral("Дата"), 0, 120);
    t->addColumn(QStringLiteral("c_author"), String, true, QStringLiteral("Автор"), 0, 180,
                 QVariant(), 64);
    hidden(t, QStringLiteral("c_text"), String);
    hidden(t, QStringLiteral("id_process_exam"), LongLong);
    hidden(t, QStringLiteral("id_author"), LongLong);
    t->setKeyField(QStringLiteral("id"));
    document->addTable(t);

    // 4. Production units.
    t = makeTable(connection, parent, QStringLiteral("t_prod_units"),
                  QStringLiteral("PROD_UNITS_SELECT"), QString(), QString(), QString());
    document->addTable(t);

    // 5. Item families of a unit.
    t = makeTable(connection, parent, QStringLiteral("t_units_item_family"),
                  QStringLiteral("ITEM_FAMILY_BY_UNIT_SELECT"), QString(), QString(), QString());
    hidden(t, QStringLiteral("id"), LongLong);
    hidden(t, QStringLiteral("c_name"), String);
    hidden(t, QStringLiteral("c_sys_name"), String, 0, 0, 2);
    document->addTable(t);

    // 6. Production plans a defect can be attached to.
    t = makeTable(connection, parent, QStringLiteral("t_plan_order"),
                  QStringLiteral("PLAN_ORDER_FOR_REJECT_SELECT"), QString(), QString(), QString());
    t->addColumn(QStringLiteral("c_plan_name"), String, true, QStringLiteral("План"), 0, 100);
    t->addColumn(QStringLiteral("c_prod_ver"), String, true, QStringLiteral("Изделие"), 0, 200,
                 QVariant(), 64);
    t->addColumn(QStringLiteral("c_coment"), String, true, QStringLiteral("Примечание"), 0, 200);
    t->addColumn(QStringLiteral("n_qnt"), Int, true, QStringLiteral("Количество"), 0, 100);
    t->addColumn(QStringLiteral("d_create"), DateTime, true, QStringLiteral("Дата создания"), 0,
                 140);
    t->addColumn(QStringLiteral("d_close"), DateTime, true, QStringLiteral("Дата закрытия"), 0,
                 140);
    hidden(t, QStringLiteral("id"), LongLong);
    hidden(t, QStringLiteral("id_doc"), LongLong);
    hidden(t, QStringLiteral("id_unit"), LongLong);
    hidden(t, QStringLiteral("id_prod_ver"), LongLong);
    document->addTable(t);

    // 7. Pictures of a defect (attachments owned by "c_table" / "n_key").
    t = makeTable(connection, parent, QStringLiteral("t_process_exam_pics"),
                  QStringLiteral("FILE_OWNER_SELECT"), QStringLiteral("FILE_OWNER_UPDATE"),
                  QStringLiteral("FILE_OWNER_INSERT"), QStringLiteral("FILE_OWNER_DELETE"));
    hidden(t, QStringLiteral("id"), LongLong, -1);
    t->addColumn(QStringLiteral("c_file"), String, true, QStringLiteral("Файл"), 0, 100, QVariant(),
                 64);
    t->addColumn(QStringLiteral("n_size"), LongLong, true, QStringLiteral("Размер (кБ)"), 0, 180);
    hidden(t, QStringLiteral("c_table"), String, 0, 0);
    hidden(t, QStringLiteral("n_key"), LongLong);
    hidden(t, QStringLiteral("c_comment"), String);
    hidden(t, QStringLiteral("bl_file"), ByteArray);
    hidden(t, QStringLiteral("n_crc"), LongLong);
    hidden(t, QStringLiteral("n_version"), Int);
    document->addTable(t);

    // 8. Fault types.
    t = makeTable(connection, parent, QStringLiteral("t_fault_type"),
                  QStringLiteral("FAULT_TYPE_SELECT"), QStringLiteral("FAULT_TYPE_UPDATE"),
                  QStringLiteral("FAULT_TYPE_INSERT"), QStringLiteral("FAULT_TYPE_DELETE"));
    hidden(t, QStringLiteral("id"), LongLong, -1);
    hidden(t, QStringLiteral("c_name"), String);
    hidden(t, QStringLiteral("c_sys_name"), String);
    hidden(t, QStringLiteral("c_prefix"), String);
    hidden(t, QStringLiteral("n_version"), Int);
    document->addTable(t);

    // 9. Fault codes.
    t = makeTable(connection, parent, QStringLiteral("t_fault_code"),
                  QStringLiteral("FAULT_CODE_SELECT"), QStringLiteral("FAULT_CODE_UPDATE"),
                  QStringLiteral("FAULT_CODE_INSERT"), QStringLiteral("FAULT_CODE_DELETE"));
    hidden(t, QStringLiteral("id"), LongLong, -1);
    t->addColumn(QStringLiteral("c_name"), String, true, QStringLiteral("Код"), 0, 120);
    t->addColumn(QStringLiteral("c_description"), String, true, QStringLiteral("Описание"), 0, 100,
                 QVariant(), 64);
    hidden(t, QStringLiteral("id_type"), LongLong, 0, 0, 2);
    hidden(t, QStringLiteral("n_version"), Int);
    t->setKeyField(QStringLiteral("id"));
    document->addTable(t);

    // 10. Serial numbers (S1).
    t = makeTable(connection, parent, QStringLiteral("t_serial"),
                  QStringLiteral("SELECT id, c_serial, id_plan_order FROM "
                                 "docs.t_production_group_content;"),
                  QString(), QString(), QString(), true);
    document->addTable(t);

    // 11. Quality-control works that may have caused the defect (S2).
    t = makeTable(
        connection, parent, QStringLiteral("t_reasons"),
        QStringLiteral("SELECT (r.id IS NOT NULL) AS v, qcw.id, qcw.c_reason, qcw.d_start, "
                       "qcw.d_end FROM qms.t_quality_control_works qcw LEFT JOIN "
                       "qms.tl_quality_control_works_reject r ON r.id_quality_control_works = "
                       "qcw.id AND r.id_process_exam = :id_process_exam WHERE qcw.id_fault_code "
                       "= :id_fault_code ;"),
        QString(), QString(), QString(), true);
    t->addColumn(QStringLiteral("v"), Bool, true, QStringLiteral("v"), 0, 50);
    t->addColumn(QStringLiteral("c_reason"), String, true, QStringLiteral("Причина"), 0, 600);
    t->addColumn(QStringLiteral("d_start"), Date, true, QStringLiteral("Начат"), 0, 100);
    t->addColumn(QStringLiteral("d_end"), Date, true, QStringLiteral("Закрыт"), 0, 100);
    hidden(t, QStringLiteral("id"), LongLong);
    document->addTable(t);

    // 12. Production works that may have caused the defect (S3).
    t = makeTable(
        connection, parent, QStringLiteral("t_executor"),
        QStringLiteral("SELECT (r.id IS NOT NULL) AS v, pw.id, pw.id_process_technology, "
                       "pt.c_name, pw.id_user, u.c_name AS c_user, pw.n_qty, pw.c_description "
                       "FROM prod.t_process_work pw JOIN inv.v_process_technology pt ON pt.id = "
                       "pw.id_process_technology JOIN sys.t_user u ON u.id = pw.id_user LEFT "
                       "JOIN prod.tl_process_work_reject r ON r.id_process_work = pw.id AND "
                       "r.id_process_exam = :id_process_exam WHERE pw.id_plan = :id_plan ;"),
        QString(), QString(), QString(), true);
    t->addColumn(QStringLiteral("v"), Bool, true, QStringLiteral("v"), 0, 50);
    t->addColumn(QStringLiteral("c_name"), String, true, QStringLiteral("Техпроцесс"), 0, 500);
    t->addColumn(QStringLiteral("c_user"), String, true, QStringLiteral("Работник"), 0, 300);
    t->addColumn(QStringLiteral("c_description"), String, true, QStringLiteral("Описание"), 0, 300);
    t->addColumn(QStringLiteral("n_qty"), Date, true, QStringLiteral("Кол"), 0, 100);
    hidden(t, QStringLiteral("id"), LongLong);
    hidden(t, QStringLiteral("id_process_technology"), LongLong);
    hidden(t, QStringLiteral("id_user"), LongLong);
    document->addTable(t);

    // 13. Links of a defect to production works.
    t = makeTable(connection, parent, QStringLiteral("t_process_work_reject"),
                  QStringLiteral("PROCESS_WORK_REJECT_SELECT"), QString(),
                  QStringLiteral("PROCESS_WORK_REJECT_INSERT"),
                  QStringLiteral("PROCESS_WORK_REJECT_DELETE"));
    hidden(t, QStringLiteral("id"), LongLong);
    hidden(t, QStringLiteral("id_process_exam"), LongLong);
    hidden(t, QStringLiteral("id_process_work"), LongLong);
    document->addTable(t);

    // 14. Links of a defect to quality-control works.
    t = makeTable(connection, parent, QStringLiteral("t_quality_control_works_reject"),
                  QStringLiteral("QUALITY_CONTROL_WORKS_REJECT_SELECT"), QString(),
                  QStringLiteral("QUALITY_CONTROL_WORKS_REJECT_INSERT"),
                  QStringLiteral("QUALITY_CONTROL_WORKS_REJECT_DELETE"));
    hidden(t, QStringLiteral("id"), LongLong);
    hidden(t, QStringLiteral("id_process_exam"), LongLong);
    hidden(t, QStringLiteral("id_quality_control_works"), LongLong);
    document->addTable(t);

    // 15. Users who may be notified (S4).
    t = makeTable(
        connection, parent, QStringLiteral("t_notification"),
        QStringLiteral("SELECT DISTINCT u.id, u.c_name, (rn.id_user IS NOT NULL) AS v FROM "
                       "sys.tl_user_access_right ur JOIN sys.t_user u ON u.id = ur.id_user JOIN "
                       "sys.t_access_right r ON r.id = ur.id_access_right LEFT JOIN "
                       "qms.tl_reject_notification rn ON rn.id_user = u.id AND "
                       "rn.id_process_exam = :id_process_exam WHERE r.c_sys_name = "
                       "'REJECT_NOTIFICATION' ORDER BY u.c_name;"),
        QString(), QString(), QString(), true);
    t->addColumn(QStringLiteral("v"), Bool, true, QStringLiteral("v"), 0, 50);
    t->addColumn(QStringLiteral("c_name"), String, true, QStringLiteral("Пользователь"), 0, 500,
                 QVariant(), 64);
    hidden(t, QStringLiteral("id"), LongLong);
    document->addTable(t);

    // 16. Users notified of a defect.
    t = makeTable(connection, parent, QStringLiteral("t_reject_notification"),
                  QStringLiteral("REJECT_NOTIFICATION_SELECT"), QString(),
                  QStringLiteral("REJECT_NOTIFICATION_INSERT"),
                  QStringLiteral("REJECT_NOTIFICATION_DELETE"));
    document->addTable(t);

    // 17. Customer appeals about the same product and serial number (S5).
    t = makeTable(
        connection, parent, QStringLiteral("t_customer_appeal"),
        QStringLiteral("SELECT ca.id, ca.id_contractor, c.c_name AS c_contractor, ca.d_date, "
                       "ca.c_text FROM qms.t_customer_appeal ca JOIN "
                       "docs.t_production_group_content pgc ON pgc.id = "
                       "ca.id_production_group_content JOIN docs.t_plan_order po ON po.id = "
                       "pgc.id_plan_order JOIN jur.t_contractor c ON c.id = ca.id_contractor "
                       "WHERE po.id_prod_ver = :id_version AND pgc.c_serial = :c_serial ORDER BY "
                       "ca.d_date;"),
        QString(), QString(), QString(), true);
    t->addColumn(QStringLiteral("c_contractor"), String, true, QStringLiteral("Контрагент"), 0,
                 300);
    t->addColumn(QStringLiteral("d_date"), Date, true, QStringLiteral("Дата"), 0, 200);
    hidden(t, QStringLiteral("id"), LongLong);
    hidden(t, QStringLiteral("id_contractor"), LongLong);
    hidden(t, QStringLiteral("c_text"), String);
    document->addTable(t);

    // 18. Files of a customer appeal.
    t = makeTable(connection, parent, QStringLiteral("t_file_customer_appeal"),
                  QStringLiteral("FILE_OWNER_SELECT"), QString(), QString(), QString());
    t->addColumn(QStringLiteral("c_comment"), String, true, QStringLiteral("Описание"), 0, 500);
    t->addColumn(QStringLiteral("c_file"), String, true, QStringLiteral("Файл"), 0, 300);
    t->addColumn(QStringLiteral("n_size"), LongLong, true, QStringLiteral("Размер(кБ)"), 0, 120);
    t->addColumn(QStringLiteral("id_creator"), LongLong, true, QStringLiteral("Подпись"), 0, 150);
    hidden(t, QStringLiteral("id"), LongLong, -1);
    hidden(t, QStringLiteral("n_crc"), LongLong);
    hidden(t, QStringLiteral("c_table"), String);
    hidden(t, QStringLiteral("n_key"), LongLong);
    document->addTable(t);

    // 19. The repair plan raised from a defect.
    t = makeTable(connection, parent, QStringLiteral("t_plan_order_repair"), QString(), QString(),
                  QStringLiteral("PLAN_ORDER_INSERT"), QString());
    hidden(t, QStringLiteral("id"), LongLong, -1);
    hidden(t, QStringLiteral("c_coment"), String);
    hidden(t, QStringLiteral("id_unit"), LongLong);
    hidden(t, QStringLiteral("id_prod_ver"), LongLong);
    hidden(t, QStringLiteral("id_type"), LongLong);
    hidden(t, QStringLiteral("n_priority"), LongLong);
    hidden(t, QStringLiteral("n_qnt"), Int);
    hidden(t, QStringLiteral("d_shipment_plan"), Date);
    t->setKeyField(QStringLiteral("id"));
    document->addTable(t);

    // 20. Items requested for the repair plan.
    t = makeTable(
        connection, parent, QStringLiteral("t_store_order_content"),
        QStringLiteral("PLAN_ORDER_CONTENT_SELECT"), QStringLiteral("PLAN_ORDER_CONTENT_UPDATE"),
        QStringLiteral("PLAN_ORDER_CONTENT_INSERT"), QStringLiteral("PLAN_ORDER_CONTENT_DELETE"));
    t->addColumn(QStringLiteral("c_name"), String, true,
                 QStringLiteral("Наименование семейства элемента"), 0, 400, QVariant(), 64);
    t->addColumn(QStringLiteral("n_qnt_require"), Double, true, QStringLiteral("Требуемое кол-во"),
                 0, 180);
    t->addColumn(QStringLiteral("n_qnt_giveout"), Double, false, QStringLiteral("Выдано"), 0, 180);
    t->addColumn(QStringLiteral("n_qnt_giveout"), Double, false, QStringLiteral("На складе"), 0,
                 180);
    hidden(t, QStringLiteral("id"), LongLong);
    hidden(t, QStringLiteral("id_item_family"), LongLong);
    hidden(t, QStringLiteral("id_store_order"), LongLong);
    hidden(t, QStringLiteral("n_version"), Int);
    document->addTable(t);

    // 21.-23. Item families, item types, families in store.
    t = makeTable(connection, parent, QStringLiteral("t_item_family"),
                  QStringLiteral("ALL_ITEM_FAMILY_SELECT"), QString(), QString(), QString());
    t->setKeyField(QStringLiteral("id"));
    document->addTable(t);
    t = makeTable(connection, parent, QStringLiteral("t_item_type"),
                  QStringLiteral("ALL_ITEM_TYPE_SELECT"), QString(), QString(), QString());
    t->setKeyField(QStringLiteral("id"));
    document->addTable(t);
    t = makeTable(connection, parent, QStringLiteral("t_family_in_store"),
                  QStringLiteral("FAMILY_IN_STORAGE_SELECT"), QString(), QString(), QString());
    document->addTable(t);

    const QString exam = QStringLiteral("t_process_exam");
    const QString repair = QStringLiteral("t_plan_order_repair");
    const QString id = QStringLiteral("id");
    document->createDataLink(exam, id, QStringLiteral("t_process_exam_disc"),
                             QStringLiteral("id_process_exam"));
    document->createDataLink(exam, id, QStringLiteral("t_process_exam_pics"),
                             QStringLiteral("n_key"));
    document->createDataLink(exam, id, QStringLiteral("t_process_work_reject"),
                             QStringLiteral("id_process_exam"));
    document->createDataLink(exam, id, QStringLiteral("t_quality_control_works_reject"),
                             QStringLiteral("id_process_exam"));
    document->createDataLink(exam, id, QStringLiteral("t_reject_notification"),
                             QStringLiteral("id_process_exam"));
    document->createDataLink(repair, id, exam, QStringLiteral("id_plan_order_repair"));
    document->createDataLink(repair, id, QStringLiteral("t_store_order_content"),
                             QStringLiteral("id_store_order"));

    document->setChangingOrder(
        {QStringLiteral("t_fault_type"), QStringLiteral("t_fault_code"), repair,
         QStringLiteral("t_store_order_content"), exam, QStringLiteral("t_process_exam_disc"),
         QStringLiteral("t_process_exam_pics"), QStringLiteral("t_process_work_reject"),
         QStringLiteral("t_quality_control_works_reject"),
         QStringLiteral("t_reject_notification")});
}
