#pragma once

#include "rejects_global.h"

#include <QIcon>
#include <QString>

class QWidget;

// Calls into other modules of the host application. Modules do not link
// against each other: a call-out loads the other module's library by its
// module name from the directory of the application property "libDir" at the
// moment of the call, looks up one exported function and calls it with its
// own arguments unchanged. A library that cannot be loaded, or that lacks the
// function, makes the call-out do nothing (or return null or a null icon).
//
// Contract with the other modules (unmangled, extern "C" exports):
//   library "ItemHistoryReport"
//     void     getItemHistoryReport(qint64 familyId, QWidget *parent)
//   library "DesignDocumentation"
//     QWidget *getDesignDocumentation(QWidget *parent)
//     void     setIDVersionDesignDocumentation(QWidget *widget, qint64 versionId)
//     void     setIDProductDesignDocumentation(QWidget *widget, qint64 productId)
//   library "FamilyParameters"
//     QWidget *getFamilyParameters(QWidget *parent)
//     void     setIDFamilyParameters(QWidget *widget, qint64 familyId)
//     void     showFamilyDetailDialog(qint64 familyId, QWidget *parent)
//   library "ProcessTechnologyEditor"
//     void     showProcessTechnologyDialog(qint64, qint64, QWidget *parent)
//   any module library
//     QIcon    getIcon()

// The path of a module library: "libDir", "/" and the name when "libDir" is a
// non-empty text, else the name alone (the loader adds prefix and suffix).
REJECTS_EXPORT QString getLibDirFile(QString name);

// The icon of another module (its "getIcon"), or a null icon.
REJECTS_EXPORT QIcon getLibIcon(QString name);

REJECTS_EXPORT void showItemHistoryReport(qint64 familyId, QWidget *parent);
// The item history report for the family of an item, looked up through the
// application's "Connection" with the driver's value-returning script; an
// unknown item, or no connection, gives the family 0.
REJECTS_EXPORT void showItemHistoryReportByItem(qint64 itemId, QWidget *parent);

REJECTS_EXPORT QWidget *getDesignDocumentation(QWidget *parent);
REJECTS_EXPORT void setIDVersionDesignDocumentation(QWidget *widget, qint64 versionId);
REJECTS_EXPORT void setIDProductDesignDocumentation(QWidget *widget, qint64 productId);

REJECTS_EXPORT QWidget *getFamilyParameters(QWidget *parent);
REJECTS_EXPORT void setIDFamilyParameters(QWidget *widget, qint64 familyId);
REJECTS_EXPORT void showFamilyDetailDialog(qint64 familyId, QWidget *parent);

// Opens the process technology editor of the other module (which exports it
// as "showProcessTechnologyDialog").
REJECTS_EXPORT void showProcessTechnologyEditor(qint64 first, qint64 second, QWidget *parent);
