#pragma once

// The driver library's own side of its contract (api/pgdriverapi.h): the
// export of the entry points, which pgdriver.cpp defines with PGDRIVER_EXPORT.

#include "pgdriverapi.h"

#ifdef PGDRIVER_LIBRARY
#define PGDRIVER_EXPORT extern "C" Q_DECL_EXPORT
#else
#define PGDRIVER_EXPORT extern "C" Q_DECL_IMPORT
#endif
