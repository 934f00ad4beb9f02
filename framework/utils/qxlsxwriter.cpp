#include "qxlsxwriter.h"

#include <QFile>
#include <xlsxwriter.h>

void QXlsxWriter::write(int row, int column, const QVariant &value, const QFont &font,
                        Border border)
{
    if (row < 1 || column < 1)
        return;
    m_cells.insert(qMakePair(row, column), Cell{value, font, border});
}

void QXlsxWriter::setColumnWidth(int column, double width)
{
    if (column >= 1 && width >= 0)
        m_widths.insert(column, width);
}

QVariant QXlsxWriter::cellValue(int row, int column) const
{
    return m_cells.value(qMakePair(row, column)).value;
}

namespace {

QString formatKey(const QFont &font, int border)
{
    return QStringLiteral("%1|%2|%3|%4|%5|%6")
        .arg(font.family())
        .arg(font.pointSizeF())
        .arg(font.weight() > QFont::Normal)
        .arg(font.italic())
        .arg(font.underline())
        .arg(border);
}

bool isNumber(const QVariant &value)
{
    switch (value.type()) {
    case QVariant::Int:
    case QVariant::UInt:
    case QVariant::LongLong:
    case QVariant::ULongLong:
    case QVariant::Double:
        return true;
    default:
        return false;
    }
}

} // namespace

bool QXlsxWriter::saveAs(const QString &fileName)
{
    m_error.clear();
    const QByteArray path = QFile::encodeName(fileName);
    lxw_workbook *book = workbook_new(path.constData());
    if (!book) {
        m_error = QStringLiteral("Cannot create workbook %1").arg(fileName);
        return false;
    }
    lxw_worksheet *sheet = workbook_add_worksheet(book, nullptr);

    QHash<QString, lxw_format *> formats;
    auto formatFor = [&](const QFont &font, int border) {
        const QString key = formatKey(font, border);
        lxw_format *format = formats.value(key);
        if (format)
            return format;
        format = workbook_add_format(book);
        if (!font.family().isEmpty())
            format_set_font_name(format, font.family().toUtf8().constData());
        if (font.pointSizeF() > 0)
            format_set_font_size(format, font.pointSizeF());
        if (font.weight() > QFont::Normal)
            format_set_bold(format);
        if (font.italic())
            format_set_italic(format);
        if (font.underline())
            format_set_underline(format, LXW_UNDERLINE_SINGLE);
        if (border == ThinBorder)
            format_set_border(format, LXW_BORDER_THIN);
        else if (border == MediumBorder)
            format_set_border(format, LXW_BORDER_MEDIUM);
        formats.insert(key, format);
        return format;
    };

    for (auto it = m_widths.cbegin(); it != m_widths.cend(); ++it)
        worksheet_set_column(sheet, lxw_col_t(it.key() - 1), lxw_col_t(it.key() - 1), it.value(),
                             nullptr);

    for (auto it = m_cells.cbegin(); it != m_cells.cend(); ++it) {
        const lxw_row_t row = lxw_row_t(it.key().first - 1);
        const lxw_col_t col = lxw_col_t(it.key().second - 1);
        const Cell &cell = it.value();
        lxw_format *format = formatFor(cell.font, cell.border);
        if (cell.value.isNull() || !cell.value.isValid())
            worksheet_write_blank(sheet, row, col, format);
        else if (cell.value.type() == QVariant::Bool)
            worksheet_write_boolean(sheet, row, col, cell.value.toBool(), format);
        else if (isNumber(cell.value))
            worksheet_write_number(sheet, row, col, cell.value.toDouble(), format);
        else {
            const QString text = cell.value.toString();
            if (text.isEmpty())
                worksheet_write_blank(sheet, row, col, format);
            else
                worksheet_write_string(sheet, row, col, text.toUtf8().constData(), format);
        }
    }

    const lxw_error result = workbook_close(book);
    if (result != LXW_NO_ERROR) {
        m_error = QString::fromUtf8(lxw_strerror(result));
        return false;
    }
    return true;
}
