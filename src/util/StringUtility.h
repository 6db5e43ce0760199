#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/**
 * Small text operations the rest of the application calls by name: they never
 * change their argument and answer nothing (an empty optional) when there is
 * no result.
 */
namespace StringUtility {

/**
 * Orders two titles as people read them: runs of digits by their value
 * ("Page 9" before "Page 10"), letters without regard to case or width
 * (full-width digits equal half-width ones), accents significant,
 * punctuation significant.
 *
 * Uses the user's collation, or English when the user's locale is "C",
 * which knows no natural order. The collator is built once per thread.
 *
 * @return -1 when @p a sorts first, 0 when they are the same, 1 otherwise.
 */
[[nodiscard]] int naturalCompare(const QString &a, const QString &b);

/** @p text with "\r\n" and then every remaining "\r" turned into "\n". */
[[nodiscard]] QString replaceReturnCode(const QString &text);

/**
 * Decodes the bytes of a text file whose encoding nobody told us.
 *
 * Bytes holding the escape character are tried as ISO-2022-JP first. Then,
 * in this order, the first encoding that decodes every byte without error
 * wins: UTF-8 (a leading byte-order mark is dropped), ASCII, Shift JIS,
 * EUC-JP, Mac Roman, Windows 1251, 1252, 1253, 1254 and 1250, ISO Latin 1,
 * and UTF-16 (a byte-order mark decides the byte order, big-endian without
 * one). Since Mac Roman accepts any byte, text that is not valid in the
 * earlier encodings ends up there; the order is kept all the same, as files
 * decoded this way have always been read like this.
 *
 * @return the text (empty for no bytes), or nothing if no encoding fits.
 */
[[nodiscard]] std::optional<QString> stringWithContentsOfDataByAutoDetectingEncoding(const QByteArray &data);

} // namespace StringUtility
