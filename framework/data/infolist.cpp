#include "infolist.h"

void infoList::append(const colInfo &column)
{
    if (!m_index.contains(column.name))
        m_index.insert(column.name, m_columns.size());
    m_columns.append(column);
}

void infoList::clear()
{
    m_columns.clear();
    m_index.clear();
}

QStringList infoList::names() const
{
    QStringList result;
    result.reserve(m_columns.size());
    for (const colInfo &column : m_columns)
        result.append(column.name);
    return result;
}
