#include "modalresponder.h"
#include "producttreedialog.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qdoccreator.h"
#include "rejectsview.h"
#include "testfixture.h"
#include "testmain.h"

#include <QSqlQuery>
#include <QtWidgets>

extern "C" QDataSet *getDocument(QObject *parent);

// The defect list on the demo register: buttons, filters and search, merge,
// delete, the spreadsheet export and the product tree.
class TestList : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void testMachinery_failsAtOnce_data();
    void testMachinery_failsAtOnce();
    void decoration_followsDecisionRejectAndReactionThroughSorting();
    void actions_followCurrentVisibleDefect_data();
    void actions_followCurrentVisibleDefect();
    void newDefect_disablesNewUntilSavedThenIsRereadAndGuardedAgainstConcurrentSaves();
    void delete_askedThenCommittedOrRefusedAndLaterSavesWork();
    void merge_movesDiscussionAndPicturesOrKeepsCutDefect_data();
    void merge_movesDiscussionAndPicturesOrKeepsCutDefect();
    void filters_showMatchingRowsInOnePassPerChangeAndSurviveRefresh();
    void export_writesVisibleRows_data();
    void export_writesVisibleRows();
    void productTree_selectsProductFilterAndListsAnalogs();
    void currentDefect_taskReportedAndActOpened();

private:
    QAction *action(const QString &name) const { return m_view->findChild<QAction *>(name); }
    QComboBox *combo(const QString &name) const { return m_view->findChild<QComboBox *>(name); }
    QCheckBox *hideReady() const { return m_view->findChild<QCheckBox *>("chkHideReady"); }
    QTableView *tableView() const { return m_view->findChild<QTableView *>("tvRejects"); }
    int rowOf(qint64 id) const { return m_table->locate("id", id); }
    // The first column of a statement's rows, read on a second connection.
    QList<qint64> ids(const QString &sql) const
    {
        QSqlQuery query(m_fx->db().directConnection("check"));
        QList<qint64> ids;
        query.exec(sql);
        while (query.next())
            ids.append(query.value(0).toLongLong());
        return ids;
    }
    QList<qint64> dbIds(const QString &where) const
    {
        return ids("SELECT id FROM docs.v_process_exam WHERE " + where + " ORDER BY id");
    }
    // The ids of the rows the list shows, ascending.
    QList<qint64> visibleIds() const
    {
        QList<qint64> ids;
        for (int row = 0; row < m_table->rowCount(); ++row)
            if (!tableView()->isRowHidden(row))
                ids << m_table->getField("id", row).toLongLong();
        std::sort(ids.begin(), ids.end());
        return ids;
    }
    // The tool-bar actions enabled now, without their "ac" prefix.
    QString enabledActions() const
    {
        QStringList names;
        for (QAction *action : RejectsView::toolBarActions())
            if (!action->isSeparator() && action->isEnabled())
                names << action->objectName().mid(2);
        return names.join(' ');
    }
    bool exec(const QString &sql, qint64 id) { return m_fx->db().exec(sql.arg(id)); }
    // Another user attaches the picture "<id>.png" to the defect.
    bool addPicture(qint64 id)
    {
        return exec("WITH f AS (INSERT INTO lrg.t_file (c_file, n_size, bl_file) VALUES ('%1.png', "
                    "3, '\\x010203') ON CONFLICT DO NOTHING RETURNING id) INSERT INTO "
                    "lrg.t_file_owner (id_file, c_table, n_key) SELECT id, 't_process_exam', %1 "
                    "FROM f",
                    id);
    }

    std::unique_ptr<TestFixture> m_fx;
    QDataSet *m_set = nullptr;
    QDataTable *m_table = nullptr;
    std::unique_ptr<RejectsView> m_view; // goes before the fixture
    QScopedPointer<ModalResponder> m_modal;
};

void TestList::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("list"));
    m_set = getDocument(qApp);
    m_table = m_set->getTable("t_process_exam");
    m_view = std::make_unique<RejectsView>(m_set);
    m_view->show();
    // The order of the other actions shows in enabledActions().
    QCOMPARE(RejectsView::toolBarActions().size(), 9);
    QVERIFY(RejectsView::toolBarActions().at(3)->isSeparator());
}

