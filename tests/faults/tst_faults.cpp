// The fault code chooser, the type editor and the code form against a real
// database: every change they make is checked with a second connection.

#include "faultcodedialog.h"
#include "faultcodeeditdialog.h"
#include "faulttypedialog.h"
#include "modalresponder.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "taskdialog.h"
#include "testfixture.h"
#include "testmain.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFile>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSqlError>
#include <QSqlQuery>
#include <QTableView>
#include <QTemporaryDir>
#include <QToolButton>
#include <memory>

extern "C" QDataSet *getDocument(QObject *parent);

namespace {

int visibleRows(QTableView *view)
{
    int count = 0;
    for (int row = 0; row < view->model()->rowCount(); ++row)
        if (!view->isRowHidden(row))
            ++count;
    return count;
}

// The row of `table` whose field has this value; -1 when none.
int findRow(QDataTable *table, const QString &field, const QVariant &value)
{
    for (int row = 0; row < table->rowCount(); ++row)
        if (table->getRecord(row).value(field) == value)
            return row;
    return -1;
}

void makeCurrent(QTableView *view, int row)
{
    int column = 0;
    while (column < view->model()->columnCount() - 1 && view->isColumnHidden(column))
        ++column;
    view->setCurrentIndex(view->model()->index(row, column));
}

// Makes current the row that shows `text` in some column; false when none does.
bool makeCurrent(QTableView *view, const QString &text)
{
    for (int r = 0; r < view->model()->rowCount(); ++r)
        for (int c = 0; c < view->model()->columnCount(); ++c)
            if (view->model()->index(r, c).data().toString() == text) {
                makeCurrent(view, r);
                return true;
            }
    return false;
}

void chooseType(QComboBox *box, const QString &name)
{
    const int index = box->findText(name);
    QVERIFY2(index >= 0, qPrintable(name));
    box->setCurrentIndex(index);
}

// Fills the code form and accepts it.
ModalResponder::Answer fillCodeForm(const QString &description, const QString &type)
{
    return [description, type](QWidget *modal) {
        QVERIFY(qobject_cast<FaultCodeEditDialog *>(modal));
        modal->findChild<QLineEdit *>(QStringLiteral("lineEditDescription"))->setText(description);
        auto *box = modal->findChild<QComboBox *>(QStringLiteral("comboBoxType"));
        box->setCurrentIndex(box->findText(type));
        modal->findChild<QPushButton *>(QStringLiteral("pushButtonAccept"))->click();
    };
}

QPushButton *okButton(QDialog *dialog)
{
    return dialog->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"))
        ->button(QDialogButtonBox::Ok);
}

QToolButton *tool(QWidget *dialog, const char *name)
{
    return dialog->findChild<QToolButton *>(QLatin1String(name));
}

} // namespace

class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void choosingCode_givesItsData();
    void closedChooser_leavesCodeTableUnfiltered();
    void addCode_numberedFromTypeCounter();
    void addCodeUnderOtherType_keepsShownList();
    void editCodeIntoOtherType_leavesList();
    void deleteCode_onlyOnOk();
    void deleteCodeInUse_refusedAndNotPending();
    void typeEditorDeletesShownType_boxWithoutSelection();

    void addType_storesCounterSettings();
    void addType_cancelledOrEmptyPrompt_storesNothing_data();
    void addType_cancelledOrEmptyPrompt_storesNothing();
    void renameType_sameTextStoresNothing();
    void deleteTypeInUse_refusedAndKept();

    void codeForm_emptyForm_bothWarnings();
    void codeForm_recordRoundTrip();

    void rights_data();
    void rights();

    void dialogs_readEachTableOnce_data();
    void dialogs_readEachTableOnce();

private:
    void login(const QString &user);
    qint64 addType(const QString &name, const QString &sysName, const QString &prefix);
    qint64 addCode(qint64 type, const QString &name, const QString &description);

    std::unique_ptr<TestFixture> m_fx;
    QDataSet *m_document = nullptr;
    QDataTable *m_codes = nullptr;
    qint64 m_mech = 0;
    qint64 m_elec = 0;
    qint64 m_empty = 0;
};

