#include "itemdialog.h"

#include "qdatatable.h"
#include "recordhelpers.h"
#include "ui_itemdialog.h"

#include <QtMath>

ItemDialog::ItemDialog(qint64 idFamily, double qty, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::ItemDialog)
{
    ui->setupUi(this);
    QDataTable family(QStringLiteral("t_family_unit"), appConnection());
    family.setScripts(QStringLiteral("SELECT f.c_name, u.n_precission, u.c_short_name FROM "
                                     "dirs.t_item_family f JOIN dirs.t_meas_unit u ON u.id = "
                                     "f.id_meas_unit WHERE f.id = :id_family ;"),
                      QString(), QString(), QString(), true);
    family.setSelectParam(QStringLiteral("id_family"), idFamily);
    int precision = 0;
    QString unit = tr("шт.");
    if (family.open(false, false) && family.rowCount() > 0) {
        setWindowTitle(family.getField(QStringLiteral("c_name"), 0).toString());
        precision = qBound(0, family.getField(QStringLiteral("n_precission"), 0).toInt(), 6);
        unit = family.getField(QStringLiteral("c_short_name"), 0).toString();
    }
    ui->labelUnit->setText(unit);
    ui->sbQty->setMinimum(1.0 / qPow(10.0, precision));
    ui->sbQty->setDecimals(precision);
    ui->sbQty->setMaximum(10000);
    ui->sbQty->setValue(qty);
}

ItemDialog::~ItemDialog()
{
    delete ui;
}

void ItemDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        const QString title = windowTitle();
        const QString unit = ui->labelUnit->text();
        ui->retranslateUi(this);
        setWindowTitle(title);
        ui->labelUnit->setText(unit);
    }
    QDialog::changeEvent(event);
}
