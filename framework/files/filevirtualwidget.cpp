#include "filevirtualwidget.h"

#include "fileclipboard.h"
#include "fileeditdialog.h"
#include "fileexistdialog.h"
#include "filestorage.h"
#include "photodialog.h"
#include "previewimagedialog.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qinputdialogex.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "scriptbridge.h"
#include "ui_filewidget.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QMessageBox>
#include <QMimeData>
#include <QSqlField>
#include <QSqlQuery>

namespace {

struct AttachmentColumn
{
    const char *name;
    QVariant::Type type;
    bool visible;
    const char *header;
    int width;
};

// The attachment table's columns, in view order.
const AttachmentColumn attachmentColumns[] = {
    {"c_comment", QVariant::String, true, QT_TRANSLATE_NOOP("FileVirtualWidget", "Описание"), 500},
    {"c_file", QVariant::String, true, QT_TRANSLATE_NOOP("FileVirtualWidget", "Файл"), 300},
    {"n_size", QVariant::LongLong, true, QT_TRANSLATE_NOOP("FileVirtualWidget", "Размер(кБ)"), 120},
    {"id_creator", QVariant::LongLong, true, QT_TRANSLATE_NOOP("FileVirtualWidget", "Подпись"),
     150},
    {"id", QVariant::LongLong, false, "", 100},
    {"n_crc", QVariant::LongLong, false, "", 100},
    {"c_table", QVariant::String, false, "", 0},
    {"n_key", QVariant::LongLong, false, "", 0},
    {"c_creator", QVariant::String, false, "", 0},
    {"bl_file", QVariant::ByteArray, false, "", 0},
};

} // namespace

FileVirtualWidget::FileVirtualWidget(QString ownerTable, QWidget *parent)
    : QWidget(parent)
    , ui(new Ui_FileWidget)
    , m_ownerTable(ownerTable)
{
    ui->setupUi(this);
    ui->buttonEditFile->setIcon(QIcon(QStringLiteral(":/commonIcon/EDIT")));
    ui->buttonDelFile->setIcon(QIcon(QStringLiteral(":/commonIcon/DELETE")));
    connect(ui->buttonPhoto, &QToolButton::clicked, this, &FileVirtualWidget::photo);
    connect(ui->buttonAddFile, &QToolButton::clicked, this, &FileVirtualWidget::addFile);
    connect(ui->buttonClipboard, &QToolButton::clicked, this,
            &FileVirtualWidget::addImageClipboard);
    connect(ui->buttonEditFile, &QToolButton::clicked, this, &FileVirtualWidget::editFile);
    connect(ui->buttonDelFile, &QToolButton::clicked, this, &FileVirtualWidget::delFile);
    connect(ui->buttonToClipboard, &QToolButton::clicked, this,
            &FileVirtualWidget::addImageToClipboard);
    connect(ui->buttonLoadAll, &QToolButton::clicked, this, &FileVirtualWidget::loadFileAll);
    connect(ui->buttonLoad, &QToolButton::clicked, this, &FileVirtualWidget::loadFile);
    connect(ui->buttonOpen, &QToolButton::clicked, this, &FileVirtualWidget::openFile);
    connect(ui->tvFile, &QTableView::doubleClicked, this, &FileVirtualWidget::openFile);
    if (QSqlConnection *connection = appConnection()) {
        QSqlQuery query = connection->execScript(
            QStringLiteral("SELECT c_value FROM sys.t_sys_attr WHERE c_attr = 'FilePath';"),
            QList<QVariant>());
        if (query.isActive() && query.isValid())
            m_filePath = query.value(0).toString();
    }
    updateButtons();
}

FileVirtualWidget::~FileVirtualWidget()
{
    if (m_table && m_table->getView() == ui->tvFile)
        m_table->setView(nullptr);
    delete ui;
}

void FileVirtualWidget::addAttachmentColumns(QDataTable *table)
{
    if (!table)
        return;
    for (const AttachmentColumn &column : attachmentColumns)
        table->addColumn(QLatin1String(column.name), column.type, column.visible, tr(column.header),
                         0, column.width);
}

void FileVirtualWidget::bindTable(QDataTable *table)
{
    if (m_table) {
        disconnect(m_table, nullptr, this, nullptr);
        if (m_table->getView() == ui->tvFile)
            m_table->setView(nullptr);
    }
    m_table = table;
    if (m_table) {
        m_table->setView(ui->tvFile);
        connect(m_table, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)), this,
                SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)));
    }
    if (ui->tvFile->selectionModel())
        connect(ui->tvFile->selectionModel(), &QItemSelectionModel::selectionChanged, this,
                &FileVirtualWidget::updateButtons, Qt::UniqueConnection);
    setData(0);
}

