#pragma once

#include <QString>

// Replaces a named placeholder (":name") of a statement by SQL text.
//
// A placeholder is found only in code, never inside literals, quoted
// identifiers, dollar-quoted bodies or comments (see PgSqlLexer), never as
// part of a "::" cast and never in the middle of a word ("x:id"). The name is
// compared whole and case-sensitively: ":id" does not match ":id_plan".
// The connection may hand names that carry the character following the
// placeholder ("id;" or "id::int", when the statement had no blank after it):
// the leading name part ("id") is the placeholder, the rest must follow it in
// the text exactly and is kept after the replacement. A leading ":" in the
// given name is ignored.
class PgPlaceholderBinder
{
public:
    enum Occurrences { FirstOnly, All };

    // The statement with the first (or every) occurrence of the placeholder
    // replaced by `replacement`; unchanged when there is none.
    static QString bind(const QString &sql, const QString &name, const QString &replacement,
                        Occurrences occurrences = FirstOnly);

    // Index of the ":" of the next occurrence at or after `from`, or -1.
    static int find(const QString &sql, const QString &name, int from = 0);

private:
    static bool matchesAt(const QString &sql, int colon, const QString &name);
};
