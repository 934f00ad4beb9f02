#include "rejectseditor.h"

#include "comentdialog.h"
#include "faultcodedialog.h"
#include "filestorage.h"
#include "linksync.h"
#include "picturestore.h"
#include "plandialog.h"
#include "qbubbletip.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "rejects.h"
#include "tabitemseditor.h"
#include "ui_comentdialog.h"
#include "ui_rejectseditor.h"
// The picture dialog belongs to the pictures part of the module; the editor
// offers it when that part is built in.
#if __has_include("picsdialog.h")
#include "picsdialog.h"
#define REJECTS_WITH_PICS_DIALOG
#endif

#include <QApplication>
#include <QDateTime>
#include <QLocale>
#include <QMessageBox>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardItemModel>
#include <QTableView>

namespace {

const QString checkLine = QStringLiteral(
    "<p style=\" font-size:12pt; margin-top:0px; margin-bottom:0px; margin-left:0px; "
    "margin-right:0px; -qt-block-indent:0; text-indent:0px\"><span "
    "style=\" color:#ff0000;\"><b>\t-%1</b></span> - %2</p>");

} // namespace

RejectsEditor::RejectsEditor(QDataSet *dataSet, QWidget *parent)
    : QWidget(parent)
    , ui(new Ui::RejectsEditor)
    , m_dataSet(dataSet)
{
    ui->setupUi(this);
    connect(ui->cbStage, SIGNAL(currentIndexChanged(int)), this, SLOT(onChanged()));
    connect(ui->edFaultCode, SIGNAL(textChanged(QString)), this, SLOT(onChanged()));
    connect(ui->edPlan, SIGNAL(textChanged(QString)), this, SLOT(onChanged()));
    connect(ui->teDescr, SIGNAL(textChanged()), this, SLOT(onChanged()));
    connect(ui->teSolution, SIGNAL(textChanged()), this, SLOT(onChanged()));

    QSqlConnection *connection = appConnection();
    m_decisionRight = (connection && connection->canDo(QStringLiteral("REJECT_SOLUTION"))) ||
                      qApp->property("bBigDaddy").toBool();
    ui->btDecide->setVisible(m_decisionRight);
    ui->buttonRevert->setVisible(m_decisionRight);
    // The solution is the decision: only those who may decide write it.
    ui->teSolution->setReadOnly(!m_decisionRight);

    auto table = [this](const char *name) {
        return m_dataSet ? m_dataSet->getTable(QLatin1String(name)) : nullptr;
    };
    m_discussion = table("t_process_exam_disc");
    m_reasons = table("t_reasons");
    m_executors = table("t_executor");
    m_notification = table("t_notification");
    m_rejectNotification = table("t_reject_notification");
    m_customerAppeal = table("t_customer_appeal");

    if (m_discussion) {
        m_discussion->setView(ui->tvComent);
        connect(m_discussion, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)),
                this, SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *)));
        connect(ui->tvComent->selectionModel(), SIGNAL(currentChanged(QModelIndex, QModelIndex)),
                this, SLOT(onComentSelect()));
    }
    const QList<QPair<QDataTable *, QTableView *>> linkViews = {
        {m_reasons, ui->tvReasons},
        {m_executors, ui->tvExecutor},
        {m_notification, ui->tvNotification}};
    for (const auto &link : linkViews) {
        if (!link.first)
            continue;
        link.first->setView(link.second);
        connect(link.first, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)),
                this, SLOT(onGetDispInfoLink(int, QVariant *, QCellData *, QSqlRecord *)));
    }
    if (m_customerAppeal) {
        m_customerAppeal->setView(ui->tvCustomerAppeal);
        connect(ui->tvCustomerAppeal->selectionModel(),
                SIGNAL(currentRowChanged(QModelIndex, QModelIndex)), this,
                SLOT(onCustomerAppealSelect()));
    }
    for (QTableView *view : {ui->tvReasons, ui->tvExecutor, ui->tvNotification})
        connect(view, SIGNAL(clicked(const QModelIndex &)), this, SLOT(onClicked(QModelIndex)));

    m_items = new TabItemsEditor(this);
    m_items->setRecord(&m_record);
    ui->planLayout->addWidget(m_items);
    connect(m_items, SIGNAL(dataChanged()), this, SLOT(onChanged()));
#ifndef REJECTS_WITH_PICS_DIALOG
    ui->btPics->setEnabled(false);
#endif
}

RejectsEditor::~RejectsEditor()
{
    for (QDataTable *table :
         {m_discussion, m_reasons, m_executors, m_notification, m_customerAppeal})
        if (table)
            table->setView(nullptr);
    delete ui;
}

int RejectsEditor::currentTab() const
{
    return ui->tabWidget->currentIndex();
}