void TestFaults::init()
{
    START_FIXTURE(m_fx, QStringLiteral("faults"));
    login(QStringLiteral("kuznetsova"));

    m_mech = addType(QStringLiteral("Механика"), QStringLiteral("TST_MECH"), QStringLiteral("TM-"));
    m_elec =
        addType(QStringLiteral("Электрика"), QStringLiteral("TST_ELEC"), QStringLiteral("TE-"));
    m_empty =
        addType(QStringLiteral("Без кодов"), QStringLiteral("TST_NONE"), QStringLiteral("TN-"));
    addCode(m_mech, QStringLiteral("TM-101"), QStringLiteral("Царапина корпуса"));
    addCode(m_mech, QStringLiteral("TM-102"), QStringLiteral("Скол"));
    addCode(m_elec, QStringLiteral("TE-201"), QStringLiteral("Обрыв"));
}

void TestFaults::cleanup()
{
    m_fx.reset();
}

// Logs `user` in for real and points the module's data set at the new
// connection (the data set lives as long as the process).
void TestFaults::login(const QString &user)
{
    QVERIFY2(m_fx->login(user), qPrintable(m_fx->error()));
    m_document = getDocument(qApp);
    QVERIFY(m_document);
    for (QDataTable *table : m_document->tables())
        table->setConnection(m_fx->connection());
    m_codes = m_document->getTable(QStringLiteral("t_fault_code"));
    QVERIFY(m_codes);
}

qint64 TestFaults::addType(const QString &name, const QString &sysName, const QString &prefix)
{
    return m_fx
        ->value(QStringLiteral("INSERT INTO qms.t_fault_type (c_name, c_sys_name, c_prefix) "
                               "VALUES ('%1', '%2', '%3') RETURNING id")
                    .arg(name, sysName, prefix))
        .toLongLong();
}

qint64 TestFaults::addCode(qint64 type, const QString &name, const QString &description)
{
    return m_fx
        ->value(QStringLiteral("INSERT INTO qms.t_fault_code (id_type, c_name, c_description) "
                               "VALUES (%1, '%2', '%3') RETURNING id")
                    .arg(type)
                    .arg(name, description))
        .toLongLong();
}

// The chooser lists the codes of the chosen type and gives the chosen code's
// data; a type without codes leaves nothing to choose.
void TestFaults::choosingCode_givesItsData()
{
    addCode(m_elec, QStringLiteral("TE-202"), QString());
    FaultCodeDialog dialog(m_document);
    auto *box = dialog.findChild<QComboBox *>(QStringLiteral("cbType"));
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvCode"));
    chooseType(box, QStringLiteral("Электрика"));
    QCOMPARE(visibleRows(view), 2);
    const int row = findRow(m_codes, QStringLiteral("c_name"), QStringLiteral("TE-201"));
    QVERIFY(!view->isRowHidden(row));
    makeCurrent(view, row);
    QVERIFY(okButton(&dialog)->isEnabled());
    QVERIFY(tool(&dialog, "btEdit")->isEnabled());
    QCOMPARE(dialog.currentData(),
             m_fx->value(QStringLiteral("SELECT id FROM qms.t_fault_code WHERE c_name = 'TE-201'"))
                 .toLongLong());
    QCOMPARE(dialog.currentText(), QStringLiteral("TE-201"));
    QCOMPARE(dialog.currentDescription(), QStringLiteral("Обрыв"));
    QCOMPARE(dialog.currentFullName(), QStringLiteral("TE-201 (Обрыв)"));
    makeCurrent(view, findRow(m_codes, QStringLiteral("c_name"), QStringLiteral("TE-202")));
    QCOMPARE(dialog.currentFullName(), QStringLiteral("TE-202 ()"));

    chooseType(box, QStringLiteral("Без кодов"));
    QCOMPARE(visibleRows(view), 0);
    QVERIFY(!tool(&dialog, "btEdit")->isEnabled());
    QVERIFY(!tool(&dialog, "btDelete")->isEnabled());
    QVERIFY(!okButton(&dialog)->isEnabled());
    QCOMPARE(dialog.currentData(), qint64(0));
    QCOMPARE(dialog.currentFullName(), QString());
}

