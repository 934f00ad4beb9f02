#include "utils.h"

#include <QAction>
#include <QUuid>

QString formatPhone(QString number)
{
    const QChar dash('-');
    switch (number.length()) {
    case 4:
        return number.left(2) + dash + number.mid(2);
    case 5:
        return number.left(3) + dash + number.mid(3);
    case 6:
        return number.left(3) + dash + number.mid(3);
    case 7:
        return number.left(3) + dash + number.mid(3, 2) + dash + number.mid(5);
    case 11:
        return number.left(1) + QLatin1Char('(') + number.mid(1, 3) + QLatin1Char(')') +
               number.mid(4, 3) + dash + number.mid(7, 2) + dash + number.mid(9);
    default:
        return number;
    }
}

QString newUUID()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

QAction *separator(QObject *parent)
{
    auto *action = new QAction(parent);
    action->setSeparator(true);
    return action;
}
