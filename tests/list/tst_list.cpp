#include "modalresponder.h"
#include "producttreedialog.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qdoccreator.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "rejectsview.h"
#include "testfixture.h"
#include "testmain.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QFontMetrics>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardItemModel>
#include <QTableView>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <QTextEdit>
#include <QTreeWidget>

extern "C" QDataSet *getDocument(QObject *parent);

// The defect list on the demo register: buttons, filters and search, merge,
// delete, the spreadsheet export and the product tree.
class TestList : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void modalAnswer_failedCheckFailsAtOnce();
    void decoration_followsDecisionRejectAndReaction();
    void newDefect_disablesNewUntilSavedOrDiscarded();
    void cut_enablesMergeOnAnotherRowOnly();
    void delete_onlyForNotAnalysed();
    void delete_askedAndCommitted();
    void delete_refusedIsSaidAndLaterSavesWork();
    void hiddenCurrentRow_noActionTouchesIt();
    void merge_failureSaidAndCutKept();
    void concurrentSave_refusedNamingChangerAndEditsKept();
    void search_serialOnlyAndCaseSensitive();
    void hideReady_hidesExactlyDecided();
    void refresh_keepsFilterThatStillOccurs();
    void merge_movesDiscussionAndPictures();
    void afterCommit_rereadsRowAndRefilters();
    void export_writesVisibleRows_data();
    void export_writesVisibleRows();
    void productTree_selectsProductFilter();
    void productTree_recursiveListHasAnalogs();
    void task_createsTaskAndReportsIt();
    void sort_byDateValueNotText();
    void document_opensActOfCurrentDefect();

private:
    QAction *action(const QString &name) const;
    QComboBox *combo(const QString &name) const;
    QCheckBox *hideReady() const;
    QTableView *tableView() const;
    int visibleRows() const;
    int rowOf(qint64 id) const;
    QList<qint64> dbIds(const QString &where) const;
    // Presses a button of the next modal box (by its standard button or text),
    // remembering the box's text.
    void answerNextBox(QMessageBox::StandardButton button);
    QJsonObject readWorkbook(const QString &fileName);

    std::unique_ptr<TestFixture> m_fx;
    QDataSet *m_set = nullptr;
    QDataTable *m_table = nullptr;
    RejectsView *m_view = nullptr;
    QScopedPointer<ModalResponder> m_modal;
    QString m_boxText;
};

void TestList::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("list"));
    m_set = getDocument(qApp);
    QVERIFY(m_set);
    m_table = m_set->getTable(QStringLiteral("t_process_exam"));
    QVERIFY(m_table);
    m_view = new RejectsView(m_set);
    m_view->resize(1200, 700);
    m_view->show();
    QCOMPARE(RejectsView::toolBarActions().size(), 9);
    QVERIFY(RejectsView::toolBarActions().at(3)->isSeparator());
    QCOMPARE(RejectsView::toolBarActions().at(8), action(QStringLiteral("acDocument")));
}

void TestList::cleanupTestCase()
{
    delete m_view;
    m_view = nullptr;
    m_fx.reset();
}

void TestList::init()
{
    m_view->search(QString());
    m_view->refresh();
    hideReady()->setChecked(false);
    combo(QStringLiteral("cbStatus"))->setCurrentIndex(0);
    combo(QStringLiteral("cbStage"))->setCurrentIndex(0);
    combo(QStringLiteral("cbProduct"))->setCurrentIndex(0);
    QVERIFY(m_table->rowCount() > 10);
    m_modal.reset(new ModalResponder);
}

void TestList::cleanup()
{
    m_modal.reset();
}

// A failed check inside a modal answer fails the test at once instead of
// leaving the window open until the time limit: run in a child process of
// this program, whose failing answer must end it quickly.
void TestList::modalAnswer_failedCheckFailsAtOnce()
{
    if (qEnvironmentVariableIsSet("REJECTS_FAILING_ANSWER")) {
        m_modal->expect([](QWidget *) { QVERIFY2(false, "a failing answer"); });
        QMessageBox::information(nullptr, QStringLiteral("Внимание"), QStringLiteral("Ответ"));
        return;
    }
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("REJECTS_FAILING_ANSWER"), QStringLiteral("1"));
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("modalAnswer_failedCheckFailsAtOnce")});
    const bool finished = child.waitForFinished(60000);
    if (!finished) {
        child.kill();
        child.waitForFinished();
    }
    QVERIFY2(finished, "a failing modal answer left its window open");
    QVERIFY(child.exitCode() != 0);
    QVERIFY(child.readAllStandardOutput().contains("a failing answer"));
}

QAction *TestList::action(const QString &name) const
{
    return m_view->findChild<QAction *>(name);
}

QComboBox *TestList::combo(const QString &name) const
{
    return m_view->findChild<QComboBox *>(name);
}

QCheckBox *TestList::hideReady() const
{
    return m_view->findChild<QCheckBox *>(QStringLiteral("chkHideReady"));
}

QTableView *TestList::tableView() const
{
    return m_view->findChild<QTableView *>(QStringLiteral("tvRejects"));
}

int TestList::visibleRows() const
{
    int count = 0;
    for (int row = 0; row < m_table->rowCount(); ++row)
        count += tableView()->isRowHidden(row) ? 0 : 1;
    return count;
}

int TestList::rowOf(qint64 id) const
{
    return m_table->locate(QStringLiteral("id"), id);
}

