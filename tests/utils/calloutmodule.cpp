// A stand-in for another module of the host application, built once per
// module name (MODULE_NAME). It exports the functions that the call-outs look
// up in the modules (none when built as BARE_MODULE, the module's icon only
// with MODULE_ICON) and appends each call it receives to the application
// property "callouts" as "Module:function(arguments)", so that the test reads
// which library got which call with which arguments.

#include <QApplication>
#include <QIcon>
#include <QLabel>
#include <QPixmap>

#define MODULE_EXPORT extern "C" Q_DECL_EXPORT

namespace {

[[maybe_unused]] QString pointer(const void *p)
{
    return QString::number(quintptr(p), 16);
}

[[maybe_unused]] void note(const char *function, const QVariantList &arguments)
{
    QStringList texts;
    for (const QVariant &argument : arguments)
        texts << argument.toString();
    const QString call = QStringLiteral("%1:%2(%3)").arg(MODULE_NAME, function, texts.join(','));
    qApp->setProperty("callouts", qApp->property("callouts").toStringList() << call);
}

} // namespace

#ifndef BARE_MODULE
MODULE_EXPORT void getItemHistoryReport(qint64 familyId, QWidget *parent)
{
    note("getItemHistoryReport", {familyId, pointer(parent)});
}

MODULE_EXPORT QWidget *getDesignDocumentation(QWidget *parent)
{
    note("getDesignDocumentation", {pointer(parent)});
    return new QLabel(parent);
}

MODULE_EXPORT void setIDVersionDesignDocumentation(QWidget *widget, qint64 versionId)
{
    note("setIDVersionDesignDocumentation", {pointer(widget), versionId});
}

MODULE_EXPORT void setIDProductDesignDocumentation(QWidget *widget, qint64 productId)
{
    note("setIDProductDesignDocumentation", {pointer(widget), productId});
}

MODULE_EXPORT QWidget *getFamilyParameters(QWidget *parent)
{
    note("getFamilyParameters", {pointer(parent)});
    return new QLabel(parent);
}

MODULE_EXPORT void setIDFamilyParameters(QWidget *widget, qint64 familyId)
{
    note("setIDFamilyParameters", {pointer(widget), familyId});
}

MODULE_EXPORT void showFamilyDetailDialog(qint64 familyId, QWidget *parent)
{
    note("showFamilyDetailDialog", {familyId, pointer(parent)});
}

MODULE_EXPORT void showProcessTechnologyDialog(qint64 first, qint64 second, QWidget *parent)
{
    note("showProcessTechnologyDialog", {first, second, pointer(parent)});
}
#endif

#ifdef MODULE_ICON
// The module's own icon.
MODULE_EXPORT QIcon getIcon()
{
    return QIcon(QPixmap(16, 16));
}
#endif
