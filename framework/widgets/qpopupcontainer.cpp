#include "qpopupcontainer.h"

#include <QMetaMethod>

QPopupContainer::QPopupContainer(QWidget *parent, Qt::WindowFlags flags)
    : QDialog(parent, flags)
{
}

void QPopupContainer::accept()
{
    emit goBack();
    // Nobody to hand the contents back to: behave as a plain dialog.
    if (!isSignalConnected(QMetaMethod::fromSignal(&QPopupContainer::goBack)))
        QDialog::accept();
}

// Escape and the window's close button end up here as well.
void QPopupContainer::reject()
{
    emit goBack();
    if (!isSignalConnected(QMetaMethod::fromSignal(&QPopupContainer::goBack)))
        QDialog::reject();
}
