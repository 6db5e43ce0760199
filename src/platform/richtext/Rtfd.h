#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>

class QTextDocument;

/**
 * RTFD: RTF text plus its attachment files, either as a folder (a package
 * named *.rtfd holding TXT.rtf and one file per attachment) or flattened
 * into one block of bytes (a serialized FileWrapper), the form in which
 * pages keep their text.
 *
 * The text goes through RtfReader and RtfWriter; an attachment's bytes are
 * stored exactly as the document holds them, never re-encoded. Reading also
 * takes plain RTF wherever RTFD is expected, because older data holds
 * either.
 */
class Rtfd
{
public:
    /** Whether @p bytes start like flattened RTFD ("rtfd" and a zero word). */
    [[nodiscard]] static bool isFlattenedRtfd(const QByteArray &bytes);
    /** Whether @p bytes start like RTF ("{\rtf"). */
    [[nodiscard]] static bool isRtf(const QByteArray &bytes);

    /**
     * Replaces @p document's content with flattened RTFD @p bytes (or plain
     * RTF). Fails on bytes that are neither, on a damaged container and on a
     * container without TXT.rtf; the document is then left empty.
     */
    [[nodiscard]] static Status readFlattened(const QByteArray &bytes, QTextDocument &document);
    /** The text of flattened RTFD @p bytes (or plain RTF) as RtfReader::readPlainText() gives it; fails as readFlattened(). */
    [[nodiscard]] static Result<QString> plainTextOfFlattened(const QByteArray &bytes);

    /** The flattened RTFD of @p document, its bookkeeping stamped with the current time. */
    [[nodiscard]] static QByteArray writeFlattened(const QTextDocument &document);
    /**
     * The flattened RTFD of @p document with @p modificationTime (Unix
     * seconds) as every file's recorded time: equal documents written with
     * equal times give equal bytes.
     */
    [[nodiscard]] static QByteArray writeFlattened(const QTextDocument &document, quint32 modificationTime);

    /**
     * Replaces @p document's content with the package @p folderPath. Only
     * files directly inside the folder are read as attachments. Fails when
     * TXT.rtf is missing or unreadable; the document is then left empty.
     */
    [[nodiscard]] static Status readPackage(const QString &folderPath, QTextDocument &document);

    /**
     * Writes @p document as the package @p folderPath: TXT.rtf plus one file
     * per attachment. Everything is written into a temporary sibling folder
     * first, which then takes the package's place; an existing package is
     * moved aside only once the new one is complete, and put back should the
     * final rename fail. Fails, leaving any old package as it was, when an
     * attachment's name cannot be a file name in the folder.
     */
    [[nodiscard]] static Status writePackage(const QTextDocument &document, const QString &folderPath);
};
