#pragma once

#include "celldata.h"
#include "rejects_global.h"

#include <QModelIndex>
#include <QSqlRecord>
#include <QString>
#include <QWidget>

class QDataSet;
class QDataTable;
class TabItemsEditor;

namespace Ui {
class RejectsEditor;
}

// The editor of one defect, hosted by the module object in a QDataEditor
// frame. Eight tabs: "Информация" (stage, fault code, production plan,
// pictures, creator, description), "Уведомление" (users to notify),
// "Обсуждение" (the discussion, a new comment, the decision), "Решение" (the
// solution, which can be taken back), "Причины" and "Исполнитель" (the
// quality-control works and production works that caused the defect),
// "Обращение клиентов" (appeals about the same serial number) and the repair
// plan page with the items of the repair.
//
// setData loads a defect and reselects its detail tables; every edit emits
// dataChanged(). getData (the frame's Apply) checks the defect, writes the
// form into its row, brings the notification, reason and executor links in
// line with their check columns, stores new pictures and commits the whole
// data set in one transaction; commitData() follows a successful save. A save
// the database refuses leaves every edit on screen and pending, says why, and
// can be repeated. The editor never commits anything else: cancelling is the
// module object's rollback of the whole data set.
//
// The decision buttons (btDecide, buttonRevert) exist for holders of
// "REJECT_SOLUTION" and for the superuser ("bBigDaddy").
class REJECTS_EXPORT RejectsEditor : public QWidget
{
    Q_OBJECT
public:
    RejectsEditor(QDataSet *dataSet, QWidget *parent = nullptr);
    ~RejectsEditor() override;

    void setData(QSqlRecord record);
    // False, with the lines of errorText(), when the defect cannot be saved.
    bool checkData();
    QString errorText() const { return m_error; }
    // Reads the fault codes again.
    void refresh();

    int currentTab() const;
    QDataSet *dataSet() const { return m_dataSet; }
    // The defect being edited; the pages of the editor (the repair plan tab)
    // write into it and emit dataChanged() through onChanged().
    QSqlRecord &record() { return m_record; }

    // The form; the repair plan page (plan) holds the items tab.
    Ui::RejectsEditor *ui;

signals:
    void dataChanged();
    void commitData();

public slots:
    void getData();
    void onGetDispInfo(int column, QVariant *value, QCellData *cell, QSqlRecord *record);
    void onGetDispInfoLink(int column, QVariant *value, QCellData *cell, QSqlRecord *record);
    void onChanged();
    void onComentSelect();
    void onCustomerAppealSelect();
    void onClicked(QModelIndex index);
    void on_btAddComent_clicked();
    void on_btDecide_clicked();
    void on_btPlan_clicked();
    void on_btPics_clicked();
    void fillPicRow(QSqlRecord *record, QByteArray *data, QString fName);
    void extractPicRow(QSqlRecord record);
    void on_toolButton_clicked();
    void on_buttonRevert_clicked();

private:
    QDataTable *table(const QString &name) const;
    void fillStages();
    void showFaultCode();
    void reselect(QDataTable *table, const QStringList &names, const QVariantList &values);
    void reselectDetails();
    // Decide while undecided, revert while decided.
    void updateDecisionButtons();
    // A new discussion row with this text; it becomes current in tvComent.
    void addComment(const QString &text);
    qint64 defectId() const;

    QDataSet *m_dataSet = nullptr;
    QDataTable *m_discussion = nullptr;
    QDataTable *m_reasons = nullptr;
    QDataTable *m_executors = nullptr;
    QDataTable *m_notification = nullptr;
    QDataTable *m_rejectNotification = nullptr;
    QDataTable *m_customerAppeal = nullptr;
    QSqlRecord m_record;
    QString m_error;
    bool m_decisionRight = false;
    bool m_loading = false; // setData fills the form: no dataChanged()
    // The repair plan page.
    TabItemsEditor *m_items = nullptr;
};
