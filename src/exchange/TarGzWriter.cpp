#include "TarGzWriter.h"

#include "Utf8CharacterSet.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <archive.h>
#include <archive_entry.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <fcntl.h>
#include <locale.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

// Streamed to its file rather than built in memory and handed to
// AtomicFileWriter: quit-time backups pack whole page folders, pictures and
// web archives included. The file is therefore made the way AtomicFileWriter
// makes its own (a temporary file beside the target, written, synced,
// renamed, the folder synced), every step checked.

namespace {

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

struct WriteArchiveDeleter
{
    // Marked failed first, so that an archive left open is dropped, not finished.
    void operator()(archive *a) const
    {
        archive_write_fail(a);
        archive_write_free(a);
    }
};

struct DiskReaderDeleter
{
    void operator()(archive *a) const { archive_read_free(a); }
};

struct EntryDeleter
{
    void operator()(archive_entry *e) const { archive_entry_free(e); }
};
using Entry = std::unique_ptr<archive_entry, EntryDeleter>;

la_ssize_t writeToFile(archive *a, void *clientData, const void *buffer, size_t length)
{
    const int fd = *static_cast<const int *>(clientData);
    const char *data = static_cast<const char *>(buffer);
    size_t left = length;
    while (left > 0) {
        const ssize_t written = ::write(fd, data, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            const int error = written < 0 ? errno : EIO;
            archive_set_error(a, error, "%s", std::strerror(error));
            return -1;
        }
        data += written;
        left -= size_t(written);
    }
    return la_ssize_t(length);
}

Entry newEntry(const QString &name, mode_t type, mode_t permissions)
{
    Entry entry(archive_entry_new());
    archive_entry_update_pathname_utf8(entry.get(), name.toUtf8().constData());
    archive_entry_set_filetype(entry.get(), type);
    archive_entry_set_perm(entry.get(), permissions);
    archive_entry_set_mtime(entry.get(), QDateTime::currentSecsSinceEpoch(), 0);
    archive_entry_set_uid(entry.get(), ::getuid());
    archive_entry_set_gid(entry.get(), ::getgid());
    return entry;
}

} // namespace

struct TarGzWriter::Private
{
    QByteArray temporaryPath;
    int fd = -1; // the temporary file; -1 once closed
    bool renamed = false;
    std::unique_ptr<archive, WriteArchiveDeleter> out;
    std::unique_ptr<archive, DiskReaderDeleter> disk;

    ~Private()
    {
        out.reset(); // before the file it writes to is closed
        if (fd >= 0)
            ::close(fd);
        if (!temporaryPath.isEmpty() && !renamed)
            ::unlink(temporaryPath.constData());
    }
};

TarGzWriter::TarGzWriter(QString path)
    : m_path(std::move(path))
    , d(std::make_unique<Private>())
{ }

TarGzWriter::~TarGzWriter()
{
    const Utf8CharacterSet utf8;
    d.reset();
}

Error TarGzWriter::failure(const QString &what) const
{
    return Error{QStringLiteral("Cannot write \"%1\": %2").arg(m_path, what)};
}

