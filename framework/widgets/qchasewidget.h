#pragma once

#include "rejects_global.h"

#include <QPixmap>
#include <QWidget>

// The busy indicator: a ring of segments whose brightest segment runs round
// while the widget is animated, or a fixed picture instead of the ring.
class REJECTS_EXPORT QChaseWidget : public QWidget
{
    Q_OBJECT
public:
    explicit QChaseWidget(QWidget *parent = nullptr, QPixmap pixmap = QPixmap(),
                          bool showPixmap = false);

    void setAnimated(bool value);
    bool isAnimated() const;
    // Draws the picture instead of the segments (when the picture is not null).
    void setPixmapEnabled(bool enable);

    // 360 degrees divided by the angle of one segment.
    int segmentCount() const;
    // The opaque grey of segment `index` at the current step of the animation.
    QColor colorForSegment(int index) const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void timerEvent(QTimerEvent *event) override;

private:
    int m_step = 0;
    const int m_interval = 100;
    const int m_segmentAngle = 40;
    int m_timerId = -1;
    bool m_animated = false;
    QPixmap m_pixmap;
    bool m_pixmapEnabled = false;
};