void TestFaults::closedChooser_leavesCodeTableUnfiltered()
{
    {
        FaultCodeDialog dialog(m_document);
        chooseType(dialog.findChild<QComboBox *>(QStringLiteral("cbType")),
                   QStringLiteral("Электрика"));
        QVERIFY(m_codes->hasFilter(QStringLiteral("id_type")));
    }
    // The defect editor shares the table and must see every code.
    QVERIFY(!m_codes->hasFilter(QStringLiteral("id_type")));
    QVERIFY(findRow(m_codes, QStringLiteral("c_name"), QStringLiteral("TM-101")) >= 0);
}

void TestFaults::addCode_numberedFromTypeCounter()
{
    FaultCodeDialog dialog(m_document);
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvCode"));
    chooseType(dialog.findChild<QComboBox *>(QStringLiteral("cbType")), QStringLiteral("Механика"));

    ModalResponder modal;
    modal.expect([](QWidget *form) {
        // The form opens on the shown type, with the code left to the database.
        auto *box = form->findChild<QComboBox *>(QStringLiteral("comboBoxType"));
        QCOMPARE(box->currentText(), QStringLiteral("Механика"));
        auto *code = form->findChild<QLineEdit *>(QStringLiteral("lineEditCode"));
        QVERIFY(code->isReadOnly());
        QVERIFY(!code->isEnabled());
        fillCodeForm(QStringLiteral("Вмятина"), QStringLiteral("Механика"))(form);
    });
    tool(&dialog, "btAdd")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(dialog.currentText(), QStringLiteral("TM-1"));
    QCOMPARE(dialog.currentFullName(), QStringLiteral("TM-1 (Вмятина)"));
    QCOMPARE(visibleRows(view), 3);
    QVERIFY(okButton(&dialog)->isEnabled());

    modal.expect(fillCodeForm(QStringLiteral("Трещина"), QStringLiteral("Механика")));
    tool(&dialog, "btAdd")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(dialog.currentText(), QStringLiteral("TM-2"));
    QCOMPARE(modal.unexpected(), 0);

    QCOMPARE(m_fx->value(QStringLiteral("SELECT string_agg(c_name || '=' || c_description, ',' "
                                        "ORDER BY id) FROM qms.t_fault_code WHERE id_type = %1 "
                                        "AND c_name IN ('TM-1', 'TM-2')")
                             .arg(m_mech))
                 .toString(),
             QStringLiteral("TM-1=Вмятина,TM-2=Трещина"));
    QCOMPARE(dialog.currentData(),
             m_fx->value(QStringLiteral("SELECT id FROM qms.t_fault_code WHERE c_name = 'TM-2'"))
                 .toLongLong());
}

void TestFaults::addCodeUnderOtherType_keepsShownList()
{
    FaultCodeDialog dialog(m_document);
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvCode"));
    auto *box = dialog.findChild<QComboBox *>(QStringLiteral("cbType"));
    chooseType(box, QStringLiteral("Механика"));
    QVERIFY(!view->currentIndex().isValid());

    ModalResponder modal;
    modal.expect(fillCodeForm(QStringLiteral("Пробой"), QStringLiteral("Электрика")));
    tool(&dialog, "btAdd")->click();
    QCOMPARE(modal.pending(), 0);

    QCOMPARE(m_fx->value(QStringLiteral("SELECT c_name FROM qms.t_fault_code WHERE id_type = %1 "
                                        "AND c_description = 'Пробой'")
                             .arg(m_elec))
                 .toString(),
             QStringLiteral("TE-1"));
    QCOMPARE(box->currentText(), QStringLiteral("Механика"));
    QCOMPARE(visibleRows(view), 2);
    QVERIFY(!view->currentIndex().isValid());
    QVERIFY(!okButton(&dialog)->isEnabled());
    QCOMPARE(dialog.currentData(), qint64(0));

    chooseType(box, QStringLiteral("Электрика"));
    QCOMPARE(visibleRows(view), 2);
}

