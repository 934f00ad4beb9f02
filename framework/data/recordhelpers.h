#pragma once

#include "rejects_global.h"

#include <QRect>
#include <QString>
#include <QVariant>

// Small helpers shared by every editor of the framework and the modules.

// Objects travel between the host and the modules (application properties,
// signals, script parameters) as their address inside a QVariant.
REJECTS_EXPORT QVariant objToVar(void *object);
REJECTS_EXPORT void *varToObj(QVariant value);

// The geometry of the host's main window (the first top-level window named
// "WorkplaceWindowWindow" or "KovaWindow"); a null rectangle when none is open.
REJECTS_EXPORT QRect bounds();

// Waits `ms` milliseconds while the event loop keeps running.
REJECTS_EXPORT void delayMs(unsigned int ms);
