#include "eventregistry.h"
#include "qscriptguiadapter.h"
#include "qscriptparams.h"
#include "recordhelpers.h"
#include "scriptbridge.h"
#include "testfixture.h"
#include "testmain.h"
#include "ui_scriptform.h"

#include <QAbstractButton>
#include <QFileDialog>
#include <QLibrary>
#include <QMessageBox>
#include <QSqlDatabase>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>

namespace {

struct Call
{
    QString argument;
    qlonglong id;
};
QList<Call> firstCalls;
QList<Call> secondCalls;

void firstHandler(QString argument, qlonglong id)
{
    firstCalls.append({argument, id});
}

void secondHandler(QString argument, qlonglong id)
{
    secondCalls.append({argument, id});
}

// Answers the next modal dialog from the event loop.
template <typename Answer> void answerModal(Answer answer)
{
    QTimer::singleShot(0, [answer] {
        QWidget *modal = QApplication::activeModalWidget();
        QVERIFY(modal);
        answer(modal);
    });
}

} // namespace

class tst_Script : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    // event registry
    void registry_keysAreTrimmedAndLowerCased();
    void registry_secondRegistrationRefused_firstKept();
    void registry_missing_givesFalseAndEmptyEntries();
    void registry_publishedOnceForTheProcess();

    // script parameters
    void params_walkInNameOrder_data();
    void params_walkInNameOrder();
    void params_cursorStopsAtBothEnds();
    void params_fromRecordAndLookup();
    void params_askToUser_data();
    void params_askToUser();
    void params_getFromUser_reserved();
    void params_getFromFile_chosenOrCancelled();

    // form adapter
    void guiAdapter_comboAndList();
    void guiAdapter_unknownNamesAndNoForm();

    // named scripts
    void runScript_namedScript();

private:
    eventHandlerMap *registry = nullptr;
};

void tst_Script::initTestCase()
{
    QVERIFY(!eventRegistry());
    const QVariant published = publishEventRegistry();
    QVERIFY(published.isValid());
    registry = eventRegistry();
    QVERIFY(registry);
    QCOMPARE(qApp->property("EventHandlers"), published);
}

void tst_Script::init()
{
    qApp->setProperty("EventHandlers", objToVar(registry));
    registry->clear();
    firstCalls.clear();
    secondCalls.clear();
}

void tst_Script::registry_keysAreTrimmedAndLowerCased()
{
    QVERIFY(registerEventHandler(QStringLiteral("  T_Process_Exam \t"), firstHandler,
                                 QStringLiteral("rejects")));
    QCOMPARE(registry->keys(), QStringList{QStringLiteral("t_process_exam")});

    for (const QString &name : {QStringLiteral("t_process_exam"), QStringLiteral("T_PROCESS_EXAM"),
                                QStringLiteral(" t_Process_exam ")}) {
        const eventHandlerInfo info = getEventHandler(name);
        QCOMPARE(info.owner, QStringLiteral("rejects"));
        QVERIFY(info.func == firstHandler);
    }
    // The caller calls what it found.
    const eventHandlerInfo info = getEventHandler(QStringLiteral("t_process_exam"));
    info.func(QStringLiteral("t_process_exam"), 42);
    QCOMPARE(firstCalls.count(), 1);
    QCOMPARE(firstCalls.at(0).id, 42);

    const eventHandlerInfo unknown = getEventHandler(QStringLiteral("t_process"));
    QVERIFY(unknown.owner.isEmpty());
    QVERIFY(!unknown.func);
}

void tst_Script::registry_secondRegistrationRefused_firstKept()
{
    QVERIFY(registerEventHandler(QStringLiteral("t_process_exam"), firstHandler,
                                 QStringLiteral("rejects")));
    QVERIFY(!registerEventHandler(QStringLiteral("T_PROCESS_EXAM "), secondHandler,
                                  QStringLiteral("other")));
    // The same module registering again (as it does on every icon request).
    QVERIFY(!registerEventHandler(QStringLiteral("t_process_exam"), firstHandler,
                                  QStringLiteral("rejects")));
    QCOMPARE(registry->count(), 1);
    const eventHandlerInfo info = getEventHandler(QStringLiteral("t_process_exam"));
    QCOMPARE(info.owner, QStringLiteral("rejects"));
    QVERIFY(info.func == firstHandler);

    QVERIFY(registerEventHandler(QStringLiteral("t_repair_plan"), secondHandler,
                                 QStringLiteral("other")));
    QCOMPARE(registry->count(), 2);
    QVERIFY(getEventHandler(QStringLiteral("t_repair_plan")).func == secondHandler);
}

