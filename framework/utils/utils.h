#pragma once

#include "rejects_global.h"

#include <QString>

class QAction;
class QObject;

// The display form of a telephone number, chosen by its length alone; the
// input is not checked, so callers pass digits only:
//   4 "ab-cd", 5 "abc-de", 6 "abc-def", 7 "abc-de-fg", 11 "a(bcd)efg-hi-jk";
// every other length (8 to 10 included) is shown as typed.
REJECTS_EXPORT QString formatPhone(QString number);

// A new random identifier: 36 upper-case characters, 8-4-4-4-12 hexadecimal
// digits joined by "-", without braces.
REJECTS_EXPORT QString newUUID();

// A new separator action for menus and tool bars, owned by `parent`.
REJECTS_EXPORT QAction *separator(QObject *parent);
