#pragma once

#include "rejects_global.h"

#include <QMap>
#include <QString>
#include <QVariant>

// The host-wide registry of event handlers through which one module calls a
// function of another without knowing its classes. It belongs to the host
// application, which publishes its address as the application property
// "EventHandlers" (see publishEventRegistry). Keys are event names, trimmed
// and lower-cased; what the qlonglong argument identifies is agreed between
// the module raising the event and the one handling it (for a table name
// event: the record id).

typedef void (*eventHandlerFunc)(QString, qlonglong);

struct eventHandlerInfo
{
    QString owner;                   // the module that registered the handler
    eventHandlerFunc func = nullptr; // null in an empty entry
};

typedef QMap<QString, eventHandlerInfo> eventHandlerMap;

// Registers `func` under `event` for `owner`. False when there is no registry,
// no function, or when the event already has a handler (the first one stays).
REJECTS_EXPORT bool registerEventHandler(QString event, eventHandlerFunc func, QString owner);

// The handler of `event`; an empty entry when there is none or no registry.
// The caller calls the function when it is not null.
REJECTS_EXPORT eventHandlerInfo getEventHandler(QString event);

// The registry published in "EventHandlers", or null when none is published.
REJECTS_EXPORT eventHandlerMap *eventRegistry();

// For the host at start-up, before any module is loaded: publishes the
// process-wide registry as "EventHandlers" unless one is published already,
// and returns the property's value.
REJECTS_EXPORT QVariant publishEventRegistry();