void FileVirtualWidget::setData(qint64 key)
{
    m_key = key;
    refresh();
}

void FileVirtualWidget::setData(QString ownerTable, qint64 key)
{
    m_ownerTable = ownerTable;
    setData(key);
}

void FileVirtualWidget::refresh()
{
    if (m_table) {
        m_table->close();
        m_table->setSelectParam(QStringLiteral("c_table"), m_ownerTable);
        m_table->setSelectParam(QStringLiteral("n_key"), m_key);
        m_table->open();
    }
    updateButtons();
}

void FileVirtualWidget::setReadOnly(bool readOnly)
{
    m_readOnly = readOnly;
    updateButtons();
}

void FileVirtualWidget::updateButtons()
{
    const bool canAdd = !m_readOnly && m_key != 0 && m_table && !m_ownerTable.isEmpty();
    ui->buttonPhoto->setEnabled(canAdd);
    ui->buttonAddFile->setEnabled(canAdd);
    ui->buttonClipboard->setEnabled(canAdd);
    QItemSelectionModel *selection = ui->tvFile->selectionModel();
    const int selected = m_table && selection ? selection->selectedRows().count() : 0;
    ui->buttonEditFile->setEnabled(!m_readOnly && selected == 1);
    ui->buttonDelFile->setEnabled(!m_readOnly && selected == 1);
    ui->buttonLoad->setEnabled(selected == 1);
    ui->buttonOpen->setEnabled(selected == 1);
    ui->buttonToClipboard->setEnabled(selected >= 1);
    ui->buttonLoadAll->setEnabled(m_table && m_table->rowCount() > 0);
}

void FileVirtualWidget::onGetDispInfo(int column, QVariant *value, QCellData *cell,
                                      QSqlRecord *record, int rowState)
{
    if (rowState == rsDeleted && cell) {
        cell->foreground = QBrush(Qt::gray);
        cell->font.setItalic(true);
        cell->font.setStrikeOut(true);
    }
    if (!value || !record)
        return;
    const QString field = record->fieldName(column);
    if (field == QLatin1String("n_size") && !record->isNull(column))
        *value = fileSizeKb(record->value(column).toLongLong());
    else if (field == QLatin1String("id_creator"))
        *value = creatorName(*record);
}

QString FileVirtualWidget::creatorName(const QSqlRecord &record)
{
    const QString shown = record.value(QStringLiteral("c_creator")).toString();
    if (!shown.isEmpty() || !m_dataSet)
        return shown;
    QDataTable *users = nullptr;
    for (QDataTable *table : m_dataSet->tables()) {
        if (table->objectName() == QLatin1String("t_user"))
            users = table;
    }
    const qlonglong id = record.value(QStringLiteral("id_creator")).toLongLong();
    for (int row = 0; users && row < users->rowCount(); ++row) {
        if (users->getField(QStringLiteral("id"), row).toLongLong() == id)
            return users->getField(QStringLiteral("c_name"), row).toString();
    }
    return QString();
}

int FileVirtualWidget::currentRow() const
{
    return m_table ? m_table->getViewCurrentRow() : -1;
}

void FileVirtualWidget::loadFile()
{
    getRowFile(m_table, currentRow(), true);
}

void FileVirtualWidget::openFile()
{
    getRowFile(m_table, currentRow(), false);
}

void FileVirtualWidget::loadFileAll()
{
    if (m_table)
        loadFileAllFromBase(m_table, false);
}

QSqlRecord FileVirtualWidget::findFileByCRC(quint64 crc)
{
    return findStoredFileByCrc(crc);
}

bool FileVirtualWidget::canAddFile(const QString &name)
{
    QSqlRecord stored = findStoredFileByName(name);
    if (stored.isEmpty())
        return true;
    FileExistDialog dialog(stored, this);
    dialog.exec();
    return false;
}

void FileVirtualWidget::tryDeleteFile(const QString &name)
{
    tryDeleteStoredFile(m_filePath, name);
}

void FileVirtualWidget::finishChange()
{
    emit dataChanged();
    updateButtons();
}

