#pragma once

#include "rejects_global.h"

#include <QDialog>

namespace Ui {
class ItemDialog;
}

// Asks the quantity of one item family in the family's measuring unit: the
// spin box takes as many decimals as the unit's precision, from one unit of
// the last decimal up to 10 000. A family without unit data counts whole
// pieces ("шт."). After Accepted the caller reads the spin box sbQty.
class REJECTS_EXPORT ItemDialog : public QDialog
{
    Q_OBJECT
public:
    ItemDialog(qint64 idFamily, double qty, QWidget *parent = nullptr);
    ~ItemDialog() override;

protected:
    void changeEvent(QEvent *event) override;

private:
    Ui::ItemDialog *ui;
};
