#include "combobox.h"
#include "modalresponder.h"
#include "qbubbletip.h"
#include "qchasewidget.h"
#include "qclicablelabel.h"
#include "qcommentdialog.h"
#include "qinputdialogex.h"
#include "qwaitdialog.h"
#include "readonlydelegate.h"
#include "testmain.h"

#include <QAbstractEventDispatcher>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QStandardItemModel>
#include <QTableView>

class TestWidgets : public QObject
{
    Q_OBJECT

private slots:
    void chase_turnsWhileAnimatedOrShowsPicture();
    void waitDialog_indicatorRunsWhileShown();
    void labelAndComboBox_answerTheMouseAsFormsNeed();
    void readOnlyDelegate_writesNothingBack();

    void commentDialog_data();
    void commentDialog();

    void inputDialog_showsPresetGivesEntered();

    void bubbleTip_showsAndHides();

    void icons_resolve_data();
    void icons_resolve();
};

namespace {

// The pixels of the image that are not transparent.
int paintedPixels(const QImage &image)
{
    int painted = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            painted += qAlpha(image.pixel(x, y)) > 0 ? 1 : 0;
    return painted;
}

// The widget drawn on a transparent image, without its background.
QImage paintedOn(QWidget *widget)
{
    QImage image(widget->size(), QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    widget->render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
    return image;
}

// Answers the next input dialog: the title and prompt are the caller's, the
// value its one editor shows goes to `shown` (a check box: its check state),
// `entered` is entered and Ok pressed (no value: Cancel).
ModalResponder::Answer answer(const QVariant &entered, QVariant *shown)
{
    return [entered, shown](QWidget *dialog) {
        auto *label = dialog->findChild<QLabel *>(QStringLiteral("label"));
        QCOMPARE(QString(dialog->windowTitle() + '|' + label->text()),
                 QStringLiteral("Брак|Размер"));
        QWidget *editor = label->buddy();
        QVERIFY(editor->isVisible());
        auto *box = qobject_cast<QCheckBox *>(editor);
        const QMetaProperty value = editor->metaObject()->userProperty();
        *shown = box ? QVariant(int(box->checkState())) : value.read(editor);
        if (box && entered.isValid())
            box->setCheckState(Qt::CheckState(entered.toInt()));
        else if (entered.isValid())
            value.write(editor, entered);
        dialog->findChild<QDialogButtonBox *>()
            ->button(entered.isValid() ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel)
            ->click();
    };
}

} // namespace

// The ring turns on one timer while animated and stands still, without a
// timer, otherwise; starting again begins at the first step. A picture, when
// there is one and it is switched on, is drawn instead.
void TestWidgets::chase_turnsWhileAnimatedOrShowsPicture()
{
    QPixmap square(8, 8);
    square.fill(Qt::blue);
    QChaseWidget chase(nullptr, square, true);
    chase.resize(32, 32);
    QCOMPARE(paintedOn(&chase).pixelColor(7, 7), QColor(Qt::blue));
    QCOMPARE(paintedPixels(paintedOn(&chase)), 64);
    chase.setPixmapEnabled(false);
    QVERIFY(paintedPixels(paintedOn(&chase)) > 100);
    QChaseWidget ring(nullptr, QPixmap(), true);
    ring.resize(32, 32);
    QVERIFY(paintedPixels(paintedOn(&ring)) > 100);

    const QColor first = chase.colorForSegment(0);
    chase.setAnimated(true);
    chase.setAnimated(true);
    QTRY_VERIFY(chase.colorForSegment(0) != first);
    QCOMPARE(QAbstractEventDispatcher::instance()->registeredTimers(&chase).size(), 1);
    chase.setAnimated(false);
    QVERIFY(QAbstractEventDispatcher::instance()->registeredTimers(&chase).isEmpty());
    const QColor stopped = chase.colorForSegment(0);
    QTest::qWait(300);
    QCOMPARE(chase.colorForSegment(0), stopped);
    chase.setAnimated(true);
    QCOMPARE(chase.colorForSegment(0), first);
}

// The indicator runs while the dialog is up; Escape does not close it.
void TestWidgets::waitDialog_indicatorRunsWhileShown()
{
    QWaitDialog dialog(QStringLiteral("Загрузка данных"));
    QCOMPARE(dialog.text(), QStringLiteral("Загрузка данных"));
    auto *chase = dialog.findChild<QChaseWidget *>();
    QVERIFY(!chase->isAnimated());
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QVERIFY(dialog.isVisible() && chase->isAnimated());
    dialog.close();
    QVERIFY(!chase->isAnimated());
}

// The label reports a double click, not a click; a turn of the wheel over the
// combo box neither changes the choice nor scrolls the form around it (the
// event is taken, not passed on).
void TestWidgets::labelAndComboBox_answerTheMouseAsFormsNeed()
{
    QClicableLabel label(QStringLiteral("Изделие"));
    QSignalSpy spy(&label, SIGNAL(doubleClicked()));
    QTest::mouseClick(&label, Qt::LeftButton);
    QTest::mouseDClick(&label, Qt::LeftButton);
    QCOMPARE(spy.count(), 1);

    ComboBox combo;
    combo.addItems({QStringLiteral("Входной"), QStringLiteral("Операционный")});
    QWheelEvent event(QPointF(5, 5), QPointF(5, 5), QPoint(), QPoint(0, -120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    event.setAccepted(false);
    QApplication::sendEvent(&combo, &event);
    QVERIFY(event.isAccepted());
    QCOMPARE(combo.currentIndex(), 0);
}

// The editor shows the number read-only, and leaving it writes nothing back,
// not even the same text (which would turn the number into a string).
void TestWidgets::readOnlyDelegate_writesNothingBack()
{
    QStandardItemModel model(1, 1);
    model.setData(model.index(0, 0), 42);
    QTableView view;
    ReadOnlyDelegate delegate;
    view.setItemDelegate(&delegate);
    view.setModel(&model);
    view.show();
    QSignalSpy changed(&model, SIGNAL(dataChanged(QModelIndex, QModelIndex, QVector<int>)));
    view.edit(model.index(0, 0));
    auto *editor = view.findChild<QLineEdit *>();
    QVERIFY(editor && editor->isReadOnly());
    QTest::keyClick(editor, Qt::Key_Return); // commits and closes through the event loop
    QTRY_VERIFY(!view.findChild<QLineEdit *>() || !view.findChild<QLineEdit *>()->isVisible());
    QCOMPARE(changed.count(), 0);
}

// An empty text is always a new comment, even when asked read-only. Ok takes
// any text, even a space, and only a text.
void TestWidgets::commentDialog_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("readOnly");
    QTest::addColumn<QString>("shown");
    const QString comment = QStringLiteral("Сколы на фланце\nПроверить партию");
    QTest::newRow("empty asked read-only") << QString() << true << "Add comment|editable|";
    QTest::newRow("edit") << comment << false << "Edit comment|editable|ok";
    QTest::newRow("view") << comment << true << "View comment|read-only|ok";
}

void TestWidgets::commentDialog()
{
    QFETCH(QString, text);
    QFETCH(bool, readOnly);
    QFETCH(QString, shown);
    QCommentDialog dialog(text, readOnly);
    QPushButton *ok = dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok);
    auto *editor = dialog.findChild<QPlainTextEdit *>();
    QCOMPARE(QString(dialog.windowTitle() + (editor->isReadOnly() ? "|read-only|" : "|editable|") +
                     (ok->isEnabled() ? "ok" : "")),
             shown);
    QCOMPARE(dialog.text(), text);

    editor->setPlainText(QString());
    QVERIFY(!ok->isEnabled());
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    editor->setPlainText(QStringLiteral(" "));
    ok->click();
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
}

// Each input dialog shows the preset in its one editor and gives back what
// was entered on Ok; on Cancel the preset comes back (a string: none).
void TestWidgets::inputDialog_showsPresetGivesEntered()
{
    const QString title = QStringLiteral("Брак"), label = QStringLiteral("Размер");
    const QDateTime moment(QDate(2023, 12, 31), QTime(23, 59));
    const QDate march(2024, 3, 1);
    ModalResponder modal;
    QVariant shown;
    bool ok = false;
    modal.expect(answer(QVariant(), &shown));
    QCOMPARE(QInputDialogEx::getString(nullptr, title, label, QStringLiteral("Литье"), &ok),
             QString());
    QCOMPARE(shown, QVariant(QStringLiteral("Литье")));
    // A preset out of range is brought into it.
    modal.expect(answer(QVariant(), &shown));
    QCOMPARE(QInputDialogEx::getInt(nullptr, title, label, 9000, 1, 500, &ok), qint64(9000));
    QCOMPARE(shown, QVariant(500));
    modal.expect(answer(2.125, &shown));
    QCOMPARE(QInputDialogEx::getDouble(nullptr, title, label, 1.5, 3, 0, 10, &ok), 2.125);
    modal.expect(answer(Qt::Checked, &shown));
    QVERIFY(QInputDialogEx::getBool(nullptr, title, label, false, &ok));
    QCOMPARE(shown, QVariant(Qt::Unchecked));
    // The three-state flag: null shows (and answers) the middle state.
    modal.expect(answer(Qt::PartiallyChecked, &shown));
    QCOMPARE(QInputDialogEx::getBoolNull(nullptr, title, label, QVariant(), &ok), QVariant());
    QCOMPARE(shown, QVariant(Qt::PartiallyChecked));
    modal.expect(answer(Qt::Unchecked, &shown));
    QCOMPARE(QInputDialogEx::getBoolNull(nullptr, title, label, true, &ok), QVariant(false));
    QCOMPARE(shown, QVariant(Qt::Checked));
    // Without a preset the date editor starts today.
    modal.expect(answer(march, &shown));
    QCOMPARE(QInputDialogEx::getDate(nullptr, title, label, QDate(), &ok), march);
    QCOMPARE(shown, QVariant(QDate::currentDate()));
    modal.expect(answer(moment.addSecs(60), &shown));
    QCOMPARE(QInputDialogEx::getDateTime(nullptr, title, label, moment, &ok), moment.addSecs(60));
    QCOMPARE(shown, QVariant(moment));
    modal.expect(answer(QTime(8, 15), &shown));
    QCOMPARE(QInputDialogEx::getTime(nullptr, title, label, QTime(7, 30), &ok), QTime(8, 15));
    QCOMPARE(shown, QVariant(QTime(7, 30)));
}

void TestWidgets::bubbleTip_showsAndHides()
{
    const QPoint at(200, 150);
    const QString t = QStringLiteral("t");
    QPointer<QBubbleTip> bubble =
        QBubbleTip::warning(QStringLiteral("Ошибки:"), QStringLiteral("Не задан код дефекта"), at);
    QVERIFY(bubble && bubble->isVisible());
    QCOMPARE(QString(bubble->findChild<QLabel *>(QStringLiteral("lbTitle"))->text() + '|' +
                     bubble->findChild<QLabel *>(QStringLiteral("lbText"))->text()),
             QStringLiteral("Ошибки:|Не задан код дефекта"));
    // The arrow's tip is at the point, the balloon below it.
    // (Placed by its window position: the test platform draws a frame round it.)
    QCOMPARE(bubble->pos().y(), at.y());

    // A mouse press hides it, and it goes away; so does its timer; with no time it stays.
    QTest::mouseClick(bubble, Qt::LeftButton, Qt::NoModifier, bubble->rect().center());
    QTRY_VERIFY(bubble.isNull());
    bubble = QBubbleTip::info(t, t, at, 100);
    QTRY_VERIFY(bubble.isNull());
    bubble = QBubbleTip::critical(t, t, at, 0);

    // A new balloon replaces the one shown, unless asked to stand beside it
    // (this one without an arrow: its corner at the point).
    QPointer<QBubbleTip> beside = QBubbleTip::warning(t, t, at, 0, false, false);
    QTest::qWait(200);
    QVERIFY(bubble && bubble->isVisible() && beside);

    // Near the bottom of the screen the balloon stands above the point.
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    QPointer<QBubbleTip> above = QBubbleTip::warning(t, t, screen.bottomLeft() + QPoint(100, -5));
    QCOMPARE(above->pos().y() + above->height() - 1, screen.bottom() - 5);
    QTRY_VERIFY(beside.isNull());
    above->hideBubble();
    bubble->hideBubble();
}

// Every icon that the forms, views and dialogs of the system open by resource path.
void TestWidgets::icons_resolve_data()
{
    QTest::addColumn<QString>("path");
    const QMap<QString, QString> names{
        {":/commonIcon/", "NEW EDIT DELETE EDIT_CUT CHECK REFRESH"},
        {":/Icons/", "REJECTMAIN PHOTO TYPE FAMILY PRODMAIN V_PRODUCT VERSION search.png left.png "
                     "right.png filesave.png fileprint.png exportpdf.png Preview.png "
                     "save_to_base.png"},
        {":/Icons/res/", "add_task.png xls.png join.png rollback.png load.png preview.png"},
        {":/res/", "clipboard.png photo.png add-attachment.png to_clipboard.png load_all.png "
                   "load.png preview.png"}};
    for (auto folder = names.cbegin(); folder != names.cend(); ++folder)
        for (const QString &name : folder.value().split(' '))
            QTest::newRow(qPrintable(folder.key() + name)) << folder.key() + name;
}

// A picture is compiled in and really drawn: some pixels are not transparent.
void TestWidgets::icons_resolve()
{
    QFETCH(QString, path);
    QVERIFY2(QFile::exists(path), qPrintable(path + " is not compiled in"));
    const QImage image =
        QIcon(path).pixmap(16, 16).toImage().convertToFormat(QImage::Format_ARGB32);
    QVERIFY2(paintedPixels(image) > 0, qPrintable(path + " renders empty"));
}

REJECTS_TEST_MAIN(TestWidgets)
#include "tst_widgets.moc"
