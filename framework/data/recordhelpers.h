#pragma once

#include "rejects_global.h"

#include <QVariant>

// Small helpers shared by every editor of the framework and the modules.

// Objects travel between the host and the modules (application properties,
// signals, script parameters) as their address inside a QVariant.
REJECTS_EXPORT QVariant objToVar(void *object);
REJECTS_EXPORT void *varToObj(QVariant value);
