// The comment dialog and the task dialog against a real database: tasks are
// checked with a second connection.

#include "comentdialog.h"
#include "modalresponder.h"
#include "qsqlconnection.h"
#include "spelltextedit.h"
#include "taskdialog.h"
#include "testfixture.h"
#include "testmain.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSqlError>
#include <QSqlQuery>
#include <QTextEdit>
#include <QToolButton>
#include <memory>

namespace {

const QString correction = QStringLiteral("Предупреждающих действий не требуется");

QPushButton *okButton(QDialog *dialog)
{
    return dialog->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"))
        ->button(QDialogButtonBox::Ok);
}

QTextEdit *comment(QDialog *dialog)
{
    return dialog->findChild<QTextEdit *>(QStringLiteral("teComent"));
}

QToolButton *taskButton(QDialog *dialog)
{
    return dialog->findChild<QToolButton *>(QStringLiteral("btTask"));
}

// Chooses the executor of this name and types the task text.
void fillTask(QWidget *dialog, const QString &executor, const QString &task)
{
    auto *box = dialog->findChild<QComboBox *>(QStringLiteral("cbExecutor"));
    box->setCurrentIndex(box->findText(executor));
    dialog->findChild<QTextEdit *>(QStringLiteral("teTask"))->setPlainText(task);
}

} // namespace

class TestComments : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void plainComment_onlyTextBox();
    void correction_appendedOnce();
    void readOnlyComment_okFollowsText();
    void taskButton_rightsAndSavedDefect_data();
    void taskButton_rightsAndSavedDefect();
    void acceptedTask_quotedInComment();
    void cancelledTask_commentUnchanged();

    void taskDialog_offersOnlyExecutors();
    void taskDialog_acceptNeedsExecutorAndText();
    void taskDialog_createsTask();
    void taskDialog_withoutConnection_rejected();
    void taskDialog_refusalIsSaid();

private:
    QStringList dbColumn(const QString &sql);

    std::unique_ptr<TestFixture> m_fx;
    QString m_executor; // a holder of TASK_EXECUTOR
};

void TestComments::init()
{
    START_FIXTURE(m_fx, QStringLiteral("comments"));
    m_executor =
        m_fx->value(QStringLiteral("SELECT min(u.c_name) FROM sys.t_user u "
                                   "JOIN sys.tl_user_access_right ur ON ur.id_user = u.id "
                                   "JOIN sys.t_access_right r ON r.id = ur.id_access_right "
                                   "WHERE r.c_sys_name = 'TASK_EXECUTOR'"))
            .toString();
    QVERIFY2(!m_executor.isEmpty(), "the demo data has no holder of TASK_EXECUTOR");
}

void TestComments::cleanup()
{
    m_fx.reset();
}

QStringList TestComments::dbColumn(const QString &sql)
{
    QStringList values;
    QSqlQuery query(m_fx->db().directConnection());
    if (!query.exec(sql))
        qWarning() << sql << query.lastError().text();
    while (query.next())
        values << query.value(0).toString();
    return values;
}

void TestComments::plainComment_onlyTextBox()
{
    ComentDialog dialog;
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Коментарий"));
    QCOMPARE(dialog.font().pointSize(), 12);
    QVERIFY(taskButton(&dialog)->isHidden());
    QVERIFY(dialog.findChild<QCheckBox *>(QStringLiteral("chkCorrection"))->isHidden());
    QVERIFY(dialog.findChild<QCheckBox *>(QStringLiteral("cbReject"))->isHidden());
    QVERIFY(!okButton(&dialog)->isEnabled());
    QVERIFY(qobject_cast<SpellTextEdit *>(comment(&dialog)));

    comment(&dialog)->setPlainText(QStringLiteral("Проверить партию"));
    QVERIFY(okButton(&dialog)->isEnabled());
    comment(&dialog)->clear();
    QVERIFY(!okButton(&dialog)->isEnabled());
}

void TestComments::correction_appendedOnce()
{
    ComentDialog dialog;
    auto *check = dialog.findChild<QCheckBox *>(QStringLiteral("chkCorrection"));
    QCOMPARE(check->text(), correction);
    check->setVisible(true);
    dialog.setData(QStringLiteral("Дефект устранен"), false);

    check->setChecked(true);
    const QString once = QStringLiteral("Дефект устранен\n") + correction;
    QCOMPARE(comment(&dialog)->toPlainText(), once);
    check->setChecked(false);
    QCOMPARE(comment(&dialog)->toPlainText(), once);
    check->setChecked(true);
    QCOMPARE(comment(&dialog)->toPlainText(), once);
    QVERIFY(okButton(&dialog)->isEnabled());

    // On an empty comment the sentence becomes the whole text and allows Ok.
    ComentDialog empty;
    empty.findChild<QCheckBox *>(QStringLiteral("chkCorrection"))->setChecked(true);
    QCOMPARE(comment(&empty)->toPlainText(), correction);
    QVERIFY(okButton(&empty)->isEnabled());
}