qint64 RejectsEditor::defectId() const
{
    return m_record.value(QStringLiteral("id")).toLongLong();
}

QDataTable *RejectsEditor::table(const QString &name) const
{
    return m_dataSet ? m_dataSet->getTable(name) : nullptr;
}

void RejectsEditor::refresh()
{
    if (QDataTable *codes = table(QStringLiteral("t_fault_code"))) {
        codes->close();
        codes->open();
    }
}

// ------------------------------------------------------------------ loading

void RejectsEditor::setData(QSqlRecord record)
{
    m_loading = true;
    m_record = record;
    fillStages();
    showFaultCode();
    ui->cbStage->setCurrentIndex(
        ui->cbStage->findData(record.value(QStringLiteral("c_exam_stage_sys_name"))));
    reselectDetails();
    ui->teSolution->setPlainText(record.value(QStringLiteral("c_solution")).toString());
    ui->teDescr->setPlainText(record.value(QStringLiteral("c_description")).toString());
    ui->labelCreator->setText(tr("Создал: ") +
                              record.value(QStringLiteral("c_creator")).toString());
    ui->edPlan->setText(record.value(QStringLiteral("c_plan_order")).toString());
    onComentSelect();
    onCustomerAppealSelect();
    updateDecisionButtons();
    m_items->refresh();
    m_loading = false;
}

void RejectsEditor::fillStages()
{
    QDataTable *stages = table(QStringLiteral("t_process_exam_stage"));
    if (!stages)
        return;
    if (!stages->isOpen())
        stages->open();
    if (ui->cbStage->count() == stages->rowCount())
        return; // the stages are read once; the list is already made
    ui->cbStage->clear();
    for (int row = 0; row < stages->rowCount(); ++row)
        ui->cbStage->addItem(stages->getField(QStringLiteral("c_name"), row).toString(),
                             stages->getField(QStringLiteral("c_sys_name"), row));
}

void RejectsEditor::showFaultCode()
{
    const QVariant id = m_record.value(QStringLiteral("id_fault"));
    QString text;
    QDataTable *codes = table(QStringLiteral("t_fault_code"));
    if (codes && !id.isNull()) {
        if (!codes->isOpen())
            codes->open();
        const int row = codes->locate(QStringLiteral("id"), id);
        if (row >= 0)
            text = QStringLiteral("%1 (%2)").arg(
                codes->getField(QStringLiteral("c_name"), row).toString(),
                codes->getField(QStringLiteral("c_description"), row).toString());
    }
    ui->edFaultCode->setText(text);
    // A code no longer listed stays the defect's code until another is chosen.
    ui->edFaultCode->setProperty("id_fault", id);
}

void RejectsEditor::reselect(QDataTable *table, const QStringList &names,
                             const QVariantList &values)
{
    if (!table)
        return;
    table->close();
    for (int i = 0; i < names.size(); ++i)
        table->setSelectParam(names.at(i), values.at(i));
    table->open();
}

void RejectsEditor::reselectDetails()
{
    const QVariant id = m_record.value(QStringLiteral("id"));
    const QString idName = QStringLiteral("id_process_exam");
    for (QDataTable *details : {m_discussion, m_notification, m_rejectNotification,
                                table(QStringLiteral("t_quality_control_works_reject")),
                                table(QStringLiteral("t_process_work_reject"))})
        reselect(details, {idName}, {id});
    reselect(m_reasons, {idName, QStringLiteral("id_fault_code")},
             {id, m_record.value(QStringLiteral("id_fault"))});
    reselect(m_executors, {idName, QStringLiteral("id_plan")},
             {id, m_record.value(QStringLiteral("id_plan_order"))});
    reselect(m_customerAppeal, {idName, QStringLiteral("id_version"), QStringLiteral("c_serial")},
             {id, m_record.value(QStringLiteral("id_product_version")),
              m_record.value(QStringLiteral("c_serial"))});
}

void RejectsEditor::updateDecisionButtons()
{
    const bool decided = !ui->teSolution->toPlainText().isEmpty();
    ui->btDecide->setEnabled(!decided);
    ui->buttonRevert->setEnabled(decided);
}

// ------------------------------------------------------------------- saving

bool RejectsEditor::checkData()
{
    m_error.clear();
    if (ui->cbStage->currentIndex() < 0)
        m_error += checkLine.arg(tr("Этап отбора"), tr("не указан"));
    return m_error.isEmpty();
}

