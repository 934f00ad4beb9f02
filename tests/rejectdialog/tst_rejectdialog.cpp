#include "qdatatable.h"
#include "rejectdialog.h"
#include "testfixture.h"
#include "testmain.h"

#include <QCheckBox>
#include <QComboBox>
#include <QPushButton>
#include <QSqlQuery>
#include <QStandardItemModel>
#include <QTableView>

// The defects dialog that other modules open, and its existence check.
class TestRejectDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void construction_fillsFiltersAndDecorates();
    void groupContent_restrictsAndZeroShowsAll();
    void filters_stageStatusAndHideReady();
    void filters_filledOnce();
    void isRejectExists_data();
    void isRejectExists();

private:
    int visibleRows(RejectDialog &dialog) const;
    QList<qint64> dbIds(const QString &where) const;

    std::unique_ptr<TestFixture> m_fx;
};

void TestRejectDialog::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("rejectdialog"));
}

int TestRejectDialog::visibleRows(RejectDialog &dialog) const
{
    QTableView *view = dialog.findChild<QTableView *>(QStringLiteral("tvRejects"));
    int count = 0;
    for (int row = 0; row < dialog.table()->rowCount(); ++row)
        count += view->isRowHidden(row) ? 0 : 1;
    return count;
}

QList<qint64> TestRejectDialog::dbIds(const QString &where) const
{
    QSqlQuery query(m_fx->db().directConnection(QStringLiteral("check")));
    QList<qint64> ids;
    query.exec(QStringLiteral("SELECT id FROM docs.v_process_exam WHERE %1").arg(where));
    while (query.next())
        ids.append(query.value(0).toLongLong());
    return ids;
}

void TestRejectDialog::construction_fillsFiltersAndDecorates()
{
    RejectDialog dialog;
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Дефекты"));
    QCOMPARE(dialog.table()->rowCount(), dbIds(QStringLiteral("true")).size());
    QCOMPARE(visibleRows(dialog), dialog.table()->rowCount());

    auto *stage = dialog.findChild<QComboBox *>(QStringLiteral("cbStage"));
    auto *status = dialog.findChild<QComboBox *>(QStringLiteral("cbStatus"));
    QCOMPARE(stage->itemText(0), QStringLiteral("-= ВСЕ =-"));
    QCOMPARE(status->itemText(0), QStringLiteral("-= ВСЕ =-"));
    QCOMPARE(
        stage->count() - 1,
        m_fx->value(QStringLiteral("SELECT count(DISTINCT c_exam_stage) FROM docs.v_process_exam"))
            .toInt());
    QCOMPARE(status->count() - 1,
             m_fx->value(QStringLiteral("SELECT count(DISTINCT c_status) FROM docs.v_process_exam"))
                 .toInt());

    const QStandardItemModel *model = dialog.table()->getModel();
    const int rejected =
        dialog.table()->locate(QStringLiteral("id"), dbIds(QStringLiteral("b_reject")).value(0));
    QVERIFY(rejected >= 0);
    QCOMPARE(model->item(rejected, 9)->background().color(), QColor(Qt::red));
    QCOMPARE(model->item(rejected, 12)->data(Qt::DisplayRole).toString(),
             QStringLiteral("Забракован"));
    const int pictured =
        dialog.table()->locate(QStringLiteral("id"), dbIds(QStringLiteral("n_pics > 0")).value(0));
    QVERIFY(pictured >= 0);
    QVERIFY(!model->item(pictured, 1)->icon().isNull());

    // The close button closes the dialog.
    dialog.show();
    dialog.findChild<QPushButton *>(QStringLiteral("buttonClose"))->click();
    QVERIFY(!dialog.isVisible());
}

void TestRejectDialog::groupContent_restrictsAndZeroShowsAll()
{
    const qint64 unit =
        m_fx->value(QStringLiteral("SELECT id_production_group_content FROM "
                                   "docs.t_process_exam WHERE "
                                   "id_production_group_content IS NOT NULL GROUP BY 1 "
                                   "ORDER BY count(*) DESC LIMIT 1"))
            .toLongLong();
    QVERIFY(unit);
    RejectDialog dialog;
    const int all = dialog.table()->rowCount();
    dialog.setGroupContent(unit);
    const QList<qint64> ofUnit =
        dbIds(QStringLiteral("id_production_group_content = %1").arg(unit));
    QCOMPARE(visibleRows(dialog), ofUnit.size());
    QTableView *view = dialog.findChild<QTableView *>(QStringLiteral("tvRejects"));
    for (qint64 id : ofUnit)
        QVERIFY(!view->isRowHidden(dialog.table()->locate(QStringLiteral("id"), id)));
    dialog.setGroupContent(0);
    QCOMPARE(visibleRows(dialog), all);
    dialog.setGroupContent(unit);
    dialog.setGroupContent(-5);
    QCOMPARE(visibleRows(dialog), all);
}

