#pragma once

#include "rejects_global.h"
#include "spelltextedit.h"

// A one-line spell-checking field: no scroll bars, no line wrap, a fixed
// height of one line. Return or Enter emits editingFinished() and is left to
// the surrounding dialog (for its default button) instead of breaking the
// line; pasted line breaks become blanks.
class REJECTS_EXPORT SpellLineEdit : public SpellTextEdit
{
    Q_OBJECT
public:
    explicit SpellLineEdit(QWidget *parent = nullptr);

    // The font's line height (at least 14) plus 4, grown to what the style's
    // line-edit frame needs; the width of 17 letters x.
    QSize sizeHint() const override;

protected:
    void changeEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void insertFromMimeData(const QMimeData *source) override;
};
