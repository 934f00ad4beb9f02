#include "linksync.h"

#include "qdatatable.h"

namespace {

// The link row of `linkedId`, preferring a live row to a deleted one; -1 when
// there is none.
int linkRow(QDataTable *links, const QString &field, const QVariant &linkedId)
{
    int deleted = -1;
    for (int row = 0; row < links->rowCount(); ++row) {
        if (links->getField(field, row) != linkedId)
            continue;
        if (links->getRowState(row) != rsDeleted)
            return row;
        deleted = row;
    }
    return deleted;
}

} // namespace

void syncLinks(QDataTable *checks, QDataTable *links, const QString &field, qint64 defectId)
{
    if (!checks || !links)
        return;
    const QString idField = QStringLiteral("id");
    const QString checkField = QStringLiteral("v");
    for (int row = 0; row < checks->rowCount(); ++row) {
        const QVariant linkedId = checks->getField(idField, row);
        const bool checked = checks->getField(checkField, row).toBool();
        const int link = linkRow(links, field, linkedId);
        const bool linked = link >= 0 && links->getRowState(link) != rsDeleted;
        if (checked && !linked) {
            if (link >= 0)
                links->resetOriginalData(link); // a link deleted before this save
            else
                links->append({QStringLiteral("id_process_exam"), field}, {defectId, linkedId});
        } else if (!checked && linked) {
            links->deleteRow(link);
        }
    }
}
