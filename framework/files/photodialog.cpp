#include "photodialog.h"

#include "recordhelpers.h"
#include "ui_photodialog.h"

#include <QApplication>
#include <QCamera>
#include <QCameraImageCapture>
#include <QKeyEvent>
#include <QMessageBox>
#include <QSettings>
#include <QSignalBlocker>

namespace {

// The host's settings object: the application property "Settings" holds its
// address (or the object itself).
QSettings *hostSettings()
{
    const QVariant value = qApp->property("Settings");
    if (!value.isValid())
        return nullptr;
    if (value.userType() == QMetaType::QObjectStar)
        return qobject_cast<QSettings *>(value.value<QObject *>());
    return qobject_cast<QSettings *>(static_cast<QObject *>(varToObj(value)));
}

const char cameraKey[] = "CAMERA/Location";

} // namespace

photoDialog::photoDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::photoDialog)
{
    ui->setupUi(this);
    connect(ui->acShot, &QAction::triggered, this, &photoDialog::makePhoto);
    QSettings *settings = hostSettings();
    const QString saved =
        settings ? settings->value(QLatin1String(cameraKey)).toString() : QString();
    QCameraInfo candidate = QCameraInfo::defaultCamera();
    const QSignalBlocker blocker(ui->cbCamera);
    for (const QCameraInfo &info : QCameraInfo::availableCameras()) {
        ui->cbCamera->addItem(info.description(), QVariant::fromValue(info));
        if (!saved.isEmpty() && info.deviceName() == saved)
            candidate = info;
    }
    if (!candidate.isNull())
        setCamera(candidate);
    ui->cbCamera->setCurrentIndex(ui->cbCamera->findText(candidate.description()));
}

photoDialog::~photoDialog()
{
    dropCamera();
    delete ui;
}

void photoDialog::dropCamera()
{
    if (m_capture) {
        m_capture->disconnect(this);
        delete m_capture;
        m_capture = nullptr;
    }
    if (m_camera) {
        m_camera->stop();
        delete m_camera;
        m_camera = nullptr;
    }
}

void photoDialog::setCamera(QCameraInfo info)
{
    dropCamera();
    if (info.isNull())
        return;
    m_camera = new QCamera(info, this);
    m_capture = new QCameraImageCapture(m_camera, this);
    m_camera->setViewfinder(ui->viewFinder);
    m_camera->setCaptureMode(QCamera::CaptureStillImage);
    connect(m_capture, &QCameraImageCapture::imageCaptured, this, &photoDialog::onImageCaptured);
    m_camera->start();
}

void photoDialog::tellNoCamera()
{
    QMessageBox::warning(parentWidget(), tr("Внимание"), tr("Камера не найдена"));
}

void photoDialog::on_cbCamera_currentIndexChanged(int index)
{
    if (m_camera)
        m_camera->stop();
    const QVariant data = ui->cbCamera->itemData(index);
    const QCameraInfo info =
        data.canConvert<QCameraInfo>() ? data.value<QCameraInfo>() : QCameraInfo();
    setCamera(info);
    if (QSettings *settings = hostSettings())
        settings->setValue(QLatin1String(cameraKey), info.deviceName());
}

void photoDialog::makePhoto()
{
    if (!m_camera || !m_capture) {
        reject();
        return;
    }
    if (m_capturing)
        return;
    m_capturing = true;
    m_capture->capture(QString());
}

void photoDialog::onImageCaptured(int id, const QImage &image)
{
    Q_UNUSED(id)
    m_image = image.copy();
    m_capturing = false;
    accept();
}

void photoDialog::keyReleaseEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && event->modifiers() == Qt::NoModifier) {
        makePhoto();
        return;
    }
    QDialog::keyReleaseEvent(event);
}

void photoDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
    QDialog::changeEvent(event);
}
