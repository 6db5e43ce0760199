#include "AtomicFileBatch.h"

#include "FileWriteSteps.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

using namespace FileWriteSteps;

namespace {

// One sync per file system rather than one per file: each fsync waits for
// its own journal commit and cache flush, which for thousands of small files
// is nearly all of the time an export takes.
bool syncFileSystemsOf(const QSet<QByteArray> &folders)
{
    QSet<dev_t> synced;
    for (const QByteArray &folder : folders) {
        struct stat info
        { };
        if (::stat(folder.constData(), &info) != 0 || synced.contains(info.st_dev))
            continue;
        const int fd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0)
            return false;
        const bool ok = ::syncfs(fd) == 0;
        ::close(fd);
        if (!ok)
            return false;
        synced.insert(info.st_dev);
    }
    return true;
}

QByteArray folderOf(const QByteArray &path)
{
    return QFile::encodeName(QFileInfo(QFile::decodeName(path)).absolutePath());
}

} // namespace

AtomicFileBatch::~AtomicFileBatch()
{
    for (const Pending &file : m_pending)
        ::unlink(file.temporary.constData());
}

Status AtomicFileBatch::add(const QString &path, const QByteArray &bytes)
{
    const QByteArray target = QFile::encodeName(path);
    TemporaryFile temporary(target);
    if (temporary.fd() < 0)
        return failure(path, "create", errno);
    if (!takePermissionsOf(target, temporary.fd()))
        return failure(path, "permissions", errno);
    if (!writeAll(temporary.fd(), bytes.constData(), bytes.size()))
        return failure(path, "write", errno);
    if (!temporary.close())
        return failure(path, "close", errno);
    m_pending.push_back({temporary.path(), target});
    temporary.renamed(); // the batch removes it from now on
    return {};
}

Status AtomicFileBatch::commit()
{
    QSet<QByteArray> folders;
    for (const Pending &file : m_pending)
        folders.insert(folderOf(file.target));
    if (!folders.isEmpty() && !syncFileSystemsOf(folders))
        return failure(QFile::decodeName(m_pending.front().target), "sync", errno);

    for (auto file = m_pending.begin(); file != m_pending.end(); ++file) {
        if (::rename(file->temporary.constData(), file->target.constData()) != 0) {
            const Error failed = failure(QFile::decodeName(file->target), "rename", errno);
            m_pending.erase(m_pending.begin(), file); // those are in place; the destructor removes the rest
            return failed;
        }
    }
    m_pending.clear();
    if (!syncFileSystemsOf(folders))
        return Error{QStringLiteral("Cannot bring the written files to the disk: %1").arg(systemError(errno))};
    return {};
}