void RejectsEditor::getData()
{
    QDataTable *defects = table(QStringLiteral("t_process_exam"));
    QSqlConnection *connection = appConnection();
    const int row =
        defects ? defects->locate(QStringLiteral("id"), m_record.value(QStringLiteral("id"))) : -1;
    if (row < 0 || !connection)
        return;
    if (!checkData()) {
        QBubbleTip::warning(tr("Ошибки:"), m_error, mapToGlobal(QPoint(10, 10)));
        emit dataChanged(); // still unsaved
        return;
    }

    m_record.setValue(QStringLiteral("c_exam_stage_sys_name"), ui->cbStage->currentData());
    m_record.setValue(QStringLiteral("c_description"), ui->teDescr->toPlainText());
    m_record.setValue(QStringLiteral("c_solution"), ui->teSolution->toPlainText());
    m_record.setValue(QStringLiteral("id_fault"), ui->edFaultCode->property("id_fault"));
    defects->setRow(row, m_record, false);

    const qint64 id = defectId();
    syncLinks(m_notification, m_rejectNotification, QStringLiteral("id_user"), id);
    if (!PictureStore(connection).storeNew(table(QStringLiteral("t_process_exam_pics")))) {
        emit dataChanged(); // the store said why; nothing was saved
        return;
    }
    syncLinks(m_reasons, table(QStringLiteral("t_quality_control_works_reject")),
              QStringLiteral("id_quality_control_works"), id);
    syncLinks(m_executors, table(QStringLiteral("t_process_work_reject")),
              QStringLiteral("id_process_work"), id);

    if (!m_dataSet->commit(connection)) {
        // Everything stays pending and on screen; Apply can be pressed again.
        QMessageBox::warning(this, tr("Внимание"),
                             tr("Дефект %1 не сохранен.\n%2")
                                 .arg(m_record.value(QStringLiteral("c_name")).toString(),
                                      connection->lastErrorText()));
        emit dataChanged();
        return;
    }
    emit commitData();
}

// -------------------------------------------------------------- discussion

void RejectsEditor::addComment(const QString &text)
{
    if (!m_discussion)
        return;
    const int row =
        m_discussion->append({QStringLiteral("id_process_exam"), QStringLiteral("c_text"),
                              QStringLiteral("c_author"), QStringLiteral("d_create")},
                             {m_record.value(QStringLiteral("id")), text,
                              qApp->property("LogedIn").toString(), QDateTime::currentDateTime()});
    ui->tvComent->setCurrentIndex(m_discussion->getModel()->index(row, 1));
    onComentSelect();
}

void RejectsEditor::on_btAddComent_clicked()
{
    ComentDialog dialog(this);
    dialog.setTaskId(defectId(), m_record.value(QStringLiteral("c_name")).toString());
    if (dialog.exec() != QDialog::Accepted)
        return;
    addComment(dialog.ui->teComent->toPlainText());
    emit dataChanged();
}

