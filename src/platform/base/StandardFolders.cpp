#include "StandardFolders.h"

#include <QDir>
#include <QStandardPaths>

namespace {

// An absolute path from the environment, or nothing: the XDG rules ignore
// relative values.
QString absolutePathFromEnvironment(const char *name)
{
    const QString value = qEnvironmentVariable(name);
    if (value.isEmpty() || QDir::isRelativePath(value))
        return {};
    return QDir::cleanPath(value);
}

} // namespace

QString StandardFolders::configHome()
{
    const QString fromEnvironment = absolutePathFromEnvironment("XDG_CONFIG_HOME");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
}

QString StandardFolders::dataHome()
{
    const QString fromEnvironment = absolutePathFromEnvironment("XDG_DATA_HOME");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
}

QString StandardFolders::documentsFolder()
{
    // xdg-user-dirs lets the environment override user-dirs.dirs; Qt only
    // reads the file, so the variable is honoured here first.
    const QString fromEnvironment = absolutePathFromEnvironment("XDG_DOCUMENTS_DIR");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
}
