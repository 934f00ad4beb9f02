#pragma once

#include <QVariant>

// Converts a value read from the database to the type a column declares.
// A null or invalid value gives a null QVariant of the target type (an invalid
// QVariant for QVariant::Invalid). Text answers of PostgreSQL booleans
// ("t"/"f", "true"/"false", "yes"/"no", "on"/"off", "1"/"0", any case) become
// Bool. Everything else follows QVariant::convert; a value that cannot be
// converted gives a null QVariant of the target type.
class PgValueConverter
{
public:
    static QVariant convert(const QVariant &value, QVariant::Type type);
};