void RejectsEditor::on_btDecide_clicked()
{
    ComentDialog dialog(this);
    dialog.setTaskId(defectId(), m_record.value(QStringLiteral("c_name")).toString());
    dialog.setWindowTitle(tr("Решение"));
    dialog.ui->lbCaption->setText(tr("Закрыть дефект"));
    dialog.ui->chkCorrection->setVisible(true);
    dialog.ui->cbReject->setVisible(true);
    if (dialog.exec() != QDialog::Accepted)
        return;
    if (QMessageBox::question(this, tr("Закрыть обсуждение"),
                              tr("Желаете закрыть обсуждение дефекта и принять решение?"),
                              QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes)
        return;
    const QString text = dialog.ui->teComent->toPlainText();
    addComment(tr("Обсуждение закрыто. Принято решение:") + text);
    m_record.setValue(QStringLiteral("b_reaction"), !dialog.ui->chkCorrection->isChecked());
    m_record.setValue(QStringLiteral("b_reject"), dialog.ui->cbReject->isChecked());
    ui->teSolution->setPlainText(text);
    updateDecisionButtons();
    emit dataChanged();
}

void RejectsEditor::on_buttonRevert_clicked()
{
    m_record.setValue(QStringLiteral("b_reject"), false);
    m_record.setValue(QStringLiteral("c_solution"), QString());
    ui->teSolution->clear();
    updateDecisionButtons();
    emit dataChanged();
}

void RejectsEditor::onComentSelect()
{
    ui->tbComent->clear();
    if (!m_discussion)
        return;
    const QSqlRecord record = m_discussion->getViewCurrentRecord();
    if (!record.isEmpty())
        ui->tbComent->setPlainText(record.value(QStringLiteral("c_text")).toString());
}

void RejectsEditor::onGetDispInfo(int column, QVariant *value, QCellData *, QSqlRecord *record)
{
    if (column == 1 && record)
        *value = QLocale::system().toString(record->value(QStringLiteral("d_create")).toDateTime(),
                                            QLocale::ShortFormat);
}

// ------------------------------------------------- reasons, executors, users

void RejectsEditor::onGetDispInfoLink(int column, QVariant *value, QCellData *cell,
                                      QSqlRecord *record)
{
    if (!record)
        return;
    if (!record->value(QStringLiteral("d_end")).isNull() && cell)
        cell->background = QBrush(Qt::blue);
    if (column == 0) {
        if (cell && value->toBool())
            cell->icon = QIcon(QStringLiteral(":/commonIcon/CHECK"));
        *value = QString();
    }
}

void RejectsEditor::onClicked(QModelIndex index)
{
    if (index.column() != 0)
        return;
    QDataTable *links = nullptr;
    if (sender() == ui->tvReasons)
        links = m_reasons;
    else if (sender() == ui->tvExecutor)
        links = m_executors;
    else if (sender() == ui->tvNotification)
        links = m_notification;
    if (!links)
        return;
    const int row = index.row();
    QSqlRecord record = links->getRecord(row);
    if (record.isEmpty() || !record.value(QStringLiteral("d_end")).isNull())
        return; // closed works are neither linked nor unlinked
    record.setValue(QStringLiteral("v"), !record.value(QStringLiteral("v")).toBool());
    links->setRow(row, record);
    emit dataChanged();
}

// ----------------------------------------------------- code, plan, pictures

void RejectsEditor::on_toolButton_clicked()
{
    FaultCodeDialog dialog(m_dataSet, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    ui->edFaultCode->setText(dialog.currentFullName());
    ui->edFaultCode->setProperty("id_fault", dialog.currentData());
    emit dataChanged();
}

void RejectsEditor::on_btPlan_clicked()
{
    PlanDialog dialog(m_dataSet, this);
    dialog.setData(m_record);
    if (dialog.exec() != QDialog::Accepted)
        return;
    m_record.setValue(QStringLiteral("id_plan_order"), dialog.plan());
    ui->edPlan->setText(dialog.planName());
    if (dialog.serial() > 0)
        m_record.setValue(QStringLiteral("id_production_group_content"), dialog.serial());
    emit dataChanged();
}

void RejectsEditor::on_btPics_clicked()
{
#ifdef REJECTS_WITH_PICS_DIALOG
    QDataTable *pictures = table(QStringLiteral("t_process_exam_pics"));
    if (!pictures)
        return;
    reselect(pictures, {QStringLiteral("c_table"), QStringLiteral("n_key")},
             {QStringLiteral("t_process_exam"), m_record.value(QStringLiteral("id"))});
    PicsDialog dialog(pictures, this);
    dialog.setGeometry(Rejects::bounds());
    connect(&dialog, SIGNAL(fillTableRow(QSqlRecord *, QByteArray *, QString)), this,
            SLOT(fillPicRow(QSqlRecord *, QByteArray *, QString)));
    connect(&dialog, SIGNAL(extractRow(QSqlRecord)), this, SLOT(extractPicRow(QSqlRecord)));
    if (dialog.exec() != QDialog::Accepted) {
        pictures->rollback();
        return;
    }
    emit dataChanged();
#endif
}

void RejectsEditor::fillPicRow(QSqlRecord *record, QByteArray *data, QString fName)
{
    if (!record || !data)
        return;
    PictureStore::fillRow(record, *data, fName, m_record.value(QStringLiteral("id")));
}

void RejectsEditor::extractPicRow(QSqlRecord record)
{
    if (record.isEmpty())
        return;
    // A picture added but not saved yet opens from its own bytes.
    const QString name = record.value(QStringLiteral("c_file")).toString();
    const QByteArray pending = record.value(QStringLiteral("bl_file")).toByteArray();
    if (!pending.isEmpty())
        getFileFromContent(name, pending, false);
    else
        PictureStore(appConnection()).open(name);
}

// ---------------------------------------------------------- customer appeals

void RejectsEditor::onCustomerAppealSelect()
{
    ui->textEditCustomerAppeal->clear();
    const QSqlRecord appeal =
        m_customerAppeal ? m_customerAppeal->getViewCurrentRecord() : QSqlRecord();
    if (appeal.isEmpty())
        return;
    QDataTable *files = table(QStringLiteral("t_file_customer_appeal"));
    reselect(files, {QStringLiteral("c_table"), QStringLiteral("n_key")},
             {QStringLiteral("t_customer_appeal"), appeal.value(QStringLiteral("id"))});
    PictureStore(appConnection())
        .showAppeal(ui->textEditCustomerAppeal, appeal.value(QStringLiteral("c_text")).toString(),
                    files, this);
}

void RejectsEditor::onChanged()
{
    if (!m_loading)
        emit dataChanged();
}
