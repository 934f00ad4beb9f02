#include "helpviewer.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTextBrowser>
#include <QVBoxLayout>

HelpViewer::HelpViewer(QWidget *parent)
    : QDialog(parent, Qt::Window)
    , m_browser(new QTextBrowser(this))
{
    setObjectName(QStringLiteral("HelpViewer"));
    setWindowTitle(tr("Справка"));
    m_browser->setObjectName(QStringLiteral("tbHelp"));
    m_browser->setOpenExternalLinks(true);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_browser);
    resize(700, 600);
}

QUrl HelpViewer::urlOf(const QString &context)
{
    const QStringList parts = context.split(QLatin1Char('#'));
    const QString name = parts.first().trimmed();
    if (name.isEmpty())
        return QUrl();
    const QString fileName = name + QStringLiteral(".html");
    QUrl url;
    if (QFile::exists(QStringLiteral(":/help/") + fileName)) {
        url = QUrl(QStringLiteral("qrc:/help/") + fileName);
    } else {
        const QString path = QDir(qApp->property("libDir").toString())
                                 .absoluteFilePath(QStringLiteral("../doc/help/") + fileName);
        if (!QFile::exists(path))
            return QUrl();
        url = QUrl::fromLocalFile(path);
    }
    if (parts.size() > 1 && !parts.last().isEmpty())
        url.setFragment(parts.last());
    return url;
}

bool HelpViewer::showContext(const QString &context)
{
    const QUrl url = urlOf(context);
    if (url.isEmpty()) {
        m_browser->setSource(QUrl());
        m_browser->setPlainText(tr("Для «%1» нет справки.").arg(context));
    } else {
        m_browser->setSource(url);
    }
    show();
    raise();
    activateWindow();
    return !url.isEmpty();
}

QUrl HelpViewer::source() const
{
    return m_browser->source();
}