void TestList::init()
{
    m_view->search(QString());
    m_view->refresh();
    hideReady()->setChecked(false);
    for (const char *name : {"cbStatus", "cbStage", "cbProduct"})
        combo(name)->setCurrentIndex(0);
    m_modal.reset(new ModalResponder);
}

void TestList::cleanup()
{
    // A box no test foresaw is a fault too (an action that should do nothing
    // asked or said something).
    QCOMPARE(m_modal->unexpected(), 0);
    m_modal.reset();
}

// Faults in a test's own machinery fail it, and at once: a failed check inside
// a modal answer (instead of leaving the window open until the time limit),
// and a connection by signature text that finds no signal (the wiring guard).
// Each runs in a child process of this program, which must fail saying why.
void TestList::testMachinery_failsAtOnce_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("said");
    QTest::newRow("failing modal answer") << "answer"
                                          << "a failing answer";
    QTest::newRow("no such signal") << "wiring"
                                    << "wiring error: QObject::connect: No such signal";
}

void TestList::testMachinery_failsAtOnce()
{
    const QByteArray childFault = qgetenv("REJECTS_CHILD_FAULT");
    if (childFault == "answer") {
        m_modal->expect([](QWidget *) { QVERIFY2(false, "a failing answer"); });
        QMessageBox::information(nullptr, "Внимание", "Ответ");
        return;
    }
    if (childFault == "wiring") {
        QObject::connect(qApp, SIGNAL(noSuch()), qApp, SLOT(quit()));
        return;
    }
    QFETCH(QString, fault);
    QFETCH(QString, said);
    QProcess child;
    qputenv("REJECTS_CHILD_FAULT", fault.toUtf8());
    child.start(QCoreApplication::applicationFilePath(), {"testMachinery_failsAtOnce"});
    qunsetenv("REJECTS_CHILD_FAULT");
    QVERIFY2(child.waitForFinished(60000), "a failing modal answer left its window open");
    QVERIFY(child.exitCode() != 0);
    QVERIFY(child.readAllStandardOutput().contains(said.toUtf8()));
}

// The picture column sorts by the count it does not show; each defect keeps
// its decoration wherever sorting moves it.
void TestList::decoration_followsDecisionRejectAndReactionThroughSorting()
{
    tableView()->sortByColumn(1, Qt::DescendingOrder);
    QVERIFY(m_table->getField("n_pics", 0).toInt() > 0);
    QCOMPARE(m_table->getField("n_pics", m_table->rowCount() - 1).toInt(), 0);

    // Per defect: the description's colours and bold-italic-underline, the
    // picture icon and the reject column's text.
    const QStandardItemModel *model = m_table->getModel();
    QStringList looks;
    for (const char *where : {"b_reject", "c_solution <> '' AND NOT b_reject AND NOT b_reaction",
                              "b_reaction AND NOT b_reject", "c_solution = '' AND n_pics > 0",
                              "c_solution = '' AND n_pics = 0"}) {
        const int row = rowOf(dbIds(where).value(0));
        const QStandardItem *item = model->item(row, 9);
        const QFont font = item->font();
        looks << item->background().color().name() + '/' + item->foreground().color().name() +
                     (font.bold() && font.italic() && font.underline() ? " biu" : "") +
                     (model->item(row, 1)->icon().isNull() ? "" : " icon") + ' ' +
                     model->item(row, 12)->text();
    }
    QCOMPARE(looks,
             QStringList({"#ff0000/#ffffff biu Забракован", "#a0a0a4/#ffffff ",
                          "#a0a0a4/#ffffff biu ", "#000000/#000000 icon ", "#000000/#000000 "}));
}

