#include "AtomicFileWriter.h"

#include "FileWriteSteps.h"

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

using namespace FileWriteSteps;

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
    if (!takePermissionsOf(target, temporary.fd()))
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
