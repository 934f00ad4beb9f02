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
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTableView>
#include <QToolButton>

extern "C" QDataSet *getDocument(QObject *parent);

namespace {

QToolButton *tool(QWidget *dialog, const char *name)
{
    return dialog->findChild<QToolButton *>(QLatin1String(name));
}

// Makes current the row that shows `text` in some column; false when none does.
bool makeCurrent(QWidget *dialog, const QString &text)
{
    auto *view = dialog->findChild<QTableView *>();
    for (int r = 0; r < view->model()->rowCount(); ++r)
        for (int c = 0; c < view->model()->columnCount(); ++c)
            if (view->model()->index(r, c).data().toString() == text) {
                view->setCurrentIndex(view->model()->index(r, c));
                return true;
            }
    return false;
}

void chooseType(QWidget *dialog, const QString &name)
{
    dialog->findChild<QComboBox *>()->setCurrentText(name);
    QCOMPARE(dialog->findChild<QComboBox *>()->currentText(), name);
}

// The codes the chooser lists, the current one marked with '*', and " ok"
// while Ok takes a code.
QString listed(QWidget *chooser, QDataTable *codes)
{
    auto *view = chooser->findChild<QTableView *>();
    QStringList names;
    for (int row = 0; row < view->model()->rowCount(); ++row) {
        if (view->isRowHidden(row))
            continue;
        const QString mark = view->currentIndex().row() == row ? QStringLiteral("*") : QString();
        names << mark + codes->getRecord(row).value(QStringLiteral("c_name")).toString();
    }
    const bool ok =
        chooser->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->isEnabled();
    return names.join(QLatin1Char(',')) + (ok ? QStringLiteral(" ok") : QString());
}

// Fills the code form and accepts it; no type keeps the one the form shows.
ModalResponder::Answer fillCodeForm(const QString &description, const QString &type)
{
    return [description, type](QWidget *modal) {
        QVERIFY(qobject_cast<FaultCodeEditDialog *>(modal));
        modal->findChild<QLineEdit *>(QStringLiteral("lineEditDescription"))->setText(description);
        if (!type.isEmpty())
            modal->findChild<QComboBox *>()->setCurrentText(type);
        modal->findChild<QPushButton *>(QStringLiteral("pushButtonAccept"))->click();
    };
}

} // namespace

class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void chooser_changesStoredAndListed();
    void deleteInUse_refusedWithReason_data();
    void deleteInUse_refusedWithReason();

    void typeEditor_data();
    void typeEditor();

    void rights_data();
    void rights();

    void dialogs_readEachTableOnce_data();
    void dialogs_readEachTableOnce();

private:
    void login(const QString &user);
    // What the database holds, in creation order: "name=description" of a
    // type's codes, or with no type "name/counter/prefix/version" of the
    // types made here.
    QString stored(qint64 type = 0) const;

    std::unique_ptr<TestFixture> m_fx;
    QDataSet *m_document = nullptr;
    QDataTable *m_codes = nullptr;
    qint64 m_mech = 0;
    qint64 m_elec = 0;
};

void TestFaults::init()
{
    START_FIXTURE(m_fx, QStringLiteral("faults"));
    login(QStringLiteral("kuznetsova"));
    const QString type = QStringLiteral("INSERT INTO qms.t_fault_type (c_name, c_sys_name, "
                                        "c_prefix) VALUES ('%1', '%2', '%3') RETURNING id");
    m_mech = m_fx->value(type.arg("Механика", "TST_MECH", "TM-")).toLongLong();
    m_elec = m_fx->value(type.arg("Электрика", "TST_ELEC", "TE-")).toLongLong();
    m_fx->value(type.arg("Без кодов", "TST_NONE", "TN-"));
    // From here on a type or code written outside a transaction block of its
    // own is refused: every user action writes in one transaction.
    m_fx->value(
        QStringLiteral(
            "INSERT INTO qms.t_fault_code (id_type, c_name, c_description) VALUES (%1, 'TM-101', "
            "'Царапина корпуса'), (%1, 'TM-102', 'Скол'), (%2, 'TE-201', 'Обрыв'); CREATE FUNCTION "
            "qms.f_tst_in_block() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN IF "
            "statement_timestamp() = transaction_timestamp() THEN RAISE EXCEPTION 'вне "
            "транзакции'; "
            "END IF; RETURN coalesce(NEW, OLD); END $$; CREATE TRIGGER t_tst_in_block BEFORE "
            "INSERT "
            "OR UPDATE OR DELETE ON qms.t_fault_type FOR EACH ROW EXECUTE FUNCTION "
            "qms.f_tst_in_block(); CREATE TRIGGER t_tst_in_block BEFORE INSERT OR UPDATE OR DELETE "
            "ON qms.t_fault_code FOR EACH ROW EXECUTE FUNCTION qms.f_tst_in_block()")
            .arg(m_mech)
            .arg(m_elec));
}

