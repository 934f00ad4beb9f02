#include "picsdialog.h"

#include "filestorage.h"
#include "photodialog.h"
#include "previewimagedialog.h"
#include "qdatatable.h"
#include "recordhelpers.h"
#include "ui_picsdialog.h"

#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QHeaderView>
#include <QMessageBox>
#include <QPushButton>
#include <QSqlField>
#include <QWheelEvent>

PicsDialog::PicsDialog(QDataTable *pics, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::PicsDialog)
    , m_pics(pics)
    , m_scene(new QGraphicsScene(this))
{
    ui->setupUi(this);
    ui->gvView->setScene(m_scene);
    ui->gvView->installEventFilter(this);
    ui->gvView->viewport()->installEventFilter(this);
    ui->btAdd->setIcon(QIcon(QStringLiteral(":/commonIcon/NEW")));
    if (m_pics) {
        m_previousView = m_pics->getView();
        m_pics->setView(ui->tvPics);
        connect(m_pics, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)), this,
                SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)));
        redrawSizes();
        // The names take the room the sizes leave; a long name loses its middle.
        QHeaderView *header = ui->tvPics->horizontalHeader();
        const int name = m_pics->getColumns().indexOf(QStringLiteral("c_file"));
        const int size = m_pics->getColumns().indexOf(QStringLiteral("n_size"));
        if (size >= 0)
            header->setSectionResizeMode(size, QHeaderView::ResizeToContents);
        if (name >= 0)
            header->setSectionResizeMode(name, QHeaderView::Stretch);
        ui->tvPics->setTextElideMode(Qt::ElideMiddle);
    }
    if (ui->tvPics->selectionModel())
        connect(ui->tvPics->selectionModel(), SIGNAL(currentChanged(QModelIndex, QModelIndex)),
                this, SLOT(onSelectPic()));
    ui->buttonBox->button(QDialogButtonBox::Ok)->setEnabled(false);
    onSelectPic();
}

PicsDialog::~PicsDialog()
{
    if (m_pics) {
        // The owner's view shows the sizes as the owner decorates them.
        disconnect(m_pics, nullptr, this, nullptr);
        redrawSizes();
        if (m_pics->getView() == ui->tvPics)
            m_pics->setView(m_previousView);
    }
    delete ui;
}

void PicsDialog::onGetDispInfo(int column, QVariant *value, QCellData *, QSqlRecord *record, int)
{
    if (value && record && record->fieldName(column) == QLatin1String("n_size") &&
        !record->isNull(column))
        *value = fileSizeKb(record->value(column).toLongLong());
}

void PicsDialog::redrawSizes()
{
    for (int row = 0; row < m_pics->rowCount(); ++row) {
        QSqlRecord size;
        size.append(QSqlField(QStringLiteral("n_size"), QVariant::LongLong));
        size.setValue(0, m_pics->getField(QStringLiteral("n_size"), row));
        m_pics->setRow(row, size, m_pics->getRowState(row) == rsUnchanged);
    }
}

void PicsDialog::setReadOnly(bool readOnly)
{
    ui->btPhoto->setVisible(!readOnly);
    ui->btAdd->setVisible(!readOnly);
    ui->buttonClipboard->setVisible(!readOnly);
}

void PicsDialog::onSelectPic()
{
    ui->gvView->resetTransform();
    m_scene->clear();
    ui->buttonOpen->setEnabled(false);
    ui->buttonLoad->setEnabled(false);
    if (!appConnection() || !m_pics)
        return;
    const int row = m_pics->getViewCurrentRow();
    QSqlRecord record = row >= 0 ? m_pics->getRecord(row) : QSqlRecord();
    if (row < 0 || record.isEmpty())
        return;
    ui->buttonOpen->setEnabled(true);
    ui->buttonLoad->setEnabled(true);
    const QString name = record.value(QStringLiteral("c_file")).toString();
    QByteArray bytes = record.value(QStringLiteral("bl_file")).toByteArray();
    QApplication::setOverrideCursor(Qt::WaitCursor);
    if (bytes.isEmpty() && !name.isEmpty()) {
        bytes = readStoredFile(name);
        if (!bytes.isEmpty()) {
            // Kept in the row; an unchanged row stays unchanged.
            record.setValue(QStringLiteral("bl_file"), bytes);
            m_pics->setRow(row, record, m_pics->getRowState(row) == rsUnchanged);
        }
    }
    const QImage image = QImage::fromData(bytes);
    if (image.format() != QImage::Format_Invalid) {
        const QImage scaled =
            image.scaled(ui->gvView->size(), Qt::KeepAspectRatio, Qt::SmoothTransformation);
        m_scene->addPixmap(QPixmap::fromImage(scaled));
        ui->gvView->fitInView(QRectF(0, 0, scaled.width(), scaled.height()), Qt::KeepAspectRatio);
    } else if (!name.isEmpty()) {
        m_scene->addText(bytes.isEmpty() ? tr("Файл %1 не найден").arg(name)
                                         : tr("Файл %1 не является изображением").arg(name));
    }
    QApplication::restoreOverrideCursor();
    ui->gvView->setDragMode(QGraphicsView::ScrollHandDrag);
}

