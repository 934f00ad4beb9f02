// Repair plans and the items of a repair against the demo database: the plan
// link list, a new plan saved or dropped with the defect, the plan form's
// checks, the item catalogue's search, the quantity limits and the rights.

#include "itemdialog.h"
#include "modalresponder.h"
#include "planadddialog.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "tabitemseditor.h"
#include "testfixture.h"
#include "testmain.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableView>
#include <QToolButton>
#include <QTreeWidget>
#include <memory>

extern "C" QDataSet *getDocument(QObject *parent);

namespace {

const char *const repairedDefect = "На периодических испытаниях%";
const char *const defectWithoutPlan = "Ток потребления%";

template <typename T> T *child(QWidget *parent, const char *name)
{
    T *widget = parent->findChild<T *>(QLatin1String(name));
    if (!widget)
        qWarning() << "no widget" << name;
    return widget;
}

QStringList visibleChildren(QTreeWidget *tree, QTreeWidgetItem *parent)
{
    QStringList names;
    const int count = parent ? parent->childCount() : tree->topLevelItemCount();
    for (int i = 0; i < count; ++i) {
        QTreeWidgetItem *item = parent ? parent->child(i) : tree->topLevelItem(i);
        if (!item->isHidden())
            names << item->text(0);
    }
    return names;
}

QTreeWidgetItem *visibleChild(QTreeWidget *tree, QTreeWidgetItem *parent, const QString &name)
{
    const int count = parent ? parent->childCount() : tree->topLevelItemCount();
    for (int i = 0; i < count; ++i) {
        QTreeWidgetItem *item = parent ? parent->child(i) : tree->topLevelItem(i);
        if (!item->isHidden() && item->text(0) == name)
            return item;
    }
    return nullptr;
}

} // namespace

class TestRepair : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void linkList_onlyFreeOpenPlans();
    void newPlan_savedOnlyWithDefect_data();
    void newPlan_savedOnlyWithDefect();
    void planForm_withNothingChosen_reportsType();
    void search_deepFamily_keepsItsBranch();
    void itemDialog_limits_data();
    void itemDialog_limits();
    void rights_data();
    void rights();

private:
    void login(const QString &user);
    // Makes the defect current in the register and shows it in a new tab.
    std::unique_ptr<TabItemsEditor> openDefect(const char *description);
    QVariant dbValue(const QString &sql) { return m_fx->value(sql); }

    std::unique_ptr<TestFixture> m_fx;
    QDataSet *m_document = nullptr;
};

// One database for the program: only the saved new plan stays, and it is
// bound to its defect, so no other case sees it.
void TestRepair::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("repair"));
}

void TestRepair::init()
{
    login(QStringLiteral("kuznetsova"));
}

void TestRepair::cleanup()
{
    if (m_document) {
        m_document->rollback();
        m_document->closeAll();
    }
}

void TestRepair::login(const QString &user)
{
    QVERIFY2(m_fx->login(user), qPrintable(m_fx->error()));
    m_document = getDocument(qApp);
    QVERIFY(m_document);
    for (QDataTable *table : m_document->tables())
        table->setConnection(m_fx->connection());
}

std::unique_ptr<TabItemsEditor> TestRepair::openDefect(const char *description)
{
    QDataTable *exams = m_document->getTable(QStringLiteral("t_process_exam"));
    exams->close();
    exams->open(false, false);
    const qint64 id = dbValue(QStringLiteral("SELECT id FROM docs.t_process_exam WHERE "
                                             "c_description LIKE '%1'")
                                  .arg(QString::fromUtf8(description)))
                          .toLongLong();
    if (exams->locate(QStringLiteral("id"), id) < 0)
        qWarning() << "defect not listed" << description;
    auto tab = std::make_unique<TabItemsEditor>();
    tab->refresh();
    return tab;
}

// The list offers only the open, unused, not deleted repair plan; choosing
// nothing is refused, choosing it links it to the defect.
void TestRepair::linkList_onlyFreeOpenPlans()
{
    auto tab = openDefect(defectWithoutPlan);
    QStringList listed;
    ModalResponder modal;
    modal.expect([&listed](QWidget *dialog) {
        auto *view = child<QTableView>(dialog, "tvPlan");
        for (int row = 0; row < view->model()->rowCount(); ++row)
            listed << view->model()->index(row, 1).data().toString();
        view->setCurrentIndex(QModelIndex());
        child<QPushButton>(dialog, "pushButtonAccept")->click();
        view->setCurrentIndex(view->model()->index(0, 0));
        child<QPushButton>(dialog, "pushButtonAccept")->click();
    });
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    child<QPushButton>(tab.get(), "pushButtonPlanLink")->click();

    QCOMPARE(listed, QStringList{QStringLiteral("Перекраска корпусов ШУ-10")});
    QCOMPARE(modal.messages(), QStringList{QStringLiteral("Внимание!|План не выбран")});
    const QVariant plan = dbValue(QStringLiteral(
        "SELECT id FROM docs.t_plan_order WHERE c_coment = 'Перекраска корпусов ШУ-10'"));
    QCOMPARE(tab->record().value(QStringLiteral("id_plan_order_repair")).toLongLong(),
             plan.toLongLong());
    QCOMPARE(child<QLabel>(tab.get(), "labelPlan")->text(),
             dbValue(QStringLiteral("SELECT d.c_name FROM docs.t_plan_order po JOIN docs.t_doc d "
                                    "ON d.id = po.id_doc WHERE po.id = %1")
                         .arg(plan.toLongLong()))
                 .toString());
    QVERIFY(!child<QPushButton>(tab.get(), "pushButtonPlanAdd")->isEnabled());
}

