#include "qclicablelabel.h"

#include <QMouseEvent>

QClicableLabel::QClicableLabel(QWidget *parent, Qt::WindowFlags f)
    : QLabel(parent, f)
{
}

QClicableLabel::QClicableLabel(const QString &text, QWidget *parent, Qt::WindowFlags f)
    : QLabel(text, parent, f)
{
}

void QClicableLabel::mouseDoubleClickEvent(QMouseEvent *event)
{
    QLabel::mouseDoubleClickEvent(event);
    emit doubleClicked();
}
