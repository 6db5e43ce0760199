#pragma once

#include "PageLinks.h"
#include "TextSpan.h"

#include <QHash>
#include <QString>

#include <optional>

class QTextDocument;
class QUrl;

/**
 * Links on the text of a QTextDocument, without a view.
 *
 * A link is an anchor in the character format: QTextCharFormat::isAnchor()
 * with the link text as anchorHref(), drawn blue with a single underline.
 * The link text is kept exactly as it was set, so that the header tests of
 * PageLinks see it as written.
 *
 * Each change is one edit block, so one step on the document's undo stack;
 * an empty range (after cutting it to the text) changes nothing.
 */
namespace TextLinks {

/**
 * Links @p range to @p link, percent-escaped first (escapedStringWithPercent()).
 * When the escaped text is empty or no URL, @p range gets no link instead:
 * see removeLink().
 */
void setLink(QTextDocument &document, const TextRange &range, const QString &link);

/**
 * Links @p range to @p url, written fully encoded. QUrl keeps schemes in
 * lower case, which no page link survives: page links are set as text
 * (setLinkToMemo()). An empty or invalid @p url removes the link instead.
 */
void setLink(QTextDocument &document, const TextRange &range, const QUrl &url);

/** Links @p range to page @p memoID (PageLinks::pageLink()). */
void setLinkToMemo(QTextDocument &document, qint64 memoID, bool openInNewWindow, const TextRange &range);

/**
 * Takes the link off @p range, and with it the underline and the text colour
 * the link brought, whether or not the user had set them.
 */
void removeLink(QTextDocument &document, const TextRange &range);

/**
 * Links @p range to its own text: its first line (line ends of any kind cut
 * it), with "mailto:" in front when it holds an "@" but no "://".
 */
void setAutoLink(QTextDocument &document, const TextRange &range);

/**
 * The link at the start of @p range, described; nothing for an empty range
 * or when no link is there.
 */
[[nodiscard]] std::optional<PageLinks::LinkDescription> linkForSelection(
    const QTextDocument &document, const TextRange &range);

/**
 * Gives the page links of @p document the new IDs that @p idMap gives their
 * old ones, as one undo step.
 *
 * For each link whose page ID is a key of @p idMap, the link's ID field
 * becomes the new ID and the rest of the address stays: with 3 to 5,
 * "Jotwell3://pageid/3/OpenWithNewWindow" becomes
 * "Jotwell3://pageid/5/OpenWithNewWindow". Other links stay as they are.
 * When no link changes, the document is not touched (nor marked modified).
 *
 * @return the number of links rewritten; a link is a run of text with one link text.
 */
int connvertLinkIDWithDicitonary(QTextDocument &document, const QHash<qint64, qint64> &idMap);

} // namespace TextLinks
