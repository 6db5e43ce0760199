#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>

#include <memory>

/**
 * Writes a gzip-compressed tar archive (pax format, UTF-8 names) from files
 * on the disk or from bytes in memory, atomically: the entries stream into a
 * temporary file beside the target, which is synced and renamed over the
 * target by finish(). Until then nothing is at the target's path, and a
 * writer destroyed unfinished, or failed at any step, removes its temporary
 * file and leaves whatever was at the target as it was.
 *
 * Entry names are relative paths with "/" between components; folders may
 * be given with or without a trailing "/".
 */
class TarGzWriter
{
public:
    /** An archive to be written to @p path; nothing happens until open(). */
    explicit TarGzWriter(QString path);
    ~TarGzWriter();
    TarGzWriter(const TarGzWriter &) = delete;
    TarGzWriter &operator=(const TarGzWriter &) = delete;

    [[nodiscard]] QString path() const { return m_path; }

    /** Creates the temporary file; the target's folder must exist. */
    [[nodiscard]] Status open();
    /**
     * Adds the file system entry at @p sourcePath as @p name: a file with its
     * contents, a symbolic link as a link, a folder with everything in it
     * (its entries named "<name>/<entry>", in name order).
     */
    [[nodiscard]] Status addPath(const QString &sourcePath, const QString &name);
    /** Adds an empty folder @p name (mode 0755, modified now). */
    [[nodiscard]] Status addFolder(const QString &name);
    /** Adds a file @p name holding @p bytes (mode 0644, modified now). */
    [[nodiscard]] Status addFile(const QString &name, const QByteArray &bytes);
    /** Ends the archive, syncs it and renames it over the target. */
    [[nodiscard]] Status finish();

private:
    struct Private;

    [[nodiscard]] Error failure(const QString &what) const;

    QString m_path;
    std::unique_ptr<Private> d;
};
