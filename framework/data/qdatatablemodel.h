#pragma once

// Internal to QDataTable: the model of a table and its pool of cell decorations.

#include "celldata.h"

#include <QBrush>
#include <QFont>
#include <QIcon>
#include <QStandardItemModel>
#include <QString>
#include <QVector>

// The decoration of a cell, kept once per distinct decoration in the model's
// pool: most cells of a table share a handful of them.
struct QCellDecoration
{
    QIcon icon;
    QBrush foreground;
    QBrush background;
    QFont font;
    bool hasFont = false;
    QString toolTip;

    bool operator==(const QCellDecoration &other) const
    {
        return hasFont == other.hasFont && icon.cacheKey() == other.icon.cacheKey() &&
               foreground == other.foreground && background == other.background &&
               toolTip == other.toolTip && (!hasFont || font == other.font);
    }
};

// and a redrawn row as one change, and keeps the pool of cell decorations.
class QDataTableModel : public QStandardItemModel
{
public:
    explicit QDataTableModel(QObject *parent)
        : QStandardItemModel(parent)
    {
        m_decorations.append(QCellDecoration());
    }
    void beginReset() { beginResetModel(); }
    void endReset() { endResetModel(); }
    void rowChanged(int row, int columns)
    {
        if (columns > 0)
            emit dataChanged(index(row, 0), index(row, columns - 1));
    }

    const QCellDecoration &decoration(quint32 index) const { return m_decorations.at(index); }
    // The pool index of a cell's decoration, 0 when it has none.
    quint32 decorationOf(const cellData &cell, const cellData &fresh)
    {
        const bool hasFont = !(cell.font == fresh.font);
        if (cell.icon.isNull() && cell.foreground.style() == Qt::NoBrush &&
            cell.background.style() == Qt::NoBrush && cell.toolTip.isEmpty() && !hasFont)
            return 0;
        QCellDecoration wanted;
        wanted.icon = cell.icon;
        wanted.foreground = cell.foreground;
        wanted.background = cell.background;
        wanted.toolTip = cell.toolTip;
        wanted.hasFont = hasFont;
        if (hasFont)
            wanted.font = cell.font;
        if (m_lastHit && m_decorations.at(m_lastHit) == wanted)
            return m_lastHit;
        // A bounded search: a receiver that makes every cell different (a
        // tool tip per cell) only grows the pool.
        const int last = m_decorations.size() - 1;
        for (int i = last; i >= 1 && i > last - 64; --i) {
            if (m_decorations.at(i) == wanted)
                return m_lastHit = quint32(i);
        }
        m_decorations.append(wanted);
        return m_lastHit = quint32(m_decorations.size() - 1);
    }
    void clearDecorations()
    {
        m_decorations.resize(1);
        m_lastHit = 0;
    }

private:
    QVector<QCellDecoration> m_decorations;
    quint32 m_lastHit = 0;
};