QList<qint64> TestList::dbIds(const QString &where) const
{
    QSqlQuery query(m_fx->db().directConnection(QStringLiteral("check")));
    QList<qint64> ids;
    if (!query.exec(
            QStringLiteral("SELECT id FROM docs.v_process_exam WHERE %1 ORDER BY id").arg(where)))
        qWarning() << query.lastError().text();
    while (query.next())
        ids.append(query.value(0).toLongLong());
    return ids;
}

void TestList::answerNextBox(QMessageBox::StandardButton button)
{
    m_boxText.clear();
    m_modal->expect([this, button](QWidget *modal) {
        auto *box = qobject_cast<QMessageBox *>(modal);
        QVERIFY(box);
        m_boxText = box->windowTitle() + QLatin1Char('|') + box->text();
        ModalResponder::pressButton(button)(box);
    });
}

void TestList::decoration_followsDecisionRejectAndReaction()
{
    const QStandardItemModel *model = m_table->getModel();
    const qint64 rejected = dbIds(QStringLiteral("b_reject")).value(0);
    const qint64 decided = dbIds(QStringLiteral("c_solution <> '' AND NOT b_reject")).value(0);
    const qint64 open = dbIds(QStringLiteral("c_solution = ''")).value(0);
    const qint64 reaction = dbIds(QStringLiteral("b_reaction")).value(0);
    const qint64 pictured = dbIds(QStringLiteral("n_pics > 0")).value(0);
    QVERIFY(rejected && decided && open && reaction && pictured);

    const int descr = 9;
    QCOMPARE(model->item(rowOf(rejected), descr)->background().color(), QColor(Qt::red));
    QCOMPARE(model->item(rowOf(rejected), descr)->foreground().color(), QColor(Qt::white));
    QCOMPARE(model->item(rowOf(decided), descr)->background().color(), QColor(Qt::gray));
    QCOMPARE(model->item(rowOf(decided), descr)->foreground().color(), QColor(Qt::white));
    QVERIFY(model->item(rowOf(open), descr)->background().style() == Qt::NoBrush);

    const QFont font = model->item(rowOf(reaction), descr)->font();
    QVERIFY(font.bold() && font.italic() && font.underline());
    if (!m_table->getField(QStringLiteral("b_reaction"), rowOf(open)).toBool())
        QVERIFY(!model->item(rowOf(open), descr)->font().underline());

    QVERIFY(!model->item(rowOf(pictured), 1)->icon().isNull());
    const qint64 bare = dbIds(QStringLiteral("n_pics = 0")).value(0);
    QVERIFY(model->item(rowOf(bare), 1)->icon().isNull());

    const QDateTime created =
        m_table->getField(QStringLiteral("d_create"), rowOf(open)).toDateTime();
    QCOMPARE(model->item(rowOf(open), 2)->data(Qt::DisplayRole).toString(),
             QLocale::system().toString(created, QLocale::ShortFormat));
    QCOMPARE(model->item(rowOf(rejected), 12)->data(Qt::DisplayRole).toString(),
             QStringLiteral("Забракован"));
    QCOMPARE(model->item(rowOf(open), 12)->data(Qt::DisplayRole).toString(), QString());
}

void TestList::newDefect_disablesNewUntilSavedOrDiscarded()
{
    QSignalSpy autoEdit(m_view, SIGNAL(autoEdit()));
    QVERIFY(action(QStringLiteral("acNew"))->isEnabled());
    const int rows = m_table->rowCount();
    action(QStringLiteral("acNew"))->trigger();
    QCOMPARE(autoEdit.count(), 1);
    QCOMPARE(m_table->rowCount(), rows + 1);
    // The new defect is current; it has no id yet: no task, delete or cut.
    const QSqlRecord fresh = m_table->getViewCurrentRecord();
    QVERIFY(fresh.value(QStringLiteral("id")).toLongLong() < 0);
    QCOMPARE(fresh.value(QStringLiteral("c_name")).toString(), QStringLiteral("Новый дефект"));
    QVERIFY(!action(QStringLiteral("acNew"))->isEnabled());
    QVERIFY(!action(QStringLiteral("acTask"))->isEnabled());
    QVERIFY(!action(QStringLiteral("acDelete"))->isEnabled());
    QVERIFY(!action(QStringLiteral("acCut"))->isEnabled());
    // Moving to another defect does not bring New back while the new one is unsaved.
    m_view->setCurrentRowById(dbIds(QStringLiteral("true")).value(0));
    QVERIFY(!action(QStringLiteral("acNew"))->isEnabled());

    // Discarded: the document is rolled back and the list refreshed.
    m_set->rollback();
    m_view->refresh();
    QCOMPARE(m_table->rowCount(), rows);
    QVERIFY(action(QStringLiteral("acNew"))->isEnabled());

    // Saved: the database gives the defect its id and number.
    action(QStringLiteral("acNew"))->trigger();
    QVERIFY(!action(QStringLiteral("acNew"))->isEnabled());
    const QString stage =
        m_fx->value(QStringLiteral("SELECT c_sys_name FROM qms.t_exam_stage ORDER BY "
                                   "n_order LIMIT 1"))
            .toString();
    QVERIFY(m_table->setField(QStringLiteral("c_exam_stage_sys_name"), stage));
    QVERIFY(m_table->setField(QStringLiteral("c_description"), QStringLiteral("Скол корпуса")));
    QVERIFY(m_set->commit(m_fx->connection()));
    m_view->afterCommit();
    const qint64 id = m_table->getViewCurrentRecord().value(QStringLiteral("id")).toLongLong();
    QVERIFY(id > 0);
    QCOMPARE(dbIds(QStringLiteral("id = %1 AND c_description = 'Скол корпуса'").arg(id)).size(), 1);
    QVERIFY(action(QStringLiteral("acNew"))->isEnabled());
    QVERIFY(action(QStringLiteral("acDelete"))->isEnabled());
    QCOMPARE(m_table->rowCount(), rows + 1);
}

