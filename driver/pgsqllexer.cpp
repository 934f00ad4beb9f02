#include "pgsqllexer.h"

namespace {

bool isIdentifierChar(QChar c)
{
    return PgSqlLexer::isNameChar(c) || c == QLatin1Char('$');
}

} // namespace

int PgSqlLexer::skipNonCode(const QString &sql, int pos)
{
    const int n = sql.size();
    if (pos >= n)
        return pos;
    const QChar c = sql.at(pos);
    const QChar next = pos + 1 < n ? sql.at(pos + 1) : QChar();
    if (c == QLatin1Char('\'')) {
        // E'...' keeps C-style backslash escapes; the prefix must stand alone.
        const bool escaped =
            pos >= 1 &&
            (sql.at(pos - 1) == QLatin1Char('E') || sql.at(pos - 1) == QLatin1Char('e')) &&
            (pos < 2 || !isIdentifierChar(sql.at(pos - 2)));
        return skipString(sql, pos, escaped);
    }
    if (c == QLatin1Char('"'))
        return skipQuotedIdentifier(sql, pos);
    if (c == QLatin1Char('-') && next == QLatin1Char('-')) {
        const int end = sql.indexOf(QLatin1Char('\n'), pos + 2);
        return end < 0 ? n : end + 1;
    }
    if (c == QLatin1Char('/') && next == QLatin1Char('*'))
        return skipBlockComment(sql, pos);
    if (c == QLatin1Char('$') && (pos == 0 || !isIdentifierChar(sql.at(pos - 1))))
        return skipDollarQuoted(sql, pos);
    return pos;
}

int PgSqlLexer::skipString(const QString &sql, int pos, bool backslashEscapes)
{
    const int n = sql.size();
    int i = pos + 1;
    while (i < n) {
        const QChar c = sql.at(i);
        if (backslashEscapes && c == QLatin1Char('\\')) {
            i += 2;
            continue;
        }
        if (c == QLatin1Char('\'')) {
            if (i + 1 < n && sql.at(i + 1) == QLatin1Char('\'')) {
                i += 2;
                continue;
            }
            return i + 1;
        }
        ++i;
    }
    return n;
}

int PgSqlLexer::skipQuotedIdentifier(const QString &sql, int pos)
{
    const int n = sql.size();
    int i = pos + 1;
    while (i < n) {
        if (sql.at(i) == QLatin1Char('"')) {
            if (i + 1 < n && sql.at(i + 1) == QLatin1Char('"')) {
                i += 2;
                continue;
            }
            return i + 1;
        }
        ++i;
    }
    return n;
}

int PgSqlLexer::skipBlockComment(const QString &sql, int pos)
{
    const int n = sql.size();
    int depth = 0;
    int i = pos;
    while (i < n) {
        if (sql.at(i) == QLatin1Char('/') && i + 1 < n && sql.at(i + 1) == QLatin1Char('*')) {
            ++depth;
            i += 2;
        } else if (sql.at(i) == QLatin1Char('*') && i + 1 < n &&
                   sql.at(i + 1) == QLatin1Char('/')) {
            i += 2;
            if (--depth == 0)
                return i;
        } else {
            ++i;
        }
    }
    return n;
}

int PgSqlLexer::skipDollarQuoted(const QString &sql, int pos)
{
    // $tag$ with an optional tag that does not start with a digit ($1 is a
    // positional parameter, not a quote).
    const int n = sql.size();
    int i = pos + 1;
    if (i < n && sql.at(i).isDigit())
        return pos;
    while (i < n && isNameChar(sql.at(i)))
        ++i;
    if (i >= n || sql.at(i) != QLatin1Char('$'))
        return pos;
    const QString tag = sql.mid(pos, i - pos + 1);
    const int end = sql.indexOf(tag, i + 1);
    return end < 0 ? n : end + tag.size();
}

QStringList PgSqlLexer::splitStatements(const QString &script)
{
    QStringList statements;
    const int n = script.size();
    int start = 0;
    int i = 0;
    // A routine written with a BEGIN ATOMIC ... END body holds semicolons of
    // its own: inside CREATE FUNCTION/PROCEDURE, BEGIN and CASE open a block
    // that END closes, and only a semicolon outside every block ends it.
    bool firstWord = true;
    bool create = false;
    bool routine = false;
    int depth = 0;
    while (i < n) {
        const int skipped = skipNonCode(script, i);
        if (skipped != i) {
            i = skipped;
            continue;
        }
        const QChar c = script.at(i);
        if (c.isLetter() || c == QLatin1Char('_')) {
            int end = i + 1;
            while (end < n && isIdentifierChar(script.at(end)))
                ++end;
            const QString word = script.mid(i, end - i).toUpper();
            if (firstWord)
                create = word == QLatin1String("CREATE");
            else if (create &&
                     (word == QLatin1String("FUNCTION") || word == QLatin1String("PROCEDURE")))
                routine = true;
            else if (routine && (word == QLatin1String("BEGIN") || word == QLatin1String("CASE")))
                ++depth;
            else if (routine && word == QLatin1String("END") && depth > 0)
                --depth;
            firstWord = false;
            i = end;
            continue;
        }
        if (c == QLatin1Char(';') && depth == 0) {
            const QString piece = script.mid(start, i - start);
            if (!isBlank(piece))
                statements << piece.trimmed();
            start = i + 1;
            firstWord = true;
            create = routine = false;
        }
        ++i;
    }
    const QString rest = script.mid(start);
    if (!isBlank(rest))
        statements << rest.trimmed();
    return statements;
}

bool PgSqlLexer::isBlank(const QString &sql)
{
    const int n = sql.size();
    int i = 0;
    while (i < n) {
        const QChar c = sql.at(i);
        if ((c == QLatin1Char('-') && i + 1 < n && sql.at(i + 1) == QLatin1Char('-')) ||
            (c == QLatin1Char('/') && i + 1 < n && sql.at(i + 1) == QLatin1Char('*'))) {
            i = skipNonCode(sql, i);
            continue;
        }
        if (!c.isSpace())
            return false;
        ++i;
    }
    return true;
}
