#include "AtomicFileWriter.h"

#include <QFileInfo>
#include <QSaveFile>

#include <fcntl.h>
#include <unistd.h>

namespace {

// The rename is only durable once the folder's entry is on the disk too.
void syncFolder(const QString &folderPath)
{
    const int fd = ::open(QFile::encodeName(folderPath).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    ::fsync(fd);
    ::close(fd);
}

} // namespace

Status AtomicFileWriter::writeFile(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    // Never fall back to writing the target in place: that is what loses data.
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly))
        return Error{QStringLiteral("Cannot write \"%1\": %2").arg(path, file.errorString())};

    if (file.write(bytes) != bytes.size()) {
        const QString reason = file.errorString();
        file.cancelWriting();
        return Error{QStringLiteral("Cannot write \"%1\": %2").arg(path, reason)};
    }
    // commit() flushes, syncs the temporary file to the disk and renames it.
    if (!file.commit())
        return Error{QStringLiteral("Cannot write \"%1\": %2").arg(path, file.errorString())};

    syncFolder(QFileInfo(path).absolutePath());
    return {};
}