bool FileVirtualWidget::attachStoredFile(const QSqlRecord &stored)
{
    const qlonglong id = stored.value(QStringLiteral("id")).toLongLong();
    if (!m_table || id <= 0)
        return false;
    for (int row = 0; row < m_table->rowCount(); ++row) {
        if (m_table->getRowState(row) != rsDeleted &&
            m_table->getField(QStringLiteral("id"), row).toLongLong() == id)
            return false;
    }
    m_table->newRow(true);
    m_table->setField(QStringLiteral("id"), id);
    m_table->setField(QStringLiteral("c_table"), m_ownerTable);
    m_table->setField(QStringLiteral("n_key"), m_key);
    for (const char *field : {"c_file", "c_comment", "n_crc", "n_size", "id_creator"})
        m_table->setField(QLatin1String(field), stored.value(QLatin1String(field)));
    m_table->setNull(QStringLiteral("bl_file"));
    return true;
}

bool FileVirtualWidget::addFileContent(const QByteArray &content, const QString &name)
{
    if (!m_table || m_key == 0)
        return false;
    const quint64 crc = crc32(content);
    const QSqlRecord match = findFileByCRC(crc);
    if (!match.isEmpty()) {
        const bool added = attachStoredFile(match);
        if (added)
            finishChange();
        return added;
    }
    if (!canAddFile(name))
        return false;
    bool accepted = false;
    const QString comment = QInputDialogEx::getString(
        this, tr("Описание"), tr("Описание для %1").arg(name), QString(), &accepted);
    if (!accepted)
        return false;
    m_table->newRow(true);
    m_table->setField(QStringLiteral("c_table"), m_ownerTable);
    m_table->setField(QStringLiteral("n_key"), m_key);
    m_table->setField(QStringLiteral("c_comment"), comment);
    m_table->setField(QStringLiteral("c_file"), name);
    m_table->setField(QStringLiteral("n_crc"), static_cast<qlonglong>(crc));
    m_table->setField(QStringLiteral("n_size"), static_cast<qlonglong>(content.size()));
    m_table->setField(QStringLiteral("c_creator"), qApp->property("LogedIn"));
    m_table->setField(QStringLiteral("bl_file"), content);
    finishChange();
    return true;
}

bool FileVirtualWidget::chooseAndAddFile()
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Прикрепить файл"), QString(), tr("Все файлы (*.*)"));
    if (path.isEmpty())
        return false;
    QByteArray content;
    if (!readFileContent(path, &content, this))
        return false;
    return addFileContent(content, QFileInfo(path).fileName());
}

bool FileVirtualWidget::addPhoto()
{
    QApplication::setOverrideCursor(Qt::WaitCursor);
    photoDialog dialog(this);
    QApplication::restoreOverrideCursor();
    if (!dialog.hasCamera()) {
        dialog.tellNoCamera();
        return false;
    }
    if (dialog.exec() != QDialog::Accepted || !dialog.getImage() || dialog.getImage()->isNull())
        return false;
    return addFileContent(imagePng(*dialog.getImage()),
                          QStringLiteral("%1_photo.png").arg(fileTimeStamp()));
}

bool FileVirtualWidget::pasteFromClipboard()
{
    if (!m_table || m_key == 0)
        return false;
    const QMimeData *mime = QApplication::clipboard()->mimeData();
    if (mime && mime->hasFormat(attachmentMimeType())) {
        QDataTable stored(QStringLiteral("t_file_temp"), appConnection());
        stored.setScripts(QStringLiteral("SELECT * FROM lrg.t_file WHERE id = :id ;"), QString(),
                          QString(), QString(), true);
        bool added = false;
        for (const qlonglong id : attachmentIds(mime)) {
            stored.close();
            stored.setSelectParam(QStringLiteral("id"), id);
            if (stored.open() && stored.rowCount() > 0)
                added = attachStoredFile(stored.getRecord(0)) || added;
        }
        if (added)
            finishChange();
        return added;
    }
    const QImage image = QApplication::clipboard()->image();
    if (image.isNull())
        return false;
    PreviewImageDialog preview(this);
    preview.setImage(image);
    if (preview.exec() != QDialog::Accepted)
        return false;
    return addFileContent(imagePng(image), QStringLiteral("%1_clipboard.png").arg(fileTimeStamp()));
}

