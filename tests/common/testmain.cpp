#include "testmain.h"

namespace {

QtMessageHandler previousHandler = nullptr;

void wiringGuard(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (previousHandler)
        previousHandler(type, context, message);
    if (type != QtWarningMsg)
        return;
    static const char *const patterns[] = {"No matching signal", "No such signal", "No such slot"};
    for (const char *pattern : patterns) {
        if (message.contains(QLatin1String(pattern))) {
            QTest::qFail(qPrintable(QStringLiteral("wiring error: ") + message),
                         context.file ? context.file : __FILE__, context.line);
            return;
        }
    }
}

} // namespace

void installWiringGuard()
{
    previousHandler = qInstallMessageHandler(wiringGuard);
}
