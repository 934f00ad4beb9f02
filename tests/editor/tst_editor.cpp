#include "qdataeditor.h"
#include "recordhelpers.h"
#include "testmain.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWindow>

namespace {

QPushButton *button(QDataEditor &frame, QDialogButtonBox::StandardButton which)
{
    auto *box = frame.findChild<QDialogButtonBox *>(QStringLiteral("bButtons"));
    return box ? box->button(which) : nullptr;
}

QLabel *caption(QDataEditor &frame)
{
    return frame.findChild<QLabel *>(QStringLiteral("lbCaption"));
}

// A record editor as modules write them: it reports every change.
class RecordEditor : public QWidget
{
    Q_OBJECT
public:
    explicit RecordEditor(QWidget *parent = nullptr)
        : QWidget(parent)
        , name(new QLineEdit(this))
    {
        setWindowTitle(QStringLiteral("Дефект"));
        auto *layout = new QVBoxLayout(this);
        layout->addWidget(name);
        connect(name, SIGNAL(textEdited(QString)), this, SIGNAL(dataChanged()));
    }
    QLineEdit *name;

signals:
    void dataChanged();
};

} // namespace

class tst_Editor : public QObject
{
    Q_OBJECT

private slots:
    void dataEditor_buttons();
    void dataEditor_initEditor_hostsEditorUnderItsTitle();
    void dataEditor_changeThenApply_emitsOkAndResets();
    void dataEditor_cancel_emitsCancelAndResets();
    void dataEditor_doubleClickOnCaption_asksForPopup();
    void dataEditor_initModal_buttonsCloseTheDialog_data();
    void dataEditor_initModal_buttonsCloseTheDialog();

    void bounds_findsHostMainWindow_data();
    void bounds_findsHostMainWindow();
    void delayMs_keepsEventLoopRunning();
};

void tst_Editor::dataEditor_buttons()
{
    QDataEditor frame;
    QPushButton *ok = button(frame, QDialogButtonBox::Ok);
    QPushButton *cancel = button(frame, QDialogButtonBox::Cancel);
    QVERIFY(ok);
    QVERIFY(cancel);
    QCOMPARE(ok->text(), QStringLiteral("Применить"));
    QCOMPARE(cancel->text(), QStringLiteral("Отмена"));
    // Return in the hosted editor must not apply the record.
    QVERIFY(!ok->isDefault());
    QVERIFY(!ok->autoDefault());
    QVERIFY(!cancel->isDefault());
    QVERIFY(!cancel->autoDefault());
    QCOMPARE(caption(frame)->alignment() & Qt::AlignHCenter, Qt::AlignHCenter);
    QVERIFY(caption(frame)->font().bold());
}

void tst_Editor::dataEditor_initEditor_hostsEditorUnderItsTitle()
{
    QDataEditor frame;
    auto *editor = new RecordEditor;
    frame.initEditor(editor);
    QCOMPARE(caption(frame)->text(), QStringLiteral("Дефект"));
    QCOMPARE(frame.editor(), static_cast<QWidget *>(editor));
    QVERIFY(frame.isAncestorOf(editor));
    QVERIFY(frame.findChild<QLayout *>(QStringLiteral("editorLayout"))->indexOf(editor) >= 0);

    frame.initEditor(nullptr); // nothing to host: nothing breaks
    QVERIFY(!frame.editor());
}

void tst_Editor::dataEditor_changeThenApply_emitsOkAndResets()
{
    QDataEditor frame;
    auto *editor = new RecordEditor;
    frame.initEditor(editor);
    connect(editor, SIGNAL(dataChanged()), &frame, SLOT(OnChange()));
    frame.show();
    QSignalSpy ok(&frame, SIGNAL(ok()));
    QSignalSpy cancel(&frame, SIGNAL(cancel()));
    QPushButton *apply = button(frame, QDialogButtonBox::Ok);

    frame.onReset();
    QVERIFY(!apply->isEnabled());
    QTest::keyClicks(editor->name, QStringLiteral("crack"));
    QVERIFY(apply->isEnabled());

    QTest::mouseClick(apply, Qt::LeftButton);
    QCOMPARE(ok.count(), 1);
    QCOMPARE(cancel.count(), 0);
    QVERIFY(!apply->isEnabled());

    // Disabled Apply cannot be pressed again until the next change.
    QTest::mouseClick(apply, Qt::LeftButton);
    QCOMPARE(ok.count(), 1);
    frame.OnChange();
    QVERIFY(apply->isEnabled());
}

