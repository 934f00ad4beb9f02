#pragma once

#include <QString>

// One master/detail key link of a QDataSet: when the master table's field
// changes value (a new key from the database), the detail rows holding the
// old value take the new one.
struct dataLink
{
    QString masterTable;
    QString masterField;
    QString detailTable;
    QString detailField;
};
