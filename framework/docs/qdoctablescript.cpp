#include "qdoctablescript.h"

#include "qdatatable.h"

#include <QScriptValue>
#include <cmath>

namespace {

QVariant fromScript(const QVariant &value)
{
    if (value.type() != QVariant::Double)
        return value;
    const double number = value.toDouble();
    if (std::floor(number) == number && std::fabs(number) < 9.0e15)
        return QVariant(qlonglong(number));
    return value;
}

} // namespace

QDocTableScript::QDocTableScript(QObject *parent)
    : QObject(parent)
{
}

QDataTable *QDocTableScript::table() const
{
    return qobject_cast<QDataTable *>(thisObject().toQObject());
}

void QDocTableScript::setScripts(QString select, QString update, QString insert, QString remove)
{
    if (QDataTable *t = table())
        t->setScripts(select, update, insert, remove, false);
}

void QDocTableScript::setSelectParam(QString name, QVariant value)
{
    if (QDataTable *t = table())
        t->setSelectParam(name, fromScript(value));
}

bool QDocTableScript::open()
{
    QDataTable *t = table();
    return t && t->open();
}

void QDocTableScript::close()
{
    if (QDataTable *t = table())
        t->close();
}

int QDocTableScript::rowCount()
{
    QDataTable *t = table();
    return t ? t->rowCount() : 0;
}

QVariant QDocTableScript::getField(QString name, int row)
{
    QDataTable *t = table();
    return t ? t->getField(name, row) : QVariant();
}

int QDocTableScript::locate(QString field, QVariant value)
{
    QDataTable *t = table();
    return t ? t->locate(field, fromScript(value)) : -1;
}

bool QDocTableScript::first()
{
    QDataTable *t = table();
    return t && t->first();
}

bool QDocTableScript::next()
{
    QDataTable *t = table();
    return t && t->next();
}
