#include "faulttypedialog.h"

#include "qdatatable.h"
#include "qinputdialogex.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "ui_faulttypedialog.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMessageBox>

FaultTypeDialog::FaultTypeDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::FaultTypeDialog)
{
    ui->setupUi(this);

    QSqlConnection *connection = appConnection();

    m_types = new QDataTable(QStringLiteral("t_fault_type"), connection, this);
    m_types->setScripts(QStringLiteral("FAULT_TYPE_SELECT"), QStringLiteral("FAULT_TYPE_UPDATE"),
                        QStringLiteral("FAULT_TYPE_INSERT"), QStringLiteral("FAULT_TYPE_DELETE"),
                        false);
    // The key travels with every row: the update and delete scripts find the
    // type by it, and new rows carry temporary keys until they are stored.
    m_types->addColumn(QStringLiteral("id"), QVariant::LongLong, false, QString(), -1, 100);
    m_types->addColumn(QStringLiteral("c_name"), QVariant::String, true, tr("Тип"), 0, 500);
    m_types->addColumn(QStringLiteral("c_sys_name"), QVariant::String, false, QString(), 0, 100);
    m_types->addColumn(QStringLiteral("c_prefix"), QVariant::String, false, QString(), 0, 100);
    m_types->addColumn(QStringLiteral("n_version"), QVariant::Int, false, QString(), 0, 100);
    m_types->setView(ui->tvType);
    m_types->open();

    connect(ui->tvType->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &FaultTypeDialog::updateButtons);

    const bool canEdit = connection && connection->canDo(QStringLiteral("FAIL_CODE_CREATE"));
    ui->btAdd->setVisible(canEdit);
    ui->btEdit->setVisible(canEdit);
    ui->btDelete->setVisible(canEdit);
    updateButtons();
}

FaultTypeDialog::~FaultTypeDialog()
{
    delete ui;
}

void FaultTypeDialog::updateButtons()
{
    const bool current = ui->tvType->currentIndex().isValid();
    ui->btEdit->setEnabled(current);
    ui->btDelete->setEnabled(current);
}

void FaultTypeDialog::on_btAdd_clicked()
{
    const QString title = tr("Новый тип дефекта");
    const QString labels[] = {
        tr("Наименование"),
        tr("Уникальное системное название счетчика (например: MECH_CASE)"),
        tr("Префикс счетчика (например: MHCS-)"),
    };
    QStringList answers;
    for (const QString &label : labels) {
        bool ok = false;
        const QString answer = QInputDialogEx::getString(this, title, label, QString(), &ok);
        // A cancelled or empty answer drops the whole addition without a word.
        if (!ok || answer.isEmpty())
            return;
        answers << answer;
    }

    m_types->newRow();
    const int row = m_types->lastRow();
    QSqlRecord record = m_types->getRecord(row);
    record.setValue(QStringLiteral("c_name"), answers.at(0));
    record.setValue(QStringLiteral("c_sys_name"), answers.at(1));
    record.setValue(QStringLiteral("c_prefix"), answers.at(2));
    m_types->setRow(row, record);
    if (commitChanges())
        m_types->setCurrentRow(m_types->lastRow());
    updateButtons();
}

void FaultTypeDialog::on_btEdit_clicked()
{
    const int row = ui->tvType->currentIndex().row();
    QSqlRecord record = m_types->getRecord(row);
    if (row < 0 || record.isEmpty())
        return;

    const QString stored = record.value(QStringLiteral("c_name")).toString();
    bool ok = false;
    const QString name =
        QInputDialogEx::getString(this, tr("Тип дефекта"), tr("Наименование"), stored, &ok);
    if (!ok || name.isEmpty() || name == stored)
        return;
    record.setValue(QStringLiteral("c_name"), name);
    m_types->setRow(row, record);
    if (commitChanges())
        m_types->setCurrentRow(row);
    updateButtons();
}

void FaultTypeDialog::on_btDelete_clicked()
{
    const int row = ui->tvType->currentIndex().row();
    const QSqlRecord record = m_types->getRecord(row);
    if (row < 0 || record.isEmpty())
        return;

    const QString text =
        tr("Удалить тип дефекта %1?").arg(record.value(QStringLiteral("c_name")).toString());
    if (QMessageBox::question(this, tr("Удаление типа"), text,
                              QMessageBox::Ok | QMessageBox::Cancel) != QMessageBox::Ok)
        return;
    m_types->deleteRow(row);
    commitChanges();
    updateButtons();
}

bool FaultTypeDialog::commitChanges()
{
    if (m_types->commit())
        return true;
    // Say why, forget the change so that it is not sent again with the next
    // one, and show what the database holds.
    showRefusal(this, tr("Тип дефекта не сохранен"));
    m_types->clear();
    m_types->open();
    return false;
}

void FaultTypeDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
