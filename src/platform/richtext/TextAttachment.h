#pragma once

#include <QByteArray>
#include <QList>
#include <QSizeF>
#include <QString>
#include <QTextFormat>

#include <optional>

class QTextCursor;
class QTextDocument;

/**
 * A file inside a text: a picture, a PDF, anything the user dropped in. It
 * stands at one object-replacement character (U+FFFC) and keeps its file
 * name and its original bytes, which are never re-encoded: what was read
 * from an RTFD is what is written back.
 */
struct TextAttachment
{
    QString fileName;
    QByteArray bytes;
    /** The size the text shows it at, in points; empty for the picture's own size. */
    QSizeF displaySize;

    friend bool operator==(const TextAttachment &, const TextAttachment &) = default;
};

/**
 * How attachments live in a QTextDocument.
 *
 * An attachment is an image character whose QTextImageFormat carries the
 * file name in FileNameProperty. Its name() is a "jw-attachment:" URL under
 * which the document holds the picture to show (an ImageResource: the decoded
 * image, or a drawn placeholder for files that are no picture); the original
 * bytes are an AttachmentBytes resource under "jw-attachment-bytes:" and the
 * same file name. Every reader and
 * writer of rich text goes through these functions, so the convention lives
 * in one place.
 */
class TextAttachments
{
public:
    /** The image-format property that marks an attachment and holds its file name. */
    static constexpr int FileNameProperty = QTextFormat::UserProperty + 0x100;
    /** The document resource type under which an attachment's original bytes are kept. */
    static constexpr int AttachmentBytes = 0x4a57; // any value at or above QTextDocument::UserResource

    /**
     * Inserts @p attachment at @p cursor as one image character. A file name
     * already used by another attachment of the document is made unique
     * first ("Pasted Graphic 2.tiff"). Returns the format inserted.
     */
    static QTextImageFormat insert(QTextCursor &cursor, TextAttachment attachment);

    /** The attachment an image format stands for, or nothing when the format is no attachment. */
    [[nodiscard]] static std::optional<TextAttachment> fromFormat(
        const QTextDocument &document, const QTextFormat &format);

    /** Every attachment of @p document with its character position, in text order. */
    [[nodiscard]] static QList<std::pair<int, TextAttachment>> all(const QTextDocument &document);

    /** @p wanted, or a variant of it ("name 2.ext", "name 3.ext", ...) no attachment of @p document uses. */
    [[nodiscard]] static QString uniqueFileName(const QTextDocument &document, const QString &wanted);
};
