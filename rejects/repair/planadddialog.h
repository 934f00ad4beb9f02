#pragma once

#include "rejects_global.h"

#include <QDialog>
#include <QSqlRecord>

namespace Ui {
class PlanAddDialog;
}

class QDataTable;

// "Создать ремонтный план": describes a new repair plan order (comment, type,
// priority 1-1000, planned shipment date, production unit). The dialog
// writes nothing to the database; setPlanRec fills the row that the defect's
// data set inserts when the defect is saved.
class REJECTS_EXPORT PlanAddDialog : public QDialog
{
    Q_OBJECT
public:
    explicit PlanAddDialog(QWidget *parent = nullptr);
    ~PlanAddDialog() override;

    // c_coment, id_type, n_priority, n_qnt (1), d_shipment_plan, id_unit and a
    // null id_prod_ver: a repair plan has no product version.
    void setPlanRec(QSqlRecord &record) const;

public slots:
    // Accepts only with a type and a unit, reporting the first one missing.
    void accept() override;

protected:
    void changeEvent(QEvent *event) override;

private:
    Ui::PlanAddDialog *ui;
    QDataTable *m_types = nullptr;
    QDataTable *m_units = nullptr;
};
