// A stand-in for another module of the host application, built once per
// module name. It exports the functions that the call-outs look up in that
// module and records each call it receives, so that the test can read back
// which library got which call with which arguments (calloutRecord).

#include <QIcon>
#include <QLabel>
#include <QPixmap>
#include <QString>
#include <QWidget>

#define MODULE_EXPORT extern "C" Q_DECL_EXPORT

namespace {
QByteArray record;

QString pointer(const void *p)
{
    return QString::number(quintptr(p), 16);
}

void note(const char *function, const QString &arguments)
{
    record = QStringLiteral("%1:%2(%3)")
                 .arg(QStringLiteral(MODULE_NAME), QString::fromLatin1(function), arguments)
                 .toUtf8();
}

[[maybe_unused]] QWidget *makeWidget(const char *function, QWidget *parent)
{
    auto *widget = new QLabel(parent);
    widget->setObjectName(QStringLiteral(MODULE_NAME));
    note(function, pointer(parent));
    return widget;
}
} // namespace

MODULE_EXPORT const char *calloutRecord()
{
    return record.constData();
}

MODULE_EXPORT void calloutReset()
{
    record.clear();
}

#ifdef MODULE_ItemHistoryReport
MODULE_EXPORT void getItemHistoryReport(qint64 familyId, QWidget *parent)
{
    note("getItemHistoryReport", QStringLiteral("%1,%2").arg(familyId).arg(pointer(parent)));
}
#endif

#ifdef MODULE_DesignDocumentation
MODULE_EXPORT QWidget *getDesignDocumentation(QWidget *parent)
{
    return makeWidget("getDesignDocumentation", parent);
}

MODULE_EXPORT void setIDVersionDesignDocumentation(QWidget *widget, qint64 versionId)
{
    note("setIDVersionDesignDocumentation",
         QStringLiteral("%1,%2").arg(pointer(widget)).arg(versionId));
}

MODULE_EXPORT void setIDProductDesignDocumentation(QWidget *widget, qint64 productId)
{
    note("setIDProductDesignDocumentation",
         QStringLiteral("%1,%2").arg(pointer(widget)).arg(productId));
}
#endif

#ifdef MODULE_FamilyParameters
MODULE_EXPORT QWidget *getFamilyParameters(QWidget *parent)
{
    return makeWidget("getFamilyParameters", parent);
}

MODULE_EXPORT void setIDFamilyParameters(QWidget *widget, qint64 familyId)
{
    note("setIDFamilyParameters", QStringLiteral("%1,%2").arg(pointer(widget)).arg(familyId));
}

MODULE_EXPORT void showFamilyDetailDialog(qint64 familyId, QWidget *parent)
{
    note("showFamilyDetailDialog", QStringLiteral("%1,%2").arg(familyId).arg(pointer(parent)));
}

// The module's own icon: a plain red square.
MODULE_EXPORT QIcon getIcon()
{
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::red);
    note("getIcon", QString());
    return QIcon(pixmap);
}
#endif

#ifdef MODULE_ProcessTechnologyEditor
MODULE_EXPORT void showProcessTechnologyDialog(qint64 first, qint64 second, QWidget *parent)
{
    note("showProcessTechnologyDialog",
         QStringLiteral("%1,%2,%3").arg(first).arg(second).arg(pointer(parent)));
}

// Same name as the caller's wrapper: must never be the one that is called.
MODULE_EXPORT void showProcessTechnologyEditor(qint64 first, qint64 second, QWidget *parent)
{
    note("showProcessTechnologyEditor",
         QStringLiteral("%1,%2,%3").arg(first).arg(second).arg(pointer(parent)));
}
#endif
