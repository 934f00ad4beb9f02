#pragma once

#include <QtGlobal>

// Export macro of librejects.so: the module and the framework it carries for
// every other module of the host.
#if defined(REJECTS_LIBRARY)
#define REJECTS_EXPORT Q_DECL_EXPORT
#else
#define REJECTS_EXPORT Q_DECL_IMPORT
#endif
