#pragma once

#include "rejects_global.h"

#include <QBasicTimer>
#include <QPainterPath>
#include <QPointer>
#include <QSystemTrayIcon>
#include <QWidget>

// A balloon tip shown at a point of the screen: an icon of the message's kind,
// a bold title and the text, in a rounded balloon whose arrow points at the
// point. A mouse press on it or the end of its display time hides it, and a
// hidden balloon deletes itself.
//
// The static functions create and show one balloon and return it (it may be
// gone by the time the caller looks again: keep it in a QPointer):
//   at          the global point the arrow points at
//   msecs       display time in milliseconds; 0 or less keeps it until clicked
//   showArrow   draw the arrow; without it the balloon's corner sits at `at`
//   replace     hide the balloon shown before, so that one balloon stands at a time
class REJECTS_EXPORT QBubbleTip : public QWidget
{
    Q_OBJECT
public:
    static QBubbleTip *warning(const QString &title, const QString &text, const QPoint &at,
                               int msecs = 10000, bool showArrow = true, bool replace = true);
    static QBubbleTip *info(const QString &title, const QString &text, const QPoint &at,
                            int msecs = 10000, bool showArrow = true, bool replace = true);
    static QBubbleTip *critical(const QString &title, const QString &text, const QPoint &at,
                                int msecs = 10000, bool showArrow = true, bool replace = true);

    QBubbleTip(QSystemTrayIcon::MessageIcon icon, const QString &title, const QString &text,
               QWidget *parent = nullptr);

    QSystemTrayIcon::MessageIcon messageIcon() const { return m_icon; }
    QString title() const { return m_title; }
    QString text() const { return m_text; }

    // Shows the balloon with its arrow at `at`.
    void showAt(const QPoint &at, int msecs = 10000, bool showArrow = true);

public slots:
    void hideBubble();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void timerEvent(QTimerEvent *event) override;

private:
    static QBubbleTip *show(QSystemTrayIcon::MessageIcon icon, const QString &title,
                            const QString &text, const QPoint &at, int msecs, bool showArrow,
                            bool replace);

    QSystemTrayIcon::MessageIcon m_icon;
    QString m_title;
    QString m_text;
    QPainterPath m_outline;
    QBasicTimer m_timer;
    static QPointer<QBubbleTip> s_current;
};
