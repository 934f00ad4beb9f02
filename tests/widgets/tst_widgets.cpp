#include "combobox.h"
#include "qbubbletip.h"
#include "qchasewidget.h"
#include "qclicablelabel.h"
#include "qcommentdialog.h"
#include "qinputdialogex.h"
#include "qwaitdialog.h"
#include "readonlydelegate.h"
#include "testmain.h"

#include <QCheckBox>
#include <QClipboard>
#include <QDateEdit>
#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QIcon>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QTableView>
#include <QTimeEdit>
#include <functional>

class TestWidgets : public QObject
{
    Q_OBJECT

private slots:
    void chase_turnsOnOneTimer();
    void chase_paintsSegmentsOrPixmap();

    void waitDialog_textAndIndicator();
    void clicableLabel_doubleClick();
    void comboBox_ignoresWheel();
    void readOnlyDelegate_editorCannotChange();

    void commentDialog_titlesAndModes();
    void commentDialog_cannotAcceptEmpty();

    void inputDialog_string();
    void inputDialog_numbers();
    void inputDialog_bools();
    void inputDialog_datesAndTimes();

    void bubbleTip_showsAndHides();

    void icons_resolve_data();
    void icons_resolve();
};

namespace {

// Collects the timer events that reach a widget, per timer id.
class TimerWatch : public QObject
{
public:
    explicit TimerWatch(QObject *target) { target->installEventFilter(this); }
    QList<int> ids;
    int count = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Timer) {
            const int id = static_cast<QTimerEvent *>(event)->timerId();
            if (!ids.contains(id))
                ids.append(id);
            ++count;
        }
        return false;
    }
};

// The widget drawn on a transparent image, without its background.
QImage paintedOn(QWidget *widget)
{
    QImage image(widget->size(), QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    widget->render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
    return image;
}

int paintedPixels(const QImage &image, QRect area = QRect())
{
    if (area.isNull())
        area = image.rect();
    int painted = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            painted += qAlpha(image.pixel(x, y)) > 0 ? 1 : 0;
    return painted;
}

// Answers the next modal dialog once it is up: `act` gets the dialog.
void answerModal(const std::function<void(QDialog *)> &act)
{
    auto *timer = new QTimer;
    auto *waited = new QElapsedTimer;
    waited->start();
    QObject::connect(timer, &QTimer::timeout, [timer, waited, act] {
        auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (!dialog && waited->elapsed() < 5000)
            return;
        timer->stop();
        timer->deleteLater();
        delete waited;
        if (dialog)
            act(dialog);
    });
    timer->start(20);
}

void press(QDialog *dialog, QDialogButtonBox::StandardButton which)
{
    auto *box = dialog->findChild<QDialogButtonBox *>();
    QVERIFY(box);
    box->button(which)->click();
}

} // namespace

// The ring turns one segment per tick of a single timer while animated, and
// stands still otherwise.
void TestWidgets::chase_turnsOnOneTimer()
{
    QChaseWidget chase;
    const int n = chase.segmentCount();
    QList<QColor> start;
    for (int i = 0; i < n; ++i)
        start << chase.colorForSegment(i);
    QCOMPARE(chase.colorForSegment(n), start.first()); // the ring wraps round

    TimerWatch watch(&chase);
    chase.setAnimated(true);
    chase.setAnimated(true);
    QTRY_VERIFY_WITH_TIMEOUT(watch.count >= 3, 5000);
    chase.setAnimated(false);
    QCOMPARE(watch.ids.size(), 1);
    const int steps = watch.count;
    for (int i = 0; i < n; ++i)
        QCOMPARE(chase.colorForSegment(i), start.at((steps + i) % n));
    QTest::qWait(300);
    QCOMPARE(watch.count, steps);
    chase.setAnimated(true); // starting again begins at the first step
    QCOMPARE(chase.colorForSegment(0), start.first());
    chase.setAnimated(false);
}

void TestWidgets::chase_paintsSegmentsOrPixmap()
{
    // The picture flag without a picture still shows the ring.
    QChaseWidget ring(nullptr, QPixmap(), true);
    ring.resize(32, 32);
    QVERIFY(paintedPixels(paintedOn(&ring)) > 20);

    // With a picture, only the picture at the top-left corner.
    QPixmap square(8, 8);
    square.fill(Qt::blue);
    QChaseWidget picture(nullptr, square, true);
    picture.resize(32, 32);
    QImage image = paintedOn(&picture);
    QCOMPARE(image.pixelColor(0, 0), QColor(Qt::blue));
    QCOMPARE(image.pixelColor(7, 7), QColor(Qt::blue));
    QCOMPARE(paintedPixels(image), 64);

    // Switching the picture off brings the ring back.
    picture.setPixmapEnabled(false);
    image = paintedOn(&picture);
    QVERIFY(image.pixelColor(0, 0) != QColor(Qt::blue));
    QVERIFY(paintedPixels(image, QRect(8, 8, 24, 24)) > 20);
}

