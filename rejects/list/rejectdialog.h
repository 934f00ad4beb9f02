#pragma once

#include "qdatatable.h"
#include "rejectdecoration.h"
#include "rejects_global.h"

#include <QDialog>
#include <QMap>
#include <QSqlRecord>
#include <QVariant>

namespace Ui {
class RejectDialog;
}

// A read-only list of defects for other modules of the host, optionally of
// one produced unit only, with the stage and status filters and the switch
// that hides analysed defects. It reads the register through its own table
// over the application's connection, not through the module's data set.
class REJECTS_EXPORT RejectDialog : public QDialog
{
    Q_OBJECT
public:
    explicit RejectDialog(QWidget *parent = nullptr);
    ~RejectDialog() override;

    // Shows only the defects of one produced unit; below 1 shows all again.
    void setGroupContent(qint64 id);

    // Whether some defect is registered for the produced unit (any status).
    static bool isRejectExists(qint64 id);

    QDataTable *table() const { return m_table; }

public slots:
    void applyFilters();
    void onGetDispInfo(int colNum, QVariant *data, QCellData *cData, QSqlRecord *);

private:
    QDataTable *m_table = nullptr;
    RejectDecoration m_decoration;
    // The filter values last handed to the table (field -> value).
    QMap<QString, QString> m_filters;
    Ui::RejectDialog *ui = nullptr;
};
