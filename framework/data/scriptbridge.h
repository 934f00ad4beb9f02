#pragma once

#include "rejects_global.h"

#include <QList>
#include <QSqlQuery>
#include <QString>
#include <QVariant>

// Named scripts in one call, on the connection the host published as the
// application property "Connection" and its Qt database "MainConnection".
// The values replace the script's placeholders in order of appearance (only
// when their numbers agree). Without a published connection nothing runs and
// the query stays inactive; database errors are reported by the connection.

// Returns the query, on its first row when the script succeeded.
REJECTS_EXPORT QSqlQuery runScript(QString name, QList<QVariant> values = QList<QVariant>());
// The same on a query the caller owns (nothing happens for a null query).
REJECTS_EXPORT void runScript(QString name, QSqlQuery *query,
                              QList<QVariant> values = QList<QVariant>());
