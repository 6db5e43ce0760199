#pragma once

#include "text/TextSpan.h"

class QTextDocument;

/**
 * Turns the link markup that texts of the previous major version carry as
 * characters into real links:
 *
 *     <a JW2Link href="URL">label</a>        a link to URL
 *     <a JW2Link PageID="12">label</a>       a link to page 12
 *     <a JW2Link path="/a/file">label</a>    a link to that file
 *
 * Each span is replaced by its label, which keeps its character formats and
 * gets the link as an anchor; nothing else of the format changes (no colour,
 * no underline). A span with another attribute name, or whose value is no
 * URL, is replaced by its plain label.
 */
namespace LinkMarkupConverter {

/**
 * Converts every span of @p document, from the start, in one edit block.
 * A "<a JW2Link " without a following "</a>" ends the conversion there: the
 * rest of the text keeps its markup. Answers how many spans were converted.
 */
int convertText(QTextDocument &document);

/**
 * Converts the one span @p span ("<a JW2Link " up to and with its "</a>") of
 * @p document and answers the label's range. The value and the label are
 * found case-insensitively. A span without the "\">" that closes its
 * opening tag, or without a "</a>" after it, is left as it is and its whole
 * range answered.
 */
TextRange noteText_setLinkAttributeAtRange(QTextDocument &document, const TextRange &span);

} // namespace LinkMarkupConverter
