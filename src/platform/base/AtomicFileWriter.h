#pragma once

#include "Result.h"

#include <QByteArray>
#include <QString>

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
};
