#include "modalresponder.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QtTest>

ModalResponder::ModalResponder(QObject *parent)
    : QObject(parent)
{
    m_timer.setInterval(10);
    connect(&m_timer, &QTimer::timeout, this, &ModalResponder::poll);
    m_timer.start();
}

ModalResponder::~ModalResponder() = default;

void ModalResponder::poll()
{
    QWidget *modal = QApplication::activeModalWidget();
    if (!modal || !modal->isVisible())
        return;
    // A failed check (in an answer, which returns from the answer only, or in
    // the test) ends every modal loop at once, so that the test fails now
    // instead of leaving the window open until the time limit.
    if (QTest::currentTestFailed()) {
        if (auto *dialog = qobject_cast<QDialog *>(modal))
            dialog->reject();
        else
            modal->close();
        return;
    }
    // A window answered before comes back when the one it opened closes.
    m_answered.removeAll(QPointer<QWidget>());
    for (const QPointer<QWidget> &answered : qAsConst(m_answered))
        if (answered.data() == modal)
            return;
    m_answered << QPointer<QWidget>(modal);
    if (auto *box = qobject_cast<QMessageBox *>(modal))
        m_messages << box->windowTitle() + QLatin1Char('|') + box->text();
    if (m_answers.isEmpty()) {
        ++m_unexpected;
        if (auto *dialog = qobject_cast<QDialog *>(modal))
            dialog->reject();
        else
            modal->close();
        return;
    }
    // Answered from a timer of its own: an answer may open further modal
    // windows, and the watching timer must keep running inside their loops.
    const Answer answer = m_answers.takeFirst();
    QPointer<QWidget> target(modal);
    QTimer::singleShot(0, this, [answer, target] {
        if (target)
            answer(target);
    });
}

ModalResponder::Answer ModalResponder::pressButton(int standardButton)
{
    return [standardButton](QWidget *modal) {
        auto *box = qobject_cast<QMessageBox *>(modal);
        QAbstractButton *button =
            box ? box->button(QMessageBox::StandardButton(standardButton)) : nullptr;
        if (button)
            button->click();
        else if (auto *dialog = qobject_cast<QDialog *>(modal))
            dialog->reject();
    };
}

ModalResponder::Answer ModalResponder::enterText(const QString &text)
{
    return [text](QWidget *modal) {
        if (auto *edit = modal->findChild<QLineEdit *>())
            edit->setText(text);
        if (auto *dialog = qobject_cast<QDialog *>(modal))
            dialog->accept();
    };
}

ModalResponder::Answer ModalResponder::cancel()
{
    return [](QWidget *modal) {
        if (auto *dialog = qobject_cast<QDialog *>(modal))
            dialog->reject();
        else
            modal->close();
    };
}
