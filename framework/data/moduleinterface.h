#pragma once

// The contract between the host and a module library (header only).
//
// The host loads a module library with QLibrary and resolves the entry points
// below by their exact, undecorated names (extern "C"); the module defines
// them. Both sides include this file, so a module whose definition differs
// from the declaration here does not compile, and the host calls each entry
// point through the matching pointer type.
//
//   QStringList getContent()
//       Required. The entry points the host may call for the module's
//       interface, e.g. "getInterface", "getToolBarActions".
//   QIcon getIcon()
//       The module's icon. A module registers its event hook here
//       (registerEventHandler, eventregistry.h) on every call.
//   QUserInterface *getInterface(QWidget *parent)
//       The module object, created on the first call with that parent; later
//       calls return the same object whatever their parent.
//   QDataSet *getDocument(QObject *parent)
//       The module's data set, built once; the caller does not own it.
//   QWidget *getView(QDataSet *document, QWidget *parent)
//       A new list widget on the data set.
//   QWidget *getEditor(QDataSet *document, QWidget *parent)
//       A new editor widget on the data set.
//   QList<QAction *> *getToolBarActions()
//       The module-wide list of tool-bar actions (empty until the module
//       object exists); the module owns it.
//
// A module's event hook (handleEvent) is no entry point: it is an ordinary
// function whose address the module registers (eventHandlerFunc).
//
// Nothing crosses this boundary by exception: a missing or failing entry
// point is the host's to report.

#include <QIcon>
#include <QList>
#include <QStringList>

class QAction;
class QDataSet;
class QObject;
class QUserInterface;
class QWidget;

typedef QStringList (*GetContentFn)();
typedef QIcon (*GetIconFn)();
typedef QUserInterface *(*GetInterfaceFn)(QWidget *parent);
typedef QDataSet *(*GetDocumentFn)(QObject *parent);
typedef QWidget *(*GetViewFn)(QDataSet *document, QWidget *parent);
typedef QWidget *(*GetEditorFn)(QDataSet *document, QWidget *parent);
typedef QList<QAction *> *(*GetToolBarActionsFn)();

// The declarations every module defines (a module library exports them).
#define REJECTS_MODULE_ENTRY extern "C" Q_DECL_EXPORT

REJECTS_MODULE_ENTRY QStringList getContent();
REJECTS_MODULE_ENTRY QIcon getIcon();
REJECTS_MODULE_ENTRY QUserInterface *getInterface(QWidget *parent);
REJECTS_MODULE_ENTRY QDataSet *getDocument(QObject *parent);
REJECTS_MODULE_ENTRY QWidget *getView(QDataSet *document, QWidget *parent);
REJECTS_MODULE_ENTRY QWidget *getEditor(QDataSet *document, QWidget *parent);
REJECTS_MODULE_ENTRY QList<QAction *> *getToolBarActions();
