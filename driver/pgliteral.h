#pragma once

#include <QString>
#include <QVariant>

// Renders a value as a PostgreSQL literal; the only place of the system where
// a value becomes SQL text. The forms, independent of the server's
// standard_conforming_strings:
//   null or invalid value        NULL
//   bool                         true / false
//   integers                     123, (-123)       negatives in parentheses, so that
//                                                  "1-:x" never turns into a comment
//   double, float                shortest text that reads back bit for bit: 0.1,
//                                1e+300, (-2.5); -0.0 keeps its sign as
//                                CAST('-0' AS double precision); NaN and ±Inf as
//                                CAST('NaN' | 'Infinity' | '-Infinity' AS double precision)
//   text (and anything else      E'...' with ' doubled and \ doubled; a NUL
//   convertible to text)         character becomes \000, which the server rejects
//   byte array                   CAST(E'\\x0aff' AS bytea)
//   date                         '2026-11-21'            (year ≤ 0 as '0044-03-15 BC')
//   date and time                '2026-11-21 13:45:12.345+03:00'   local time with ms and
//                                its UTC offset (a UTC QDateTime is turned to local first)
//   time                         '13:45:12.345'
class PgLiteral
{
public:
    static QString render(const QVariant &value);

    static QString text(const QString &value);
    static QString bytes(const QByteArray &value);
    static QString real(double value);
    static QString integer(qlonglong value);
    static QString unsignedInteger(qulonglong value);
    static QString date(const QDate &value);
    static QString dateTime(const QDateTime &value);
    static QString time(const QTime &value);

    // A quoted identifier ("name" with " doubled).
    static QString identifier(const QString &name);
};