void TestFaults::editCodeIntoOtherType_leavesList()
{
    FaultCodeDialog dialog(m_document);
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvCode"));
    auto *box = dialog.findChild<QComboBox *>(QStringLiteral("cbType"));
    chooseType(box, QStringLiteral("Механика"));
    makeCurrent(view, findRow(m_codes, QStringLiteral("c_name"), QStringLiteral("TM-102")));

    ModalResponder modal;
    modal.expect([](QWidget *form) {
        // The form shows the code being edited.
        QCOMPARE(form->findChild<QLineEdit *>(QStringLiteral("lineEditCode"))->text(),
                 QStringLiteral("TM-102"));
        QCOMPARE(form->findChild<QLineEdit *>(QStringLiteral("lineEditDescription"))->text(),
                 QStringLiteral("Скол"));
        fillCodeForm(QStringLiteral("Скол эмали"), QStringLiteral("Электрика"))(form);
    });
    tool(&dialog, "btEdit")->click();
    QCOMPARE(modal.pending(), 0);

    // Stored under the new type; the code itself is kept.
    QCOMPARE(
        m_fx->value(QStringLiteral("SELECT id_type || '/' || c_description FROM qms.t_fault_code "
                                   "WHERE c_name = 'TM-102'"))
            .toString(),
        QStringLiteral("%1/Скол эмали").arg(m_elec));
    QCOMPARE(box->currentText(), QStringLiteral("Механика"));
    QCOMPARE(visibleRows(view), 1);
    QVERIFY(!okButton(&dialog)->isEnabled());

    chooseType(box, QStringLiteral("Электрика"));
    QCOMPARE(visibleRows(view), 2);
}

void TestFaults::deleteCode_onlyOnOk()
{
    FaultCodeDialog dialog(m_document);
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvCode"));
    chooseType(dialog.findChild<QComboBox *>(QStringLiteral("cbType")), QStringLiteral("Механика"));
    makeCurrent(view, findRow(m_codes, QStringLiteral("c_name"), QStringLiteral("TM-101")));

    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Cancel));
    tool(&dialog, "btDelete")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(modal.messages(), QStringList{QStringLiteral("Удаление|Удалить дефект TM-101?")});
    QCOMPARE(
        m_fx->value(QStringLiteral("SELECT count(*) FROM qms.t_fault_code WHERE c_name = 'TM-101'"))
            .toInt(),
        1);

    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    tool(&dialog, "btDelete")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(
        m_fx->value(QStringLiteral("SELECT count(*) FROM qms.t_fault_code WHERE c_name = 'TM-101'"))
            .toInt(),
        0);
    QCOMPARE(visibleRows(view), 1);
    QCOMPARE(findRow(m_codes, QStringLiteral("c_name"), QStringLiteral("TM-101")), -1);
}

