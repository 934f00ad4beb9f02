#pragma once

#include <QDialog>

namespace Ui {
class TaskDialog;
}

class QDataTable;

// "Новая задача": creates a task for a colleague in the scheduler.
//
// The executor is chosen among the users who hold the right "TASK_EXECUTOR"
// (script "GET_USER_BY_RIGHT"); the task text and a description (preset by
// the caller) are typed. Accepting the dialog creates the task at once
// through the database function task.t_scheduler_insert on the application's
// "Connection", with the logged-in user as its creator, no number and no due
// date; taskId() then gives the new task's id. Whether the caller keeps the
// text that quotes the task does not matter: the task stays.
//
// Without a connection, without an executor, with an empty task text or when
// the database refuses, the dialog ends as rejected and taskId() stays 0; the
// connection reports the database error itself.
class TaskDialog : public QDialog
{
    Q_OBJECT
public:
    explicit TaskDialog(const QString &description, QWidget *parent = nullptr);
    ~TaskDialog() override;

    // The id of the task created by accept(); 0 until then.
    qint64 taskId() const { return m_taskId; }
    // The task text (plain text of the task editor).
    QString task() const;
    // The chosen executor's name.
    QString taskExec() const;

public slots:
    // Enables "Принять" exactly when an executor is chosen and the task
    // text is not empty.
    void onChanged();
    void accept() override;

protected:
    void changeEvent(QEvent *event) override;

private:
    Ui::TaskDialog *ui;
    QDataTable *m_executors = nullptr;
    qint64 m_taskId = 0;
};