void TestList::actions_followCurrentVisibleDefect_data()
{
    QTest::addColumn<QString>("where");
    QTest::addColumn<QString>("search");
    QTest::addColumn<QString>("enabled");
    const QString none;
    const QString open = "c_status = 'Не проанализировано'";
    const QString analysed = "New Task Save Cut Merge Document";
    QTest::newRow("not analysed") << open << none << "New Task Save Delete Cut Merge Document";
    QTest::newRow("analysed: no delete") << "c_status = 'Проанализировано'" << none << analysed;
    QTest::newRow("rejected: no delete") << "c_status = 'Забракован'" << none << analysed;
    QTest::newRow("reaction: no delete") << "b_reaction AND NOT b_reject" << none << analysed;
    QTest::newRow("hidden by the search") << open << "Такого текста нет" << QString("New Save");
    QTest::newRow("no current row") << "false" << none << QString("New Save");
}

// What the list does not offer it does not do, unasked, even when triggered:
// a hidden current row is neither deleted, cut nor merged.
void TestList::actions_followCurrentVisibleDefect()
{
    QFETCH(QString, where);
    QFETCH(QString, search);
    QFETCH(QString, enabled);
    const qint64 cut = dbIds("true").last();
    m_view->setCurrentRowById(cut);
    action("acCut")->trigger();
    tableView()->setCurrentIndex(QModelIndex());
    const qint64 id = dbIds(QString("id <> %1 AND %2").arg(cut).arg(where)).value(0);
    m_view->setCurrentRowById(id);
    m_view->search(search);
    QCOMPARE(enabledActions(), enabled);
    for (const char *name : {"Delete", "Cut", "Merge"})
        if (!enabled.contains(name))
            QMetaObject::invokeMethod(m_view.get(),
                                      qPrintable(QString("on_ac%1_triggered").arg(name)));
    QCOMPARE(m_view->cutId(), cut);
    QCOMPARE(dbIds(QString("id IN (%1, %2)").arg(id).arg(cut)).size(), id ? 2 : 1);
}

void TestList::newDefect_disablesNewUntilSavedThenIsRereadAndGuardedAgainstConcurrentSaves()
{
    QSignalSpy autoEdit(m_view.get(), SIGNAL(autoEdit()));
    const int rows = m_table->rowCount();
    action("acNew")->trigger();
    QCOMPARE(autoEdit.count(), 1);
    // The new defect is current; without an id yet it has no task, delete, cut or act.
    QCOMPARE(enabledActions(), "Save");
    // Another current defect does not bring New back while the new one is unsaved.
    m_view->setCurrentRowById(dbIds("true").value(0));
    QVERIFY(!action("acNew")->isEnabled());

    // Discarded: the document is rolled back and the list refreshed.
    m_set->rollback();
    m_view->refresh();
    QVERIFY(m_table->rowCount() == rows && action("acNew")->isEnabled());

    // Saved: the database gives the defect its id and number.
    action("acNew")->trigger();
    QVERIFY(m_table->setField("c_exam_stage_sys_name", "INCOMING"));
    QVERIFY(m_table->setField("c_description", "Скол корпуса"));
    QVERIFY(m_set->commit(m_fx->connection()));
    m_view->afterCommit();
    const qint64 id = m_table->getViewCurrentRecord().value("id").toLongLong();
    QCOMPARE(dbIds("c_description = 'Скол корпуса'"), QList<qint64>{id});
    QVERIFY(action("acNew")->isEnabled() && action("acDelete")->isEnabled());

    // Decided after another user added a picture: the saved row is the one the
    // update script returns (the status the database gives it, the picture
    // count), and the filters apply to it.
    hideReady()->setChecked(true);
    QVERIFY(addPicture(id));
    QVERIFY(m_table->setField("c_solution", "Годен"));
    m_view->afterCommit();
    const QSqlRecord saved = m_table->getRecord(rowOf(id), false);
    QCOMPARE(saved.value("c_status").toString() + saved.value("n_pics").toString(),
             "Проанализировано1");
    QVERIFY(m_table->getRowState(rowOf(id)) == 0 && tableView()->isRowHidden(rowOf(id)));

    // Another user saves the defect after this list read it: this save is
    // refused naming that user, the other user's decision stays, and the edit
    // stays pending here.
    QVERIFY(m_table->setField("c_description", "Мое описание"));
    QVERIFY(exec("UPDATE docs.t_process_exam SET c_solution = 'Решение Б', id_changer = (SELECT "
                 "id FROM sys.t_user WHERE c_login = 'ivanova') WHERE id = %1",
                 id));
    QVERIFY(!m_table->commit(false));
    QVERIFY2(m_table->lastError().contains("Иванова О.П."), qPrintable(m_table->lastError()));
    QCOMPARE(m_table->getRowState(rowOf(id)), int(rsUpdated));
    QCOMPARE(m_table->getField("c_description", rowOf(id)).toString(), "Мое описание");
    QCOMPARE(dbIds("c_solution = 'Решение Б'"), QList<qint64>{id});
    m_table->rollback();
}

