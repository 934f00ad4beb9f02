#pragma once

#include "rejects_global.h"

#include <QRect>
#include <QSqlRecord>
#include <QString>
#include <QVariant>

class QComboBox;
class QDataSet;
class QDataTable;
class QSqlConnection;
class QWidget;

// Small helpers shared by every editor of the framework and the modules.

// Objects travel between the host and the modules (application properties,
// signals, script parameters) as their address inside a QVariant.
REJECTS_EXPORT QVariant objToVar(void *object);
REJECTS_EXPORT void *varToObj(QVariant value);

// The application's database connection: the object published as the
// application property "Connection"; null without an application or before
// the host has published it.
REJECTS_EXPORT QSqlConnection *appConnection();

// Fills `combo` from `table`, which is always read again: an optional first
// entry `firstText`/`firstData` (meaning "nothing chosen") followed by one
// entry per row, in model order, showing `textField` and carrying `dataField`.
// When the table cannot be read only the first entry remains. Nothing happens
// without a combo, a table or a text field.
REJECTS_EXPORT void fillComboBox(QComboBox *combo, QDataTable *table, QString textField,
                                 QString dataField, QString firstText = QString(),
                                 QVariant firstData = QVariant());

// The value of `field` in the row whose "id" is `id`, after reading the table
// again; invalid when there is no table, no such row or no such field.
REJECTS_EXPORT QVariant getValueById(QDataTable *table, qlonglong id, QString field);
// The same on the table named `table` of `set`; invalid for an unknown table.
REJECTS_EXPORT QVariant getValueById(QDataSet *set, QString table, qlonglong id, QString field);

// The record the table's view shows as current; empty without a table.
REJECTS_EXPORT QSqlRecord getCurrentRecord(QDataTable *table);

// The geometry of the host's main window (the first top-level window named
// "WorkplaceWindowWindow" or "KovaWindow"); a null rectangle when none is open.
REJECTS_EXPORT QRect bounds();

// Tells the user, in one warning box titled "Внимание", why the database
// refused the last statement of the application's connection (its reason in
// plain words), or `fallback` when it gave none.
REJECTS_EXPORT void showRefusal(QWidget *parent, const QString &fallback);

// Waits `ms` milliseconds while the event loop keeps running.
REJECTS_EXPORT void delayMs(unsigned int ms);
