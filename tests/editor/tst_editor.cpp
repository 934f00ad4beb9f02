#include "eventregistry.h"
#include "helpviewer.h"
#include "modalresponder.h"
#include "moduleloader.h"
#include "qdataeditor.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "rejects.h"
#include "rejectseditor.h"
#include "rejectsview.h"
#include "spelltextedit.h"
#include "testfixture.h"
#include "testmain.h"
#include "ui_rejectseditor.h"
#include "workplacewindow.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLibrary>
#include <QLineEdit>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QSqlQuery>
#include <QStandardItemModel>
#include <QTableView>
#include <QTextEdit>
#include <QToolBar>
#include <QVBoxLayout>
#include <QWindow>
#include <memory>

namespace {

QPushButton *button(QDataEditor &frame, QDialogButtonBox::StandardButton which)
{
    auto *box = frame.findChild<QDialogButtonBox *>(QStringLiteral("bButtons"));
    return box ? box->button(which) : nullptr;
}

QLabel *caption(QDataEditor &frame)
{
    return frame.findChild<QLabel *>(QStringLiteral("lbCaption"));
}

// A record editor as modules write them: it reports every change.
class RecordEditor : public QWidget
{
    Q_OBJECT
public:
    explicit RecordEditor(QWidget *parent = nullptr)
        : QWidget(parent)
        , name(new QLineEdit(this))
    {
        setWindowTitle(QStringLiteral("Дефект"));
        auto *layout = new QVBoxLayout(this);
        layout->addWidget(name);
        connect(name, SIGNAL(textEdited(QString)), this, SIGNAL(dataChanged()));
    }
    QLineEdit *name;

signals:
    void dataChanged();
};

} // namespace

class tst_Editor : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void dataEditor_buttons();
    void dataEditor_initEditor_hostsEditorUnderItsTitle();
    void dataEditor_changeThenApply_emitsOkAndResets();
    void dataEditor_doubleClickOnCaption_asksForPopup();
    void dataEditor_initModal_buttonsCloseTheDialog_data();
    void dataEditor_initModal_buttonsCloseTheDialog();

    void bounds_findsHostMainWindow_data();
    void bounds_findsHostMainWindow();
    void delayMs_keepsEventLoopRunning();

    // record helpers on the database
    void fillComboBox_rowsInModelOrder_data();
    void fillComboBox_rowsInModelOrder();
    void fillComboBox_rereadsTheTable();
    void fillComboBox_failingTable_keepsOnlyFirstEntry_data();
    void fillComboBox_failingTable_keepsOnlyFirstEntry();
    void fillComboBox_withoutComboTableOrField_changesNothing();
    void getValueById_table();
    void getValueById_dataSet();
    void getCurrentRecord_followsTheView();

    // the defect register in the host window (these run last: the module
    // object lives on in the host's window until the end)
    void host_showsModuleWithFindActionFirst();
    void host_defectWholeLife();
    void editor_movingWithUnsavedChanges_asks_data();
    void editor_movingWithUnsavedChanges_asks();
    void editor_cancel_rollsBackEverything();
    void editor_decisionButtons_followRights_data();
    void editor_decisionButtons_followRights();
    void editor_savingTwice_addsNoDuplicateLink();
    void editor_concurrentSave_refusedNamingTheOther();
    void editor_saveWhileServerGone_keepsEditsForTheNextSave();
    void editor_eventOfAnotherModule_opensTheDefect();
    void host_f1_opensGuideAtContext_data();
    void host_f1_opensGuideAtContext();

private:
    // The host's window with the module loaded from the library directory
    // through its entry points, as rejects-host loads it.
    void startHost();
    QDataTable *defects() const;
    QTableView *list() const;
    // Makes a defect current in the list and shows the editor panel.
    void selectDefect(qint64 id);
    // Presses Apply in the editor frame.
    void apply();
    bool applyEnabled() const;
    QVariant dbValue(const QString &sql) const;

    std::unique_ptr<WorkplaceWindow> host;
    Rejects *module = nullptr;
    RejectsEditor *editor = nullptr;

    QDataTable *faultTypes(QObject *parent);
    // (id, c_name) of qms.t_fault_type in the order of its select.
    QList<QPair<qlonglong, QString>> storedFaultTypes();

    std::unique_ptr<TestFixture> fx;
};

void tst_Editor::initTestCase()
{
    START_FIXTURE(fx, QStringLiteral("editor"));
}

void tst_Editor::cleanupTestCase()
{
    host.reset();
    fx.reset();
}

QDataTable *tst_Editor::faultTypes(QObject *parent)
{
    auto *table = new QDataTable(QStringLiteral("t_fault_type"), fx->connection(), parent);
    table->setScripts(QStringLiteral("FAULT_TYPE_SELECT"), QString(), QString(), QString(), false);
    return table;
}

QList<QPair<qlonglong, QString>> tst_Editor::storedFaultTypes()
{
    QList<QPair<qlonglong, QString>> rows;
    QSqlQuery query(fx->db().directConnection());
    if (!query.exec(QStringLiteral("SELECT id, c_name FROM qms.t_fault_type ORDER BY c_name")))
        return rows;
    while (query.next())
        rows.append({query.value(0).toLongLong(), query.value(1).toString()});
    return rows;
}

