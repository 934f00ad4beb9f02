#include "combobox.h"

#include <QWheelEvent>

ComboBox::ComboBox(QWidget *parent)
    : QComboBox(parent)
{
}

void ComboBox::wheelEvent(QWheelEvent *event)
{
    // Taken and dropped: an ignored event would go on to scroll the parent.
    event->accept();
}
