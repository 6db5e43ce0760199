#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QStringView>

/**
 * Text in the form searches compare: Unicode's NFKC_Casefold, as UTF-8.
 *
 * Full case folding makes "Straße", "STRASSE" and "straẞe" one word and
 * final sigma the same as sigma; the compatibility mapping makes full-width
 * "ＡＢＣ" and ligatures such as "ﬁ" match their plain letters. Accents stay:
 * "é" matches "É" but not "e". A key is found in a text when its folded
 * bytes occur in the text's folded bytes.
 *
 * ASCII, the bulk of most notebooks, is lowered byte by byte; anything else
 * goes through ICU.
 */
namespace CaseFolding {

/** @p text folded. */
[[nodiscard]] QByteArray folded(QStringView text);
/** UTF-8 @p utf8 folded; malformed sequences count as U+FFFD, as QString::fromUtf8 reads them. */
[[nodiscard]] QByteArray foldedUtf8(QByteArrayView utf8);
/** @p text folded, as UTF-16: for finding inside a text where positions matter. */
[[nodiscard]] QString foldedString(QStringView text);

} // namespace CaseFolding
