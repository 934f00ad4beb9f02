#pragma once

#include "moduleinterface.h"
#include "quserinterface.h"
#include "rejects_global.h"

#include <QIcon>
#include <QList>
#include <QRect>
#include <QStringList>

class QAction;
class QDataEditor;
class QDataSet;
class RejectsEditor;
class RejectsView;

// The module object of the defect register ("Учет брака"): the frame the host
// shows, with the defect list (RejectsView) in its view area and the defect
// editor (RejectsEditor) inside a QDataEditor frame in its editor area.
//
// Moving the list's current row hands the defect to the editor; while the
// editor holds unsaved changes the move asks first, and "No" keeps the editor
// on the old defect although the list has moved. Cancel in the editor frame
// rolls the whole module document back. The host gets the find action and then
// the list's actions for its tool bar (getToolBarActions). The first refresh
// (the host's, when it shows the module) opens the first listed defect.
//
// One object per process, created by getInterface (the entry points below).
class REJECTS_EXPORT Rejects : public QUserInterface
{
    Q_OBJECT
public:
    explicit Rejects(QWidget *parent = nullptr);

    void initView() override;
    void initEditor() override;
    void initDocument() override;
    bool onConnectPopupEditor() override;
    bool onDisconnectPopupEditor() override;
    bool onConnectSelectionChanged() override;
    // The help anchor: "rejects" and "#tvRejects" while the list has the
    // keyboard focus, "#rejectEditor" and the anchor of the editor's tab while
    // the editor panel is shown, nothing more otherwise.
    QString helpContext() override;

    // Makes the defect with this id current in the list and shows the editor
    // panel, unless the defect was found in row 0 (then the panel stays as it
    // was).
    void setCurrentRowById(qint64 id);

    // Where pop-up dialogs of the module go: the module widget's rectangle in
    // global coordinates, 20 pixels narrower; a null rectangle without a
    // module object.
    static QRect bounds();

    RejectsView *view() const { return m_view; }
    RejectsEditor *editor() const { return m_editor; }
    QDataEditor *dataEditor() const { return m_dataEditor; }
    QDataSet *document() const { return m_document; }

public slots:
    void refresh() override;
    void closeEditor();
    void showEditor();
    void tableScroll();
    void onUpdateUI();
    void canceled();
    void onFindToggled(bool state);

private:
    // The first refresh opens the first listed defect in the editor.
    void openFirstDefect();

    RejectsView *m_view = nullptr;
    QDataSet *m_document = nullptr;
    RejectsEditor *m_editor = nullptr;
    QDataEditor *m_dataEditor = nullptr;
    bool m_opened = false;
};

// The entry points of the module library (moduleinterface.h) are defined
// beside the module object; getContent and getDocument beside the document.
//   getIcon            registers handleEvent for "t_process_exam" in the
//                      host's event registry (on every call)
//   getInterface       the one Rejects object
//   handleEvent        "t_process_exam" with a defect id selects the defect and
//                      opens its editor; nothing before getInterface or for any
//                      other table
extern "C" REJECTS_EXPORT void handleEvent(QString table, qlonglong id);
