// Repair plans and the items of a repair against the demo database: the plan
// link list, a new plan saved or dropped with the defect, the plan dialogs'
// refusals, the item catalogue's search, the quantity limits and the rights.

#include "itemdialog.h"
#include "modalresponder.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "rejectsdocument.h"
#include "tabitemseditor.h"
#include "testfixture.h"
#include "testmain.h"

#include <QtWidgets>

const char *const repairedDefect = "На периодических испытаниях%";
const char *const defectWithoutPlan = "Ток потребления%";

// The names of the item's children the tree shows.
static QStringList shownChildren(QTreeWidgetItem *parent)
{
    QStringList names;
    for (int i = 0; i < parent->childCount(); ++i)
        if (!parent->child(i)->isHidden())
            names << parent->child(i)->text(0);
    return names;
}

class TestRepair : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void planButtons_linkOrAddAPlan_data();
    void planButtons_linkOrAddAPlan();
    void search_deepFamily_keepsItsBranch();
    void itemDialog_limits_data();
    void itemDialog_limits();
    void rights_data();
    void rights();

private:
    // Logs the user in, drops what the last case left in the register, makes
    // the defect current and shows it in a new tab with the item tree.
    std::unique_ptr<TabItemsEditor> openDefect(const QString &description,
                                               const QString &user = "kuznetsova");

    QVariant dbValue(const QString &sql) { return m_fx->value(sql); }

    std::unique_ptr<TestFixture> m_fx;
    QDataSet *m_document = nullptr;
};

// One database for the program: the plans saved stay bound to their defects,
// so no other case sees them.
void TestRepair::initTestCase()
{
    START_FIXTURE(m_fx, "repair");
}

std::unique_ptr<TabItemsEditor> TestRepair::openDefect(const QString &description,
                                                       const QString &user)
{
    if (!m_fx->login(user))
        QTest::qFail(qPrintable(m_fx->error()), __FILE__, __LINE__);
    m_document = getDocument(qApp);
    m_document->rollback();
    for (QDataTable *table : m_document->tables())
        table->setConnection(m_fx->connection());
    QDataTable *exams = m_document->getTable("t_process_exam");
    exams->open(false, false);
    const QString id = "SELECT id FROM docs.t_process_exam WHERE c_description LIKE '%1'";
    exams->locate("id", dbValue(id.arg(description)).toLongLong());
    auto tab = std::make_unique<TabItemsEditor>();
    tab->show(); // builds the item tree and reads the defect's plan
    return tab;
}

void TestRepair::planButtons_linkOrAddAPlan_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<bool>("save");
    QTest::addColumn<QString>("defect");
    QTest::newRow("link") << "pushButtonPlanLink" << true << "Отслоение порошкового покрытия%";
    QTest::newRow("new, defect saved") << "pushButtonPlanAdd" << true << "Выходное напряжение%";
    QTest::newRow("new, defect cancelled") << "pushButtonPlanAdd" << false << defectWithoutPlan;
}

// Both plan dialogs refuse to close with nothing chosen. The link list offers
// only the open, unused, not deleted repair plan. The plan chosen or made is
// bound to the defect (a new one to no product version) with the defect's
// commit; a new plan is not written at all when the defect is rolled back.
void TestRepair::planButtons_linkOrAddAPlan()
{
    QFETCH(QString, button);
    QFETCH(bool, save);
    QFETCH(QString, defect);
    const bool link = button == "pushButtonPlanLink";
    const QString comment = link ? "Перекраска корпусов ШУ-10" : QTest::currentDataTag();
    auto tab = openDefect(defect);
    QString listed = "Новый план";
    ModalResponder modal;
    modal.expect([&](QWidget *dialog) {
        auto *plans = dialog->findChild<QTableView *>("tvPlan");
        if (link) {
            QCOMPARE(plans->model()->rowCount(), 1);
            listed = plans->model()->index(0, 0).data().toString();
            plans->setCurrentIndex(QModelIndex());
        } else {
            dialog->findChild<QPlainTextEdit *>("leComment")->setPlainText(comment);
        }
        dialog->findChild<QPushButton *>("pushButtonAccept")->click(); // nothing chosen
        if (link)
            plans->setCurrentIndex(plans->model()->index(0, 0));
        else
            dialog->findChild<QComboBox *>("cbType")->setCurrentText("Ремонтный");
        dialog->findChild<QPushButton *>("pushButtonAccept")->click();
    });
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    tab->findChild<QPushButton *>(button)->click();
    QCOMPARE(modal.messages(),
             QStringList(link ? "Внимание!|План не выбран" : "Внимание!|Не задан тип"));
    QCOMPARE(tab->findChild<QLabel *>("labelPlan")->text(), listed);
    // Plans of this comment; bound to the defect; bound to a product version.
    const QString plans = QString("SELECT concat_ws('/', count(*), count(pe.id), "
                                  "count(po.id_prod_ver)) FROM docs.t_plan_order po LEFT JOIN "
                                  "docs.t_process_exam pe ON pe.id_plan_order_repair = po.id AND "
                                  "pe.c_description LIKE '%1' WHERE po.c_coment = '%2'")
                              .arg(defect, comment);
    QCOMPARE(dbValue(plans).toString(), link ? "1/0/0" : "0/0/0");
    if (save)
        QVERIFY(m_document->commit(m_fx->connection()));
    else
        m_document->rollback();
    QCOMPARE(dbValue(plans).toString(), save ? "1/1/0" : "0/0/0");
}

