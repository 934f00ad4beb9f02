#pragma once

#include "celldata.h"

#include <QFont>
#include <QSqlRecord>
#include <QVariant>

// The look of a defect's cell, shared by the defect list and the defects
// dialog: decided defects grey, rejected products red (both with white text),
// defects that need a reaction bold, italic and underlined; column 1 shows the
// picture icon instead of the count, column 2 the date in the system's short
// format, column 12 "Забракован" or nothing (as the shown value; the table
// keeps the real one).
void decorateRejectCell(int colNum, QVariant *data, QCellData *cData, const QSqlRecord *record,
                        const QFont &viewFont);
