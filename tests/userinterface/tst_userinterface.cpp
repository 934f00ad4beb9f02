#include "qpopupcontainer.h"
#include "quserinterface.h"
#include "recordhelpers.h"
#include "testmain.h"

#include <QLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QToolButton>

namespace {

// A module frame as a module builds one: a list whose button opens the docked
// editor panel, connected only while the editor is docked.
class ModuleFrame : public QUserInterface
{
    Q_OBJECT
public:
    explicit ModuleFrame(QWidget *parent = nullptr)
        : QUserInterface(parent)
        , list(new QPushButton(QStringLiteral("list"), this))
        , editor(new QWidget(this))
    {
        editor->setObjectName(QStringLiteral("moduleEditor"));
        editor->setMinimumSize(200, 150);
        layout(QStringLiteral("viewLayout"))->addWidget(list);
        layout(QStringLiteral("editLayout"))->addWidget(editor);
        onConnectPopupEditor();
    }

    QLayout *layout(const QString &name) const { return findChild<QLayout *>(name); }

    bool onConnectPopupEditor() override
    {
        ++connects;
        return bool(connect(list, SIGNAL(clicked()), this, SLOT(showEditor())));
    }
    bool onDisconnectPopupEditor() override
    {
        ++disconnects;
        return disconnect(list, SIGNAL(clicked()), this, SLOT(showEditor()));
    }

    QPushButton *list;
    QWidget *editor;
    int connects = 0;
    int disconnects = 0;
    int opened = 0;

public slots:
    void showEditor() { ++opened; }
};

QFrame *frameOf(QWidget *ui, const char *name)
{
    return ui->findChild<QFrame *>(QLatin1String(name));
}

} // namespace

class tst_UserInterface : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void findPanel_shortcutAndButtons();

    void toggleEditor_outAndBack_restoresLayoutAndConnections();
    void popupWindow_closing_docksEditor();
    void toggleNull_docksOnlyAFloatingEditor();
    void secondFrameToggle_docksFirstFramesEditor();
    void frameDestroyed_whileItsEditorFloats();

private:
    QList<QWidget *> popupList;
};

void tst_UserInterface::init()
{
    popupList.clear();
    qApp->setProperty("popupList", objToVar(&popupList));
}

void tst_UserInterface::cleanup()
{
    qApp->setProperty("popupList", QVariant());
    QVERIFY(!QUserInterface::floatingEditor());
}

// The find panel starts hidden; Ctrl+F shows it with the focus in its line and
// hides it again from inside; Return and the buttons ask for the search.
void tst_UserInterface::findPanel_shortcutAndButtons()
{
    ModuleFrame frame;
    frame.show();
    frame.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&frame));
    QFrame *panel = frameOf(&frame, "searchFrame");
    QVERIFY(panel->isHidden());
    QVERIFY(frameOf(&frame, "editFrame")->isHidden());
    frame.list->setFocus();
    QLineEdit *find = frame.findChild<QLineEdit *>(QStringLiteral("edFind"));

    QTest::keyClick(frame.list, Qt::Key_F, Qt::ControlModifier);
    QVERIFY(panel->isVisible());
    QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget *>(find));

    QSignalSpy first(&frame, SIGNAL(findFirst(QString)));
    QSignalSpy prev(&frame, SIGNAL(findPrev()));
    QSignalSpy next(&frame, SIGNAL(findNext()));
    find->setText(QStringLiteral("В-1024/7"));
    QTest::keyClick(find, Qt::Key_Return);
    QTest::mouseClick(frame.findChild<QToolButton *>(QStringLiteral("btFindNext")), Qt::LeftButton);
    QTest::mouseClick(frame.findChild<QToolButton *>(QStringLiteral("btFindPrev")), Qt::LeftButton);
    find->setText(QStringLiteral("шов"));
    QTest::mouseClick(frame.findChild<QToolButton *>(QStringLiteral("btFindFirst")),
                      Qt::LeftButton);
    QCOMPARE(first.count(), 2);
    QCOMPARE(first.at(0).at(0).toString(), QStringLiteral("В-1024/7"));
    QCOMPARE(first.at(1).at(0).toString(), QStringLiteral("шов"));
    QCOMPARE(next.count(), 1);
    QCOMPARE(prev.count(), 1);

    QTest::keyClick(find, Qt::Key_F, Qt::ControlModifier);
    QVERIFY(panel->isHidden());
}

void tst_UserInterface::toggleEditor_outAndBack_restoresLayoutAndConnections()
{
    ModuleFrame frame;
    frame.show();
    QFrame *editFrame = frameOf(&frame, "editFrame");
    editFrame->show();
    QLayout *editLayout = frame.layout(QStringLiteral("editLayout"));
    QCOMPARE(editLayout->indexOf(frame.editor), 0);
    frame.resize(640, 480);
    QCoreApplication::processEvents();
    const QSize docked = frame.editor->geometry().size();
    QVERIFY(docked.width() > 100);

    frame.toggleEditorPopup(frame.editor);
    QCOMPARE(QUserInterface::floatingEditor(), frame.editor);
    auto *window = qobject_cast<QPopupContainer *>(frame.editor->parentWidget());
    QVERIFY(window);
    QVERIFY(window->isVisible());
    QVERIFY(window->windowFlags() & Qt::Window);
    QVERIFY(window->windowFlags() & Qt::WindowMaximizeButtonHint);
    // The window opens with the editor's size, centred on the screen.
    QCOMPARE(window->size(), docked);
    const QPoint centre = QGuiApplication::primaryScreen()->geometry().center();
    QCOMPARE(window->pos(),
             QPoint(centre.x() - docked.width() / 2, centre.y() - docked.height() / 2));
    QVERIFY(editFrame->isHidden());
    QCOMPARE(editLayout->indexOf(frame.editor), -1);
    QCOMPARE(popupList, QList<QWidget *>{frame.editor});
    QCOMPARE(frame.disconnects, 1);
    QTest::mouseClick(frame.list, Qt::LeftButton);
    QCOMPARE(frame.opened, 0); // the list does not open the panel while the editor floats

    frame.toggleEditorPopup(frame.editor);
    QVERIFY(!QUserInterface::floatingEditor());
    QVERIFY(window->isHidden());
    QCOMPARE(frame.editor->parentWidget(), static_cast<QWidget *>(editFrame));
    QCOMPARE(editLayout->indexOf(frame.editor), 0);
    QVERIFY(editFrame->isVisible());
    QVERIFY(popupList.isEmpty());
    QCOMPARE(frame.connects, 2);
    QTest::mouseClick(frame.list, Qt::LeftButton);
    QCOMPARE(frame.opened, 1);

    // Out again: the same window is used once more.
    frame.toggleEditorPopup(frame.editor);
    QCOMPARE(frame.editor->parentWidget(), static_cast<QWidget *>(window));
    QVERIFY(window->isVisible());
    frame.toggleEditorPopup(nullptr);
    QVERIFY(!QUserInterface::floatingEditor());
}

