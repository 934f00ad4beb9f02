#include "qpopupcontainer.h"
#include "quserinterface.h"
#include "recordhelpers.h"
#include "testmain.h"

#include <QLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>

namespace {

QList<QWidget *> popupList; // the host's list of widgets taken out of its window

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
        editor->setMinimumSize(200, 150);
        findChild<QLayout *>(QStringLiteral("editLayout"))->addWidget(editor);
        onConnectPopupEditor();
    }

    bool onConnectPopupEditor() override
    {
        return bool(connect(list, SIGNAL(clicked()), this, SLOT(showEditor())));
    }
    bool onDisconnectPopupEditor() override
    {
        return disconnect(list, SIGNAL(clicked()), this, SLOT(showEditor()));
    }

    // Where the editor is, whether its panel shows, how often a click on the
    // list opens the panel (the connections are made once, and only while the
    // editor is docked), and whether the host's list holds the editor.
    QString state()
    {
        opened = 0;
        QTest::mouseClick(list, Qt::LeftButton);
        const QWidget *panel = findChild<QFrame *>(QStringLiteral("editFrame"));
        const char *where = floatingEditor() == editor  ? "floating"
                            : editor->parent() == panel ? "docked"
                                                        : "lost";
        return QStringList{where, panel->isHidden() ? "hidden" : "shown",
                           QStringLiteral("opens %1").arg(opened),
                           popupList.contains(editor) ? "listed" : "unlisted"}
            .join(QStringLiteral(", "));
    }

    QPopupContainer *window() const { return qobject_cast<QPopupContainer *>(editor->parent()); }

    QPushButton *list;
    QWidget *editor;
    int opened = 0;

public slots:
    void showEditor() { ++opened; }
};

} // namespace

class tst_UserInterface : public QObject
{
    Q_OBJECT

private slots:
    void moduleFrame_findsAndTakesEditorOutAndBack();
    void twoFrames_shareOneFloatingEditor();
};

// The find panel starts hidden; Ctrl+F shows it with the focus in its line and
// hides it again from inside; Return and the buttons ask for the search. The
// editor goes out by toggling and comes back by toggling, by closing or
// accepting its window, or by toggling "no editor"; also when the host keeps
// no "popupList".
void tst_UserInterface::moduleFrame_findsAndTakesEditorOutAndBack()
{
    qApp->setProperty("popupList", objToVar(&popupList));
    ModuleFrame frame;
    frame.findChild<QFrame *>(QStringLiteral("editFrame"))->show();
    frame.show();
    QVERIFY(QTest::qWaitForWindowActive(&frame));
    QLineEdit *find = frame.findChild<QLineEdit *>(QStringLiteral("edFind"));
    QTest::keyClick(frame.list, Qt::Key_F, Qt::ControlModifier);
    QVERIFY(find->isVisible()); // the find panel shows
    QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget *>(find));

    QStringList asked;
    connect(&frame, &QUserInterface::findFirst, this, [&](const QString &text) { asked << text; });
    connect(&frame, &QUserInterface::findPrev, this, [&] { asked << "prev"; });
    connect(&frame, &QUserInterface::findNext, this, [&] { asked << "next"; });
    find->setText(QStringLiteral("В-1024/7"));
    QTest::keyClick(find, Qt::Key_Return);
    for (const char *button : {"btFindNext", "btFindPrev", "btFindFirst"})
        QTest::mouseClick(frame.findChild<QWidget *>(button), Qt::LeftButton);
    QCOMPARE(asked, (QStringList{"В-1024/7", "next", "prev", "В-1024/7"}));
    QTest::keyClick(find, Qt::Key_F, Qt::ControlModifier);
    QVERIFY(!find->isVisible());

    const QSize docked = frame.editor->size();
    frame.toggleEditorPopup(nullptr); // nothing floats: nothing changes
    QCOMPARE(frame.state(), QStringLiteral("docked, shown, opens 1, unlisted"));

    frame.toggleEditorPopup(frame.editor);
    QCOMPARE(frame.state(), QStringLiteral("floating, hidden, opens 0, listed"));
    // A window with the editor's size, centred on the screen.
    QPopupContainer *window = frame.window();
    QVERIFY(window->isVisible() && window->windowFlags() & Qt::WindowMaximizeButtonHint);
    const QPoint centre = QGuiApplication::primaryScreen()->geometry().center();
    QCOMPARE(window->size(), docked);
    QCOMPARE(window->pos(), centre - QPoint(docked.width() / 2, docked.height() / 2));
    frame.toggleEditorPopup(frame.editor);
    QCOMPARE(frame.state(), QStringLiteral("docked, shown, opens 1, unlisted"));
    QVERIFY(window->isHidden());

    frame.toggleEditorPopup(frame.editor);
    QCOMPARE(frame.window(), window); // the same window once more
    window->close();
    QCOMPARE(frame.state(), QStringLiteral("docked, shown, opens 1, unlisted"));
    frame.toggleEditorPopup(frame.editor);
    window->accept();
    QCOMPARE(frame.state(), QStringLiteral("docked, shown, opens 1, unlisted"));
    qApp->setProperty("popupList", QVariant());
    frame.toggleEditorPopup(frame.editor);
    QCOMPARE(frame.state(), QStringLiteral("floating, hidden, opens 0, unlisted"));
    frame.toggleEditorPopup(nullptr);
    QCOMPARE(frame.state(), QStringLiteral("docked, shown, opens 1, unlisted"));
}

// Toggling any frame while an editor floats docks that editor in its own
// frame; a frame going away takes neither the shared window with another
// frame's editor nor leaves its own editor floating.
void tst_UserInterface::twoFrames_shareOneFloatingEditor()
{
    qApp->setProperty("popupList", objToVar(&popupList));
    QWidget host;
    auto *first = new ModuleFrame(&host);
    auto *second = new ModuleFrame(&host);
    host.show();

    first->toggleEditorPopup(first->editor); // the shared window is the first frame's child
    second->toggleEditorPopup(second->editor);
    QCOMPARE(first->state(), QStringLiteral("docked, shown, opens 1, unlisted"));
    QCOMPARE(second->state(), QStringLiteral("docked, hidden, opens 1, unlisted"));
    second->toggleEditorPopup(second->editor);
    QCOMPARE(second->state(), QStringLiteral("floating, hidden, opens 0, listed"));

    delete first;
    QCOMPARE(second->state(), QStringLiteral("docked, shown, opens 1, unlisted"));
    second->toggleEditorPopup(second->editor); // in a new window
    QVERIFY(second->window());
    QPointer<QWidget> editor = second->editor;
    delete second;
    QVERIFY(!editor && popupList.isEmpty() && !QUserInterface::floatingEditor());
}

REJECTS_TEST_MAIN(tst_UserInterface)
#include "tst_userinterface.moc"
