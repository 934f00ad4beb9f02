#pragma once

#include "celldata.h"
#include "rejects_global.h"

#include <QDialog>
#include <QSqlRecord>

namespace Ui {
class PlanDialog;
}

class QDataSet;
class QDataTable;

// "План производства": the production plan order in which a faulty item was
// made, and its serial number.
//
// The unit box lists only the production units that make item families
// (t_units_item_family of the module's data set), the product box the
// families of the chosen unit, and the plan list (t_plan_order) is selected
// again on every change of unit, product or serial text. Ok is enabled only
// while an idle plan list has a current row. The dialog shares the data set's
// tables: it commits nothing and leaves t_plan_order attached to no view when
// it goes.
//
//   PlanDialog dialog(dataSet, this);
//   dialog.setData(reject);
//   if (dialog.exec() == QDialog::Accepted) { dialog.plan(); dialog.serial(); }
class REJECTS_EXPORT PlanDialog : public QDialog
{
    Q_OBJECT
public:
    explicit PlanDialog(QDataSet *dataSet, QWidget *parent = nullptr);
    ~PlanDialog() override;

    // Presets unit, product and serial text from the defect's production plan
    // (id_plan_order) and serial number (c_serial); nothing when the plan is
    // not listed.
    void setData(QSqlRecord reject);

    // The chosen plan (0 when none) and its c_plan_name.
    qint64 plan() const { return m_plan; }
    QString planName() const { return m_planName; }
    // The serial number row (t_serial) whose c_serial is the typed serial text
    // and whose plan is plan(); -1 when there is none.
    qint64 serial() const;

public slots:
    void refresh();
    void onPlanSelected();
    void onGetDispInfo(int column, QVariant *value, QCellData *cell);
    void on_cbUnit_currentIndexChanged(int index);

protected:
    void changeEvent(QEvent *event) override;

private:
    void fillUnits();
    // Makes the row of the chosen plan current in the list, when it is listed.
    void showChosenPlan();

    Ui::PlanDialog *ui;
    QDataSet *m_dataSet = nullptr;
    QDataTable *m_plans = nullptr;
    QDataTable *m_families = nullptr;
    qint64 m_plan = 0;
    QString m_planName;
};
