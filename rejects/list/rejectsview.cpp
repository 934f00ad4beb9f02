#include "rejectsview.h"

#include "filestorage.h"
#include "infolist.h"
#include "openwithdefaultapp.h"
#include "picsdialog.h"
#include "producttreedialog.h"
#include "qdataset.h"
#include "qdoccreator.h"
#include "qsqlconnection.h"
#include "qxlsxwriter.h"
#include "recordhelpers.h"
#include "rejectdecoration.h"
#include "taskdialog.h"
#include "ui_rejectsview.h"
#include "utils.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDateTime>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontMetrics>
#include <QHeaderView>
#include <QLocale>
#include <QMessageBox>
#include <QSqlQuery>
#include <QStandardItemModel>

namespace {

const QString notAnalysed = QStringLiteral("Не проанализировано");

// The tool-bar actions of the list, shared by the module object.
QList<QAction *> listActions;

} // namespace

RejectsView::RejectsView(QDataSet *dataSet, QWidget *parent)
    : QWidget(parent)
    , m_dataSet(dataSet)
    , ui(new Ui::RejectsView)
{
    ui->setupUi(this);
    ui->pbProduct->setIcon(QIcon(QStringLiteral(":/Icons/PRODMAIN")));

    m_table = m_dataSet ? m_dataSet->getTable(QStringLiteral("t_process_exam")) : nullptr;
    if (m_table) {
        m_decoration.setTable(m_table);
        m_table->setView(ui->tvRejects);
        // Sorting by the values, not by the texts shown (the date column shows
        // the locale's text, the picture column nothing).
        m_table->getModel()->setSortRole(QDataTable::CurrentRole);
        connect(m_table, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)), this,
                SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *)));
        connect(ui->tvRejects->selectionModel(),
                SIGNAL(currentRowChanged(QModelIndex, QModelIndex)), this, SLOT(updateButtons()));
    }

    listActions = {ui->acNew, ui->acTask,  ui->acSave,      separator(this), ui->acDelete,
                   ui->acCut, ui->acMerge, separator(this), ui->acDocument};
    updateButtons();
}

RejectsView::~RejectsView()
{
    if (m_table)
        m_table->setView(nullptr);
    listActions.clear();
    delete ui;
}

QList<QAction *> RejectsView::toolBarActions()
{
    return listActions;
}

QSqlRecord RejectsView::currentRecord() const
{
    // A row the filters hide is no current record: no action touches it.
    const QModelIndex current = ui->tvRejects->currentIndex();
    if (!current.isValid() || ui->tvRejects->isRowHidden(current.row()))
        return QSqlRecord();
    return getCurrentRecord(m_table);
}

void RejectsView::reread(qint64 id)
{
    const int row = m_table->locate(QStringLiteral("id"), id);
    QSqlConnection *connection = appConnection();
    if (row < 0 || !connection)
        return;
    // Its pending change goes, then its values as the database holds them now.
    m_table->resetOriginalData(row, false);
    QSqlQuery query = connection->execScript(
        connection->getScript(QStringLiteral("PROC_EXAM_SELECT")), QSqlRecord());
    if (!query.isActive())
        return;
    infoList columns = m_table->getColumns();
    for (bool more = query.isValid(); more; more = query.next()) {
        if (query.value(QStringLiteral("id")).toLongLong() == id) {
            m_table->setRow(row, connection->convert(query.record(), columns), true);
            return;
        }
    }
    m_table->killRow(row); // removed meanwhile
}

void RejectsView::makeCurrent(int row)
{
    if (row < 0)
        return;
    const QModelIndex index = ui->tvRejects->model()->index(row, 0);
    ui->tvRejects->setCurrentIndex(index);
    ui->tvRejects->scrollTo(index);
}

int RejectsView::setCurrentRowById(qint64 id)
{
    if (!m_table)
        return -1;
    const int row = m_table->locate(QStringLiteral("id"), id);
    makeCurrent(row);
    return row;
}

void RejectsView::search(QString textToFind)
{
    m_searchText = textToFind;
    applyFilters();
}

void RejectsView::refresh()
{
    if (!m_table)
        return;
    m_table->close();
    m_table->open(false, false);
    updateFilters();
    applyFilters();
    updateButtons();
}

void RejectsView::afterCommit()
{
    if (!m_table)
        return;
    const QModelIndex current = ui->tvRejects->currentIndex();
    if (current.isValid()) {
        m_table->forceUpdate(current.row());
        m_table->commit(false);
    }
    applyFilters();
    updateButtons();
}

