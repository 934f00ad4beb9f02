#include "rejectsdocument.h"

#include "colinfo.h"
#include "qdataset.h"
#include "qdatatable.h"

#include <QIcon>

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

// A table of the document: its name, its scripts (names in the script store,
// or literal statements) and its key field.
struct TableDecl
{
    const char *name;
    const char *select = nullptr;
    const char *update = nullptr;
    const char *insert = nullptr;
    const char *remove = nullptr;
    bool literal = false;
    const char *key = nullptr;
};

// Adds declared tables to the document.
struct Builder
{
    QDataSet *document;
    QSqlConnection *connection;
    QObject *parent;

    void add(const TableDecl &decl, const QVector<ColumnDecl> &columns = {}) const
    {
        auto *table = new QDataTable(QString::fromLatin1(decl.name), connection, parent);
        table->setScripts(QString::fromUtf8(decl.select), QString::fromUtf8(decl.update),
                          QString::fromUtf8(decl.insert), QString::fromUtf8(decl.remove),
                          decl.literal);
        RejectsDocument::addColumns(table, columns);
        if (decl.key)
            table->setKeyField(QString::fromLatin1(decl.key));
        document->addTable(table);
    }
};

// The defect register and the selection stages.
void addRegister(const Builder &b)
{
    b.add({"t_process_exam", "PROC_EXAM_SELECT", "PROC_EXAM_UPDATE", "PROC_EXAM_INSERT",
           "PROC_EXAM_DELETE", false, "id"},
          RejectsDocument::registerColumns());
    b.add({"t_process_exam_stage", "PROC_EXAM_STAGE_SELECT"});
}

