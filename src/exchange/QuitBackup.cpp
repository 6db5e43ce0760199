#include "QuitBackup.h"

#include "BackupFiles.h"
#include "DeviceDataBackup.h"

#include "platform/base/FreeFileName.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The name of a backup being built: hidden, and never taken for a dated one.
constexpr QLatin1StringView kPartialPrefix{".partial-"};

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

Error fileError(const char *what, const QByteArray &path)
{
    return Error{
        QStringLiteral("Cannot %1 \"%2\": %3").arg(QLatin1StringView(what), QFile::decodeName(path), systemError())};
}

/**
 * Gives @p to (an existing folder) the entries of @p from, folders made
 * anew, files hard-linked or, where linking is refused, copied, symbolic
 * links made anew with the same target. Other kinds of entries (sockets,
 * pipes) hold no data and are left out.
 */
Status mirrorFolder(const QByteArray &from, const QByteArray &to)
{
    const std::unique_ptr<DIR, int (*)(DIR *)> dir(::opendir(from.constData()), ::closedir);
    if (!dir)
        return fileError("read the folder", from);
    for (;;) {
        errno = 0;
        const dirent *entry = ::readdir(dir.get());
        if (!entry) {
            if (errno != 0)
                return fileError("read the folder", from);
            return {};
        }
        const QByteArray name(entry->d_name);
        if (name == "." || name == "..")
            continue;
        const QByteArray source = from + '/' + name;
        const QByteArray target = to + '/' + name;

        unsigned char type = entry->d_type;
        if (type == DT_UNKNOWN) {
            struct stat status = {};
            if (::lstat(source.constData(), &status) != 0)
                return fileError("read", source);
            type = S_ISDIR(status.st_mode) ? DT_DIR
                : S_ISREG(status.st_mode)  ? DT_REG
                : S_ISLNK(status.st_mode)  ? DT_LNK
                                           : DT_UNKNOWN;
        }

        if (type == DT_DIR) {
            if (::mkdir(target.constData(), 0755) != 0)
                return fileError("create the folder", target);
            if (Status inner = mirrorFolder(source, target); !inner)
                return inner;
        } else if (type == DT_REG) {
            // A file system without hard links, or another one mounted
            // inside the folder, refuses the link; a copy does as well.
            if (::link(source.constData(), target.constData()) != 0
                && !QFile::copy(QFile::decodeName(source), QFile::decodeName(target)))
                return fileError("back up", source);
        } else if (type == DT_LNK) {
            QByteArray linkTarget(PATH_MAX, Qt::Uninitialized);
            const ssize_t length = ::readlink(source.constData(), linkTarget.data(), linkTarget.size());
            if (length < 0)
                return fileError("read the link", source);
            linkTarget.truncate(length);
            if (::symlink(linkTarget.constData(), target.constData()) != 0)
                return fileError("create the link", target);
        }
    }
}

Status copyFile(const QString &source, const QString &target)
{
    QFile file(source);
    if (!file.copy(target))
        return Error{QStringLiteral("Cannot copy \"%1\": %2").arg(source, file.errorString())};
    return {};
}

// Puts what was written into the backup on the disk before it gets its
// dated name, so that even a power loss leaves no partial backup under it.
Status syncFolder(const QString &folder)
{
    const QByteArray path = QFile::encodeName(folder);
    const int fd = ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return fileError("open the folder", path);
    const bool synced = ::syncfs(fd) == 0;
    ::close(fd);
    if (!synced)
        return fileError("write to the disk", path);
    return {};
}

void removeStalePartialBackups(const QString &backups)
{
    const QDir folder(backups);
    const QStringList stale = folder.entryList(
        {kPartialPrefix + u'*'}, QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot | QDir::NoSymLinks);
    for (const QString &name : stale)
        QDir(folder.filePath(name)).removeRecursively();
}

} // namespace

Result<QString> QuitBackup::backUp(const QString &dataFolder, const QDateTime &time)
{
    const QString dataFile = dataFolder + QStringLiteral("/JW3Data.jw3datastore");
    const QString settingsFile = dataFolder + QStringLiteral("/JW3Data.jw3settings");
    const QString noteData = dataFolder + QStringLiteral("/Note Data");
    const QString backups = dataFolder + u'/' + kBackupsFolderName;

    if (!QFileInfo(dataFile).isFile())
        return Error{QStringLiteral("There is no data store to back up in \"%1\"").arg(dataFolder)};
    if (!QDir().mkpath(backups))
        return Error{QStringLiteral("Cannot create the backup folder \"%1\"").arg(backups)};
    removeStalePartialBackups(backups);

    QTemporaryDir partial(backups + u'/' + kPartialPrefix + QStringLiteral("XXXXXX"));
    if (!partial.isValid())
        return Error{QStringLiteral("Cannot create a folder in \"%1\": %2").arg(backups, partial.errorString())};

    Status made = copyFile(dataFile, partial.filePath(QFileInfo(dataFile).fileName()));
    if (made && QFileInfo::exists(settingsFile))
        made = copyFile(settingsFile, partial.filePath(QFileInfo(settingsFile).fileName()));
    if (made && QFileInfo(noteData).isDir() && !QFileInfo(noteData).isSymLink()) {
        const QByteArray target = QFile::encodeName(partial.filePath(QStringLiteral("Note Data")));
        made = ::mkdir(target.constData(), 0755) == 0 ? mirrorFolder(QFile::encodeName(noteData), target)
                                                      : Status(fileError("create the folder", target));
    }
    if (made)
        made = syncFolder(partial.path());
    if (!made)
        return Error{QStringLiteral("The backup of \"%1\" failed: %2").arg(dataFolder, made.errorMessage())};

    const QString base = backups + u'/' + DeviceDataBackup::folderNameForTime(time);
    const QString dated
        = FreeFileName::firstFree(base, [&base](int n) -> QString { return base + u'_' + QString::number(n); });
    const QByteArray from = QFile::encodeName(partial.path());
    const QByteArray to = QFile::encodeName(dated);
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) != 0)
        return Error{
            QStringLiteral("The backup of \"%1\" failed: %2").arg(dataFolder, fileError("rename", from).message)};
    partial.setAutoRemove(false);
    (void)syncFolder(backups);

    removeOldFilesInDirectory(backups, kKeptBackups);
    return dated;
}