void TestFaults::deleteCodeInUse_refusedAndNotPending()
{
    // A code that a defect of the demo plant refers to.
    const QString code =
        m_fx->value(QStringLiteral("SELECT fc.c_name FROM docs.t_process_exam pe "
                                   "JOIN qms.t_fault_code fc ON fc.id = pe.id_fault "
                                   "ORDER BY pe.id LIMIT 1"))
            .toString();
    QVERIFY2(!code.isEmpty(), "the demo data has no defect with a fault code");
    const QString type =
        m_fx->value(
                QStringLiteral("SELECT ft.c_name FROM qms.t_fault_code fc JOIN qms.t_fault_type "
                               "ft ON ft.id = fc.id_type WHERE fc.c_name = '%1'")
                    .arg(code))
            .toString();

    FaultCodeDialog dialog(m_document);
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvCode"));
    chooseType(dialog.findChild<QComboBox *>(QStringLiteral("cbType")), type);
    const int listed = visibleRows(view);
    makeCurrent(view, findRow(m_codes, QStringLiteral("c_name"), code));
    QCOMPARE(dialog.currentText(), code);

    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    tool(&dialog, "btDelete")->click();
    QCOMPARE(modal.pending(), 0);
    // The refusal is said, with the database's reason.
    QCOMPARE(modal.messages().size(), 2);
    QCOMPARE(modal.messages().last(),
             QStringLiteral("Внимание|Код дефекта %1 используется в реестре и не может быть удален")
                 .arg(code));

    QCOMPARE(m_fx->value(QStringLiteral("SELECT count(*) FROM qms.t_fault_code WHERE c_name = '%1'")
                             .arg(code))
                 .toInt(),
             1);
    QCOMPARE(visibleRows(view), listed);
    QVERIFY(findRow(m_codes, QStringLiteral("c_name"), code) >= 0);
    // Saving a defect must not send the refused deletion again.
    QVERIFY(!m_codes->isModified());
    QVERIFY(m_document->commit(m_fx->connection()));
}

void TestFaults::typeEditorDeletesShownType_boxWithoutSelection()
{
    FaultCodeDialog dialog(m_document);
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvCode"));
    auto *box = dialog.findChild<QComboBox *>(QStringLiteral("cbType"));
    chooseType(box, QStringLiteral("Без кодов"));

    ModalResponder modal;
    modal.expect([&modal](QWidget *editor) {
        QVERIFY(qobject_cast<FaultTypeDialog *>(editor));
        auto *types = editor->findChild<QTableView *>(QStringLiteral("tvType"));
        QVERIFY(makeCurrent(types, QStringLiteral("Без кодов")));
        modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
        tool(editor, "btDelete")->click();
        editor->findChild<QPushButton *>(QStringLiteral("pushButtonClose"))->click();
    });
    QToolButton *typeButton = tool(&dialog, "btType");
    QCOMPARE(typeButton->text(), QStringLiteral("..."));
    typeButton->click();
    QTRY_COMPARE(modal.pending(), 0);
    QCOMPARE(modal.unexpected(), 0);

    QCOMPARE(
        m_fx->value(
                QStringLiteral("SELECT count(*) FROM qms.t_fault_type WHERE id = %1").arg(m_empty))
            .toInt(),
        0);
    QCOMPARE(box->currentIndex(), -1);
    QCOMPARE(box->findText(QStringLiteral("Без кодов")), -1);
    QVERIFY(box->findText(QStringLiteral("Механика")) >= 0);
    QCOMPARE(visibleRows(view), 0);
    QVERIFY(!okButton(&dialog)->isEnabled());
}

void TestFaults::addType_storesCounterSettings()
{
    FaultTypeDialog dialog;
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Тип дефекта"));
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvType"));
    const int before = view->model()->rowCount();

    ModalResponder modal;
    modal.expect(ModalResponder::enterText(QStringLiteral("Корпус")));
    modal.expect(ModalResponder::enterText(QStringLiteral("TST_CASE")));
    modal.expect(ModalResponder::enterText(QStringLiteral("CS-")));
    tool(&dialog, "btAdd")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(modal.unexpected(), 0);

    QCOMPARE(
        m_fx->value(QStringLiteral("SELECT c_sys_name || '/' || c_prefix FROM qms.t_fault_type "
                                   "WHERE c_name = 'Корпус'"))
            .toString(),
        QStringLiteral("TST_CASE/CS-"));
    QCOMPARE(view->model()->rowCount(), before + 1);
    QCOMPARE(view->currentIndex().row(), before);
    QVERIFY(tool(&dialog, "btEdit")->isEnabled());

    // Its codes are numbered from its own counter with its prefix.
    FaultCodeDialog codes(m_document);
    chooseType(codes.findChild<QComboBox *>(QStringLiteral("cbType")), QStringLiteral("Корпус"));
    modal.expect(fillCodeForm(QStringLiteral("Люфт"), QStringLiteral("Корпус")));
    tool(&codes, "btAdd")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(codes.currentText(), QStringLiteral("CS-1"));
}

