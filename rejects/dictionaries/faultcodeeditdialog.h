#pragma once

#include <QDialog>
#include <QSqlRecord>

namespace Ui {
class FaultCodeEditDialog;
}

class QDataTable;

// "Редактирование кода дефекта": the form of one fault code, its description
// and its type. The code itself (c_name) is only shown: the database composes
// it from the type's counter when the code is stored.
//
// The types come from a read-only table of the dialog's own ("FAULT_TYPE_SELECT"
// on the application's "Connection"). A new form has no type selected, so a
// code never gets a type by accident; setType or setRecord chooses one.
class FaultCodeEditDialog : public QDialog
{
    Q_OBJECT
public:
    explicit FaultCodeEditDialog(QWidget *parent = nullptr);
    ~FaultCodeEditDialog() override;

    // Selects the type with this id (no selection when there is none).
    void setType(qint64 idType);
    // Fills the form from a code row: c_name, c_description and id_type.
    void setRecord(const QSqlRecord &record);
    // Writes c_description and id_type into `record` and nothing else (never
    // c_name, never id); writes nothing and returns false when check() fails.
    bool getRecord(QSqlRecord &record) const;
    // True when the description is not empty and a type (id > 0) is selected.
    bool check() const;

public slots:
    // "Принять" is enabled exactly when check() holds.
    void updateButtons();
    // Accepts a valid form; otherwise says what is missing and stays open.
    void accept() override;

protected:
    void changeEvent(QEvent *event) override;

private:
    QString description() const;
    qint64 selectedType() const;

    Ui::FaultCodeEditDialog *ui;
    QDataTable *m_types = nullptr;
};