// Without a registry nothing registers and nothing is found.
void tst_Script::registry_missing_givesFalseAndEmptyEntries()
{
    QVERIFY(!registerEventHandler(QStringLiteral("t_process_exam"), nullptr,
                                  QStringLiteral("rejects")));
    QVERIFY(registry->isEmpty());
    QVERIFY(registerEventHandler(QStringLiteral("t_process_exam"), firstHandler,
                                 QStringLiteral("rejects")));
    qApp->setProperty("EventHandlers", QVariant());
    QVERIFY(!registerEventHandler(QStringLiteral("t_repair_plan"), secondHandler,
                                  QStringLiteral("other")));
    QVERIFY(!getEventHandler(QStringLiteral("t_process_exam")).func);
    QCOMPARE(registry->count(), 1);
}

void tst_Script::registry_publishedOnceForTheProcess()
{
    // A host that publishes a registry of its own keeps it.
    eventHandlerMap hostRegistry;
    qApp->setProperty("EventHandlers", objToVar(&hostRegistry));
    publishEventRegistry();
    QCOMPARE(eventRegistry(), &hostRegistry);
    QVERIFY(registerEventHandler(QStringLiteral("x"), firstHandler, QStringLiteral("host")));
    QCOMPARE(hostRegistry.count(), 1);
    QVERIFY(registry->isEmpty());

    qApp->setProperty("EventHandlers", QVariant());
    publishEventRegistry();
    QCOMPARE(eventRegistry(), registry);
}

void tst_Script::params_walkInNameOrder_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QVariantList>("values");
    QTest::newRow("given in order")
        << QStringList{"alpha", "mid", "zeta"} << QVariantList{1, QStringLiteral("два"), 3.5};
    QTest::newRow("given reversed")
        << QStringList{"zeta", "mid", "alpha"} << QVariantList{3.5, QStringLiteral("два"), 1};
}

void tst_Script::params_walkInNameOrder()
{
    QFETCH(QStringList, names);
    QFETCH(QVariantList, values);
    QScriptParams params;
    params.setData(QStringList{"old"}, QVariantList{0});
    params.setData(names, values);
    QCOMPARE(params.count(), 3);
    QCOMPARE(params.getParam(QStringLiteral("old")), QVariant());

    QVERIFY(params.first());
    QStringList walked;
    QVariantList seen;
    do {
        walked << params.getCurrentName();
        seen << params.getCurrentValue();
    } while (params.next());
    QCOMPARE(walked, (QStringList{"alpha", "mid", "zeta"}));
    QCOMPARE(seen, (QVariantList{1, QStringLiteral("два"), 3.5}));

    QVERIFY(params.last());
    QCOMPARE(params.getCurrentName(), QStringLiteral("zeta"));
    QVERIFY(params.prev());
    QCOMPARE(params.getCurrentName(), QStringLiteral("mid"));
}

void tst_Script::params_cursorStopsAtBothEnds()
{
    QScriptParams params;
    QVERIFY(!params.first() && !params.last() && !params.next() && !params.prev());
    QVERIFY(!params.getCurrentValue().isValid());
    params.setData(QStringList{"b", "a", "c"}, QVariantList{2, 1}); // "c" has no value
    QCOMPARE(params.count(), 2);
    QVERIFY(params.first());
    QVERIFY(!params.prev());
    QCOMPARE(params.getCurrentName(), QStringLiteral("a"));
    QVERIFY(params.next());
    QVERIFY(!params.next());
    QCOMPARE(params.getCurrentName(), QStringLiteral("b"));
    QCOMPARE(params.getCurrentValue(), QVariant(2));
    params.clear();
    QVERIFY(params.getCurrentName().isEmpty());
}