// Only the root of a deep family stays; expanding loads each level and shows
// only the way to the family with its stock.
void TestRepair::search_deepFamily_keepsItsBranch()
{
    auto tab = openDefect(repairedDefect);
    auto *tree = tab->findChild<QTreeWidget *>("trwItems");
    QTreeWidgetItem *item = tree->invisibleRootItem();
    tab->findChild<QLineEdit *>("leSearch")->setText("1000 мКф");
    for (const char *level : {"Электронные компоненты", "Конденсаторы",
                              "Конденсаторы электролитические", "Конденсатор 1000 мкФ 35 В"}) {
        item->setExpanded(true);
        QCOMPARE(shownChildren(item), QStringList(level));
        item = tree->findItems(level, Qt::MatchExactly | Qt::MatchRecursive).value(0);
    }
    QCOMPARE(item->text(1).toDouble(),
             dbValue("SELECT s.n_qty FROM dirs.t_item_family_store s JOIN dirs.t_item_family f ON "
                     "f.id = s.id_item_family WHERE f.c_name = 'Конденсатор 1000 мкФ 35 В'")
                 .toDouble());

    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    tab->findChild<QLineEdit *>("leSearch")->setText("нет такого");
    QCOMPARE(modal.messages(), QStringList("Поиск|По вашему запросу ничего не найдено"));
    QVERIFY(shownChildren(tree->invisibleRootItem()).isEmpty());
}

void TestRepair::itemDialog_limits_data()
{
    QTest::addColumn<QString>("limits"); // of the family the row is named after
    QTest::newRow("Винт М3х8 DIN 7985") << "1..10000, 0 decimals: 2 шт.";
    QTest::newRow("Припой ПОС-61 проволока 1 мм") << "0.001..10000, 3 decimals: 2.25 кг";
    QTest::newRow("a family without unit data") << "1..10000, 0 decimals: 2 шт.";
}

// The quantity's range, precision and unit follow the family's unit; the
// quantity given is rounded to that precision.
void TestRepair::itemDialog_limits()
{
    QFETCH(QString, limits);
    const QString id = "SELECT id FROM dirs.t_item_family WHERE c_name = '%1'";
    ItemDialog dialog(dbValue(id.arg(QTest::currentDataTag())).toLongLong(), 2.25, nullptr);
    auto *qty = dialog.findChild<QDoubleSpinBox *>("sbQty");
    const QString shown = QString::asprintf("%g..%g, %d decimals: %g ", qty->minimum(),
                                            qty->maximum(), qty->decimals(), qty->value());
    QCOMPARE(shown + dialog.findChild<QLabel *>("labelUnit")->text(), limits);
}

void TestRepair::rights_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<bool>("itemsOpen");
    QTest::addColumn<QString>("plan");
    QTest::newRow("right, open plan") << "volkov" << true << "Ремонт БП-24 по замечаниям ПСИ";
    QTest::newRow("right, closed plan") << "volkov" << false << "Ремонт КМ-3 по рекламации";
    QTest::newRow("no right, open plan") << "petrov" << false << "Ремонт БП-24 по замечаниям ПСИ";
    QTest::newRow("no right, no plan") << "guest" << false << "";
}

// The item buttons follow the right and the plan's state; without the right
// no button changes the plan or the items, whatever is current.
void TestRepair::rights()
{
    QFETCH(QString, user);
    QFETCH(bool, itemsOpen);
    QFETCH(QString, plan);
    auto tab = openDefect(repairedDefect, user);
    QSqlRecord defect = tab->record(); // shown with the plan of the row, or none
    const QString id = "SELECT id FROM docs.t_plan_order WHERE c_coment = '%1'";
    defect.setValue("id_plan_order_repair", dbValue(id.arg(plan)));
    tab->setRecord(&defect);
    auto *tree = tab->findChild<QTreeWidget *>("trwItems");
    QTreeWidgetItem *type = tree->findItems("Крепеж", Qt::MatchExactly).value(0);
    type->setExpanded(true);
    tree->setCurrentItem(type->child(0));
    tab->findChild<QTableView *>("tvContent")->selectRow(0);
    for (const char *name : {"btAddItem", "btEditItem", "btDeleteItem"})
        QVERIFY2(tab->findChild<QToolButton *>(name)->isEnabled() == itemsOpen, name);
    if (itemsOpen)
        return;

    const QSqlRecord before = tab->record();
    ModalResponder modal;
    for (const char *name : {"pushButtonPlanLink", "pushButtonPlanAdd"})
        QVERIFY2(!tab->findChild<QPushButton *>(name)->isEnabled(), name);
    for (const char *slot : {"linkPlan", "addPlan", "addElement", "editElement", "deleteElement"})
        QMetaObject::invokeMethod(tab.get(), slot);
    QCOMPARE(modal.unexpected(), 0);
    QCOMPARE(tab->record(), before);
    QVERIFY(!m_document->isModified());
}

REJECTS_TEST_MAIN(TestRepair)
#include "tst_repair.moc"