Status TarGzWriter::open()
{
    const Utf8CharacterSet utf8;
    const QByteArray target = QFile::encodeName(m_path);
    for (int attempt = 0; attempt < 100 && d->fd < 0; ++attempt) {
        const QByteArray candidate = target + '.' + QByteArray::number(QRandomGenerator::global()->generate(), 36);
        d->fd = ::open(candidate.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (d->fd >= 0)
            d->temporaryPath = candidate;
        else if (errno != EEXIST)
            break;
    }
    if (d->fd < 0)
        return failure(systemError(errno));

    d->out.reset(archive_write_new());
    if (!d->out)
        return failure(QStringLiteral("out of memory"));
    // pax keeps long and non-ASCII names whole; readers without pax support still see a tar.
    archive_write_set_format_pax_restricted(d->out.get());
    archive_write_add_filter_gzip(d->out.get());
    if (archive_write_open(d->out.get(), &d->fd, nullptr, writeToFile, nullptr) != ARCHIVE_OK)
        return failure(QString::fromLocal8Bit(archive_error_string(d->out.get())));
    return {};
}

Status TarGzWriter::addPath(const QString &sourcePath, const QString &name)
{
    const Utf8CharacterSet utf8;
    if (!d->out)
        return failure(QStringLiteral("the archive is not open"));
    if (!d->disk) {
        d->disk.reset(archive_read_disk_new());
        if (!d->disk)
            return failure(QStringLiteral("out of memory"));
        archive_read_disk_set_standard_lookup(d->disk.get());
        archive_read_disk_set_symlink_physical(d->disk.get());
        // Extended attributes, ACLs and file flags mean nothing to whoever restores a backup here.
        archive_read_disk_set_behavior(
            d->disk.get(), ARCHIVE_READDISK_NO_XATTR | ARCHIVE_READDISK_NO_ACL | ARCHIVE_READDISK_NO_FFLAGS);
    }
    Entry entry(archive_entry_new());
    archive_entry_copy_sourcepath(entry.get(), QFile::encodeName(sourcePath).constData());
    if (archive_read_disk_entry_from_file(d->disk.get(), entry.get(), -1, nullptr) != ARCHIVE_OK)
        return failure(
            QStringLiteral("\"%1\": %2").arg(sourcePath, QString::fromLocal8Bit(archive_error_string(d->disk.get()))));
    archive_entry_update_pathname_utf8(entry.get(), name.toUtf8().constData());
    if (archive_write_header(d->out.get(), entry.get()) < ARCHIVE_WARN)
        return failure(QString::fromLocal8Bit(archive_error_string(d->out.get())));

    const mode_t type = archive_entry_filetype(entry.get());
    if (type == AE_IFREG && archive_entry_size(entry.get()) > 0) {
        QFile file(sourcePath);
        if (!file.open(QIODevice::ReadOnly))
            return failure(QStringLiteral("\"%1\": %2").arg(sourcePath, file.errorString()));
        QByteArray buffer(1 << 16, Qt::Uninitialized);
        qint64 read = 0;
        while ((read = file.read(buffer.data(), buffer.size())) > 0) {
            if (archive_write_data(d->out.get(), buffer.constData(), size_t(read)) < 0)
                return failure(QString::fromLocal8Bit(archive_error_string(d->out.get())));
        }
        if (read < 0)
            return failure(QStringLiteral("\"%1\": %2").arg(sourcePath, file.errorString()));
    }
    if (archive_write_finish_entry(d->out.get()) < ARCHIVE_WARN)
        return failure(QString::fromLocal8Bit(archive_error_string(d->out.get())));

    if (type == AE_IFDIR) {
        // Sorted, so that the same folder always packs the same way.
        const QStringList names
            = QDir(sourcePath)
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString &child : names) {
            if (Status added = addPath(sourcePath + u'/' + child, name + u'/' + child); !added)
                return added;
        }
    }
    return {};
}

Status TarGzWriter::addFolder(const QString &name)
{
    const Utf8CharacterSet utf8;
    if (!d->out)
        return failure(QStringLiteral("the archive is not open"));
    const Entry entry = newEntry(name, AE_IFDIR, 0755);
    if (archive_write_header(d->out.get(), entry.get()) < ARCHIVE_WARN)
        return failure(QString::fromLocal8Bit(archive_error_string(d->out.get())));
    return {};
}

Status TarGzWriter::addFile(const QString &name, const QByteArray &bytes)
{
    const Utf8CharacterSet utf8;
    if (!d->out)
        return failure(QStringLiteral("the archive is not open"));
    const Entry entry = newEntry(name, AE_IFREG, 0644);
    archive_entry_set_size(entry.get(), bytes.size());
    if (archive_write_header(d->out.get(), entry.get()) < ARCHIVE_WARN
        || (!bytes.isEmpty() && archive_write_data(d->out.get(), bytes.constData(), size_t(bytes.size())) < 0)
        || archive_write_finish_entry(d->out.get()) < ARCHIVE_WARN)
        return failure(QString::fromLocal8Bit(archive_error_string(d->out.get())));
    return {};
}

Status TarGzWriter::finish()
{
    const Utf8CharacterSet utf8;
    if (!d->out || d->fd < 0)
        return failure(QStringLiteral("the archive is not open"));
    // Closing flushes the compressor and writes the archive's end.
    if (archive_write_close(d->out.get()) != ARCHIVE_OK)
        return failure(QString::fromLocal8Bit(archive_error_string(d->out.get())));
    if (::fsync(d->fd) != 0)
        return failure(systemError(errno));
    const int fd = std::exchange(d->fd, -1);
    if (::close(fd) != 0 || ::rename(d->temporaryPath.constData(), QFile::encodeName(m_path).constData()) != 0)
        return failure(systemError(errno));
    d->renamed = true;

    // The rename is only durable once the folder's entry is on the disk too.
    const int folder
        = ::open(QFile::encodeName(QFileInfo(m_path).absolutePath()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
    return {};
}
