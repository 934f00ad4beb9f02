#pragma once

#include "celldata.h"

#include <QFont>
#include <QSqlRecord>
#include <QVariant>

class QDataTable;

// The look of a defect's cell, shared by the defect list and the defects
// dialog: decided defects grey, rejected products red (both with white text),
// defects that need a reaction bold, italic and underlined; column 1 shows the
// picture icon instead of the count, column 2 the date in the system's short
// format, column 12 "Забракован" or nothing (as the shown value; the table
// keeps the real one).
//
// It runs for every visible cell of every row a table sets, so the positions
// of the fields it reads are found once, from the table's columns.
class RejectDecoration
{
public:
    void setTable(const QDataTable *table);
    void decorate(int colNum, QVariant *data, QCellData *cData, const QSqlRecord *record,
                  const QFont &viewFont) const;

private:
    QVariant field(const QSqlRecord *record, int position, const QString &name) const;

    int m_solution = -1;
    int m_reject = -1;
    int m_reaction = -1;
};