// A delete is asked first. When another user analyses the defect before the
// delete reaches the database, the refusal is said, the row shows what the
// database holds, and nothing stays pending that would make later saves fail.
void TestList::delete_askedThenCommittedOrRefusedAndLaterSavesWork()
{
    const QList<qint64> open = dbIds("c_status = 'Не проанализировано'");
    const qint64 kept = open.value(0);
    const qint64 deleted = open.value(1);
    const qint64 analysed = open.value(2);
    QVERIFY(exec("UPDATE docs.t_process_exam SET c_solution = 'Годно.' WHERE id = %1", analysed));
    QSignalSpy autoEdit(m_view.get(), SIGNAL(autoEdit()));
    for (qint64 id : {kept, deleted, analysed}) {
        m_view->setCurrentRowById(id);
        m_modal->expect(
            ModalResponder::pressButton(id == kept ? QMessageBox::No : QMessageBox::Yes));
        if (id == analysed)
            m_modal->expect(ModalResponder::pressButton(QMessageBox::Ok));
        action("acDelete")->trigger();
    }
    const QStringList said = m_modal->messages();
    QCOMPARE(said.first(), "Внимание|Удалить дефект " +
                               m_table->getField("c_name", rowOf(kept)).toString() + " &");
    QVERIFY2(said.last().contains("проанализирован"), qPrintable(said.last()));
    QCOMPARE(autoEdit.count(), 1);
    QCOMPARE(dbIds(QString("id IN (%1, %2, %3)").arg(kept).arg(deleted).arg(analysed)),
             (QList<qint64>{kept, analysed}));
    QCOMPARE(rowOf(deleted), -1);
    QVERIFY(!m_table->isModified());
    QCOMPARE(m_table->getField("c_solution", rowOf(analysed)).toString(), "Годно.");

    m_view->setCurrentRowById(kept);
    QVERIFY(m_table->setField("c_description", "Уточнено."));
    QVERIFY(m_table->commit(false));
    QCOMPARE(dbIds("c_description = 'Уточнено.'"), QList<qint64>{kept});
}

void TestList::merge_movesDiscussionAndPicturesOrKeepsCutDefect_data()
{
    QTest::addColumn<QString>("gone");
    QTest::newRow("merged") << QString();
    QTest::newRow("target deleted meanwhile: said") << "target";
    QTest::newRow("cut defect gone from the list: nothing merged") << "source";
}

