#pragma once

#include "TextSpan.h"

#include <QColor>

class QTextDocument;

/**
 * Highlighting text: its background colour over a range of a QTextDocument.
 * Changes are one undo step each; an empty range changes nothing.
 */
namespace TextHighlight {

/**
 * The background colour of the character at @p range's start, or white when
 * it has none (or the range starts at the end of the text).
 */
[[nodiscard]] QColor backgroundColorForRange(const QTextDocument &document, const TextRange &range);

/** Makes @p color the background of @p range. An invalid colour changes nothing. */
void setBackgroundColor(QTextDocument &document, const QColor &color, const TextRange &range);

/** Removes any background colour from @p range. */
void removeBackgroundColorOfRange(QTextDocument &document, const TextRange &range);

} // namespace TextHighlight
