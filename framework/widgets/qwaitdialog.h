#pragma once

#include "rejects_global.h"

#include <QDialog>

namespace Ui {
class QWaitDialog;
}
class QChaseWidget;

// A small modal window that asks the user to wait while a long load or search
// runs: a message and a running busy indicator. The caller shows it, lets
// events run while working and closes it at the end; Escape does not close it.
class REJECTS_EXPORT QWaitDialog : public QDialog
{
    Q_OBJECT
public:
    // An empty text keeps the standard "Пожалуйста подождите...".
    explicit QWaitDialog(QString text = QString(), QWidget *parent = nullptr);
    ~QWaitDialog() override;

    void setText(QString text);
    QString text() const;

protected:
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    Ui::QWaitDialog *ui;
    QChaseWidget *m_chase;
};