void TestRejectDialog::filters_stageStatusAndHideReady()
{
    RejectDialog dialog;
    auto *stage = dialog.findChild<QComboBox *>(QStringLiteral("cbStage"));
    auto *status = dialog.findChild<QComboBox *>(QStringLiteral("cbStatus"));
    auto *hide = dialog.findChild<QCheckBox *>(QStringLiteral("chkHideReady"));
    QCOMPARE(hide->text(), QStringLiteral("Убать проанализированные"));
    QVERIFY(!hide->isChecked());

    hide->setChecked(true);
    QCOMPARE(visibleRows(dialog), dbIds(QStringLiteral("c_solution = ''")).size());
    hide->setChecked(false);
    stage->setCurrentIndex(1);
    QCOMPARE(visibleRows(dialog),
             dbIds(QStringLiteral("c_exam_stage = '%1'").arg(stage->currentText())).size());
    status->setCurrentIndex(1);
    QCOMPARE(visibleRows(dialog), dbIds(QStringLiteral("c_exam_stage = '%1' AND c_status = '%2'")
                                            .arg(stage->currentText(), status->currentText()))
                                      .size());
    stage->setCurrentIndex(0);
    status->setCurrentIndex(0);
    QCOMPARE(visibleRows(dialog), dialog.table()->rowCount());
}

void TestRejectDialog::filters_filledOnce()
{
    RejectDialog dialog;
    auto *stage = dialog.findChild<QComboBox *>(QStringLiteral("cbStage"));
    const int stages = stage->count();
    // A stage used for the first time after the dialog was opened.
    QVERIFY(
        m_fx->db().exec(QStringLiteral("INSERT INTO qms.t_exam_stage (c_name, c_sys_name, n_order) "
                                       "VALUES ('Новый этап', 'NEW_STAGE_TEST', 99)")));
    QVERIFY(
        m_fx->db().exec(QStringLiteral("UPDATE docs.t_process_exam SET id_exam_stage = (SELECT id "
                                       "FROM qms.t_exam_stage WHERE c_sys_name = 'NEW_STAGE_TEST') "
                                       "WHERE id = (SELECT min(id) FROM docs.t_process_exam)")));
    dialog.applyFilters();
    QCOMPARE(stage->count(), stages);
    QCOMPARE(stage->findText(QStringLiteral("Новый этап")), -1);
    RejectDialog fresh;
    QCOMPARE(fresh.findChild<QComboBox *>(QStringLiteral("cbStage"))
                     ->findText(QStringLiteral("Новый этап")) > 0,
             true);
}

void TestRejectDialog::isRejectExists_data()
{
    QTest::addColumn<QString>("unitQuery");
    QTest::addColumn<bool>("exists");
    QTest::newRow("all defects decided")
        << QStringLiteral("SELECT id_production_group_content FROM docs.t_process_exam WHERE "
                          "id_production_group_content IS NOT NULL GROUP BY 1 HAVING "
                          "bool_and(c_solution <> '') LIMIT 1")
        << true;
    QTest::newRow("some defect open")
        << QStringLiteral("SELECT id_production_group_content FROM docs.t_process_exam WHERE "
                          "id_production_group_content IS NOT NULL AND c_solution = '' LIMIT 1")
        << true;
    QTest::newRow("unit without defects")
        << QStringLiteral("SELECT id FROM docs.t_production_group_content c WHERE NOT EXISTS "
                          "(SELECT 1 FROM docs.t_process_exam e WHERE "
                          "e.id_production_group_content = c.id) LIMIT 1")
        << false;
    QTest::newRow("unknown unit") << QStringLiteral("SELECT 999999999") << false;
}

void TestRejectDialog::isRejectExists()
{
    QFETCH(QString, unitQuery);
    QFETCH(bool, exists);
    const qint64 unit = m_fx->value(unitQuery).toLongLong();
    QVERIFY2(unit, "the demo data has such a unit");
    QCOMPARE(RejectDialog::isRejectExists(unit), exists);
}

REJECTS_TEST_MAIN(TestRejectDialog)
#include "tst_rejectdialog.moc"