void TestComments::readOnlyComment_okFollowsText()
{
    ComentDialog dialog;
    dialog.setData(QStringLiteral("Решение принято"), true);
    QVERIFY(comment(&dialog)->isReadOnly());
    QCOMPARE(comment(&dialog)->toPlainText(), QStringLiteral("Решение принято"));
    QVERIFY(okButton(&dialog)->isEnabled());

    dialog.setData(QString(), true);
    QVERIFY(!okButton(&dialog)->isEnabled());

    dialog.setData(QStringLiteral("<b>не разметка</b>"), false);
    QVERIFY(!comment(&dialog)->isReadOnly());
    QCOMPARE(comment(&dialog)->toPlainText(), QStringLiteral("<b>не разметка</b>"));
    QVERIFY(okButton(&dialog)->isEnabled());
}

void TestComments::taskButton_rightsAndSavedDefect_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<qint64>("defect");
    QTest::addColumn<bool>("shown");
    QTest::newRow("creator, saved defect") << QStringLiteral("kuznetsova") << qint64(1) << true;
    QTest::newRow("creator, later defect") << QStringLiteral("kuznetsova") << qint64(57) << true;
    QTest::newRow("creator, new defect") << QStringLiteral("kuznetsova") << qint64(0) << false;
    QTest::newRow("creator, temporary key") << QStringLiteral("kuznetsova") << qint64(-1) << false;
    QTest::newRow("no rights, saved defect") << QStringLiteral("guest") << qint64(1) << false;
}

void TestComments::taskButton_rightsAndSavedDefect()
{
    QFETCH(QString, user);
    QFETCH(qint64, defect);
    QFETCH(bool, shown);
    QVERIFY(m_fx->login(user));
    QCOMPARE(m_fx->connection()->canDo(QStringLiteral("TASK_CREATOR")), user == "kuznetsova");

    ComentDialog dialog;
    dialog.setTaskId(defect, QStringLiteral("Дефект 0001"));
    QCOMPARE(!taskButton(&dialog)->isHidden(), shown);
}

void TestComments::acceptedTask_quotedInComment()
{
    ComentDialog dialog;
    dialog.setData(QStringLiteral("Нужна проверка"), false);
    dialog.setTaskId(1, QStringLiteral("Дефект 0001"));
    QVERIFY(!taskButton(&dialog)->isHidden());

    ModalResponder modal;
    QString presetDescription;
    modal.expect([this, &presetDescription](QWidget *task) {
        QVERIFY(qobject_cast<TaskDialog *>(task));
        presetDescription =
            task->findChild<QPlainTextEdit *>(QStringLiteral("teDescr"))->toPlainText();
        fillTask(task, m_executor, QStringLiteral("Проверить склад"));
        task->findChild<QPushButton *>(QStringLiteral("buttonAccept"))->click();
    });
    taskButton(&dialog)->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(presetDescription, QStringLiteral("Дефект 0001"));

    const QString text = comment(&dialog)->toPlainText();
    QVERIFY2(text.startsWith(QStringLiteral("Нужна проверка")), qPrintable(text));
    QVERIFY2(text.endsWith(QStringLiteral("\n%1: Проверить склад").arg(m_executor)),
             qPrintable(text));
    QCOMPARE(m_fx->value(QStringLiteral("SELECT count(*) FROM task.t_scheduler "
                                        "WHERE c_name = 'Проверить склад'"))
                 .toInt(),
             1);
}

void TestComments::cancelledTask_commentUnchanged()
{
    ComentDialog dialog;
    dialog.setData(QStringLiteral("Нужна проверка"), false);
    dialog.setTaskId(1, QString());
    const int tasks = m_fx->value(QStringLiteral("SELECT count(*) FROM task.t_scheduler")).toInt();

    ModalResponder modal;
    modal.expect([this](QWidget *task) {
        fillTask(task, m_executor, QStringLiteral("Не нужно"));
        task->findChild<QPushButton *>(QStringLiteral("buttonReject"))->click();
    });
    taskButton(&dialog)->click();
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(comment(&dialog)->toPlainText(), QStringLiteral("Нужна проверка"));
    QCOMPARE(m_fx->value(QStringLiteral("SELECT count(*) FROM task.t_scheduler")).toInt(), tasks);
}

