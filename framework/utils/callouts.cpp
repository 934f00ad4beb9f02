#include "callouts.h"

#include "qsqlconnection.h"
#include "recordhelpers.h"

#include <QCoreApplication>
#include <QLibrary>
#include <QVariant>

namespace {

// Looks a function up in a module library. The QLibrary object lives only for
// the call; the loader keeps the library itself in the process.
template <typename Function> Function resolveCallout(const char *library, const char *function)
{
    QLibrary module(getLibDirFile(QString::fromLatin1(library)));
    return reinterpret_cast<Function>(module.resolve(function));
}

using IconFunction = QIcon (*)();
using ReportFunction = void (*)(qint64, QWidget *);
using WidgetFunction = QWidget *(*)(QWidget *);
using SetIdFunction = void (*)(QWidget *, qint64);
using TechnologyFunction = void (*)(qint64, qint64, QWidget *);

} // namespace

QString getLibDirFile(QString name)
{
    const QString dir = QCoreApplication::instance()
                            ? QCoreApplication::instance()->property("libDir").toString()
                            : QString();
    return dir.isEmpty() ? name : dir + QLatin1Char('/') + name;
}

QIcon getLibIcon(QString name)
{
    QLibrary module(getLibDirFile(name));
    if (auto function = reinterpret_cast<IconFunction>(module.resolve("getIcon")))
        return function();
    return QIcon();
}

void showItemHistoryReport(qint64 familyId, QWidget *parent)
{
    if (auto function = resolveCallout<ReportFunction>("ItemHistoryReport", "getItemHistoryReport"))
        function(familyId, parent);
}

void showItemHistoryReportByItem(qint64 itemId, QWidget *parent)
{
    qint64 familyId = 0;
    QSqlConnection *connection = appConnection();
    if (connection) {
        const QVariant family = connection->execScript(
            QStringLiteral("SELECT id_item_family FROM dirs.t_item WHERE id = %1 ;").arg(itemId));
        familyId = family.toLongLong();
    }
    showItemHistoryReport(familyId, parent);
}

QWidget *getDesignDocumentation(QWidget *parent)
{
    if (auto function =
            resolveCallout<WidgetFunction>("DesignDocumentation", "getDesignDocumentation"))
        return function(parent);
    return nullptr;
}

void setIDVersionDesignDocumentation(QWidget *widget, qint64 versionId)
{
    if (auto function =
            resolveCallout<SetIdFunction>("DesignDocumentation", "setIDVersionDesignDocumentation"))
        function(widget, versionId);
}

void setIDProductDesignDocumentation(QWidget *widget, qint64 productId)
{
    if (auto function =
            resolveCallout<SetIdFunction>("DesignDocumentation", "setIDProductDesignDocumentation"))
        function(widget, productId);
}

QWidget *getFamilyParameters(QWidget *parent)
{
    if (auto function = resolveCallout<WidgetFunction>("FamilyParameters", "getFamilyParameters"))
        return function(parent);
    return nullptr;
}

void setIDFamilyParameters(QWidget *widget, qint64 familyId)
{
    if (auto function = resolveCallout<SetIdFunction>("FamilyParameters", "setIDFamilyParameters"))
        function(widget, familyId);
}

void showFamilyDetailDialog(qint64 familyId, QWidget *parent)
{
    if (auto function =
            resolveCallout<ReportFunction>("FamilyParameters", "showFamilyDetailDialog"))
        function(familyId, parent);
}

void showProcessTechnologyEditor(qint64 first, qint64 second, QWidget *parent)
{
    // The other module exports its editor under the name of a dialog.
    if (auto function = resolveCallout<TechnologyFunction>("ProcessTechnologyEditor",
                                                           "showProcessTechnologyDialog"))
        function(first, second, parent);
}
