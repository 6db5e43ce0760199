#pragma once

#include "Result.h"

#include <QByteArray>
#include <QString>

/** Reading a whole file, the counterpart of AtomicFileWriter. */
class FileContents
{
public:
    /** The bytes of the file at @p path, or an error naming the file and the reason. */
    [[nodiscard]] static Result<QByteArray> read(const QString &path);
};
