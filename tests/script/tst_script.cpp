#include "eventregistry.h"
#include "modalresponder.h"
#include "qscriptguiadapter.h"
#include "qscriptparams.h"
#include "recordhelpers.h"
#include "scriptbridge.h"
#include "testfixture.h"
#include "testmain.h"
#include "ui_scriptform.h"

#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QSqlRecord>

namespace {

qlonglong handled = 0; // what the last handler called was given

void firstHandler(QString, qlonglong id)
{
    handled = id;
}

void secondHandler(QString, qlonglong id)
{
    handled = -id;
}

} // namespace

class tst_Script : public QObject
{
    Q_OBJECT

private slots:
    void registry_firstHandlerPerTrimmedLowerCaseName();
    void params_walkInNameOrder();
    void params_askTheUser();
    void guiAdapter_fillsAndReadsTheFormsWidgetsByName();
    void runScript_namedScriptOnThePublishedConnection();
};

// The host publishes one registry for the process before any module loads;
// without it nothing registers and nothing is found. The first handler of an
// event stays, whoever registers it again.
void tst_Script::registry_firstHandlerPerTrimmedLowerCaseName()
{
    QVERIFY(!eventRegistry());
    QVERIFY(!registerEventHandler(QStringLiteral("t_process_exam"), firstHandler, "rejects"));
    QVERIFY(!getEventHandler(QStringLiteral("t_process_exam")).func);
    const QVariant published = publishEventRegistry();
    eventHandlerMap *registry = eventRegistry();
    QVERIFY(registry && qApp->property("EventHandlers") == published);

    QVERIFY(!registerEventHandler(QStringLiteral("t_process_exam"), nullptr, "rejects"));
    QVERIFY(registerEventHandler(QStringLiteral("  T_Process_Exam \t"), firstHandler, "rejects"));
    QVERIFY(!registerEventHandler(QStringLiteral("T_PROCESS_EXAM "), secondHandler, "other"));
    // The same module registering again, as it does on every icon request.
    QVERIFY(!registerEventHandler(QStringLiteral("t_process_exam"), firstHandler, "rejects"));
    QVERIFY(registerEventHandler(QStringLiteral("t_repair_plan"), secondHandler, "other"));
    QCOMPARE(registry->keys(), (QStringList{"t_process_exam", "t_repair_plan"}));
    const eventHandlerInfo info = getEventHandler(QStringLiteral(" t_Process_EXAM "));
    QCOMPARE(info.owner, QStringLiteral("rejects"));
    info.func(QStringLiteral("t_process_exam"), 42);
    QCOMPARE(handled, 42);
    QVERIFY(getEventHandler(QStringLiteral("t_repair_plan")).func == secondHandler);
    const eventHandlerInfo unknown = getEventHandler(QStringLiteral("t_process"));
    QVERIFY(unknown.owner.isEmpty() && !unknown.func);

    // A host that publishes a registry of its own keeps it.
    eventHandlerMap hostRegistry;
    qApp->setProperty("EventHandlers", objToVar(&hostRegistry));
    publishEventRegistry();
    QVERIFY(registerEventHandler(QStringLiteral("x"), firstHandler, QStringLiteral("host")));
    QCOMPARE(hostRegistry.keys(), QStringList{"x"});
    qApp->setProperty("EventHandlers", QVariant());
    publishEventRegistry();
    QCOMPARE(eventRegistry(), registry);
    QCOMPARE(registry->count(), 2);
}

// Whatever order they are given in, the values are walked in name order; the
// cursor stops at both ends; new data replaces the old, and a name without a
// value is dropped.
void tst_Script::params_walkInNameOrder()
{
    QScriptParams params;
    QVERIFY(!params.first() && !params.last() && !params.next() && !params.prev());
    QVERIFY(!params.getCurrentValue().isValid() && params.getCurrentName().isEmpty());
    params.setData({"old"}, {0});
    params.setData({"zeta", "mid", "alpha", "none"}, {3.5, QStringLiteral("два"), 1});
    QCOMPARE(params.count(), 3);
    QVERIFY(!params.getParam(QStringLiteral("old")).isValid());

    QVERIFY(params.first() && !params.prev());
    QStringList walked;
    do {
        walked << params.getCurrentName() + '=' + params.getCurrentValue().toString();
    } while (params.next());
    QCOMPARE(walked.join(' '), QStringLiteral("alpha=1 mid=два zeta=3.5"));
    QCOMPARE(params.getCurrentName(), QStringLiteral("zeta"));
    QVERIFY(params.last() && params.prev());
    QCOMPARE(params.getCurrentName(), QStringLiteral("mid"));
    params.clear();
    QCOMPARE(params.count(), 0);
}

