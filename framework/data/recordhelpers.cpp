#include "recordhelpers.h"

#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>
#include <QWindow>

QVariant objToVar(void *object)
{
    return QVariant(qlonglong(object));
}

void *varToObj(QVariant value)
{
    return reinterpret_cast<void *>(value.toLongLong());
}

QRect bounds()
{
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (QWindow *window : windows) {
        const QString name = window->objectName();
        if (name == QLatin1String("WorkplaceWindowWindow") || name == QLatin1String("KovaWindow"))
            return window->geometry();
    }
    return QRect();
}

void delayMs(unsigned int ms)
{
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    timer.setInterval(int(ms));
    QObject::connect(&timer, SIGNAL(timeout()), &loop, SLOT(quit()));
    timer.start();
    loop.exec();
}
