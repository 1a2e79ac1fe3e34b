// The main function of the widgets' tests: a Qt application that draws nowhere, with its main thread.
#include "base/Localized.h"
#include "base/Runloop.h"

#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    qputenv("LC_ALL", "C.UTF-8"); // texts are compared as they are in English
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const tarvo::Runloop::Main mainThread;
    tarvo::installLocalizedTexts();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
