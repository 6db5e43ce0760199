#include "BackupRestore.h"

#include "PosixFile.h"
#include "QuitBackup.h"
#include "TarGzReader.h"

#include "model/JWMemo.h"
#include "model/MemoCoding.h"
#include "platform/base/FileContents.h"
#include "platform/typedstream/TypedStreamDecoder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimeZone>

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr QLatin1StringView kDataStoreName{"JW3Data.jw3datastore"};
constexpr QLatin1StringView kNoteDataName{"Note Data"};
constexpr QLatin1StringView kPageFileSuffix{".jw3page"};
constexpr QLatin1StringView kArchiveSuffix{".tar.gz"};
constexpr qsizetype kBufferSize = 1 << 16;

// --- Folders -----------------------------------------------------------------

/** What a visitor of walk() is shown: an entry's path from the top, its full path, its status (not followed). */
using FolderVisitor = std::function<Status(const QByteArray &relative, const QByteArray &path, const struct stat &)>;

/** Shows @p visit every entry under @p folder, a folder before what it holds; symbolic links are not followed. */
Status walk(const QByteArray &folder, const QByteArray &relative, const FolderVisitor &visit)
{
    const QByteArray here = relative.isEmpty() ? folder : folder + '/' + relative;
    const std::unique_ptr<DIR, int (*)(DIR *)> dir(::opendir(here.constData()), ::closedir);
    if (!dir)
        return fileError("read the folder", here);
    for (;;) {
        errno = 0;
        const dirent *entry = ::readdir(dir.get());
        if (!entry)
            return errno == 0 ? Status() : Status(fileError("read the folder", here));
        const QByteArray name(entry->d_name);
        if (name == "." || name == "..")
            continue;
        const QByteArray childRelative = relative.isEmpty() ? name : relative + '/' + name;
        const QByteArray path = here + '/' + name;
        struct stat status = {};
        if (::lstat(path.constData(), &status) != 0)
            return fileError("read", path);
        if (Status visited = visit(childRelative, path, status); !visited)
            return visited;
        if (S_ISDIR(status.st_mode)) {
            if (Status inner = walk(folder, childRelative, visit); !inner)
                return inner;
        }
    }
}

bool isPageFileName(const QString &relative)
{
    const QString prefix = kNoteDataName + u'/';
    return relative.startsWith(prefix) && relative.endsWith(kPageFileSuffix)
        && !relative.mid(prefix.size()).contains(u'/');
}

Status tallyFolder(const QString &folder, BackupRestore::Backup &backup)
{
    return walk(
        QFile::encodeName(folder), {}, [&](const QByteArray &relative, const QByteArray &, const struct stat &status) {
            if (S_ISREG(status.st_mode)) {
                backup.bytes += status.st_size;
                if (isPageFileName(QFile::decodeName(relative)))
                    ++backup.pageFiles;
            }
            return Status();
        });
}

bool holdsDataStore(const QString &folder)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(folder + u'/' + kDataStoreName).constData(), &status) == 0
        && S_ISREG(status.st_mode);
}

