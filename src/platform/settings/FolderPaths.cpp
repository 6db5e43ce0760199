#include "FolderPaths.h"

#include "platform/base/Localization.h"
#include "platform/base/PlatformLog.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/base/StandardFolders.h"
#include "UserDefaults.h"

#include <QDir>
#include <QFileInfo>

namespace {

// The folder at @p path, created when missing; empty if it cannot be made.
QString ensureFolder(const QString &path)
{
    if (QFileInfo(path).isDir())
        return path;
    if (!QDir().mkpath(path)) {
        qCWarning(lcPlatform) << "Cannot create the folder" << path;
        return {};
    }
    return path;
}

// A folder inside @p parent; empty when the parent itself could not be made,
// so that nothing is ever created at the file-system root instead.
QString childFolder(const QString &parent, const QString &name)
{
    if (parent.isEmpty())
        return {};
    return ensureFolder(parent + u'/' + name);
}

} // namespace

QString applicationSupportPathForName(const QString &name)
{
    return childFolder(StandardFolders::dataHome(), name);
}

QString userDocumentPathForName(const QString &name)
{
    return childFolder(StandardFolders::documentsFolder(), name);
}

QString appName()
{
    const QString key = QStringLiteral("CFBundleName");
    const QString name = localizedString(key, "InfoPlist");
    return name.isEmpty() || name == key ? QStringLiteral("Jotwell3") : name;
}

QString dataFolderPath()
{
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    const QString chosen = defaults.stringForKey(PreferenceKeys::dataFolderPath);
    if (!chosen.isEmpty()) {
        ensureFolder(chosen);
        return chosen;
    }

    QString path = applicationSupportPathForName(appName());
    if (path.isEmpty())
        path = userDocumentPathForName(appName());
    if (!path.isEmpty())
        defaults.setValue(PreferenceKeys::dataFolderPath, path);
    return path;
}

QString noteDataFolderPath()
{
    return childFolder(dataFolderPath(), QStringLiteral("Note Data"));
}

QString trashFolderPath()
{
    return childFolder(noteDataFolderPath(), QStringLiteral("Unused Files"));
}

QString iPhoneDataBackupRootFolderPath()
{
    return childFolder(dataFolderPath(), QStringLiteral("iPhone Data Backup"));
}

QString dataFilePath()
{
    return dataFolderPath() + QStringLiteral("/JW3Data.jw3datastore");
}

QString dataDictionaryFilePath()
{
    return dataFolderPath() + QStringLiteral("/JW3Data.jw3settings");
}

QString notePathForID(qint64 memoID)
{
    return noteDataFolderPath() + u'/' + QString::number(memoID) + QStringLiteral(".jw3page");
}

namespace {

// The page file's path without its extension: web archives sit beside it.
QString notePathStemForID(qint64 memoID)
{
    QString path = notePathForID(memoID);
    path.chop(qsizetype(sizeof(".jw3page") - 1));
    return path;
}

} // namespace

QString webarchivePathForID(qint64 memoID)
{
    return notePathStemForID(memoID) + QStringLiteral(".webarchive");
}

QString mobileWebarchivePathForID(qint64 memoID)
{
    return notePathStemForID(memoID) + QStringLiteral("_mobile.webarchive");
}
