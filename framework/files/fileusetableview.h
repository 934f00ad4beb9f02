#pragma once

#include "rejects_global.h"

#include <QTableView>

class QDataTable;

// The places where one stored file is attached: one row per owner record with
// its table, key, a readable kind ("Дефект", "Изделие", ...) and the owner's
// name, as the script FILE_USE_SELECT answers them in one query.
class REJECTS_EXPORT FileUseTableView : public QTableView
{
    Q_OBJECT
public:
    explicit FileUseTableView(QWidget *parent = nullptr);

    void setData(qint64 fileId);
    QDataTable *table() const { return m_table; }

private:
    QDataTable *m_table;
};
