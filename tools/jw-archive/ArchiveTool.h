#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>

/** What jw-archive does, apart from its command line. */
class ArchiveTool
{
public:
    enum class Format
    {
        Detect,
        PropertyList,
        TypedStream,
        KeyedArchive
    };
    /** How `text` prints a text. */
    enum class TextForm
    {
        Plain,
        Html
    };

    /** The format named on the command line ("plist", "typedstream", "keyed"), if any. */
    [[nodiscard]] static Result<Format> formatFromName(const QString &name);

    /** The bytes of @p path as indented JSON, read as @p format (sniffed when Detect). */
    [[nodiscard]] static Result<QByteArray> dump(const QString &path, Format format);

    /** Rewrites the property list @p inputPath as XML or binary ("xml", "binary") into @p outputPath. */
    [[nodiscard]] static Status convert(const QString &inputPath, const QString &to, const QString &outputPath);

    /**
     * The text held by @p path: an RTF file, an RTFD folder, flattened RTFD
     * or a page file (a property list whose "memoData" is flattened RTFD),
     * told apart by their contents. Plain text ends with a line feed and
     * leaves attachments out; Html is the formatted text. When
     * @p attachmentFolder is given, every attachment is written there under
     * its file name.
     */
    [[nodiscard]] static Result<QByteArray> text(
        const QString &path, TextForm form, const QString &attachmentFolder = {});
};