void tst_Editor::dataEditor_cancel_emitsCancelAndResets()
{
    QDataEditor frame;
    frame.show();
    QSignalSpy ok(&frame, SIGNAL(ok()));
    QSignalSpy cancel(&frame, SIGNAL(cancel()));
    frame.OnChange();
    QTest::mouseClick(button(frame, QDialogButtonBox::Cancel), Qt::LeftButton);
    QCOMPARE(cancel.count(), 1);
    QCOMPARE(ok.count(), 0);
    QVERIFY(!button(frame, QDialogButtonBox::Ok)->isEnabled());
}

void tst_Editor::dataEditor_doubleClickOnCaption_asksForPopup()
{
    QDataEditor frame;
    frame.initEditor(new RecordEditor);
    frame.show();
    QSignalSpy popup(&frame, SIGNAL(popup(QWidget *)));
    QTest::mouseClick(caption(frame), Qt::LeftButton);
    QCOMPARE(popup.count(), 0);
    QTest::mouseDClick(caption(frame), Qt::LeftButton);
    QCOMPARE(popup.count(), 1);
    QCOMPARE(qvariant_cast<QWidget *>(popup.at(0).at(0)), static_cast<QWidget *>(&frame));
}

void tst_Editor::dataEditor_initModal_buttonsCloseTheDialog_data()
{
    QTest::addColumn<int>("which");
    QTest::addColumn<int>("result");
    QTest::newRow("apply") << int(QDialogButtonBox::Ok) << int(QDialog::Accepted);
    QTest::newRow("cancel") << int(QDialogButtonBox::Cancel) << int(QDialog::Rejected);
}

void tst_Editor::dataEditor_initModal_buttonsCloseTheDialog()
{
    QFETCH(int, which);
    QFETCH(int, result);
    QDialog dialog;
    auto *frame = new QDataEditor(&dialog);
    (new QVBoxLayout(&dialog))->addWidget(frame);
    frame->initModal(&dialog, new RecordEditor);
    frame->OnChange();
    QSignalSpy ok(frame, SIGNAL(ok()));
    QSignalSpy accepted(&dialog, SIGNAL(accepted()));
    QSignalSpy rejected(&dialog, SIGNAL(rejected()));

    QTimer::singleShot(0, frame, [frame, which] {
        button(*frame, QDialogButtonBox::StandardButton(which))->click();
    });
    QCOMPARE(dialog.exec(), result);
    QCOMPARE(accepted.count(), result == QDialog::Accepted ? 1 : 0);
    QCOMPARE(rejected.count(), result == QDialog::Rejected ? 1 : 0);
    QCOMPARE(ok.count(), result == QDialog::Accepted ? 1 : 0);
}

void tst_Editor::bounds_findsHostMainWindow_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("found");
    QTest::newRow("workplace") << QStringLiteral("WorkplaceWindow") << true;
    QTest::newRow("kova") << QStringLiteral("Kova") << true;
    QTest::newRow("other window") << QStringLiteral("SomeDialog") << false;
}

void tst_Editor::bounds_findsHostMainWindow()
{
    QFETCH(QString, name);
    QFETCH(bool, found);
    QVERIFY(bounds().isNull());

    QWidget other;
    other.setObjectName(QStringLiteral("Other"));
    other.setGeometry(10, 10, 100, 100);
    other.show();
    QWidget main;
    main.setObjectName(name);
    main.setGeometry(40, 60, 640, 480);
    main.show();
    QVERIFY(QTest::qWaitForWindowExposed(&main));
    if (found)
        QCOMPARE(bounds(), main.windowHandle()->geometry());
    else
        QVERIFY(bounds().isNull());
}

void tst_Editor::delayMs_keepsEventLoopRunning()
{
    int fired = 0;
    QTimer::singleShot(10, [&fired] { ++fired; });
    QElapsedTimer clock;
    clock.start();
    delayMs(80);
    QVERIFY(clock.elapsed() >= 70);
    QCOMPARE(fired, 1);
}

REJECTS_TEST_MAIN(tst_Editor)
#include "tst_editor.moc"
