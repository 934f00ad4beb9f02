#pragma once

#include <QString>
#include <QVariant>

class QIcon;

// One column of a QDataTable, copied by value.
//
// flags: colFlag values combined with |; see colFlag below. When several of
// cfFixedWidth, cfStretch and cfFitContents are set they are applied in that
// order, so the last one wins.
//
// step: 0 gives new rows defaultValue; otherwise new rows take the table's last
// generated value of this column plus step (starting from 0), so a key column
// with step -1 gives the temporary keys -1, -2, -3 ... until the database
// assigns real ones.
// Column flags (colInfo::flags, the flags argument of QDataTable::addColumn).
enum colFlag {
    cfSearchIndex = 1,  // keep a search index on the column (addSearchIndex(name, itValue))
    cfValueIndex = 2,   // keep, while rows are set, an index from each value text of
                        // the column to its rows; applyFilters and locate use it
    cfFixedWidth = 4,   // the header section has a fixed width
    cfPictureCount = 8, // marks a picture-count column (with cfFixedWidth; no effect
                        // of its own)
    cfFitContents = 16, // the header section is resized to its contents
    cfStretch = 64      // the header section stretches
};

struct colInfo
{
    QString name;                // field name in the result set
    QString header;              // header text
    QString toolTip;             // header tool tip; the header text when empty
    int type = QVariant::String; // QVariant::Type of the column
    QVariant defaultValue;       // value of a new row
    int width = 100;             // column width in pixels
    bool visible = true;         // shown in the view
    int flags = 0;               // colFlag values
    int step = 0;                // see above
    QIcon *icon = nullptr;       // header icon; not owned, may be null
};
