#include "highlighter.h"

#include <QRegularExpression>
#include <QSet>

Highlighter::Highlighter(QTextDocument *document, const QString &dictionaryPath, bool checkingOn)
    : QSyntaxHighlighter(document)
    , m_dictionary(dictionaryPath)
    , m_checking(checkingOn)
{
    m_misspelt.setUnderlineStyle(QTextCharFormat::SpellCheckUnderline);
    m_misspelt.setUnderlineColor(Qt::red);
}

void Highlighter::setDict(const QString &dictionaryPath)
{
    m_dictionary = SpellDictionary(dictionaryPath);
    rehighlight();
}

void Highlighter::enableSpellChecking(bool on)
{
    if (m_checking == on)
        return;
    m_checking = on;
    rehighlight();
}

bool Highlighter::checkWord(const QString &word) const
{
    return m_dictionary.check(word);
}

void Highlighter::slot_addWord(QString word)
{
    m_dictionary.add(word);
    rehighlight();
}

void Highlighter::highlightBlock(const QString &text)
{
    spellCheck(text);
}

void Highlighter::spellCheck(const QString &text)
{
    if (!m_checking || !m_dictionary.isUsable())
        return;
    static const QRegularExpression separators(QStringLiteral("([^\\w,^\\\\]|(?=\\\\))+"),
                                               QRegularExpression::UseUnicodePropertiesOption);
    static const QRegularExpression edges(QStringLiteral("^[,^]+|[,^]+$"));
    QSet<QString> seen;
    const QStringList parts = text.split(separators, Qt::SkipEmptyParts);
    for (QString word : parts) {
        if (word.startsWith(QLatin1Char('\\')))
            continue;
        word.remove(edges);
        if (word.isEmpty() || seen.contains(word))
            continue;
        seen.insert(word);
        if (m_dictionary.check(word))
            continue;
        const QRegularExpression whole(QStringLiteral("\\b") + QRegularExpression::escape(word) +
                                           QStringLiteral("\\b"),
                                       QRegularExpression::UseUnicodePropertiesOption);
        auto matches = whole.globalMatch(text);
        while (matches.hasNext()) {
            const QRegularExpressionMatch match = matches.next();
            const int start = match.capturedStart();
            if (start > 0 && text.at(start - 1) == QLatin1Char('\\'))
                continue;
            setFormat(start, match.capturedLength(), m_misspelt);
        }
    }
}
