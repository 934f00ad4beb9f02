#include "qchasewidget.h"

#include <QPainter>
#include <QTimerEvent>

QChaseWidget::QChaseWidget(QWidget *parent, QPixmap pixmap, bool showPixmap)
    : QWidget(parent)
    , m_pixmap(pixmap)
    , m_pixmapEnabled(showPixmap)
{
}

void QChaseWidget::setAnimated(bool value)
{
    if (m_animated == value)
        return;
    m_animated = value;
    if (m_timerId != -1) {
        killTimer(m_timerId);
        m_timerId = -1;
    }
    if (m_animated) {
        m_step = 0;
        m_timerId = startTimer(m_interval, Qt::CoarseTimer);
    }
    update();
}

bool QChaseWidget::isAnimated() const
{
    return m_animated;
}

void QChaseWidget::setPixmapEnabled(bool enable)
{
    m_pixmapEnabled = enable;
    update();
}

int QChaseWidget::segmentCount() const
{
    return 360 / m_segmentAngle;
}

QColor QChaseWidget::colorForSegment(int index) const
{
    const int count = segmentCount();
    const int position = ((m_step + index) % count + count) % count;
    const int grey = qMax(0, 255 - (255 / count) * position);
    return QColor(grey, grey, grey);
}

QSize QChaseWidget::sizeHint() const
{
    return QSize(16, 16);
}

void QChaseWidget::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timerId) {
        QWidget::timerEvent(event);
        return;
    }
    ++m_step;
    update();
}

void QChaseWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (m_pixmapEnabled && !m_pixmap.isNull()) {
        painter.drawPixmap(0, 0, m_pixmap);
        return;
    }

    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(m_animated ? QColor(Qt::darkGreen) : palette().color(QPalette::WindowText));
    painter.setBrush(Qt::NoBrush);

    // One segment: a rounded bar lying along the radius, from a third of the
    // radius out to the rim, two fifths of the radius thick.
    const qreal radius = qMin(width(), height()) / 2.0 - 1.0;
    const qreal thickness = qMax<qreal>(radius / 2.5, 1.5);
    const QRectF segment(radius / 3.0, -thickness / 2.0, radius - radius / 3.0, thickness);
    // Screen angles grow clockwise: a negative turn runs counter-clockwise.
    const qreal turn = layoutDirection() == Qt::RightToLeft ? m_segmentAngle : -m_segmentAngle;

    painter.translate(width() / 2.0, height() / 2.0);
    for (int i = 0; i < segmentCount(); ++i) {
        if (m_animated)
            painter.setBrush(colorForSegment(i));
        painter.drawRoundedRect(segment, thickness / 2.0, thickness / 2.0);
        painter.rotate(turn);
    }
}
