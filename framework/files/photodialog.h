#pragma once

#include "rejects_global.h"

#include <QCameraInfo>
#include <QDialog>
#include <QImage>

// Combo box items carry the camera they stand for.
Q_DECLARE_METATYPE(QCameraInfo)

class QCamera;
class QCameraImageCapture;

namespace Ui {
class photoDialog;
}

// Takes one still photo with a camera. The cameras of the system are offered
// in `cbCamera`; the one chosen last is remembered under "CAMERA/Location" of
// the host's settings (the application property "Settings"). Space takes the
// photo and accepts the dialog; without a camera the dialog is rejected and
// nothing is taken (callers ask hasCamera() first and tell the user).
class REJECTS_EXPORT photoDialog : public QDialog
{
    Q_OBJECT
public:
    explicit photoDialog(QWidget *parent = nullptr);
    ~photoDialog() override;

    // The captured image, owned by the dialog; null until a capture.
    QImage *getImage() { return &m_image; }
    void setCamera(QCameraInfo info);
    // True when a camera is open.
    bool hasCamera() const { return m_camera != nullptr; }
    // The warning for a system without cameras.
    void tellNoCamera();

public slots:
    // Asks the camera for one image; rejects the dialog without a camera.
    void makePhoto();
    void on_cbCamera_currentIndexChanged(int index);
    void onImageCaptured(int id, const QImage &image);

protected:
    void keyReleaseEvent(QKeyEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void dropCamera();

    Ui::photoDialog *ui;
    QCamera *m_camera = nullptr;
    QCameraImageCapture *m_capture = nullptr;
    QImage m_image;
    bool m_capturing = false;
};