void TestList::cut_enablesMergeOnAnotherRowOnly()
{
    const QList<qint64> ids = dbIds(QStringLiteral("true"));
    QVERIFY(ids.size() >= 2);
    QCOMPARE(m_view->setCurrentRowById(ids.at(0)), rowOf(ids.at(0)));
    QVERIFY(action(QStringLiteral("acCut"))->isEnabled());
    QVERIFY(!action(QStringLiteral("acMerge"))->isEnabled());
    action(QStringLiteral("acCut"))->trigger();
    QCOMPARE(m_view->cutId(), ids.at(0));
    m_view->updateButtons();
    QVERIFY(!action(QStringLiteral("acMerge"))->isEnabled());
    m_view->setCurrentRowById(ids.at(1));
    QVERIFY(action(QStringLiteral("acMerge"))->isEnabled());
    m_view->setCurrentRowById(ids.at(0));
    QVERIFY(!action(QStringLiteral("acMerge"))->isEnabled());
}

void TestList::delete_onlyForNotAnalysed()
{
    const qint64 open = dbIds(QStringLiteral("c_status = 'Не проанализировано'")).value(0);
    const QList<qint64> others = dbIds(QStringLiteral("c_status <> 'Не проанализировано'"));
    QVERIFY(open && !others.isEmpty());
    m_view->setCurrentRowById(open);
    QVERIFY(action(QStringLiteral("acDelete"))->isEnabled());
    QVERIFY(action(QStringLiteral("acTask"))->isEnabled());
    for (qint64 id : others.mid(0, 5)) {
        m_view->setCurrentRowById(id);
        QVERIFY(!action(QStringLiteral("acDelete"))->isEnabled());
        // Refused silently even when triggered.
        action(QStringLiteral("acDelete"))->setEnabled(true);
        action(QStringLiteral("acDelete"))->trigger();
        QCOMPARE(rowOf(id) >= 0, true);
    }
    tableView()->setCurrentIndex(QModelIndex());
    tableView()->selectionModel()->clearCurrentIndex();
    m_view->updateButtons();
    QVERIFY(!action(QStringLiteral("acDelete"))->isEnabled());
    QVERIFY(!action(QStringLiteral("acTask"))->isEnabled());
    QVERIFY(!action(QStringLiteral("acCut"))->isEnabled());
}

void TestList::delete_askedAndCommitted()
{
    const QList<qint64> open = dbIds(QStringLiteral("c_status = 'Не проанализировано'"));
    QVERIFY(open.size() >= 2);
    const qint64 id = open.last();
    const QString name =
        m_fx->value(QStringLiteral("SELECT c_name FROM docs.v_process_exam WHERE id = %1").arg(id))
            .toString();
    QSignalSpy autoEdit(m_view, SIGNAL(autoEdit()));

    m_view->setCurrentRowById(id);
    answerNextBox(QMessageBox::No);
    action(QStringLiteral("acDelete"))->trigger();
    QCOMPARE(m_boxText, QStringLiteral("Внимание|Удалить дефект %1 &").arg(name));
    QVERIFY(rowOf(id) >= 0);
    QCOMPARE(dbIds(QStringLiteral("id = %1").arg(id)).size(), 1);
    QCOMPARE(autoEdit.count(), 0);

    answerNextBox(QMessageBox::Yes);
    action(QStringLiteral("acDelete"))->trigger();
    QVERIFY(!m_boxText.isEmpty());
    QCOMPARE(rowOf(id), -1);
    QCOMPARE(dbIds(QStringLiteral("id = %1").arg(id)).size(), 0);
    QCOMPARE(autoEdit.count(), 1);
}

// Another user analyses the defect before the delete reaches the database:
// the refusal is said, the row shows what the database holds, and nothing
// stays pending that would make later saves fail.
void TestList::delete_refusedIsSaidAndLaterSavesWork()
{
    const QList<qint64> open = dbIds(QStringLiteral("c_solution = ''"));
    QVERIFY(open.size() >= 2);
    const qint64 id = open.first();
    QSqlQuery other(m_fx->db().directConnection(QStringLiteral("check")));
    QVERIFY(other.exec(
        QStringLiteral("UPDATE docs.t_process_exam SET c_solution = 'Годно.' WHERE id = %1")
            .arg(id)));

    m_view->setCurrentRowById(id);
    answerNextBox(QMessageBox::Yes);
    m_modal->expect(ModalResponder::pressButton(QMessageBox::Ok));
    action(QStringLiteral("acDelete"))->trigger();
    QCOMPARE(m_modal->pending(), 0);
    QVERIFY2(m_modal->messages().last().contains(QStringLiteral("проанализирован")),
             qPrintable(m_modal->messages().join('\n')));
    QVERIFY(!m_table->isModified());
    QCOMPARE(m_table->getField(QStringLiteral("c_solution"), rowOf(id)).toString(),
             QStringLiteral("Годно."));

    m_view->setCurrentRowById(open.at(1));
    QVERIFY(m_table->setField(QStringLiteral("c_description"), QStringLiteral("Уточнено.")));
    QVERIFY(m_table->commit(false));
    QCOMPARE(
        m_fx->value(QStringLiteral("SELECT c_description FROM docs.t_process_exam WHERE id = %1")
                        .arg(open.at(1)))
            .toString(),
        QStringLiteral("Уточнено."));
}

