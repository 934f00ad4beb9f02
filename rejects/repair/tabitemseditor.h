#pragma once

#include "celldata.h"
#include "rejects_global.h"

#include <QHash>
#include <QPointer>
#include <QSet>
#include <QSqlRecord>
#include <QVector>
#include <QWidget>

namespace Ui {
class TabItemsEditor;
}

class QDataSet;
class QDataTable;
class QTreeWidgetItem;
class QWaitDialog;

// The repair page of the defect editor: the repair plan of the defect (link
// an open plan or describe a new one), the catalogue of stock items (a lazily
// loaded tree of item types and families with a search) and the items the
// repair needs (t_store_order_content of the repair plan), with the items'
// history reports.
//
// The page takes what it needs from the module's data set (getDocument): the
// item type, family and stock tables, the content table, t_plan_order_repair
// and the defect register t_process_exam. The defect it works on is the one
// given with setRecord (the editor's own copy of the record); without one it
// is the current row of t_process_exam, read again by refresh() and whenever
// the page is shown, and plan changes are written into that row. Nothing is
// committed here: the editor commits or rolls back the whole data set, and a
// plan described with addPlan() is inserted (PLAN_ORDER_INSERT) only by that
// commit.
//
// The catalogue is read when the page is first shown (or on createTree());
// a type's content is put into the tree when it is first expanded.
class REJECTS_EXPORT TabItemsEditor : public QWidget
{
    Q_OBJECT
public:
    // The defect editor places the page; `editor` becomes its parent.
    explicit TabItemsEditor(QWidget *editor = nullptr);
    ~TabItemsEditor() override;

    // Works on `reject` (not owned; null: the current row of t_process_exam).
    void setRecord(QSqlRecord *reject);
    // The defect as the page sees it, with the plan changes made here.
    QSqlRecord record() const;

signals:
    // The defect or its items changed; the editor marks its record changed.
    void dataChanged();

public slots:
    void createTree();
    void search();
    void onExpanded(QTreeWidgetItem *item);
    void addElement();
    void editElement();
    void deleteElement();
    void reportHistory();
    void reportHistoryTree();
    void linkPlan();
    void addPlan();
    void refresh();
    void updateButtons();
    void onGetDispInfo(int column, QVariant *value, QCellData *cell, QSqlRecord *record,
                       int rowState);
    void showStatus(bool show);
    void setStatusMess(QString text);
    void updateStatusBar(qint64 total, qint64 done);

protected:
    void showEvent(QShowEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QTreeWidgetItem *addTypeItem(QTreeWidgetItem *parent, int row);
    void addFamilyTreeChild(QTreeWidgetItem *parent, qint64 idType);
    void addTypeTreeChild(QTreeWidgetItem *parent, qint64 idType);
    bool hasContent(qint64 idType) const;
    void indexCatalogue();
    void readStock();
    void fillTypeHierahcy(qint64 idType);
    // Hides what the active search did not find, children first; true when
    // the item stays visible.
    bool applyFilter(QTreeWidgetItem *item);
    bool hasVisibleChild(QTreeWidgetItem *item) const;
    QWaitDialog *waitDialog(const QString &text);
    void closeWait();
    // The defect record the page works on, and storing a plan change in it.
    QSqlRecord &reject();
    void storeReject();
    qint64 currentFamily() const;
    int contentRow() const;

    Ui::TabItemsEditor *ui;
    QDataSet *m_dataSet = nullptr;
    QDataTable *m_types = nullptr;
    QDataTable *m_families = nullptr;
    QDataTable *m_stock = nullptr;
    QDataTable *m_content = nullptr;
    QDataTable *m_exams = nullptr;
    QSqlRecord *m_reject = nullptr;
    QSqlRecord m_ownReject;
    qlonglong m_examIdentity = 0;
    qint64 m_idPlan = 0;
    QSqlRecord m_plan;
    bool m_treeBuilt = false;
    // The catalogue by parent: type rows by id_parent (0 for the roots),
    // family rows by id_type, stock by family, and type row by id.
    QHash<qint64, QVector<int>> m_typeRows;
    QHash<qint64, QVector<int>> m_familyRows;
    QHash<qint64, int> m_typeRowById;
    QHash<qint64, double> m_stockByFamily;
    bool m_stockRead = false;
    // What the active search found.
    bool m_searching = false;
    QSet<qint64> m_foundTypes;
    QSet<qint64> m_foundFamilies;
    QPointer<QWaitDialog> m_wait;
};
