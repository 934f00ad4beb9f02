#include "rejectdecoration.h"

#include <QDateTime>
#include <QIcon>
#include <QLocale>

void decorateRejectCell(int colNum, QVariant *data, QCellData *cData, const QSqlRecord *record,
                        const QFont &viewFont)
{
    if (!cData || !record)
        return;
    static const QString solution = QStringLiteral("c_solution");
    static const QString reject = QStringLiteral("b_reject");
    static const QString reaction = QStringLiteral("b_reaction");
    if (!record->value(solution).toString().isEmpty()) {
        cData->background = QBrush(Qt::gray);
        cData->foreground = QBrush(Qt::white);
    }
    if (record->value(reject).toBool()) {
        cData->background = QBrush(Qt::red);
        cData->foreground = QBrush(Qt::white);
    }
    // Other cells keep the view's own font, which is what they show anyway.
    if (record->value(reaction).toBool()) {
        cData->font = viewFont;
        cData->font.setWeight(QFont::Bold);
        cData->font.setItalic(true);
        cData->font.setUnderline(true);
    }

    // The text of a cell is the shown value: the table keeps the real one.
    if (!data)
        return;
    switch (colNum) {
    case 1: {
        static const QIcon photo(QStringLiteral(":/Icons/PHOTO"));
        if (data->toUInt() != 0)
            cData->icon = photo;
        cData->text = QString();
        *data = cData->text;
        break;
    }
    case 2:
        cData->text = QLocale::system().toString(data->toDateTime(), QLocale::ShortFormat);
        *data = cData->text;
        break;
    case 12:
        cData->text = data->toBool() ? QStringLiteral("Забракован") : QString();
        *data = cData->text;
        break;
    default:
        break;
    }
}
