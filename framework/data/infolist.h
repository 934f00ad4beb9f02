#pragma once

#include "colinfo.h"
#include "rejects_global.h"

#include <QHash>
#include <QList>
#include <QStringList>

// The columns of a QDataTable in display order, with an index from the field
// name to the column position. A name declared twice is found at its first
// position.
class REJECTS_EXPORT infoList
{
public:
    typedef QList<colInfo>::const_iterator const_iterator;

    void append(const colInfo &column);
    void clear();

    int count() const { return m_columns.size(); }
    int size() const { return m_columns.size(); }
    bool isEmpty() const { return m_columns.isEmpty(); }

    const colInfo &at(int i) const { return m_columns.at(i); }
    const colInfo &operator[](int i) const { return m_columns.at(i); }
    // Changes every property of a column but its name.
    colInfo &column(int i) { return m_columns[i]; }

    bool contains(const QString &name) const { return m_index.contains(name); }
    // Position of the column named so, -1 when there is none.
    int indexOf(const QString &name) const { return m_index.value(name, -1); }
    QStringList names() const;

    const_iterator begin() const { return m_columns.cbegin(); }
    const_iterator end() const { return m_columns.cend(); }

private:
    QList<colInfo> m_columns;
    QHash<QString, int> m_index;
};
