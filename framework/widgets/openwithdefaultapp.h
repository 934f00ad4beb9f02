#pragma once

#include "rejects_global.h"

#include <QString>

// Opens a file (or a directory) with the application that the desktop
// associates with it: the desktop's default handler (xdg-open on Linux). The
// application is started and left to run. False, and nothing started, when
// the path does not exist or no handler could be started.
REJECTS_EXPORT bool openWithDefaultApp(const QString &path);
