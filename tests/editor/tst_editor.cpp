// The record-editor frame, the record helpers and the defect register in the
// host's own main window against the demo database.

#include "eventregistry.h"
#include "helpviewer.h"
#include "modalresponder.h"
#include "qdataeditor.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "rejects.h"
#include "rejectseditor.h"
#include "rejectsview.h"
#include "testfixture.h"
#include "testmain.h"
#include "ui_rejectseditor.h"
#include "workplacewindow.h"

#include <QtWidgets>

namespace {

QPushButton *button(QWidget *frame, QDialogButtonBox::StandardButton which)
{
    return frame->findChild<QDialogButtonBox *>("bButtons")->button(which);
}

// Each item of the combo box as "text|data".
QStringList comboItems(const QComboBox &combo)
{
    QStringList items;
    for (int i = 0; i < combo.count(); ++i)
        items << combo.itemText(i) + '|' + combo.itemData(i).toString();
    return items;
}

// Writes a comment (or a decision) into the open comment dialog and accepts it.
ModalResponder::Answer writeComment(const QString &text)
{
    return [text](QWidget *modal) {
        modal->findChild<QTextEdit *>("teComent")->setPlainText(text);
        qobject_cast<QDialog *>(modal)->accept();
    };
}

// Makes the first row the chooser lists (in this view) current and accepts.
ModalResponder::Answer chooseFirstRow(const QString &view)
{
    return [view](QWidget *modal) {
        auto *rows = modal->findChild<QTableView *>(view);
        int row = 0;
        while (rows->isRowHidden(row))
            ++row;
        rows->setCurrentIndex(rows->model()->index(row, 1));
        qobject_cast<QDialog *>(modal)->accept();
    };
}

} // namespace

class tst_Editor : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void dataEditor_hostsEditor_buttonsTellTheModule();
    void bounds_findsHostMainWindow();
    void delayMs_keepsEventLoopRunning();
    void recordHelpers_readAgain_ignoreMissingTargets();

    // The defect register in the host window, started once for these cases.
    void host_entryPoints_openTheRegister();
    void host_defectWholeLife();
    void editor_unsavedChanges_askOnMoving_goOnCancel_data();
    void editor_unsavedChanges_askOnMoving_goOnCancel();
    void editor_decisionButtons_followRights_data();
    void editor_decisionButtons_followRights();
    void editor_savingTwice_addsNoDuplicateLink();
    void editor_refusedSave_saysWhyAndKeepsTheEdit_data();
    void editor_refusedSave_saysWhyAndKeepsTheEdit();
    void host_f1_opensGuideAtContext();

private:
    // The host's window with the module loaded from the library directory
    // through its entry points, as rejects-host loads it.
    void startHost();
    // Makes a defect current in the list and shows the editor panel.
    void selectDefect(qint64 id);
    qint64 editedId() const { return editor->record().value("id").toLongLong(); }
    // A column of a stored defect, as text.
    QString stored(const char *column, qint64 id) const
    {
        const QString sql = QString("SELECT %1 FROM docs.t_process_exam WHERE id = %2");
        return fx->value(sql.arg(QLatin1String(column)).arg(id)).toString();
    }

    std::unique_ptr<TestFixture> fx;
    std::unique_ptr<WorkplaceWindow> host;
    Rejects *module = nullptr;
    RejectsEditor *editor = nullptr;
    QDataTable *defects = nullptr;
    QTableView *list = nullptr;
    QWidget *frame = nullptr;
    QPushButton *applyButton = nullptr;
};

void tst_Editor::initTestCase()
{
    START_FIXTURE(fx, "editor");
}

void tst_Editor::init()
{
    const QByteArray name = QTest::currentTestFunction();
    if (name.startsWith("host_") || name.startsWith("editor_"))
        startHost();
}

