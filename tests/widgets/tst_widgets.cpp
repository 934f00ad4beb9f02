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
#include <QScrollArea>
#include <QScrollBar>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QTableView>
#include <QTimeEdit>
#include <QVBoxLayout>
#include <functional>

class TestWidgets : public QObject
{
    Q_OBJECT

private slots:
    void chase_segmentColours();
    void chase_stepMovesWithItsTimer();
    void chase_secondStartKeepsOneTimer();
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

int greyOf(int position)
{
    return 255 - 28 * position;
}

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

void TestWidgets::chase_segmentColours()
{
    QChaseWidget chase;
    QCOMPARE(chase.segmentCount(), 9);
    QCOMPARE(chase.sizeHint(), QSize(16, 16));
    QVERIFY(!chase.isAnimated());

    const int expected[] = {255, 227, 199, 171, 143, 115, 87, 59, 31};
    for (int i = 0; i < 9; ++i) {
        const QColor colour = chase.colorForSegment(i);
        QCOMPARE(colour, QColor(expected[i], expected[i], expected[i]));
        QCOMPARE(colour.alpha(), 255);
        // The ring wraps round.
        QCOMPARE(chase.colorForSegment(i + 9), colour);
    }
}

void TestWidgets::chase_stepMovesWithItsTimer()
{
    QChaseWidget chase;
    TimerWatch watch(&chase);
    chase.setAnimated(true);
    QVERIFY(chase.isAnimated());
    QTRY_VERIFY_WITH_TIMEOUT(watch.count >= 3, 5000);
    chase.setAnimated(false);
    QVERIFY(!chase.isAnimated());

    // Each tick moved the brightest segment on by one.
    const int steps = watch.count;
    for (int i = 0; i < 9; ++i) {
        const int grey = greyOf((steps + i) % 9);
        QCOMPARE(chase.colorForSegment(i), QColor(grey, grey, grey));
    }

    // Stopped: no more ticks, and starting again begins at the first step.
    QTest::qWait(300);
    QCOMPARE(watch.count, steps);
    chase.setAnimated(true);
    QCOMPARE(chase.colorForSegment(0), QColor(255, 255, 255));
    chase.setAnimated(false);
}

void TestWidgets::chase_secondStartKeepsOneTimer()
{
    QChaseWidget chase;
    TimerWatch watch(&chase);
    chase.setAnimated(true);
    chase.setAnimated(true);
    QTRY_VERIFY_WITH_TIMEOUT(watch.count >= 4, 5000);
    QCOMPARE(watch.ids.size(), 1);

    // Restarting after a stop still leaves a single running timer.
    chase.setAnimated(false);
    chase.setAnimated(true);
    const int before = watch.count;
    QTRY_VERIFY_WITH_TIMEOUT(watch.count >= before + 3, 5000);
    chase.setAnimated(false);
    const int stopped = watch.count;
    QTest::qWait(300);
    QCOMPARE(watch.count, stopped);
    QVERIFY(watch.ids.size() <= 2);
}

void TestWidgets::chase_paintsSegmentsOrPixmap()
{
    // The picture flag without a picture still shows the ring.
    QChaseWidget ring(nullptr, QPixmap(), true);
    ring.resize(32, 32);
    QVERIFY(paintedPixels(paintedOn(&ring)) > 20);
    ring.setAnimated(true);
    const QImage animated = paintedOn(&ring);
    ring.setAnimated(false);
    QVERIFY(paintedPixels(animated) > 20);
    // While animated the segments are filled with their greys.
    QVERIFY(animated != paintedOn(&ring));

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
    QCOMPARE(standard.objectName(), QStringLiteral("QWaitDialog"));
    auto *text = standard.findChild<QLabel *>(QStringLiteral("lbText"));
    QVERIFY(text);
    QVERIFY(standard.findChild<QLabel *>(QStringLiteral("lbWait")));
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

    QWidget parent;
    QClicableLabel child(&parent);
    QCOMPARE(child.parentWidget(), &parent);
}

void TestWidgets::comboBox_ignoresWheel()
{
    // A long form in a scroll area, scrolled half-way.
    QScrollArea area;
    auto *form = new QWidget;
    auto *layout = new QVBoxLayout(form);
    auto *combo = new ComboBox(form);
    auto *plain = new QComboBox(form);
    auto *label = new QLabel(QStringLiteral("Описание"), form);
    for (QComboBox *box : {static_cast<QComboBox *>(combo), plain}) {
        box->addItems({QStringLiteral("Входной"), QStringLiteral("Операционный"),
                       QStringLiteral("Приемочный")});
        box->setCurrentIndex(1);
    }
    layout->addWidget(combo);
    layout->addWidget(plain);
    layout->addWidget(label);
    form->setMinimumHeight(2000);
    area.setWidget(form);
    area.resize(300, 200);
    area.show();
    QVERIFY(QTest::qWaitForWindowExposed(&area));
    QScrollBar *bar = area.verticalScrollBar();
    QVERIFY(bar->maximum() > 0);
    bar->setValue(bar->maximum() / 2);
    const int scrolled = bar->value();

    // Whether the widget took the turn of the wheel: an event left untaken
    // goes on to the widget's parents, and the scroll area would scroll.
    auto wheel = [](QWidget *target) {
        const QPoint at = target->rect().center();
        QWheelEvent event(at, target->mapToGlobal(at), QPoint(), QPoint(0, -120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        event.setAccepted(false);
        QApplication::sendEvent(target, &event);
        return event.isAccepted();
    };

    QVERIFY(wheel(combo));
    QCOMPARE(combo->currentIndex(), 1);
    QCOMPARE(bar->value(), scrolled);

    // The same turn of the wheel does reach the others: a plain combo box
    // changes its choice, and a label leaves it to the form around it.
    wheel(plain);
    QVERIFY(plain->currentIndex() != 1);
    QVERIFY(!wheel(label));
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
    QCOMPARE(add.objectName(), QStringLiteral("qCommentDialog"));
    QCOMPARE(add.windowTitle(), QStringLiteral("Add comment"));
    QVERIFY(add.findChild<QLabel *>(QStringLiteral("label")));
    auto *editor = add.findChild<QPlainTextEdit *>(QStringLiteral("teComment"));
    QVERIFY(editor);
    QVERIFY(!editor->isReadOnly());
    QVERIFY(editor->toPlainText().isEmpty());

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

void TestWidgets::inputDialog_string()
{
    QWidget parent;
    QString title;
    QString prompt;
    QString preset;
    answerModal([&](QDialog *dialog) {
        title = dialog->windowTitle();
        prompt = dialog->findChild<QLabel *>(QStringLiteral("label"))->text();
        auto *edit = dialog->findChild<QLineEdit *>(QStringLiteral("leText"));
        preset = edit->text();
        edit->setText(QStringLiteral("Сварка"));
        press(dialog, QDialogButtonBox::Ok);
    });
    bool ok = false;
    QString answer =
        QInputDialogEx::getString(&parent, QStringLiteral("Тип дефекта"),
                                  QStringLiteral("Наименование"), QStringLiteral("Литье"), &ok);
    QVERIFY(ok);
    QCOMPARE(answer, QStringLiteral("Сварка"));
    QCOMPARE(title, QStringLiteral("Тип дефекта"));
    QCOMPARE(prompt, QStringLiteral("Наименование"));
    QCOMPARE(preset, QStringLiteral("Литье"));

    // Cancel: not accepted and no text, whatever was typed. No parent is fine.
    answerModal([](QDialog *dialog) {
        dialog->findChild<QLineEdit *>(QStringLiteral("leText"))->setText(QStringLiteral("x"));
        press(dialog, QDialogButtonBox::Cancel);
    });
    ok = true;
    answer = QInputDialogEx::getString(nullptr, QStringLiteral("Создать подкаталог для файлов"),
                                       QStringLiteral("Новый каталог"), QString(), &ok);
    QVERIFY(!ok);
    QVERIFY(answer.isEmpty());

    // Without a flag to fill in.
    answerModal([](QDialog *dialog) { press(dialog, QDialogButtonBox::Ok); });
    QCOMPARE(QInputDialogEx::getString(&parent, QStringLiteral("t"), QStringLiteral("l"),
                                       QStringLiteral("как есть")),
             QStringLiteral("как есть"));
}

void TestWidgets::inputDialog_numbers()
{
    int presetInt = 0;
    answerModal([&](QDialog *dialog) {
        auto *spin = dialog->findChild<QSpinBox *>(QStringLiteral("sbInt"));
        presetInt = spin->value();
        QCOMPARE(spin->minimum(), 1);
        QCOMPARE(spin->maximum(), 500);
        spin->setValue(77);
        press(dialog, QDialogButtonBox::Ok);
    });
    bool ok = false;
    QCOMPARE(QInputDialogEx::getInt(nullptr, QStringLiteral("Количество"), QStringLiteral("Шт."),
                                    12, 1, 500, &ok),
             Q_INT64_C(77));
    QVERIFY(ok);
    QCOMPARE(presetInt, 12);

    // A preset out of range is brought into it; Cancel gives the preset back.
    answerModal([&](QDialog *dialog) {
        presetInt = dialog->findChild<QSpinBox *>(QStringLiteral("sbInt"))->value();
        press(dialog, QDialogButtonBox::Cancel);
    });
    QCOMPARE(QInputDialogEx::getInt(nullptr, QStringLiteral("t"), QStringLiteral("l"), 9000, 1, 500,
                                    &ok),
             Q_INT64_C(9000));
    QVERIFY(!ok);
    QCOMPARE(presetInt, 500);

    int decimals = 0;
    answerModal([&](QDialog *dialog) {
        auto *spin = dialog->findChild<QDoubleSpinBox *>(QStringLiteral("sbDouble"));
        decimals = spin->decimals();
        spin->setValue(2.125);
        press(dialog, QDialogButtonBox::Ok);
    });
    const double value = QInputDialogEx::getDouble(nullptr, QStringLiteral("Размер"),
                                                   QStringLiteral("мм"), 1.5, 3, 0, 10, &ok);
    QVERIFY(ok);
    QCOMPARE(decimals, 3);
    QCOMPARE(value, 2.125);
}

void TestWidgets::inputDialog_bools()
{
    QString boxText;
    bool labelShown = true;
    answerModal([&](QDialog *dialog) {
        auto *box = dialog->findChild<QCheckBox *>(QStringLiteral("chkValue"));
        boxText = box->text();
        labelShown = dialog->findChild<QLabel *>(QStringLiteral("label"))->isVisible();
        QVERIFY(!box->isChecked());
        box->setChecked(true);
        press(dialog, QDialogButtonBox::Ok);
    });
    bool ok = false;
    QVERIFY(QInputDialogEx::getBool(nullptr, QStringLiteral("Брак"),
                                    QStringLiteral("Забраковать изделие"), false, &ok));
    QVERIFY(ok);
    QCOMPARE(boxText, QStringLiteral("Забраковать изделие"));
    QVERIFY(!labelShown);

    // Three states: a null preset shows the middle state, which answers null.
    Qt::CheckState shown = Qt::Checked;
    answerModal([&](QDialog *dialog) {
        auto *box = dialog->findChild<QCheckBox *>(QStringLiteral("chkValue"));
        QVERIFY(box->isTristate());
        shown = box->checkState();
        press(dialog, QDialogButtonBox::Ok);
    });
    QVariant answer = QInputDialogEx::getBoolNull(nullptr, QStringLiteral("t"), QStringLiteral("l"),
                                                  QVariant(), &ok);
    QVERIFY(ok);
    QCOMPARE(shown, Qt::PartiallyChecked);
    QVERIFY(answer.isNull());

    answerModal([&](QDialog *dialog) {
        auto *box = dialog->findChild<QCheckBox *>(QStringLiteral("chkValue"));
        shown = box->checkState();
        box->setCheckState(Qt::Unchecked);
        press(dialog, QDialogButtonBox::Ok);
    });
    answer = QInputDialogEx::getBoolNull(nullptr, QStringLiteral("t"), QStringLiteral("l"),
                                         QVariant(true), &ok);
    QCOMPARE(shown, Qt::Checked);
    QVERIFY(!answer.isNull());
    QCOMPARE(answer.userType(), int(QMetaType::Bool));
    QCOMPARE(answer.toBool(), false);
}

void TestWidgets::inputDialog_datesAndTimes()
{
    const QDate date(2024, 2, 29);
    const QDateTime moment(QDate(2023, 12, 31), QTime(23, 59, 0));
    const QTime time(7, 30, 0);
    bool ok = false;

    QDate presetDate;
    answerModal([&](QDialog *dialog) {
        auto *edit = dialog->findChild<QDateEdit *>(QStringLiteral("deDate"));
        presetDate = edit->date();
        edit->setDate(date.addDays(1));
        press(dialog, QDialogButtonBox::Ok);
    });
    QCOMPARE(
        QInputDialogEx::getDate(nullptr, QStringLiteral("Дата"), QStringLiteral("l"), date, &ok),
        QDate(2024, 3, 1));
    QVERIFY(ok);
    QCOMPARE(presetDate, date);

    // Without a preset the editor starts today.
    answerModal([&](QDialog *dialog) {
        presetDate = dialog->findChild<QDateEdit *>(QStringLiteral("deDate"))->date();
        press(dialog, QDialogButtonBox::Cancel);
    });
    QVERIFY(
        !QInputDialogEx::getDate(nullptr, QStringLiteral("t"), QStringLiteral("l"), QDate(), &ok)
             .isValid());
    QVERIFY(!ok);
    QCOMPARE(presetDate, QDate::currentDate());

    QDateTime presetMoment;
    answerModal([&](QDialog *dialog) {
        auto *edit = dialog->findChild<QDateTimeEdit *>(QStringLiteral("dteDateTime"));
        presetMoment = edit->dateTime();
        edit->setDateTime(moment.addSecs(60));
        press(dialog, QDialogButtonBox::Ok);
    });
    QCOMPARE(
        QInputDialogEx::getDateTime(nullptr, QStringLiteral("t"), QStringLiteral("l"), moment, &ok),
        QDateTime(QDate(2024, 1, 1), QTime(0, 0, 0)));
    QVERIFY(ok);
    QCOMPARE(presetMoment, moment);

    QTime presetTime;
    answerModal([&](QDialog *dialog) {
        auto *edit = dialog->findChild<QTimeEdit *>(QStringLiteral("teTime"));
        presetTime = edit->time();
        edit->setTime(QTime(8, 15));
        press(dialog, QDialogButtonBox::Ok);
    });
    QCOMPARE(QInputDialogEx::getTime(nullptr, QStringLiteral("t"), QStringLiteral("l"), time, &ok),
             QTime(8, 15));
    QVERIFY(ok);
    QCOMPARE(presetTime, time);
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

    const QIcon icon(path);
    QVERIFY(!icon.isNull());
    for (int size : {16, 22, 32}) {
        const QPixmap pixmap = icon.pixmap(size, size);
        QVERIFY(!pixmap.isNull());
        // A picture was really drawn: some pixels are not transparent.
        const QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
        int painted = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                painted += qAlpha(image.pixel(x, y)) > 0 ? 1 : 0;
        QVERIFY2(painted > 0,
                 qPrintable(QStringLiteral("%1 renders empty at %2").arg(path).arg(size)));
    }
}

REJECTS_TEST_MAIN(TestWidgets)
#include "tst_widgets.moc"
