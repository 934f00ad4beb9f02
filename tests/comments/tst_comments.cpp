// The comment dialog and the task dialog against a real database: tasks are
// checked with a second connection.

#include "comentdialog.h"
#include "modalresponder.h"
#include "qsqlconnection.h"
#include "spelltextedit.h"
#include "taskdialog.h"
#include "testfixture.h"
#include "testmain.h"

#include <QtWidgets>

namespace {

const QString correction = "Предупреждающих действий не требуется";

QPushButton *okButton(QDialog *dialog)
{
    return dialog->findChild<QDialogButtonBox *>("buttonBox")->button(QDialogButtonBox::Ok);
}

QTextEdit *comment(QDialog *dialog)
{
    return dialog->findChild<QTextEdit *>("teComent");
}

} // namespace

class TestComments : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void comment_okFollowsText_correctionAddedOnce();
    void taskButton_rightsAndSavedDefect_data();
    void taskButton_rightsAndSavedDefect();
    void taskDialog_offersOnlyExecutors_acceptNeedsBoth();
    void taskFromComment_writtenAndQuotedOrSaysWhy_data();
    void taskFromComment_writtenAndQuotedOrSaysWhy();

private:
    std::unique_ptr<TestFixture> m_fx;
};

void TestComments::init()
{
    START_FIXTURE(m_fx, "comments");
}

// A plain comment is one spell-checked text box and Ok follows its text, also
// when it is shown read-only; the correction sentence is added once, as the
// whole text of an empty comment.
void TestComments::comment_okFollowsText_correctionAddedOnce()
{
    ComentDialog dialog;
    QCOMPARE(dialog.windowTitle(), "Коментарий");
    QCOMPARE(dialog.font().pointSize(), 12);
    QVERIFY(qobject_cast<SpellTextEdit *>(comment(&dialog)));
    for (const char *name : {"btTask", "chkCorrection", "cbReject"})
        QVERIFY2(dialog.findChild<QWidget *>(name)->isHidden(), name);
    QVERIFY(!okButton(&dialog)->isEnabled());
    comment(&dialog)->setPlainText("Проверить партию");
    QVERIFY(okButton(&dialog)->isEnabled());
    dialog.setData("<b>не разметка</b>", true);
    QVERIFY(okButton(&dialog)->isEnabled() && comment(&dialog)->isReadOnly());
    QCOMPARE(comment(&dialog)->toPlainText(), "<b>не разметка</b>");
    dialog.setData(QString(), false);
    QVERIFY(!okButton(&dialog)->isEnabled() && !comment(&dialog)->isReadOnly());
    dialog.findChild<QCheckBox *>("chkCorrection")->setChecked(true);
    QCOMPARE(comment(&dialog)->toPlainText(), correction);
    QVERIFY(okButton(&dialog)->isEnabled());

    ComentDialog solved;
    solved.setData("Дефект устранен", false);
    for (const bool checked : {true, false, true})
        solved.findChild<QCheckBox *>("chkCorrection")->setChecked(checked);
    QCOMPARE(comment(&solved)->toPlainText(), "Дефект устранен\n" + correction);
}

void TestComments::taskButton_rightsAndSavedDefect_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<qint64>("defect");
    QTest::addColumn<bool>("shown");
    QTest::newRow("creator, saved defect") << "kuznetsova" << qint64(1) << true;
    QTest::newRow("creator, later defect") << "kuznetsova" << qint64(57) << true;
    QTest::newRow("creator, new defect") << "kuznetsova" << qint64(0) << false;
    QTest::newRow("creator, temporary key") << "kuznetsova" << qint64(-1) << false;
    QTest::newRow("no rights, saved defect") << "guest" << qint64(1) << false;
}

void TestComments::taskButton_rightsAndSavedDefect()
{
    QFETCH(QString, user);
    QFETCH(qint64, defect);
    QFETCH(bool, shown);
    QVERIFY(m_fx->login(user));
    ComentDialog dialog;
    dialog.setTaskId(defect, "Дефект 0001");
    QCOMPARE(!dialog.findChild<QToolButton *>("btTask")->isHidden(), shown);
}

