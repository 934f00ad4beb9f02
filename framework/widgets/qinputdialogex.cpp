#include "qinputdialogex.h"

#include "ui_qinputdialogex.h"

#include <QPointer>

QInputDialogEx::QInputDialogEx(Kind kind, QWidget *parent, const QString &title,
                               const QString &label)
    : QDialog(parent)
    , ui(new Ui::QInputDialogEx)
{
    ui->setupUi(this);
    setWindowTitle(title);
    ui->label->setText(label);

    QWidget *editor = nullptr;
    switch (kind) {
    case Text:
        editor = ui->leText;
        break;
    case Int:
        editor = ui->sbInt;
        break;
    case Double:
        editor = ui->sbDouble;
        break;
    case Bool:
    case BoolNull:
        // The check box carries the prompt itself.
        editor = ui->chkValue;
        ui->chkValue->setText(label);
        ui->chkValue->setTristate(kind == BoolNull);
        ui->label->hide();
        break;
    case Date:
        editor = ui->deDate;
        break;
    case DateTime:
        editor = ui->dteDateTime;
        break;
    case Time:
        editor = ui->teTime;
        break;
    }
    const QList<QWidget *> editors = {ui->leText, ui->sbInt,  ui->sbDouble,   ui->chkValue,
                                      ui->deDate, ui->teTime, ui->dteDateTime};
    for (QWidget *other : editors) {
        if (other != editor)
            other->hide();
    }
    ui->label->setBuddy(editor);
    editor->setFocus();
    adjustSize();
}

QInputDialogEx::~QInputDialogEx()
{
    delete ui;
}

bool QInputDialogEx::run(QInputDialogEx *dialog, bool *ok)
{
    // The parent may be destroyed while the dialog runs, taking the dialog with it.
    QPointer<QInputDialogEx> guard(dialog);
    const bool accepted = dialog->exec() == QDialog::Accepted && guard;
    if (ok)
        *ok = accepted;
    return accepted;
}

QString QInputDialogEx::getString(QWidget *parent, const QString &title, const QString &label,
                                  QString text, bool *ok)
{
    QPointer<QInputDialogEx> dialog = new QInputDialogEx(Text, parent, title, label);
    dialog->ui->leText->setText(text);
    dialog->ui->leText->selectAll();
    QString result;
    if (run(dialog, ok))
        result = dialog->ui->leText->text();
    delete dialog;
    return result;
}

qint64 QInputDialogEx::getInt(QWidget *parent, const QString &title, const QString &label,
                              qint64 value, int min, int max, bool *ok)
{
    QPointer<QInputDialogEx> dialog = new QInputDialogEx(Int, parent, title, label);
    dialog->ui->sbInt->setRange(min, max);
    dialog->ui->sbInt->setValue(int(qBound<qint64>(min, value, max)));
    dialog->ui->sbInt->selectAll();
    qint64 result = value;
    if (run(dialog, ok))
        result = dialog->ui->sbInt->value();
    delete dialog;
    return result;
}

double QInputDialogEx::getDouble(QWidget *parent, const QString &title, const QString &label,
                                 double value, int decimals, double min, double max, bool *ok)
{
    QPointer<QInputDialogEx> dialog = new QInputDialogEx(Double, parent, title, label);
    dialog->ui->sbDouble->setDecimals(decimals);
    dialog->ui->sbDouble->setRange(min, max);
    dialog->ui->sbDouble->setValue(value);
    dialog->ui->sbDouble->selectAll();
    double result = value;
    if (run(dialog, ok))
        result = dialog->ui->sbDouble->value();
    delete dialog;
    return result;
}

bool QInputDialogEx::getBool(QWidget *parent, const QString &title, const QString &label,
                             bool value, bool *ok)
{
    QPointer<QInputDialogEx> dialog = new QInputDialogEx(Bool, parent, title, label);
    dialog->ui->chkValue->setChecked(value);
    bool result = value;
    if (run(dialog, ok))
        result = dialog->ui->chkValue->isChecked();
    delete dialog;
    return result;
}

QVariant QInputDialogEx::getBoolNull(QWidget *parent, const QString &title, const QString &label,
                                     QVariant value, bool *ok)
{
    QPointer<QInputDialogEx> dialog = new QInputDialogEx(BoolNull, parent, title, label);
    const Qt::CheckState preset =
        value.isNull() ? Qt::PartiallyChecked : (value.toBool() ? Qt::Checked : Qt::Unchecked);
    dialog->ui->chkValue->setCheckState(preset);
    QVariant result = value;
    if (run(dialog, ok)) {
        switch (dialog->ui->chkValue->checkState()) {
        case Qt::PartiallyChecked:
            result = QVariant();
            break;
        case Qt::Checked:
            result = true;
            break;
        case Qt::Unchecked:
            result = false;
            break;
        }
    }
    delete dialog;
    return result;
}

QDate QInputDialogEx::getDate(QWidget *parent, const QString &title, const QString &label,
                              QDate value, bool *ok)
{
    QPointer<QInputDialogEx> dialog = new QInputDialogEx(Date, parent, title, label);
    dialog->ui->deDate->setDate(value.isValid() ? value : QDate::currentDate());
    QDate result = value;
    if (run(dialog, ok))
        result = dialog->ui->deDate->date();
    delete dialog;
    return result;
}

QDateTime QInputDialogEx::getDateTime(QWidget *parent, const QString &title, const QString &label,
                                      QDateTime value, bool *ok)
{
    QPointer<QInputDialogEx> dialog = new QInputDialogEx(DateTime, parent, title, label);
    dialog->ui->dteDateTime->setDateTime(value.isValid() ? value : QDateTime::currentDateTime());
    QDateTime result = value;
    if (run(dialog, ok))
        result = dialog->ui->dteDateTime->dateTime();
    delete dialog;
    return result;
}

QTime QInputDialogEx::getTime(QWidget *parent, const QString &title, const QString &label,
                              QTime value, bool *ok)
{
    QPointer<QInputDialogEx> dialog = new QInputDialogEx(Time, parent, title, label);
    dialog->ui->teTime->setTime(value.isValid() ? value : QTime::currentTime());
    QTime result = value;
    if (run(dialog, ok))
        result = dialog->ui->teTime->time();
    delete dialog;
    return result;
}
