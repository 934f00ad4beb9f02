#include "previewimagedialog.h"

#include "ui_previewimagedialog.h"

#include <QPixmap>

PreviewImageDialog::PreviewImageDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::PreviewImageDialog)
{
    ui->setupUi(this);
}

PreviewImageDialog::~PreviewImageDialog()
{
    delete ui;
}

void PreviewImageDialog::setImage(const QImage &image)
{
    m_image = image;
    showScaled();
}

void PreviewImageDialog::resizeEvent(QResizeEvent *event)
{
    QDialog::resizeEvent(event);
    showScaled();
}

void PreviewImageDialog::showScaled()
{
    if (m_image.isNull()) {
        ui->lbImage->clear();
        return;
    }
    const QSize room = ui->lbImage->size();
    QImage shown = m_image;
    if (shown.width() > room.width() || shown.height() > room.height())
        shown = m_image.scaled(room, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    ui->lbImage->setPixmap(QPixmap::fromImage(shown));
}
