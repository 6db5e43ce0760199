#include "TarGzReader.h"

#include "PosixFile.h"
#include "Utf8CharacterSet.h"

#include <QFile>
#include <QStringList>

#include <archive.h>
#include <archive_entry.h>

#include <memory>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace TarGzReader {

namespace {

constexpr qsizetype kBufferSize = 1 << 16;

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

} // namespace

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

namespace {

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

} // namespace

Status unpack(const QString &path, const QString &folder)
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

} // namespace TarGzReader
