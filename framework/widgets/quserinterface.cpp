#include "quserinterface.h"

#include "qpopupcontainer.h"
#include "recordhelpers.h"
#include "ui_quserinterface.h"

#include <QAction>
#include <QApplication>
#include <QDebug>
#include <QMenu>
#include <QPointer>
#include <QScreen>
#include <QVBoxLayout>

namespace {

// Shared by every frame of the library: at most one editor floats at a time.
struct FloatingState
{
    QPointer<QWidget> editor;         // the editor now floating, null when docked
    QPointer<QUserInterface> owner;   // the frame it was taken out of
    QPointer<QPopupContainer> window; // created on first use and kept
    QPointer<QVBoxLayout> layout;     // the container's layout, likewise
};

FloatingState &floating()
{
    static FloatingState state;
    return state;
}

// The host's list of widgets taken out of the main window, when it keeps one.
QList<QWidget *> *popupList()
{
    const QVariant property = qApp->property("popupList");
    if (!property.isValid())
        return nullptr;
    return static_cast<QList<QWidget *> *>(varToObj(property));
}

} // namespace

QUserInterface::QUserInterface(QWidget *parent)
    : QWidget(parent)
    , ui(new Ui::QUserInterfaceClass)
{
    ui->setupUi(this);
    ui->editFrame->hide();
    ui->searchFrame->hide();
    addAction(ui->actionFind);
    connect(ui->btFindFirst, SIGNAL(clicked()), this, SLOT(findFirstClicked()));
    connect(ui->btFindPrev, SIGNAL(clicked()), this, SLOT(findPrevClicked()));
    connect(ui->btFindNext, SIGNAL(clicked()), this, SLOT(findNextClicked()));
    connect(ui->actionFind, SIGNAL(triggered(bool)), this, SLOT(findPanelToggle()));
}

QUserInterface::~QUserInterface()
{
    FloatingState &state = floating();
    // A frame going away docks the floating editor first when the editor is
    // its own (it is then destroyed with the frame, not left in the shared
    // window) or when the shared window is its child (the editor of another
    // frame must not go down with that window).
    if (state.editor && (state.owner == this || (state.window && state.window->parent() == this)))
        backToDock();
    delete ui;
}

QString QUserInterface::helpContext()
{
    return objectName();
}

void QUserInterface::saveUserData() {}
void QUserInterface::initView() {}
void QUserInterface::initDocument() {}
void QUserInterface::initEditor() {}
bool QUserInterface::onConnectPopupEditor()
{
    return false;
}
bool QUserInterface::onConnectSelectionChanged()
{
    return false;
}
bool QUserInterface::onDisconnectPopupEditor()
{
    return false;
}
void QUserInterface::refresh() {}

QAction *QUserInterface::addMenuAction(QString text, int data, QMenu *menu, bool enabled)
{
    QAction *action = new QAction(text, this);
    action->setData(data);
    action->setEnabled(enabled);
    if (menu)
        menu->addAction(action);
    return action;
}

QWidget *QUserInterface::floatingEditor()
{
    return floating().editor;
}

void QUserInterface::setCaption(QString newCaption)
{
    setWindowTitle(newCaption);
    ui->lbCaption->setText(newCaption);
}

void QUserInterface::findFirstClicked()
{
    emit findFirst(ui->edFind->text());
}

void QUserInterface::findPrevClicked()
{
    emit findPrev();
}

void QUserInterface::findNextClicked()
{
    emit findNext();
}

void QUserInterface::findPanelToggle()
{
    ui->searchFrame->setVisible(ui->searchFrame->isHidden());
    if (!ui->searchFrame->isHidden())
        ui->edFind->setFocus(Qt::OtherFocusReason);
}

void QUserInterface::showFindPanel()
{
    ui->searchFrame->show();
}

void QUserInterface::hideFindPanel()
{
    ui->searchFrame->hide();
}

void QUserInterface::toggleEditorPopup(QWidget *editor)
{
    FloatingState &state = floating();
    if (state.editor) {
        backToDock();
        return;
    }
    if (!editor)
        return;

    state.editor = editor;
    state.owner = this;
    ui->editFrame->hide();

    if (!state.window) {
        state.window =
            new QPopupContainer(this, Qt::Window | Qt::WindowTitleHint |
                                          Qt::WindowMaximizeButtonHint | Qt::WindowCloseButtonHint);
        const QRect geometry = editor->geometry();
        state.window->resize(geometry.width(), geometry.height());
        if (QScreen *screen = QGuiApplication::primaryScreen()) {
            const QPoint centre = screen->geometry().center();
            state.window->move(centre.x() - geometry.width() / 2,
                               centre.y() - geometry.height() / 2);
        }
        connect(state.window, SIGNAL(goBack()), this, SLOT(backToDock()));
    }
    if (!state.layout)
        state.layout = new QVBoxLayout;
    state.layout->addWidget(editor);
    state.window->setLayout(state.layout);
    state.window->setWindowTitle(editor->windowTitle());
    state.window->show();

    onDisconnectPopupEditor();

    if (QList<QWidget *> *list = popupList())
        list->append(editor);
}

void QUserInterface::backToDock()
{
    FloatingState &state = floating();
    if (!state.editor)
        return;
    QWidget *editor = state.editor;
    // The frame the editor came from takes it back, whichever frame asks.
    QUserInterface *home = state.owner ? state.owner.data() : this;

    if (state.window)
        state.window->hide();
    home->ui->editLayout->addWidget(editor);
    state.editor = nullptr;
    state.owner = nullptr;
    home->ui->editFrame->show();
    home->onConnectPopupEditor();

    if (QList<QWidget *> *list = popupList())
        list->removeAll(editor);
}
