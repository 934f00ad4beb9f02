#include "qdataeditor.h"

#include "ui_qdataeditor.h"

#include <QDialog>
#include <QEvent>
#include <QPushButton>

QDataEditor::QDataEditor(QWidget *parent)
    : QWidget(parent)
    , ui(new Ui::QDataEditorClass)
{
    ui->setupUi(this);
    QPushButton *okButton = ui->bButtons->button(QDialogButtonBox::Ok);
    QPushButton *cancelButton = ui->bButtons->button(QDialogButtonBox::Cancel);
    okButton->setText(tr("Применить"));
    cancelButton->setText(tr("Отмена"));
    for (QPushButton *button : {okButton, cancelButton}) {
        button->setDefault(false);
        button->setAutoDefault(false);
    }
    connect(ui->bButtons, SIGNAL(accepted()), this, SLOT(OnOK()));
    connect(ui->bButtons, SIGNAL(rejected()), this, SLOT(OnCancel()));
    // A double click on the caption takes the frame out of the main window.
    ui->lbCaption->installEventFilter(this);
}

bool QDataEditor::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == ui->lbCaption && event->type() == QEvent::MouseButtonDblClick) {
        onDblClick();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

QDataEditor::~QDataEditor()
{
    delete ui;
}

void QDataEditor::initEditor(QWidget *editor)
{
    hostedEditor = editor;
    if (!editor)
        return;
    ui->editorLayout->addWidget(editor);
    ui->lbCaption->setText(editor->windowTitle());
}

void QDataEditor::initModal(const QDialog *dialog, QWidget *editor)
{
    initEditor(editor);
    if (!dialog)
        return;
    connect(ui->bButtons, SIGNAL(accepted()), dialog, SLOT(accept()));
    connect(ui->bButtons, SIGNAL(rejected()), dialog, SLOT(reject()));
}

void QDataEditor::OnChange()
{
    ui->bButtons->button(QDialogButtonBox::Ok)->setEnabled(true);
}

void QDataEditor::onReset()
{
    ui->bButtons->button(QDialogButtonBox::Ok)->setEnabled(false);
}

void QDataEditor::OnOK()
{
    onReset();
    emit ok();
}

void QDataEditor::OnCancel()
{
    onReset();
    emit cancel();
}

void QDataEditor::onDblClick()
{
    emit popup(this);
}