void tst_Editor::fillComboBox_rowsInModelOrder_data()
{
    QTest::addColumn<QString>("firstText");
    QTest::addColumn<QVariant>("firstData");
    QTest::newRow("without first entry") << QString() << QVariant();
    QTest::newRow("with first entry") << QStringLiteral("Все типы") << QVariant(qlonglong(0));
}

void tst_Editor::fillComboBox_rowsInModelOrder()
{
    QFETCH(QString, firstText);
    QFETCH(QVariant, firstData);
    QObject owner;
    QDataTable *table = faultTypes(&owner);
    const auto expected = storedFaultTypes();
    QVERIFY(expected.count() >= 2);

    QComboBox combo;
    combo.addItem(QStringLiteral("старый пункт"));
    fillComboBox(&combo, table, QStringLiteral("c_name"), QStringLiteral("id"), firstText,
                 firstData);
    const int offset = firstText.isEmpty() ? 0 : 1;
    QCOMPARE(combo.count(), expected.count() + offset);
    if (offset) {
        QCOMPARE(combo.itemText(0), firstText);
        QCOMPARE(combo.itemData(0), firstData);
    }
    for (int i = 0; i < expected.count(); ++i) {
        QCOMPARE(combo.itemText(i + offset), expected.at(i).second);
        QCOMPARE(combo.itemData(i + offset).toLongLong(), expected.at(i).first);
    }
}

void tst_Editor::fillComboBox_rereadsTheTable()
{
    QObject owner;
    QDataTable *table = faultTypes(&owner);
    QComboBox combo;
    fillComboBox(&combo, table, QStringLiteral("c_name"), QStringLiteral("id"));
    const int before = combo.count();
    QVERIFY(
        fx->db().exec(QStringLiteral("INSERT INTO qms.t_fault_type (c_name, c_sys_name, c_prefix) "
                                     "VALUES ('ААА Новый тип', 'NEW_TYPE', 'N')")));
    fillComboBox(&combo, table, QStringLiteral("c_name"), QStringLiteral("id"));
    QVERIFY(fx->db().exec(
        QStringLiteral("DELETE FROM qms.t_fault_type WHERE c_sys_name = 'NEW_TYPE'")));
    QCOMPARE(combo.count(), before + 1);
    QCOMPARE(combo.itemText(0), QStringLiteral("ААА Новый тип"));
}

void tst_Editor::fillComboBox_failingTable_keepsOnlyFirstEntry_data()
{
    QTest::addColumn<QString>("firstText");
    QTest::addColumn<int>("count");
    QTest::newRow("with first entry") << QStringLiteral("Не выбрано") << 1;
    QTest::newRow("without first entry") << QString() << 0;
}

void tst_Editor::fillComboBox_failingTable_keepsOnlyFirstEntry()
{
    QFETCH(QString, firstText);
    QFETCH(int, count);
    QDataTable broken(QStringLiteral("t_broken"), fx->connection());
    broken.setScripts(QStringLiteral("SELECT id, c_name FROM qms.t_no_such_table"), QString(),
                      QString(), QString(), true);
    QComboBox combo;
    combo.addItems({QStringLiteral("a"), QStringLiteral("b")});
    fillComboBox(&combo, &broken, QStringLiteral("c_name"), QStringLiteral("id"), firstText, -1);
    QVERIFY(broken.getTableState() != 0);
    QCOMPARE(combo.count(), count);
    if (count)
        QCOMPARE(combo.itemData(0), QVariant(-1));
}

void tst_Editor::fillComboBox_withoutComboTableOrField_changesNothing()
{
    QObject owner;
    QDataTable *table = faultTypes(&owner);
    QComboBox combo;
    combo.addItem(QStringLiteral("пункт"));
    fillComboBox(&combo, nullptr, QStringLiteral("c_name"), QStringLiteral("id"),
                 QStringLiteral("x"));
    fillComboBox(&combo, table, QString(), QStringLiteral("id"), QStringLiteral("x"));
    fillComboBox(nullptr, table, QStringLiteral("c_name"), QStringLiteral("id"));
    QCOMPARE(combo.count(), 1);
    QCOMPARE(combo.itemText(0), QStringLiteral("пункт"));
    QCOMPARE(table->rowCount(), 0); // never read
}