void FileVirtualWidget::addImageToClipboard()
{
    QItemSelectionModel *selection = ui->tvFile->selectionModel();
    if (!m_table || !selection)
        return;
    QList<qlonglong> ids;
    for (const QModelIndex &index : selection->selectedRows()) {
        const QSqlRecord record = m_table->getRecord(index.row());
        const QVariant id = record.value(QStringLiteral("id"));
        if (!record.isEmpty() && !id.isNull() && id.toLongLong() > 0)
            ids << id.toLongLong();
    }
    if (!ids.isEmpty())
        QApplication::clipboard()->setMimeData(attachmentMimeData(ids));
}

bool FileVirtualWidget::deleteCurrentRow()
{
    const int row = currentRow();
    if (row < 0)
        return false;
    if (m_filePath.isEmpty() || !QDir(m_filePath).exists()) {
        QMessageBox::warning(this, tr("Нельзя удалить"), tr("Нет доступа к хранилищу"));
        return false;
    }
    const QString name = m_table->getField(QStringLiteral("c_file"), row).toString();
    if (QMessageBox::question(this, tr("Удаление"), tr("Удалить файл %1?").arg(name),
                              QMessageBox::Ok | QMessageBox::Cancel) != QMessageBox::Ok)
        return false;
    m_table->setCurrentRow(row);
    m_table->setField(QStringLiteral("c_table"), m_ownerTable);
    m_table->setField(QStringLiteral("n_key"), m_key);
    if (!m_table->deleteRow(row))
        return false;
    finishChange();
    return true;
}

void FileVirtualWidget::delFile()
{
    deleteCurrentRow();
}

void FileVirtualWidget::editFile()
{
    const int row = currentRow();
    if (row < 0)
        return;
    FileEditDialog dialog(m_table->getRecord(row), this);
    dialog.setFileEdit(m_table->getRowState(row) == rsUnchanged);
    if (dialog.exec() != QDialog::Accepted)
        return;
    m_table->setCurrentRow(row);
    m_table->setField(QStringLiteral("c_comment"), dialog.comment());
    if (dialog.isNewFile())
        replaceFile(dialog.newFileName());
    finishChange();
}

bool FileVirtualWidget::storePendingFiles()
{
    if (!m_table)
        return false;
    bool stored = true;
    // Files this save writes into the directory: taken back when it fails,
    // since no stored name refers to them yet.
    QStringList written;
    for (int row = m_table->rowCount() - 1; row >= 0 && stored; --row) {
        const QSqlRecord record = m_table->getRecord(row);
        const QString name = record.value(QStringLiteral("c_file")).toString();
        const int state = m_table->getRowState(row);
        if (state == rsInserted && record.value(QStringLiteral("bl_file")).isNull()) {
            const QSqlQuery query =
                runScript(QStringLiteral("FILE_OWNER_COPY"),
                          {m_ownerTable, m_key, record.value(QStringLiteral("id"))});
            if (query.isActive()) {
                m_table->setRowState(row, rsUnchanged);
            } else {
                stored = false;
                QMessageBox::warning(
                    this, tr("Внимание"),
                    tr("Файл %1 не прикреплен.\n%2")
                        .arg(name, appConnection() ? appConnection()->lastErrorText() : QString()));
            }
        } else if (state == rsInserted) {
            const bool existed =
                !m_filePath.isEmpty() && QFileInfo::exists(QDir(m_filePath).filePath(name));
            switch (storeFileContent(m_filePath, name,
                                     record.value(QStringLiteral("bl_file")).toByteArray())) {
            case srDirectory:
                if (!existed)
                    written << name;
                break;
            case srDatabase:
                break;
            case srNameRefused:
                m_table->killRow(row);
                break;
            case srConflict:
            case srFailed:
                stored = false;
                break;
            }
        } else if (state == rsDeleted) {
            if (!m_filePath.isEmpty() && QDir(m_filePath).exists()) {
                if (!m_deleteFiles.contains(name))
                    m_deleteFiles << name;
            } else if (record.value(QStringLiteral("id")).toLongLong() > 0) {
                m_table->setRowState(row, rsUnchanged);
            }
        }
    }
    if (!stored) {
        // Moved aside rather than removed: the client destroys no file.
        for (const QString &name : qAsConst(written))
            moveToDeleted(m_filePath, name);
    }
    return stored;
}

void FileVirtualWidget::moveDeletedFiles()
{
    for (const QString &name : qAsConst(m_deleteFiles))
        tryDeleteFile(name);
    m_deleteFiles.clear();
}

