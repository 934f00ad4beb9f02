#pragma once

#include "rejects_global.h"

#include <QWidget>

class QMenu;
class QAction;

namespace Ui {
class QUserInterfaceClass;
}

// The frame every module shows in the host's main window: a caption bar, a
// find panel (Ctrl+F), an area for the module's list and an area for its
// editor, which can be taken out into a floating window and docked again.
//
// A module derives from it, fills viewLayout()/editLayout() and overrides the
// virtual operations below; the host calls them in this order of declaration.
//
// At most one editor of all frames in this library floats at a time: the
// floating editor, its container and the container's layout are shared by
// every QUserInterface, so toggling any frame while an editor floats docks
// that editor back into the frame it came from.
class REJECTS_EXPORT QUserInterface : public QWidget
{
    Q_OBJECT
public:
    explicit QUserInterface(QWidget *parent = nullptr);
    ~QUserInterface() override;

    // Operations a module overrides. helpContext() names the help anchor of
    // the module (the object name here); the others do nothing here.
    virtual QString helpContext();
    virtual void saveUserData();
    virtual void initView();
    virtual void initDocument();
    virtual void initEditor();
    // Called after the editor was docked again: restore the connections that
    // open the docked editor panel. The connection operations answer whether
    // their connections were made (false here).
    virtual bool onConnectPopupEditor();
    virtual bool onConnectSelectionChanged();
    // Called after the editor was taken out: drop those connections.
    virtual bool onDisconnectPopupEditor();

    // An action owned by this object, carrying `data`, added to `menu`.
    QAction *addMenuAction(QString text, int data, QMenu *menu, bool enabled = true);

    // The editor currently floating (of any frame of this library), or null.
    static QWidget *floatingEditor();

signals:
    void findFirst(QString textToFind);
    void findPrev();
    void findNext();

protected slots:
    void setCaption(QString newCaption);
    void backToDock();

private slots:
    void findFirstClicked();
    void findPrevClicked();
    void findNextClicked();
    void findPanelToggle();

public slots:
    void showFindPanel();
    void hideFindPanel();
    virtual void refresh();
    void toggleEditorPopup(QWidget *editor);

protected:
    // The form (ui_quserinterface.h): modules place their widgets into
    // ui->viewLayout and ui->editLayout and switch ui->editFrame.
    Ui::QUserInterfaceClass *ui;
};
