#pragma once

#include "qdatatable.h"
#include "rejectdecoration.h"
#include "rejects_global.h"

#include <QList>
#include <QMap>
#include <QModelIndex>
#include <QPointer>
#include <QSqlRecord>
#include <QVariant>
#include <QWidget>

class QAction;
class QDataSet;
class QProcess;

namespace Ui {
class RejectsView;
}

// The list of all defects ("t_process_exam") with the status, stage and
// product filters, the switch that hides analysed defects, the text search of
// the host's find panel and the list's tool-bar actions.
class REJECTS_EXPORT RejectsView : public QWidget
{
    Q_OBJECT
public:
    explicit RejectsView(QDataSet *dataSet, QWidget *parent = nullptr);
    ~RejectsView() override;

    // The view's tool-bar actions: New, Task, Save, a separator, Delete, Cut,
    // Merge, a separator and Document (the defect act).
    static QList<QAction *> toolBarActions();

    // Makes the defect with this id current; the row, or -1 without a table.
    int setCurrentRowById(qint64 id);

    QDataTable *table() const { return m_table; }
    qint64 cutId() const { return m_cutId; }
    QString searchText() const { return m_searchText; }

    // Writes the rows the list shows into an .xlsx workbook; false when the
    // file could not be written. on_acSave_triggered asks for the name first.
    bool exportToFile(const QString &fileName);

signals:
    void autoEdit();

public slots:
    void updateButtons();
    void afterCommit();
    void search(QString textToFind);
    void applyFilters();
    void onGetDispInfo(int colNum, QVariant *data, QCellData *cData, QSqlRecord *);
    void on_acNew_triggered();
    void on_tvRejects_doubleClicked(QModelIndex index);
    void on_acTask_triggered();
    void on_acSave_triggered();
    void on_acDelete_triggered();
    void on_acCut_triggered();
    void on_acMerge_triggered();
    void on_pbProduct_clicked();
    // Opens the document creator with the defect templates for the current defect.
    void on_acDocument_triggered();

    void refresh();
    void updateFilters();

private:
    QSqlRecord currentRecord() const;
    void makeCurrent(int row);
    void fillFilter(class QComboBox *box, const QString &field, bool sorted);
    void applySearch();
    // Drops the row's pending change and reads it again from the database.
    void reread(qint64 id);

    QDataSet *m_dataSet = nullptr;
    QDataTable *m_table = nullptr;
    RejectDecoration m_decoration;
    qint64 m_cutId = -1;
    QString m_searchText;
    // The filter values last handed to the table (field -> value).
    QMap<QString, QString> m_filters;
    Ui::RejectsView *ui = nullptr;
};
