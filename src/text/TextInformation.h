#pragma once

#include "TextSpan.h"

#include <QString>

class QTextCursor;
class QTextDocument;

/**
 * Counts of a text for the information panel and the counters of a page
 * window: lines, words and characters, of the whole text, of a range or of a
 * selection. Ranges are cut to the text (see TextSpan); an empty range counts
 * nothing.
 *
 * Lines are logical lines, whatever the layout wraps: a line ends at "\n",
 * "\r", "\r\n", U+0085, U+2028 (line separator) or U+2029 (paragraph
 * separator, what a QTextDocument holds between its blocks), and at the
 * frame markers a document puts around tables. A final line break does not
 * start another line: "a\nb" has 2 lines and "a\n" has 1.
 *
 * Words are the stretches a double click selects, which here are the word
 * segments of QTextBoundaryFinder: a stretch counts as a word when it holds
 * a letter, a digit or a combining mark. A range that starts or ends inside
 * a word counts that word. Lines of Latin text (Latin-1 with the typographic
 * quotes and dashes) take a faster route that gives the same segments as
 * QTextBoundaryFinder; other lines go through the finder.
 */
namespace TextInformation {

/** The number of lines in @p range of @p text. */
[[nodiscard]] qint64 countLinesInRange(const QString &text, const TextRange &range);
[[nodiscard]] qint64 countLinesInRange(const QTextDocument &document, const TextRange &range);
/** The number of lines of the whole text; 0 when it is empty. */
[[nodiscard]] qint64 countLines(const QString &text);
[[nodiscard]] qint64 countLines(const QTextDocument &document);
/** The number of lines of @p cursor's selection; 0 when nothing is selected. */
[[nodiscard]] qint64 countSelectedLines(const QTextCursor &cursor);

/** The number of words in @p range of @p text. */
[[nodiscard]] qint64 countWordsInRange(const QString &text, const TextRange &range);
[[nodiscard]] qint64 countWordsInRange(const QTextDocument &document, const TextRange &range);
/** The number of words of the whole text; 0 when it is empty. */
[[nodiscard]] qint64 countWords(const QString &text);
[[nodiscard]] qint64 countWords(const QTextDocument &document);
/** The number of words of @p cursor's selection; 0 when nothing is selected. */
[[nodiscard]] qint64 countSelectedWords(const QTextCursor &cursor);

/**
 * The number of characters of @p document's text, as the character counter
 * shows it: UTF-16 code units, with one for each paragraph break and each
 * attachment.
 */
[[nodiscard]] qint64 countCharacters(const QTextDocument &document);

} // namespace TextInformation
