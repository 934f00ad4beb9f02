#pragma once

#include "rejects_global.h"

#include <QObject>
#include <QPointer>
#include <QVariant>

class QWidget;

// Lets an administrator's script fill and read the combo boxes and lists of a
// form by their object names. A name that the form does not hold is ignored
// (invalid value or empty text). Every public slot can be called from a script.
class REJECTS_EXPORT QScriptGUIAdapter : public QObject
{
    Q_OBJECT
public:
    explicit QScriptGUIAdapter(QObject *parent = nullptr);

public slots:
    // The form whose children are looked up (not owned).
    void setForm(QWidget *form);

    void addToCombo(QString comboName, QString text, QVariant data);
    QVariant getComboData(QString comboName);

    void addToList(QString listName, QString text, QVariant data);
    QVariant getListData(QString listName);
    QString getListText(QString listName);

private:
    template <typename T> T *child(const QString &name) const;

    QPointer<QWidget> form;
};
