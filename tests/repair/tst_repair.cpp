// Repair plans and the items of a repair against the demo database: the plan
// form's checks and the quantity limits.

#include "itemdialog.h"
#include "loggedinconnection.h"
#include "modalresponder.h"
#include "pgtestdb.h"
#include "planadddialog.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "testmain.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSqlError>
#include <QSqlQuery>
#include <memory>

extern "C" QDataSet *getDocument(QObject *parent);

namespace {

template <typename T> T *child(QWidget *parent, const char *name)
{
    T *widget = parent->findChild<T *>(QLatin1String(name));
    if (!widget)
        qWarning() << "no widget" << name;
    return widget;
}

} // namespace

class TestRepair : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void planForm_withNothingChosen_reportsType();
    void itemDialog_limits_data();
    void itemDialog_limits();

private:
    void login(const QString &user);
    QVariant dbValue(const QString &sql);

    std::unique_ptr<PgTestDb> m_db;
    std::unique_ptr<LoggedInConnection> m_connection;
    QDataSet *m_document = nullptr;
};

void TestRepair::init()
{
    m_db = std::make_unique<PgTestDb>(QStringLiteral("repair"));
    QVERIFY2(m_db->isValid(), qPrintable(m_db->error()));
    login(QStringLiteral("kuznetsova"));
}

void TestRepair::cleanup()
{
    if (m_document) {
        m_document->rollback();
        m_document->closeAll();
    }
    m_connection.reset();
    m_db.reset();
}

void TestRepair::login(const QString &user)
{
    m_connection.reset();
    m_connection = std::make_unique<LoggedInConnection>(*m_db, user, user);
    QVERIFY2(m_connection->isValid(), qPrintable(m_connection->error()));
    m_document = getDocument(qApp);
    QVERIFY(m_document);
    for (QDataTable *table : m_document->tables())
        table->setConnection(m_connection->connection());
}

QVariant TestRepair::dbValue(const QString &sql)
{
    QSqlQuery query(m_db->directConnection());
    if (!query.exec(sql) || !query.next()) {
        qWarning() << sql << query.lastError().text();
        return QVariant();
    }
    return query.value(0);
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

REJECTS_TEST_MAIN(TestRepair)
#include "tst_repair.moc"
