#pragma once

#include "rejects_global.h"

#include <QFont>
#include <QHash>
#include <QMap>
#include <QString>
#include <QVariant>

// A small spreadsheet writer over libxlsxwriter: one worksheet, cells written
// one by one with a font and a border, column widths in characters, and the
// workbook saved at once under a file name. Rows and columns count from 1.
// Cells are kept in memory until saveAs(), so a failed save loses nothing and
// may be retried under another name.
class REJECTS_EXPORT QXlsxWriter
{
public:
    enum Border { NoBorder = 0, ThinBorder = 1, MediumBorder = 2 };

    QXlsxWriter() = default;

    // Writes a value: numbers stay numbers, booleans become TRUE/FALSE, and
    // everything else is written as its text. A null value leaves the cell
    // blank but still formatted (so a bordered table has no holes).
    void write(int row, int column, const QVariant &value, const QFont &font = QFont(),
               Border border = NoBorder);
    void setColumnWidth(int column, double width);

    QVariant cellValue(int row, int column) const;
    double columnWidth(int column) const { return m_widths.value(column, -1); }
    bool isEmpty() const { return m_cells.isEmpty(); }

    // Writes the workbook; false (with the reason in errorString()) when the
    // file could not be written.
    bool saveAs(const QString &fileName);
    QString errorString() const { return m_error; }

private:
    struct Cell
    {
        QVariant value;
        QFont font;
        Border border = NoBorder;
    };

    QMap<QPair<int, int>, Cell> m_cells;
    QMap<int, double> m_widths;
    QString m_error;
};
