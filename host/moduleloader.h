#pragma once

#include "pgdriverapi.h"

#include <QHash>
#include <QIcon>
#include <QList>
#include <QObject>
#include <QStringList>

class QAction;
class QLibrary;
class QWidget;

// Loads the host's module libraries and asks them for what they offer.
//
// Each installed panel (QSqlConnection::GetList, table sys.t_panel) names a
// library that lives in the library directory as lib<library>.so. A module
// exports, with undecorated names:
//   QStringList        getContent()               required: the entry points
//                                                 the host may call for the
//                                                 module's interface
//   QIcon              getIcon()                  optional, always called
//   QWidget           *getInterface(QWidget *)    when getContent lists it
//   QList<QAction *>  *getToolBarActions()        when getContent lists it
// A library that cannot be loaded or lacks getContent is skipped; an entry
// point that is listed but missing is left out. Every such case is noted in
// messages() and written as a warning, never a crash. Libraries stay loaded
// for the life of the process (modules keep singletons).
//
// The host publishes its loader as the application property "libList"; other
// modules ask it for a module's library by name (library(), found through the
// meta-object system, so that they need no host header).
class ModuleLoader : public QObject
{
    Q_OBJECT
public:
    struct Module
    {
        panelData panel;
        QString fileName;
        QStringList content;              // what getContent answered
        QIcon icon;                       // null when the module has none
        QWidget *userInterface = nullptr; // the module's QUserInterface, or null
        QList<QAction *> toolBarActions;  // empty when none offered
    };

    explicit ModuleLoader(const QString &libDir, QObject *parent = nullptr);

    // Loads the panels in their menu order; interfaces are created with
    // `interfaceParent` as parent. Returns the number of modules loaded.
    int load(QPanelList panels, QWidget *interfaceParent);

    QString libDir() const { return m_libDir; }
    // The library file of a panel: <libDir>/lib<library>.so.
    QString libraryFile(const panelData &panel) const;
    const QList<Module> &modules() const { return m_modules; }
    // The library of the module named `moduleName` (<libDir>/lib<moduleName>.so),
    // loaded on the first request and kept; null when it cannot be loaded or
    // the name is not a plain file name.
    Q_INVOKABLE QLibrary *library(const QString &moduleName);
    // What went wrong while loading, one line per problem.
    QStringList messages() const { return m_messages; }

signals:
    void message(const QString &text);

private:
    bool loadOne(const panelData &panel, QWidget *interfaceParent);
    void note(const QString &text);

    QString m_libDir;
    QList<Module> m_modules;
    QHash<QString, QLibrary *> m_libraries;
    QStringList m_messages;
};
