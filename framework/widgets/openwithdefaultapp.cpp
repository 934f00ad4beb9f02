#include "openwithdefaultapp.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QProcess>
#include <QUrl>

bool openWithDefaultApp(const QString &path)
{
    if (path.isEmpty() || !QFileInfo::exists(path))
        return false;
    const QString absolute = QFileInfo(path).absoluteFilePath();
    if (QDesktopServices::openUrl(QUrl::fromLocalFile(absolute)))
        return true;
    // Platforms without desktop services (such as a bare display server)
    // still have the freedesktop.org opener.
    return QProcess::startDetached(QStringLiteral("xdg-open"), {absolute});
}