void tst_Script::params_fromRecordAndLookup()
{
    QSqlRecord record;
    record.append(QSqlField(QStringLiteral("id"), QVariant::LongLong));
    record.append(QSqlField(QStringLiteral("c_name"), QVariant::String));
    record.append(QSqlField(QStringLiteral("b_closed"), QVariant::Bool));
    record.setValue(QStringLiteral("id"), qlonglong(1005));
    record.setValue(QStringLiteral("c_name"), QStringLiteral("Д-17"));
    record.setValue(QStringLiteral("b_closed"), true);

    QScriptParams params(this, &record);
    QCOMPARE(params.count(), 3);
    QCOMPARE(params.getParam(QStringLiteral("id")).toLongLong(), 1005);
    QCOMPARE(params.getParam(QStringLiteral("c_name")).toString(), QStringLiteral("Д-17"));
    QVERIFY(!params.getParam(QStringLiteral("ID")).isValid());
    QVERIFY(params.first());
    QCOMPARE(params.getCurrentName(), QStringLiteral("b_closed"));
}

void tst_Script::params_askToUser_data()
{
    QTest::addColumn<int>("button");
    QTest::addColumn<bool>("answer");
    QTest::newRow("yes") << int(QMessageBox::Yes) << true;
    QTest::newRow("no") << int(QMessageBox::No) << false;
}

void tst_Script::params_askToUser()
{
    QFETCH(int, button);
    QFETCH(bool, answer);
    QScriptParams params;
    QString title;
    QString text;
    answerModal([&title, &text, button](QWidget *modal) {
        auto *box = qobject_cast<QMessageBox *>(modal);
        QVERIFY(box);
        title = box->windowTitle();
        text = box->text();
        QVERIFY(box->button(QMessageBox::Yes));
        QVERIFY(box->button(QMessageBox::No));
        box->button(QMessageBox::StandardButton(button))->click();
    });
    QCOMPARE(params.askToUser(QStringLiteral("Отчет"), QStringLiteral("Печатать?")), answer);
    QCOMPARE(title, QStringLiteral("Отчет"));
    QCOMPARE(text, QStringLiteral("Печатать?"));
}

void tst_Script::params_getFromUser_reserved()
{
    QScriptParams params;
    QVERIFY(
        !params.getFromUser(QStringLiteral("t"), QStringLiteral("l"), QVariant::Int, 5).isValid());
    QVERIFY(!QApplication::activeModalWidget());
}

void tst_Script::params_getFromFile_chosenOrCancelled()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("plan.csv"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();

    QScriptParams params;
    QString caption;
    answerModal([&caption, path](QWidget *modal) {
        auto *dialog = qobject_cast<QFileDialog *>(modal);
        QVERIFY(dialog);
        caption = dialog->windowTitle();
        dialog->selectFile(path);
        QMetaObject::invokeMethod(dialog, "accept");
    });
    QCOMPARE(params.getFromFile(QStringLiteral("CSV (*.csv)")), path);
    QCOMPARE(caption, QStringLiteral("Open file"));

    QStringList filters;
    answerModal([&filters](QWidget *modal) {
        auto *dialog = qobject_cast<QFileDialog *>(modal);
        QVERIFY(dialog);
        filters = dialog->nameFilters();
        dialog->reject();
    });
    QVERIFY(params.getFromFile(QString()).isEmpty());
    QCOMPARE(filters, QStringList{QStringLiteral("*")});
}

void tst_Script::guiAdapter_comboAndList()
{
    QWidget form;
    Ui::ScriptForm ui;
    ui.setupUi(&form);
    QScriptGUIAdapter adapter;
    adapter.setForm(&form);

    adapter.addToCombo(QStringLiteral("cbStage"), QStringLiteral("Входной контроль"), 11);
    adapter.addToCombo(QStringLiteral("cbStage"), QStringLiteral("Сборка"), 12);
    QCOMPARE(ui.cbStage->itemText(1), QStringLiteral("Сборка"));
    QCOMPARE(adapter.getComboData(QStringLiteral("cbStage")), QVariant(11));
    ui.cbStage->setCurrentIndex(1);
    QCOMPARE(adapter.getComboData(QStringLiteral("cbStage")), QVariant(12));

    adapter.addToList(QStringLiteral("lwCodes"), QStringLiteral("101 Трещина"), 101);
    adapter.addToList(QStringLiteral("lwCodes"), QStringLiteral("102 Скол"), 102);
    QVERIFY(!adapter.getListData(QStringLiteral("lwCodes")).isValid()); // no current item yet
    ui.lwCodes->setCurrentRow(1);
    QCOMPARE(adapter.getListData(QStringLiteral("lwCodes")), QVariant(102));
    QCOMPARE(adapter.getListText(QStringLiteral("lwCodes")), QStringLiteral("102 Скол"));
}

