#include "app/ApplicationAdaptor.h"
#include "app/CommandLine.h"
#include "app/CommandLineExport.h"
#include "app/CommandLineImport.h"
#include "app/DataFolderLock.h"
#include "app/JW3Controller.h"
#include "app/RegisteredDefaults.h"
#include "app/SingleInstance.h"
#include "app/StartupMeasurement.h"
#include "model/DataStore.h"
#include "platform/settings/FolderPaths.h"
#include "platform/base/Localization.h"
#include "platform/base/TerminationSignals.h"
#include "platform/settings/UserDefaults.h"
#include "windows/NoteWindowController.h"

#include <QApplication>
#include <QMessageBox>
#include <QStyle>
#include <QTextStream>
#include <QTimer>

#include <memory>

namespace {

bool hasScreenForDialogs()
{
    return QGuiApplication::platformName() != QLatin1String("offscreen");
}

// Says what stopped the start or the hand-over. Never in a dialog: a script
// that started this process would wait on it until someone clicked it away.
// Only the running application shows messages.
int refuseToStart(const QString &message)
{
    QTextStream(stderr) << message << Qt::endl;
    return 1;
}

// The data folder, locked and loaded without a host, for a command that
// shows no window; null, with the reason on standard error, when it cannot
// be locked or read.
std::unique_ptr<DataStore> loadWithoutWindows(const QString &folder, DataFolderLock &lock)
{
    if (Status locked = lock.lock(folder); !locked) {
        refuseToStart(locked.errorMessage());
        return nullptr;
    }
    auto store = std::make_unique<DataStore>();
    store->loadNoteData();
    for (const QString &problem : store->problems())
        QTextStream(stderr) << problem << Qt::endl;
    if (!store->rootMemo()) {
        refuseToStart(QCoreApplication::translate("main", "The data folder \"%1\" cannot be read").arg(folder));
        return nullptr;
    }
    return store;
}

// An export asked for on the command line when no application runs on the
// folder: the folder is read, the pages written, and nothing is shown.
int exportWithoutWindows(const QString &folder, const ApplicationRequest &request)
{
    DataFolderLock lock;
    const std::unique_ptr<DataStore> store = loadWithoutWindows(folder, lock);
    if (!store)
        return 1;
    if (const QString problems = CommandLineExport::perform(store->tree(), request); !problems.isEmpty())
        return refuseToStart(problems);
    return 0;
}

// An import asked for on the command line when no application runs on the
// folder: the folder is read, the files imported, the folder saved.
int importWithoutWindows(const QString &folder, const ApplicationRequest &request)
{
    DataFolderLock lock;
    const std::unique_ptr<DataStore> store = loadWithoutWindows(folder, lock);
    if (!store)
        return 1;
    const CommandLineImport::Outcome imported = CommandLineImport::perform(store->tree(), request);
    if (imported.pages > 0) {
        if (Status saved = store->save(); !saved)
            return refuseToStart(saved.errorMessage());
    }
    QTextStream(stdout) << QCoreApplication::translate("main", "%n page(s) imported.", nullptr, int(imported.pages))
                        << Qt::endl;
    if (!imported.problems.isEmpty())
        return refuseToStart(imported.problems.join(u'\n'));
    return 0;
}

void showProblem(const QString &message)
{
    if (!hasScreenForDialogs())
        return; // logged by the controller already
    auto *box = new QMessageBox(QMessageBox::Warning, appName(), message);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

// Checks what a user would see first; the exit code tells the smoke test.
void checkFirstWindow(QApplication &app, const JW3Controller &controller, int &result)
{
    QTimer::singleShot(0, &app, [&] {
        const QWidget *shown = nullptr;
        for (const QWidget *widget : QApplication::topLevelWidgets()) {
            if (widget->isVisible() && widget->windowTitle() == appName())
                shown = widget;
        }
        const bool ok = shown && controller.frontWindowController();
        QTextStream(stdout) << (ok ? "self-test passed: " : "self-test failed: ") << "window \"" << appName() << "\" "
                            << (shown ? "shown" : "not shown") << Qt::endl;
        // What the toolkit's own options changed, for the one who gave them.
        QTextStream(stdout) << "style: " << QApplication::style()->name() << ", "
                            << (QGuiApplication::isRightToLeft() ? "right to left" : "left to right") << Qt::endl;
        result = ok ? 0 : 1;
        app.quit();
    });
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

    StartupMeasurement measurement;
    if (options.measureStartup)
        measurement.start();

    int status = 0;
    {
        const QString folder = dataFolderPath();
        const QString serviceName = SingleInstance::serviceNameForFolder(folder);
        QString handOverProblem;
        switch (SingleInstance::handOver(serviceName, options.request, &handOverProblem)) {
        case SingleInstance::HandOver::Done:
            return 0;
        case SingleInstance::HandOver::Failed:
            return refuseToStart(handOverProblem);
        case SingleInstance::HandOver::NoneRunning:
            break;
        }
        if (!options.request.exportFormat.isEmpty())
            return exportWithoutWindows(folder, options.request);
        if (!options.request.importPaths.isEmpty() || !options.request.legacyPreferencesPath.isEmpty())
            return importWithoutWindows(folder, options.request);

        JW3Controller controller([](NoteTreeHost &host) { return std::make_unique<NoteWindowController>(host); });
        // Taking the bus name is what decides between two starts at once:
        // the one that lost hands its request over after all.
        if (Status registered = SingleInstance::registerController(controller, serviceName); !registered) {
            switch (SingleInstance::handOver(serviceName, options.request, &handOverProblem)) {
            case SingleInstance::HandOver::Done:
                return 0;
            case SingleInstance::HandOver::Failed:
                return refuseToStart(handOverProblem);
            case SingleInstance::HandOver::NoneRunning:
                break; // no bus, or the winner quit at once: the lock decides
            }
        }
        if (Status locked = controller.claimDataFolder(folder); !locked)
            return refuseToStart(locked.errorMessage());

        QObject::connect(&controller, &JW3Controller::problemReported, &app, &showProblem);
        QObject::connect(
            &controller, &JW3Controller::terminateRequested, &app, &QApplication::quit, Qt::QueuedConnection);
        QObject::connect(&app, &QApplication::aboutToQuit, &controller, &JW3Controller::applicationWillTerminate);
        QObject::connect(&measurement, &StartupMeasurement::firstWindowPainted, &app, [&app](double milliseconds) {
            QTextStream(stdout) << "startup: " << qRound(milliseconds) << " ms" << Qt::endl;
            app.quit();
        });

        controller.startUp();
        if (!options.request.isEmpty()) {
            if (const QString problems = ApplicationAdaptor::perform(controller, options.request);
                !problems.isEmpty()) {
                QTextStream(stderr) << problems << Qt::endl;
                showProblem(problems);
            }
        }
        if (options.selfTest)
            checkFirstWindow(app, controller, status);
        const int exitCode = app.exec();
        if (!options.selfTest)
            status = exitCode;
    }
    // Writes what is pending while the application object still exists.
    UserDefaults::resetStandardUserDefaults();
    return status;
}