// Logs `user` in for real and points the module's data set at the new
// connection (the data set lives as long as the process).
void TestFaults::login(const QString &user)
{
    QVERIFY2(m_fx->login(user), qPrintable(m_fx->error()));
    m_document = getDocument(qApp);
    for (QDataTable *table : m_document->tables())
        table->setConnection(m_fx->connection());
    m_codes = m_document->getTable(QStringLiteral("t_fault_code"));
    QVERIFY(m_codes);
}

QString TestFaults::stored(qint64 type) const
{
    const QString sql =
        type ? QStringLiteral("SELECT string_agg(c_name || '=' || c_description, ',' ORDER BY id) "
                              "FROM qms.t_fault_code WHERE id_type = %1")
             : QStringLiteral("SELECT string_agg(concat_ws('/', c_name, c_sys_name, c_prefix, "
                              "n_version), ',' ORDER BY id) FROM qms.t_fault_type WHERE id >= %1");
    return m_fx->value(sql.arg(type ? type : m_mech)).toString();
}

void TestFaults::chooser_changesStoredAndListed()
{
    {
        FaultCodeDialog dialog(m_document);
        chooseType(&dialog, QStringLiteral("Механика"));

        // The form names what is missing (a blank description is none) and stays
        // open; a code added under another type is numbered by it, not listed here.
        ModalResponder modal;
        modal.expect([](QWidget *form) {
            auto *description = form->findChild<QLineEdit *>(QStringLiteral("lineEditDescription"));
            description->setText(QStringLiteral("  "));
            form->findChild<QComboBox *>()->setCurrentIndex(-1);
            QMetaObject::invokeMethod(form, "accept");
            description->setText(QStringLiteral("Пробой"));
            QVERIFY(
                !form->findChild<QPushButton *>(QStringLiteral("pushButtonAccept"))->isEnabled());
            QMetaObject::invokeMethod(form, "accept");
            fillCodeForm(QStringLiteral("Пробой"), QStringLiteral("Электрика"))(form);
        });
        for (int warning = 0; warning < 3; ++warning)
            modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
        tool(&dialog, "btAdd")->click();
        QCOMPARE(modal.messages().join(','),
                 QStringLiteral("Внимание|Не задано описание,Внимание|Не выбран тип,Внимание|Не "
                                "выбран тип"));
        QCOMPARE(listed(&dialog, m_codes), QStringLiteral("TM-101,TM-102"));

        // The form opens on the shown type; the number is the database's.
        modal.expect(fillCodeForm(QStringLiteral("Вмятина"), QString()));
        tool(&dialog, "btAdd")->click();
        QCOMPARE(listed(&dialog, m_codes), QStringLiteral("TM-101,TM-102,*TM-1 ok"));
        QCOMPARE(QString(dialog.currentText() + '|' + dialog.currentDescription() + '|' +
                         dialog.currentFullName()),
                 QStringLiteral("TM-1|Вмятина|TM-1 (Вмятина)"));
        QCOMPARE(dialog.currentData(),
                 m_fx->value("SELECT id FROM qms.t_fault_code WHERE c_name = 'TM-1'").toLongLong());
        modal.expect(fillCodeForm(QStringLiteral("Трещина"), QString()));
        tool(&dialog, "btAdd")->click();

        // Edited into another type: the form shows the code, which is kept; it leaves the list.
        QVERIFY(makeCurrent(&dialog, QStringLiteral("TM-102")));
        modal.expect([](QWidget *form) {
            const auto edits = form->findChildren<QLineEdit *>();
            QCOMPARE(QString(edits.at(0)->text() + '|' + edits.at(1)->text() + '|' +
                             form->findChild<QComboBox *>()->currentText()),
                     QStringLiteral("TM-102|Скол|Механика"));
            fillCodeForm(QStringLiteral("Скол эмали"), QStringLiteral("Электрика"))(form);
        });
        tool(&dialog, "btEdit")->click();
        QCOMPARE(listed(&dialog, m_codes), QStringLiteral("TM-101,TM-1,TM-2"));

        // Deleted only on Ok.
        QVERIFY(makeCurrent(&dialog, QStringLiteral("TM-101")));
        modal.expect(ModalResponder::pressButton(QMessageBox::Cancel));
        tool(&dialog, "btDelete")->click();
        modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
        tool(&dialog, "btDelete")->click();
        QCOMPARE(modal.messages().mid(3).join(','),
                 QStringLiteral("Удаление|Удалить дефект TM-101?,Удаление|Удалить дефект TM-101?"));
        QCOMPARE(stored(m_mech), QStringLiteral("TM-1=Вмятина,TM-2=Трещина"));
        QCOMPARE(listed(&dialog, m_codes), QStringLiteral("*TM-1,TM-2 ok"));

        chooseType(&dialog, QStringLiteral("Электрика"));
        QCOMPARE(listed(&dialog, m_codes), QStringLiteral("TM-102,TE-201,TE-1"));
        QCOMPARE(stored(m_elec), QStringLiteral("TM-102=Скол эмали,TE-201=Обрыв,TE-1=Пробой"));

        // A type without codes leaves nothing to choose; deleted in the type
        // editor, it leaves the box without a choice.
        chooseType(&dialog, QStringLiteral("Без кодов"));
        QCOMPARE(listed(&dialog, m_codes), QString());
        QCOMPARE(dialog.currentData(), qint64(0));
        QCOMPARE(dialog.currentFullName(), QString());
        modal.expect([&modal](QWidget *editor) {
            QVERIFY(makeCurrent(editor, QStringLiteral("Без кодов")));
            modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
            tool(editor, "btDelete")->click();
            editor->findChild<QPushButton *>(QStringLiteral("pushButtonClose"))->click();
        });
        tool(&dialog, "btType")->click();
        QTRY_COMPARE(modal.pending(), 0);
        QCOMPARE(modal.unexpected(), 0);
        QCOMPARE(stored(), QStringLiteral("Механика/TST_MECH/TM-/1,Электрика/TST_ELEC/TE-/1"));
        auto *box = dialog.findChild<QComboBox *>();
        QCOMPARE(box->currentIndex(), -1);
        QVERIFY(box->findText(QStringLiteral("Без кодов")) < 0 && box->findText("Механика") >= 0);
        QCOMPARE(listed(&dialog, m_codes), QString());
    }
    // The defect editor shares the code table and must see every code.
    QVERIFY(!m_codes->hasFilter(QStringLiteral("id_type")));
}