void TestFaults::addType_cancelledOrEmptyPrompt_storesNothing_data()
{
    QTest::addColumn<int>("failingPrompt");
    QTest::addColumn<bool>("cancelled");
    for (int prompt = 0; prompt < 3; ++prompt) {
        QTest::addRow("cancel prompt %d", prompt + 1) << prompt << true;
        QTest::addRow("empty prompt %d", prompt + 1) << prompt << false;
    }
}

void TestFaults::addType_cancelledOrEmptyPrompt_storesNothing()
{
    QFETCH(int, failingPrompt);
    QFETCH(bool, cancelled);
    const QStringList answers{QStringLiteral("Корпус"), QStringLiteral("TST_CASE"),
                              QStringLiteral("CS-")};

    FaultTypeDialog dialog;
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvType"));
    const int before = view->model()->rowCount();
    const int stored = m_fx->value(QStringLiteral("SELECT count(*) FROM qms.t_fault_type")).toInt();

    ModalResponder modal;
    for (int prompt = 0; prompt < failingPrompt; ++prompt)
        modal.expect(ModalResponder::enterText(answers.at(prompt)));
    modal.expect(cancelled ? ModalResponder::cancel() : ModalResponder::enterText(QString()));
    tool(&dialog, "btAdd")->click();
    QCOMPARE(modal.pending(), 0);
    // Nothing is said and nothing else is asked.
    QCOMPARE(modal.unexpected(), 0);
    QVERIFY(modal.messages().isEmpty());

    QCOMPARE(m_fx->value(QStringLiteral("SELECT count(*) FROM qms.t_fault_type")).toInt(), stored);
    QCOMPARE(view->model()->rowCount(), before);
}

void TestFaults::renameType_sameTextStoresNothing()
{
    FaultTypeDialog dialog;
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvType"));
    QVERIFY(makeCurrent(view, QStringLiteral("Механика")));

    // xmin changes with every stored version of the row.
    const QString version =
        QStringLiteral("SELECT xmin::text FROM qms.t_fault_type WHERE id = %1").arg(m_mech);
    const QString before = m_fx->value(version).toString();

    ModalResponder modal;
    modal.expect([](QWidget *prompt) {
        QCOMPARE(prompt->windowTitle(), QStringLiteral("Тип дефекта"));
        QCOMPARE(prompt->findChild<QLineEdit *>()->text(), QStringLiteral("Механика"));
        ModalResponder::enterText(QStringLiteral("Механика"))(prompt);
    });
    tool(&dialog, "btEdit")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(m_fx->value(version).toString(), before);

    modal.expect(ModalResponder::enterText(QStringLiteral("Механические")));
    tool(&dialog, "btEdit")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(m_fx->value(QStringLiteral("SELECT c_name || '/' || c_sys_name || '/' || c_prefix "
                                        "FROM qms.t_fault_type WHERE id = %1")
                             .arg(m_mech))
                 .toString(),
             QStringLiteral("Механические/TST_MECH/TM-"));
}

