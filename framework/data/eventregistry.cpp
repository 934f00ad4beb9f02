#include "eventregistry.h"

#include "recordhelpers.h"

#include <QCoreApplication>
#include <QDebug>

namespace {

QString eventKey(const QString &event)
{
    return event.trimmed().toLower();
}

} // namespace

eventHandlerMap *eventRegistry()
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return nullptr;
    const QVariant property = app->property("EventHandlers");
    if (!property.isValid())
        return nullptr;
    return static_cast<eventHandlerMap *>(varToObj(property));
}

QVariant publishEventRegistry()
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return QVariant();
    if (!eventRegistry()) {
        static eventHandlerMap registry;
        app->setProperty("EventHandlers", objToVar(&registry));
    }
    return app->property("EventHandlers");
}

bool registerEventHandler(QString event, eventHandlerFunc func, QString owner)
{
    eventHandlerMap *registry = eventRegistry();
    qDebug() << "bool registerEventHandler(QString, eventHandlerFunc, QString)" << event
             << (func ? "true" : "false") << owner << static_cast<void *>(registry);
    if (!registry || !func)
        return false;
    const QString key = eventKey(event);
    if (registry->contains(key))
        return false;
    registry->insert(key, eventHandlerInfo{owner, func});
    return true;
}

eventHandlerInfo getEventHandler(QString event)
{
    const eventHandlerMap *registry = eventRegistry();
    if (!registry)
        return eventHandlerInfo();
    return registry->value(eventKey(event));
}