void TestRepair::newPlan_savedOnlyWithDefect_data()
{
    QTest::addColumn<bool>("save");
    QTest::addColumn<QString>("defect");
    QTest::newRow("defect saved") << true << "Выходное напряжение 23,1 В%";
    QTest::newRow("defect cancelled") << false << QString::fromUtf8(defectWithoutPlan);
}

void TestRepair::newPlan_savedOnlyWithDefect()
{
    QFETCH(bool, save);
    QFETCH(QString, defect);
    const QString comment = QString::fromUtf8(QTest::currentDataTag());
    auto tab = openDefect(defect.toUtf8().constData());
    ModalResponder modal;
    modal.expect([comment](QWidget *dialog) {
        child<QPlainTextEdit>(dialog, "leComment")->setPlainText(comment);
        auto *type = child<QComboBox>(dialog, "cbType");
        type->setCurrentIndex(type->findText(QStringLiteral("Ремонтный")));
        child<QPushButton>(dialog, "pushButtonAccept")->click();
    });
    child<QPushButton>(tab.get(), "pushButtonPlanAdd")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(child<QLabel>(tab.get(), "labelPlan")->text(), QStringLiteral("Новый план"));
    const QString plans =
        QStringLiteral("SELECT count(*) FROM docs.t_plan_order WHERE c_coment = '%1'").arg(comment);
    QCOMPARE(dbValue(plans).toInt(), 0);

    if (save)
        QVERIFY(m_document->commit(m_fx->connection()));
    else
        m_document->rollback();
    QCOMPARE(dbValue(plans).toInt(), save ? 1 : 0);
    QCOMPARE(dbValue(QStringLiteral("SELECT count(*) FROM docs.t_plan_order po JOIN "
                                    "docs.t_process_exam pe ON pe.id_plan_order_repair = po.id "
                                    "WHERE po.c_coment = '%1' AND po.id_prod_ver IS NULL AND "
                                    "pe.c_description LIKE '%2'")
                         .arg(comment, defect))
                 .toInt(),
             save ? 1 : 0);
}

void TestRepair::planForm_withNothingChosen_reportsType()
{
    PlanAddDialog dialog;
    child<QComboBox>(&dialog, "cbUnit")->setCurrentIndex(-1);
    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    child<QPushButton>(&dialog, "pushButtonAccept")->click();
    QCOMPARE(modal.messages(), QStringList{QStringLiteral("Внимание!|Не задан тип")});
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
}

// Only the root of a deep family stays; expanding loads each level and shows
// only the way to the family.
void TestRepair::search_deepFamily_keepsItsBranch()
{
    auto tab = openDefect(repairedDefect);
    tab->createTree();
    auto *tree = child<QTreeWidget>(tab.get(), "trwItems");
    QVERIFY(visibleChildren(tree, nullptr).size() > 1);

    child<QLineEdit>(tab.get(), "leSearch")->setText(QStringLiteral("1000 мКф"));
    QCOMPARE(visibleChildren(tree, nullptr), QStringList{QStringLiteral("Электронные компоненты")});
    QTreeWidgetItem *item = visibleChild(tree, nullptr, QStringLiteral("Электронные компоненты"));
    for (const char *level : {"Конденсаторы", "Конденсаторы электролитические"}) {
        item->setExpanded(true);
        QCOMPARE(visibleChildren(tree, item), QStringList{QString::fromUtf8(level)});
        item = visibleChild(tree, item, QString::fromUtf8(level));
    }
    item->setExpanded(true);
    QCOMPARE(visibleChildren(tree, item), QStringList{QStringLiteral("Конденсатор 1000 мкФ 35 В")});
    QCOMPARE(item->child(0)->text(1).toDouble(),
             dbValue(QStringLiteral("SELECT s.n_qty FROM dirs.t_item_family_store s JOIN "
                                    "dirs.t_item_family f ON f.id = s.id_item_family WHERE "
                                    "f.c_name = 'Конденсатор 1000 мкФ 35 В'"))
                 .toDouble());

    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    child<QLineEdit>(tab.get(), "leSearch")->setText(QStringLiteral("нет такого"));
    QCOMPARE(modal.messages(),
             QStringList{QStringLiteral("Поиск|По вашему запросу ничего не найдено")});
    QVERIFY(visibleChildren(tree, nullptr).isEmpty());
}

