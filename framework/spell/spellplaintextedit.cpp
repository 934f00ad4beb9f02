#include "spellplaintextedit.h"

#include "highlighter.h"
#include "spellmenu.h"

SpellPlainTextEdit::SpellPlainTextEdit(QWidget *parent, const QString &dictionaryPath)
    : QPlainTextEdit(parent)
    , m_dictionary(dictionaryPath)
    , m_highlighter(new Highlighter(document(), m_dictionary.path(), true))
{
    connect(this, &SpellPlainTextEdit::addWord, m_highlighter, &Highlighter::slot_addWord);
}

void SpellPlainTextEdit::setDict(const QString &dictionaryPath)
{
    m_dictionary = SpellDictionary(dictionaryPath);
    m_highlighter->setDict(m_dictionary.path());
}

QStringList SpellPlainTextEdit::getWordPropositions(const QString &word) const
{
    return m_dictionary.suggest(word, SpellMenu::maxSuggestions);
}

void SpellPlainTextEdit::correctWord()
{
    SpellMenu::correctWord(this, qobject_cast<QAction *>(sender()));
}

void SpellPlainTextEdit::slot_addWord(QString word)
{
    m_dictionary.add(word);
}

void SpellPlainTextEdit::slot_ignoreWord()
{
    const QString word = SpellMenu::ignoreWord(this, m_dictionary);
    if (!word.isEmpty())
        emit addWord(word);
}

void SpellPlainTextEdit::contextMenuEvent(QContextMenuEvent *event)
{
    SpellMenu::exec(this, event, m_dictionary);
}

void SpellPlainTextEdit::focusOutEvent(QFocusEvent *event)
{
    emit editingFinished();
    QPlainTextEdit::focusOutEvent(event);
}