// Yes/No questions (true only for Yes), an existing file ("*" without a
// filter, empty when cancelled), and the reserved value question that asks
// nothing.
void tst_Script::params_askTheUser()
{
    QScriptParams params;
    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Yes));
    modal.expect(ModalResponder::pressButton(QMessageBox::No));
    QVERIFY(params.askToUser(QStringLiteral("Отчет"), QStringLiteral("Печатать?")));
    QVERIFY(!params.askToUser(QStringLiteral("Отчет"), QStringLiteral("Печатать?")));
    QCOMPARE(modal.messages(), (QStringList{"Отчет|Печатать?", "Отчет|Печатать?"}));

    const QString file = QStringLiteral(DB_DIR "/schema.sql");
    QStringList seen;
    const auto choose = [&seen](const QString &path) {
        return [&seen, path](QWidget *window) {
            auto *dialog = qobject_cast<QFileDialog *>(window);
            QVERIFY(dialog);
            seen << dialog->windowTitle() + '|' + dialog->nameFilters().join(';');
            dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(path);
            if (path.isEmpty())
                dialog->reject();
            else
                static_cast<QDialog *>(dialog)->accept();
            QVERIFY(dialog->isHidden()); // or else the test fails at once
        };
    };
    modal.expect(choose(file));
    modal.expect(choose(QString()));
    QCOMPARE(params.getFromFile(QStringLiteral("SQL (*.sql)")), file);
    QVERIFY(params.getFromFile(QString()).isEmpty());
    QCOMPARE(seen, (QStringList{"Open file|SQL (*.sql)", "Open file|*"}));

    QVERIFY(
        !params.getFromUser(QStringLiteral("t"), QStringLiteral("l"), QVariant::Int, 5).isValid());
    QCOMPARE(modal.unexpected(), 0);
}

// Names the form does not hold, or of the other kind of widget, and calls
// before a form is set are ignored.
void tst_Script::guiAdapter_fillsAndReadsTheFormsWidgetsByName()
{
    QWidget form;
    Ui::ScriptForm ui;
    ui.setupUi(&form);
    QScriptGUIAdapter adapter;
    adapter.addToCombo(QStringLiteral("cbStage"), QStringLiteral("x"), 1);
    QVERIFY(!adapter.getComboData(QStringLiteral("cbStage")).isValid());
    adapter.setForm(&form);
    adapter.addToCombo(QStringLiteral("cbStage"), QStringLiteral("Входной контроль"), 11);
    adapter.addToCombo(QStringLiteral("cbStage"), QStringLiteral("Сборка"), 12);
    adapter.addToList(QStringLiteral("lwCodes"), QStringLiteral("101 Трещина"), 101);
    adapter.addToList(QStringLiteral("lwCodes"), QStringLiteral("102 Скол"), 102);
    adapter.addToCombo(QStringLiteral("lwCodes"), QStringLiteral("x"), 1);
    adapter.addToList(QStringLiteral("cbStage"), QStringLiteral("x"), 1);
    adapter.addToCombo(QStringLiteral("cbMissing"), QStringLiteral("x"), 1);
    adapter.addToList(QStringLiteral("lwMissing"), QStringLiteral("x"), 1);
    QCOMPARE(ui.cbStage->count() + ui.lwCodes->count(), 4);
    QCOMPARE(adapter.getComboData(QStringLiteral("cbStage")), QVariant(11));
    QVERIFY(!adapter.getListData(QStringLiteral("lwCodes")).isValid()); // no current item yet

    ui.cbStage->setCurrentIndex(1);
    ui.lwCodes->setCurrentRow(1);
    QCOMPARE(adapter.getComboData(QStringLiteral("cbStage")), QVariant(12));
    QCOMPARE(adapter.getListData(QStringLiteral("lwCodes")), QVariant(102));
    QCOMPARE(adapter.getListText(QStringLiteral("lwCodes")), QStringLiteral("102 Скол"));
    QVERIFY(!adapter.getComboData(QStringLiteral("cbMissing")).isValid());
    QVERIFY(!adapter.getListData(QStringLiteral("lwMissing")).isValid());
    QVERIFY(adapter.getListText(QStringLiteral("lwMissing")).isEmpty());
}

