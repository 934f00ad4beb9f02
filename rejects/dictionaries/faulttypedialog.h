#pragma once

#include <QDialog>

namespace Ui {
class FaultTypeDialog;
}

class QDataTable;

// "Тип дефекта": the editor of fault types (table t_fault_type).
//
// A type has a name and the two settings of the counter that numbers its
// codes: the counter's unique system name (c_sys_name, e.g. "MECH_CASE") and
// the prefix put before its numbers (c_prefix, e.g. "MHCS-"). The dialog
// works on a table of its own over the application's "Connection" and
// commits every addition, rename and deletion at once. Only the name of a
// stored type can be changed; the counter settings are fixed when the type
// is created.
//
// Without the right "FAIL_CODE_CREATE" (or without a connection) the create,
// edit and delete buttons are hidden and the types can only be looked at.
// Whether a type that codes still use may be deleted is the database's
// decision; a refusal is reported by the table and the list is re-read.
class FaultTypeDialog : public QDialog
{
    Q_OBJECT
public:
    explicit FaultTypeDialog(QWidget *parent = nullptr);
    ~FaultTypeDialog() override;

public slots:
    // Edit and delete are enabled exactly while a type is current.
    void updateButtons();
    void on_btAdd_clicked();
    void on_btEdit_clicked();
    void on_btDelete_clicked();

protected:
    void changeEvent(QEvent *event) override;

private:
    // Commits the pending change; a refused change is dropped by re-reading
    // the types, so nothing half-done stays behind in the list.
    bool commitChanges();

    Ui::FaultTypeDialog *ui;
    QDataTable *m_types = nullptr;
};