// The frame hosts the editor under its title; a change enables Apply (Return
// never applies); Apply, Cancel and a double click on the caption tell the
// module; in a dialog the buttons close it.
void tst_Editor::dataEditor_hostsEditor_buttonsTellTheModule()
{
    QDataEditor frame;
    auto *editor = new QLineEdit;
    editor->setWindowTitle("Дефект");
    frame.initEditor(editor);
    auto *caption = frame.findChild<QLabel *>("lbCaption");
    QCOMPARE(caption->text(), "Дефект");
    QVERIFY(frame.findChild<QLayout *>("editorLayout")->indexOf(editor) >= 0);
    QPushButton *apply = button(&frame, QDialogButtonBox::Ok);
    QPushButton *cancel = button(&frame, QDialogButtonBox::Cancel);
    QVERIFY(!apply->isDefault() && !apply->autoDefault());
    QVERIFY(!cancel->isDefault() && !cancel->autoDefault());
    frame.show();
    QSignalSpy ok(&frame, SIGNAL(ok()));
    QSignalSpy cancelled(&frame, SIGNAL(cancel()));
    QSignalSpy popup(&frame, SIGNAL(popup(QWidget *)));
    frame.OnChange();
    QTest::mouseClick(apply, Qt::LeftButton);
    QTest::mouseClick(apply, Qt::LeftButton); // disabled until the next change
    QCOMPARE(ok.count(), 1);
    QVERIFY(!apply->isEnabled());
    frame.OnChange();
    QTest::mouseClick(cancel, Qt::LeftButton);
    QCOMPARE(cancelled.count(), 1);
    QCOMPARE(ok.count(), 1);
    QVERIFY(!apply->isEnabled());
    QTest::mouseClick(caption, Qt::LeftButton);
    QTest::mouseDClick(caption, Qt::LeftButton);
    QCOMPARE(popup.count(), 1);
    QCOMPARE(qvariant_cast<QWidget *>(popup.at(0).at(0)), static_cast<QWidget *>(&frame));
    frame.initEditor(nullptr); // nothing to host: nothing breaks
    QVERIFY(!frame.editor());

    for (const auto which : {QDialogButtonBox::Ok, QDialogButtonBox::Cancel}) {
        QDialog dialog;
        auto *modal = new QDataEditor(&dialog);
        modal->initModal(&dialog, new QLineEdit);
        modal->OnChange();
        QTimer::singleShot(0, modal, [modal, which] { button(modal, which)->click(); });
        QCOMPARE(dialog.exec(),
                 which == QDialogButtonBox::Ok ? QDialog::Accepted : QDialog::Rejected);
    }
}