void tst_Script::guiAdapter_unknownNamesAndNoForm()
{
    QWidget form;
    Ui::ScriptForm ui;
    ui.setupUi(&form);
    QScriptGUIAdapter adapter;

    // No form yet.
    adapter.addToCombo(QStringLiteral("cbStage"), QStringLiteral("x"), 1);
    QCOMPARE(ui.cbStage->count(), 0);
    QVERIFY(!adapter.getComboData(QStringLiteral("cbStage")).isValid());

    adapter.setForm(&form);
    adapter.addToCombo(QStringLiteral("cbMissing"), QStringLiteral("x"), 1);
    adapter.addToList(QStringLiteral("lwMissing"), QStringLiteral("x"), 1);
    // A list name given for a combo (and the reverse) is not that kind of child.
    adapter.addToCombo(QStringLiteral("lwCodes"), QStringLiteral("x"), 1);
    adapter.addToList(QStringLiteral("cbStage"), QStringLiteral("x"), 1);
    QCOMPARE(ui.cbStage->count(), 0);
    QCOMPARE(ui.lwCodes->count(), 0);
    QVERIFY(!adapter.getComboData(QStringLiteral("cbMissing")).isValid());
    QVERIFY(!adapter.getListData(QStringLiteral("lwMissing")).isValid());
    QVERIFY(adapter.getListText(QStringLiteral("lwMissing")).isEmpty());
}

void tst_Script::runScript_namedScript()
{
    TestFixture fx(QStringLiteral("script"));
    QVERIFY2(fx.isValid(), qPrintable(fx.error()));

    // On its first row at once.
    QSqlQuery types = runScript(QStringLiteral("FAULT_TYPE_SELECT"));
    QVERIFY(types.isValid());
    QCOMPARE(types.value(QStringLiteral("c_name")),
             fx.value(QStringLiteral("SELECT c_name FROM qms.t_fault_type ORDER BY c_name")));

    // Positional values fill the placeholders in order (the user is the driver's).
    QVERIFY(runScript(QStringLiteral("USER_ATTR_WRITE"),
                      {QStringLiteral("Script"), QStringLiteral("last"),
                       QStringLiteral("Отчет по браку"), 10})
                .isActive());
    QSqlQuery own(QSqlDatabase::database(LoggedInConnection::connectionName()));
    runScript(QStringLiteral("USER_ATTR_READ"), &own,
              {QStringLiteral("Script"), QStringLiteral("last")});
    QVERIFY(own.isValid());
    QCOMPARE(own.value(0).toString(), QStringLiteral("Отчет по браку"));
    QCOMPARE(own.value(1).toInt(), 10);
    runScript(QStringLiteral("USER_ATTR_READ"), nullptr, {});

    // Too few values: nothing is substituted and the statement fails.
    QVERIFY(!runScript(QStringLiteral("USER_ATTR_READ"), {QStringLiteral("Script")}).isActive());

    // Without the application's connection nothing runs.
    const QVariant connection = qApp->property("Connection");
    qApp->setProperty("Connection", QVariant());
    QSqlQuery none =
        runScript(QStringLiteral("USER_ATTR_WRITE"),
                  {QStringLiteral("Script"), QStringLiteral("k"), QStringLiteral("v"), 10});
    runScript(QStringLiteral("USER_ATTR_WRITE"), &own,
              {QStringLiteral("Script"), QStringLiteral("k2"), QStringLiteral("v"), 10});
    qApp->setProperty("Connection", connection);
    QVERIFY(!none.isActive());
    QCOMPARE(fx.value(QStringLiteral("SELECT count(*) FROM sys.t_user_attr WHERE c_group = "
                                     "'Script' AND c_key <> 'last'"))
                 .toInt(),
             0);
}

REJECTS_TEST_MAIN(tst_Script)
#include "tst_script.moc"
