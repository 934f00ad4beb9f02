#include "fileclipboard.h"

#include <QMimeData>
#include <QtEndian>

QString attachmentMimeType()
{
    return QStringLiteral("KORVA/fileid");
}

QMimeData *attachmentMimeData(const QList<qlonglong> &ids)
{
    QByteArray data;
    for (const qlonglong id : ids) {
        char bytes[8];
        qToLittleEndian<qint64>(id, bytes);
        data.append(bytes, 8);
    }
    auto *mime = new QMimeData;
    mime->setData(attachmentMimeType(), data);
    return mime;
}

QList<qlonglong> attachmentIds(const QMimeData *mime)
{
    QList<qlonglong> ids;
    if (!mime || !mime->hasFormat(attachmentMimeType()))
        return ids;
    const QByteArray data = mime->data(attachmentMimeType());
    for (int at = 0; at + 8 <= data.size(); at += 8)
        ids << qFromLittleEndian<qint64>(data.constData() + at);
    return ids;
}
