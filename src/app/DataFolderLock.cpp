#include "DataFolderLock.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSysInfo>
#include <QLockFile>
#include <QStorageInfo>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

// QLockFile says only that it failed; the system's error, found by writing
// a small file as it would, tells a full disk from a folder not writable.
int errorWritingInto(const QString &folder)
{
    const QByteArray probe = QFile::encodeName(folder + QStringLiteral("/.jotwell3.lock.probe"));
    const int fd = ::open(probe.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return errno;
    // As long as the lock file's own contents: a process ID, a host and a name.
    const QByteArray bytes(64, 'x');
    int error = 0;
    if (::write(fd, bytes.constData(), size_t(bytes.size())) != bytes.size())
        error = errno == 0 ? ENOSPC : errno;
    else if (::fsync(fd) != 0)
        error = errno;
    ::close(fd);
    ::unlink(probe.constData());
    return error;
}

bool isFullDiskError(int error)
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

} // namespace

DataFolderLock::DataFolderLock() = default;

DataFolderLock::~DataFolderLock() = default;

QString DataFolderLock::fileName()
{
    return QStringLiteral(".jotwell3.lock");
}

Status DataFolderLock::lock(const QString &folder)
{
    const QString canonical = QFileInfo(folder).canonicalFilePath();
    const QString path = canonical.isEmpty() ? QDir::cleanPath(folder) : canonical;
    if (m_lock && path == m_folder)
        return {};

    const QString lockPath = path + u'/' + fileName();
    auto candidate = std::make_unique<QLockFile>(lockPath);
    // A lock naming this very process that we do not hold came along when
    // the folder was copied from the one we use: it guards nothing.
    qint64 ownerPid = 0;
    QString ownerHost;
    if (candidate->getLockInfo(&ownerPid, &ownerHost, nullptr) && ownerPid == QCoreApplication::applicationPid()
        && ownerHost == QSysInfo::machineHostName())
        QFile::remove(lockPath);
    // A running owner refreshes nothing, so the lock never goes stale by age;
    // QLockFile still takes over a lock whose process no longer exists.
    candidate->setStaleLockTime(0);
    if (!candidate->tryLock(0)) {
        const QLockFile::LockError lockError = candidate->error();
        const auto tr = [](const char *text) {
            return QCoreApplication::translate("DataFolderLock", text);
        };
        if (lockError != QLockFile::LockFailedError) {
            const int cause = errorWritingInto(path);
            const QStorageInfo storage(path);
            if (isFullDiskError(cause) || (storage.isValid() && storage.bytesAvailable() == 0))
                return Error{tr("The disk holding the data folder %1 is full.").arg(path)};
            if (cause == EACCES || cause == EPERM || cause == EROFS)
                return Error{tr("The data folder %1 cannot be written: permission denied.").arg(path)};
        }
        switch (lockError) {
        case QLockFile::LockFailedError: {
            qint64 pid = 0;
            QString host;
            QString application;
            if (candidate->getLockInfo(&pid, &host, &application))
                return Error{tr("The data folder %1 is in use by another running copy of the application "
                                "(process %2 on %3). Quit that one first, or choose another data folder.")
                                 .arg(path)
                                 .arg(pid)
                                 .arg(host)};
            return Error{tr("The data folder %1 is in use by another running copy of the application.").arg(path)};
        }
        case QLockFile::PermissionError:
            return Error{tr("The data folder %1 cannot be written: permission denied.").arg(path)};
        default:
            return Error{tr("The data folder %1 cannot be locked.").arg(path)};
        }
    }
    m_lock = std::move(candidate);
    m_folder = path;
    return {};
}

void DataFolderLock::unlock()
{
    m_lock.reset();
    m_folder.clear();
}
