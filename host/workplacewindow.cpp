#include "workplacewindow.h"

#include "helpviewer.h"
#include "quserinterface.h"
#include "ui_workplacewindow.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>

WorkplaceWindow::WorkplaceWindow(QWidget *parent)
    : QMainWindow(parent)
    , ui(new Ui::WorkplaceWindow)
{
    ui->setupUi(this);
    m_user = new QLabel(this);
    m_user->setObjectName(QStringLiteral("lbUser"));
    ui->statusBar->addPermanentWidget(m_user);
}

WorkplaceWindow::~WorkplaceWindow()
{
    delete ui;
}

QWidget *WorkplaceWindow::moduleArea() const
{
    return ui->tabModules;
}

void WorkplaceWindow::addModule(const ModuleLoader::Module &module)
{
    const QString caption =
        module.panel.caption.isEmpty() ? module.panel.name : module.panel.caption;
    QWidget *page = module.userInterface;
    if (!page) {
        auto *label =
            new QLabel(tr("Модуль «%1» не предоставил пользовательский интерфейс.").arg(caption),
                       ui->tabModules);
        label->setAlignment(Qt::AlignCenter);
        page = label;
    }
    // The module reads its data when it is shown.
    if (auto *frame = qobject_cast<QUserInterface *>(module.userInterface))
        frame->refresh();
    m_actions << module.toolBarActions;
    ui->tabModules->addTab(page, module.icon, caption);
    on_tabModules_currentChanged(ui->tabModules->currentIndex());
}

int WorkplaceWindow::moduleCount() const
{
    return ui->tabModules->count();
}

void WorkplaceWindow::setUser(const QString &displayName)
{
    m_user->setText(tr("Пользователь: ") + displayName);
}

void WorkplaceWindow::showStatus(const QString &text)
{
    m_messages << text;
    ui->statusBar->showMessage(m_messages.join(QStringLiteral("; ")));
}

void WorkplaceWindow::on_acExit_triggered()
{
    close();
}

void WorkplaceWindow::on_acAbout_triggered()
{
    QMessageBox::about(this, tr("О программе"),
                       tr("<b>Учет брака</b><br>Интерфейс анализа дефектов<br><br>Qt %1")
                           .arg(QString::fromLatin1(qVersion())));
}

void WorkplaceWindow::on_tabModules_currentChanged(int index)
{
    ui->toolBar->clear();
    if (index >= 0 && index < m_actions.size())
        ui->toolBar->addActions(m_actions.at(index));
    ui->toolBar->setVisible(!ui->toolBar->actions().isEmpty());
}

void WorkplaceWindow::on_acHelp_triggered()
{
    auto *module = qobject_cast<QUserInterface *>(ui->tabModules->currentWidget());
    if (!m_help)
        m_help = new HelpViewer(this);
    m_help->showContext(module ? module->helpContext() : QStringLiteral("rejects"));
}
