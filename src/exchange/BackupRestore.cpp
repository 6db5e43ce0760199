#include "BackupRestore.h"

#include "Utf8CharacterSet.h"

#include "QuitBackup.h"

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
#include <clocale>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <locale.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr QLatin1StringView kDataStoreName{"JW3Data.jw3datastore"};
constexpr QLatin1StringView kNoteDataName{"Note Data"};
constexpr QLatin1StringView kPageFileSuffix{".jw3page"};
constexpr QLatin1StringView kArchiveSuffix{".tar.gz"};
constexpr qsizetype kBufferSize = 1 << 16;

class FileDescriptor
{
public:
    explicit FileDescriptor(int fd)
        : m_fd(fd)
    { }
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;

    [[nodiscard]] int get() const { return m_fd; }
    /** Closes now, so that a failure to write the last blocks is seen. */
    bool close() { return ::close(std::exchange(m_fd, -1)) == 0; }

private:
    int m_fd;
};

Error fileError(const char *what, const QByteArray &path, int error = errno)
{
    return Error{
        QStringLiteral("Cannot %1 \"%2\": %3")
            .arg(QLatin1StringView(what), QFile::decodeName(path), QString::fromLocal8Bit(std::strerror(error)))};
}

bool writeAll(int fd, const char *data, size_t length)
{
    while (length > 0) {
        const ssize_t written = ::write(fd, data, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            if (written == 0)
                errno = EIO;
            return false;
        }
        data += written;
        length -= size_t(written);
    }
    return true;
}

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

struct ReadArchiveDeleter
{
    void operator()(archive *a) const { archive_read_free(a); }
};

QString archiveError(archive *a)
{
    const char *message = archive_error_string(a);
    return message ? QString::fromUtf8(message) : QStringLiteral("the archive is damaged");
}

/** An entry's name as a relative path without "." or empty components; refused when absolute or holding "..". */
Result<QString> entryName(archive_entry *entry)
{
    const char *utf8 = archive_entry_pathname_utf8(entry);
    if (!utf8)
        return Error{QStringLiteral("an entry's name cannot be read")};
    const QString name = QString::fromUtf8(utf8);
    if (name.startsWith(u'/'))
        return Error{QStringLiteral("the entry \"%1\" has an absolute name").arg(name)};
    QStringList parts;
    for (const QString &part : name.split(u'/', Qt::SkipEmptyParts)) {
        if (part == QLatin1StringView(".."))
            return Error{QStringLiteral("the entry \"%1\" leads out of its folder").arg(name)};
        if (part != QLatin1StringView("."))
            parts.append(part);
    }
    return parts.join(u'/');
}

using EntryVisitor = std::function<Status(const QString &name, archive *in, archive_entry *entry)>;

/**
 * Shows @p visit every entry of the archive at @p path, by its checked name,
 * and reads the archive to its end; an entry's data that @p visit leaves
 * unread is read past.
 */
Status forEachEntry(const QString &path, const EntryVisitor &visit)
{
    const Utf8CharacterSet utf8;
    const std::unique_ptr<archive, ReadArchiveDeleter> in(archive_read_new());
    if (!in)
        return Error{QStringLiteral("Cannot read \"%1\": out of memory").arg(path)};
    archive_read_support_filter_gzip(in.get());
    archive_read_support_format_tar(in.get());
    const auto failure = [&path](const QString &why) {
        return Error{QStringLiteral("Cannot read \"%1\": %2").arg(path, why)};
    };
    if (archive_read_open_filename(in.get(), QFile::encodeName(path).constData(), size_t(kBufferSize)) != ARCHIVE_OK)
        return failure(archiveError(in.get()));
    for (;;) {
        archive_entry *entry = nullptr;
        const int read = archive_read_next_header(in.get(), &entry);
        if (read == ARCHIVE_EOF)
            return {};
        if (read < ARCHIVE_WARN)
            return failure(archiveError(in.get()));
        const Result<QString> name = entryName(entry);
        if (!name)
            return failure(name.errorMessage());
        if (name.value().isEmpty())
            continue; // the archive's own top, "./"
        if (Status visited = visit(name.value(), in.get(), entry); !visited)
            return failure(visited.errorMessage());
    }
}

