#pragma once

#include "rejects_global.h"

#include <QObject>

// The one database connection of the process (placeholder until written).
class REJECTS_EXPORT QSqlConnection : public QObject
{
    Q_OBJECT
public:
    explicit QSqlConnection(QObject *parent = nullptr);
};