void tst_Editor::getValueById_table()
{
    QObject owner;
    QDataTable *table = faultTypes(&owner);
    const auto expected = storedFaultTypes();
    QVERIFY(!expected.isEmpty());
    const auto last = expected.last();

    QCOMPARE(getValueById(table, last.first, QStringLiteral("c_name")).toString(), last.second);
    QCOMPARE(getValueById(table, expected.first().first, QStringLiteral("id")).toLongLong(),
             expected.first().first);
    QVERIFY(!getValueById(table, -777, QStringLiteral("c_name")).isValid());
    QVERIFY(!getValueById(table, last.first, QStringLiteral("c_no_such_field")).isValid());
    QVERIFY(!getValueById(static_cast<QDataTable *>(nullptr), last.first, QStringLiteral("c_name"))
                 .isValid());

    // Read again on every call: a renamed type is seen at once.
    QVERIFY(fx->db().exec(QStringLiteral("UPDATE qms.t_fault_type SET c_name = c_name || ' (изм.)' "
                                         "WHERE id = %1")
                              .arg(last.first)));
    const QString renamed = getValueById(table, last.first, QStringLiteral("c_name")).toString();
    QVERIFY(fx->db().exec(QStringLiteral("UPDATE qms.t_fault_type SET c_name = '%1' WHERE id = %2")
                              .arg(last.second)
                              .arg(last.first)));
    QCOMPARE(renamed, last.second + QStringLiteral(" (изм.)"));
}

void tst_Editor::getValueById_dataSet()
{
    QDataSet set;
    QDataTable *table = faultTypes(&set);
    set.addTable(table);
    const auto expected = storedFaultTypes();
    QVERIFY(!expected.isEmpty());

    QCOMPARE(getValueById(&set, QStringLiteral("t_fault_type"), expected.first().first,
                          QStringLiteral("c_name"))
                 .toString(),
             expected.first().second);
    QVERIFY(!getValueById(&set, QStringLiteral("t_fault_type"), -1, QStringLiteral("c_name"))
                 .isValid());
    QVERIFY(!getValueById(static_cast<QDataSet *>(nullptr), QStringLiteral("t_fault_type"),
                          expected.first().first, QStringLiteral("c_name"))
                 .isValid());
}

void tst_Editor::getCurrentRecord_followsTheView()
{
    QVERIFY(getCurrentRecord(nullptr).isEmpty());

    QObject owner;
    QDataTable *table = faultTypes(&owner);
    QTableView view;
    table->setView(&view);
    QVERIFY(table->open(false, false));
    QVERIFY(table->rowCount() >= 2);
    view.show();
    view.setCurrentIndex(table->getModel()->index(1, 0));

    const QSqlRecord record = getCurrentRecord(table);
    QCOMPARE(record.value(QStringLiteral("id")), table->getRecord(1).value(QStringLiteral("id")));
    QCOMPARE(record.value(QStringLiteral("c_name")), storedFaultTypes().at(1).second);
}

void tst_Editor::dataEditor_buttons()
{
    QDataEditor frame;
    QPushButton *ok = button(frame, QDialogButtonBox::Ok);
    QPushButton *cancel = button(frame, QDialogButtonBox::Cancel);
    // Return in the hosted editor must not apply the record.
    QVERIFY(!ok->isDefault());
    QVERIFY(!ok->autoDefault());
    QVERIFY(!cancel->isDefault());
    QVERIFY(!cancel->autoDefault());
}

void tst_Editor::dataEditor_initEditor_hostsEditorUnderItsTitle()
{
    QDataEditor frame;
    auto *editor = new RecordEditor;
    frame.initEditor(editor);
    QCOMPARE(caption(frame)->text(), QStringLiteral("Дефект"));
    QCOMPARE(frame.editor(), static_cast<QWidget *>(editor));
    QVERIFY(frame.isAncestorOf(editor));
    QVERIFY(frame.findChild<QLayout *>(QStringLiteral("editorLayout"))->indexOf(editor) >= 0);

    frame.initEditor(nullptr); // nothing to host: nothing breaks
    QVERIFY(!frame.editor());
}

void tst_Editor::dataEditor_changeThenApply_emitsOkAndResets()
{
    QDataEditor frame;
    auto *editor = new RecordEditor;
    frame.initEditor(editor);
    connect(editor, SIGNAL(dataChanged()), &frame, SLOT(OnChange()));
    frame.show();
    QSignalSpy ok(&frame, SIGNAL(ok()));
    QSignalSpy cancel(&frame, SIGNAL(cancel()));
    QPushButton *apply = button(frame, QDialogButtonBox::Ok);

    frame.onReset();
    QVERIFY(!apply->isEnabled());
    QTest::keyClicks(editor->name, QStringLiteral("crack"));
    QVERIFY(apply->isEnabled());

    QTest::mouseClick(apply, Qt::LeftButton);
    QCOMPARE(ok.count(), 1);
    QCOMPARE(cancel.count(), 0);
    QVERIFY(!apply->isEnabled());

    // Disabled Apply cannot be pressed again until the next change.
    QTest::mouseClick(apply, Qt::LeftButton);
    QCOMPARE(ok.count(), 1);
    frame.OnChange();
    QVERIFY(apply->isEnabled());

    // Cancel tells the module and resets the frame.
    QTest::mouseClick(button(frame, QDialogButtonBox::Cancel), Qt::LeftButton);
    QCOMPARE(cancel.count(), 1);
    QCOMPARE(ok.count(), 1);
    QVERIFY(!apply->isEnabled());
}

