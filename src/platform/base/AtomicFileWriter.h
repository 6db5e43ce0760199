#pragma once

#include "Result.h"

#include <QByteArray>
#include <QString>

#include <vector>

/**
 * The one way the application writes a file.
 *
 * The bytes go to a temporary file in the target's folder, are flushed to the
 * disk, and the temporary file is then renamed over the target. A reader (or a
 * crash, or a full disk) therefore sees either the old file or the new one,
 * never a mixture; when anything fails the old file is left as it was and the
 * temporary file is removed.
 */
class AtomicFileWriter
{
public:
    /** Writes @p bytes to @p path; the folder must exist. */
    static Status writeFile(const QString &path, const QByteArray &bytes);

    /** A stretch of the new file: bytes, or a stretch of the file it replaces. */
    struct Piece
    {
        qint64 offset = -1; ///< where the stretch is in the file at the path; -1 for @c bytes
        qint64 length = 0;
        QByteArray bytes;
    };

    /**
     * Writes the @p pieces in order to @p path, copying the stretches of the
     * file there now inside the kernel (shared on file systems that can).
     * Fails, leaving the file as it was, when a stretch is not in it.
     */
    static Status writeFile(const QString &path, const std::vector<Piece> &pieces);
};
