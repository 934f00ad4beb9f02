#include "spelltextedit.h"

#include "highlighter.h"
#include "spellmenu.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QMenu>
#include <QScopedPointer>

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
    auto *action = qobject_cast<QAction *>(sender());
    QTextCursor cursor = textCursor();
    if (!action || SpellDictionary::selectWord(&cursor).isEmpty())
        return;
    cursor.insertText(action->data().toString());
    setTextCursor(cursor);
}

void SpellTextEdit::slot_addWord(QString word)
{
    m_dictionary.add(word);
}

void SpellTextEdit::slot_ignoreWord()
{
    QTextCursor cursor = textCursor();
    const QString word = SpellDictionary::selectWord(&cursor);
    if (word.isEmpty())
        return;
    m_dictionary.add(word);
    emit addWord(word);
}

void SpellTextEdit::contextMenuEvent(QContextMenuEvent *event)
{
    QScopedPointer<QMenu> menu(createStandardContextMenu(event->pos()));
    QTextCursor cursor = cursorForPosition(event->pos());
    if (!isReadOnly() && SpellMenu::addSpellActions(menu.data(), &cursor, m_dictionary, this)) {
        cursor.clearSelection();
        setTextCursor(cursor);
    }
    menu->exec(event->globalPos());
}

void SpellTextEdit::focusOutEvent(QFocusEvent *event)
{
    emit editingFinished();
    QTextEdit::focusOutEvent(event);
}