bool FileVirtualWidget::replaceFile(const QString &path)
{
    const int row = currentRow();
    QByteArray content;
    if (row < 0 || !readFileContent(path, &content, this))
        return false;
    const qlonglong oldId = m_table->getField(QStringLiteral("id"), row).toLongLong();
    const QSqlRecord match = findFileByCRC(crc32(content));
    if (!match.isEmpty()) {
        if (match.value(QStringLiteral("id")).toLongLong() != oldId)
            relinkToMatch(row, match);
        return true;
    }
    QSqlRecord other = findStoredFileByName(QFileInfo(path).fileName());
    if (!other.isEmpty() && other.value(QStringLiteral("id")).toLongLong() != oldId) {
        FileExistDialog dialog(other, this);
        dialog.exec();
        return false;
    }
    renameStoredFile(row, path, content);
    return true;
}

void FileVirtualWidget::relinkToMatch(int row, const QSqlRecord &match)
{
    QSqlConnection *connection = appConnection();
    if (!connection)
        return;
    const QString oldName = m_table->getField(QStringLiteral("c_file"), row).toString();
    const qlonglong oldId = m_table->getField(QStringLiteral("id"), row).toLongLong();
    const qlonglong newId = match.value(QStringLiteral("id")).toLongLong();
    QMessageBox::information(this, tr("Найдено совпадение по CRC в БД"),
                             tr("Имя файла: ") + match.value(QStringLiteral("c_file")).toString());
    QString table = m_ownerTable;
    table.replace(QLatin1Char('\''), QLatin1String("''"));
    connection->execScript(QStringLiteral("UPDATE lrg.t_file_owner SET id_file = %1 WHERE "
                                          "id_file = %2 AND n_key = %3 AND c_table = '%4' ;")
                               .arg(newId)
                               .arg(oldId)
                               .arg(m_key)
                               .arg(table),
                           QList<QVariant>());
    connection->execScript(QStringLiteral("SELECT lrg.v_file_try_delete(:UserID, :id); "),
                           QList<QVariant>{QVariant(), oldId});
    tryDeleteFile(oldName);
    QSqlRecord record = m_table->getRecord(row);
    for (const char *field : {"id", "c_file", "c_comment", "n_crc", "n_size", "id_creator"})
        record.setValue(QLatin1String(field), match.value(QLatin1String(field)));
    m_table->setRow(row, record, true);
}

void FileVirtualWidget::renameStoredFile(int row, const QString &path, const QByteArray &content)
{
    QSqlConnection *connection = appConnection();
    if (!connection)
        return;
    const QString oldName = m_table->getField(QStringLiteral("c_file"), row).toString();
    const QString newName = QFileInfo(path).fileName();
    const QString target = QDir(m_filePath).filePath(newName);
    moveToDeleted(m_filePath, newName);
    const bool copied = !m_filePath.isEmpty() && QFile::copy(path, target);
    QSqlRecord record = m_table->getRecord(row);
    record.setValue(QStringLiteral("c_file"), newName);
    record.setValue(QStringLiteral("n_crc"), static_cast<qlonglong>(crc32(content)));
    record.setValue(QStringLiteral("n_size"), static_cast<qlonglong>(content.size()));
    // The statement's parameters, by the names it uses.
    QSqlRecord named;
    const QList<QPair<QString, QVariant>> parameters{
        {QStringLiteral("cfile"), newName},
        {QStringLiteral("ccomment"), record.value(QStringLiteral("c_comment"))},
        {QStringLiteral("ncrc"), record.value(QStringLiteral("n_crc"))},
        {QStringLiteral("nsize"), record.value(QStringLiteral("n_size"))},
        {QStringLiteral("id"), record.value(QStringLiteral("id"))}};
    for (const auto &parameter : parameters) {
        QSqlField field(parameter.first, parameter.second.type());
        field.setValue(parameter.second);
        named.append(field);
    }
    const QSqlQuery update = connection->execScript(
        QStringLiteral("UPDATE lrg.t_file SET     id_creator = :UserID,     c_file = :cfile,     "
                       "c_comment = :ccomment,     n_crc = :ncrc,     n_size = :nsize,     "
                       "d_create = now() WHERE id = :id ;"),
        named);
    if (!update.isActive())
        return;
    if (!copied) {
        QString checked = newName;
        if (checkFileName(checked))
            runScript(QStringLiteral("FILE_BYTEA_INSERT"), {newName, content, false});
    }
    if (oldName != newName)
        tryDeleteFile(oldName);
    m_table->setRow(row, record, true);
}