// The host's main window is found by its name, whatever else is open.
void tst_Editor::bounds_findsHostMainWindow()
{
    for (const QString name : {"WorkplaceWindow", "Kova", "SomeDialog"}) {
        QWidget main;
        main.setObjectName(name);
        main.setGeometry(40, 60, 640, 480);
        main.show();
        QVERIFY(QTest::qWaitForWindowExposed(&main));
        QCOMPARE(bounds(), name == "SomeDialog" ? QRect() : main.windowHandle()->geometry());
    }
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

// The helpers read the table again on every call, and without a table, a combo box or a field
// change nothing.
void tst_Editor::recordHelpers_readAgain_ignoreMissingTargets()
{
    // The fault types as "name|id" in the order of their select.
    const auto storedFaultTypes = [this] {
        return fx
            ->value("SELECT string_agg(c_name || '|' || id, E'\\n' ORDER BY c_name) FROM "
                    "qms.t_fault_type")
            .toString()
            .split('\n');
    };
    QDataSet set;
    auto *table = new QDataTable("t_fault_type", fx->connection(), &set);
    table->setScripts("FAULT_TYPE_SELECT", QString(), QString(), QString(), false);
    set.addTable(table);
    QComboBox combo;
    combo.addItem("пункт");
    fillComboBox(&combo, nullptr, "c_name", "id", "x");
    fillComboBox(&combo, table, QString(), "id", "x");
    fillComboBox(nullptr, table, "c_name", "id");
    QCOMPARE(comboItems(combo), QStringList("пункт|"));
    QVERIFY(getCurrentRecord(nullptr).isEmpty());
    QVERIFY(!getValueById(static_cast<QDataTable *>(nullptr), 1, "c_name").isValid());
    QVERIFY(!getValueById(static_cast<QDataSet *>(nullptr), "t_fault_type", 1, "c_name").isValid());

    fillComboBox(&combo, table, "c_name", "id");
    QCOMPARE(comboItems(combo), storedFaultTypes());
    QVERIFY(fx->db().exec("INSERT INTO qms.t_fault_type (c_name, c_sys_name, c_prefix) VALUES "
                          "('ААА Новый тип', 'NEW_TYPE', 'N')"));
    const qlonglong id =
        fx->value("SELECT id FROM qms.t_fault_type WHERE c_sys_name = 'NEW_TYPE'").toLongLong();
    const QVariant added = getValueById(&set, "t_fault_type", id, "c_name");
    QVERIFY(!getValueById(table, id, "c_no_such_field").isValid());
    fillComboBox(&combo, table, "c_name", "id", "Все типы", -1);
    const QStringList stored = storedFaultTypes();
    QVERIFY(fx->db().exec("DELETE FROM qms.t_fault_type WHERE c_sys_name = 'NEW_TYPE'"));
    QCOMPARE(added, QVariant("ААА Новый тип"));
    QCOMPARE(comboItems(combo), QStringList("Все типы|-1") + stored);
    QVERIFY(!getValueById(table, -777, "c_name").isValid());

    // A table that fails to read leaves only the first entry.
    QDataTable broken("t_broken", fx->connection());
    broken.setScripts("SELECT id, c_name FROM qms.t_no_such_table", QString(), QString(), QString(),
                      true);
    fillComboBox(&combo, &broken, "c_name", "id", "Не выбрано", -1);
    QCOMPARE(comboItems(combo), QStringList("Не выбрано|-1"));
}

// ------------------------------------------------ the register in the host

void tst_Editor::startHost()
{
    if (host)
        return;
    publishEventRegistry();
    host.reset(new WorkplaceWindow);
    ModuleLoader loader(QStringLiteral(LIB_DIR));
    panelData panel;
    panel.name = panel.library = "rejects";
    panel.caption = "Учет брака";
    QCOMPARE(loader.load({panel}, host->moduleArea()), 1);
    host->addModule(loader.modules().first());
    module = qobject_cast<Rejects *>(loader.modules().first().userInterface);
    QVERIFY(module);
    editor = module->editor();
    defects = module->document()->getTable("t_process_exam");
    list = module->view()->findChild<QTableView *>("tvRejects");
    frame = module->findChild<QWidget *>("editFrame");
    applyButton = button(module->dataEditor(), QDialogButtonBox::Ok);
    host->resize(1300, 900);
    host->show();
    QVERIFY(QTest::qWaitForWindowActive(host.get()));
    // Decided defects stay in the list.
    module->view()->findChild<QCheckBox *>("chkHideReady")->setChecked(false);
}

void tst_Editor::selectDefect(qint64 id)
{
    list->setCurrentIndex(list->model()->index(defects->locate("id", id), 3));
    module->showEditor();
}

// The entry points give the module, its toolbar with Find first, and the
// event handler that opens a defect for another module.
void tst_Editor::host_entryPoints_openTheRegister()
{
    QCOMPARE(getInterface(nullptr), static_cast<QUserInterface *>(module));
    const QList<QAction *> actions = *getToolBarActions();
    QCOMPARE(actions.first()->objectName(), "actionFind");
    QCOMPARE(actions.mid(1), RejectsView::toolBarActions());
    QCOMPARE(host->findChild<QToolBar *>("toolBar")->actions(), actions);
    // The register opens on its first defect with the editor below.
    QCOMPARE(defects->rowCount(), fx->value("SELECT count(*) FROM docs.t_process_exam").toInt());
    QVERIFY(frame->isVisible() && editedId() > 0 && !applyButton->isEnabled());

    module->closeEditor();
    const qint64 id = defects->getField("id", defects->rowCount() - 1).toLongLong();
    const eventHandlerInfo handler = getEventHandler(" T_Process_Exam");
    QCOMPARE(handler.owner, "rejects");
    handler.func("t_process_order", id); // another table: nothing
    QVERIFY(!frame->isVisible());
    handler.func("t_process_exam", id);
    QVERIFY(frame->isVisible());
    QCOMPARE(editedId(), id);
}

void tst_Editor::host_defectWholeLife()
{
    ModalResponder modal;
    module->view()->findChild<QAction *>("acNew")->trigger();
    QVERIFY(frame->isVisible() && editedId() < 0);

    // A new defect: stage, fault code, plan and a description of 100 000
    // characters with tabs and emoji, in spell-checking editors.
    editor->ui->cbStage->setCurrentIndex(1);
    modal.expect(chooseFirstRow("tvCode"));
    editor->ui->toolButton->click();
    modal.expect(chooseFirstRow("tvPlan"));
    editor->ui->btPlan->click();
    const QStringList chosen = {editor->ui->cbStage->currentData().toString(),
                                editor->ui->edFaultCode->property("id_fault").toString(),
                                editor->ui->edPlan->text()};
    QString description;
    while (description.size() < 100000)
        description += "Трещина\tкорпуса 🔧 ";
    editor->ui->teDescr->setPlainText(description);
    QVERIFY(qobject_cast<SpellTextEdit *>(editor->ui->teDescr) &&
            qobject_cast<SpellTextEdit *>(editor->ui->teSolution));
    applyButton->click();
    const qint64 id = editedId();
    QVERIFY2(id > 0 && !applyButton->isEnabled(), "the new defect was not saved");
    QCOMPARE(stored("concat_ws('|', (SELECT c_sys_name FROM qms.t_exam_stage WHERE id = "
                    "id_exam_stage), id_fault, (SELECT d.c_name FROM docs.t_plan_order po JOIN "
                    "docs.t_doc d ON d.id = po.id_doc WHERE po.id = id_plan_order), c_description)",
                    id),
             (chosen + QStringList(description)).join('|'));

    // A comment and a picture of 0 bytes, as the picture dialog hands one over.
    modal.expect(writeComment("Проверить партию"));
    editor->ui->btAddComent->click();
    QDataTable *pictures = module->document()->getTable("t_process_exam_pics");
    pictures->close();
    pictures->setSelectParam("c_table", "t_process_exam");
    pictures->setSelectParam("n_key", id);
    pictures->open();
    QSqlRecord picture = pictures->getRecord(pictures->newRow());
    QByteArray nothing;
    editor->fillPicRow(&picture, &nothing, "empty.png");
    pictures->setRow(pictures->lastRow(), picture);
    // The decision that needs preventive action closes the discussion.
    modal.expect(writeComment("Заменить корпус"));
    modal.expect(ModalResponder::pressButton(QMessageBox::Yes));
    editor->ui->btDecide->click();
    applyButton->click();
    QCOMPARE(stored("(SELECT c_file || '|' || n_size FROM lrg.v_file_owner WHERE c_table = "
                    "'t_process_exam' AND n_key = %2)",
                    id),
             "empty.png|0");
    QCOMPARE(stored("(SELECT string_agg(c_text, '|' ORDER BY d.id) FROM docs.t_process_exam_disc "
                    "d WHERE id_process_exam = %2)",
                    id),
             "Проверить партию|Обсуждение закрыто. Принято решение:Заменить корпус");
    QCOMPARE(stored("c_solution || '|' || b_reaction", id), "Заменить корпус|true");
    const auto cell = [this, id] {
        return defects->getModel()->item(defects->locate("id", id), 9);
    };
    QVERIFY(cell()->font().bold() && cell()->font().italic() && cell()->font().underline());
    QCOMPARE(cell()->background().color(), QColor(Qt::gray));
    QVERIFY(!editor->ui->btDecide->isEnabled() && editor->ui->buttonRevert->isEnabled());

    // Taking the decision back opens the defect again.
    editor->ui->buttonRevert->click();
    applyButton->click();
    QCOMPARE(stored("c_solution || '|' || b_reject", id), "|false");
    QVERIFY(cell()->background().style() == Qt::NoBrush);
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(modal.unexpected(), 0);
}

void tst_Editor::editor_unsavedChanges_askOnMoving_goOnCancel_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("moved");
    QTest::newRow("no keeps the old defect") << int(QMessageBox::No) << false;
    QTest::newRow("yes opens the new one") << int(QMessageBox::Yes) << true;
}

