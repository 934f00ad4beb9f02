#include "spelltextedit.h"

#include "highlighter.h"
#include "spellmenu.h"

SpellTextEdit::SpellTextEdit(QWidget *parent, const QString &dictionaryPath)
    : QTextEdit(parent)
    , m_dictionary(dictionaryPath)
    , m_highlighter(new Highlighter(document(), m_dictionary.path(), true))
{
    connect(this, &SpellTextEdit::addWord, m_highlighter, &Highlighter::slot_addWord);
}

void SpellTextEdit::setDict(const QString &dictionaryPath)
{
    m_dictionary = SpellDictionary(dictionaryPath);
    m_highlighter->setDict(m_dictionary.path());
}

QStringList SpellTextEdit::getWordPropositions(const QString &word) const
{
    return m_dictionary.suggest(word, SpellMenu::maxSuggestions);
}

void SpellTextEdit::correctWord()
{
    SpellMenu::correctWord(this, qobject_cast<QAction *>(sender()));
}

void SpellTextEdit::slot_addWord(QString word)
{
    m_dictionary.add(word);
}

void SpellTextEdit::slot_ignoreWord()
{
    const QString word = SpellMenu::ignoreWord(this, m_dictionary);
    if (!word.isEmpty())
        emit addWord(word);
}

void SpellTextEdit::contextMenuEvent(QContextMenuEvent *event)
{
    SpellMenu::exec(this, event, m_dictionary);
}

void SpellTextEdit::focusOutEvent(QFocusEvent *event)
{
    emit editingFinished();
    QTextEdit::focusOutEvent(event);
}
