#include "AppSupportBackUp.h"

#include "TarGzReader.h"
#include "TarGzWriter.h"

#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

#include <utility>

AppSupportBackUp::AppSupportBackUp(QString appName)
    : m_appName(std::move(appName))
{ }

QString AppSupportBackUp::applicationSupportPath() const
{
    return applicationSupportPathForName(m_appName);
}

QString AppSupportBackUp::preferenceFolderPath()
{
    return QFileInfo(preferenceFilePath()).absolutePath();
}

QString AppSupportBackUp::preferenceFilePath()
{
    return UserDefaults::standardUserDefaults().filePath();
}

Result<QString> AppSupportBackUp::backUpFile(const QString &filePath, const QString &archiveName) const
{
    const QFileInfo source(filePath);
    if (!source.isFile())
        return Error{QStringLiteral("Cannot back up \"%1\": there is no such file").arg(filePath)};
    const QString folder = applicationSupportPath();
    if (folder.isEmpty())
        return Error{QStringLiteral("Cannot back up \"%1\": there is no application support folder").arg(filePath)};
    const QString name = archiveName.isEmpty() ? source.fileName() : archiveName;
    TarGzWriter archive(folder + u'/' + name + QStringLiteral(".tar.gz"));
    Status written = archive.open();
    if (written)
        written = archive.addPath(source.absoluteFilePath(), source.fileName());
    if (written)
        written = archive.finish();
    if (!written)
        return Error{written.errorMessage()};
    return archive.path();
}

Result<QString> AppSupportBackUp::backupPreferenceFileWithAppName(const QString &appName)
{
    return AppSupportBackUp(appName).backUpFile(preferenceFilePath());
}

Result<QString> AppSupportBackUp::extractBackUpFile(const QString &filePath, bool reveal) const
{
    const QString name = QFileInfo(filePath).fileName();
    const QString folder = applicationSupportPath();
    const QString archive = folder + u'/' + name + QStringLiteral(".tar.gz");
    if (!QFileInfo(archive).isFile())
        return Error{QStringLiteral("There is no backup \"%1\"").arg(archive)};

    QString target = folder + u'/' + name + QStringLiteral(" restored");
    for (int number = 2; QFileInfo::exists(target); ++number)
        target = folder + u'/' + name + QStringLiteral(" restored %1").arg(number);
    if (!QDir().mkdir(target))
        return Error{QStringLiteral("Cannot create the folder \"%1\"").arg(target)};
    if (Status unpacked = TarGzReader::unpack(archive, target); !unpacked) {
        QDir(target).removeRecursively();
        return Error{unpacked.errorMessage()};
    }
    if (reveal)
        QDesktopServices::openUrl(QUrl::fromLocalFile(target));
    return target;
}