void TestFaults::deleteTypeInUse_refusedAndKept()
{
    FaultTypeDialog dialog;
    auto *view = dialog.findChild<QTableView *>(QStringLiteral("tvType"));
    const int before = view->model()->rowCount();
    QVERIFY(makeCurrent(view, QStringLiteral("Механика")));

    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    tool(&dialog, "btDelete")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(modal.messages(),
             (QStringList{QStringLiteral("Удаление типа|Удалить тип дефекта Механика?"),
                          QStringLiteral("Внимание|Тип дефекта Механика содержит коды дефектов и "
                                         "не может быть удален")}));
    QCOMPARE(m_fx->value(QStringLiteral("SELECT count(*) FROM qms.t_fault_code WHERE id_type = %1")
                             .arg(m_mech))
                 .toInt(),
             2);
    QCOMPARE(
        m_fx->value(
                QStringLiteral("SELECT count(*) FROM qms.t_fault_type WHERE id = %1").arg(m_mech))
            .toInt(),
        1);
    QCOMPARE(view->model()->rowCount(), before);

    // The refused deletion is not sent again with the next change.
    modal.expect(ModalResponder::enterText(QStringLiteral("Корпус")));
    modal.expect(ModalResponder::enterText(QStringLiteral("TST_CASE")));
    modal.expect(ModalResponder::enterText(QStringLiteral("CS-")));
    tool(&dialog, "btAdd")->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(
        m_fx->value(QStringLiteral("SELECT count(*) FROM qms.t_fault_type WHERE c_name = 'Корпус'"))
            .toInt(),
        1);
    QCOMPARE(view->model()->rowCount(), before + 1);
}

void TestFaults::codeForm_emptyForm_bothWarnings()
{
    FaultCodeEditDialog form;
    QCOMPARE(form.windowTitle(), QStringLiteral("Редактирование кода дефекта"));
    auto *box = form.findChild<QComboBox *>(QStringLiteral("comboBoxType"));
    auto *accept = form.findChild<QPushButton *>(QStringLiteral("pushButtonAccept"));
    QCOMPARE(box->currentIndex(), -1);
    QVERIFY(box->findText(QStringLiteral("Механика")) >= 0);
    QVERIFY(!accept->isEnabled());
    QVERIFY(!form.check());

    QSqlRecord record = m_codes->getRecord(0);
    const QSqlRecord untouched = record;
    QVERIFY(!form.getRecord(record));
    QCOMPARE(record, untouched);

    form.show();
    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    QMetaObject::invokeMethod(&form, "accept");
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(modal.messages(), (QStringList{QStringLiteral("Внимание|Не задано описание"),
                                            QStringLiteral("Внимание|Не выбран тип")}));
    QVERIFY(form.isVisible());

    // Only the missing part is named.
    form.findChild<QLineEdit *>(QStringLiteral("lineEditDescription"))
        ->setText(QStringLiteral("Скол"));
    QVERIFY(!accept->isEnabled());
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    QMetaObject::invokeMethod(&form, "accept");
    QCOMPARE(modal.messages().size(), 3);
    QCOMPARE(modal.messages().last(), QStringLiteral("Внимание|Не выбран тип"));
    QVERIFY(form.isVisible());

    form.setType(m_elec);
    QVERIFY(accept->isEnabled());
    accept->click();
    QVERIFY(!form.isVisible());
    QCOMPARE(form.result(), int(QDialog::Accepted));
    QCOMPARE(modal.unexpected(), 0);
}

void TestFaults::codeForm_recordRoundTrip()
{
    FaultCodeDialog chooser(m_document); // opens the code table
    const int row = findRow(m_codes, QStringLiteral("c_name"), QStringLiteral("TM-101"));
    QVERIFY(row >= 0);
    QSqlRecord record = m_codes->getRecord(row);

    FaultCodeEditDialog form;
    form.setRecord(record);
    QCOMPARE(form.findChild<QLineEdit *>(QStringLiteral("lineEditCode"))->text(),
             QStringLiteral("TM-101"));
    QCOMPARE(form.findChild<QComboBox *>(QStringLiteral("comboBoxType"))->currentText(),
             QStringLiteral("Механика"));
    form.findChild<QLineEdit *>(QStringLiteral("lineEditDescription"))
        ->setText(QStringLiteral("Глубокая царапина"));
    form.setType(m_elec);

    // Only the description and the type are written back.
    record.setValue(QStringLiteral("c_name"), QStringLiteral("кто-то изменил"));
    const QVariant id = record.value(QStringLiteral("id"));
    QVERIFY(form.getRecord(record));
    QCOMPARE(record.value(QStringLiteral("c_description")).toString(),
             QStringLiteral("Глубокая царапина"));
    QCOMPARE(record.value(QStringLiteral("id_type")).toLongLong(), m_elec);
    QCOMPARE(record.value(QStringLiteral("c_name")).toString(), QStringLiteral("кто-то изменил"));
    QCOMPARE(record.value(QStringLiteral("id")), id);

    // A blank description is no description.
    form.findChild<QLineEdit *>(QStringLiteral("lineEditDescription"))
        ->setText(QStringLiteral("  "));
    QVERIFY(!form.check());
}