void tst_Editor::dataEditor_doubleClickOnCaption_asksForPopup()
{
    QDataEditor frame;
    frame.initEditor(new RecordEditor);
    frame.show();
    QSignalSpy popup(&frame, SIGNAL(popup(QWidget *)));
    QTest::mouseClick(caption(frame), Qt::LeftButton);
    QCOMPARE(popup.count(), 0);
    QTest::mouseDClick(caption(frame), Qt::LeftButton);
    QCOMPARE(popup.count(), 1);
    QCOMPARE(qvariant_cast<QWidget *>(popup.at(0).at(0)), static_cast<QWidget *>(&frame));
}

void tst_Editor::dataEditor_initModal_buttonsCloseTheDialog_data()
{
    QTest::addColumn<int>("which");
    QTest::addColumn<int>("result");
    QTest::newRow("apply") << int(QDialogButtonBox::Ok) << int(QDialog::Accepted);
    QTest::newRow("cancel") << int(QDialogButtonBox::Cancel) << int(QDialog::Rejected);
}

void tst_Editor::dataEditor_initModal_buttonsCloseTheDialog()
{
    QFETCH(int, which);
    QFETCH(int, result);
    QDialog dialog;
    auto *frame = new QDataEditor(&dialog);
    (new QVBoxLayout(&dialog))->addWidget(frame);
    frame->initModal(&dialog, new RecordEditor);
    frame->OnChange();
    QSignalSpy ok(frame, SIGNAL(ok()));
    QSignalSpy accepted(&dialog, SIGNAL(accepted()));
    QSignalSpy rejected(&dialog, SIGNAL(rejected()));

    QTimer::singleShot(0, frame, [frame, which] {
        button(*frame, QDialogButtonBox::StandardButton(which))->click();
    });
    QCOMPARE(dialog.exec(), result);
    QCOMPARE(accepted.count(), result == QDialog::Accepted ? 1 : 0);
    QCOMPARE(rejected.count(), result == QDialog::Rejected ? 1 : 0);
    QCOMPARE(ok.count(), result == QDialog::Accepted ? 1 : 0);
}

void tst_Editor::bounds_findsHostMainWindow_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("found");
    QTest::newRow("workplace") << QStringLiteral("WorkplaceWindow") << true;
    QTest::newRow("kova") << QStringLiteral("Kova") << true;
    QTest::newRow("other window") << QStringLiteral("SomeDialog") << false;
}

void tst_Editor::bounds_findsHostMainWindow()
{
    QFETCH(QString, name);
    QFETCH(bool, found);
    QVERIFY(bounds().isNull());

    QWidget other;
    other.setObjectName(QStringLiteral("Other"));
    other.setGeometry(10, 10, 100, 100);
    other.show();
    QWidget main;
    main.setObjectName(name);
    main.setGeometry(40, 60, 640, 480);
    main.show();
    QVERIFY(QTest::qWaitForWindowExposed(&main));
    if (found)
        QCOMPARE(bounds(), main.windowHandle()->geometry());
    else
        QVERIFY(bounds().isNull());
}

void tst_Editor::delayMs_keepsEventLoopRunning()
{
    int fired = 0;
    QTimer::singleShot(10, [&fired] { ++fired; });
    QElapsedTimer clock;
    clock.start();
    delayMs(80);
    QVERIFY(clock.elapsed() >= 70);
    QCOMPARE(fired, 1);
}

// ------------------------------------------------ the register in the host

namespace {

// Writes a comment (or a decision) into the open comment dialog and accepts it.
ModalResponder::Answer writeComment(const QString &text)
{
    return [text](QWidget *modal) {
        if (auto *edit = modal->findChild<QTextEdit *>(QStringLiteral("teComent")))
            edit->setPlainText(text);
        if (auto *dialog = qobject_cast<QDialog *>(modal))
            dialog->accept();
    };
}

// Chooses the first listed code in the fault code chooser.
ModalResponder::Answer chooseFirstCode()
{
    return [](QWidget *modal) {
        auto *codes = modal->findChild<QTableView *>(QStringLiteral("tvCode"));
        for (int row = 0; codes && row < codes->model()->rowCount(); ++row) {
            if (!codes->isRowHidden(row)) {
                codes->setCurrentIndex(codes->model()->index(row, 1));
                break;
            }
        }
        if (auto *dialog = qobject_cast<QDialog *>(modal))
            dialog->accept();
    };
}

// Chooses the first production plan the plan chooser lists for some unit and
// product.
ModalResponder::Answer chooseFirstPlan()
{
    return [](QWidget *modal) {
        auto *units = modal->findChild<QComboBox *>(QStringLiteral("cbUnit"));
        auto *products = modal->findChild<QComboBox *>(QStringLiteral("cbProduction"));
        auto *plans = modal->findChild<QTableView *>(QStringLiteral("tvPlan"));
        for (int unit = 0; unit < units->count() && plans->model()->rowCount() == 0; ++unit) {
            units->setCurrentIndex(unit);
            for (int product = 0; product < products->count() && plans->model()->rowCount() == 0;
                 ++product)
                products->setCurrentIndex(product);
        }
        plans->setCurrentIndex(plans->model()->index(0, 0));
        if (auto *dialog = qobject_cast<QDialog *>(modal))
            dialog->accept();
    };
}

QWidget *editFrame(Rejects *module)
{
    return module->findChild<QWidget *>(QStringLiteral("editFrame"));
}

QPushButton *frameButton(Rejects *module, QDialogButtonBox::StandardButton which)
{
    return module->dataEditor()
        ->findChild<QDialogButtonBox *>(QStringLiteral("bButtons"))
        ->button(which);
}

} // namespace

