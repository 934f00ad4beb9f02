#pragma once

#include <QDialog>
#include <QSqlRecord>

namespace Ui {
class FaultCodeDialog;
}

class QDataSet;
class QDataTable;
class QModelIndex;

// "Код дефекта": the chooser of a fault code for a defect.
//
// Codes are listed by type: the type box (table t_fault_type of the module's
// data set) filters the code list (table t_fault_code of the same data set)
// on id_type. Holders of the right "FAIL_CODE_CREATE" may also add, edit and
// delete codes here and open the type editor; every such change is committed
// at once through the code table, so Cancel only means that no code was
// chosen. Without the right the editing buttons are hidden.
//
// After exec() returned Accepted the caller reads the chosen code with
// currentData() and the current*() texts; Ok is enabled only while a listed
// code is current.
class FaultCodeDialog : public QDialog
{
    Q_OBJECT
public:
    // `dataSet` is the module's data set; it is not owned.
    explicit FaultCodeDialog(QDataSet *dataSet, QWidget *parent = nullptr);
    ~FaultCodeDialog() override;

    // The id of the current code; 0 when there is none.
    qint64 currentData() const;
    // The code's c_name; empty when there is none.
    QString currentText() const;
    // The code's c_description; empty when there is none.
    QString currentDescription() const;
    // "<c_name> (<c_description>)", as the defect editor shows a code; empty
    // when there is none.
    QString currentFullName() const;

public slots:
    // Edit, Delete and Ok are enabled exactly while a listed code is current.
    void onCodeSelected();
    void on_cbType_currentIndexChanged(const QString &text);
    void on_btAdd_clicked();
    void on_btEdit_clicked();
    void on_btDelete_clicked();
    void on_btType_clicked();
    // A double click on a listed code chooses it.
    void on_tvCode_doubleClicked(const QModelIndex &index);

protected:
    void changeEvent(QEvent *event) override;

private:
    // The current row of the code list when it is a listed (not filtered
    // out) row; -1 otherwise.
    int usableRow() const;
    QSqlRecord currentRecord() const;
    void fillTypes();
    void applyTypeFilter();
    // Commits the code table; a refused change is dropped by re-reading the
    // codes, so that it is not sent again with the defect.
    bool commitChanges();

    Ui::FaultCodeDialog *ui;
    QDataSet *m_dataSet = nullptr;
    QDataTable *m_codes = nullptr;
};
