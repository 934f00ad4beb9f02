#pragma once

#include "rejects_global.h"

#include <QComboBox>

// A combo box that ignores the mouse wheel: turning the wheel over it neither
// changes the choice nor scrolls the form around it, so scrolling a long form
// never changes a value by accident.
class REJECTS_EXPORT ComboBox : public QComboBox
{
    Q_OBJECT
public:
    explicit ComboBox(QWidget *parent = nullptr);

protected:
    void wheelEvent(QWheelEvent *event) override;
};
