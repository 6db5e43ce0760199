#pragma once

#include "model/JWMemo.h"

#include <QString>

/**
 * OPML outlines as page trees: the outline goes through the style sheet
 * "opml2plist" into the dictionaries OldDataConverter reads, all in memory,
 * so nothing is written beside the source.
 */
namespace OpmlImport {

/**
 * The page tree of the OPML file at @p path: a top page titled by the
 * head's title with one page per outline, nested as the outlines are, each
 * titled by the outline's text (its title when it has no text) and holding
 * its note as text. Every page has rich text and a fresh ID. Null when the
 * file cannot be read, is no OPML, is nested too deeply, or when the style
 * sheet is missing.
 */
[[nodiscard]] MemoPtr newMemoFrom_opml(const QString &path);

/** As newMemoFrom_opml(), from the bytes of an OPML document. */
[[nodiscard]] MemoPtr memoFromOpmlData(const QByteArray &opml);

} // namespace OpmlImport
