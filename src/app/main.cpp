#include "app/CommandLine.h"
#include "app/RegisteredDefaults.h"
#include "platform/FolderPaths.h"
#include "platform/Localization.h"
#include "platform/TerminationSignals.h"
#include "platform/UserDefaults.h"
#include "windows/StartWindow.h"

#include <QApplication>
#include <QTextStream>
#include <QTimer>

namespace {

// Checks what a user would see first; the exit code tells the smoke test.
int runSelfTest(QApplication &app, const StartWindow &window)
{
    int result = 1;
    QTimer::singleShot(0, &app, [&] {
        QTextStream out(stdout);
        const bool shown = window.isVisible() && window.windowTitle() == appName();
        out << (shown ? "self-test passed: " : "self-test failed: ") << "window \"" << window.windowTitle()
            << "\" " << (window.isVisible() ? "shown" : "not shown") << Qt::endl;
        result = shown ? 0 : 1;
        app.quit();
    });
    app.exec();
    return result;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setApplicationName(QStringLiteral("jotwell3"));
    QCoreApplication::setApplicationVersion(QStringLiteral(JW_VERSION));
    // Arguments are read before the GUI application exists, so that --help
    // and --version work without a display.
    CommandLine options;
    {
        QCoreApplication parsing(argc, argv);
        options = CommandLine::parse(QCoreApplication::arguments());
    }

    QApplication app(argc, argv);
    Localization::install();
    TerminationSignals::quitApplicationOnTermination();

    RegisteredDefaults::registerWith(UserDefaults::standardUserDefaults());

    int status = 0;
    {
        StartWindow window;
        window.show();
        status = options.selfTest ? runSelfTest(app, window) : app.exec();
    }
    // Writes what is pending while the application object still exists.
    UserDefaults::resetStandardUserDefaults();
    return status;
}