// The target takes the cut defect's discussion and pictures, the cut defect
// goes; Merge is offered only on another row than the cut one. A merge that
// fails keeps the cut defect for another try.
void TestList::merge_movesDiscussionAndPicturesOrKeepsCutDefect()
{
    QFETCH(QString, gone);
    const QList<qint64> open = dbIds("c_solution = ''");
    const qint64 source = open.value(0);
    const qint64 target = open.value(1);
    QVERIFY(exec("INSERT INTO docs.t_process_exam_disc (id_process_exam, c_text) VALUES (%1, 'О')",
                 source));
    QVERIFY(addPicture(source));
    const QString both = QString("IN (%1, %2)").arg(source).arg(target);
    const QList<qint64> discussion = ids(
        "SELECT id FROM docs.t_process_exam_disc WHERE id_process_exam " + both + " ORDER BY 1");
    m_view->refresh();
    m_view->setCurrentRowById(source);
    action("acCut")->trigger();
    m_view->updateButtons();
    QVERIFY(!action("acMerge")->isEnabled());
    if (!gone.isEmpty())
        QVERIFY(exec("DELETE FROM docs.t_process_exam WHERE id = %1",
                     gone == "source" ? source : target));
    if (gone == "source")
        m_view->refresh();
    else if (gone == "target")
        m_modal->expect(ModalResponder::pressButton(QMessageBox::Ok));
    m_view->setCurrentRowById(target);
    QVERIFY(action("acMerge")->isEnabled());
    action("acMerge")->trigger();
    const QString said = m_modal->messages().join('\n');
    QVERIFY2(said.contains("не найден") == (gone == "target"), qPrintable(said));
    // Only the cut defect goes, and only when the merge succeeds.
    QCOMPARE(dbIds("id " + both), QList<qint64>{gone == "target" ? source : target});
    QCOMPARE(m_view->cutId(), gone.isEmpty() ? qint64(-1) : source);
    if (!gone.isEmpty())
        return;
    // The target stays current, with nothing left to merge into it: Merge
    // is not offered, and called anyway it neither asks nor merges.
    QCOMPARE(m_table->getViewCurrentRecord().value("id").toLongLong(), target);
    QVERIFY(!action("acMerge")->isEnabled());
    QMetaObject::invokeMethod(m_view.get(), "on_acMerge_triggered");
    const QString ofTarget = QString("= %1 ORDER BY 1").arg(target);
    QCOMPARE(ids("SELECT id FROM docs.t_process_exam_disc WHERE id_process_exam " + ofTarget),
             discussion);
    QCOMPARE(ids(QString("SELECT n_key FROM lrg.t_file_owner o JOIN lrg.t_file f ON f.id = "
                         "o.id_file WHERE f.c_file = '%1.png'")
                     .arg(source)),
             QList<qint64>{target});
}

// Each change of a filter or of the search filters the rows once; the search
// looks case-sensitively in the serial number and the description, within
// the filters. Refreshed, the list keeps the filters whose values still occur.
void TestList::filters_showMatchingRowsInOnePassPerChangeAndSurviveRefresh()
{
    QSignalSpy passes(m_table, SIGNAL(filtered()));
    auto shows = [&](const QStringList &where, int passCount = 1) {
        QCOMPARE(passes.count(), passCount);
        passes.clear();
        QCOMPARE(visibleIds(), dbIds(where.join(" AND ")));
    };
    const QString found = "(strpos(c_serial, '%1') > 0 OR strpos(c_description, '%1') > 0)";
    const QString open = "c_status = 'Не проанализировано'";
    hideReady()->setChecked(true);
    shows({"c_solution = ''"});
    combo("cbStatus")->setCurrentText("Не проанализировано");
    shows({"c_solution = ''", open});
    m_view->search("напряжение");
    shows({"c_solution = ''", open, found.arg("напряжение")});
    hideReady()->setChecked(false);
    shows({open, found.arg("напряжение")});
    for (const char *text : {"БП24", "Царапина", "царапина"}) {
        m_view->search(text);
        shows({open, found.arg(text)});
    }
    m_view->search(QString());
    shows({open});
    combo("cbStage")->setCurrentText("Приемо-сдаточные испытания");
    shows({"c_exam_stage = 'Приемо-сдаточные испытания'", open});
    // The stage renamed meanwhile: its old name no longer occurs.
    const QString rename = "UPDATE qms.t_exam_stage SET c_name = '%2' WHERE c_name = '%1'";
    QVERIFY(m_fx->db().exec(rename.arg("Приемо-сдаточные испытания", "ПСИ")));
    m_view->refresh();
    QVERIFY(m_fx->db().exec(rename.arg("ПСИ", "Приемо-сдаточные испытания")));
    QCOMPARE(combo("cbStage")->currentText() + combo("cbStatus")->currentText(),
             "-= ВСЕ =-Не проанализировано");
    shows({open}, passes.count());
}

