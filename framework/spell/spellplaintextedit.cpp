#include "spellplaintextedit.h"

#include "highlighter.h"
#include "spellmenu.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QMenu>
#include <QScopedPointer>

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
    auto *action = qobject_cast<QAction *>(sender());
    QTextCursor cursor = textCursor();
    if (!action || SpellDictionary::selectWord(&cursor).isEmpty())
        return;
    cursor.insertText(action->data().toString());
    setTextCursor(cursor);
}

void SpellPlainTextEdit::slot_addWord(QString word)
{
    m_dictionary.add(word);
}

void SpellPlainTextEdit::slot_ignoreWord()
{
    QTextCursor cursor = textCursor();
    const QString word = SpellDictionary::selectWord(&cursor);
    if (word.isEmpty())
        return;
    m_dictionary.add(word);
    emit addWord(word);
}

void SpellPlainTextEdit::contextMenuEvent(QContextMenuEvent *event)
{
    QScopedPointer<QMenu> menu(createStandardContextMenu(event->pos()));
    QTextCursor cursor = cursorForPosition(event->pos());
    if (!isReadOnly() && SpellMenu::addSpellActions(menu.data(), &cursor, m_dictionary, this)) {
        cursor.clearSelection();
        setTextCursor(cursor);
    }
    menu->exec(event->globalPos());
}

void SpellPlainTextEdit::focusOutEvent(QFocusEvent *event)
{
    emit editingFinished();
    QPlainTextEdit::focusOutEvent(event);
}
