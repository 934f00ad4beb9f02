#pragma once

#include "rejects_global.h"

class QMenu;
class QObject;
class QTextCursor;
class SpellDictionary;

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
};