// A filter that hides the current row leaves no action that touches it.
void TestList::hiddenCurrentRow_noActionTouchesIt()
{
    const QList<qint64> open = dbIds(QStringLiteral("c_solution = ''"));
    QVERIFY(open.size() >= 2);
    m_view->setCurrentRowById(open.at(0));
    action(QStringLiteral("acCut"))->trigger();
    m_view->setCurrentRowById(open.at(1));
    QVERIFY(action(QStringLiteral("acDelete"))->isEnabled());
    QVERIFY(action(QStringLiteral("acMerge"))->isEnabled());

    m_view->search(QStringLiteral("Такого текста нет ни в одном дефекте"));
    for (const char *name : {"acTask", "acDelete", "acCut", "acMerge"})
        QVERIFY2(!action(QLatin1String(name))->isEnabled(), name);
    for (const char *name : {"acDelete", "acCut", "acMerge"})
        action(QLatin1String(name))->trigger();
    QCOMPARE(m_modal->messages(), QStringList());
    QCOMPARE(m_view->cutId(), open.at(0));
    QCOMPARE(dbIds(QStringLiteral("id IN (%1, %2)").arg(open.at(0)).arg(open.at(1))).size(), 2);
}

// The target goes before the merge: the failure is said and the cut defect
// is kept for another try.
void TestList::merge_failureSaidAndCutKept()
{
    const QList<qint64> open = dbIds(QStringLiteral("c_solution = ''"));
    QVERIFY(open.size() >= 2);
    const qint64 source = open.at(0);
    const qint64 target = open.at(1);
    m_view->setCurrentRowById(source);
    action(QStringLiteral("acCut"))->trigger();
    QSqlQuery other(m_fx->db().directConnection(QStringLiteral("check")));
    QVERIFY(
        other.exec(QStringLiteral("DELETE FROM docs.t_process_exam WHERE id = %1").arg(target)));

    m_view->setCurrentRowById(target);
    m_modal->expect(ModalResponder::pressButton(QMessageBox::Ok));
    action(QStringLiteral("acMerge"))->trigger();
    QCOMPARE(m_modal->pending(), 0);
    QVERIFY2(m_modal->messages().last().contains(QStringLiteral("не найден")),
             qPrintable(m_modal->messages().join('\n')));
    QCOMPARE(m_view->cutId(), source);
    QCOMPARE(dbIds(QStringLiteral("id = %1").arg(source)).size(), 1);
}

// Another user saves the defect after this list read it: this save is
// refused naming that user, the other user's decision stays, and the edit
// stays pending here.
void TestList::concurrentSave_refusedNamingChangerAndEditsKept()
{
    const qint64 id = dbIds(QStringLiteral("c_solution = ''")).value(0);
    QVERIFY(id);
    m_view->setCurrentRowById(id);
    QVERIFY(m_table->setField(QStringLiteral("c_description"), QStringLiteral("Мое описание")));
    QSqlQuery other(m_fx->db().directConnection(QStringLiteral("check")));
    QVERIFY(other.exec(QStringLiteral("UPDATE docs.t_process_exam SET c_solution = 'Решение Б', "
                                      "id_changer = (SELECT id FROM sys.t_user WHERE c_login = "
                                      "'ivanova') WHERE id = %1")
                           .arg(id)));

    QVERIFY(!m_table->commit(false));
    QVERIFY2(m_table->lastError().contains(QStringLiteral("Иванова О.П.")),
             qPrintable(m_table->lastError()));
    const int row = rowOf(id);
    QCOMPARE(m_table->getRowState(row), int(rsUpdated));
    QCOMPARE(m_table->getField(QStringLiteral("c_description"), row).toString(),
             QStringLiteral("Мое описание"));
    QCOMPARE(
        m_fx->value(
                QStringLiteral("SELECT c_solution FROM docs.t_process_exam WHERE id = %1").arg(id))
            .toString(),
        QStringLiteral("Решение Б"));
    m_table->rollback();
}

void TestList::search_serialOnlyAndCaseSensitive()
{
    // A defect whose serial number does not occur in its description.
    qint64 id = 0;
    QString serial;
    QString description;
    for (int row = 0; row < m_table->rowCount() && !id; ++row) {
        const QSqlRecord record = m_table->getRecord(row, false);
        serial = record.value(QStringLiteral("c_serial")).toString();
        description = record.value(QStringLiteral("c_description")).toString();
        if (serial.size() > 2 && !description.contains(serial) &&
            description.toUpper() != description.toLower() && description.size() > 6)
            id = record.value(QStringLiteral("id")).toLongLong();
    }
    QVERIFY2(id, "the demo register has a defect with a serial number and a description");

    m_view->search(serial);
    QVERIFY(!tableView()->isRowHidden(rowOf(id)));
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const QSqlRecord record = m_table->getRecord(row, false);
        const bool match =
            record.value(QStringLiteral("c_serial")).toString().contains(serial) ||
            record.value(QStringLiteral("c_description")).toString().contains(serial);
        QCOMPARE(!tableView()->isRowHidden(row), match);
    }

    // The same words in another case do not match.
    const QString word = description.mid(0, 6);
    QString other = word.toUpper();
    if (other == word)
        other = word.toLower();
    m_view->search(word);
    QVERIFY(!tableView()->isRowHidden(rowOf(id)));
    m_view->search(other);
    QVERIFY(tableView()->isRowHidden(rowOf(id)));

    // The search works within the filters: hide-analysed still applies.
    m_view->search(QString());
    QCOMPARE(visibleRows(), m_table->rowCount());
}

