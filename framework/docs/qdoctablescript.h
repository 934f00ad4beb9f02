#pragma once

#include <QObject>
#include <QScriptable>
#include <QVariant>

class QDataTable;

// What a document template's script may do with its two scratch tables
// ("table" and "auxtable"): the prototype of both in the script engine, so
// that a script calls them by the names the tables have in C++:
//
//   table.setScripts("PROC_EXAM_SELECT_ONCE");      // named scripts only
//   table.setSelectParam("id", params.getParam("id_reason"));
//   if (table.open()) text = table.getField("c_name", 0);
//
// Script numbers are doubles; a whole number handed to setSelectParam or
// locate reaches the table as a 64-bit integer (record ids). A call on
// anything but a table does nothing and answers false, 0, -1 or undefined.
class QDocTableScript : public QObject, protected QScriptable
{
    Q_OBJECT
public:
    explicit QDocTableScript(QObject *parent = nullptr);

public slots:
    void setScripts(QString select, QString update = QString(), QString insert = QString(),
                    QString remove = QString());
    void setSelectParam(QString name, QVariant value);
    bool open();
    void close();
    int rowCount();
    // The field of a row; row -1 is the current row.
    QVariant getField(QString name, int row = -1);
    // The first row whose field equals the value, made current; -1 when none.
    int locate(QString field, QVariant value);
    bool first();
    bool next();

private:
    QDataTable *table() const;
};
