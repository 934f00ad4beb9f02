#include "pgplaceholderbinder.h"

#include "pgsqllexer.h"

namespace {

QString withoutColon(const QString &name)
{
    return name.startsWith(QLatin1Char(':')) ? name.mid(1) : name;
}

int namePartLength(const QString &name)
{
    int i = 0;
    while (i < name.size() && PgSqlLexer::isNameChar(name.at(i)))
        ++i;
    return i;
}

} // namespace

bool PgPlaceholderBinder::matchesAt(const QString &sql, int colon, const QString &name)
{
    const int n = sql.size();
    if (colon + 1 + name.size() > n)
        return false;
    if (colon > 0) {
        const QChar before = sql.at(colon - 1);
        if (before == QLatin1Char(':') || PgSqlLexer::isNameChar(before))
            return false;
    }
    if (sql.at(colon + 1) == QLatin1Char(':'))
        return false;
    if (QStringRef(&sql, colon + 1, name.size()) != name)
        return false;
    const int after = colon + 1 + name.size();
    if (PgSqlLexer::isNameChar(name.back()) && after < n && PgSqlLexer::isNameChar(sql.at(after)))
        return false;
    return true;
}

int PgPlaceholderBinder::find(const QString &sql, const QString &name, int from)
{
    const QString bare = withoutColon(name);
    if (namePartLength(bare) == 0)
        return -1;
    const int n = sql.size();
    int i = from;
    while (i < n) {
        const int skipped = PgSqlLexer::skipNonCode(sql, i);
        if (skipped != i) {
            i = skipped;
            continue;
        }
        if (sql.at(i) == QLatin1Char(':')) {
            if (matchesAt(sql, i, bare))
                return i;
            // Step over a "::" cast as a whole.
            while (i + 1 < n && sql.at(i + 1) == QLatin1Char(':'))
                ++i;
        }
        ++i;
    }
    return -1;
}

QString PgPlaceholderBinder::bind(const QString &sql, const QString &name,
                                  const QString &replacement, Occurrences occurrences)
{
    const QString bare = withoutColon(name);
    const int replaced = 1 + namePartLength(bare); // the ":" and the name part
    QString out;
    int copied = 0;
    int at = find(sql, bare, 0);
    while (at >= 0) {
        out += QStringRef(&sql, copied, at - copied);
        out += replacement;
        copied = at + replaced;
        if (occurrences == FirstOnly)
            break;
        at = find(sql, bare, at + 1 + bare.size());
    }
    if (copied == 0)
        return sql;
    out += QStringRef(&sql, copied, sql.size() - copied);
    return out;
}
