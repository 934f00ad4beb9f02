#pragma once

#include "rejects_global.h"

#include <QDialog>

// The floating window into which a module frame takes its editor out of the
// main window. Accepting or closing the window does not close anything by
// itself: it asks, through goBack(), whoever opened it to take the contents
// back where they came from.
class REJECTS_EXPORT QPopupContainer : public QDialog
{
    Q_OBJECT
public:
    explicit QPopupContainer(QWidget *parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());

public slots:
    void accept() override;
    void reject() override;

signals:
    void goBack();
};