void TestWidgets::waitDialog_textAndIndicator()
{
    QWaitDialog standard;
    auto *text = standard.findChild<QLabel *>(QStringLiteral("lbText"));
    QCOMPARE(text->text(), QStringLiteral("Пожалуйста подождите..."));

    QWaitDialog loading(QStringLiteral("Загрузка данных"));
    text = loading.findChild<QLabel *>(QStringLiteral("lbText"));
    QCOMPARE(text->text(), QStringLiteral("Загрузка данных"));
    loading.setText(QStringLiteral("Выполняется поиск"));
    QCOMPARE(text->text(), QStringLiteral("Выполняется поиск"));

    // The indicator runs while the dialog is up.
    auto *chase = loading.findChild<QChaseWidget *>();
    QVERIFY(chase);
    QVERIFY(!chase->isAnimated());
    loading.show();
    QVERIFY(chase->isAnimated());
    QTest::keyClick(&loading, Qt::Key_Escape);
    QVERIFY(loading.isVisible());
    loading.close();
    QVERIFY(!chase->isAnimated());
}

void TestWidgets::clicableLabel_doubleClick()
{
    QClicableLabel label(QStringLiteral("Изделие"));
    QCOMPARE(label.text(), QStringLiteral("Изделие"));
    QSignalSpy spy(&label, SIGNAL(doubleClicked()));
    QTest::mouseClick(&label, Qt::LeftButton);
    QCOMPARE(spy.count(), 0);
    QTest::mouseDClick(&label, Qt::LeftButton);
    QCOMPARE(spy.count(), 1);
}

// A turn of the wheel over the combo box neither changes the choice nor
// scrolls the form around it (the event is taken, not passed on).
void TestWidgets::comboBox_ignoresWheel()
{
    ComboBox combo;
    combo.addItems(
        {QStringLiteral("Входной"), QStringLiteral("Операционный"), QStringLiteral("Приемочный")});
    combo.setCurrentIndex(1);
    combo.show();
    QVERIFY(QTest::qWaitForWindowExposed(&combo));
    const QPoint at = combo.rect().center();
    QWheelEvent event(at, combo.mapToGlobal(at), QPoint(), QPoint(0, -120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    event.setAccepted(false);
    QApplication::sendEvent(&combo, &event);
    QVERIFY(event.isAccepted());
    QCOMPARE(combo.currentIndex(), 1);
}

void TestWidgets::readOnlyDelegate_editorCannotChange()
{
    QStandardItemModel model(2, 2);
    model.setData(model.index(0, 0), 42);
    model.setData(model.index(0, 1), QStringLiteral("Трещина корпуса"));
    QTableView view;
    ReadOnlyDelegate delegate;
    view.setItemDelegate(&delegate);
    view.setModel(&model);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    QSignalSpy changed(&model, SIGNAL(dataChanged(QModelIndex, QModelIndex, QVector<int>)));

    for (const QModelIndex &index : {model.index(0, 0), model.index(0, 1)}) {
        const QVariant before = model.data(index);
        view.setCurrentIndex(index);
        view.edit(index);
        auto *editor = view.findChild<QLineEdit *>();
        QVERIFY(editor);
        QVERIFY(editor->isReadOnly());
        QCOMPARE(editor->text(), before.toString());

        // Typing changes nothing; the text can still be selected and copied.
        QTest::keyClicks(editor, QStringLiteral("xyz"));
        QTest::keyClick(editor, Qt::Key_Backspace);
        QCOMPARE(editor->text(), before.toString());
        editor->selectAll();
        editor->copy();
        QCOMPARE(QApplication::clipboard()->text(), before.toString());

        // Leaving the editor writes nothing back, not even the same text.
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_VERIFY(!view.findChild<QLineEdit *>() || !view.findChild<QLineEdit *>()->isVisible());
        QCOMPARE(model.data(index), before);
        QCOMPARE(model.data(index).userType(), before.userType());
    }
    QCOMPARE(changed.count(), 0);
}

void TestWidgets::commentDialog_titlesAndModes()
{
    QCommentDialog add;
    QCOMPARE(add.windowTitle(), QStringLiteral("Add comment"));
    auto *editor = add.findChild<QPlainTextEdit *>(QStringLiteral("teComment"));
    QVERIFY(!editor->isReadOnly());

    // An empty text is always a new comment, even when asked read-only.
    QCommentDialog emptyView(QString(), true);
    QCOMPARE(emptyView.windowTitle(), QStringLiteral("Add comment"));
    QVERIFY(!emptyView.findChild<QPlainTextEdit *>(QStringLiteral("teComment"))->isReadOnly());

    const QString comment = QStringLiteral("Сколы на фланце\nПроверить партию");
    QCommentDialog edit(comment, false);
    QCOMPARE(edit.windowTitle(), QStringLiteral("Edit comment"));
    editor = edit.findChild<QPlainTextEdit *>(QStringLiteral("teComment"));
    QCOMPARE(editor->toPlainText(), comment);
    QVERIFY(!editor->isReadOnly());
    QVERIFY(edit.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->isEnabled());

    QCommentDialog view(comment, true);
    QCOMPARE(view.windowTitle(), QStringLiteral("View comment"));
    editor = view.findChild<QPlainTextEdit *>(QStringLiteral("teComment"));
    QCOMPARE(editor->toPlainText(), comment);
    QVERIFY(editor->isReadOnly());
    QCOMPARE(view.text(), comment);
}

void TestWidgets::commentDialog_cannotAcceptEmpty()
{
    QCommentDialog dialog;
    QPushButton *ok = dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok);
    auto *editor = dialog.findChild<QPlainTextEdit *>(QStringLiteral("teComment"));
    dialog.show();
    QVERIFY(!ok->isEnabled());
    QTest::mouseClick(ok, Qt::LeftButton);
    dialog.accept();
    QVERIFY(dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Rejected));

    QTest::keyClicks(editor, QStringLiteral("a"));
    QVERIFY(ok->isEnabled());
    editor->selectAll();
    QTest::keyClick(editor, Qt::Key_Delete);
    QVERIFY(editor->toPlainText().isEmpty());
    QVERIFY(!ok->isEnabled());

    QTest::keyClick(editor, Qt::Key_Space);
    QVERIFY(ok->isEnabled());
    editor->selectAll();
    editor->insertPlainText(QStringLiteral("Брак подтвержден"));
    QTest::mouseClick(ok, Qt::LeftButton);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(dialog.text(), QStringLiteral("Брак подтвержден"));
}

