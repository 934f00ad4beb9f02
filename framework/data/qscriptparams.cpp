#include "qscriptparams.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QSqlField>
#include <QSqlRecord>

QScriptParams::QScriptParams(QObject *parent, QSqlRecord *record)
    : QObject(parent)
{
    if (!record)
        return;
    for (int i = 0; i < record->count(); ++i)
        params.insert(record->fieldName(i), record->value(i));
}

void QScriptParams::setData(QStringList names, QList<QVariant> values)
{
    params.clear();
    const int n = qMin(names.count(), values.count());
    for (int i = 0; i < n; ++i)
        params.insert(names.at(i), values.at(i));
    cursor = 0;
}

void QScriptParams::clear()
{
    params.clear();
    cursor = 0;
}

int QScriptParams::count()
{
    return params.count();
}

bool QScriptParams::first()
{
    cursor = 0;
    return !params.isEmpty();
}

bool QScriptParams::last()
{
    if (params.isEmpty())
        return false;
    cursor = params.count() - 1;
    return true;
}

bool QScriptParams::next()
{
    if (cursor >= params.count() - 1)
        return false;
    ++cursor;
    return true;
}

bool QScriptParams::prev()
{
    if (cursor <= 0)
        return false;
    --cursor;
    return true;
}

QString QScriptParams::getCurrentName()
{
    if (cursor < 0 || cursor >= params.count())
        return QString();
    return std::next(params.constBegin(), cursor).key();
}

QVariant QScriptParams::getCurrentValue()
{
    if (cursor < 0 || cursor >= params.count())
        return QVariant();
    return std::next(params.constBegin(), cursor).value();
}

QVariant QScriptParams::getParam(QString name)
{
    return params.value(name);
}

bool QScriptParams::askToUser(QString title, QString text)
{
    return QMessageBox::question(nullptr, title, text, QMessageBox::Yes | QMessageBox::No) ==
           QMessageBox::Yes;
}

QVariant QScriptParams::getFromUser(QString title, QString label, int type, QVariant defaultValue)
{
    Q_UNUSED(title)
    Q_UNUSED(label)
    Q_UNUSED(type)
    Q_UNUSED(defaultValue)
    return QVariant();
}

QString QScriptParams::getFromFile(QString filter)
{
    return QFileDialog::getOpenFileName(nullptr, QStringLiteral("Open file"), QString(),
                                        filter.isEmpty() ? QStringLiteral("*") : filter);
}
