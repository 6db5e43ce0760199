#pragma once

#include "TextSpan.h"
#include "platform/richtext/TextAttachment.h"

#include <QColor>
#include <QList>
#include <QString>
#include <QTextDocumentFragment>

class QImage;
class QTextDocument;

/**
 * Attributed text on a QTextDocument: its attachments, inserting plain,
 * coloured or picture text, and the search-and-replace and splitting that
 * work on the text with its formatting.
 *
 * Each change is one edit block, so one step on the document's undo stack.
 * In the strings these functions search for, "\n" stands for a paragraph
 * break (a block boundary, U+2029 in the document's raw text); a line
 * separator (U+2028) is only matched by itself.
 */
namespace AttributedText {

/** Every attachment of @p document, in text order, one per attachment character. */
[[nodiscard]] QList<TextAttachment> attachments(const QTextDocument &document);
/** The attachments whose characters lie in @p range, in text order. */
[[nodiscard]] QList<TextAttachment> attachmentsInRange(const QTextDocument &document, const TextRange &range);
/**
 * Whether @p range holds an attachment that has a file: one with bytes. An
 * attachment read without its file (its bytes missing from the RTFD) has no
 * file to offer and does not count.
 */
[[nodiscard]] bool hasAttachmentInRange(const QTextDocument &document, const TextRange &range);
/** hasAttachmentInRange() over the whole text. */
[[nodiscard]] bool hasAttachment(const QTextDocument &document);

/**
 * Appends @p text carrying no attributes: the document's default font, no
 * colour, whatever the text before it carries.
 */
void appendString(QTextDocument &document, const QString &text);
/** Appends @p text in @p color (black when @p color is invalid) and nothing else. */
void appendString(QTextDocument &document, const QString &text, const QColor &color);
/** Inserts @p text without attributes at @p index (the end when @p index is past it). */
void insertString(QTextDocument &document, const QString &text, qint64 index);
/** Inserts @p text in @p color (black when invalid) at @p index (the end when past it). */
void insertString(QTextDocument &document, const QString &text, const QColor &color, qint64 index);
/**
 * Inserts @p image at @p index (the end when past it) as an attachment: a
 * PNG file named @p fileName, or a variant of it should another attachment
 * use that name. A null image inserts nothing.
 * @return whether the picture went in.
 */
bool insertImage(QTextDocument &document, const QImage &image, qint64 index,
    const QString &fileName = QStringLiteral("Pasted Graphic.png"));

/**
 * Replaces the LAST occurrence of @p from (and only that one) with @p to,
 * which takes the attributes of the first character it replaces. Unlike
 * StringUtility's replacement, which replaces every occurrence, this has
 * always replaced one: callers rely on it.
 * @return whether an occurrence was replaced.
 */
bool replaceStringFrom(QTextDocument &document, const QString &from, const QString &to);

/**
 * Turns the last "\r\n" and then the last "\r" into a paragraph break, with
 * replaceStringFrom(). A QTextDocument already turns both into paragraph
 * breaks as text goes in, so this only changes documents built otherwise.
 */
void replaceReturnCode(QTextDocument &document);

/**
 * The stretches of @p document between occurrences of @p separator, with
 * their formatting. An empty separator, or one that does not occur, gives
 * the whole text as the one stretch.
 *
 * The search after an occurrence goes on one character past its start, so
 * a separator longer than one character leaves its tail at the start of the
 * next stretch; and the stretch after the last occurrence is left out ("a,b,c"
 * split at "," gives "a" and "b"). Both are how this splitting has always
 * behaved, and are kept.
 *
 * Attachments in a fragment keep their formats; their pictures and bytes
 * are resources of @p document, so they show when the fragment goes back
 * into it.
 */
[[nodiscard]] QList<QTextDocumentFragment> componentsSeparatedByString(
    const QTextDocument &document, const QString &separator);

} // namespace AttributedText