// Moving to another defect with unsaved changes asks first; Cancel drops every
// change (description, stage, a new comment) and closes the editor.
void tst_Editor::editor_unsavedChanges_askOnMoving_goOnCancel()
{
    QFETCH(int, answer);
    QFETCH(bool, moved);
    const QList<qint64> ids = {defects->getField("id", 0).toLongLong(),
                               defects->getField("id", 1).toLongLong()};
    const char *comments =
        "(SELECT count(*) FROM docs.t_process_exam_disc WHERE id_process_exam = %2)";
    const QString before = stored(comments, ids.at(0));
    selectDefect(ids.at(0));
    ModalResponder modal;
    modal.expect(writeComment("не сохранять"));
    editor->ui->btAddComent->click();
    editor->ui->teDescr->setPlainText("не сохранять");
    editor->ui->cbStage->setCurrentIndex(editor->ui->cbStage->currentIndex() == 0 ? 1 : 0);
    QVERIFY(applyButton->isEnabled() && module->document()->isModified());

    modal.expect(ModalResponder::pressButton(answer));
    selectDefect(ids.at(1));
    QCOMPARE(modal.messages(), QStringList("Внимание|Открытие нового дефекта может привести к "
                                           "потере несохраненных данных. Продолжить?"));
    QCOMPARE(list->currentIndex().row(), defects->locate("id", ids.at(1)));
    QCOMPARE(editedId(), ids.at(moved ? 1 : 0));
    QCOMPARE(editor->ui->teDescr->toPlainText() == "не сохранять", !moved);
    QCOMPARE(applyButton->isEnabled(), !moved);

    button(module->dataEditor(), QDialogButtonBox::Cancel)->click();
    QVERIFY(!module->document()->isModified() && !frame->isVisible());
    QCOMPARE(stored(comments, ids.at(0)), before);
    QVERIFY(defects->getField("c_description", defects->locate("id", ids.at(0))) != "не сохранять");
    selectDefect(ids.at(0));
    QCOMPARE(QString::number(editor->ui->tvComent->model()->rowCount()), before);
}