// The discussion of a defect.
void addDiscussion(const Builder &b)
{
    b.add(
        {"t_process_exam_disc", "PROC_EXAM_DISC_SELECT", nullptr, "PROC_EXAM_DISC_INSERT", nullptr,
         false, "id"},
        {{"id", LongLong, false, nullptr, 100, 0, -1},
         {"d_create", DateTime, true, QT_TRANSLATE_NOOP("RejectsDocument", "Дата"), 120},
         {"c_author", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Автор"), 180, cfStretch},
         {"c_text", String},
         {"id_process_exam", LongLong},
         {"id_author", LongLong}});
}

// Production units, the item families of a unit, the plans a defect can be
// attached to.
void addProduction(const Builder &b)
{
    b.add({"t_prod_units", "PROD_UNITS_SELECT"});
    b.add({"t_units_item_family", "ITEM_FAMILY_BY_UNIT_SELECT"},
          {{"id", LongLong},
           {"c_name", String},
           {"c_sys_name", String, false, nullptr, 0, cfValueIndex}});
    b.add({"t_plan_order", "PLAN_ORDER_FOR_REJECT_SELECT"},
          {{"c_plan_name", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "План"), 100},
           {"c_prod_ver", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Изделие"), 200,
            cfStretch},
           {"c_coment", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Примечание"), 200},
           {"n_qnt", Int, true, QT_TRANSLATE_NOOP("RejectsDocument", "Количество"), 100},
           {"d_create", DateTime, true, QT_TRANSLATE_NOOP("RejectsDocument", "Дата создания"), 140},
           {"d_close", DateTime, true, QT_TRANSLATE_NOOP("RejectsDocument", "Дата закрытия"), 140},
           {"id", LongLong},
           {"id_doc", LongLong},
           {"id_unit", LongLong},
           {"id_prod_ver", LongLong}});
}

// Pictures of a defect (attachments owned by "c_table" / "n_key").
void addPictures(const Builder &b)
{
    b.add({"t_process_exam_pics", "FILE_OWNER_SELECT", "FILE_OWNER_UPDATE", "FILE_OWNER_INSERT",
           "FILE_OWNER_DELETE"},
          {{"id", LongLong, false, nullptr, 100, 0, -1},
           {"c_file", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Файл"), 100, cfStretch},
           {"n_size", LongLong, true, QT_TRANSLATE_NOOP("RejectsDocument", "Размер (кБ)"), 180},
           {"c_table", String, false, nullptr, 0},
           {"n_key", LongLong},
           {"c_comment", String},
           {"bl_file", ByteArray},
           {"n_crc", LongLong},
           {"n_version", Int}});
}

// The fault dictionary: types and codes.
void addFaults(const Builder &b)
{
    b.add({"t_fault_type", "FAULT_TYPE_SELECT", "FAULT_TYPE_UPDATE", "FAULT_TYPE_INSERT",
           "FAULT_TYPE_DELETE"},
          {{"id", LongLong, false, nullptr, 100, 0, -1},
           {"c_name", String},
           {"c_sys_name", String},
           {"c_prefix", String},
           {"n_version", Int}});
    b.add({"t_fault_code", "FAULT_CODE_SELECT", "FAULT_CODE_UPDATE", "FAULT_CODE_INSERT",
           "FAULT_CODE_DELETE", false, "id"},
          {{"id", LongLong, false, nullptr, 100, 0, -1},
           {"c_name", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Код"), 120},
           {"c_description", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Описание"), 100,
            cfStretch},
           {"id_type", LongLong, false, nullptr, 0, cfValueIndex},
           {"n_version", Int}});
}

// Serial numbers (S1), the works that may have caused a defect (S2, S3) and
// the defect's links to them.
void addCauses(const Builder &b)
{
    b.add({"t_serial", "SELECT id, c_serial, id_plan_order FROM docs.t_production_group_content;",
           nullptr, nullptr, nullptr, true});
    b.add({"t_reasons",
           "SELECT (r.id IS NOT NULL) AS v, qcw.id, qcw.c_reason, qcw.d_start, "
           "qcw.d_end FROM qms.t_quality_control_works qcw LEFT JOIN "
           "qms.tl_quality_control_works_reject r ON r.id_quality_control_works = "
           "qcw.id AND r.id_process_exam = :id_process_exam WHERE qcw.id_fault_code "
           "= :id_fault_code ;",
           nullptr, nullptr, nullptr, true},
          {{"v", Bool, true, "v", 50},
           {"c_reason", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Причина"), 600},
           {"d_start", Date, true, QT_TRANSLATE_NOOP("RejectsDocument", "Начат"), 100},
           {"d_end", Date, true, QT_TRANSLATE_NOOP("RejectsDocument", "Закрыт"), 100},
           {"id", LongLong}});
    b.add({"t_executor",
           "SELECT (r.id IS NOT NULL) AS v, pw.id, pw.id_process_technology, "
           "pt.c_name, pw.id_user, u.c_name AS c_user, pw.n_qty, pw.c_description "
           "FROM prod.t_process_work pw JOIN inv.v_process_technology pt ON pt.id = "
           "pw.id_process_technology JOIN sys.t_user u ON u.id = pw.id_user LEFT "
           "JOIN prod.tl_process_work_reject r ON r.id_process_work = pw.id AND "
           "r.id_process_exam = :id_process_exam WHERE pw.id_plan = :id_plan ;",
           nullptr, nullptr, nullptr, true},
          {{"v", Bool, true, "v", 50},
           {"c_name", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Техпроцесс"), 500},
           {"c_user", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Работник"), 300},
           {"c_description", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Описание"), 300},
           {"n_qty", Date, true, QT_TRANSLATE_NOOP("RejectsDocument", "Кол"), 100},
           {"id", LongLong},
           {"id_process_technology", LongLong},
           {"id_user", LongLong}});
    b.add({"t_process_work_reject", "PROCESS_WORK_REJECT_SELECT", nullptr,
           "PROCESS_WORK_REJECT_INSERT", "PROCESS_WORK_REJECT_DELETE"},
          {{"id", LongLong}, {"id_process_exam", LongLong}, {"id_process_work", LongLong}});
    b.add(
        {"t_quality_control_works_reject", "QUALITY_CONTROL_WORKS_REJECT_SELECT", nullptr,
         "QUALITY_CONTROL_WORKS_REJECT_INSERT", "QUALITY_CONTROL_WORKS_REJECT_DELETE"},
        {{"id", LongLong}, {"id_process_exam", LongLong}, {"id_quality_control_works", LongLong}});
}

// The users who may be notified (S4) and those notified of a defect.
void addNotifications(const Builder &b)
{
    b.add({"t_notification",
           "SELECT DISTINCT u.id, u.c_name, (rn.id_user IS NOT NULL) AS v FROM "
           "sys.tl_user_access_right ur JOIN sys.t_user u ON u.id = ur.id_user JOIN "
           "sys.t_access_right r ON r.id = ur.id_access_right LEFT JOIN "
           "qms.tl_reject_notification rn ON rn.id_user = u.id AND "
           "rn.id_process_exam = :id_process_exam WHERE r.c_sys_name = "
           "'REJECT_NOTIFICATION' ORDER BY u.c_name;",
           nullptr, nullptr, nullptr, true},
          {{"v", Bool, true, "v", 50},
           {"c_name", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Пользователь"), 500,
            cfStretch},
           {"id", LongLong}});
    b.add({"t_reject_notification", "REJECT_NOTIFICATION_SELECT", nullptr,
           "REJECT_NOTIFICATION_INSERT", "REJECT_NOTIFICATION_DELETE"});
}

// Customer appeals about the same product and serial number (S5) and their files.
void addCustomerAppeals(const Builder &b)
{
    b.add({"t_customer_appeal",
           "SELECT ca.id, ca.id_contractor, c.c_name AS c_contractor, ca.d_date, "
           "ca.c_text FROM qms.t_customer_appeal ca JOIN "
           "docs.t_production_group_content pgc ON pgc.id = "
           "ca.id_production_group_content JOIN docs.t_plan_order po ON po.id = "
           "pgc.id_plan_order JOIN jur.t_contractor c ON c.id = ca.id_contractor "
           "WHERE po.id_prod_ver = :id_version AND pgc.c_serial = :c_serial ORDER BY "
           "ca.d_date;",
           nullptr, nullptr, nullptr, true},
          {{"c_contractor", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Контрагент"), 300},
           {"d_date", Date, true, QT_TRANSLATE_NOOP("RejectsDocument", "Дата"), 200},
           {"id", LongLong},
           {"id_contractor", LongLong},
           {"c_text", String}});
    b.add({"t_file_customer_appeal", "FILE_OWNER_SELECT"},
          {{"c_comment", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Описание"), 500},
           {"c_file", String, true, QT_TRANSLATE_NOOP("RejectsDocument", "Файл"), 300},
           {"n_size", LongLong, true, QT_TRANSLATE_NOOP("RejectsDocument", "Размер(кБ)"), 120},
           {"id_creator", LongLong, true, QT_TRANSLATE_NOOP("RejectsDocument", "Подпись"), 150},
           {"id", LongLong, false, nullptr, 100, 0, -1},
           {"n_crc", LongLong},
           {"c_table", String},
           {"n_key", LongLong}});
}

// The repair plan raised from a defect, the items it requests and the
// catalogues they come from.
void addRepair(const Builder &b)
{
    b.add({"t_plan_order_repair", nullptr, nullptr, "PLAN_ORDER_INSERT", nullptr, false, "id"},
          {{"id", LongLong, false, nullptr, 100, 0, -1},
           {"c_coment", String},
           {"id_unit", LongLong},
           {"id_prod_ver", LongLong},
           {"id_type", LongLong},
           {"n_priority", LongLong},
           {"n_qnt", Int},
           {"d_shipment_plan", Date}});
    // "n_qnt_giveout" is declared twice, under two headers.
    b.add(
        {"t_store_order_content", "PLAN_ORDER_CONTENT_SELECT", "PLAN_ORDER_CONTENT_UPDATE",
         "PLAN_ORDER_CONTENT_INSERT", "PLAN_ORDER_CONTENT_DELETE"},
        {{"c_name", String, true,
          QT_TRANSLATE_NOOP("RejectsDocument", "Наименование семейства элемента"), 400, cfStretch},
         {"n_qnt_require", Double, true, QT_TRANSLATE_NOOP("RejectsDocument", "Требуемое кол-во"),
          180},
         {"n_qnt_giveout", Double, false, QT_TRANSLATE_NOOP("RejectsDocument", "Выдано"), 180},
         {"n_qnt_giveout", Double, false, QT_TRANSLATE_NOOP("RejectsDocument", "На складе"), 180},
         {"id", LongLong},
         {"id_item_family", LongLong},
         {"id_store_order", LongLong},
         {"n_version", Int}});
    b.add({"t_item_family", "ALL_ITEM_FAMILY_SELECT", nullptr, nullptr, nullptr, false, "id"});
    b.add({"t_item_type", "ALL_ITEM_TYPE_SELECT", nullptr, nullptr, nullptr, false, "id"});
    b.add({"t_family_in_store", "FAMILY_IN_STORAGE_SELECT"});
}

// The master/detail key links and the order in which a commit writes the tables.
void addLinks(QDataSet *document)
{
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

} // namespace

QIcon *RejectsDocument::photoIcon()
{
    static QIcon icon(QStringLiteral(":/Icons/PHOTO"));
    return &icon;
}

const QVector<ColumnDecl> &RejectsDocument::registerColumns()
{
    static const QVector<ColumnDecl> columns = {
        {"id", LongLong, false, nullptr, 100, 0, -1},
        {"n_pics", UInt, true, nullptr, 40, cfFixedWidth | cfPictureCount, 0, QVariant(),
         QT_TR_NOOP("Есть прикрепленные изображения"), photoIcon()},
        {"d_create", DateTime, true, QT_TR_NOOP("Дата"), 120},
        {"c_name", String, true, QT_TR_NOOP("№ документа"), 100, 0, 0,
         QVariant(QString::fromUtf8(QT_TR_NOOP("Новый дефект")))},
        {"c_plan_order", String, true, QT_TR_NOOP("План"), 100},
        {"c_version", String, true, QT_TR_NOOP("Изделие"), 200, cfValueIndex},
        {"c_exam_stage", String, true, QT_TR_NOOP("Этап отбора"), 200, cfValueIndex},
        {"c_serial", String, true, QT_TR_NOOP("Серийный №"), 100},
        {"c_fault", String, true, QT_TR_NOOP("Код дефекта"), 100},
        {"c_description", String, true, QT_TR_NOOP("Описание"), 250},
        {"c_status", String, true, QT_TR_NOOP("Статус"), 150, cfValueIndex},
        {"c_solution", String, true, QT_TR_NOOP("Решение"), 250, cfStretch | cfValueIndex},
        {"b_reject", Bool, true, QT_TR_NOOP("Забракован"), 50, cfFitContents, 0, false},
        {"id_plan_order", LongLong},
        {"id_product_version", LongLong},
        {"id_fault", LongLong},
        {"id_production_group_content", LongLong},
        {"c_exam_stage_sys_name", String},
        {"b_reaction", Bool},
        {"c_creator", String},
        {"id_plan_order_repair", LongLong},
        {"c_plan_order_repair", String},
        // The row version the database checks on every save (concurrent changes).
        {"n_version", Int},
    };
    return columns;
}

void RejectsDocument::addColumns(QDataTable *table, const QVector<ColumnDecl> &columns)
{
    auto text = [](const char *source) { return source ? tr(source) : QString(); };
    for (const ColumnDecl &c : columns) {
        QVariant defaultValue = c.defaultValue;
        if (defaultValue.userType() == QMetaType::QString) // a text default is shown: translated
            defaultValue = tr(defaultValue.toString().toUtf8().constData());
        table->addColumn(QString::fromLatin1(c.name), c.type, c.shown, text(c.header), c.step,
                         c.width, defaultValue, c.flags, text(c.toolTip), c.icon);
    }
}

void RejectsDocument::build(QDataSet *document, QSqlConnection *connection, QObject *parent)
{
    const Builder builder{document, connection, parent};
    addRegister(builder);
    addDiscussion(builder);
    addProduction(builder);
    addPictures(builder);
    addFaults(builder);
    addCauses(builder);
    addNotifications(builder);
    addCustomerAppeals(builder);
    addRepair(builder);
    addLinks(document);
}
