#pragma once

#include <QDir>
#include <QString>

/**
 * Makes @p home the user's home for everything that follows: HOME and the
 * XDG config, data and documents folders point inside it, and the folders
 * exist. Tests and benchmarks run as such a fresh user.
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
}