void TestList::hideReady_hidesExactlyDecided()
{
    hideReady()->setChecked(true);
    const QList<qint64> decided = dbIds(QStringLiteral("c_solution <> ''"));
    QVERIFY(!decided.isEmpty());
    QCOMPARE(visibleRows(), m_table->rowCount() - decided.size());
    for (int row = 0; row < m_table->rowCount(); ++row)
        QCOMPARE(tableView()->isRowHidden(row),
                 !m_table->getField(QStringLiteral("c_solution"), row).toString().isEmpty());
    hideReady()->setChecked(false);
    QCOMPARE(visibleRows(), m_table->rowCount());
}

void TestList::refresh_keepsFilterThatStillOccurs()
{
    QComboBox *status = combo(QStringLiteral("cbStatus"));
    QComboBox *stage = combo(QStringLiteral("cbStage"));
    QComboBox *product = combo(QStringLiteral("cbProduct"));
    QCOMPARE(status->itemText(0), QStringLiteral("-= ВСЕ =-"));
    QVERIFY(status->count() > 2 && stage->count() > 2 && product->count() > 2);
    // The product list is sorted, the others keep the table's order.
    QStringList products;
    for (int i = 1; i < product->count(); ++i)
        products.append(product->itemText(i));
    QStringList sorted = products;
    sorted.sort(Qt::CaseSensitive);
    QCOMPARE(products, sorted);

    status->setCurrentIndex(2);
    const QString statusText = status->currentText();
    QCOMPARE(visibleRows(), dbIds(QStringLiteral("c_status = '%1'").arg(statusText)).size());
    stage->setCurrentIndex(1);
    const QString stageText = stage->currentText();
    const int visible = visibleRows();
    QCOMPARE(
        visible,
        dbIds(QStringLiteral("c_status = '%1' AND c_exam_stage = '%2'").arg(statusText, stageText))
            .size());

    m_view->refresh();
    QCOMPARE(status->currentText(), statusText);
    QCOMPARE(stage->currentText(), stageText);
    QCOMPARE(visibleRows(), visible);

    // The stage is renamed meanwhile: its old name no longer occurs.
    QVERIFY(
        m_fx->db().exec(QStringLiteral("UPDATE qms.t_exam_stage SET c_name = c_name || ' (старое)' "
                                       "WHERE c_name = '%1'")
                            .arg(stageText)));
    m_view->refresh();
    QCOMPARE(stage->currentIndex(), 0);
    QCOMPARE(stage->currentText(), QStringLiteral("-= ВСЕ =-"));
    QCOMPARE(status->currentText(), statusText);
    QCOMPARE(visibleRows(), dbIds(QStringLiteral("c_status = '%1'").arg(statusText)).size());
    QVERIFY(m_fx->db().exec(QStringLiteral("UPDATE qms.t_exam_stage SET c_name = '%1' "
                                           "WHERE c_name = '%1 (старое)'")
                                .arg(stageText)));
}

void TestList::merge_movesDiscussionAndPictures()
{
    const QList<qint64> ids = dbIds(QStringLiteral("c_solution = ''"));
    QVERIFY(ids.size() >= 3);
    const qint64 target = ids.at(0);
    const qint64 source = ids.at(1);
    QVERIFY(m_fx->db().exec(QStringLiteral("INSERT INTO docs.t_process_exam_disc (id_process_exam, "
                                           "c_author, c_text) VALUES (%1, 'Тест', 'Обсуждение "
                                           "источника')")
                                .arg(source)));
    QVERIFY(
        m_fx->db().exec(QStringLiteral("INSERT INTO lrg.t_file (c_file, n_size, bl_file) VALUES "
                                       "('merge_source.png', 3, '\\x010203')")));
    QVERIFY(m_fx->db().exec(QStringLiteral("INSERT INTO lrg.t_file_owner (id_file, c_table, n_key) "
                                           "SELECT id, 't_process_exam', %1 FROM lrg.t_file WHERE "
                                           "c_file = 'merge_source.png'")
                                .arg(source)));
    const int discussion =
        m_fx->value(QStringLiteral("SELECT count(*) FROM docs.t_process_exam_disc "
                                   "WHERE id_process_exam IN (%1, %2)")
                        .arg(source)
                        .arg(target))
            .toInt();
    m_view->refresh();

    m_view->setCurrentRowById(source);
    action(QStringLiteral("acCut"))->trigger();
    m_view->setCurrentRowById(target);
    QVERIFY(action(QStringLiteral("acMerge"))->isEnabled());
    action(QStringLiteral("acMerge"))->trigger();

    QCOMPARE(m_view->cutId(), qint64(-1));
    QVERIFY(!action(QStringLiteral("acMerge"))->isEnabled());
    QCOMPARE(dbIds(QStringLiteral("id = %1").arg(source)).size(), 0);
    QCOMPARE(rowOf(source), -1);
    QCOMPARE(m_table->getViewCurrentRecord().value(QStringLiteral("id")).toLongLong(), target);
    QCOMPARE(m_fx->value(QStringLiteral("SELECT count(*) FROM docs.t_process_exam_disc WHERE "
                                        "id_process_exam = %1")
                             .arg(target))
                 .toInt(),
             discussion);
    QCOMPARE(
        m_fx->value(QStringLiteral("SELECT count(*) FROM lrg.t_file_owner o JOIN lrg.t_file f ON "
                                   "f.id = o.id_file WHERE f.c_file = 'merge_source.png' AND "
                                   "o.c_table = 't_process_exam' AND o.n_key = %1")
                        .arg(target))
            .toInt(),
        1);
    QVERIFY(m_table->getField(QStringLiteral("n_pics"), rowOf(target)).toInt() >= 1);

    // A cut defect that has disappeared merges nothing.
    m_view->setCurrentRowById(ids.at(2));
    action(QStringLiteral("acCut"))->trigger();
    QVERIFY(m_fx->db().exec(
        QStringLiteral("DELETE FROM docs.t_process_exam WHERE id = %1").arg(ids.at(2))));
    m_view->refresh();
    m_view->setCurrentRowById(target);
    action(QStringLiteral("acMerge"))->trigger();
    QCOMPARE(m_view->cutId(), ids.at(2));
    QCOMPARE(dbIds(QStringLiteral("id = %1").arg(target)).size(), 1);
}

