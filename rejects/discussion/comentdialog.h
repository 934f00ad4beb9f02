#pragma once

#include <QDialog>

namespace Ui {
class ComentDialog;
}

// "Коментарий": one comment of a defect's discussion, or the closing decision
// of a defect. The dialog only edits text and never writes anything; the
// caller reads teComent's plain text and the two check boxes after exec().
//
// A plain comment shows only the text box; the caller may set the title and
// the caption label, show the check boxes chkCorrection ("Предупреждающих
// действий не требуется") and cbReject ("Забраковать изделие"), and offer the
// task button (setTaskId). Ok is enabled exactly while the comment is not
// empty.
class ComentDialog : public QDialog
{
    Q_OBJECT
public:
    explicit ComentDialog(QWidget *parent = nullptr);
    ~ComentDialog() override;

    // Puts `text` into the comment without emitting its change signal and
    // makes the comment read-only or not; Ok follows the new text.
    void setData(const QString &text, bool readOnly);
    // Remembers `text` as the description preset in new tasks and shows the
    // task button exactly when `id` >= 1 (a saved defect) and the logged-in
    // user holds "TASK_CREATOR".
    void setTaskId(qint64 id, const QString &text);

    // The form: the caller sets lbCaption and shows chkCorrection and
    // cbReject, and reads teComent and the check boxes after exec().
    Ui::ComentDialog *ui;

public slots:
    void on_teComent_textChanged();
    // The first check appends the check box's sentence as a new paragraph;
    // later toggles append nothing and unchecking removes nothing.
    void on_chkCorrection_toggled(bool checked);
    // Creates a task (TaskDialog) and quotes it in the comment as
    // "\n<executor>: <task>".
    void on_btTask_clicked();

protected:
    void changeEvent(QEvent *event) override;

private:
    QString m_taskText;
    bool m_correctionInserted = false;
};
