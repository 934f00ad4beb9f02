#pragma once

#include "rejects_global.h"

#include <QLabel>

// A label that reports a double click.
class REJECTS_EXPORT QClicableLabel : public QLabel
{
    Q_OBJECT
public:
    explicit QClicableLabel(QWidget *parent = nullptr, Qt::WindowFlags f = Qt::WindowFlags());
    explicit QClicableLabel(const QString &text, QWidget *parent = nullptr,
                            Qt::WindowFlags f = Qt::WindowFlags());

signals:
    void doubleClicked();

protected:
    void mouseDoubleClickEvent(QMouseEvent *event) override;
};