void tst_Editor::editor_decisionButtons_followRights_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<bool>("bigDaddy");
    QTest::addColumn<bool>("decides");
    QTest::newRow("REJECT_SOLUTION") << "kuznetsova" << false << true;
    QTest::newRow("no right") << "guest" << false << false;
    QTest::newRow("no right, superuser") << "guest" << true << true;
}

void tst_Editor::editor_decisionButtons_followRights()
{
    QFETCH(QString, login);
    QFETCH(bool, bigDaddy);
    QFETCH(bool, decides);
    QVERIFY(fx->connection()->login(login, login));
    qApp->setProperty("bBigDaddy", bigDaddy);
    RejectsEditor other(nullptr); // the rights alone, on no data set
    QVERIFY(fx->connection()->login("kuznetsova", "kuznetsova"));
    qApp->setProperty("bBigDaddy", false);
    const QList<bool> shown = {!other.ui->btDecide->isHidden(), !other.ui->buttonRevert->isHidden(),
                               !other.ui->teSolution->isReadOnly()};
    QCOMPARE(shown, QList<bool>({decides, decides, decides}));
}

void tst_Editor::editor_savingTwice_addsNoDuplicateLink()
{
    const qint64 id = fx->value("SELECT min(id) FROM docs.t_process_exam WHERE id NOT IN (SELECT "
                                "id_process_exam FROM qms.tl_reject_notification)")
                          .toLongLong();
    selectDefect(id);
    QTableView *users = editor->ui->tvNotification;
    const auto toggleFirstUser = [this, users] {
        editor->ui->tabWidget->setCurrentIndex(1);
        QTest::mouseClick(users->viewport(), Qt::LeftButton, {},
                          users->visualRect(users->model()->index(0, 0)).center());
    };
    const char *links =
        "(SELECT count(*) FROM qms.tl_reject_notification WHERE id_process_exam = %2)";
    toggleFirstUser();
    applyButton->click();
    QCOMPARE(stored(links, id), "1");
    editor->ui->teDescr->setPlainText(editor->ui->teDescr->toPlainText() + ".");
    applyButton->click();
    QCOMPARE(stored(links, id), "1");
    QVERIFY(!module->document()->isModified());
    toggleFirstUser();
    applyButton->click();
    QCOMPARE(stored(links, id), "0");
}