/** Hands the current entry's data to @p sink block by block, to its end. */
Status readEntryData(archive *in, const std::function<Status(const char *, size_t)> &sink)
{
    QByteArray buffer(kBufferSize, Qt::Uninitialized);
    for (;;) {
        const la_ssize_t read = archive_read_data(in, buffer.data(), size_t(buffer.size()));
        if (read < 0)
            return Error{archiveError(in)};
        if (read == 0)
            return {};
        if (Status taken = sink(buffer.constData(), size_t(read)); !taken)
            return taken;
    }
}

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
    const Status read = forEachEntry(path, [&](const QString &name, archive *, archive_entry *entry) {
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
    const Status read = forEachEntry(path, [&](const QString &name, archive *in, archive_entry *entry) {
        if (archive_entry_filetype(entry) != AE_IFREG)
            return Status();
        const std::optional<QString> folder = dataStoreFolderOf(name);
        QByteArray *keep = folder ? &dataStores[*folder] : nullptr;
        const Status data = readEntryData(in, [keep](const char *bytes, size_t length) {
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

/** Makes @p path a folder, and the folders on the way to it below @p top, unless they exist. */
Status makeFolders(const QByteArray &top, const QString &relative)
{
    QByteArray path = top;
    for (const QString &part : relative.split(u'/')) {
        path += '/' + QFile::encodeName(part);
        if (::mkdir(path.constData(), 0755) != 0) {
            struct stat status = {};
            if (errno != EEXIST || ::lstat(path.constData(), &status) != 0 || !S_ISDIR(status.st_mode))
                return fileError("create the folder", path);
        }
    }
    return {};
}

Status unpackArchive(const QString &path, const QString &folder)
{
    const QByteArray top = QFile::encodeName(folder);
    // Links are made once everything else is unpacked, so that no entry is
    // ever written through a link an earlier entry made.
    std::vector<std::pair<QByteArray, QByteArray>> links;
    const Status unpacked = forEachEntry(path, [&](const QString &name, archive *in, archive_entry *entry) {
        const QByteArray target = top + '/' + QFile::encodeName(name);
        const qsizetype slash = name.lastIndexOf(u'/');
        if (archive_entry_hardlink(entry))
            return Status(Error{QStringLiteral("the entry \"%1\" is a hard link, which backups never hold").arg(name)});
        switch (archive_entry_filetype(entry)) {
        case AE_IFDIR:
            return makeFolders(top, name);
        case AE_IFLNK: {
            const char *linkTarget = archive_entry_symlink_utf8(entry);
            if (!linkTarget)
                return Status(Error{QStringLiteral("the link \"%1\" cannot be read").arg(name)});
            if (slash > 0) {
                if (Status made = makeFolders(top, name.left(slash)); !made)
                    return made;
            }
            links.emplace_back(target, QFile::encodeName(QString::fromUtf8(linkTarget)));
            return Status();
        }
        case AE_IFREG: {
            if (slash > 0) {
                if (Status made = makeFolders(top, name.left(slash)); !made)
                    return made;
            }
            const mode_t mode = (archive_entry_perm(entry) & 0777) | S_IRUSR | S_IWUSR;
            FileDescriptor out(::open(target.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
            if (out.get() < 0)
                return Status(fileError("create", target));
            const Status data = readEntryData(in, [&](const char *bytes, size_t length) {
                return writeAll(out.get(), bytes, length) ? Status() : Status(fileError("write", target));
            });
            if (!data)
                return Status(Error{QStringLiteral("\"%1\": %2").arg(name, data.errorMessage())});
            const timespec times[2] = {{archive_entry_atime(entry), archive_entry_atime_nsec(entry)},
                {archive_entry_mtime(entry), archive_entry_mtime_nsec(entry)}};
            ::futimens(out.get(), times);
            if (!out.close())
                return Status(fileError("write", target));
            return Status();
        }
        default:
            return Status(); // devices, sockets and pipes hold no data
        }
    });
    if (!unpacked)
        return unpacked;
    for (const auto &[link, linkTarget] : links) {
        if (::symlink(linkTarget.constData(), link.constData()) != 0)
            return fileError("create the link", link);
    }
    return {};
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

    Status made
        = backup.isArchive() ? unpackArchive(backup.path, partial.path()) : copyFolder(backup.path, partial.path());
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