void tst_Editor::startHost()
{
    if (host)
        return;
    publishEventRegistry();
    host.reset(new WorkplaceWindow);
    ModuleLoader loader(QStringLiteral(LIB_DIR));
    panelData panel;
    panel.name = panel.library = QStringLiteral("rejects");
    panel.caption = QStringLiteral("Учет брака");
    QCOMPARE(loader.load({panel}, host->moduleArea()), 1);
    host->addModule(loader.modules().first());
    module = qobject_cast<Rejects *>(loader.modules().first().userInterface);
    QVERIFY(module);
    editor = module->editor();
    host->resize(1300, 900);
    host->show();
    QVERIFY(QTest::qWaitForWindowActive(host.get()));
    // Decided defects stay in the list.
    module->view()->findChild<QCheckBox *>(QStringLiteral("chkHideReady"))->setChecked(false);
}

QDataTable *tst_Editor::defects() const
{
    return module->document()->getTable(QStringLiteral("t_process_exam"));
}

QTableView *tst_Editor::list() const
{
    return module->view()->findChild<QTableView *>(QStringLiteral("tvRejects"));
}

void tst_Editor::selectDefect(qint64 id)
{
    const int row = defects()->locate(QStringLiteral("id"), id);
    QVERIFY(row >= 0);
    list()->setCurrentIndex(list()->model()->index(row, 3));
    module->showEditor();
}

void tst_Editor::apply()
{
    frameButton(module, QDialogButtonBox::Ok)->click();
}

bool tst_Editor::applyEnabled() const
{
    return frameButton(module, QDialogButtonBox::Ok)->isEnabled();
}

QVariant tst_Editor::dbValue(const QString &sql) const
{
    return fx->value(sql);
}

void tst_Editor::host_showsModuleWithFindActionFirst()
{
    startHost();
    QVERIFY(module);
    QCOMPARE(getInterface(nullptr), static_cast<QUserInterface *>(module));
    const QList<QAction *> actions = *getToolBarActions();
    QCOMPARE(actions.size(), 1 + RejectsView::toolBarActions().size());
    QCOMPARE(actions.first()->objectName(), QStringLiteral("actionFind"));
    QCOMPARE(actions.mid(1), RejectsView::toolBarActions());
    QCOMPARE(host->findChild<QToolBar *>(QStringLiteral("toolBar"))->actions(), actions);
    QCOMPARE(getEventHandler(QStringLiteral("t_process_exam")).owner, QStringLiteral("rejects"));
    // The register opens on its first defect with the editor below.
    QCOMPARE(defects()->rowCount(),
             dbValue(QStringLiteral("SELECT count(*) FROM docs.t_process_exam")).toInt());
    QVERIFY(editFrame(module)->isVisible());
    QVERIFY(editor->record().value(QStringLiteral("id")).toLongLong() > 0);
    QVERIFY(!applyEnabled());
}

