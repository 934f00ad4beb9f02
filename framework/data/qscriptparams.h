#pragma once

#include "rejects_global.h"

#include <QMap>
#include <QObject>
#include <QStringList>
#include <QVariant>

class QSqlRecord;

// Named values handed to an administrator's script, with a cursor to walk
// them and a few calls that ask the user something. The values are kept in
// ascending order of name, and the cursor counts in that order, whatever
// order they were given in. Every public slot can be called from a script.
class REJECTS_EXPORT QScriptParams : public QObject
{
    Q_OBJECT
public:
    // One parameter per field of `record` (name -> value) when one is given.
    explicit QScriptParams(QObject *parent = nullptr, QSqlRecord *record = nullptr);

public slots:
    // Replaces the parameters by the pairs names[i] -> values[i]; names
    // without a value are dropped. The cursor goes back to the first.
    void setData(QStringList names, QList<QVariant> values);
    void clear();

    int count();
    bool first();
    bool last();
    bool next();
    bool prev();

    // The parameter at the cursor; empty text / invalid value when there is none.
    QString getCurrentName();
    QVariant getCurrentValue();
    QVariant getParam(QString name);

    // A Yes/No question; true only for Yes.
    bool askToUser(QString title, QString text);
    // Reserved: asks nothing and answers an invalid value.
    QVariant getFromUser(QString title, QString label, int type, QVariant defaultValue);
    // An existing file chosen by the user ("*" when no filter is given);
    // empty when the user cancels.
    QString getFromFile(QString filter);

private:
    QMap<QString, QVariant> params;
    int cursor = 0;
};
