// main() of jw-bench: a Qt application on the offscreen platform, run as a
// fresh user in throw-away XDG folders, so that benchmarks never touch the
// real home and always start from the same state.
#include "common/FreshHome.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QTemporaryDir>

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir home;
    if (!home.isValid())
        return 2;
    useFreshHome(home.path());

    // Widgets too: the page editor's benchmarks need a QApplication.
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
