#pragma once

#include <QDialog>
#include <QUrl>

class QTextBrowser;

// The host's help window: shows a module's user guide at the place a help
// context names. A context is the guide's name followed by anchors, e.g.
// "rejects#rejectEditor#tabDiscus": the guide is the resource
// ":/help/<name>.html" (modules compile their guides in), or else
// <libDir>/../doc/help/<name>.html, and the last anchor is where it opens.
// One window serves every request; it stays open beside the main window.
class HelpViewer : public QDialog
{
    Q_OBJECT
public:
    explicit HelpViewer(QWidget *parent = nullptr);

    // The address of a help context; empty when no guide of that name exists.
    static QUrl urlOf(const QString &context);

    // Opens the guide of `context`; false (and a message in the window) when
    // there is no guide for it.
    bool showContext(const QString &context);

    QUrl source() const;

private:
    QTextBrowser *m_browser;
};
