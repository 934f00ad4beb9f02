#include "rejects.h"

#include "eventregistry.h"
#include "qdataeditor.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "rejectsdocument.h"
#include "rejectseditor.h"
#include "rejectsview.h"
#include "ui_qdataeditor.h"
#include "ui_quserinterface.h"

#include <QAction>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <memory>

namespace {

// The module object, created once by getInterface and kept for the life of
// the process.
Rejects *moduleInterface = nullptr;

// The host's tool-bar actions of the module; the list object itself goes when
// the library is unloaded.
QList<QAction *> &toolBarActionList()
{
    static QList<QAction *> actions;
    return actions;
}

// The help anchor of each editor tab, by tab index.
const char *const tabAnchors[] = {"#tabInfo",           "#tabNotification", "#tabDiscus",
                                  "#tabSolution",       "#tabReasons",      "#tabExecutor",
                                  "#tabCustomerAppeal", "#tabPlan"};

} // namespace

Rejects::Rejects(QWidget *parent)
    : QUserInterface(parent)
{
    setObjectName(QStringLiteral("Rejects"));
    setCaption(tr("Учет брака"));
    initDocument();
    initView();
    initEditor();
    onConnectPopupEditor();
    onConnectSelectionChanged();

    QList<QAction *> &actions = toolBarActionList();
    actions.clear();
    actions << ui->actionFind << RejectsView::toolBarActions();
    connect(ui->actionFind, SIGNAL(toggled(bool)), this, SLOT(onFindToggled(bool)));

    ui->Status->setVisible(false);
    ui->btFindPrev->setVisible(false);
    ui->btFindNext->setVisible(false);
}

void Rejects::initDocument()
{
    m_document = getDocument(this);
}

void Rejects::initView()
{
    m_view = static_cast<RejectsView *>(getView(m_document, this));
    ui->viewLayout->addWidget(m_view);
    connect(this, SIGNAL(findFirst(QString)), m_view, SLOT(search(QString)));
}

void Rejects::initEditor()
{
    m_dataEditor = new QDataEditor(this);
    m_editor = static_cast<RejectsEditor *>(getEditor(m_document, this));
    m_dataEditor->initEditor(m_editor);
    connect(m_dataEditor->ui->bButtons, SIGNAL(accepted()), m_editor, SLOT(getData()));
    ui->editLayout->addWidget(m_dataEditor);
    connect(m_editor, SIGNAL(dataChanged()), m_dataEditor, SLOT(OnChange()));
    connect(m_dataEditor, SIGNAL(cancel()), this, SLOT(canceled()));
    connect(m_dataEditor, SIGNAL(popup(QWidget *)), this, SLOT(toggleEditorPopup(QWidget *)));
    connect(m_editor, SIGNAL(commitData()), m_view, SLOT(afterCommit()));
    m_dataEditor->onReset();
}

bool Rejects::onConnectPopupEditor()
{
    connect(m_view, SIGNAL(autoEdit()), this, SLOT(showEditor()), Qt::UniqueConnection);
    return connect(m_view->findChild<QTableView *>(QStringLiteral("tvRejects")),
                   SIGNAL(doubleClicked(QModelIndex)), this, SLOT(showEditor()),
                   Qt::UniqueConnection);
}

bool Rejects::onDisconnectPopupEditor()
{
    disconnect(m_view, SIGNAL(autoEdit()), this, SLOT(showEditor()));
    return disconnect(m_view->findChild<QTableView *>(QStringLiteral("tvRejects")),
                      SIGNAL(doubleClicked(QModelIndex)), this, SLOT(showEditor()));
}

bool Rejects::onConnectSelectionChanged()
{
    auto *table = m_view->findChild<QTableView *>(QStringLiteral("tvRejects"));
    connect(table->selectionModel(), SIGNAL(currentRowChanged(QModelIndex, QModelIndex)), this,
            SLOT(tableScroll()));
    return connect(m_editor, SIGNAL(commitData()), this, SLOT(tableScroll()));
}

QString Rejects::helpContext()
{
    QString context = QStringLiteral("rejects");
    auto *table = m_view ? m_view->findChild<QTableView *>(QStringLiteral("tvRejects")) : nullptr;
    if (table && table->hasFocus())
        return context + QStringLiteral("#tvRejects");
    if (!ui->editFrame->isVisible())
        return context;
    context += QStringLiteral("#rejectEditor");
    const int tab = m_editor ? m_editor->currentTab() : -1;
    if (tab >= 0 && tab < int(sizeof tabAnchors / sizeof *tabAnchors))
        context += QLatin1String(tabAnchors[tab]);
    return context;
}

