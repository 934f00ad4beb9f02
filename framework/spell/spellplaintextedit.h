#pragma once

#include "rejects_global.h"
#include "spelldictionary.h"

#include <QPlainTextEdit>

class Highlighter;

// A plain-text editor that underlines misspelt words as the user types
// (Highlighter) and offers, in its context menu over a misspelt word, at most
// five corrections and "Игнорировать ..". An ignored word is accepted for the
// rest of the run and its underline disappears everywhere in the document.
// Losing the focus emits editingFinished().
//
// An empty dictionary path means the default dictionary
// (SpellDictionary::defaultPath); a path given explicitly is used as given,
// and a missing or unreadable dictionary leaves checking without effect.
class REJECTS_EXPORT SpellPlainTextEdit : public QPlainTextEdit
{
    Q_OBJECT
public:
    explicit SpellPlainTextEdit(QWidget *parent = nullptr,
                                const QString &dictionaryPath = QString());

    void setDict(const QString &dictionaryPath);
    QString dict() const { return m_dictionary.path(); }
    // The dictionary's corrections of the word, at most five.
    QStringList getWordPropositions(const QString &word) const;
    Highlighter *highlighter() const { return m_highlighter; }

signals:
    void addWord(QString word);
    void editingFinished();

public slots:
    // Replaces the word under the text cursor with the suggestion carried by
    // the triggering action.
    void correctWord();
    void slot_addWord(QString word);
    // Accepts the word under the text cursor and emits addWord().
    void slot_ignoreWord();

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    SpellDictionary m_dictionary;
    Highlighter *m_highlighter = nullptr;
};
