#include "qsqlconnection.h"

QSqlConnection::QSqlConnection(QObject *parent)
    : QObject(parent)
{
}
