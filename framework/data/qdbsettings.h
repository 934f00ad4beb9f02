#pragma once

#include "rejects_global.h"

#include <QObject>
#include <QStringList>
#include <QVariant>

class QDataTable;

// The logged-in user's settings, shaped like QSettings but kept in the
// database, so that they follow the user from workstation to workstation.
//
// A setting is addressed by a path "group/key" (the parts before the last
// "/" are the group, joined again with "/"; a bare key lies in the current
// group, "GLOBAL" unless beginGroup chose another). It is stored through the
// named scripts "USER_ATTR_WRITE" (group, key, value, type) and
// "USER_ATTR_READ" (group, key -> value text, type) as text with the number
// of its QVariant::Type: a bool as "1"/"0", a byte array as hex, anything
// else as QVariant::toString(); reading converts the text back to that type.
// Whose settings they are is the driver's business (the logged-in user).
//
// saveTableHeader/restoreTableHeader keep the layout of a table's view (per
// column: name, visibility, width and position in the header) as one value.
//
// The connection is the one published as the application property
// "Connection"; without it nothing is stored and defaults are read.
class REJECTS_EXPORT QDbSettings : public QObject
{
    Q_OBJECT
public:
    explicit QDbSettings(QObject *parent = nullptr);

    void beginGroup(QString group);
    void endGroup();
    QString group() const { return currentGroup; }

    // {group, key} of a path.
    QStringList splitPath(QString path);

    // False without a connection or when the database refused the value.
    bool setValue(QString path, QVariant value);
    // The stored value, or `defaultValue` when there is none (or no connection).
    QVariant value(QString path, QVariant defaultValue = QVariant());

    // Stores the layout of `table`'s view under `name`; false when there is
    // no connection, table or view, or when it could not be stored.
    bool saveTableHeader(QString name, QDataTable *table);
    // Applies the layout stored under `name` to `table`'s view. Stored columns
    // the table no longer has are skipped; columns missing from the stored
    // layout keep their place after the stored ones. False when there is
    // nothing to apply.
    bool restoreTableHeader(QString name, QDataTable *table);

private:
    QString currentGroup;
};