void RejectsView::fillFilter(QComboBox *box, const QString &field, bool sorted)
{
    QSignalBlocker blocker(box);
    const QString remembered = box->currentText();
    box->clear();
    box->addItem(tr("-= ВСЕ =-"));
    QStringList values = m_table->getValuesList(field);
    if (sorted)
        values.sort(Qt::CaseSensitive);
    box->addItems(values);
    int index = box->findText(remembered, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (index < 0 || (sorted && remembered.isEmpty()))
        index = 0;
    box->setCurrentIndex(index);
}

void RejectsView::updateFilters()
{
    if (!m_table)
        return;
    fillFilter(ui->cbStage, QStringLiteral("c_exam_stage"), false);
    fillFilter(ui->cbStatus, QStringLiteral("c_status"), false);
    fillFilter(ui->cbProduct, QStringLiteral("c_version"), true);
}

void RejectsView::applyFilters()
{
    if (!m_table)
        return;
    // The wanted filters: field -> value; a box on item 0 and the switch off
    // want none.
    QMap<QString, QString> wanted;
    const QList<QPair<QComboBox *, QString>> boxes = {{ui->cbStage, QStringLiteral("c_exam_stage")},
                                                      {ui->cbStatus, QStringLiteral("c_status")},
                                                      {ui->cbProduct, QStringLiteral("c_version")}};
    for (const auto &box : boxes)
        if (box.first->currentIndex() > 0)
            wanted.insert(box.second, box.first->currentText());
    if (ui->chkHideReady->isChecked())
        wanted.insert(QStringLiteral("c_solution"), QString());

    // Each call into the table re-filters every row, so only the filters that
    // change are passed on (one pass for one changed box), with the view kept
    // from repainting until the last one is in place.
    ui->tvRejects->setUpdatesEnabled(false);
    int passes = 0;
    QStringList cleared;
    for (const QString &field : {QStringLiteral("c_exam_stage"), QStringLiteral("c_status"),
                                 QStringLiteral("c_version"), QStringLiteral("c_solution")}) {
        if (!wanted.contains(field) && m_table->hasFilter(field))
            cleared.append(field);
    }
    if (!cleared.isEmpty()) {
        m_table->clearFilter(cleared);
        ++passes;
    }
    for (auto it = wanted.cbegin(); it != wanted.cend(); ++it) {
        if (m_table->hasFilter(it.key()) && m_filters.value(it.key()) == it.value())
            continue;
        m_table->setFilter(it.key(), it.value(), ftEqual);
        ++passes;
    }
    m_filters = wanted;
    if (passes == 0)
        m_table->applyFilters(); // rows hidden by an earlier search may pass again
    applySearch();
    ui->tvRejects->setUpdatesEnabled(true);
    updateButtons();
}

void RejectsView::applySearch()
{
    if (m_searchText.isEmpty())
        return;
    QStandardItemModel *model = m_table->getModel();
    const int description = m_table->getColumns().indexOf(QStringLiteral("c_description"));
    const int serial = m_table->getColumns().indexOf(QStringLiteral("c_serial"));
    auto text = [model](int row, int column) {
        if (column < 0)
            return QString();
        const QStandardItem *item = model->item(row, column);
        return item ? item->data(QDataTable::CurrentRole).toString() : QString();
    };
    const int rows = model->rowCount();
    for (int row = 0; row < rows; ++row) {
        if (ui->tvRejects->isRowHidden(row))
            continue;
        const bool found = text(row, description).contains(m_searchText, Qt::CaseSensitive) ||
                           text(row, serial).contains(m_searchText, Qt::CaseSensitive);
        if (!found)
            ui->tvRejects->setRowHidden(row, true);
    }
}

void RejectsView::updateButtons()
{
    if (!m_table)
        return;
    bool unsaved = false;
    const int rows = m_table->rowCount();
    for (int row = 0; row < rows && !unsaved; ++row)
        unsaved = m_table->getField(QStringLiteral("id"), row).toLongLong() < 1;
    ui->acNew->setEnabled(!unsaved);

    const QSqlRecord record = currentRecord();
    if (record.isEmpty()) {
        ui->acTask->setEnabled(false);
        ui->acDocument->setEnabled(false);
        ui->acDelete->setEnabled(false);
        ui->acCut->setEnabled(false);
        ui->acMerge->setEnabled(false);
        return;
    }
    const qint64 id = record.value(QStringLiteral("id")).toLongLong();
    ui->acTask->setEnabled(id > 0);
    ui->acDocument->setEnabled(id > 0);
    if (id < 1) {
        ui->acDelete->setEnabled(false);
        ui->acCut->setEnabled(false);
        ui->acMerge->setEnabled(false);
        return;
    }
    ui->acDelete->setEnabled(record.value(QStringLiteral("c_status")).toString() == notAnalysed);
    ui->acCut->setEnabled(true);
    ui->acMerge->setEnabled(m_cutId > 0 && m_cutId != id);
}

void RejectsView::on_acDocument_triggered()
{
    const qint64 id = currentRecord().value(QStringLiteral("id")).toLongLong();
    if (id < 1)
        return;
    auto *creator = new QDocCreator(QStringLiteral("t_process_exam"), this);
    creator->setWindowFlag(Qt::Window);
    creator->setAttribute(Qt::WA_DeleteOnClose);
    creator->setWindowTitle(tr("Документы по дефекту %1")
                                .arg(currentRecord().value(QStringLiteral("c_name")).toString()));
    creator->makeDocument(id, false);
    if (creator->templateCount() == 0) {
        delete creator;
        QMessageBox::information(this, tr("Внимание"),
                                 tr("Для дефектов нет ни одного шаблона документа."));
        return;
    }
    creator->show();
}

void RejectsView::onGetDispInfo(int colNum, QVariant *data, QCellData *cData, QSqlRecord *record)
{
    m_decoration.decorate(colNum, data, cData, record, ui->tvRejects->font());
}

void RejectsView::on_acNew_triggered()
{
    if (!m_table)
        return;
    m_table->newRow(true);
    const int last = m_table->lastRow();
    const QVariant id = m_table->getField(QStringLiteral("id"), last);
    setCurrentRowById(id.toLongLong());
    updateButtons();
    emit autoEdit();
}

void RejectsView::on_tvRejects_doubleClicked(QModelIndex index)
{
    if (!m_table || !index.isValid() || index.column() != 1 || !m_dataSet)
        return;
    QDataTable *pics = m_dataSet->getTable(QStringLiteral("t_process_exam_pics"));
    if (!pics)
        return;
    const QSqlRecord record = currentRecord();
    if (record.value(QStringLiteral("n_pics")).toUInt() == 0)
        return;
    pics->close();
    pics->setSelectParam(QStringLiteral("c_table"), QStringLiteral("t_process_exam"));
    pics->setSelectParam(QStringLiteral("n_key"), record.value(QStringLiteral("id")));
    pics->open(false, false);
    PicsDialog dialog(pics, this);
    dialog.setReadOnly(true);
    // A double-clicked picture opens with the desktop's application.
    connect(&dialog, &PicsDialog::extractRow, this, [](QSqlRecord row) {
        getFileFromBase(row.value(QStringLiteral("c_file")).toString(), false, false);
    });
    const QRect geometry = bounds();
    if (!geometry.isNull())
        dialog.setGeometry(geometry);
    dialog.exec();
}

void RejectsView::on_acTask_triggered()
{
    if (!m_table)
        return;
    const QSqlRecord record = currentRecord();
    if (record.isEmpty())
        return;
    TaskDialog dialog(record.value(QStringLiteral("c_name")).toString(), this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    QMessageBox::information(this, tr("Задача"),
                             tr("Задача №%1 успешно создана").arg(dialog.taskId()));
}

void RejectsView::on_acSave_triggered()
{
    if (!m_table)
        return;
    QString fileName = QFileDialog::getSaveFileName(this, tr("Сохранить отчет"), QString(),
                                                    tr("Файл EXCEL (*.xlsx)"));
    if (fileName.isEmpty())
        return;
    if (QFileInfo(fileName).suffix() != QLatin1String("xlsx"))
        fileName += QStringLiteral(".xlsx");
    if (!exportToFile(fileName)) {
        QMessageBox::warning(this, tr("Внимание"),
                             tr("Не удалось сохранить файл %1").arg(fileName));
        return;
    }
    openWithDefaultApp(fileName);
}

bool RejectsView::exportToFile(const QString &fileName)
{
    if (!m_table)
        return false;
    const QFont font = ui->tvRejects->font();
    const double charWidth = qMax(1, QFontMetrics(font).horizontalAdvance(QLatin1Char('Q')));
    QFont bold = font;
    bold.setWeight(QFont::Bold);

    QXlsxWriter xlsx;
    xlsx.write(1, 2, tr("Учет брака"), bold);
    xlsx.write(3, 2, tr("Статус: %1").arg(ui->cbStatus->currentText()), font);
    xlsx.write(5, 2, tr("Этап: %1").arg(ui->cbStage->currentText()), font);
    xlsx.write(7, 2, tr("Изделие: %1").arg(ui->cbProduct->currentText()), font);
    int row = 9;
    if (ui->chkHideReady->isChecked()) {
        xlsx.write(row, 2, tr("Убраны проанализированные"), font);
        row += 2;
    }
    if (!m_searchText.isEmpty()) {
        xlsx.write(row, 2, tr("Поиск по тексту: %1").arg(m_searchText), font);
        row += 2;
    }

    QList<colInfo> exported;
    for (const colInfo &column : m_table->getColumns())
        if (column.visible && column.name != QLatin1String("n_pics"))
            exported.append(column);
    for (int i = 0; i < exported.size(); ++i) {
        xlsx.write(row, i + 1, exported.at(i).header, bold, QXlsxWriter::MediumBorder);
        xlsx.setColumnWidth(i + 1, exported.at(i).width / charWidth);
    }
    ++row;

    const QLocale locale = QLocale::system();
    const int rows = m_table->rowCount();
    for (int r = 0; r < rows; ++r) {
        if (ui->tvRejects->isRowHidden(r))
            continue;
        const QSqlRecord record = m_table->getRecord(r, false);
        for (int i = 0; i < exported.size(); ++i) {
            const QString &name = exported.at(i).name;
            QVariant value = record.value(name);
            if (name == QLatin1String("d_create"))
                value = locale.toString(value.toDateTime(), QLocale::ShortFormat);
            else if (name == QLatin1String("b_reject"))
                value = value.toBool() ? tr("Забракован") : QString();
            xlsx.write(row, i + 1, value, font, QXlsxWriter::ThinBorder);
        }
        ++row;
    }
    return xlsx.saveAs(fileName);
}

void RejectsView::on_acDelete_triggered()
{
    if (!m_table)
        return;
    const QModelIndex current = ui->tvRejects->currentIndex();
    if (current.row() < 0)
        return;
    const QSqlRecord record = currentRecord();
    if (record.isEmpty() || record.value(QStringLiteral("c_status")).toString() != notAnalysed)
        return;
    const auto answer = QMessageBox::question(
        this, tr("Внимание"),
        tr("Удалить дефект %1 &").arg(record.value(QStringLiteral("c_name")).toString()),
        QMessageBox::Yes | QMessageBox::No);
    if (answer != QMessageBox::Yes)
        return;
    const qint64 id = record.value(QStringLiteral("id")).toLongLong();
    m_table->deleteRow(current.row());
    if (!m_table->commit(false)) {
        // Refused (another user has analysed it meanwhile): it must not stay
        // pending, or every later save would send the deletion again.
        showRefusal(this, tr("Дефект не удален"));
        reread(id);
        applyFilters();
        return;
    }
    emit autoEdit();
}

void RejectsView::on_acCut_triggered()
{
    if (!m_table)
        return;
    const QSqlRecord record = currentRecord();
    if (record.isEmpty())
        return;
    m_cutId = record.value(QStringLiteral("id")).toLongLong();
}

void RejectsView::on_acMerge_triggered()
{
    if (!m_table || m_cutId <= 0)
        return;
    if (m_table->locate(QStringLiteral("id"), m_cutId) < 0)
        return;
    const QSqlRecord record = currentRecord();
    if (record.isEmpty())
        return;
    QSqlConnection *connection = appConnection();
    if (!connection)
        return;
    const qint64 target = record.value(QStringLiteral("id")).toLongLong();
    const QSqlQuery merged = connection->execScript(
        connection->getScript(QStringLiteral("PROC_EXAM_MERGE")), QList<QVariant>{target, m_cutId});
    // The cut defect is kept until a merge succeeds.
    if (merged.isActive()) {
        ui->acMerge->setEnabled(false);
        m_cutId = -1;
    } else {
        showRefusal(this, tr("Дефекты не объединены"));
    }
    refresh();
    setCurrentRowById(target);
}

void RejectsView::on_pbProduct_clicked()
{
    if (!m_table)
        return;
    ProductTreeDialog dialog(this, ProductTreeDialog::Mode(0));
    const QRect geometry = bounds();
    if (!geometry.isNull())
        dialog.setGeometry(geometry);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const int index = ui->cbProduct->findText(dialog.getCurrentVersionName(),
                                              Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (index > 0)
        ui->cbProduct->setCurrentIndex(index);
}
