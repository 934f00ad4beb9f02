#include "qdatatableitem.h"

#include "qdatatablemodel.h"

bool QDataTableItem::sameValue(const QVariant &a, const QVariant &b)
{
    if (a.isNull() || b.isNull())
        return a.isNull() == b.isNull();
    if (a == b)
        return true;
    return a.toString() == b.toString();
}

QVariant QDataTableItem::data(int role) const
{
    switch (role) {
    case Qt::DisplayRole:
        return shown();
    case Qt::EditRole:
        // An editor starts from the stored value, never from the text a
        // display-info receiver made of it.
        return current;
    case QDataTable::OriginalRole:
        return original();
    case QDataTable::CurrentRole:
        return current;
    case QDataTable::StateRole:
        return first ? QVariant(int(state)) : QVariant();
    case QDataTable::LockRole:
        return first ? QVariant(int(lock)) : QVariant();
    case Qt::DecorationRole:
    case Qt::ForegroundRole:
    case Qt::BackgroundRole:
    case Qt::FontRole:
    case Qt::ToolTipRole:
        if (decoration && model()) {
            const QCellDecoration &d =
                static_cast<const QDataTableModel *>(model())->decoration(decoration);
            if (role == Qt::DecorationRole && !d.icon.isNull())
                return d.icon;
            if (role == Qt::ForegroundRole && d.foreground.style() != Qt::NoBrush)
                return d.foreground;
            if (role == Qt::BackgroundRole && d.background.style() != Qt::NoBrush)
                return d.background;
            if (role == Qt::FontRole && d.hasFont)
                return d.font;
            if (role == Qt::ToolTipRole && !d.toolTip.isEmpty())
                return d.toolTip;
        }
        break;
    default:
        break;
    }
    return QStandardItem::data(role);
}

void QDataTableItem::setData(const QVariant &value, int role)
{
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        if (shown().userType() == value.userType() && shown() == value)
            return;
        setShown(value);
        edited = true;
        emitDataChanged();
        edited = false;
        return;
    case QDataTable::OriginalRole:
        extra().original = value;
        m_extra->hasOriginal = true;
        emitDataChanged();
        return;
    case QDataTable::CurrentRole:
        setValue(value, false);
        emitDataChanged();
        return;
    case QDataTable::StateRole:
        state = qint8(value.toInt());
        emitDataChanged();
        return;
    case QDataTable::LockRole:
        lock = qint8(value.toInt());
        emitDataChanged();
        return;
    default:
        break;
    }
    QStandardItem::setData(value, role);
}