void TestList::export_writesVisibleRows_data()
{
    QTest::addColumn<bool>("hide");
    QTest::addColumn<QString>("search");
    QTest::newRow("all") << false << QString();
    QTest::newRow("hide analysed and search") << true << "а";
}

// The workbook, read back with openpyxl, holds the title, the filters, the
// header and exactly the visible rows in table order, each value as shown.
void TestList::export_writesVisibleRows()
{
    QFETCH(bool, hide);
    QFETCH(QString, search);
    hideReady()->setChecked(hide);
    m_view->search(search);
    combo("cbStatus")->setCurrentIndex(hide ? 0 : 1);
    QTemporaryDir dir;
    QVERIFY(m_view->exportToFile(dir.filePath("Брак.xlsx")));

    // Each row as its cells "value|b|border" (b: bold) joined by tabs; per
    // column "1" when it is as wide as the list's (in characters, within one).
    const char *script = R"(
import json, sys, openpyxl
ws = openpyxl.load_workbook(sys.argv[1]).active
cell = lambda c: "|".join([str(c.value or "")] + ["b"] * bool(c.font.b) + [c.border.left.style or ""]).rstrip("|")
print(json.dumps({"rows": ["\t".join(map(cell, row)).rstrip("\t") for row in ws.iter_rows()],
                  "widths": "".join(str(int(abs(ws.column_dimensions[chr(65 + i)].width - float(w)) < 1))
                                    for i, w in enumerate(sys.argv[2:]))}))
)";
    QStringList arguments = {"-c", script, dir.filePath("Брак.xlsx")};
    const double charWidth = QFontMetrics(tableView()->font()).horizontalAdvance('Q');
    for (int pixels : {120, 100, 100, 200, 200, 100, 100, 250, 150, 250, 50})
        arguments << QString::number(pixels / charWidth);
    QProcess python;
    python.start("/usr/bin/python3", arguments);
    QVERIFY2(python.waitForFinished(60000) && python.exitCode() == 0,
             python.readAllStandardError().constData());
    const QJsonObject book = QJsonDocument::fromJson(python.readAllStandardOutput()).object();

    // The title and the filters in column B, a blank row after each.
    QStringList titles = {"Учет брака|b", "Статус: " + combo("cbStatus")->currentText(),
                          "Этап: -= ВСЕ =-", "Изделие: -= ВСЕ =-"};
    if (hide)
        titles << "Убраны проанализированные" << QString("Поиск по тексту: ") + search;
    QStringList expected;
    for (const QString &title : titles)
        expected << "\t" + title << QString();
    // The shown columns but the picture count, bold with a medium border.
    expected << "Дата|b|medium\t№ документа|b|medium\tПлан|b|medium\tИзделие|b|medium\t"
                "Этап отбора|b|medium\tСерийный №|b|medium\tКод дефекта|b|medium\t"
                "Описание|b|medium\tСтатус|b|medium\tРешение|b|medium\tЗабракован|b|medium";
    for (int row = 0; row < m_table->rowCount(); ++row) {
        QStringList values;
        for (int column = 2; column <= 12; ++column)
            values << m_table->getModel()->item(row, column)->text() + "|thin";
        if (!tableView()->isRowHidden(row))
            expected << values.join('\t');
    }
    QCOMPARE(book.value("rows").toVariant().toStringList(), expected);
    QCOMPARE(book.value("widths").toString(), QString(11, '1'));
}