// Each input dialog shows the caller's title, prompt and preset, and gives
// back what was entered on Ok; on Cancel `ok` is false.
void TestWidgets::inputDialog_string()
{
    QString shown;
    answerModal([&](QDialog *dialog) {
        auto *edit = dialog->findChild<QLineEdit *>(QStringLiteral("leText"));
        shown = dialog->windowTitle() + '|' +
                dialog->findChild<QLabel *>(QStringLiteral("label"))->text() + '|' + edit->text();
        edit->setText(QStringLiteral("Сварка"));
        press(dialog, QDialogButtonBox::Ok);
    });
    bool ok = false;
    QCOMPARE(QInputDialogEx::getString(nullptr, QStringLiteral("Тип дефекта"),
                                       QStringLiteral("Наименование"), QStringLiteral("Литье"),
                                       &ok),
             QStringLiteral("Сварка"));
    QVERIFY(ok);
    QCOMPARE(shown, QStringLiteral("Тип дефекта|Наименование|Литье"));

    // Cancel gives no text, whatever was typed.
    answerModal([](QDialog *dialog) {
        dialog->findChild<QLineEdit *>(QStringLiteral("leText"))->setText(QStringLiteral("x"));
        press(dialog, QDialogButtonBox::Cancel);
    });
    QVERIFY(
        QInputDialogEx::getString(nullptr, QStringLiteral("t"), QStringLiteral("l"), QString(), &ok)
            .isEmpty());
    QVERIFY(!ok);
}

void TestWidgets::inputDialog_numbers()
{
    // A preset out of range is brought into it; Cancel gives the preset back.
    int shown = 0;
    answerModal([&](QDialog *dialog) {
        shown = dialog->findChild<QSpinBox *>(QStringLiteral("sbInt"))->value();
        press(dialog, QDialogButtonBox::Cancel);
    });
    bool ok = true;
    QCOMPARE(QInputDialogEx::getInt(nullptr, QStringLiteral("t"), QStringLiteral("l"), 9000, 1, 500,
                                    &ok),
             Q_INT64_C(9000));
    QVERIFY(!ok);
    QCOMPARE(shown, 500);

    int decimals = 0;
    answerModal([&](QDialog *dialog) {
        auto *spin = dialog->findChild<QDoubleSpinBox *>(QStringLiteral("sbDouble"));
        decimals = spin->decimals();
        spin->setValue(2.125);
        press(dialog, QDialogButtonBox::Ok);
    });
    QCOMPARE(QInputDialogEx::getDouble(nullptr, QStringLiteral("Размер"), QStringLiteral("мм"), 1.5,
                                       3, 0, 10, &ok),
             2.125);
    QVERIFY(ok);
    QCOMPARE(decimals, 3);
}

