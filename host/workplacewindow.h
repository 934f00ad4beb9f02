#pragma once

#include "moduleloader.h"

#include <QMainWindow>

namespace Ui {
class WorkplaceWindow;
}
class HelpViewer;
class QLabel;

// The host's main window ("WorkplaceWindow"; framework code finds its QWindow
// as "WorkplaceWindowWindow"). Every loaded module gets a tab with its
// user-interface object; the tool bar shows the actions of the module on the
// current tab. A module that offered no interface gets a tab that says so.
// The status line shows the logged-in user and loading problems. F1 opens the
// user guide of the current module where its helpContext() points.
class WorkplaceWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit WorkplaceWindow(QWidget *parent = nullptr);
    ~WorkplaceWindow() override;

    // The parent of the modules' interfaces (the tab area).
    QWidget *moduleArea() const;
    void addModule(const ModuleLoader::Module &module);
    int moduleCount() const;
    // Shows the user's display name in the status line.
    void setUser(const QString &displayName);
    // Adds a line to the status messages (all of them stay in view).
    void showStatus(const QString &text);

private slots:
    void on_acExit_triggered();
    void on_acAbout_triggered();
    // F1: the guide of the module on the current tab, at its help context.
    void on_acHelp_triggered();
    void on_tabModules_currentChanged(int index);

private:
    Ui::WorkplaceWindow *ui;
    QLabel *m_user;
    QList<QList<QAction *>> m_actions; // per tab
    QStringList m_messages;
    HelpViewer *m_help = nullptr;
};
