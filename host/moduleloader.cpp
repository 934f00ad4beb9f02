#include "moduleloader.h"

#include "moduleinterface.h"
#include "quserinterface.h"

#include <QAction>
#include <QDebug>
#include <QDir>
#include <QLibrary>
#include <QWidget>
#include <algorithm>
#include <exception>

namespace {

// Module code must not take the host down: an exception thrown by an entry
// point is turned into a message.
template <typename Call> bool guarded(Call call, QString &error)
{
    try {
        call();
        return true;
    } catch (const std::exception &e) {
        error = QString::fromLocal8Bit(e.what());
    } catch (...) {
        error = ModuleLoader::tr("неизвестная ошибка");
    }
    return false;
}

} // namespace

ModuleLoader::ModuleLoader(const QString &libDir, QObject *parent)
    : QObject(parent)
    , m_libDir(libDir)
{
}

QString ModuleLoader::libraryFile(const panelData &panel) const
{
    return QDir(m_libDir).filePath(QStringLiteral("lib") + panel.library + QStringLiteral(".so"));
}

QLibrary *ModuleLoader::library(const QString &moduleName)
{
    if (QLibrary *known = m_libraries.value(moduleName))
        return known;
    if (moduleName.isEmpty() || moduleName.contains(QLatin1Char('/')))
        return nullptr;
    auto *library = new QLibrary(
        QDir(m_libDir).filePath(QStringLiteral("lib") + moduleName + QStringLiteral(".so")), this);
    if (!library->load()) {
        note(tr("Библиотека модуля «%1» не загружена: %2").arg(moduleName, library->errorString()));
        delete library;
        return nullptr;
    }
    m_libraries.insert(moduleName, library);
    return library;
}

void ModuleLoader::note(const QString &text)
{
    m_messages << text;
    qWarning().noquote() << text;
    emit message(text);
}

int ModuleLoader::load(QPanelList panels, QWidget *interfaceParent)
{
    std::stable_sort(panels.begin(), panels.end(),
                     [](const panelData &a, const panelData &b) { return a.order < b.order; });
    int loaded = 0;
    for (const panelData &panel : qAsConst(panels)) {
        if (loadOne(panel, interfaceParent))
            ++loaded;
    }
    return loaded;
}

bool ModuleLoader::loadOne(const panelData &panel, QWidget *interfaceParent)
{
    Module module;
    module.panel = panel;
    module.fileName = libraryFile(panel);
    const QString caption = panel.caption.isEmpty() ? panel.name : panel.caption;

    QLibrary library(module.fileName); // the library stays loaded after this object
    if (!library.load()) {
        note(tr("Модуль «%1» пропущен: %2").arg(caption, library.errorString()));
        return false;
    }
    const auto getContent = reinterpret_cast<GetContentFn>(library.resolve("getContent"));
    if (!getContent) {
        note(tr("Модуль «%1» пропущен: в %2 нет точки входа getContent")
                 .arg(caption, module.fileName));
        return false;
    }
    QString error;
    if (!guarded([&] { module.content = getContent(); }, error)) {
        note(tr("Модуль «%1» пропущен: getContent: %2").arg(caption, error));
        return false;
    }

    if (const auto getIcon = reinterpret_cast<GetIconFn>(library.resolve("getIcon"))) {
        if (!guarded([&] { module.icon = getIcon(); }, error))
            note(tr("Модуль «%1»: getIcon: %2").arg(caption, error));
    }

    if (module.content.contains(QLatin1String("getInterface"))) {
        const auto getInterface = reinterpret_cast<GetInterfaceFn>(library.resolve("getInterface"));
        if (!getInterface) {
            note(tr("Модуль «%1»: нет точки входа getInterface").arg(caption));
        } else if (!guarded([&] { module.userInterface = getInterface(interfaceParent); }, error)) {
            note(tr("Модуль «%1»: getInterface: %2").arg(caption, error));
        }
    }

    if (module.content.contains(QLatin1String("getToolBarActions"))) {
        const auto getActions =
            reinterpret_cast<GetToolBarActionsFn>(library.resolve("getToolBarActions"));
        QList<QAction *> *actions = nullptr;
        if (!getActions)
            note(tr("Модуль «%1»: нет точки входа getToolBarActions").arg(caption));
        else if (!guarded([&] { actions = getActions(); }, error))
            note(tr("Модуль «%1»: getToolBarActions: %2").arg(caption, error));
        if (actions)
            module.toolBarActions = *actions;
    }

    qDebug().noquote() << "Module loaded:" << panel.name << module.fileName << module.content;
    m_modules << module;
    return true;
}
