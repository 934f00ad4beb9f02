#pragma once

#include "rejects_global.h"

#include <QDate>
#include <QDateTime>
#include <QDialog>
#include <QTime>
#include <QVariant>

namespace Ui {
class QInputDialogEx;
}

// Modal one-value input dialogs. Each static function shows a dialog titled
// `title` with the prompt `label` and one editor preset with the given value,
// and sets *ok (when given) to whether the user pressed OK.
//
// On Cancel, getString returns an empty text; the others return the value
// they were given.
class REJECTS_EXPORT QInputDialogEx : public QDialog
{
    Q_OBJECT
public:
    static QString getString(QWidget *parent, const QString &title, const QString &label,
                             QString text = QString(), bool *ok = nullptr);
    // A whole number between min and max (the preset is brought into that range).
    static qint64 getInt(QWidget *parent, const QString &title, const QString &label,
                         qint64 value = 0, int min = -2147483647, int max = 2147483647,
                         bool *ok = nullptr);
    // A number with `decimals` digits after the point, between min and max.
    static double getDouble(QWidget *parent, const QString &title, const QString &label,
                            double value = 0, int decimals = 2, double min = -2147483647,
                            double max = 2147483647, bool *ok = nullptr);
    // Yes or no: a check box that carries the prompt.
    static bool getBool(QWidget *parent, const QString &title, const QString &label,
                        bool value = false, bool *ok = nullptr);
    // Yes, no or not given: a three-state check box; the third state is a
    // null QVariant, the others a bool.
    static QVariant getBoolNull(QWidget *parent, const QString &title, const QString &label,
                                QVariant value = QVariant(), bool *ok = nullptr);
    // Dates and times; an invalid preset stands for now.
    static QDate getDate(QWidget *parent, const QString &title, const QString &label,
                         QDate value = QDate(), bool *ok = nullptr);
    static QDateTime getDateTime(QWidget *parent, const QString &title, const QString &label,
                                 QDateTime value = QDateTime(), bool *ok = nullptr);
    static QTime getTime(QWidget *parent, const QString &title, const QString &label,
                         QTime value = QTime(), bool *ok = nullptr);

    ~QInputDialogEx() override;

private:
    enum Kind { Text, Int, Double, Bool, BoolNull, Date, DateTime, Time };

    QInputDialogEx(Kind kind, QWidget *parent, const QString &title, const QString &label);
    // Runs the dialog; false when it was cancelled or its parent went away.
    static bool run(QInputDialogEx *dialog, bool *ok);

    Ui::QInputDialogEx *ui;
};
