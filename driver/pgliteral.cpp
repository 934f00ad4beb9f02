#include "pgliteral.h"

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QTime>
#include <QUuid>
#include <cmath>

namespace {

const char nullLiteral[] = "NULL";

QString negativeInParentheses(const QString &number)
{
    return number.startsWith(QLatin1Char('-')) ? QLatin1Char('(') + number + QLatin1Char(')')
                                               : number;
}

QString datePart(const QDate &date)
{
    if (date.year() > 0)
        return date.toString(QStringLiteral("yyyy-MM-dd"));
    // Qt counts 1 BC as year -1, PostgreSQL writes it "0001-... BC".
    return QStringLiteral("%1-%2-%3 BC")
        .arg(-date.year(), 4, 10, QLatin1Char('0'))
        .arg(date.month(), 2, 10, QLatin1Char('0'))
        .arg(date.day(), 2, 10, QLatin1Char('0'));
}

QString quoted(const QString &inner)
{
    return QLatin1Char('\'') + inner + QLatin1Char('\'');
}

} // namespace

QString PgLiteral::render(const QVariant &value)
{
    if (!value.isValid() || value.isNull())
        return QLatin1String(nullLiteral);
    switch (static_cast<int>(value.userType())) {
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::SChar:
        return integer(value.toLongLong());
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UChar:
        return unsignedInteger(value.toULongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return real(value.toDouble());
    case QMetaType::QByteArray:
        return bytes(value.toByteArray());
    case QMetaType::QDate:
        return date(value.toDate());
    case QMetaType::QDateTime:
        return dateTime(value.toDateTime());
    case QMetaType::QTime:
        return time(value.toTime());
    case QMetaType::QUuid:
        return text(value.toUuid().toString(QUuid::WithoutBraces));
    default:
        break;
    }
    if (value.canConvert<QString>())
        return text(value.toString());
    return QLatin1String(nullLiteral);
}

QString PgLiteral::text(const QString &value)
{
    QString out;
    out.reserve(value.size() + value.size() / 8 + 4);
    out += QLatin1String("E'");
    for (const QChar c : value) {
        if (c == QLatin1Char('\''))
            out += QLatin1String("''");
        else if (c == QLatin1Char('\\'))
            out += QLatin1String("\\\\");
        else if (c.unicode() == 0)
            out += QLatin1String("\\000");
        else
            out += c;
    }
    out += QLatin1Char('\'');
    return out;
}

QString PgLiteral::bytes(const QByteArray &value)
{
    return QLatin1String("CAST(E'\\\\x") + QString::fromLatin1(value.toHex()) +
           QLatin1String("' AS bytea)");
}

QString PgLiteral::real(double value)
{
    if (std::isnan(value))
        return QStringLiteral("CAST('NaN' AS double precision)");
    if (std::isinf(value))
        return value > 0 ? QStringLiteral("CAST('Infinity' AS double precision)")
                         : QStringLiteral("CAST('-Infinity' AS double precision)");
    if (value == 0 && std::signbit(value))
        return QStringLiteral("CAST('-0' AS double precision)");
    return negativeInParentheses(QString::number(value, 'g', QLocale::FloatingPointShortest));
}

QString PgLiteral::integer(qlonglong value)
{
    return negativeInParentheses(QString::number(value));
}

QString PgLiteral::unsignedInteger(qulonglong value)
{
    return QString::number(value);
}

QString PgLiteral::date(const QDate &value)
{
    if (!value.isValid())
        return QLatin1String(nullLiteral);
    return quoted(datePart(value));
}

QString PgLiteral::dateTime(const QDateTime &value)
{
    if (!value.isValid())
        return QLatin1String(nullLiteral);
    // Local wall-clock time, as QPSQL reads timestamps back, with its offset so
    // that timestamptz columns get the same instant.
    const QDateTime local = value.toLocalTime();
    const int offset = local.offsetFromUtc();
    const int minutes = std::abs(offset) / 60;
    const QString zone = QStringLiteral("%1%2:%3")
                             .arg(offset < 0 ? QLatin1Char('-') : QLatin1Char('+'))
                             .arg(minutes / 60, 2, 10, QLatin1Char('0'))
                             .arg(minutes % 60, 2, 10, QLatin1Char('0'));
    QString d = datePart(local.date());
    QString era;
    if (d.endsWith(QLatin1String(" BC"))) {
        d.chop(3);
        era = QStringLiteral(" BC");
    }
    return quoted(d + QLatin1Char(' ') + local.time().toString(QStringLiteral("HH:mm:ss.zzz")) +
                  zone + era);
}

QString PgLiteral::time(const QTime &value)
{
    if (!value.isValid())
        return QLatin1String(nullLiteral);
    return quoted(value.toString(QStringLiteral("HH:mm:ss.zzz")));
}

QString PgLiteral::identifier(const QString &name)
{
    QString inner = name;
    inner.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + inner + QLatin1Char('"');
}
