#include "DeviceDataBackup.h"

#include "BackupFiles.h"
#include "HierarchyExport.h"
#include "PlainTextHierarchy.h"
#include "TarGzWriter.h"

#include "model/JWMemo.h"
#include "platform/base/FreeFileName.h"
#include "platform/settings/FolderPaths.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

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

QString DeviceDataBackup::iPhoneCurrentDataBackupFolderPath(const QDateTime &time) const
{
    const QString base = m_rootFolder + u'/' + folderNameForTime(time);
    return FreeFileName::firstFree(
        base, [&base](int n) -> QString { return base + u'_' + QString::number(n); }, 2,
        [](const QString &candidate) {
            return FreeFileName::isTaken(candidate) || FreeFileName::isTaken(candidate + QStringLiteral(".tar.gz"));
        });
}

Result<QString> DeviceDataBackup::backupJotwell3Data(const JWMemo &memo, const QDateTime &time) const
{
    // An empty root would put the backup at the top of the file system.
    if (m_rootFolder.isEmpty() || !QDir().mkpath(m_rootFolder))
        return Error{QStringLiteral("Cannot create the backup folder \"%1\"").arg(m_rootFolder)};
    const QString folder = iPhoneCurrentDataBackupFolderPath(time);
    const QString top = QFileInfo(folder).fileName() + u'/';

    // The pages go straight into the archive, as the entries that packing
    // the exported folder would give: writing a thousand files only to pack
    // and delete them costs more than all the rest of the backup.
    const std::vector<HierarchyExport::Item> items
        = HierarchyExport::layout(memo, memo.title() + QStringLiteral("_backup"), QStringLiteral("txt"));
    // An export to a folder keeps one file per name; a backup keeps every
    // page, so a name already taken gets a number: "Notes 2.txt".
    QSet<QString> taken;
    const auto freeName = [&taken](const QString &path) {
        QString name = path;
        const qsizetype dot = path.lastIndexOf(u'.');
        for (int n = 2; taken.contains(name); ++n)
            name = path.first(dot) + QStringLiteral(" %1").arg(n) + path.sliced(dot);
        taken.insert(name);
        return name;
    };
    QSet<QString> folders;

    TarGzWriter archive(folder + QStringLiteral(".tar.gz"));
    Status written = archive.open();
    if (written)
        written = archive.addFolder(top);
    for (auto item = items.begin(); written && item != items.end(); ++item) {
        if (!item->page && !folders.contains(item->path)) {
            folders.insert(item->path);
            written = archive.addFolder(top + item->path);
        } else if (item->page) {
            written = archive.addFile(top + freeName(item->path), PlainTextHierarchy::pageText(*item->page).toUtf8());
        }
    }
    if (written)
        written = archive.finish();
    if (!written)
        return Error{QStringLiteral("The backup of \"%1\" failed: %2").arg(memo.title(), written.errorMessage())};

    removeOldFilesInDirectory(m_rootFolder, kKeptBackups);
    return archive.path();
}