void TestList::afterCommit_rereadsRowAndRefilters()
{
    hideReady()->setChecked(true);
    const qint64 id = dbIds(QStringLiteral("c_solution = '' AND n_pics = 0")).value(0);
    QVERIFY(id);
    QVERIFY(
        m_fx->db().exec(QStringLiteral("INSERT INTO lrg.t_file (c_file, n_size, bl_file) VALUES "
                                       "('after_commit.png', 3, '\\x010203')")));
    QVERIFY(m_fx->db().exec(QStringLiteral("INSERT INTO lrg.t_file_owner (id_file, c_table, n_key) "
                                           "SELECT id, 't_process_exam', %1 FROM lrg.t_file WHERE "
                                           "c_file = 'after_commit.png'")
                                .arg(id)));
    QCOMPARE(m_view->setCurrentRowById(id), rowOf(id));
    QVERIFY(!tableView()->isRowHidden(rowOf(id)));
    QVERIFY(
        m_table->setField(QStringLiteral("c_solution"), QStringLiteral("Годен после доработки")));
    m_view->afterCommit();

    QCOMPARE(
        dbIds(QStringLiteral("id = %1 AND c_solution = 'Годен после доработки'").arg(id)).size(),
        1);
    // The row is the one the update script returned: status and picture
    // count come from the database.
    QCOMPARE(
        m_table->getField(QStringLiteral("c_status"), rowOf(id)).toString(),
        m_fx->value(
                QStringLiteral("SELECT c_status FROM docs.v_process_exam WHERE id = %1").arg(id))
            .toString());
    QCOMPARE(m_table->getField(QStringLiteral("n_pics"), rowOf(id)).toInt(), 1);
    QCOMPARE(m_table->getRowState(rowOf(id)), 0);
    // Decided now, so the switch hides it.
    QVERIFY(tableView()->isRowHidden(rowOf(id)));
}

QJsonObject TestList::readWorkbook(const QString &fileName)
{
    // Reads the workbook back with openpyxl: every non-empty cell with its
    // font and border, and the column widths.
    const QString script = QStringLiteral(R"(
import json, sys
from openpyxl import load_workbook
ws = load_workbook(sys.argv[1]).active
cells = {}
for row in ws.iter_rows():
    for c in row:
        if c.value is not None:
            cells[c.coordinate] = {"v": c.value, "b": bool(c.font.b), "border": c.border.left.style}
widths = {k: v.width for k, v in ws.column_dimensions.items() if v.customWidth}
print(json.dumps({"cells": cells, "widths": widths, "maxRow": ws.max_row}))
)");
    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"), {QStringLiteral("-c"), script, fileName});
    if (!python.waitForFinished(60000) || python.exitCode() != 0) {
        qWarning() << python.readAllStandardError();
        return QJsonObject();
    }
    return QJsonDocument::fromJson(python.readAllStandardOutput()).object();
}

void TestList::export_writesVisibleRows_data()
{
    QTest::addColumn<bool>("hide");
    QTest::addColumn<QString>("search");
    QTest::addColumn<int>("headerRow");
    QTest::newRow("all") << false << QString() << 9;
    QTest::newRow("hide analysed") << true << QString() << 11;
    QTest::newRow("hide and search") << true << QStringLiteral("а") << 13;
}