// A fault type with codes, and a code that a defect of the demo plant names:
// the refusal is said with the database's reason, and nothing stays pending.
void TestFaults::deleteInUse_refusedWithReason_data()
{
    QTest::addColumn<bool>("code");
    QTest::addColumn<QString>("said");
    QTest::newRow("type with codes")
        << false
        << QStringLiteral("Удаление типа|Удалить тип дефекта Механика?,Внимание|Тип дефекта "
                          "Механика содержит коды дефектов и не может быть удален");
    QTest::newRow("code in the register")
        << true
        << QStringLiteral("Удаление|Удалить дефект %1?,Внимание|Код дефекта %1 используется в "
                          "реестре и не может быть удален");
}

void TestFaults::deleteInUse_refusedWithReason()
{
    QFETCH(bool, code);
    QFETCH(QString, said);
    const QStringList used =
        m_fx->value(QStringLiteral("SELECT fc.c_name || '|' || fc.id_type FROM docs.t_process_exam "
                                   "pe JOIN qms.t_fault_code fc ON fc.id = pe.id_fault LIMIT 1"))
            .toString()
            .split('|');
    QCOMPARE(used.size(), 2);
    const qint64 type = code ? used.value(1).toLongLong() : m_mech;
    const QString codes = stored(type);
    FaultCodeDialog chooser(m_document);
    FaultTypeDialog types;
    QWidget *dialog = code ? static_cast<QWidget *>(&chooser) : &types;
    auto *box = chooser.findChild<QComboBox *>();
    box->setCurrentIndex(box->findData(type));
    QVERIFY(makeCurrent(dialog, code ? used.first() : QStringLiteral("Механика")));
    QHeaderView *rows = dialog->findChild<QTableView *>()->verticalHeader();
    const int shown = rows->count() - rows->hiddenSectionCount();

    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    tool(dialog, "btDelete")->click();
    QCOMPARE(modal.messages().join(','), said.replace(QStringLiteral("%1"), used.first()));
    QCOMPARE(stored(type), codes);
    QCOMPARE(rows->count() - rows->hiddenSectionCount(), shown);

    // Nothing stays pending: the next save (the defect editor's) does not send it again.
    QVERIFY(!(code ? m_codes : types.findChild<QDataTable *>())->isModified());
    QVERIFY(m_document->commit(m_fx->connection()));
}

