#pragma once

// What the fuzz targets share: stopping on a broken promise so that the
// fuzzer keeps the input, and a GUI application that runs as a user of its
// own.
#include <QDir>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace FuzzSupport {

/** Called with a condition and what it promises: aborts with "<fuzzer> fuzzer: <what>" when it fails. */
struct Requirement
{
    const char *fuzzer;

    void operator()(bool condition, const char *what) const
    {
        if (!condition) {
            std::fprintf(stderr, "%s fuzzer: %s\n", fuzzer, what);
            std::abort();
        }
    }
};

/**
 * Makes the GUI application once: texts need fonts, and fonts need one (on
 * the offscreen platform unless another is set). Pages take their IDs from
 * the preferences, which are saved at every batch of IDs, so HOME and the
 * XDG folders point into a folder of the fuzzer's own, in memory where
 * there is a place for it. The application's warnings are off: thousands of
 * runs would drown the fuzzer's own output.
 */
inline void ensureApplication(const char *name)
{
    static int argc = 1;
    static QByteArray programName;
    static char *argv[] = {nullptr, nullptr};
    if (QCoreApplication::instance())
        return;
    programName = QByteArray(name);
    argv[0] = programName.data();
    static QTemporaryDir home(QDir(QStringLiteral("/dev/shm")).exists()
            ? QStringLiteral("/dev/shm/%1-XXXXXX").arg(QString::fromLatin1(name))
            : QString());
    for (const char *variable : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"})
        qputenv(variable, home.path().toLocal8Bit());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    new QGuiApplication(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("jw.*.warning=false"));
}

} // namespace FuzzSupport