void Rejects::tableScroll()
{
    QDataTable *table = m_document->getTable(QStringLiteral("t_process_exam"));
    if (!table)
        return;
    const QSqlRecord record = table->getViewCurrentRecord();
    const bool unsaved = ui->editFrame->isVisible() &&
                         m_dataEditor->ui->bButtons->button(QDialogButtonBox::Ok)->isEnabled();
    if (unsaved &&
        QMessageBox::question(this, tr("Внимание"),
                              tr("Открытие нового дефекта может привести к потере несохраненных "
                                 "данных. Продолжить?"),
                              QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes)
        return;
    m_dataEditor->onReset();
    if (record.isEmpty()) {
        closeEditor();
        return;
    }
    m_dataEditor->ui->lbCaption->setText(record.value(QStringLiteral("c_name")).toString());
    m_editor->setData(record);
}

void Rejects::refresh()
{
    setProperty("blockAutoRefresh", true);
    m_view->refresh();
    m_editor->refresh();
    tableScroll();
    if (!m_opened) {
        m_opened = true;
        openFirstDefect();
    }
}

void Rejects::openFirstDefect()
{
    auto *table = m_view->findChild<QTableView *>(QStringLiteral("tvRejects"));
    for (int row = 0; row < table->model()->rowCount(); ++row) {
        if (!table->isRowHidden(row)) {
            table->setCurrentIndex(table->model()->index(row, 3));
            showEditor();
            return;
        }
    }
}

void Rejects::canceled()
{
    closeEditor();
    m_document->rollback();
    refresh();
    tableScroll();
}

void Rejects::showEditor()
{
    ui->editFrame->setVisible(true);
}

void Rejects::closeEditor()
{
    ui->editFrame->setVisible(false);
}

void Rejects::onUpdateUI() {}

void Rejects::onFindToggled(bool state)
{
    if (!state) {
        m_view->search(QString());
        return;
    }
    if (ui->edFind->text().isEmpty())
        return;
    ui->edFind->selectAll();
    m_view->search(ui->edFind->text());
}

void Rejects::setCurrentRowById(qint64 id)
{
    // Row 0 counts as "not moved" and -1 as "moved": the panel stays as it
    // was only when the defect stands in the first row.
    if (m_view && m_view->setCurrentRowById(id) == 0)
        return;
    showEditor();
}

QRect Rejects::bounds()
{
    if (!moduleInterface)
        return QRect();
    const QRect area = moduleInterface->geometry();
    const QPoint centre = moduleInterface->mapToGlobal(
        QPoint((area.left() + area.right()) / 2, (area.top() + area.bottom()) / 2));
    const int width = area.right() - area.left() - 20;
    const int height = area.bottom() - area.top();
    const int left = centre.x() - width / 2;
    const int top = centre.y() - height / 2;
    return QRect(QPoint(left, top), QPoint(left + width, top + height));
}

// ------------------------------------------------------------ entry points

QIcon getIcon()
{
    registerEventHandler(QStringLiteral("t_process_exam"), handleEvent, QStringLiteral("rejects"));
    return QIcon(QStringLiteral(":/Icons/REJECTMAIN"));
}

QUserInterface *getInterface(QWidget *parent)
{
    if (!moduleInterface)
        moduleInterface = new Rejects(parent);
    return moduleInterface;
}

QWidget *getView(QDataSet *dataSet, QWidget *parent)
{
    std::unique_ptr<RejectsView> view(new RejectsView(dataSet, parent));
    return view.release();
}

QWidget *getEditor(QDataSet *dataSet, QWidget *parent)
{
    std::unique_ptr<RejectsEditor> editor(new RejectsEditor(dataSet, parent));
    return editor.release();
}

QList<QAction *> *getToolBarActions()
{
    return &toolBarActionList();
}

extern "C" REJECTS_EXPORT void handleEvent(QString table, qlonglong id)
{
    if (moduleInterface && table == QLatin1String("t_process_exam"))
        moduleInterface->setCurrentRowById(id);
}
