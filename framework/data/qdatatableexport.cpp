#include "qdatatable.h"
#include "qdatatableitem.h"
#include "qdatatablemodel.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTableView>
#include <QTextCodec>

namespace {

QString quoted(QString text)
{
    text.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

const char *const stateLetters[] = {"O", "A", "M", "D"};

} // namespace

// -------------------------------------------------------------------- export

QString QDataTable::prepareDump(bool withState) const
{
    QString text;
    QStringList names;
    for (const colInfo &column : m_columns)
        names.append(quoted(column.name));
    if (withState)
        text += QStringLiteral("ROW_STATE;");
    text += names.join(QLatin1Char(';')) + QStringLiteral(";\n");
    const int rows = rowCount();
    for (int row = 0; row < rows; ++row) {
        const int state = getRowState(row);
        if (state == rsDeleted && !withState)
            continue;
        if (withState)
            text += QLatin1String(stateLetters[qBound(0, state, 3)]) + QLatin1Char(';');
        for (int c = 0; c < m_columns.count(); ++c) {
            QDataTableItem *item = cell(row, c);
            text +=
                quoted(item ? QDataTableItem::text(item->current) : QString()) + QLatin1Char(';');
        }
        text += QStringLiteral(";\n");
    }
    return text;
}

QString QDataTable::dumpTable(QString directory, bool withState)
{
    QDir dir(directory);
    if (!dir.exists() && !dir.mkpath(QStringLiteral(".")))
        return QString();
    const QString path =
        dir.filePath(objectName() + QLatin1Char('_') +
                     QDateTime::currentDateTime().toString(QStringLiteral("yyyy_MM_dd hh_mm")) +
                     QStringLiteral(".csv"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QString();
    file.write(prepareDump(withState).toLocal8Bit());
    return path;
}

bool QDataTable::makeReport(QString fileName) const
{
    QTextCodec *codec = QTextCodec::codecForName("cp1251");
    QFile file(fileName);
    if (!codec || !file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    QVector<int> columns;
    QStringList line;
    for (int c = 0; c < m_columns.count(); ++c) {
        const bool shown = m_view ? !m_view->isColumnHidden(c) : m_columns.at(c).visible;
        if (shown) {
            columns.append(c);
            line.append(quoted(m_columns.at(c).header));
        }
    }
    QString text = line.join(QLatin1Char(';')) + QLatin1Char('\n');
    const int rows = rowCount();
    for (int row = 0; row < rows; ++row) {
        QDataTableItem *first = firstItem(row);
        if (!first || first->state == rsDeleted)
            continue;
        if (m_view ? m_view->isRowHidden(row) : rowFails(row))
            continue;
        line.clear();
        for (int c : qAsConst(columns)) {
            QDataTableItem *item = cell(row, c);
            line.append(quoted(item ? QDataTableItem::text(item->shown()) : QString()));
        }
        text += line.join(QLatin1Char(';')) + QLatin1Char('\n');
    }
    return file.write(codec->fromUnicode(text)) >= 0;
}
