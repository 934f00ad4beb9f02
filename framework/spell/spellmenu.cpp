#include "spellmenu.h"

#include "spelldictionary.h"

#include <QAction>
#include <QCoreApplication>
#include <QMenu>
#include <QTextCursor>

bool SpellMenu::addSpellActions(QMenu *menu, QTextCursor *cursor, const SpellDictionary &dictionary,
                                QObject *editor)
{
    if (!dictionary.isUsable())
        return false;
    QTextCursor word = *cursor;
    const QString text = SpellDictionary::selectWord(&word);
    if (text.isEmpty() || dictionary.check(text))
        return false;
    *cursor = word;
    QAction *top = menu->actions().value(0);
    const QStringList suggestions = dictionary.suggest(text, maxSuggestions);
    for (const QString &suggestion : suggestions) {
        auto *action = new QAction(suggestion, menu);
        action->setData(suggestion);
        QObject::connect(action, SIGNAL(triggered()), editor, SLOT(correctWord()));
        menu->insertAction(top, action);
    }
    menu->insertSeparator(top);
    auto *ignore = new QAction(QCoreApplication::translate("SpellMenu", "Игнорировать .."), menu);
    QObject::connect(ignore, SIGNAL(triggered()), editor, SLOT(slot_ignoreWord()));
    menu->insertAction(top, ignore);
    if (top)
        menu->insertSeparator(top);
    return true;
}
