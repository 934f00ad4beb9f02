#pragma once

#include <QApplication>
#include <QtTest>

// Fails the running test on Qt's warnings about connections made by signature
// text that found no signal or slot: such typos fail silently at run time.
void installWiringGuard();

// QTEST_MAIN with a QApplication (tests run with QT_QPA_PLATFORM=offscreen)
// and the wiring guard installed. The guard goes in after QTest has started
// logging: QTest's own message handler passes nothing on to an earlier one,
// and it puts the original handler back when logging stops.
#define REJECTS_TEST_MAIN(TestObject)                                                              \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))                                        \
            qputenv("QT_QPA_PLATFORM", "offscreen");                                               \
        QApplication app(argc, argv);                                                              \
        app.setAttribute(Qt::AA_Use96Dpi, true);                                                   \
        TestObject tc;                                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        QTest::qInit(&tc, argc, argv);                                                             \
        installWiringGuard();                                                                      \
        const int failures = QTest::qRun();                                                        \
        QTest::qCleanup();                                                                         \
        return failures;                                                                           \
    }
