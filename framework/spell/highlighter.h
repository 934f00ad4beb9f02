#pragma once

#include "rejects_global.h"
#include "spelldictionary.h"

#include <QSyntaxHighlighter>
#include <QTextCharFormat>

class QTextDocument;

// Underlines the misspelt words of a text document with the spell-check
// underline in red.
//
// A block is split into words at every run of characters other than word
// characters, commas, carets and backslashes, and before a backslash; a word
// that begins with a backslash is a tag and is skipped, and commas and carets
// at the ends of a word are not part of it. Each occurrence, as a whole word,
// of a word the dictionary rejects is underlined, except after a backslash.
class REJECTS_EXPORT Highlighter : public QSyntaxHighlighter
{
    Q_OBJECT
public:
    // An empty path means the default dictionary (SpellDictionary::defaultPath).
    explicit Highlighter(QTextDocument *document, const QString &dictionaryPath = QString(),
                         bool checkingOn = true);

    void setDict(const QString &dictionaryPath);
    QString dict() const { return m_dictionary.path(); }
    void enableSpellChecking(bool on);
    bool isSpellCheckingEnabled() const { return m_checking; }
    // True when the word is spelt correctly (always, without a usable dictionary).
    bool checkWord(const QString &word) const;

public slots:
    // Accepts the word from now on and underlines the document again.
    void slot_addWord(QString word);

protected:
    void highlightBlock(const QString &text) override;

private:
    void spellCheck(const QString &text);

    SpellDictionary m_dictionary;
    QTextCharFormat m_misspelt;
    bool m_checking = true;
};