void TestList::export_writesVisibleRows()
{
    QFETCH(bool, hide);
    QFETCH(QString, search);
    QFETCH(int, headerRow);

    hideReady()->setChecked(hide);
    m_view->search(search);
    combo(QStringLiteral("cbStatus"))->setCurrentIndex(hide ? 0 : 1);
    QVERIFY(visibleRows() > 0);

    QTemporaryDir dir;
    const QString fileName = dir.filePath(QStringLiteral("Брак.xlsx"));
    QVERIFY(m_view->exportToFile(fileName));
    const QJsonObject book = readWorkbook(fileName);
    QVERIFY(!book.isEmpty());
    const QJsonObject cells = book.value(QStringLiteral("cells")).toObject();
    auto text = [&cells](const QString &cell) {
        return cells.value(cell).toObject().value(QStringLiteral("v")).toVariant().toString();
    };

    QCOMPARE(text(QStringLiteral("B1")), QStringLiteral("Учет брака"));
    QVERIFY(cells.value(QStringLiteral("B1")).toObject().value(QStringLiteral("b")).toBool());
    QCOMPARE(text(QStringLiteral("B3")),
             QStringLiteral("Статус: %1").arg(combo(QStringLiteral("cbStatus"))->currentText()));
    QCOMPARE(text(QStringLiteral("B5")), QStringLiteral("Этап: -= ВСЕ =-"));
    QCOMPARE(text(QStringLiteral("B7")), QStringLiteral("Изделие: -= ВСЕ =-"));
    if (hide)
        QCOMPARE(text(QStringLiteral("B9")), QStringLiteral("Убраны проанализированные"));
    else
        QCOMPARE(text(QStringLiteral("A9")), QStringLiteral("Дата"));
    if (!search.isEmpty())
        QCOMPARE(text(QStringLiteral("B11")), QStringLiteral("Поиск по тексту: %1").arg(search));

    // Header: the shown columns but the picture count, bold with a medium border.
    const QStringList headers = {"Дата",        "№ документа", "План",        "Изделие",
                                 "Этап отбора", "Серийный №",  "Код дефекта", "Описание",
                                 "Статус",      "Решение",     "Забракован"};
    const QString columns = QStringLiteral("ABCDEFGHIJK");
    const double charWidth = QFontMetrics(tableView()->font()).horizontalAdvance(QLatin1Char('Q'));
    const QList<int> widths = {120, 100, 100, 200, 200, 100, 100, 250, 150, 250, 50};
    const QJsonObject widthOf = book.value(QStringLiteral("widths")).toObject();
    for (int i = 0; i < headers.size(); ++i) {
        const QString cell = columns.at(i) + QString::number(headerRow);
        QCOMPARE(text(cell), headers.at(i));
        QVERIFY(cells.value(cell).toObject().value(QStringLiteral("b")).toBool());
        QCOMPARE(cells.value(cell).toObject().value(QStringLiteral("border")).toString(),
                 QStringLiteral("medium"));
        const double width = widthOf.value(QString(columns.at(i))).toDouble();
        QVERIFY2(qAbs(width - widths.at(i) / charWidth) < 1.0,
                 qPrintable(QStringLiteral("%1: %2").arg(cell).arg(width)));
    }
    QCOMPARE(text(QStringLiteral("L%1").arg(headerRow)), QString());

    // Data: exactly the visible rows, in table order.
    QList<int> shown;
    for (int row = 0; row < m_table->rowCount(); ++row)
        if (!tableView()->isRowHidden(row))
            shown.append(row);
    QCOMPARE(book.value(QStringLiteral("maxRow")).toInt(), headerRow + shown.size());
    const QLocale locale = QLocale::system();
    for (int i = 0; i < shown.size(); ++i) {
        const QSqlRecord record = m_table->getRecord(shown.at(i), false);
        const int row = headerRow + 1 + i;
        QCOMPARE(text(QStringLiteral("B%1").arg(row)),
                 record.value(QStringLiteral("c_name")).toString());
        QCOMPARE(text(QStringLiteral("A%1").arg(row)),
                 locale.toString(record.value(QStringLiteral("d_create")).toDateTime(),
                                 QLocale::ShortFormat));
        QCOMPARE(text(QStringLiteral("K%1").arg(row)),
                 record.value(QStringLiteral("b_reject")).toBool() ? QStringLiteral("Забракован")
                                                                   : QString());
        QCOMPARE(cells.value(QStringLiteral("A%1").arg(row))
                     .toObject()
                     .value(QStringLiteral("border"))
                     .toString(),
                 QStringLiteral("thin"));
    }
}

void TestList::productTree_selectsProductFilter()
{
    const qint64 version =
        m_fx->value(QStringLiteral("SELECT id_product_version FROM "
                                   "docs.t_process_exam WHERE id_product_version "
                                   "IS NOT NULL ORDER BY id LIMIT 1"))
            .toLongLong();
    const QString name =
        m_fx->value(QStringLiteral("SELECT inv.c_full_version_name(%1)").arg(version)).toString();
    QVERIFY(version && !name.isEmpty());

    bool recursiveShown = true;
    m_modal->expect([&](QWidget *modal) {
        auto *dialog = qobject_cast<ProductTreeDialog *>(modal);
        QVERIFY(dialog);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Изделия"));
        recursiveShown =
            dialog->findChild<QCheckBox *>(QStringLiteral("checkBoxRecursive"))->isVisible();
        auto *ok = dialog->findChild<QPushButton *>(QStringLiteral("buttonOk"));
        QVERIFY(!ok->isEnabled());
        QVERIFY(dialog->selectVersion(version));
        QVERIFY(ok->isEnabled());
        QCOMPARE(dialog->getCurrentVersion(), version);
        QCOMPARE(dialog->getCurrentVersionName(), name);
        ok->click();
    });
    m_view->findChild<QPushButton *>(QStringLiteral("pbProduct"))->click();
    QVERIFY(!recursiveShown);
    QCOMPARE(combo(QStringLiteral("cbProduct"))->currentText(), name);
    QCOMPARE(visibleRows(), dbIds(QStringLiteral("c_version = '%1'").arg(name)).size());
}

