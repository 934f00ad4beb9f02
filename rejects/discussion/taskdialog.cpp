#include "taskdialog.h"

#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "ui_taskdialog.h"

#include <QCoreApplication>
#include <QEvent>
#include <QSqlQuery>

TaskDialog::TaskDialog(const QString &description, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::TaskDialog)
{
    ui->setupUi(this);
    ui->buttonAccept->setEnabled(false);
    ui->teDescr->setPlainText(description);

    if (QSqlConnection *connection = appConnection()) {
        // Only holders of the executor right are offered.
        m_executors = new QDataTable(QStringLiteral("t_executor"), connection, this);
        m_executors->setScripts(QStringLiteral("GET_USER_BY_RIGHT"), QString(), QString(),
                                QString(), false);
        m_executors->setSelectParam(QStringLiteral("c_right_list"),
                                    QStringLiteral("TASK_EXECUTOR"));
        fillComboBox(ui->cbExecutor, m_executors, QStringLiteral("c_name"), QStringLiteral("id"),
                     QString(), QVariant());
    }
    ui->cbExecutor->setCurrentIndex(-1);

    connect(ui->teTask, &QTextEdit::textChanged, this, &TaskDialog::onChanged);
    connect(ui->cbExecutor, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &TaskDialog::onChanged);
}

TaskDialog::~TaskDialog()
{
    delete ui;
}

QString TaskDialog::task() const
{
    return ui->teTask->toPlainText();
}

QString TaskDialog::taskExec() const
{
    return ui->cbExecutor->currentText();
}

void TaskDialog::onChanged()
{
    ui->buttonAccept->setEnabled(!ui->cbExecutor->currentData().isNull() &&
                                 !task().trimmed().isEmpty());
}

void TaskDialog::accept()
{
    QSqlConnection *connection = appConnection();
    const QVariant executor = ui->cbExecutor->currentData();
    if (!connection || executor.isNull() || task().trimmed().isEmpty()) {
        reject();
        return;
    }

    // :UserID, the creator, is the logged-in user and is bound by the connection.
    const QList<QVariant> values{
        executor,   QVariant(),      task(),         ui->teDescr->toPlainText(),
        QVariant(), QVariant(false), QVariant(false)};
    QSqlQuery query = connection->execScript(
        QStringLiteral("SELECT id FROM task.t_scheduler_insert(:UserID, :id_user, :n_number, "
                       ":c_name, :c_description, :n_due, :b_is_complete, :b_is_del) "),
        values);
    if (!query.isActive() || !query.isSelect() || !query.isValid()) {
        showRefusal(this, tr("Задача не создана"));
        reject();
        return;
    }
    m_taskId = query.value(0).toLongLong();
    QDialog::accept();
}

void TaskDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
