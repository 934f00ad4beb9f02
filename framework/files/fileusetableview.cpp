#include "fileusetableview.h"

#include "qdatatable.h"
#include "recordhelpers.h"

#include <QHeaderView>

FileUseTableView::FileUseTableView(QWidget *parent)
    : QTableView(parent)
    , m_table(new QDataTable(QStringLiteral("t_file_use"), appConnection(), this))
{
    m_table->setScripts(QStringLiteral("FILE_USE_SELECT"), QString(), QString(), QString());
    m_table->addColumn(QStringLiteral("c_table"), QVariant::String, true, tr("Таблица"), 0, 160);
    m_table->addColumn(QStringLiteral("n_key"), QVariant::LongLong, true, tr("Ключ"), 0, 80);
    m_table->addColumn(QStringLiteral("c_description"), QVariant::String, true, tr("Описание"), 0,
                       160);
    m_table->addColumn(QStringLiteral("c_name"), QVariant::String, true, tr("Имя"), 0, 240);
    m_table->addColumn(QStringLiteral("id"), QVariant::LongLong, false);
    m_table->setView(this);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    horizontalHeader()->setStretchLastSection(true);
}

void FileUseTableView::setData(qint64 fileId)
{
    m_table->close();
    m_table->setSelectParam(QStringLiteral("id"), fileId);
    m_table->open();
}