void TestComments::taskDialog_offersOnlyExecutors()
{
    TaskDialog dialog{QString()};
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Новая задача"));
    auto *box = dialog.findChild<QComboBox *>(QStringLiteral("cbExecutor"));
    QCOMPARE(box->currentIndex(), -1);

    QStringList offered;
    for (int i = 0; i < box->count(); ++i)
        offered << box->itemText(i);
    offered.sort();
    QStringList executors =
        dbColumn(QStringLiteral("SELECT DISTINCT u.c_name FROM sys.t_user u "
                                "JOIN sys.tl_user_access_right ur ON ur.id_user = u.id "
                                "JOIN sys.t_access_right r ON r.id = ur.id_access_right "
                                "WHERE r.c_sys_name = 'TASK_EXECUTOR'"));
    executors.sort();
    QCOMPARE(offered, executors);
    QVERIFY(m_fx->value(QStringLiteral("SELECT count(*) FROM sys.t_user")).toInt() >
            offered.size());
}

void TestComments::taskDialog_acceptNeedsExecutorAndText()
{
    TaskDialog dialog(QStringLiteral("Описание"));
    auto *accept = dialog.findChild<QPushButton *>(QStringLiteral("buttonAccept"));
    auto *box = dialog.findChild<QComboBox *>(QStringLiteral("cbExecutor"));
    auto *task = dialog.findChild<QTextEdit *>(QStringLiteral("teTask"));
    QVERIFY(!accept->isEnabled());

    box->setCurrentIndex(box->findText(m_executor));
    QVERIFY(!accept->isEnabled());
    task->setPlainText(QStringLiteral("   "));
    QVERIFY(!accept->isEnabled());
    task->setPlainText(QStringLiteral("Заменить плату"));
    QVERIFY(accept->isEnabled());
    box->setCurrentIndex(-1);
    QVERIFY(!accept->isEnabled());
    task->clear();
    box->setCurrentIndex(box->findText(m_executor));
    QVERIFY(!accept->isEnabled());
}

void TestComments::taskDialog_createsTask()
{
    const QString creator =
        m_fx->value(QStringLiteral("SELECT id FROM sys.t_user WHERE c_login = 'kuznetsova'"))
            .toString();
    const QString executor =
        m_fx->value(QStringLiteral("SELECT id FROM sys.t_user WHERE c_name = '%1'").arg(m_executor))
            .toString();

    TaskDialog dialog(QStringLiteral("Дефект 0042"));
    QCOMPARE(dialog.findChild<QPlainTextEdit *>(QStringLiteral("teDescr"))->toPlainText(),
             QStringLiteral("Дефект 0042"));
    QCOMPARE(dialog.taskId(), qint64(0));
    fillTask(&dialog, m_executor, QStringLiteral("Заменить плату"));
    dialog.show();
    dialog.findChild<QPushButton *>(QStringLiteral("buttonAccept"))->click();

    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(dialog.taskId() > 0);
    QCOMPARE(dialog.task(), QStringLiteral("Заменить плату"));
    QCOMPARE(dialog.taskExec(), m_executor);
    QCOMPARE(
        m_fx->value(QStringLiteral("SELECT concat_ws('|', id_user, id_creator, c_name, "
                                   "c_description, coalesce(n_due::text, 'no due'), "
                                   "b_is_complete, b_is_del) FROM task.t_scheduler WHERE id = %1")
                        .arg(dialog.taskId()))
            .toString(),
        QStringList({executor, creator, QStringLiteral("Заменить плату"),
                     QStringLiteral("Дефект 0042"), QStringLiteral("no due"), QStringLiteral("f"),
                     QStringLiteral("f")})
            .join(QLatin1Char('|')));
}

void TestComments::taskDialog_withoutConnection_rejected()
{
    TaskDialog dialog{QString()};
    fillTask(&dialog, m_executor, QStringLiteral("Заменить плату"));
    const int tasks = m_fx->value(QStringLiteral("SELECT count(*) FROM task.t_scheduler")).toInt();

    const QVariant connection = qApp->property("Connection");
    qApp->setProperty("Connection", QVariant());
    dialog.show();
    dialog.accept();
    qApp->setProperty("Connection", connection);

    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QCOMPARE(dialog.taskId(), qint64(0));
    QCOMPARE(m_fx->value(QStringLiteral("SELECT count(*) FROM task.t_scheduler")).toInt(), tasks);
}

// A task the database refuses is said with the database's reason.
void TestComments::taskDialog_refusalIsSaid()
{
    QVERIFY(m_fx->db().exec(
        QStringLiteral("ALTER TABLE task.t_scheduler ADD CONSTRAINT t_refused CHECK "
                       "(sys.f_check(c_name <> 'Отказ', 'Задача отклонена'))")));
    TaskDialog dialog{QString()};
    fillTask(&dialog, m_executor, QStringLiteral("Отказ"));
    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    dialog.show();
    dialog.findChild<QPushButton *>(QStringLiteral("buttonAccept"))->click();
    QVERIFY(
        m_fx->db().exec(QStringLiteral("ALTER TABLE task.t_scheduler DROP CONSTRAINT t_refused")));
    QCOMPARE(modal.messages(), QStringList{QStringLiteral("Внимание|Задача отклонена")});
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
}

REJECTS_TEST_MAIN(TestComments)
#include "tst_comments.moc"
