#include "AtomicFileWriter.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Written on the system calls rather than QSaveFile, which ignores a failed
// fsync: a disk that fills up between the write and the sync would then have
// an incomplete file renamed over a good one. Here every step is checked, and
// any failure removes the temporary file and leaves the target as it was.

namespace {

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

Error failure(const QString &path, const char *step, int error)
{
    return Error{QStringLiteral("Cannot write \"%1\" (%2): %3").arg(path, QLatin1String(step), systemError(error))};
}

// A new file beside the target, named "<target>.<random>"; closed and
// removed again unless it was renamed over the target.
class TemporaryFile
{
public:
    explicit TemporaryFile(const QByteArray &target)
    {
        // Created with 0666 so that the system applies the process's umask.
        for (int attempt = 0; attempt < 100 && m_fd < 0; ++attempt) {
            m_path = target + '.' + QByteArray::number(QRandomGenerator::global()->generate(), 36);
            m_fd = ::open(m_path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (m_fd < 0 && errno != EEXIST)
                break;
        }
        m_created = m_fd >= 0;
    }
    ~TemporaryFile()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        if (m_created && !m_renamed)
            ::unlink(m_path.constData());
    }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    [[nodiscard]] int fd() const { return m_fd; }
    [[nodiscard]] const QByteArray &path() const { return m_path; }
    /** Closes the file; false (errno set) when the system reports a late write error. */
    bool close()
    {
        const int fd = m_fd;
        m_fd = -1;
        return ::close(fd) == 0;
    }
    void renamed() { m_renamed = true; }

private:
    QByteArray m_path;
    int m_fd = -1;
    bool m_created = false;
    bool m_renamed = false;
};

bool writeAll(int fd, const char *data, qsizetype size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, static_cast<size_t>(size));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        if (written == 0) {
            errno = EIO;
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
}

// The rename is only durable once the folder's entry is on the disk too.
void syncFolder(const QByteArray &folderPath)
{
    const int fd = ::open(folderPath.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    ::fsync(fd);
    ::close(fd);
}

// Copies @p length bytes at @p offset of @p from to the end of @p to.
bool copyAll(int from, qint64 offset, int to, qint64 length)
{
    loff_t in = offset;
    while (length > 0) {
        const ssize_t copied = ::copy_file_range(from, &in, to, nullptr, size_t(length), 0);
        if (copied < 0 && errno == EINTR)
            continue;
        if (copied < 0 && (errno == EXDEV || errno == ENOSYS || errno == EOPNOTSUPP || errno == EINVAL))
            break; // no copying in the kernel here: through memory instead
        if (copied <= 0) {
            if (copied == 0)
                errno = ENODATA; // the file is shorter than it was
            return false;
        }
        in += copied;
        length -= copied;
    }
    QByteArray buffer;
    while (length > 0) {
        buffer.resize(qsizetype(std::min<qint64>(length, 1 << 20)));
        const ssize_t read = ::pread(from, buffer.data(), size_t(buffer.size()), in);
        if (read < 0 && errno == EINTR)
            continue;
        if (read <= 0) {
            if (read == 0)
                errno = ENODATA;
            return false;
        }
        if (!writeAll(to, buffer.constData(), read))
            return false;
        in += read;
        length -= read;
    }
    return true;
}

// The steps every write takes: a temporary file, its contents, sync, rename, sync of the folder.
template<typename Contents> Status writeAtomically(const QString &path, Contents &&contents)
{
    const QByteArray target = QFile::encodeName(path);
    TemporaryFile temporary(target);
    if (temporary.fd() < 0)
        return failure(path, "create", errno);
    // A replaced file keeps its permissions.
    struct stat existing
    { };
    if (::stat(target.constData(), &existing) == 0 && ::fchmod(temporary.fd(), existing.st_mode & 07777) != 0)
        return failure(path, "permissions", errno);

    if (Status written = contents(temporary.fd()); !written)
        return written;
    if (::fsync(temporary.fd()) != 0)
        return failure(path, "sync", errno);
    if (!temporary.close())
        return failure(path, "close", errno);
    if (::rename(temporary.path().constData(), target.constData()) != 0)
        return failure(path, "rename", errno);
    temporary.renamed();

    syncFolder(QFile::encodeName(QFileInfo(path).absolutePath()));
    return {};
}

} // namespace

Status AtomicFileWriter::writeFile(const QString &path, const QByteArray &bytes)
{
    return writeAtomically(path, [&](int fd) -> Status {
        if (!writeAll(fd, bytes.constData(), bytes.size()))
            return failure(path, "write", errno);
        return {};
    });
}

Status AtomicFileWriter::writeFile(const QString &path, const std::vector<Piece> &pieces)
{
    const int source = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    const bool copies = std::any_of(pieces.begin(), pieces.end(), [](const Piece &piece) { return piece.offset >= 0; });
    if (source < 0 && copies)
        return failure(path, "open", errno);
    const Status status = writeAtomically(path, [&](int fd) -> Status {
        for (const Piece &piece : pieces) {
            const bool ok = piece.offset >= 0 ? copyAll(source, piece.offset, fd, piece.length)
                                              : writeAll(fd, piece.bytes.constData(), piece.bytes.size());
            if (!ok)
                return failure(path, piece.offset >= 0 ? "copy" : "write", errno);
        }
        return {};
    });
    if (source >= 0)
        ::close(source);
    return status;
}