void tst_Editor::host_defectWholeLife()
{
    startHost();
    QVERIFY(module);
    ModalResponder modal;
    module->view()->findChild<QAction *>(QStringLiteral("acNew"))->trigger();
    QVERIFY(editFrame(module)->isVisible());
    QVERIFY(editor->record().value(QStringLiteral("id")).toLongLong() < 0);

    // A new defect: stage, fault code and a description of 100 000 characters
    // with tabs and emoji.
    editor->ui->cbStage->setCurrentIndex(1);
    const QString stage = editor->ui->cbStage->currentData().toString();
    modal.expect(chooseFirstCode());
    editor->ui->toolButton->click();
    const qint64 code = editor->ui->edFaultCode->property("id_fault").toLongLong();
    QVERIFY(code > 0);
    modal.expect(chooseFirstPlan());
    editor->ui->btPlan->click();
    const QString plan = editor->ui->edPlan->text();
    QVERIFY(!plan.isEmpty());
    QString description;
    while (description.size() < 100000)
        description += QStringLiteral("Трещина\tкорпуса 🔧 ");
    editor->ui->teDescr->setPlainText(description);
    QVERIFY(qobject_cast<SpellTextEdit *>(editor->ui->teDescr));
    QVERIFY(qobject_cast<SpellTextEdit *>(editor->ui->teSolution));
    QVERIFY(applyEnabled());
    apply();
    const qint64 id = editor->record().value(QStringLiteral("id")).toLongLong();
    QVERIFY2(id > 0, "the new defect was not saved");
    QVERIFY(!applyEnabled());
    const QString where = QStringLiteral(" FROM docs.t_process_exam WHERE id = %1").arg(id);
    QCOMPARE(dbValue(QStringLiteral("SELECT (SELECT c_sys_name FROM qms.t_exam_stage WHERE id = "
                                    "id_exam_stage) || '|' || id_fault") +
                     where)
                 .toString(),
             stage + QLatin1Char('|') + QString::number(code));
    QCOMPARE(dbValue(QStringLiteral("SELECT c_description") + where).toString(), description);
    QCOMPARE(dbValue(QStringLiteral("SELECT (SELECT d.c_name FROM docs.t_plan_order po JOIN "
                                    "docs.t_doc d ON d.id = po.id_doc WHERE po.id = "
                                    "id_plan_order)") +
                     where)
                 .toString(),
             plan);

    // A comment, then the decision that needs preventive action.
    const QString discussion =
        QStringLiteral("SELECT string_agg(c_text, '|' ORDER BY id) FROM docs.t_process_exam_disc "
                       "WHERE id_process_exam = %1")
            .arg(id);
    modal.expect(writeComment(QStringLiteral("Проверить партию")));
    editor->ui->btAddComent->click();
    // With a picture of 0 bytes, as the picture dialog hands one over.
    QDataTable *pictures = module->document()->getTable(QStringLiteral("t_process_exam_pics"));
    pictures->close();
    pictures->setSelectParam(QStringLiteral("c_table"), QStringLiteral("t_process_exam"));
    pictures->setSelectParam(QStringLiteral("n_key"), id);
    pictures->open();
    QSqlRecord picture = pictures->getRecord(pictures->newRow());
    QByteArray nothing;
    editor->fillPicRow(&picture, &nothing, QStringLiteral("empty.png"));
    pictures->setRow(pictures->lastRow(), picture);
    apply();
    QCOMPARE(dbValue(discussion).toString(), QStringLiteral("Проверить партию"));
    QCOMPARE(dbValue(QStringLiteral("SELECT c_file || '|' || n_size FROM lrg.v_file_owner WHERE "
                                    "c_table = 't_process_exam' AND n_key = %1")
                         .arg(id))
                 .toString(),
             QStringLiteral("empty.png|0"));
    modal.expect(writeComment(QStringLiteral("Заменить корпус")));
    modal.expect(ModalResponder::pressButton(QMessageBox::Yes));
    editor->ui->btDecide->click();
    QCOMPARE(editor->ui->teSolution->toPlainText(), QStringLiteral("Заменить корпус"));
    apply();
    QCOMPARE(
        dbValue(discussion).toString(),
        QStringLiteral("Проверить партию|Обсуждение закрыто. Принято решение:Заменить корпус"));
    QCOMPARE(dbValue(QStringLiteral("SELECT c_solution || '|' || b_reaction") + where).toString(),
             QStringLiteral("Заменить корпус|true"));
    const QStandardItemModel *rows = defects()->getModel();
    QStandardItem *cell = rows->item(defects()->locate(QStringLiteral("id"), id), 9);
    QVERIFY(cell->font().bold() && cell->font().italic() && cell->font().underline());
    QCOMPARE(cell->background().color(), QColor(Qt::gray));
    QVERIFY(!editor->ui->btDecide->isEnabled() && editor->ui->buttonRevert->isEnabled());

    // Taking the decision back opens the defect again.
    editor->ui->buttonRevert->click();
    apply();
    QCOMPARE(dbValue(QStringLiteral("SELECT c_solution || '|' || b_reject") + where).toString(),
             QStringLiteral("|false"));
    cell = rows->item(defects()->locate(QStringLiteral("id"), id), 9);
    QVERIFY(cell->background().style() == Qt::NoBrush);
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(modal.unexpected(), 0);
}

void tst_Editor::editor_movingWithUnsavedChanges_asks_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("moved");
    QTest::newRow("no keeps the old defect") << int(QMessageBox::No) << false;
    QTest::newRow("yes opens the new one") << int(QMessageBox::Yes) << true;
}

void tst_Editor::editor_movingWithUnsavedChanges_asks()
{
    QFETCH(int, answer);
    QFETCH(bool, moved);
    startHost();
    QVERIFY(module);
    const QList<qint64> ids = {defects()->getField(QStringLiteral("id"), 0).toLongLong(),
                               defects()->getField(QStringLiteral("id"), 1).toLongLong()};
    selectDefect(ids.at(0));
    QCOMPARE(editor->record().value(QStringLiteral("id")).toLongLong(), ids.at(0));
    editor->ui->teDescr->setPlainText(QStringLiteral("правка"));
    QVERIFY(applyEnabled());

    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(answer));
    selectDefect(ids.at(1));
    QCOMPARE(modal.messages(),
             QStringList(QStringLiteral("Внимание|Открытие нового дефекта может привести к потере "
                                        "несохраненных данных. Продолжить?")));
    QCOMPARE(list()->currentIndex().row(), defects()->locate(QStringLiteral("id"), ids.at(1)));
    QCOMPARE(editor->record().value(QStringLiteral("id")).toLongLong(), ids.at(moved ? 1 : 0));
    QCOMPARE(editor->ui->teDescr->toPlainText() == QStringLiteral("правка"), !moved);
    QCOMPARE(applyEnabled(), !moved);
    frameButton(module, QDialogButtonBox::Cancel)->click();
}