// The three-state flag: a null preset shows the middle state, which answers null.
void TestWidgets::inputDialog_bools()
{
    Qt::CheckState shown = Qt::Checked;
    answerModal([&](QDialog *dialog) {
        shown = dialog->findChild<QCheckBox *>(QStringLiteral("chkValue"))->checkState();
        press(dialog, QDialogButtonBox::Ok);
    });
    bool ok = false;
    QVERIFY(QInputDialogEx::getBoolNull(nullptr, QStringLiteral("t"), QStringLiteral("l"),
                                        QVariant(), &ok)
                .isNull());
    QVERIFY(ok);
    QCOMPARE(shown, Qt::PartiallyChecked);

    answerModal([&](QDialog *dialog) {
        auto *box = dialog->findChild<QCheckBox *>(QStringLiteral("chkValue"));
        shown = box->checkState();
        box->setCheckState(Qt::Unchecked);
        press(dialog, QDialogButtonBox::Ok);
    });
    const QVariant answer = QInputDialogEx::getBoolNull(nullptr, QStringLiteral("t"),
                                                        QStringLiteral("l"), QVariant(true), &ok);
    QCOMPARE(shown, Qt::Checked);
    QCOMPARE(answer, QVariant(false));

    answerModal([&](QDialog *dialog) {
        dialog->findChild<QCheckBox *>(QStringLiteral("chkValue"))->setChecked(true);
        press(dialog, QDialogButtonBox::Ok);
    });
    QVERIFY(QInputDialogEx::getBool(nullptr, QStringLiteral("Брак"),
                                    QStringLiteral("Забраковать изделие"), false, &ok));
}

void TestWidgets::inputDialog_datesAndTimes()
{
    bool ok = false;
    // Without a preset the editor starts today.
    QDate presetDate;
    answerModal([&](QDialog *dialog) {
        auto *edit = dialog->findChild<QDateEdit *>(QStringLiteral("deDate"));
        presetDate = edit->date();
        edit->setDate(QDate(2024, 3, 1));
        press(dialog, QDialogButtonBox::Ok);
    });
    QCOMPARE(
        QInputDialogEx::getDate(nullptr, QStringLiteral("t"), QStringLiteral("l"), QDate(), &ok),
        QDate(2024, 3, 1));
    QVERIFY(ok);
    QCOMPARE(presetDate, QDate::currentDate());

    const QDateTime moment(QDate(2023, 12, 31), QTime(23, 59, 0));
    QDateTime presetMoment;
    answerModal([&](QDialog *dialog) {
        auto *edit = dialog->findChild<QDateTimeEdit *>(QStringLiteral("dteDateTime"));
        presetMoment = edit->dateTime();
        edit->setDateTime(moment.addSecs(60));
        press(dialog, QDialogButtonBox::Ok);
    });
    QCOMPARE(
        QInputDialogEx::getDateTime(nullptr, QStringLiteral("t"), QStringLiteral("l"), moment, &ok),
        moment.addSecs(60));
    QCOMPARE(presetMoment, moment);

    answerModal([&](QDialog *dialog) {
        dialog->findChild<QTimeEdit *>(QStringLiteral("teTime"))->setTime(QTime(8, 15));
        press(dialog, QDialogButtonBox::Ok);
    });
    QCOMPARE(QInputDialogEx::getTime(nullptr, QStringLiteral("t"), QStringLiteral("l"),
                                     QTime(7, 30), &ok),
             QTime(8, 15));
}

