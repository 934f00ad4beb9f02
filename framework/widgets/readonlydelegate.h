#pragma once

#include "rejects_global.h"

#include <QItemDelegate>

// A delegate whose editor is a read-only line edit: a cell can be entered, its
// text selected and copied, but never changed, and closing the editor writes
// nothing back to the model.
class REJECTS_EXPORT ReadOnlyDelegate : public QItemDelegate
{
    Q_OBJECT
public:
    explicit ReadOnlyDelegate(QObject *parent = nullptr);

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model,
                      const QModelIndex &index) const override;
};