void PicsDialog::on_tvPics_doubleClicked(QModelIndex index)
{
    if (!index.isValid() || !m_pics)
        return;
    const QSqlRecord record = m_pics->getRecord(index.row());
    if (!record.isEmpty())
        emit extractRow(record);
}

void PicsDialog::addPicture(QByteArray data, const QString &fileName)
{
    if (!m_pics)
        return;
    const int row = m_pics->newRow();
    QSqlRecord record = m_pics->getRecord(row);
    emit fillTableRow(&record, &data, fileName);
    m_pics->setRow(m_pics->lastRow(), record);
    ui->tvPics->selectRow(m_pics->lastRow());
    ui->buttonBox->button(QDialogButtonBox::Ok)->setEnabled(true);
}

void PicsDialog::on_btAdd_clicked()
{
    const QStringList files =
        QFileDialog::getOpenFileNames(this, tr("Добавить файл"), QString(), tr("Все файлы (*.*)"));
    for (const QString &path : files) {
        QByteArray data;
        if (readFileContent(path, &data, this))
            addPicture(data, QFileInfo(path).fileName());
    }
}

void PicsDialog::on_btPhoto_clicked()
{
    QApplication::setOverrideCursor(Qt::WaitCursor);
    photoDialog dialog(this);
    QApplication::restoreOverrideCursor();
    if (!dialog.hasCamera()) {
        dialog.tellNoCamera();
        return;
    }
    if (dialog.exec() != QDialog::Accepted || !dialog.getImage() || dialog.getImage()->isNull())
        return;
    addPicture(imagePng(*dialog.getImage()), QStringLiteral("%1_photo.png").arg(fileTimeStamp()));
}

void PicsDialog::on_buttonClipboard_clicked()
{
    const QImage image = QApplication::clipboard()->image();
    if (image.isNull() || image.width() < 1 || image.height() < 1) {
        QMessageBox::warning(this, tr("Внимание"), tr("Буфер не содержит изображение"));
        return;
    }
    PreviewImageDialog preview(this);
    preview.setImage(image);
    if (preview.exec() == QDialog::Accepted)
        addPicture(imagePng(image), QStringLiteral("%1_clipboard.png").arg(fileTimeStamp()));
}

void PicsDialog::on_buttonOpen_clicked()
{
    if (m_pics)
        getRowFile(m_pics, m_pics->getViewCurrentRow(), false);
}

void PicsDialog::on_buttonLoad_clicked()
{
    if (m_pics)
        getRowFile(m_pics, m_pics->getViewCurrentRow(), true);
}

bool PicsDialog::zoom(QWheelEvent *event)
{
    if (!(event->modifiers() & Qt::ControlModifier))
        return false;
    const double factor = (event->angleDelta().y() / 120) * 0.1 + 1.0;
    ui->gvView->setTransformationAnchor(QGraphicsView::AnchorUnderMouse);
    ui->gvView->scale(factor, factor);
    return true;
}

void PicsDialog::wheelEvent(QWheelEvent *event)
{
    QDialog::wheelEvent(event);
    zoom(event);
}

bool PicsDialog::eventFilter(QObject *watched, QEvent *event)
{
    // Control + wheel over the preview zooms instead of scrolling.
    if (event->type() == QEvent::Wheel &&
        (watched == ui->gvView || watched == ui->gvView->viewport()))
        return zoom(static_cast<QWheelEvent *>(event));
    return QDialog::eventFilter(watched, event);
}