// The product button picks a version in a tree without the recursive switch
// and filters the list by it; the recursive tree lists a version's analogs.
void TestList::productTree_selectsProductFilterAndListsAnalogs()
{
    const QString name = "SELECT inv.c_full_version_name(%1)";
    const qint64 version = ids("SELECT min(id_product_version) FROM docs.t_process_exam").value(0);
    m_modal->expect([&](QWidget *modal) {
        auto *dialog = qobject_cast<ProductTreeDialog *>(modal);
        auto *ok = dialog->findChild<QPushButton *>("buttonOk");
        QVERIFY(!ok->isEnabled() &&
                !dialog->findChild<QCheckBox *>("checkBoxRecursive")->isVisible());
        QVERIFY(dialog->selectVersion(version) && ok->isEnabled());
        ok->click();
    });
    m_view->findChild<QPushButton *>("pbProduct")->click();
    // The product filter lists the products sorted.
    for (int i = 2; i < combo("cbProduct")->count(); ++i)
        QVERIFY(combo("cbProduct")->itemText(i - 1) < combo("cbProduct")->itemText(i));
    QCOMPARE(combo("cbProduct")->currentText(), m_fx->value(name.arg(version)).toString());
    QCOMPARE(visibleIds(), dbIds("id_product_version = " + QString::number(version)));

    const qint64 analog = ids("SELECT min(id_version) FROM inv.tl_version_analog").value(0);
    const QList<qint64> analogs =
        QList<qint64>{analog} +
        ids(QString("SELECT * FROM inv.n_version_recursive_analog(%1)").arg(analog));
    QVERIFY2(analogs.size() > 1, "the demo data has analog versions");
    ProductTreeDialog dialog(nullptr, ProductTreeDialog::RecursiveMode);
    dialog.show();
    auto *recursive = dialog.findChild<QCheckBox *>("checkBoxRecursive");
    QVERIFY(recursive->isVisible() && dialog.selectVersion(analog));
    QCOMPARE(dialog.getCurrentVersionList(), QList<qint64>{analog});
    recursive->setChecked(true);
    QCOMPARE(dialog.getCurrentVersionList(), analogs);
    QCOMPARE(dialog.getCurrentVersionListName().value(analogs.size() - 1),
             m_fx->value(name.arg(analogs.last())).toString());
    const QString product = "SELECT p.c_name FROM inv.t_product p JOIN inv.t_product_version v "
                            "ON v.id_product = p.id WHERE v.id = %1";
    QCOMPARE(dialog.getCurrentProductName(), m_fx->value(product.arg(analog)).toString());
    // A version shows "<name> (<part number>)" with its icon, under its product's icon.
    const QTreeWidgetItem *item = dialog.findChild<QTreeWidget *>("trvProducts")->currentItem();
    QVERIFY(item->text(0).endsWith(')') && !item->icon(0).isNull() &&
            !item->parent()->icon(0).isNull());
}

// Task and Document act on the current defect: a task created is reported
// with its number, the defect act opens with the defect's number.
void TestList::currentDefect_taskReportedAndActOpened()
{
    const qint64 id = dbIds("true").value(1);
    m_view->setCurrentRowById(id);
    const QList<qint64> before = ids("SELECT id FROM task.t_scheduler");
    m_modal->expect([this](QWidget *modal) {
        QVERIFY(modal->findChild<QComboBox *>("cbExecutor")->count() > 0);
        modal->findChild<QComboBox *>("cbExecutor")->setCurrentIndex(0);
        modal->findChild<QTextEdit *>("teTask")->setPlainText("Проверить партию");
        m_modal->expect(ModalResponder::pressButton(QMessageBox::Ok));
        modal->findChild<QPushButton *>("buttonAccept")->click();
    });
    action("acTask")->trigger();
    const QList<qint64> after = ids("SELECT id FROM task.t_scheduler");
    QCOMPARE(after.size(), before.size() + 1);
    const QString task = QString::number(*std::max_element(after.begin(), after.end()));
    QCOMPARE(m_modal->messages(), QStringList{"Задача|Задача №" + task + " успешно создана"});

    action("acDocument")->trigger();
    QDocCreator *creator = m_view->findChild<QDocCreator *>();
    QVERIFY(creator && creator->isVisible());
    const QString text = creator->findChild<QTextBrowser *>("tbDocument")->toPlainText();
    delete creator;
    const QString number = m_table->getField("c_name", rowOf(id)).toString();
    QVERIFY2(text.contains("АКТ О БРАКЕ № " + number), qPrintable(text));
}

REJECTS_TEST_MAIN(TestList)
#include "tst_list.moc"
