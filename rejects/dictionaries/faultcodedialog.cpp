#include "faultcodedialog.h"

#include "faultcodeeditdialog.h"
#include "faulttypedialog.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "ui_faultcodedialog.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalBlocker>

namespace {

const char typeTable[] = "t_fault_type";
const char codeTable[] = "t_fault_code";

} // namespace

FaultCodeDialog::FaultCodeDialog(QDataSet *dataSet, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::FaultCodeDialog)
    , m_dataSet(dataSet)
{
    ui->setupUi(this);

    if (m_dataSet) {
        fillTypes();
        m_codes = m_dataSet->getTable(QLatin1String(codeTable));
    }
    if (m_codes) {
        m_codes->setView(ui->tvCode);
        m_codes->open();
        applyTypeFilter();
    }
    if (QItemSelectionModel *selection = ui->tvCode->selectionModel())
        connect(selection, &QItemSelectionModel::currentChanged, this,
                &FaultCodeDialog::onCodeSelected);

    QSqlConnection *connection = appConnection();
    const bool canEdit = connection && connection->canDo(QStringLiteral("FAIL_CODE_CREATE"));
    ui->btAdd->setVisible(canEdit);
    ui->btEdit->setVisible(canEdit);
    ui->btDelete->setVisible(canEdit);

    onCodeSelected();
}

FaultCodeDialog::~FaultCodeDialog()
{
    // The code table belongs to the data set: leave it unfiltered for others.
    if (m_codes)
        m_codes->clearFilter(QStringLiteral("id_type"));
    delete ui;
}

qint64 FaultCodeDialog::currentData() const
{
    return currentRecord().value(QStringLiteral("id")).toLongLong();
}

QString FaultCodeDialog::currentText() const
{
    return currentRecord().value(QStringLiteral("c_name")).toString();
}

QString FaultCodeDialog::currentDescription() const
{
    return currentRecord().value(QStringLiteral("c_description")).toString();
}

QString FaultCodeDialog::currentFullName() const
{
    const QSqlRecord record = currentRecord();
    if (record.isEmpty())
        return QString();
    return QStringLiteral("%1 (%2)").arg(record.value(QStringLiteral("c_name")).toString(),
                                         record.value(QStringLiteral("c_description")).toString());
}

void FaultCodeDialog::onCodeSelected()
{
    const bool usable = usableRow() >= 0;
    ui->btEdit->setEnabled(usable);
    ui->btDelete->setEnabled(usable);
    ui->buttonBox->button(QDialogButtonBox::Ok)->setEnabled(usable);
}

void FaultCodeDialog::on_cbType_currentIndexChanged(const QString &)
{
    if (!m_codes)
        return;
    applyTypeFilter();
    onCodeSelected();
}

void FaultCodeDialog::on_btAdd_clicked()
{
    if (!m_codes)
        return;
    const qint64 shownType = ui->cbType->currentData().toLongLong();
    FaultCodeEditDialog dialog(this);
    dialog.setType(shownType);
    if (dialog.exec() != QDialog::Accepted)
        return;

    m_codes->newRow();
    const int row = m_codes->lastRow();
    QSqlRecord record = m_codes->getRecord(row);
    dialog.getRecord(record);
    m_codes->setRow(row, record);
    // The insert script gives the code its number (c_name).
    const bool stored = commitChanges();
    // A code added under another type is stored but not listed.
    if (stored && record.value(QStringLiteral("id_type")).toLongLong() == shownType)
        m_codes->setCurrentRow(m_codes->lastRow());
    applyTypeFilter();
    onCodeSelected();
}

void FaultCodeDialog::on_btEdit_clicked()
{
    const int row = usableRow();
    QSqlRecord record = currentRecord();
    if (row < 0 || record.isEmpty())
        return;
    FaultCodeEditDialog dialog(this);
    dialog.setRecord(record);
    if (dialog.exec() != QDialog::Accepted)
        return;
    dialog.getRecord(record);
    m_codes->setRow(row, record);
    commitChanges();
    // A code moved to another type leaves the list.
    applyTypeFilter();
    onCodeSelected();
}

void FaultCodeDialog::on_btDelete_clicked()
{
    const int row = usableRow();
    const QSqlRecord record = currentRecord();
    if (row < 0 || record.isEmpty())
        return;
    const QString text =
        tr("Удалить дефект %1?").arg(record.value(QStringLiteral("c_name")).toString());
    if (QMessageBox::question(this, tr("Удаление"), text, QMessageBox::Ok | QMessageBox::Cancel) !=
        QMessageBox::Ok)
        return;
    m_codes->deleteRow(row);
    commitChanges();
    applyTypeFilter();
    onCodeSelected();
}

void FaultCodeDialog::on_btType_clicked()
{
    const QVariant shownType = ui->cbType->currentData();
    {
        FaultTypeDialog dialog(this);
        dialog.exec();
    }
    // The type editor worked on a table of its own: the data set's copy is
    // stale, and fillTypes reads it again.
    if (m_dataSet)
        fillTypes();
    {
        const QSignalBlocker blocker(ui->cbType);
        ui->cbType->setCurrentIndex(ui->cbType->findData(shownType));
    }
    on_cbType_currentIndexChanged(ui->cbType->currentText());
}

void FaultCodeDialog::on_tvCode_doubleClicked(const QModelIndex &)
{
    if (usableRow() >= 0)
        accept();
}

void FaultCodeDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}

int FaultCodeDialog::usableRow() const
{
    if (!m_codes)
        return -1;
    const QModelIndex index = ui->tvCode->currentIndex();
    if (!index.isValid() || ui->tvCode->isRowHidden(index.row()))
        return -1;
    return index.row();
}

QSqlRecord FaultCodeDialog::currentRecord() const
{
    const int row = usableRow();
    return row < 0 ? QSqlRecord() : m_codes->getRecord(row);
}

void FaultCodeDialog::fillTypes()
{
    QDataTable *types = m_dataSet->getTable(QLatin1String(typeTable));
    if (!types)
        return;
    const QSignalBlocker blocker(ui->cbType);
    // fillComboBox reads the table itself: no open() before it.
    fillComboBox(ui->cbType, types, QStringLiteral("c_name"), QStringLiteral("id"), QString(),
                 QVariant());
}

void FaultCodeDialog::applyTypeFilter()
{
    if (!m_codes)
        return;
    // A box without a selection lists no codes.
    m_codes->setFilter(QStringLiteral("id_type"), ui->cbType->currentData().toString());
}

bool FaultCodeDialog::commitChanges()
{
    if (m_codes->commit())
        return true;
    // Say why, forget the change, so that saving the defect does not send it
    // again, and list what the database holds.
    showRefusal(this, tr("Код дефекта не сохранен"));
    m_codes->clear();
    m_codes->open();
    return false;
}
