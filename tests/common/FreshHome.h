#pragma once

#include <QDir>
#include <QString>

/**
 * Cuts the process off the user's session bus: the address set here never
 * connects, so nothing run in a test reaches the user's keyring or a running
 * copy of the application. A test that starts a bus of its own (under
 * dbus-run-session) keeps it by setting JW_TEST_PRIVATE_BUS.
 */
inline void cutOffSessionBus()
{
    if (qEnvironmentVariableIsEmpty("JW_TEST_PRIVATE_BUS"))
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
}

/**
 * Makes @p home the user's home for everything that follows: HOME and the
 * XDG config, data and documents folders point inside it, the folders
 * exist, and the session bus is cut off. Tests and benchmarks run as such a
 * fresh user.
 */
inline void useFreshHome(const QString &home)
{
    const QString config = home + QStringLiteral("/config");
    const QString data = home + QStringLiteral("/data");
    const QString documents = home + QStringLiteral("/Documents");
    for (const QString &folder : {config, data, documents})
        QDir().mkpath(folder);
    qputenv("HOME", home.toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", config.toLocal8Bit());
    qputenv("XDG_DATA_HOME", data.toLocal8Bit());
    qputenv("XDG_DOCUMENTS_DIR", documents.toLocal8Bit());
    cutOffSessionBus();
}