void tst_Editor::editor_cancel_rollsBackEverything()
{
    startHost();
    QVERIFY(module);
    const qint64 id = defects()->getField(QStringLiteral("id"), 0).toLongLong();
    selectDefect(id);
    const QString comments = QStringLiteral("SELECT count(*) FROM docs.t_process_exam_disc WHERE "
                                            "id_process_exam = %1")
                                 .arg(id);
    const int stored = dbValue(comments).toInt();
    ModalResponder modal;
    modal.expect(writeComment(QStringLiteral("не сохранять")));
    editor->ui->btAddComent->click();
    editor->ui->teDescr->setPlainText(QStringLiteral("не сохранять"));
    editor->ui->cbStage->setCurrentIndex(editor->ui->cbStage->currentIndex() == 0 ? 1 : 0);
    QVERIFY(module->document()->isModified());

    frameButton(module, QDialogButtonBox::Cancel)->click();
    QVERIFY(!module->document()->isModified());
    QVERIFY(!editFrame(module)->isVisible());
    QCOMPARE(dbValue(comments).toInt(), stored);
    QVERIFY(defects()->getField(QStringLiteral("c_description"),
                                defects()->locate(QStringLiteral("id"), id)) !=
            QStringLiteral("не сохранять"));
    selectDefect(id);
    QCOMPARE(editor->ui->tvComent->model()->rowCount(), stored);
}

void tst_Editor::editor_decisionButtons_followRights_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<bool>("bigDaddy");
    QTest::addColumn<bool>("decides");
    QTest::newRow("REJECT_SOLUTION") << QStringLiteral("kuznetsova") << false << true;
    QTest::newRow("no right") << QStringLiteral("guest") << false << false;
    QTest::newRow("no right, superuser") << QStringLiteral("guest") << true << true;
}

void tst_Editor::editor_decisionButtons_followRights()
{
    QFETCH(QString, login);
    QFETCH(bool, bigDaddy);
    QFETCH(bool, decides);
    QVERIFY(fx->connection()->login(login, login));
    qApp->setProperty("bBigDaddy", bigDaddy);
    RejectsEditor other(nullptr); // the rights alone, on no data set
    QVERIFY(fx->connection()->login(QStringLiteral("kuznetsova"), QStringLiteral("kuznetsova")));
    qApp->setProperty("bBigDaddy", false);
    QCOMPARE(!other.ui->btDecide->isHidden(), decides);
    QCOMPARE(!other.ui->buttonRevert->isHidden(), decides);
    QCOMPARE(other.ui->teSolution->isReadOnly(), !decides);
}

void tst_Editor::editor_savingTwice_addsNoDuplicateLink()
{
    startHost();
    QVERIFY(module);
    const qint64 id = dbValue(QStringLiteral("SELECT min(id) FROM docs.t_process_exam pe WHERE "
                                             "NOT EXISTS (SELECT 1 FROM qms.tl_reject_notification "
                                             "n WHERE n.id_process_exam = pe.id)"))
                          .toLongLong();
    selectDefect(id);
    editor->ui->tabWidget->setCurrentIndex(1);
    QTableView *users = editor->ui->tvNotification;
    QVERIFY(users->model()->rowCount() > 0);
    const QString links = QStringLiteral("SELECT count(*) FROM qms.tl_reject_notification WHERE "
                                         "id_process_exam = %1")
                              .arg(id);
    QTest::mouseClick(users->viewport(), Qt::LeftButton, {},
                      users->visualRect(users->model()->index(0, 0)).center());
    QVERIFY(applyEnabled());
    apply();
    QCOMPARE(dbValue(links).toInt(), 1);
    editor->ui->teDescr->setPlainText(editor->ui->teDescr->toPlainText() + QStringLiteral("."));
    apply();
    QCOMPARE(dbValue(links).toInt(), 1);
    QVERIFY(!module->document()->isModified());

    editor->ui->tabWidget->setCurrentIndex(1);
    QTest::mouseClick(users->viewport(), Qt::LeftButton, {},
                      users->visualRect(users->model()->index(0, 0)).center());
    apply();
    QCOMPARE(dbValue(links).toInt(), 0);
}

