#pragma once

#include "rejects_global.h"

#include <QDialog>

namespace Ui {
class qCommentDialog;
}

// Adds, edits or shows one comment. A comment cannot be empty: OK is enabled
// only while the editor holds some text.
class REJECTS_EXPORT QCommentDialog : public QDialog
{
    Q_OBJECT
public:
    // An empty text adds a new comment; a non-empty one is edited, or only
    // shown when `readOnly`.
    explicit QCommentDialog(QString text = QString(), bool readOnly = false,
                            QWidget *parent = nullptr);
    ~QCommentDialog() override;

    // The comment as it stands in the editor.
    QString text() const;

public slots:
    void accept() override;

private slots:
    void on_teComment_textChanged();

private:
    Ui::qCommentDialog *ui;
};
