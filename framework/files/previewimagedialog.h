#pragma once

#include "rejects_global.h"

#include <QDialog>
#include <QImage>

namespace Ui {
class PreviewImageDialog;
}

// Shows an image (from the clipboard) before it is attached: "Принять" or
// "Отмена". The image is scaled down to the label, never up, keeping its
// aspect ratio, and follows the dialog's size.
class REJECTS_EXPORT PreviewImageDialog : public QDialog
{
    Q_OBJECT
public:
    explicit PreviewImageDialog(QWidget *parent = nullptr);
    ~PreviewImageDialog() override;

    void setImage(const QImage &image);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void showScaled();

    Ui::PreviewImageDialog *ui;
    QImage m_image;
};
