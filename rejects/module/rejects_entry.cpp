#include "moduleinterface.h"
#include "qdataset.h"
#include "recordhelpers.h"
#include "rejects_global.h"
#include "rejectsdocument.h"

#include <QCoreApplication>
#include <QStringList>

class QSqlConnection;

extern "C" REJECTS_EXPORT QStringList getContent()
{
    return {QStringLiteral("getInterface"), QStringLiteral("getToolBarActions")};
}

// ------------------------------------------------------------- the document

static QDataSet *moduleDocument = nullptr;

extern "C" REJECTS_EXPORT QDataSet *getDocument(QObject *parent)
{
    if (moduleDocument)
        return moduleDocument;
    // Published before its tables exist: code run while they are made gets
    // this same object.
    moduleDocument = new QDataSet(parent);
    RejectsDocument::build(moduleDocument, appConnection(), parent);
    return moduleDocument;
}
