#include "spelllineedit.h"

#include <QKeyEvent>
#include <QMimeData>
#include <QStyle>
#include <QStyleOptionFrame>

SpellLineEdit::SpellLineEdit(QWidget *parent)
    : SpellTextEdit(parent)
{
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setLineWrapMode(QTextEdit::NoWrap);
    setTabChangesFocus(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFixedHeight(sizeHint().height());
}

QSize SpellLineEdit::sizeHint() const
{
    const QFontMetrics metrics(font());
    const int height = qMax(metrics.height(), 14) + 4;
    const int width = metrics.horizontalAdvance(QLatin1Char('x')) * 17;
    QStyleOptionFrame option;
    option.initFrom(this);
    option.lineWidth = frameWidth();
    const QSize framed =
        style()->sizeFromContents(QStyle::CT_LineEdit, &option, QSize(width, height), this);
    return QSize(framed.width(), qMax(framed.height(), height + 2 * frameWidth()));
}

void SpellLineEdit::changeEvent(QEvent *event)
{
    SpellTextEdit::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        setFixedHeight(sizeHint().height());
}

void SpellLineEdit::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        emit editingFinished();
        event->ignore();
        return;
    }
    SpellTextEdit::keyPressEvent(event);
}

void SpellLineEdit::insertFromMimeData(const QMimeData *source)
{
    if (!source || !source->hasText())
        return;
    QString text = source->text();
    text.replace(QLatin1String("\r\n"), QLatin1String(" "));
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    text.replace(QLatin1Char('\r'), QLatin1Char(' '));
    textCursor().insertText(text);
}
