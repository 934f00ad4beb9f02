#include "recordhelpers.h"

QVariant objToVar(void *object)
{
    return QVariant(qlonglong(object));
}

void *varToObj(QVariant value)
{
    return reinterpret_cast<void *>(value.toLongLong());
}
