#pragma once

#include "rejects_global.h"

class QDataSet;
class QObject;
class QSqlConnection;

// The module's document: one QDataSet of 23 tables (the defect register
// "t_process_exam", its details, look-ups and the repair plan tables), seven
// master/detail key links and the changing order in which a commit writes
// them. Every table is bound to named scripts of the script store or, for the
// five look-ups "t_serial", "t_reasons", "t_executor", "t_notification" and
// "t_customer_appeal", to a literal query whose named parameters the code that
// selects it sets.
class RejectsDocument
{
public:
    // Adds the tables, each made as QDataTable(name, connection, tableParent),
    // the links and the changing order to `document`.
    static void build(QDataSet *document, QSqlConnection *connection, QObject *tableParent);
};

// Exported entry point: builds the document once, over the application's
// "Connection", and returns the same object on every later call. The document
// is published before its tables are added.
extern "C" REJECTS_EXPORT QDataSet *getDocument(QObject *parent);
