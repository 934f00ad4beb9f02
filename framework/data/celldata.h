#pragma once

#include <QBrush>
#include <QFont>
#include <QIcon>
#include <QMetaType>
#include <QString>

// The decoration of one cell that a receiver of QDataTable::getDispInfo may
// fill. A fresh cellData has empty texts, a null icon, default brushes and the
// default font; the table applies icon, brushes, font (when it differs from the
// default) and tool tip (when not empty). The text is not applied: a receiver
// changes the shown value through the value argument of the signal.
struct cellData
{
    QString text;
    QIcon icon;
    QBrush foreground;
    QBrush background;
    QString toolTip;
    QFont font;
};

// The name under which the display-information signal and its receivers are
// declared; connections are made by signature text, so they must spell it so:
//   getDispInfo(int, QVariant*, QCellData*, QSqlRecord*, int)
typedef cellData QCellData;

Q_DECLARE_METATYPE(QCellData *)