void tst_Editor::editor_refusedSave_saysWhyAndKeepsTheEdit_data()
{
    QTest::addColumn<QString>("meanwhile");
    QTest::newRow("Петров saved the same defect")
        << "UPDATE docs.t_process_exam SET c_description = 'правка первого', id_changer = (SELECT "
           "id FROM sys.t_user WHERE c_login = 'petrov') WHERE id = %1";
    QTest::newRow("the server restarts, the next save writes") << QString();
}

// A refused save says why in a message box and keeps the edit on screen; a
// stale save names who changed the defect, after a lost server the next save
// writes it.
void tst_Editor::editor_refusedSave_saysWhyAndKeepsTheEdit()
{
    QFETCH(QString, meanwhile);
    const QString restart = qEnvironmentVariable("REJECTS_PG_RESTART");
    if (meanwhile.isEmpty() && restart.isEmpty())
        QSKIP("scripts/test gives the command that restarts the test cluster");
    const qint64 id = defects->getField("id", meanwhile.isEmpty() ? 1 : 0).toLongLong();
    selectDefect(id);
    editor->ui->teDescr->setPlainText("правка второго");
    QSignalSpy restored(appConnection(), &QSqlConnection::connectionRestored);
    if (meanwhile.isEmpty())
        QCOMPARE(QProcess::execute("/bin/sh", {"-c", restart}), 0);
    else
        QVERIFY(fx->db().exec(meanwhile.arg(id)));
    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    applyButton->click();
    QCOMPARE(editor->ui->teDescr->toPlainText(), "правка второго");
    QVERIFY(applyButton->isEnabled());
    if (!meanwhile.isEmpty()) {
        QVERIFY2(modal.messages().value(0).contains("Петров И.В."),
                 qPrintable(modal.messages().join('\n')));
        QCOMPARE(stored("c_description", id), "правка первого");
        button(module->dataEditor(), QDialogButtonBox::Cancel)->click();
        return;
    }
    QTRY_VERIFY_WITH_TIMEOUT(restored.count() >= 1, 20000);
    applyButton->click();
    QVERIFY2(modal.messages().size() == 1, qPrintable(modal.messages().join('\n')));
    QVERIFY(!applyButton->isEnabled());
    QCOMPARE(stored("c_description", id), "правка второго");
}

// The help context follows the focus; F1 opens the guide at it.
void tst_Editor::host_f1_opensGuideAtContext()
{
    QApplication::setActiveWindow(host.get());
    QVERIFY(QTest::qWaitForWindowActive(host.get()));
    list->setFocus();
    QTRY_COMPARE(module->helpContext(), "rejects#tvRejects");
    module->showEditor();
    QTabWidget *tabs = editor->ui->tabWidget;
    tabs->setCurrentIndex(2);
    tabs->setFocus();
    QTRY_COMPARE(module->helpContext(), "rejects#rejectEditor#tabDiscus");
    QTest::keyClick(tabs, Qt::Key_F1);
    auto *viewer = host->findChild<HelpViewer *>();
    QVERIFY(viewer && viewer->isVisible());
    QCOMPARE(viewer->source().fragment(), "tabDiscus");
    viewer->close();

    // Every anchor the module names lands on a section of its guide.
    QFile guide(":/help/rejects.html");
    QVERIFY(guide.open(QIODevice::ReadOnly));
    const QString html = QString::fromUtf8(guide.readAll());
    QStringList anchors = {"tvRejects", "rejectEditor"};
    for (int page = 0; page < tabs->count(); ++page) {
        tabs->setCurrentIndex(page);
        anchors << module->helpContext().section('#', 2);
    }
    for (const QString &anchor : anchors)
        QVERIFY2(!anchor.isEmpty() && html.contains(QString("name=\"%1\"").arg(anchor)),
                 qPrintable(anchor));
}

REJECTS_TEST_MAIN(tst_Editor)
#include "tst_editor.moc"
