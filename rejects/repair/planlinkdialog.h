#pragma once

#include "rejects_global.h"

#include <QDialog>
#include <QSqlRecord>

namespace Ui {
class PlanLinkDialog;
}

class QDataTable;

// "Привязать ремонтный план": lists exactly the plan orders that may take a
// repair (no product version, not deleted, not closed, not yet the repair
// plan of any defect) from its own table "t_plan" on the application's
// connection.
class REJECTS_EXPORT PlanLinkDialog : public QDialog
{
    Q_OBJECT
public:
    explicit PlanLinkDialog(QWidget *parent = nullptr);
    ~PlanLinkDialog() override;

    // The current plan (id, c_name, c_coment, c_type, c_state, c_unit); empty
    // when none is current.
    QSqlRecord getPlanRec() const;

public slots:
    // Accepts only with a current plan; otherwise "План не выбран".
    void accept() override;

protected:
    void changeEvent(QEvent *event) override;

private:
    Ui::PlanLinkDialog *ui;
    QDataTable *m_plans = nullptr;
};
