#include "BackupFiles.h"

#include "ExchangeLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

// The archive is streamed to its file rather than built in memory and handed
// to AtomicFileWriter: quit-time backups pack whole page folders, pictures
// and web archives included. The file is therefore made the way
// AtomicFileWriter makes its own (a temporary file beside the target,
// written, synced, renamed, the folder synced), every step checked.

namespace {

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

struct ArchiveDeleter
{
    void operator()(archive *a) const { archive_write_free(a); }
};
using WriteArchive = std::unique_ptr<archive, ArchiveDeleter>;

struct DiskDeleter
{
    void operator()(archive *a) const { archive_read_free(a); }
};
using DiskReader = std::unique_ptr<archive, DiskDeleter>;

struct EntryDeleter
{
    void operator()(archive_entry *e) const { archive_entry_free(e); }
};
using Entry = std::unique_ptr<archive_entry, EntryDeleter>;

// "<target>.<random>", removed again unless it became the target.
class PendingFile
{
public:
    explicit PendingFile(const QByteArray &target)
    {
        for (int attempt = 0; attempt < 100 && m_fd < 0; ++attempt) {
            m_path = target + '.' + QByteArray::number(QRandomGenerator::global()->generate(), 36);
            m_fd = ::open(m_path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (m_fd < 0 && errno != EEXIST)
                break;
        }
        m_created = m_fd >= 0;
    }
    ~PendingFile()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        if (m_created && !m_renamed)
            ::unlink(m_path.constData());
    }
    PendingFile(const PendingFile &) = delete;
    PendingFile &operator=(const PendingFile &) = delete;

    [[nodiscard]] int fd() const { return m_fd; }
    /** Syncs, closes and renames the file to @p target; false with errno set on failure. */
    bool commit(const QByteArray &target)
    {
        if (::fsync(m_fd) != 0)
            return false;
        const int fd = std::exchange(m_fd, -1);
        if (::close(fd) != 0 || ::rename(m_path.constData(), target.constData()) != 0)
            return false;
        m_renamed = true;
        return true;
    }

private:
    QByteArray m_path;
    int m_fd = -1;
    bool m_created = false;
    bool m_renamed = false;
};

la_ssize_t writeToFile(archive *a, void *clientData, const void *buffer, size_t length)
{
    const int fd = *static_cast<int *>(clientData);
    const char *data = static_cast<const char *>(buffer);
    size_t left = length;
    while (left > 0) {
        const ssize_t written = ::write(fd, data, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            archive_set_error(a, written < 0 ? errno : EIO, "%s", std::strerror(written < 0 ? errno : EIO));
            return -1;
        }
        data += written;
        left -= size_t(written);
    }
    return la_ssize_t(length);
}

// Packs one file system entry under @p name, and a folder's entries below it.
class Packer
{
public:
    Packer(archive *out, archive *disk)
        : m_out(out)
        , m_disk(disk)
    { }

    Status pack(const QString &path, const QString &name)
    {
        Entry entry(archive_entry_new());
        const QByteArray source = QFile::encodeName(path);
        archive_entry_copy_sourcepath(entry.get(), source.constData());
        if (archive_read_disk_entry_from_file(m_disk, entry.get(), -1, nullptr) != ARCHIVE_OK)
            return failure(m_disk, path);
        archive_entry_update_pathname_utf8(entry.get(), name.toUtf8().constData());
        if (archive_write_header(m_out, entry.get()) < ARCHIVE_WARN)
            return failure(m_out, path);

        const mode_t type = archive_entry_filetype(entry.get());
        if (type == AE_IFREG && archive_entry_size(entry.get()) > 0) {
            if (Status copied = copyContents(path); !copied)
                return copied;
        }
        if (archive_write_finish_entry(m_out) < ARCHIVE_WARN)
            return failure(m_out, path);

        if (type == AE_IFDIR) {
            // Sorted, so that the same folder always packs the same way.
            const QStringList names = QDir(path).entryList(
                QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
            for (const QString &child : names) {
                if (Status packed = pack(path + u'/' + child, name + u'/' + child); !packed)
                    return packed;
            }
        }
        return {};
    }

private:
    Status copyContents(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return Error{QStringLiteral("while reading \"%1\": %2").arg(path, file.errorString())};
        QByteArray buffer(1 << 16, Qt::Uninitialized);
        for (;;) {
            const qint64 read = file.read(buffer.data(), buffer.size());
            if (read < 0)
                return Error{QStringLiteral("while reading \"%1\": %2").arg(path, file.errorString())};
            if (read == 0)
                return {};
            if (archive_write_data(m_out, buffer.constData(), size_t(read)) < 0)
                return failure(m_out, path);
        }
    }

    static Error failure(archive *a, const QString &path)
    {
        const char *message = archive_error_string(a);
        return Error{QStringLiteral("while packing \"%1\": %2")
                         .arg(path, message ? QString::fromLocal8Bit(message) : systemError(archive_errno(a)))};
    }

    archive *m_out;
    archive *m_disk;
};

QString archivePathFor(const QFileInfo &source)
{
    QString name = source.fileName();
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot > 0)
        name.truncate(dot);
    return source.absolutePath() + u'/' + name + QStringLiteral(".tar.gz");
}

} // namespace

