#include "qbubbletip.h"

#include <QApplication>
#include <QBitmap>
#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QStyle>
#include <QTimerEvent>
#include <QToolTip>

namespace {
const int arrowHeight = 12;
const int arrowWidth = 14;
const int arrowOffset = 18; // from the balloon's side to the arrow's tip
const int cornerRadius = 7;
const int maxTextWidth = 320;
} // namespace

QPointer<QBubbleTip> QBubbleTip::s_current;

QBubbleTip *QBubbleTip::warning(const QString &title, const QString &text, const QPoint &at,
                                int msecs, bool showArrow, bool replace)
{
    return show(QSystemTrayIcon::Warning, title, text, at, msecs, showArrow, replace);
}

QBubbleTip *QBubbleTip::info(const QString &title, const QString &text, const QPoint &at, int msecs,
                             bool showArrow, bool replace)
{
    return show(QSystemTrayIcon::Information, title, text, at, msecs, showArrow, replace);
}

QBubbleTip *QBubbleTip::critical(const QString &title, const QString &text, const QPoint &at,
                                 int msecs, bool showArrow, bool replace)
{
    return show(QSystemTrayIcon::Critical, title, text, at, msecs, showArrow, replace);
}

QBubbleTip *QBubbleTip::show(QSystemTrayIcon::MessageIcon icon, const QString &title,
                             const QString &text, const QPoint &at, int msecs, bool showArrow,
                             bool replace)
{
    if (replace && s_current)
        s_current->hideBubble();
    auto *bubble = new QBubbleTip(icon, title, text);
    s_current = bubble;
    bubble->showAt(at, msecs, showArrow);
    return bubble;
}

QBubbleTip::QBubbleTip(QSystemTrayIcon::MessageIcon icon, const QString &title, const QString &text,
                       QWidget *parent)
    : QWidget(parent, Qt::ToolTip)
    , m_icon(icon)
    , m_title(title)
    , m_text(text)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("QBubbleTip"));
    // Tool tip colours, for the balloon and the labels on it.
    QPalette colours = QToolTip::palette();
    colours.setColor(QPalette::Window, colours.color(QPalette::ToolTipBase));
    colours.setColor(QPalette::WindowText, colours.color(QPalette::ToolTipText));
    setPalette(colours);

    auto *iconLabel = new QLabel(this);
    QStyle::StandardPixmap standard = QStyle::SP_MessageBoxInformation;
    if (icon == QSystemTrayIcon::Warning)
        standard = QStyle::SP_MessageBoxWarning;
    else if (icon == QSystemTrayIcon::Critical)
        standard = QStyle::SP_MessageBoxCritical;
    const int iconSize = style()->pixelMetric(QStyle::PM_SmallIconSize);
    if (icon != QSystemTrayIcon::NoIcon)
        iconLabel->setPixmap(style()->standardIcon(standard).pixmap(iconSize, iconSize));
    iconLabel->setAlignment(Qt::AlignTop | Qt::AlignLeft);

    auto *titleLabel = new QLabel(title, this);
    titleLabel->setObjectName(QStringLiteral("lbTitle"));
    QFont bold = titleLabel->font();
    bold.setBold(true);
    titleLabel->setFont(bold);
    titleLabel->setTextFormat(Qt::PlainText);

    auto *textLabel = new QLabel(text, this);
    textLabel->setObjectName(QStringLiteral("lbText"));
    textLabel->setTextFormat(Qt::PlainText);
    textLabel->setWordWrap(true);
    textLabel->setMaximumWidth(maxTextWidth);

    auto *layout = new QGridLayout(this);
    layout->addWidget(iconLabel, 0, 0);
    layout->addWidget(titleLabel, 0, 1);
    layout->addWidget(textLabel, 1, 1);
    layout->setColumnStretch(1, 1);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

void QBubbleTip::showAt(const QPoint &at, int msecs, bool showArrow)
{
    QGridLayout *grid = static_cast<QGridLayout *>(layout());
    const int margin = 8;
    grid->setContentsMargins(margin, margin, margin, margin);
    grid->activate();
    QSize size = sizeHint();

    // Put the balloon below the point when it fits on the screen, else above;
    // keep it inside the screen horizontally.
    const QScreen *screen = QGuiApplication::screenAt(at);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(at, size * 2);
    const int arrow = showArrow ? arrowHeight : 0;
    const bool below = at.y() + arrow + size.height() <= area.bottom();
    const bool rightward = at.x() + size.width() - arrowOffset <= area.right();

    if (showArrow) {
        grid->setContentsMargins(margin, margin + (below ? arrow : 0), margin,
                                 margin + (below ? 0 : arrow));
        grid->activate();
        size = sizeHint();
    }
    const int w = size.width();
    const int h = size.height();
    const int top = below ? arrow : 0;
    const int bottom = below ? h : h - arrow;

    QPainterPath path;
    path.addRoundedRect(QRectF(0, top, w - 1, bottom - top - 1), cornerRadius, cornerRadius);
    QPoint offset;
    if (showArrow) {
        const int tipX = rightward ? arrowOffset : w - arrowOffset;
        QPolygonF arrowShape;
        if (below)
            arrowShape << QPointF(tipX - arrowWidth / 2.0, top + 1) << QPointF(tipX, 0)
                       << QPointF(tipX + arrowWidth / 2.0, top + 1);
        else
            arrowShape << QPointF(tipX - arrowWidth / 2.0, bottom - 2) << QPointF(tipX, h - 1)
                       << QPointF(tipX + arrowWidth / 2.0, bottom - 2);
        QPainterPath arrowPath;
        arrowPath.addPolygon(arrowShape);
        arrowPath.closeSubpath();
        path = path.united(arrowPath);
        offset = QPoint(tipX, below ? 0 : h - 1);
    } else {
        offset = QPoint(rightward ? 0 : w - 1, below ? 0 : h - 1);
    }
    m_outline = path;

    QBitmap mask(w, h);
    mask.fill(Qt::color0);
    {
        QPainter painter(&mask);
        painter.setPen(QPen(Qt::color1, 1));
        painter.setBrush(Qt::color1);
        painter.drawPath(path);
    }
    resize(w, h);
    setMask(mask);

    move(at - offset);
    QWidget::show();
    if (msecs > 0)
        m_timer.start(msecs, this);
}

void QBubbleTip::hideBubble()
{
    m_timer.stop();
    close();
}

void QBubbleTip::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(palette().color(QPalette::ToolTipText), 1));
    painter.setBrush(palette().color(QPalette::ToolTipBase));
    painter.drawPath(m_outline);
}

void QBubbleTip::mousePressEvent(QMouseEvent *event)
{
    event->accept();
    hideBubble();
}

void QBubbleTip::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == m_timer.timerId()) {
        hideBubble();
        return;
    }
    QWidget::timerEvent(event);
}
