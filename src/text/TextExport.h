#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>

class QTextDocument;

/**
 * Whole-text conversions of a QTextDocument: to and from RTF and RTFD, to a
 * plain UTF-8 file and to a PDF file. Files are written atomically: a reader
 * sees the old file or the complete new one, never a part.
 */
namespace TextExport {

/** The text as flattened RTFD, with every attachment. */
[[nodiscard]] QByteArray RTFDData(const QTextDocument &document);
/** The text as RTF; attachments are left out, as RTF cannot hold them. */
[[nodiscard]] QByteArray RTFData(const QTextDocument &document);

/** Replaces the text with flattened RTFD (or plain RTF). On failure the text is empty. */
[[nodiscard]] Status setRTFDData(QTextDocument &document, const QByteArray &rtfd);
/** Replaces the text with RTF. On failure the text is empty. */
[[nodiscard]] Status setRTFData(QTextDocument &document, const QByteArray &rtf);

/**
 * Replaces the whole text with @p text as one undo step. The new text takes
 * the attributes of the first character it replaces (plain attributes when
 * that is a picture); "\n" makes paragraphs.
 */
void replaceCharactersWithString(QTextDocument &document, const QString &text);

/**
 * The text as the platform's plain string gives it: paragraphs separated by
 * "\n", line separators (U+2028) kept, one U+FFFC per attachment.
 */
[[nodiscard]] QString string(const QTextDocument &document);

/** Writes string() to @p path as UTF-8, without byte-order mark. */
[[nodiscard]] Status saveAsPlainUTF8TextFile(const QTextDocument &document, const QString &path);

/**
 * Writes the text to @p path as a PDF, laid out at the document's text width
 * (an A4 page's width when it has none), on one page as tall as the text.
 * A text taller than a PDF page can be (14,400 points) goes on several pages
 * of that height, broken between lines.
 */
[[nodiscard]] Status saveAsPDFToFile(const QTextDocument &document, const QString &path);

} // namespace TextExport