void TestRepair::itemDialog_limits_data()
{
    QTest::addColumn<QString>("family");
    QTest::addColumn<double>("minimum");
    QTest::addColumn<int>("decimals");
    QTest::addColumn<QString>("unit");
    QTest::newRow("pieces") << "Винт М3х8 DIN 7985" << 1.0 << 0 << "шт.";
    QTest::newRow("kilograms") << "Припой ПОС-61 проволока 1 мм" << 0.001 << 3 << "кг";
    QTest::newRow("no unit data") << "" << 1.0 << 0 << "шт.";
}

void TestRepair::itemDialog_limits()
{
    QFETCH(QString, family);
    QFETCH(double, minimum);
    QFETCH(int, decimals);
    QFETCH(QString, unit);
    const qint64 id =
        family.isEmpty()
            ? -1
            : dbValue(QStringLiteral("SELECT id FROM dirs.t_item_family WHERE c_name = '%1'")
                          .arg(family))
                  .toLongLong();
    ItemDialog dialog(id, 2.25, nullptr);
    auto *qty = child<QDoubleSpinBox>(&dialog, "sbQty");
    QCOMPARE(qty->minimum(), minimum);
    QCOMPARE(qty->maximum(), 10000.0);
    QCOMPARE(qty->decimals(), decimals);
    QCOMPARE(child<QLabel>(&dialog, "labelUnit")->text(), unit);
    if (!family.isEmpty())
        QCOMPARE(dialog.windowTitle(), family);
    QCOMPARE(qty->value(), decimals == 0 ? 2.0 : 2.25);
}

void TestRepair::rights_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("plan");
    QTest::addColumn<bool>("itemsOpen");
    QTest::newRow("right, open plan") << "volkov"
                                      << "Ремонт БП-24 по замечаниям ПСИ" << true;
    QTest::newRow("right, closed plan") << "volkov"
                                        << "Ремонт КМ-3 по рекламации" << false;
    QTest::newRow("no right, open plan") << "petrov"
                                         << "Ремонт БП-24 по замечаниям ПСИ" << false;
    QTest::newRow("no right, no plan") << "guest"
                                       << "" << false;
}

// The item buttons follow the right and the plan's state; without the right
// no button changes the plan or the items, whatever is current.
void TestRepair::rights()
{
    QFETCH(QString, user);
    QFETCH(QString, plan);
    QFETCH(bool, itemsOpen);
    login(user);
    auto tab = openDefect(plan.isEmpty() ? defectWithoutPlan : repairedDefect);
    QSqlRecord defect = tab->record();
    if (!plan.isEmpty()) {
        defect.setValue(
            QStringLiteral("id_plan_order_repair"),
            dbValue(QStringLiteral("SELECT id FROM docs.t_plan_order WHERE c_coment = '%1'")
                        .arg(plan)));
        tab->setRecord(&defect);
    }
    tab->createTree();
    auto *tree = child<QTreeWidget>(tab.get(), "trwItems");
    QTreeWidgetItem *type = visibleChild(tree, nullptr, QStringLiteral("Крепеж"));
    type->setExpanded(true);
    tree->setCurrentItem(type->child(0));
    auto *content = child<QTableView>(tab.get(), "tvContent");
    QVERIFY(content->model()->rowCount() > 0 || plan.isEmpty());
    if (!plan.isEmpty())
        content->setCurrentIndex(content->model()->index(0, 0));

    QCOMPARE(child<QToolButton>(tab.get(), "btAddItem")->isEnabled(), itemsOpen);
    QCOMPARE(child<QToolButton>(tab.get(), "btEditItem")->isEnabled(), itemsOpen);
    QCOMPARE(child<QToolButton>(tab.get(), "btDeleteItem")->isEnabled(), itemsOpen);
    QVERIFY(child<QToolButton>(tab.get(), "btHistoryTree")->isEnabled());
    if (itemsOpen)
        return;

    const QSqlRecord before = tab->record();
    ModalResponder modal;
    for (const char *name : {"pushButtonPlanLink", "pushButtonPlanAdd"}) {
        QVERIFY(!child<QPushButton>(tab.get(), name)->isEnabled());
        QMetaObject::invokeMethod(
            tab.get(), name == QLatin1String("pushButtonPlanLink") ? "linkPlan" : "addPlan");
    }
    for (const char *slot : {"addElement", "editElement", "deleteElement"})
        QMetaObject::invokeMethod(tab.get(), slot);
    QCOMPARE(modal.unexpected(), 0);
    QCOMPARE(tab->record(), before);
    QVERIFY(!m_document->isModified());
}

REJECTS_TEST_MAIN(TestRepair)
#include "tst_repair.moc"
