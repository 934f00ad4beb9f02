#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <functional>

class QDialog;
class QWidget;

// Answers the modal dialogs and message boxes that the code under test opens
// with exec(), from the test itself.
//
// Answers are queued with expect(); while the responder lives it watches
// QApplication::activeModalWidget() and hands every modal window that appears
// (one it has not answered yet) to the next queued answer. A
// modal window for which no answer is queued is closed (rejected) and
// counted in unexpected(), so a test never hangs on a box it did not foresee
// and can check that nothing was said. Message boxes are recorded in
// messages() as "title|text". Once a check of the running test has failed
// (also a QVERIFY inside an answer), every modal window is closed at once.
//
//   ModalResponder modal;
//   modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
//   dialog.findChild<QToolButton *>("btDelete")->click();
//   QCOMPARE(modal.pending(), 0);
class ModalResponder : public QObject
{
    Q_OBJECT
public:
    using Answer = std::function<void(QWidget *)>;

    explicit ModalResponder(QObject *parent = nullptr);
    ~ModalResponder() override;

    void expect(const Answer &answer) { m_answers << answer; }
    int pending() const { return m_answers.size(); }
    int unexpected() const { return m_unexpected; }
    QStringList messages() const { return m_messages; }

    // Presses the message box button of this standard kind.
    static Answer pressButton(int standardButton);
    // Types `text` into the dialog's first line edit and accepts it.
    static Answer enterText(const QString &text);
    // Rejects the dialog.
    static Answer cancel();

private:
    void poll();

    QTimer m_timer;
    QList<Answer> m_answers;
    QList<QPointer<QWidget>> m_answered;
    int m_unexpected = 0;
    QStringList m_messages;
};
