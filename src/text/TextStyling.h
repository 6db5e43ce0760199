#pragma once

#include "TextSpan.h"

#include <QColor>
#include <QString>
#include <QVariant>

#include <optional>

class QFont;
class QTextDocument;

/**
 * Character attributes set on a range of a QTextDocument without a view:
 * what the font, size and colour menus, the "reset font" command and tag
 * wrapping do to the text.
 *
 * Each change is one edit block, so one step on the document's undo stack;
 * an empty range (after cutting it to the text) changes nothing.
 */
namespace TextStyling {

/**
 * Sets the character property @p property (a QTextFormat::Property) to
 * @p value over @p range, keeping every other attribute; an invalid @p value
 * removes the property. A property that is not above 0 names no attribute
 * and changes nothing.
 * @return whether the range was changed.
 */
bool setAttribute(QTextDocument &document, int property, const QVariant &value, const TextRange &range);

/** Makes @p color the text colour of @p range. An invalid colour changes nothing. */
void changeTextColor(QTextDocument &document, const QColor &color, const TextRange &range);

/**
 * Gives all of @p range the font found at its start (family, weight and
 * slant) at @p pointSize points. A size that is not above 0 changes nothing.
 */
void changeFontSize(QTextDocument &document, qreal pointSize, const TextRange &range);

/**
 * Gives all of @p range the font family @p family at the point size found at
 * the range's start. Weight and slant stay as they are: a family names no face.
 */
void changeTextFont(QTextDocument &document, const QString &family, const TextRange &range);

/**
 * Resets the formatting of @p range to plain text in @p font.
 *
 * Removes the paragraph formatting of the paragraphs that start in the range
 * and, from the characters, the text and background colours, underline and
 * its colour, super- and subscript, baseline offset, letter spacing and
 * kerning, outline, stretch and tool tip; with @p deleteLink also the link.
 * Bold, italic and strike-through belong to the font or stay; pictures stay
 * pictures. Then @p font, when given, becomes the font of the range.
 */
void initializeFontInRange(
    QTextDocument &document, const TextRange &range, const std::optional<QFont> &font, bool deleteLink);

/**
 * Wraps @p range in the tags @p tag and @p endTag ("<b>" and "</b>", say) as
 * one undo step: the range's text takes @p stringColor when it is valid, and
 * the tags take @p tagColor (black when invalid). An empty tag is not
 * inserted; an empty range gets the two tags side by side at its place. The
 * inserted tags otherwise take the attributes of the text before them.
 *
 * @return the range of the wrapped text with its tags.
 */
TextRange clipRange(QTextDocument &document, const TextRange &range, const QString &tag, const QString &endTag,
    const QColor &tagColor = QColor(), const QColor &stringColor = QColor());

} // namespace TextStyling
