#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QString>

/** What jw-archive does, apart from its command line. */
class ArchiveTool
{
public:
    enum class Format { Detect, PropertyList, TypedStream, KeyedArchive };

    /** The format named on the command line ("plist", "typedstream", "keyed"), if any. */
    [[nodiscard]] static Result<Format> formatFromName(const QString &name);

    /** The bytes of @p path as indented JSON, read as @p format (sniffed when Detect). */
    [[nodiscard]] static Result<QByteArray> dump(const QString &path, Format format);

    /** Rewrites the property list @p inputPath as XML or binary ("xml", "binary") into @p outputPath. */
    [[nodiscard]] static Status convert(const QString &inputPath, const QString &to, const QString &outputPath);
};
