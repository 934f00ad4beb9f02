#include "rejectdecoration.h"

#include "qdatatable.h"
#include "rejectsdocument.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QIcon>
#include <QLocale>

namespace {

const QString solutionField = QStringLiteral("c_solution");
const QString rejectField = QStringLiteral("b_reject");
const QString reactionField = QStringLiteral("b_reaction");

} // namespace

void RejectDecoration::setTable(const QDataTable *table)
{
    const infoList &columns = table->getColumns();
    m_solution = columns.indexOf(solutionField);
    m_reject = columns.indexOf(rejectField);
    m_reaction = columns.indexOf(reactionField);
}

// The record of a row has one field per column, in column order; a record of
// another shape is read by name.
QVariant RejectDecoration::field(const QSqlRecord *record, int position, const QString &name) const
{
    if (position >= 0 && position < record->count() && record->fieldName(position) == name)
        return record->value(position);
    return record->value(name);
}

void RejectDecoration::decorate(int colNum, QVariant *data, QCellData *cData,
                                const QSqlRecord *record, const QFont &viewFont) const
{
    if (!cData || !record)
        return;
    static const QBrush gray(Qt::gray);
    static const QBrush red(Qt::red);
    static const QBrush white(Qt::white);
    if (field(record, m_reject, rejectField).toBool()) {
        cData->background = red;
        cData->foreground = white;
    } else if (!field(record, m_solution, solutionField).toString().isEmpty()) {
        cData->background = gray;
        cData->foreground = white;
    }
    // Other cells keep the view's own font, which is what they show anyway.
    if (field(record, m_reaction, reactionField).toBool()) {
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
        if (data->toUInt() != 0)
            cData->icon = *RejectsDocument::photoIcon();
        cData->text = QString();
        *data = cData->text;
        break;
    }
    case 2: {
        static const QLocale locale = QLocale::system();
        cData->text = locale.toString(data->toDateTime(), QLocale::ShortFormat);
        *data = cData->text;
        break;
    }
    case 12:
        cData->text = data->toBool() ? QCoreApplication::translate("RejectDecoration", "Забракован")
                                     : QString();
        *data = cData->text;
        break;
    default:
        break;
    }
}
