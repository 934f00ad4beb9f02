#include "rejectdialog.h"
#include "testfixture.h"
#include "testmain.h"

#include <QSqlQuery>
#include <QtWidgets>

// The defects dialog that other modules open, and its existence check.
class TestRejectDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { START_FIXTURE(m_fx, QStringLiteral("rejectdialog")); }
    void construction_fillsFiltersOnceAndDecorates();
    void filters_showMatchingRowsInOnePassPerChange();
    void isRejectExists_forDefectsOfAnyStatus();

private:
    QList<qint64> dbIds(const QString &where) const
    {
        QSqlQuery query(m_fx->db().directConnection("check"));
        query.exec("SELECT id FROM docs.v_process_exam WHERE " + where + " ORDER BY id");
        QList<qint64> ids;
        while (query.next())
            ids.append(query.value(0).toLongLong());
        return ids;
    }

    std::unique_ptr<TestFixture> m_fx;
};

void TestRejectDialog::construction_fillsFiltersOnceAndDecorates()
{
    RejectDialog dialog;
    auto *stage = dialog.findChild<QComboBox *>("cbStage");
    auto *status = dialog.findChild<QComboBox *>("cbStatus");
    // Each stage and status that occurs, after "all".
    QCOMPARE(QString("%1 %2").arg(stage->count() - 1).arg(status->count() - 1),
             m_fx->value("SELECT count(DISTINCT c_exam_stage) || ' ' || count(DISTINCT c_status) "
                         "FROM docs.v_process_exam")
                 .toString());

    const QStandardItemModel *model = dialog.table()->getModel();
    const int rejected = dialog.table()->locate("id", dbIds("b_reject").value(0));
    QCOMPARE(model->item(rejected, 9)->background().color().name() +
                 model->item(rejected, 12)->text(),
             "#ff0000Забракован");

    // The filters are filled once: a stage renamed after the dialog opened
    // shows under its new name in the next dialog only.
    QVERIFY(m_fx->db().exec(
        "UPDATE qms.t_exam_stage SET c_name = 'Новый этап' WHERE c_sys_name = 'PERIODIC'"));
    dialog.applyFilters();
    QCOMPARE(stage->findText("Новый этап"), -1);
    QVERIFY(RejectDialog().findChild<QComboBox *>("cbStage")->findText("Новый этап") > 0);
}

// Each change of the stage, status or hide-analysed filter or of the produced
// unit filters the rows once; the first items and a unit below 1 show all
// rows again.
void TestRejectDialog::filters_showMatchingRowsInOnePassPerChange()
{
    RejectDialog dialog;
    auto *hide = dialog.findChild<QCheckBox *>("chkHideReady");
    auto *stage = dialog.findChild<QComboBox *>("cbStage");
    auto *status = dialog.findChild<QComboBox *>("cbStatus");
    QTableView *view = dialog.findChild<QTableView *>("tvRejects");
    QSignalSpy passes(dialog.table(), SIGNAL(filtered()));
    auto shows = [&](const QStringList &where) {
        QList<qint64> shown;
        for (int row = 0; row < dialog.table()->rowCount(); ++row)
            if (!view->isRowHidden(row))
                shown << dialog.table()->getField("id", row).toLongLong();
        std::sort(shown.begin(), shown.end());
        QCOMPARE(passes.count(), 1);
        passes.clear();
        QCOMPARE(shown, dbIds(where.join(" AND ")));
    };
    hide->setChecked(true);
    shows({"c_solution = ''"});
    stage->setCurrentIndex(1);
    const QString inStage = "c_exam_stage = '" + stage->currentText() + "'";
    shows({"c_solution = ''", inStage});
    status->setCurrentIndex(1);
    const QString inStatus = "c_status = '" + status->currentText() + "'";
    shows({"c_solution = ''", inStage, inStatus});
    hide->setChecked(false);
    shows({inStage, inStatus});
    stage->setCurrentIndex(0);
    shows({inStatus});
    status->setCurrentIndex(0);
    shows({"true"});

    const qint64 unit = m_fx->value("SELECT id_production_group_content FROM docs.t_process_exam "
                                    "GROUP BY 1 ORDER BY count(*) DESC LIMIT 1")
                            .toLongLong();
    const QString ofUnit = "id_production_group_content = " + QString::number(unit);
    dialog.setGroupContent(unit);
    shows({ofUnit});
    hide->setChecked(true);
    shows({ofUnit, "c_solution = ''"});
    dialog.setGroupContent(-5);
    shows({"c_solution = ''"});
}

// A unit has defects when any defect of any status names it.
void TestRejectDialog::isRejectExists_forDefectsOfAnyStatus()
{
    const QString units = "SELECT id_production_group_content FROM docs.t_process_exam WHERE "
                          "id_production_group_content IS NOT NULL ";
    const qint64 decided =
        m_fx->value(units + "GROUP BY 1 HAVING bool_and(c_solution <> '') LIMIT 1").toLongLong();
    const qint64 open = m_fx->value(units + "AND c_solution = '' LIMIT 1").toLongLong();
    const qint64 none = m_fx->value("SELECT id FROM docs.t_production_group_content c WHERE NOT "
                                    "EXISTS (SELECT 1 FROM docs.t_process_exam e WHERE "
                                    "e.id_production_group_content = c.id) LIMIT 1")
                            .toLongLong();
    QVERIFY2(decided && open && none, "the demo data has such units");
    QVERIFY(RejectDialog::isRejectExists(decided) && RejectDialog::isRejectExists(open));
    QVERIFY(!RejectDialog::isRejectExists(none));
}

REJECTS_TEST_MAIN(TestRejectDialog)
#include "tst_rejectdialog.moc"