Result<QString> compressFile(const QString &path)
{
    const QFileInfo source(path);
    if (!source.exists() && !source.isSymLink())
        return Error{QStringLiteral("Cannot pack \"%1\": there is no such file").arg(path)};
    const QString archivePath = archivePathFor(source);
    const QByteArray target = QFile::encodeName(archivePath);

    PendingFile file(target);
    if (file.fd() < 0)
        return Error{QStringLiteral("Cannot write \"%1\": %2").arg(archivePath, systemError(errno))};

    DiskReader disk(archive_read_disk_new());
    WriteArchive out(archive_write_new());
    if (!disk || !out)
        return Error{QStringLiteral("Cannot write \"%1\": out of memory").arg(archivePath)};
    archive_read_disk_set_standard_lookup(disk.get());
    archive_read_disk_set_symlink_physical(disk.get());
    // Extended attributes, ACLs and file flags mean nothing to whoever restores a backup here.
    archive_read_disk_set_behavior(
        disk.get(), ARCHIVE_READDISK_NO_XATTR | ARCHIVE_READDISK_NO_ACL | ARCHIVE_READDISK_NO_FFLAGS);
    // pax keeps long and non-ASCII names whole; readers without pax support still see a tar.
    archive_write_set_format_pax_restricted(out.get());
    archive_write_add_filter_gzip(out.get());
    int fd = file.fd();
    if (archive_write_open(out.get(), &fd, nullptr, writeToFile, nullptr) != ARCHIVE_OK)
        return Error{QStringLiteral("Cannot write \"%1\": %2")
                         .arg(archivePath, QString::fromLocal8Bit(archive_error_string(out.get())))};

    Packer packer(out.get(), disk.get());
    if (Status packed = packer.pack(source.absoluteFilePath(), source.fileName()); !packed)
        return Error{QStringLiteral("Cannot write \"%1\" %2").arg(archivePath, packed.errorMessage())};
    // Closing flushes the compressor and writes the archive's end.
    if (archive_write_close(out.get()) != ARCHIVE_OK) {
        const char *message = archive_error_string(out.get());
        return Error{
            QStringLiteral("Cannot write \"%1\": %2")
                .arg(archivePath, message ? QString::fromLocal8Bit(message) : QStringLiteral("unknown error"))};
    }
    if (!file.commit(target))
        return Error{QStringLiteral("Cannot write \"%1\": %2").arg(archivePath, systemError(errno))};

    // The rename is only durable once the folder's entry is on the disk too.
    const int folder = ::open(QFile::encodeName(source.absolutePath()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
    return archivePath;
}

void removeOldFilesInDirectory(const QString &folderPath, int limit)
{
    QDir folder(folderPath);
    QStringList names = folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    if (names.size() <= limit)
        return;
    std::sort(names.begin(), names.end(), [](const QString &a, const QString &b) { return a.compare(b) < 0; });
    names.removeAll(QStringLiteral(".DS_Store"));
    for (qsizetype i = 0; i < names.size() - limit; ++i) {
        const QString path = folder.filePath(names.at(i));
        const QFileInfo entry(path);
        const bool removed = entry.isDir() && !entry.isSymLink() ? QDir(path).removeRecursively() : QFile::remove(path);
        if (!removed)
            qCWarning(lcExchange) << "Cannot remove the old backup" << path;
    }
}