// Adding a type asks three questions, renaming one; a cancelled, empty or
// unchanged answer stores nothing and says nothing.
void TestFaults::typeEditor_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<QString>("types");
    const QString kept = QStringLiteral("Механика/TST_MECH/TM-/1,Электрика/TST_ELEC/TE-/1,Без "
                                        "кодов/TST_NONE/TN-/1");
    const QStringList all{QStringLiteral("Корпус"), QStringLiteral("TST_CASE"),
                          QStringLiteral("CS-")};
    QTest::newRow("add") << "btAdd" << all << kept + QStringLiteral(",Корпус/TST_CASE/CS-/1");
    for (int prompt = 0; prompt < 3; ++prompt) {
        QTest::addRow("add: prompt %d cancelled", prompt + 1)
            << "btAdd" << all.mid(0, prompt) + QStringList{QString()} << kept;
        QTest::addRow("add: prompt %d empty", prompt + 1)
            << "btAdd" << all.mid(0, prompt) + QStringList{QStringLiteral("")} << kept;
    }
    // A null answer cancels the prompt; '+' stands for the text it shows.
    QTest::newRow("rename: same name") << "btEdit" << QStringList{"+"} << kept;
    QTest::newRow("rename") << "btEdit" << QStringList{QStringLiteral("+ и литье")}
                            << QString(kept).replace("Механика/TST_MECH/TM-/1",
                                                     "Механика и литье/TST_MECH/TM-/2");
}

void TestFaults::typeEditor()
{
    QFETCH(QString, button);
    QFETCH(QStringList, answers);
    QFETCH(QString, types);
    FaultTypeDialog dialog;
    auto *view = dialog.findChild<QTableView *>();
    const int before = view->model()->rowCount();
    QVERIFY(makeCurrent(&dialog, QStringLiteral("Механика")));

    ModalResponder modal;
    for (const QString &answer : answers)
        modal.expect([answer](QWidget *prompt) {
            const QString shown = prompt->findChild<QLineEdit *>()->text();
            (answer.isNull()
                 ? ModalResponder::cancel()
                 : ModalResponder::enterText(QString(answer).replace('+', shown)))(prompt);
        });
    tool(&dialog, qPrintable(button))->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(modal.unexpected(), 0);
    QCOMPARE(modal.messages(), QStringList());
    QCOMPARE(stored(), types);
    const int added = types.count(',') - 2;
    QCOMPARE(view->model()->rowCount(), before + added);
    if (added)
        QCOMPARE(view->currentIndex().row(), before);
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
    for (QWidget *dialog : {static_cast<QWidget *>(&chooser), static_cast<QWidget *>(&types)})
        for (const char *name : {"btAdd", "btEdit", "btDelete"})
            QVERIFY2(tool(dialog, name)->isHidden() == !canEdit, name);
    QVERIFY(!tool(&chooser, "btType")->isHidden());

    // Browsing and choosing work either way.
    chooseType(&chooser, QStringLiteral("Механика"));
    QVERIFY(makeCurrent(&chooser, QStringLiteral("TM-102")));
    QCOMPARE(listed(&chooser, m_codes), QStringLiteral("TM-101,*TM-102 ok"));
    QVERIFY(makeCurrent(&types, QStringLiteral("Без кодов")));
}

// Opening a dialog reads each of its tables once (the SQL trace counts the
// selects): no open() before a fillComboBox that reads again.
void TestFaults::dialogs_readEachTableOnce_data()
{
    QTest::addColumn<QString>("select");
    QTest::newRow("chooser: types") << QStringLiteral("FROM qms.t_fault_type ORDER BY");
    QTest::newRow("chooser: codes") << QStringLiteral("FROM qms.t_fault_code ORDER BY");
    QTest::newRow("code form: types") << QStringLiteral("FROM qms.t_fault_type ORDER BY");
    QTest::newRow("task: executors") << QStringLiteral("JOIN sys.tl_user_access_right");
}

void TestFaults::dialogs_readEachTableOnce()
{
    QFETCH(QString, select);
    const QString dialog = QString::fromUtf8(QTest::currentDataTag()).section(':', 0, 0);
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
