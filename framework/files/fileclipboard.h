#pragma once

#include "rejects_global.h"

#include <QList>
#include <QString>

class QMimeData;

// Copied attachments travel through the clipboard as the ids of their stored
// files (lrg.t_file), so that a paste into another record attaches the same
// files without new content: MIME type "KORVA/fileid", each id an 8-byte
// little-endian signed integer, one after another, in selection order.
REJECTS_EXPORT QString attachmentMimeType();
// New clipboard data carrying `ids` (the caller hands it to the clipboard).
REJECTS_EXPORT QMimeData *attachmentMimeData(const QList<qlonglong> &ids);
// The ids carried by `mime`; empty when it carries none (a trailing partial
// id is ignored).
REJECTS_EXPORT QList<qlonglong> attachmentIds(const QMimeData *mime);