Status readFile(const QByteArray &path, QByteArray *keep)
{
    FileDescriptor in(::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (in.get() < 0)
        return fileError("read", path);
    QByteArray buffer(kBufferSize, Qt::Uninitialized);
    for (;;) {
        const ssize_t read = ::read(in.get(), buffer.data(), size_t(buffer.size()));
        if (read < 0 && errno == EINTR)
            continue;
        if (read < 0)
            return fileError("read", path);
        if (read == 0)
            return {};
        if (keep)
            keep->append(buffer.constData(), read);
    }
}

Status copyFile(const QByteArray &from, const QByteArray &to, const struct stat &status)
{
    FileDescriptor in(::open(from.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (in.get() < 0)
        return fileError("read", from);
    FileDescriptor out(
        ::open(to.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, (status.st_mode & 07777) | S_IRUSR | S_IWUSR));
    if (out.get() < 0)
        return fileError("create", to);
    QByteArray buffer(kBufferSize, Qt::Uninitialized);
    for (;;) {
        const ssize_t read = ::read(in.get(), buffer.data(), size_t(buffer.size()));
        if (read < 0 && errno == EINTR)
            continue;
        if (read < 0)
            return fileError("read", from);
        if (read == 0)
            break;
        if (!writeAll(out.get(), buffer.constData(), size_t(read)))
            return fileError("write", to);
    }
    const timespec times[2] = {status.st_atim, status.st_mtim};
    ::futimens(out.get(), times);
    if (!out.close())
        return fileError("write", to);
    return {};
}

Status makeLink(const QByteArray &from, const QByteArray &to)
{
    QByteArray target(PATH_MAX, Qt::Uninitialized);
    const ssize_t length = ::readlink(from.constData(), target.data(), size_t(target.size()));
    if (length < 0)
        return fileError("read the link", from);
    target.truncate(length);
    if (::symlink(target.constData(), to.constData()) != 0)
        return fileError("create the link", to);
    return {};
}

Status copyFolder(const QString &from, const QString &to)
{
    const QByteArray source = QFile::encodeName(from);
    const QByteArray destination = QFile::encodeName(to);
    return walk(source, {}, [&](const QByteArray &relative, const QByteArray &path, const struct stat &status) {
        const QByteArray target = destination + '/' + relative;
        if (S_ISDIR(status.st_mode)) {
            // Writable for its owner whatever it was, so that a failed restore can be removed.
            if (::mkdir(target.constData(), (status.st_mode & 07777) | S_IRWXU) != 0)
                return Status(fileError("create the folder", target));
            return Status();
        }
        if (S_ISREG(status.st_mode))
            return copyFile(path, target, status);
        if (S_ISLNK(status.st_mode))
            return makeLink(path, target);
        return Status(); // sockets and pipes hold no data
    });
}

// --- Archives ----------------------------------------------------------------

/**
 * The folder of an archive that holds the backup, from the folders in which
 * a data store was found: the archive's top when it holds one, else its only
 * top-level folder that does.
 */
std::optional<QString> backupFolderInArchive(const QStringList &dataStoreFolders)
{
    if (dataStoreFolders.contains(QString()))
        return QString();
    if (dataStoreFolders.size() == 1)
        return dataStoreFolders.front();
    return std::nullopt;
}

/** The folder an entry named @p name holds a data store in ("" for the top), when it is one of the candidates. */
std::optional<QString> dataStoreFolderOf(const QString &name)
{
    if (name == kDataStoreName)
        return QString();
    const qsizetype slash = name.indexOf(u'/');
    if (slash > 0 && name.mid(slash + 1) == kDataStoreName)
        return name.left(slash);
    return std::nullopt;
}

Error noDataStoreIn(const QString &path)
{
    return Error{QStringLiteral("\"%1\" holds no data store (%2), or the data stores of several backups")
                     .arg(path, kDataStoreName)};
}

Result<BackupRestore::Backup> describeArchive(const QString &path)
{
    struct Item
    {
        QString name;
        qint64 size;
    };
    std::vector<Item> files;
    QStringList dataStoreFolders;
    const Status read = TarGzReader::forEachEntry(path, [&](const QString &name, archive *, archive_entry *entry) {
        if (archive_entry_filetype(entry) == AE_IFREG) {
            files.push_back({name, archive_entry_size(entry)});
            if (const auto folder = dataStoreFolderOf(name))
                dataStoreFolders.append(*folder);
        }
        return Status();
    });
    if (!read)
        return Error{read.errorMessage()};
    const std::optional<QString> folder = backupFolderInArchive(dataStoreFolders);
    if (!folder)
        return noDataStoreIn(path);

    BackupRestore::Backup backup;
    backup.path = path;
    const QString prefix = folder->isEmpty() ? QString() : *folder + u'/';
    for (const Item &file : files) {
        if (!file.name.startsWith(prefix))
            continue;
        backup.bytes += file.size;
        if (isPageFileName(file.name.mid(prefix.size())))
            ++backup.pageFiles;
    }
    return backup;
}

Result<QByteArray> readArchiveThrough(const QString &path)
{
    QHash<QString, QByteArray> dataStores;
    const Status read = TarGzReader::forEachEntry(path, [&](const QString &name, archive *in, archive_entry *entry) {
        if (archive_entry_filetype(entry) != AE_IFREG)
            return Status();
        const std::optional<QString> folder = dataStoreFolderOf(name);
        QByteArray *keep = folder ? &dataStores[*folder] : nullptr;
        const Status data = TarGzReader::readEntryData(in, [keep](const char *bytes, size_t length) {
            if (keep)
                keep->append(bytes, qsizetype(length));
            return Status();
        });
        return data ? data : Status(Error{QStringLiteral("\"%1\": %2").arg(name, data.errorMessage())});
    });
    if (!read)
        return Error{read.errorMessage()};
    const std::optional<QString> folder = backupFolderInArchive(dataStores.keys());
    if (!folder)
        return noDataStoreIn(path);
    return dataStores.value(*folder);
}

/** The canonical form of @p path, which need not exist though its folder must. */
QString canonicalPath(const QString &path)
{
    const QFileInfo info(path);
    if (info.exists())
        return info.canonicalFilePath();
    const QString folder = QFileInfo(info.absolutePath()).canonicalFilePath();
    return folder.isEmpty() ? info.absoluteFilePath() : folder + u'/' + info.fileName();
}

bool isSameOrInside(const QString &path, const QString &folder)
{
    return !folder.isEmpty() && (path == folder || path.startsWith(folder + u'/'));
}

Status syncFolder(const QString &folder)
{
    const QByteArray path = QFile::encodeName(folder);
    FileDescriptor fd(::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0 || ::syncfs(fd.get()) != 0)
        return fileError("write to the disk", path);
    return {};
}

struct DatedName
{
    QDateTime time;
    int number = 1;
};

std::optional<DatedName> datedName(QString name)
{
    static const QRegularExpression pattern(
        QStringLiteral("^(\\d{4}-\\d{2}-\\d{2}_\\d{2}-\\d{2}-\\d{2})Z(?:_(\\d{1,9}))?$"));
    if (name.endsWith(kArchiveSuffix))
        name.chop(kArchiveSuffix.size());
    const QRegularExpressionMatch match = pattern.match(name);
    if (!match.hasMatch())
        return std::nullopt;
    QDateTime time = QDateTime::fromString(match.captured(1), QStringLiteral("yyyy-MM-dd_HH-mm-ss"));
    if (!time.isValid())
        return std::nullopt;
    time.setTimeZone(QTimeZone::utc());
    return DatedName{time, match.hasCaptured(2) ? match.captured(2).toInt() : 1};
}

} // namespace

bool BackupRestore::Backup::isArchive() const
{
    return path.endsWith(kArchiveSuffix) && !QFileInfo(path).isDir();
}

QDateTime BackupRestore::timeFromName(const QString &name)
{
    const std::optional<DatedName> dated = datedName(name);
    return dated ? dated->time : QDateTime();
}

QList<BackupRestore::Backup> BackupRestore::list(const QString &dataFolder)
{
    const QDir folder(dataFolder + u'/' + QuitBackup::kBackupsFolderName);
    std::vector<std::pair<DatedName, Backup>> found;
    // Hidden entries are left out, and with them the backups being built (".partial-*").
    for (const QString &name : folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks)) {
        const std::optional<DatedName> dated = datedName(name);
        const QString path = folder.filePath(name);
        if (!dated || !holdsDataStore(path))
            continue;
        Backup backup;
        backup.path = path;
        backup.time = dated->time;
        if (!tallyFolder(path, backup))
            continue; // being removed by the rotation, or unreadable: nothing to offer
        found.emplace_back(*dated, std::move(backup));
    }
    std::sort(found.begin(), found.end(), [](const auto &a, const auto &b) {
        return std::pair(a.first.time, a.first.number) > std::pair(b.first.time, b.first.number);
    });
    QList<Backup> backups;
    backups.reserve(qsizetype(found.size()));
    for (auto &entry : found)
        backups.append(std::move(entry.second));
    return backups;
}

Result<BackupRestore::Backup> BackupRestore::describe(const QString &path)
{
    const QFileInfo info(path);
    Backup backup;
    if (info.isDir()) {
        if (!holdsDataStore(path))
            return noDataStoreIn(path);
        backup.path = info.absoluteFilePath();
        if (Status tallied = tallyFolder(backup.path, backup); !tallied)
            return Error{tallied.errorMessage()};
    } else {
        Result<Backup> described = describeArchive(info.absoluteFilePath());
        if (!described)
            return described;
        backup = std::move(described).value();
    }
    backup.time = timeFromName(info.fileName());
    if (!backup.time.isValid())
        backup.time = info.lastModified().toUTC();
    return backup;
}

Result<QByteArray> BackupRestore::readThrough(const Backup &backup)
{
    if (backup.isArchive())
        return readArchiveThrough(backup.path);
    if (!holdsDataStore(backup.path))
        return noDataStoreIn(backup.path);
    QByteArray dataStore;
    const Status read = walk(QFile::encodeName(backup.path), {},
        [&](const QByteArray &relative, const QByteArray &path, const struct stat &status) {
            if (!S_ISREG(status.st_mode))
                return Status();
            return readFile(path, QFile::decodeName(relative) == kDataStoreName ? &dataStore : nullptr);
        });
    if (!read)
        return Error{read.errorMessage()};
    return dataStore;
}

Result<qsizetype> BackupRestore::checkDataStore(const QByteArray &dataStore)
{
    MemoCoding::registerWithSharedRegistry();
    const Result<QVariant> decoded = TypedStreamDecoder::unarchiveObjectWithData(dataStore);
    const MemoPtr root = decoded ? decoded.value().value<MemoPtr>() : nullptr;
    if (!root) {
        return Error{QStringLiteral("The data store cannot be read: %1")
                         .arg(decoded ? QStringLiteral("it does not hold a page") : decoded.errorMessage())};
    }
    qsizetype pages = 0;
    const std::function<void(const JWMemo &)> count = [&](const JWMemo &memo) {
        for (const MemoPtr &child : memo.children()) {
            ++pages;
            count(*child);
        }
    };
    count(*root);
    return pages;
}

Status BackupRestore::check(const Backup &backup)
{
    const Result<QByteArray> dataStore = readThrough(backup);
    if (!dataStore)
        return Error{dataStore.errorMessage()};
    const Result<qsizetype> pages = checkDataStore(dataStore.value());
    if (!pages)
        return Error{pages.errorMessage()};
    return {};
}

Result<QString> BackupRestore::restore(const Backup &backup, const QString &target, const QString &currentDataFolder)
{
    const QFileInfo targetInfo(QDir::cleanPath(QFileInfo(target).absoluteFilePath()));
    const QString targetPath = targetInfo.absoluteFilePath();
    const QString parent = targetInfo.absolutePath();
    if (targetInfo.fileName().isEmpty() || !QFileInfo(parent).isDir())
        return Error{QStringLiteral("The folder \"%1\" does not exist").arg(parent)};
    const QString canonicalTarget = canonicalPath(targetPath);
    if (canonicalTarget == canonicalPath(currentDataFolder))
        return Error{
            QStringLiteral("\"%1\" is the data folder in use; a backup is restored into a new folder").arg(targetPath)};
    if (isSameOrInside(canonicalTarget, canonicalPath(backup.path)))
        return Error{QStringLiteral("\"%1\" is inside the backup").arg(targetPath)};
    const bool targetExists = targetInfo.exists() || targetInfo.isSymLink();
    if (targetExists
        && (targetInfo.isSymLink() || !targetInfo.isDir()
            || !QDir(targetPath).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)))
        return Error{QStringLiteral("\"%1\" already exists and is not an empty folder").arg(targetPath)};

    QTemporaryDir partial(parent + QStringLiteral("/.") + targetInfo.fileName() + QStringLiteral(".restoring-XXXXXX"));
    if (!partial.isValid())
        return Error{QStringLiteral("Cannot create a folder in \"%1\": %2").arg(parent, partial.errorString())};

    Status made = backup.isArchive() ? TarGzReader::unpack(backup.path, partial.path())
                                     : copyFolder(backup.path, partial.path());
    QString restored = partial.path();
    if (made && backup.isArchive()) {
        // The backup is the archive's top or its one top-level folder holding a data store.
        QStringList candidates;
        if (holdsDataStore(restored))
            candidates.append(QString());
        for (const QString &name :
            QDir(restored).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden | QDir::NoSymLinks)) {
            if (holdsDataStore(restored + u'/' + name))
                candidates.append(name);
        }
        const std::optional<QString> folder = backupFolderInArchive(candidates);
        if (!folder)
            made = noDataStoreIn(backup.path);
        else if (!folder->isEmpty())
            restored += u'/' + *folder;
    } else if (made && !holdsDataStore(restored)) {
        made = noDataStoreIn(backup.path);
    }
    if (made)
        made = syncFolder(restored);
    if (!made)
        return Error{made.errorMessage()};

    // An empty folder at the target is replaced by the rename; anything put
    // into it meanwhile makes the rename fail, as does a target made meanwhile.
    const QByteArray from = QFile::encodeName(restored);
    const QByteArray to = QFile::encodeName(targetPath);
    const int renamed = targetExists
        ? ::rename(from.constData(), to.constData())
        : ::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE);
    if (renamed != 0)
        return Error{QStringLiteral("Cannot move the restored folder to \"%1\": %2")
                         .arg(targetPath, QString::fromLocal8Bit(std::strerror(errno)))};
    if (restored == partial.path())
        partial.setAutoRemove(false);
    (void)syncFolder(parent);
    return targetPath;
}
