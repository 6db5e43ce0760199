#include "DeviceDataBackup.h"

#include "BackupFiles.h"
#include "ExchangeLog.h"
#include "PlainTextHierarchy.h"

#include "model/JWMemo.h"
#include "platform/base/FreeFileName.h"
#include "platform/settings/FolderPaths.h"

#include <QDir>
#include <QFileInfo>

#include <utility>

DeviceDataBackup::DeviceDataBackup()
    : DeviceDataBackup(iPhoneDataBackupRootFolderPath())
{ }

DeviceDataBackup::DeviceDataBackup(QString rootFolder)
    : m_rootFolder(std::move(rootFolder))
{ }

QString DeviceDataBackup::folderNameForTime(const QDateTime &time)
{
    return time.toUTC().toString(QStringLiteral("yyyy-MM-dd_HH-mm-ss")) + u'Z';
}

Result<QString> DeviceDataBackup::iPhoneCurrentDataBackupFolderPath(const QDateTime &time) const
{
    // An empty root would put the backup at the top of the file system.
    if (m_rootFolder.isEmpty() || !QDir().mkpath(m_rootFolder))
        return Error{QStringLiteral("Cannot create the backup folder \"%1\"").arg(m_rootFolder)};
    const QString base = m_rootFolder + u'/' + folderNameForTime(time);
    const QString folder = FreeFileName::firstFree(
        base, [&base](int n) -> QString { return base + u'_' + QString::number(n); }, 2,
        [](const QString &candidate) {
            return FreeFileName::isTaken(candidate) || FreeFileName::isTaken(candidate + QStringLiteral(".tar.gz"));
        });
    if (!QDir().mkdir(folder))
        return Error{QStringLiteral("Cannot create the backup folder \"%1\"").arg(folder)};
    return folder;
}

Result<QString> DeviceDataBackup::backupJotwell3Data(const JWMemo &memo, const QDateTime &time) const
{
    Result<QString> created = iPhoneCurrentDataBackupFolderPath(time);
    if (!created)
        return created;
    const QString folder = created.value();

    Status exported
        = PlainTextHierarchy::exportMemosASPlainText(memo, folder, memo.title() + QStringLiteral("_backup"));
    Result<QString> archive = exported ? compressFile(folder) : Result<QString>(Error{exported.errorMessage()});
    if (!QDir(folder).removeRecursively())
        qCWarning(lcExchange) << "Cannot remove the backup folder" << folder;
    if (!archive)
        return Error{QStringLiteral("The backup of \"%1\" failed: %2").arg(memo.title(), archive.errorMessage())};

    removeOldFilesInDirectory(m_rootFolder, kKeptBackups);
    return archive;
}