void tst_Editor::editor_concurrentSave_refusedNamingTheOther()
{
    startHost();
    QVERIFY(module);
    const qint64 id = defects()->getField(QStringLiteral("id"), 0).toLongLong();
    selectDefect(id);
    editor->ui->teDescr->setPlainText(QStringLiteral("правка второго"));
    // Meanwhile Петров saves the same defect.
    QVERIFY(fx->db().exec(QStringLiteral("UPDATE docs.t_process_exam SET c_description = 'правка "
                                         "первого', id_changer = (SELECT id FROM sys.t_user WHERE "
                                         "c_login = 'petrov') WHERE id = %1")
                              .arg(id)));
    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    apply();
    QCOMPARE(modal.pending(), 0);
    QVERIFY2(modal.messages().value(0).contains(QStringLiteral("Петров И.В.")),
             qPrintable(modal.messages().join(QLatin1Char('\n'))));
    QCOMPARE(editor->ui->teDescr->toPlainText(), QStringLiteral("правка второго"));
    QVERIFY(applyEnabled());
    QCOMPARE(
        dbValue(
            QStringLiteral("SELECT c_description FROM docs.t_process_exam WHERE id = %1").arg(id))
            .toString(),
        QStringLiteral("правка первого"));
    frameButton(module, QDialogButtonBox::Cancel)->click();
}

void tst_Editor::editor_saveWhileServerGone_keepsEditsForTheNextSave()
{
    const QString restart = qEnvironmentVariable("REJECTS_PG_RESTART");
    if (restart.isEmpty())
        QSKIP("scripts/test gives the command that restarts the test cluster");
    startHost();
    QVERIFY(module);
    const qint64 id = defects()->getField(QStringLiteral("id"), 1).toLongLong();
    selectDefect(id);
    const QString text = QStringLiteral("записано после перезапуска сервера");
    editor->ui->teDescr->setPlainText(text);
    QSignalSpy restored(appConnection(), &QSqlConnection::connectionRestored);
    QCOMPARE(QProcess::execute(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), restart}), 0);

    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    apply();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(editor->ui->teDescr->toPlainText(), text);
    QVERIFY(applyEnabled());

    QTRY_VERIFY_WITH_TIMEOUT(restored.count() >= 1, 20000);
    apply();
    QVERIFY2(modal.messages().size() == 1, qPrintable(modal.messages().join(QLatin1Char('\n'))));
    QVERIFY(!applyEnabled());
    const QString stored =
        QStringLiteral("SELECT c_description FROM docs.t_process_exam WHERE id = %1");
    QCOMPARE(dbValue(stored.arg(id)).toString(), text);
}

void tst_Editor::editor_eventOfAnotherModule_opensTheDefect()
{
    startHost();
    QVERIFY(module);
    module->closeEditor();
    const int row = defects()->rowCount() - 1;
    const qint64 id = defects()->getField(QStringLiteral("id"), row).toLongLong();
    const eventHandlerInfo handler = getEventHandler(QStringLiteral(" T_Process_Exam"));
    QVERIFY(handler.func);
    handler.func(QStringLiteral("t_process_order"), id); // another table: nothing
    QVERIFY(!editFrame(module)->isVisible());
    handler.func(QStringLiteral("t_process_exam"), id);
    QVERIFY(editFrame(module)->isVisible());
    QCOMPARE(editor->record().value(QStringLiteral("id")).toLongLong(), id);
}

void tst_Editor::host_f1_opensGuideAtContext_data()
{
    QTest::addColumn<int>("tab");
    QTest::addColumn<QString>("context");
    QTest::newRow("list") << -1 << QStringLiteral("rejects#tvRejects");
    QTest::newRow("discussion") << 2 << QStringLiteral("rejects#rejectEditor#tabDiscus");
}

void tst_Editor::host_f1_opensGuideAtContext()
{
    QFETCH(int, tab);
    QFETCH(QString, context);
    startHost();
    QVERIFY(module);
    QWidget *focus = list();
    if (tab >= 0) {
        module->showEditor();
        editor->ui->tabWidget->setCurrentIndex(tab);
        focus = editor->ui->tabWidget;
    }
    QApplication::setActiveWindow(host.get());
    QVERIFY(QTest::qWaitForWindowActive(host.get()));
    focus->setFocus();
    QTRY_VERIFY(QApplication::focusWidget() &&
                (QApplication::focusWidget() == list()) == (tab < 0));
    QCOMPARE(module->helpContext(), context);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_F1);
    auto *viewer = host->findChild<HelpViewer *>();
    QVERIFY(viewer && viewer->isVisible());
    QCOMPARE(viewer->source().fragment(), context.section(QLatin1Char('#'), -1));
    viewer->close();

    // Every anchor the module names lands on a section of its guide.
    QFile guide(QStringLiteral(":/help/rejects.html"));
    QVERIFY(guide.open(QIODevice::ReadOnly));
    const QString html = QString::fromUtf8(guide.readAll());
    QStringList anchors = {QStringLiteral("tvRejects"), QStringLiteral("rejectEditor")};
    module->showEditor();
    editor->ui->tabWidget->setFocus();
    for (int page = 0; page < editor->ui->tabWidget->count(); ++page) {
        editor->ui->tabWidget->setCurrentIndex(page);
        anchors << module->helpContext().section(QLatin1Char('#'), 2);
    }
    for (const QString &anchor : anchors)
        QVERIFY2(!anchor.isEmpty() && html.contains(QStringLiteral("name=\"%1\"").arg(anchor)),
                 qPrintable(anchor));
}

REJECTS_TEST_MAIN(tst_Editor)
#include "tst_editor.moc"