// Only holders of TASK_EXECUTOR are offered and none is chosen; Accept needs
// an executor and a task that is not blank.
void TestComments::taskDialog_offersOnlyExecutors_acceptNeedsBoth()
{
    TaskDialog dialog("Описание");
    auto *box = dialog.findChild<QComboBox *>("cbExecutor");
    QStringList offered;
    for (int i = 0; i < box->count(); ++i)
        offered << box->itemText(i);
    offered.sort();
    QStringList executors = m_fx->value("SELECT string_agg(DISTINCT u.c_name, '|') FROM sys.t_user "
                                        "u JOIN sys.tl_user_access_right ur ON ur.id_user = u.id "
                                        "JOIN sys.t_access_right r ON r.id = ur.id_access_right "
                                        "WHERE r.c_sys_name = 'TASK_EXECUTOR'")
                                .toString()
                                .split('|');
    executors.sort();
    QCOMPARE(offered, executors);
    QVERIFY(m_fx->value("SELECT count(*) FROM sys.t_user").toInt() > offered.size());
    QCOMPARE(box->currentIndex(), -1);

    auto *accept = dialog.findChild<QPushButton *>("buttonAccept");
    auto *task = dialog.findChild<QTextEdit *>("teTask");
    QVERIFY(!accept->isEnabled());
    box->setCurrentIndex(0);
    QVERIFY(!accept->isEnabled());
    task->setPlainText("   ");
    QVERIFY(!accept->isEnabled());
    task->setPlainText("Заменить плату");
    QVERIFY(accept->isEnabled());
    box->setCurrentIndex(-1);
    QVERIFY(!accept->isEnabled());
}

void TestComments::taskFromComment_writtenAndQuotedOrSaysWhy_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<bool>("connected");
    QTest::addColumn<QString>("task");
    QTest::newRow("accepted") << "buttonAccept" << true << "Заменить плату";
    QTest::newRow("cancelled") << "buttonReject" << true << "Заменить плату";
    QTest::newRow("without connection") << "buttonAccept" << false << "Заменить плату";
    QTest::newRow("refused by the database") << "buttonAccept" << true << "Отказ";
}

// The task dialog opens with the defect's text. An accepted task is written
// and quoted in the comment; cancelled, without a connection or refused by
// the database (said with its reason) nothing is written and the comment
// stays.
void TestComments::taskFromComment_writtenAndQuotedOrSaysWhy()
{
    QFETCH(QString, button);
    QFETCH(bool, connected);
    QFETCH(QString, task);
    const bool refused = task == "Отказ";
    QVERIFY(m_fx->db().exec("ALTER TABLE task.t_scheduler ADD CONSTRAINT t_refused CHECK "
                            "(sys.f_check(c_name <> 'Отказ', 'Задача отклонена'))"));
    ComentDialog dialog;
    dialog.setData("Нужна проверка", false);
    dialog.setTaskId(1, "Дефект 0042");
    const QVariant connection = qApp->property("Connection");
    ModalResponder modal;
    QString preset, executor;
    qint64 id = 0;
    modal.expect([&](QWidget *modalTask) {
        auto *taskDialog = qobject_cast<TaskDialog *>(modalTask);
        QVERIFY(taskDialog);
        preset = taskDialog->findChild<QPlainTextEdit *>("teDescr")->toPlainText();
        auto *executors = taskDialog->findChild<QComboBox *>("cbExecutor");
        executors->setCurrentIndex(0);
        executor = executors->currentText();
        taskDialog->findChild<QTextEdit *>("teTask")->setPlainText(task);
        if (!connected)
            qApp->setProperty("Connection", QVariant());
        taskDialog->findChild<QPushButton *>(button)->click();
        id = taskDialog->taskId();
    });
    if (refused)
        modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    dialog.findChild<QToolButton *>("btTask")->click();
    qApp->setProperty("Connection", connection);

    QCOMPARE(preset, "Дефект 0042");
    QCOMPARE(modal.messages().join('\n'), refused ? "Внимание|Задача отклонена" : "");
    const bool written = connected && !refused && button == "buttonAccept";
    const QString quote = QString("\n\n%1: %2").arg(executor, task);
    QCOMPARE(comment(&dialog)->toPlainText(), "Нужна проверка" + (written ? quote : QString()));
    QCOMPARE(id > 0, written);
    // The task is written for its executor by the logged-in user, with no due
    // date, open.
    const QVariant stored = m_fx->value(
        "SELECT string_agg(concat_ws('|', u.c_name, c.c_login, s.c_name, s.n_due, s.b_is_complete "
        "OR s.b_is_del), ',') FROM task.t_scheduler s JOIN sys.t_user u ON u.id = s.id_user JOIN "
        "sys.t_user c ON c.id = s.id_creator WHERE s.c_description = 'Дефект 0042'");
    QCOMPARE(stored.toString(),
             written ? QStringList({executor, "kuznetsova", task, "f"}).join('|') : QString());
}

REJECTS_TEST_MAIN(TestComments)
#include "tst_comments.moc"
