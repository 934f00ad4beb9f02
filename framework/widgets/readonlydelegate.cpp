#include "readonlydelegate.h"

#include <QLineEdit>

ReadOnlyDelegate::ReadOnlyDelegate(QObject *parent)
    : QItemDelegate(parent)
{
}

QWidget *ReadOnlyDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &,
                                        const QModelIndex &) const
{
    auto *editor = new QLineEdit(parent);
    editor->setReadOnly(true);
    return editor;
}

void ReadOnlyDelegate::setModelData(QWidget *, QAbstractItemModel *, const QModelIndex &) const
{
    // Nothing to write: the editor only shows the value.
}