// Named scripts run on the logged-in connection the host published, with the
// user's rights, the values filling the placeholders in order.
void tst_Script::runScript_namedScriptOnThePublishedConnection()
{
    TestFixture fx(QStringLiteral("script"));
    QVERIFY2(fx.isValid(), qPrintable(fx.error()));

    // On its first row at once; a script gets the row as its parameters.
    QSqlQuery types = runScript(QStringLiteral("FAULT_TYPE_SELECT"));
    QVERIFY(types.isValid());
    QCOMPARE(types.value(QStringLiteral("c_name")),
             fx.value(QStringLiteral("SELECT c_name FROM qms.t_fault_type ORDER BY c_name")));
    QSqlRecord record = types.record();
    QScriptParams row(this, &record);
    QCOMPARE(row.count(), record.count());
    QCOMPARE(row.getParam(QStringLiteral("c_name")), types.value(QStringLiteral("c_name")));
    QVERIFY(!row.getParam(QStringLiteral("C_NAME")).isValid());

    QVERIFY(runScript(QStringLiteral("USER_ATTR_WRITE"),
                      {QStringLiteral("Script"), QStringLiteral("last"),
                       QStringLiteral("Отчет по браку"), 10})
                .isActive());
    QSqlQuery own(QSqlDatabase::database(LoggedInConnection::connectionName()));
    runScript(QStringLiteral("USER_ATTR_READ"), &own,
              {QStringLiteral("Script"), QStringLiteral("last")});
    QCOMPARE(own.value(0).toString() + '|' + own.value(1).toString(),
             QStringLiteral("Отчет по браку|10"));
    runScript(QStringLiteral("USER_ATTR_READ"), nullptr, {});
    // Too few values: nothing is substituted and the statement fails.
    QVERIFY(!runScript(QStringLiteral("USER_ATTR_READ"), {QStringLiteral("Script")}).isActive());

    // Without the application's connection nothing runs.
    const QVariant connection = qApp->property("Connection");
    qApp->setProperty("Connection", QVariant());
    const QVariantList write{QStringLiteral("Script"), QStringLiteral("k"), QStringLiteral("v"),
                             10};
    QVERIFY(!runScript(QStringLiteral("USER_ATTR_WRITE"), write).isActive());
    runScript(QStringLiteral("USER_ATTR_WRITE"), &own, write);
    qApp->setProperty("Connection", connection);
    QCOMPARE(fx.value(QStringLiteral("SELECT count(*) FROM sys.t_user_attr WHERE c_group = "
                                     "'Script' AND c_key <> 'last'"))
                 .toInt(),
             0);

    // The user's rights hold: the guest reads the dictionary, but the database
    // refuses him a new fault type.
    QVERIFY2(fx.login(QStringLiteral("guest")), qPrintable(fx.error()));
    QVERIFY(runScript(QStringLiteral("FAULT_TYPE_SELECT")).isValid());
    const QVariantList type{QStringLiteral("Тип гостя"), QStringLiteral("GUEST"), QString()};
    QVERIFY(!runScript(QStringLiteral("FAULT_TYPE_INSERT"), type).isActive());
    QCOMPARE(fx.value(QStringLiteral("SELECT count(*) FROM qms.t_fault_type WHERE c_sys_name = "
                                     "'GUEST'"))
                 .toInt(),
             0);
}

REJECTS_TEST_MAIN(tst_Script)
#include "tst_script.moc"
