#pragma once

#include "rejects_global.h"

#include <QPointer>
#include <QWidget>

class QDialog;

namespace Ui {
class QDataEditorClass;
}

// The frame around one record editor: a caption, the editor in a scroll area,
// and an Apply/Cancel button box. The hosted editor calls OnChange() on every
// change, which enables Apply; Apply and Cancel reset the frame and emit ok()
// and cancel(). A double click on the caption asks, through popup(this), to
// take the frame out of the main window (QUserInterface::toggleEditorPopup).
class REJECTS_EXPORT QDataEditor : public QWidget
{
    Q_OBJECT
public:
    explicit QDataEditor(QWidget *parent = nullptr);
    ~QDataEditor() override;

    // Places `editor` (not owned, reparented into the frame) and takes its
    // window title as the caption.
    void initEditor(QWidget *editor);
    // initEditor, and the buttons also accept or reject `dialog`, so that a
    // dialog built around the frame closes with them.
    void initModal(const QDialog *dialog, QWidget *editor);

    QWidget *editor() const { return hostedEditor; }

public slots:
    void OnChange();
    void onReset();
    void OnOK();
    void OnCancel();
    void onDblClick();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    void ok();
    void cancel();
    void popup(QWidget *editor);

public:
    // The form: lbCaption, scrollArea, editorLayout, bButtons.
    Ui::QDataEditorClass *ui;

private:
    QPointer<QWidget> hostedEditor;
};
