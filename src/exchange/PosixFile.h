#pragma once

// File descriptors and their errors, for the exchange code that works on
// the system calls (archives, backups) to see and say every failure.

#include "platform/base/Result.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <cerrno>
#include <cstring>
#include <utility>

#include <unistd.h>

/** An open file descriptor, closed when it goes. */
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

inline Error fileError(const char *what, const QByteArray &path, int error = errno)
{
    return Error{
        QStringLiteral("Cannot %1 \"%2\": %3")
            .arg(QLatin1StringView(what), QFile::decodeName(path), QString::fromLocal8Bit(std::strerror(error)))};
}

inline bool writeAll(int fd, const char *data, size_t length)
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
