#include "rejects_global.h"

#include <QStringList>

extern "C" REJECTS_EXPORT QStringList getContent()
{
    return {QStringLiteral("getInterface"), QStringLiteral("getToolBarActions")};
}