void TestFaults::rights_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<bool>("canEdit");
    QTest::newRow("holder of FAIL_CODE_CREATE") << QStringLiteral("kuznetsova") << true;
    QTest::newRow("no rights") << QStringLiteral("guest") << false;
}

void TestFaults::rights()
{
    QFETCH(QString, user);
    QFETCH(bool, canEdit);
    login(user);
    QCOMPARE(m_fx->connection()->canDo(QStringLiteral("FAIL_CODE_CREATE")), canEdit);

    FaultCodeDialog chooser(m_document);
    FaultTypeDialog types;
    for (QWidget *dialog : {static_cast<QWidget *>(&chooser), static_cast<QWidget *>(&types)}) {
        for (const char *name : {"btAdd", "btEdit", "btDelete"}) {
            QVERIFY2(tool(dialog, name)->isHidden() == !canEdit, name);
        }
    }
    QVERIFY(!tool(&chooser, "btType")->isHidden());

    // Browsing and choosing work either way.
    auto *view = chooser.findChild<QTableView *>(QStringLiteral("tvCode"));
    chooseType(chooser.findChild<QComboBox *>(QStringLiteral("cbType")),
               QStringLiteral("Механика"));
    QCOMPARE(visibleRows(view), 2);
    makeCurrent(view, findRow(m_codes, QStringLiteral("c_name"), QStringLiteral("TM-102")));
    QVERIFY(okButton(&chooser)->isEnabled());
    QCOMPARE(chooser.currentFullName(), QStringLiteral("TM-102 (Скол)"));
    QVERIFY(types.findChild<QTableView *>(QStringLiteral("tvType"))->model()->rowCount() >= 3);
}

// Opening a dialog reads each of its tables once (the SQL trace counts the
// selects): no open() before a fillComboBox that reads again.
void TestFaults::dialogs_readEachTableOnce_data()
{
    QTest::addColumn<QString>("dialog");
    QTest::addColumn<QString>("select");
    QTest::newRow("chooser: types") << "chooser"
                                    << "FROM qms.t_fault_type ORDER BY";
    QTest::newRow("chooser: codes") << "chooser"
                                    << "FROM qms.t_fault_code ORDER BY";
    QTest::newRow("code form: types") << "code form"
                                      << "FROM qms.t_fault_type ORDER BY";
    QTest::newRow("task: executors") << "task"
                                     << "JOIN sys.tl_user_access_right";
}

void TestFaults::dialogs_readEachTableOnce()
{
    QFETCH(QString, dialog);
    QFETCH(QString, select);
    QTemporaryDir dir;
    const QString trace = dir.filePath(QStringLiteral("trace.sql"));
    qApp->setProperty("SQLTraceFile", trace);
    if (dialog == QLatin1String("chooser"))
        FaultCodeDialog chooser(m_document);
    else if (dialog == QLatin1String("code form"))
        FaultCodeEditDialog form;
    else
        TaskDialog task(QStringLiteral("ДЕФ-000001"));
    qApp->setProperty("SQLTraceFile", QVariant());
    QFile file(trace);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll().count(select.toUtf8()), 1);
}

REJECTS_TEST_MAIN(TestFaults)
#include "tst_faults.moc"
