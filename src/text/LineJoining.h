#pragma once

#include "TextSpan.h"

#include <QStringList>

class QTextDocument;

/**
 * Joins lines that were broken in the middle of a sentence, as text copied
 * from a mail or a PDF often is, while keeping the breaks that end a
 * sentence or a paragraph.
 *
 * A break here is what a "\n" is in plain text: a paragraph break (a block
 * boundary of the document) or a line separator (U+2028).
 */
namespace LineJoining {

/**
 * The characters next to which a break is kept: the ideographic comma, ".",
 * "!", the full-width "！" and "？", and a break itself. A plain "?" is not
 * among them, as it never was. The comma and the full-width marks come from
 * the "StringUtility" strings table ("Touten Character", "exclamation",
 * "question"); where the table is not installed they are the characters
 * those entries hold in English.
 */
[[nodiscard]] QStringList keepCharacters();

/**
 * Removes the breaks in @p range (the whole text when @p range is empty)
 * that do not end a sentence or a paragraph, as one undo step.
 *
 * Line ends are normalised first (AttributedText::replaceReturnCode()).
 * Then, from the last break of the range back to the first: a break at the
 * very start of the text goes; any other goes unless the character before
 * it or the character after it is one of keepCharacters() (at the end of
 * the text nothing comes after). No space takes a removed break's place:
 * "Hello", break, "world.", break, "Next" becomes "Helloworld.", break,
 * "Next".
 *
 * @return the number of breaks removed.
 */
int removeUnusedReturnInRange(QTextDocument &document, const TextRange &range);

} // namespace LineJoining
