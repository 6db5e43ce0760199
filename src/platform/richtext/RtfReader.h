#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

class QTextDocument;

/**
 * Reads RTF into a QTextDocument.
 *
 * Understands what the platform's text system writes and what other word
 * processors commonly produce: code pages (\ansicpg and per-font
 * \fcharset, multi-byte pairs included), \u escapes with their fallback
 * characters, fonts, colours, bold, italic, underline, strikethrough,
 * sizes, super- and subscript, paragraph alignment, indents, spacing, line
 * height, tab stops, page breaks, HYPERLINK fields (as anchors whose href is
 * the URL exactly as written), \NeXTGraphic attachments and PNG or JPEG
 * \pict pictures (as attachments named "Picture <n>.png" / ".jpg"). Table
 * cells become tab-separated text, one paragraph per row. Destinations it
 * does not know are skipped.
 *
 * Hostile input never makes it crash, hang or grow without bound: groups
 * nested deeper than maxDepth are skipped, unterminated groups are closed at
 * the end and binary counts are cut to what the input holds.
 */
class RtfReader
{
public:
    /** Finds an attachment file named in the text (\NeXTGraphic): its bytes, or nothing. */
    using AttachmentResolver = std::function<std::optional<QByteArray>(const QString &fileName)>;

    /** Groups nested deeper than this are skipped with everything in them. */
    static constexpr int maxDepth = 1000;

    /**
     * Replaces @p document's content with @p rtf. Fails only when the bytes
     * are no RTF at all; damaged RTF gives a best-effort document.
     *
     * Each \NeXTGraphic attachment is looked up with @p resolver. When there
     * is no resolver or it has no file of that name, the attachment is still
     * inserted, with that name and no bytes, so that the text keeps its
     * place and name.
     */
    [[nodiscard]] static Status read(
        const QByteArray &rtf, QTextDocument &document, const AttachmentResolver &resolver = {});

    /**
     * The text of @p rtf as TextConverter::plainString() would give it after
     * read(), one U+FFFC per attachment, without building a document: a
     * fraction of the cost, for when only the words matter.
     */
    [[nodiscard]] static Result<QString> readPlainText(const QByteArray &rtf);
};
