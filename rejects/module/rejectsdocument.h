#pragma once

#include "rejects_global.h"

#include <QCoreApplication>
#include <QVariant>

class QDataSet;
class QDataTable;
class QIcon;
class QObject;
class QSqlConnection;

// One column in a table of columns (one QDataTable::addColumn each, in order).
// Texts are untranslated (QT_TR_NOOP): header, tool tip and a text default are
// translated when the column is added. A hidden column needs no header.
struct ColumnDecl
{
    const char *name;
    int type; // QVariant::Type
    bool shown = false;
    const char *header = nullptr;
    int width = 100;
    int flags = 0; // colFlag values (colinfo.h)
    int step = 0;
    QVariant defaultValue = QVariant();
    const char *toolTip = nullptr;
    QIcon *icon = nullptr; // not owned
};

// The module's document: one QDataSet of 23 tables (the defect register
// "t_process_exam", its details, look-ups and the repair plan tables), seven
// master/detail key links and the changing order in which a commit writes
// them. Every table is bound to named scripts of the script store or, for the
// five look-ups "t_serial", "t_reasons", "t_executor", "t_notification" and
// "t_customer_appeal", to a literal query whose named parameters the code that
// selects it sets.
class RejectsDocument
{
    Q_DECLARE_TR_FUNCTIONS(RejectsDocument)
public:
    // Adds the tables, each made as QDataTable(name, connection, tableParent),
    // the links and the changing order to `document`.
    static void build(QDataSet *document, QSqlConnection *connection, QObject *tableParent);

    // The columns of the defect register "t_process_exam", declared once: the
    // document's table and the defects dialog (RejectDialog) read them.
    static const QVector<ColumnDecl> &registerColumns();
    // Adds `columns` to `table`, in order.
    static void addColumns(QDataTable *table, const QVector<ColumnDecl> &columns);
    // The header icon of the picture-count column.
    static QIcon *photoIcon();
};

// Exported entry point: builds the document once, over the application's
// "Connection", and returns the same object on every later call. The document
// is published before its tables are added.
extern "C" REJECTS_EXPORT QDataSet *getDocument(QObject *parent);