void TestList::productTree_recursiveListHasAnalogs()
{
    const qint64 version =
        m_fx->value(QStringLiteral("SELECT id_version FROM inv.tl_version_analog "
                                   "ORDER BY id LIMIT 1"))
            .toLongLong();
    QVERIFY2(version, "the demo data has analog versions");
    QList<qint64> expected = {version};
    {
        QSqlQuery query(m_fx->db().directConnection(QStringLiteral("check")));
        QVERIFY(query.exec(
            QStringLiteral("SELECT * FROM inv.n_version_recursive_analog(%1)").arg(version)));
        while (query.next())
            expected.append(query.value(0).toLongLong());
    }
    QVERIFY(expected.size() > 1);

    ProductTreeDialog dialog(nullptr, ProductTreeDialog::RecursiveMode);
    dialog.show();
    auto *recursive = dialog.findChild<QCheckBox *>(QStringLiteral("checkBoxRecursive"));
    QVERIFY(recursive->isVisible());
    QVERIFY(dialog.selectVersion(version));
    QCOMPARE(dialog.getCurrentVersionList(), QList<qint64>{version});
    recursive->setChecked(true);
    QCOMPARE(dialog.getCurrentVersionList(), expected);
    const QStringList names = dialog.getCurrentVersionListName();
    QCOMPARE(names.size(), expected.size());
    QCOMPARE(names.first(), dialog.getCurrentVersionName());
    QCOMPARE(
        dialog.getCurrentProductName(),
        m_fx->value(QStringLiteral("SELECT p.c_name FROM inv.t_product p JOIN "
                                   "inv.t_product_version v ON v.id_product = p.id WHERE v.id = %1")
                        .arg(version))
            .toString());

    // Every version shows "<name> (<part number>)" with the version icon,
    // products with the product or virtual-product icon.
    QTreeWidget *tree = dialog.findChild<QTreeWidget *>(QStringLiteral("trvProducts"));
    const QTreeWidgetItem *item = tree->currentItem();
    QVERIFY(item->text(0).endsWith(QLatin1Char(')')));
    QVERIFY(!item->icon(0).isNull());
    QVERIFY(item->parent() && !item->parent()->icon(0).isNull());
}

void TestList::task_createsTaskAndReportsIt()
{
    const qint64 id = dbIds(QStringLiteral("true")).value(0);
    m_view->setCurrentRowById(id);
    QVERIFY(action(QStringLiteral("acTask"))->isEnabled());
    const int tasks = m_fx->value(QStringLiteral("SELECT count(*) FROM task.t_scheduler")).toInt();

    m_boxText.clear();
    m_modal->expect([this](QWidget *modal) {
        QDialog *dialog = qobject_cast<QDialog *>(modal);
        QVERIFY(dialog);
        auto *executor = dialog->findChild<QComboBox *>(QStringLiteral("cbExecutor"));
        QVERIFY(executor && executor->count() > 0);
        executor->setCurrentIndex(0);
        QTextEdit *task = dialog->findChild<QTextEdit *>(QStringLiteral("teTask"));
        QVERIFY(task);
        task->setPlainText(QStringLiteral("Проверить партию"));
        answerNextBox(QMessageBox::Ok);
        dialog->findChild<QPushButton *>(QStringLiteral("buttonAccept"))->click();
    });
    action(QStringLiteral("acTask"))->trigger();
    const qint64 newTask =
        m_fx->value(QStringLiteral("SELECT max(id) FROM task.t_scheduler")).toLongLong();
    QCOMPARE(m_fx->value(QStringLiteral("SELECT count(*) FROM task.t_scheduler")).toInt(),
             tasks + 1);
    QCOMPARE(m_boxText, QStringLiteral("Задача|Задача №%1 успешно создана").arg(newTask));
}

void TestList::sort_byDateValueNotText()
{
    tableView()->sortByColumn(2, Qt::AscendingOrder);
    QDateTime previous;
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const QDateTime created = m_table->getField(QStringLiteral("d_create"), row).toDateTime();
        QVERIFY(!previous.isValid() || previous <= created);
        previous = created;
    }
    // The picture column sorts by the count, though it shows no text.
    tableView()->sortByColumn(1, Qt::DescendingOrder);
    QVERIFY(m_table->getField(QStringLiteral("n_pics"), 0).toInt() > 0);
    QCOMPARE(m_table->getField(QStringLiteral("n_pics"), m_table->rowCount() - 1).toInt(), 0);
    // The row identities survive: a defect is still found and decorated.
    const qint64 rejected = dbIds(QStringLiteral("b_reject")).value(0);
    QCOMPARE(m_table->getModel()->item(rowOf(rejected), 9)->background().color(), QColor(Qt::red));
    tableView()->sortByColumn(2, Qt::DescendingOrder);
}

void TestList::document_opensActOfCurrentDefect()
{
    const qint64 id = dbIds(QStringLiteral("true")).value(1);
    m_view->setCurrentRowById(id);
    QVERIFY(action(QStringLiteral("acDocument"))->isEnabled());
    action(QStringLiteral("acDocument"))->trigger();
    QDocCreator *creator = m_view->findChild<QDocCreator *>();
    QVERIFY(creator && creator->isVisible());
    const QString text =
        creator->findChild<QTextBrowser *>(QStringLiteral("tbDocument"))->toPlainText();
    const QString number = m_fx->value(QStringLiteral("SELECT c_name FROM docs.v_process_exam "
                                                      "WHERE id = %1")
                                           .arg(id))
                               .toString();
    QVERIFY2(text.contains(QStringLiteral("АКТ О БРАКЕ № ") + number), qPrintable(text));
    delete creator;
}

REJECTS_TEST_MAIN(TestList)
#include "tst_list.moc"