void tst_UserInterface::popupWindow_closing_docksEditor()
{
    ModuleFrame frame;
    frame.show();
    frame.toggleEditorPopup(frame.editor);
    auto *window = qobject_cast<QPopupContainer *>(frame.editor->parentWidget());
    QVERIFY(window);

    window->close();
    QVERIFY(!QUserInterface::floatingEditor());
    QVERIFY(window->isHidden());
    QCOMPARE(frame.layout(QStringLiteral("editLayout"))->indexOf(frame.editor), 0);
    QVERIFY(frameOf(&frame, "editFrame")->isVisible());

    frame.toggleEditorPopup(frame.editor);
    QVERIFY(window->isVisible());
    window->accept();
    QVERIFY(!QUserInterface::floatingEditor());
    QCOMPARE(frame.layout(QStringLiteral("editLayout"))->indexOf(frame.editor), 0);
    QCOMPARE(frame.connects, 3);
}

// Toggling "no editor" docks a floating one and otherwise changes nothing,
// also when the host keeps no "popupList".
void tst_UserInterface::toggleNull_docksOnlyAFloatingEditor()
{
    ModuleFrame frame;
    frame.show();
    frame.toggleEditorPopup(nullptr);
    QVERIFY(frameOf(&frame, "editFrame")->isHidden());
    QCOMPARE(frame.disconnects, 0);

    qApp->setProperty("popupList", QVariant());
    frame.toggleEditorPopup(frame.editor);
    QCOMPARE(QUserInterface::floatingEditor(), frame.editor);
    frame.toggleEditorPopup(nullptr);
    QVERIFY(!QUserInterface::floatingEditor());
    QCOMPARE(frame.layout(QStringLiteral("editLayout"))->indexOf(frame.editor), 0);
    QCOMPARE(frame.connects, 2);
    QVERIFY(popupList.isEmpty());
}

void tst_UserInterface::secondFrameToggle_docksFirstFramesEditor()
{
    QWidget host;
    auto *first = new ModuleFrame(&host);
    auto *second = new ModuleFrame(&host);
    host.show();

    first->toggleEditorPopup(first->editor);
    QCOMPARE(QUserInterface::floatingEditor(), first->editor);

    second->toggleEditorPopup(second->editor);
    QVERIFY(!QUserInterface::floatingEditor());
    QCOMPARE(first->layout(QStringLiteral("editLayout"))->indexOf(first->editor), 0);
    QVERIFY(frameOf(first, "editFrame")->isVisible());
    QCOMPARE(first->connects, 2);
    QCOMPARE(second->layout(QStringLiteral("editLayout"))->indexOf(second->editor), 0);
    QCOMPARE(second->disconnects, 0);
    QVERIFY(popupList.isEmpty());

    // Now the second frame's editor floats, in the window the first one made.
    second->toggleEditorPopup(second->editor);
    QCOMPARE(QUserInterface::floatingEditor(), second->editor);
    QCOMPARE(popupList, QList<QWidget *>{second->editor});
    first->toggleEditorPopup(first->editor);
    QVERIFY(!QUserInterface::floatingEditor());
    QCOMPARE(second->layout(QStringLiteral("editLayout"))->indexOf(second->editor), 0);
}

void tst_UserInterface::frameDestroyed_whileItsEditorFloats()
{
    QWidget host;
    auto *first = new ModuleFrame(&host);
    auto *second = new ModuleFrame(&host);
    host.show();
    first->toggleEditorPopup(first->editor); // the shared window is the first frame's child
    first->toggleEditorPopup(nullptr);

    second->toggleEditorPopup(second->editor);
    QPointer<QWidget> secondEditor = second->editor;
    delete first; // takes the shared window with it, but not the other frame's editor
    QVERIFY(secondEditor);
    QVERIFY(!QUserInterface::floatingEditor());
    QCOMPARE(second->layout(QStringLiteral("editLayout"))->indexOf(second->editor), 0);

    // A new window is made on the next use.
    second->toggleEditorPopup(second->editor);
    QVERIFY(qobject_cast<QPopupContainer *>(second->editor->parentWidget()));
    QPointer<QWidget> editor = second->editor;
    delete second;
    QVERIFY(!editor);
    QVERIFY(!QUserInterface::floatingEditor());
    QVERIFY(popupList.isEmpty());
}

REJECTS_TEST_MAIN(tst_UserInterface)
#include "tst_userinterface.moc"
