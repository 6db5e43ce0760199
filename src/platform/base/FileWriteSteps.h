#pragma once

// The system-call steps of an atomic write, shared by AtomicFileWriter and
// AtomicFileBatch. Internal to the platform layer.

#include "Result.h"

#include <QByteArray>
#include <QRandomGenerator>
#include <QString>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace FileWriteSteps {

inline QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

inline Error failure(const QString &path, const char *step, int error)
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
    /** Leaves the file where it is when this object goes: it was renamed, or someone else owns it now. */
    void renamed() { m_renamed = true; }

private:
    QByteArray m_path;
    int m_fd = -1;
    bool m_created = false;
    bool m_renamed = false;
};

inline bool writeAll(int fd, const char *data, qsizetype size)
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
inline void syncFolder(const QByteArray &folderPath)
{
    const int fd = ::open(folderPath.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    ::fsync(fd);
    ::close(fd);
}

// A replaced file keeps its permissions.
inline bool takePermissionsOf(const QByteArray &target, int fd)
{
    struct stat existing
    { };
    return ::stat(target.constData(), &existing) != 0 || ::fchmod(fd, existing.st_mode & 07777) == 0;
}

} // namespace FileWriteSteps
