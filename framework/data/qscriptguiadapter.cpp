#include "qscriptguiadapter.h"

#include <QComboBox>
#include <QListWidget>

QScriptGUIAdapter::QScriptGUIAdapter(QObject *parent)
    : QObject(parent)
{
}

void QScriptGUIAdapter::setForm(QWidget *newForm)
{
    form = newForm;
}

template <typename T> T *QScriptGUIAdapter::child(const QString &name) const
{
    if (!form)
        return nullptr;
    return form->findChild<T *>(name);
}

void QScriptGUIAdapter::addToCombo(QString comboName, QString text, QVariant data)
{
    if (QComboBox *combo = child<QComboBox>(comboName))
        combo->addItem(QIcon(), text, data);
}

QVariant QScriptGUIAdapter::getComboData(QString comboName)
{
    QComboBox *combo = child<QComboBox>(comboName);
    return combo ? combo->currentData(Qt::UserRole) : QVariant();
}

void QScriptGUIAdapter::addToList(QString listName, QString text, QVariant data)
{
    QListWidget *list = child<QListWidget>(listName);
    if (!list)
        return;
    QListWidgetItem *item = new QListWidgetItem(text, list);
    item->setData(Qt::UserRole, data);
}

QVariant QScriptGUIAdapter::getListData(QString listName)
{
    QListWidget *list = child<QListWidget>(listName);
    if (!list || !list->currentItem())
        return QVariant();
    return list->currentItem()->data(Qt::UserRole);
}

QString QScriptGUIAdapter::getListText(QString listName)
{
    QListWidget *list = child<QListWidget>(listName);
    if (!list || !list->currentItem())
        return QString();
    return list->currentItem()->text();
}
