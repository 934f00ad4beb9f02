#pragma once

#include <QString>
#include <QStringList>

// Lexical walk over PostgreSQL statement text: tells the code apart from the
// parts whose content is not SQL (string literals '...', E'...', U&'...',
// quoted identifiers "...", dollar-quoted bodies $tag$...$tag$, -- line
// comments and nested /* */ block comments). Placeholder binding and the
// statement splitter rely on it so that nothing inside such a part is ever
// taken for a placeholder or a statement end. Unterminated parts run to the
// end of the text.
class PgSqlLexer
{
public:
    // When a non-code part starts at `pos`, the index just past its end;
    // otherwise `pos` itself.
    static int skipNonCode(const QString &sql, int pos);

    // Characters that may continue an identifier or a placeholder name.
    static bool isNameChar(QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_'); }

    // The statements of a script, cut at top-level semicolons, trimmed, without
    // the semicolons; pieces holding only blanks and comments are dropped.
    static QStringList splitStatements(const QString &script);

    // True when the text holds nothing but blanks and comments.
    static bool isBlank(const QString &sql);

private:
    static int skipString(const QString &sql, int pos, bool backslashEscapes);
    static int skipQuotedIdentifier(const QString &sql, int pos);
    static int skipBlockComment(const QString &sql, int pos);
    static int skipDollarQuoted(const QString &sql, int pos);
};
