#pragma once

#include "rejects_global.h"
#include "spelldictionary.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QMenu>
#include <QScopedPointer>
#include <QTextCursor>

class QObject;

// The spelling part of an editor's context menu, shared by the spell-checking
// editors.
class REJECTS_EXPORT SpellMenu
{
public:
    static const int maxSuggestions = 5;

    // When the word at `cursor` is misspelt: selects it in `cursor` and puts at
    // the top of `menu` at most five suggestions (each action carries its
    // word as data and is connected to the editor's correctWord()), a
    // separator and "Игнорировать .." (connected to slot_ignoreWord()).
    // Returns whether the word was misspelt.
    static bool addSpellActions(QMenu *menu, QTextCursor *cursor, const SpellDictionary &dictionary,
                                QObject *editor);

    // What SpellTextEdit and SpellPlainTextEdit do alike; `Edit` is QTextEdit
    // or QPlainTextEdit.

    // Replaces the word under the editor's text cursor with the suggestion
    // carried by `action`.
    template <class Edit> static void correctWord(Edit *edit, const QAction *action)
    {
        QTextCursor cursor = edit->textCursor();
        if (!action || SpellDictionary::selectWord(&cursor).isEmpty())
            return;
        cursor.insertText(action->data().toString());
        edit->setTextCursor(cursor);
    }

    // Accepts the word under the editor's text cursor in `dictionary`; the
    // word, or empty when there is none.
    template <class Edit> static QString ignoreWord(Edit *edit, SpellDictionary &dictionary)
    {
        QTextCursor cursor = edit->textCursor();
        const QString word = SpellDictionary::selectWord(&cursor);
        if (!word.isEmpty())
            dictionary.add(word);
        return word;
    }

    // The editor's standard context menu with the spelling actions on top
    // (only in an editable editor), shown at the event's position.
    template <class Edit>
    static void exec(Edit *edit, QContextMenuEvent *event, const SpellDictionary &dictionary)
    {
        QScopedPointer<QMenu> menu(edit->createStandardContextMenu(event->pos()));
        QTextCursor cursor = edit->cursorForPosition(event->pos());
        if (!edit->isReadOnly() && addSpellActions(menu.data(), &cursor, dictionary, edit)) {
            cursor.clearSelection();
            edit->setTextCursor(cursor);
        }
        menu->exec(event->globalPos());
    }
};