void TestWidgets::bubbleTip_showsAndHides()
{
    const QPoint at(200, 150);
    QPointer<QBubbleTip> bubble =
        QBubbleTip::warning(QStringLiteral("Ошибки:"), QStringLiteral("Не задан код дефекта"), at);
    QVERIFY(bubble);
    QVERIFY(bubble->isVisible());
    QCOMPARE(bubble->messageIcon(), QSystemTrayIcon::Warning);
    QCOMPARE(bubble->findChild<QLabel *>(QStringLiteral("lbTitle"))->text(),
             QStringLiteral("Ошибки:"));
    QCOMPARE(bubble->findChild<QLabel *>(QStringLiteral("lbText"))->text(),
             QStringLiteral("Не задан код дефекта"));
    // The arrow's tip is at the point, the balloon below it.
    // (Placed by its window position: the test platform draws a frame round it.)
    QCOMPARE(bubble->pos().y(), at.y());
    QVERIFY(bubble->pos().x() < at.x() && bubble->pos().x() + bubble->width() > at.x());

    // A mouse press hides it, and it goes away.
    QTest::mouseClick(bubble, Qt::LeftButton, Qt::NoModifier, bubble->rect().center());
    QTRY_VERIFY(bubble.isNull());

    // Its timer hides it too; with no time it stays.
    bubble = QBubbleTip::info(QStringLiteral("t"), QStringLiteral("x"), at, 100);
    QCOMPARE(bubble->messageIcon(), QSystemTrayIcon::Information);
    QTRY_VERIFY(bubble.isNull());
    bubble = QBubbleTip::critical(QStringLiteral("t"), QStringLiteral("x"), at, 0);
    QCOMPARE(bubble->messageIcon(), QSystemTrayIcon::Critical);
    QTest::qWait(200);
    QVERIFY(bubble && bubble->isVisible());

    // A new balloon replaces the one shown, unless asked to stand beside it.
    QPointer<QBubbleTip> second =
        QBubbleTip::warning(QStringLiteral("t"), QStringLiteral("y"), at, 0, true, false);
    QTest::qWait(50);
    QVERIFY(bubble && second);
    QPointer<QBubbleTip> third = QBubbleTip::warning(QStringLiteral("t"), QStringLiteral("z"),
                                                     at + QPoint(0, 500), 0, false);
    QTRY_VERIFY(second.isNull());
    QVERIFY(third && third->isVisible());
    third->hideBubble();
    bubble->hideBubble();

    // Near the bottom of the screen the balloon stands above the point.
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    const QPoint low(screen.left() + 100, screen.bottom() - 5);
    QPointer<QBubbleTip> above = QBubbleTip::warning(QStringLiteral("t"), QStringLiteral("x"), low);
    QCOMPARE(above->pos().y() + above->height() - 1, low.y());
    QVERIFY(above->pos().x() < low.x() && above->pos().x() + above->width() > low.x());
    above->hideBubble();
    QTRY_VERIFY(third.isNull() && bubble.isNull() && above.isNull());
}

// Every icon that the forms, views and dialogs of the system open by resource path.
void TestWidgets::icons_resolve_data()
{
    QTest::addColumn<QString>("path");
    const char *paths[] = {
        ":/commonIcon/NEW",         ":/commonIcon/EDIT",    ":/commonIcon/DELETE",
        ":/commonIcon/EDIT_CUT",    ":/commonIcon/CHECK",   ":/commonIcon/REFRESH",
        ":/Icons/REJECTMAIN",       ":/Icons/PHOTO",        ":/Icons/TYPE",
        ":/Icons/FAMILY",           ":/Icons/PRODMAIN",     ":/Icons/V_PRODUCT",
        ":/Icons/VERSION",          ":/Icons/search.png",   ":/Icons/left.png",
        ":/Icons/right.png",        ":/Icons/filesave.png", ":/Icons/fileprint.png",
        ":/Icons/exportpdf.png",    ":/Icons/Preview.png",  ":/Icons/save_to_base.png",
        ":/Icons/res/add_task.png", ":/Icons/res/xls.png",  ":/Icons/res/join.png",
        ":/Icons/res/rollback.png", ":/Icons/res/load.png", ":/Icons/res/preview.png",
        ":/res/clipboard.png",      ":/res/photo.png",      ":/res/add-attachment.png",
        ":/res/to_clipboard.png",   ":/res/load_all.png",   ":/res/load.png",
        ":/res/preview.png",
    };
    for (const char *path : paths)
        QTest::newRow(path) << QString::fromLatin1(path);
}

void TestWidgets::icons_resolve()
{
    QFETCH(QString, path);
    QVERIFY2(QFile::exists(path), qPrintable(path + " is not compiled in"));

    // A picture is really drawn: some pixels are not transparent.
    const QImage image =
        QIcon(path).pixmap(16, 16).toImage().convertToFormat(QImage::Format_ARGB32);
    QVERIFY2(paintedPixels(image) > 0, qPrintable(path + " renders empty"));
}

REJECTS_TEST_MAIN(TestWidgets)
#include "tst_widgets.moc"
