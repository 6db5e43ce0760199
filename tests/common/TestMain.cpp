// main() of every test executable: a Qt application on the offscreen
// platform, in a home of its own, so that no test touches the user's files or
// needs a display.
#include "FreshHome.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <QtGlobal>

#ifdef JW_TEST_WIDGETS
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QGuiApplication>
using TestApplication = QGuiApplication;
#endif

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    // A safety net beneath the per-test folders of FreshUserTest: even code
    // that runs outside a fixture never sees the real home.
    QTemporaryDir home;
    if (!home.isValid())
        return 2;
    useFreshHome(home.path());

    TestApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
