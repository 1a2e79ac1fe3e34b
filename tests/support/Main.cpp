// The main function of every test program: a Qt application with its main thread, as the programs have.
#include "base/Localized.h"
#include "base/Runloop.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    qputenv("LC_ALL", "C.UTF-8"); // texts are compared as they are in English
    QCoreApplication application(argc, argv);
    const tarvo::Runloop::Main mainThread;
    tarvo::installLocalizedTexts();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
