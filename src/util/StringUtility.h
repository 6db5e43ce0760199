#pragma once

#include "util/SearchKeys.h"
#include "util/StringMarkers.h"

#include <QByteArray>
#include <QCollator>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <utility>

/**
 * Small text operations the rest of the application calls by name: they never
 * change their argument and answer nothing (an empty optional) when there is
 * no result. This header holds comparison, character classes, sizes and
 * reading text files; it brings in the marker operations (StringMarkers.h)
 * and the search keys (SearchKeys.h) as well.
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

/**
 * A key that orders as naturalCompare() does: the sign of
 * naturalSortKey(a).compare(naturalSortKey(b)) is naturalCompare(a, b).
 * Building a key costs about one comparison and comparing keys far less,
 * so sorting many titles should build one key per title.
 */
[[nodiscard]] QCollatorSortKey naturalSortKey(const QString &text);

/**
 * The positions of @p texts in natural order: the first entry is the index
 * of the text that sorts first. Equal texts keep their order.
 */
[[nodiscard]] QList<qsizetype> naturalOrder(const QStringList &texts);

/** Sorts @p items stably by the natural order of the text @p textOf gives for each. */
template<typename T, typename TextOf> void sortNaturally(QList<T> &items, TextOf textOf)
{
    QStringList texts;
    texts.reserve(items.size());
    for (const T &item : std::as_const(items))
        texts.append(textOf(item));
    QList<T> sorted;
    sorted.reserve(items.size());
    for (const qsizetype index : naturalOrder(texts))
        sorted.append(std::move(items[index]));
    items = std::move(sorted);
}

/** @p text with "\r\n" and then every remaining "\r" turned into "\n". */
[[nodiscard]] QString replaceReturnCode(const QString &text);

/** True when every character is one of "0123456789" (so for empty text too). */
[[nodiscard]] bool isNumberString(const QString &text);

/** True when every character is in the strings table's "alphabetCharacterSet" (ASCII letters and digits). */
[[nodiscard]] bool isAlphanumericString(const QString &text);

/** True when every character is in the strings table's "japaneseCharacterset" (hiragana and katakana). */
[[nodiscard]] bool isHiraganaKatanakaString(const QString &text);

/** True when every character is in one of the two sets above. */
[[nodiscard]] bool isHiraganaKatanakaAlphabetString(const QString &text);

/**
 * A byte count for people: "512B", "5.0B", "1.5KB", "10KB", up to "TB".
 * Each unit is taken only above the one below (1024 bytes are "1024B");
 * values below 10 keep one decimal. The point is always ".".
 */
[[nodiscard]] QString stringWithByteSize(double bytes);

/** As stringWithByteSize() with units up to "GB" and the user's decimal separator. */
[[nodiscard]] QString fileSizeString(double bytes);

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

/** The file at @p path decoded as stringWithContentsOfDataByAutoDetectingEncoding() does; nothing when it cannot be read. */
[[nodiscard]] std::optional<QString> stringWithContentsOfFileByAutoDetectingEncoding(const QString &path);

/** The file at @p path decoded strictly as UTF-8 (a byte-order mark dropped); nothing when unreadable or invalid. */
[[nodiscard]] std::optional<QString> stringFromUTF8DataFilePath(const QString &path);

/**
 * The file at @p path decoded as UTF-16: a byte-order mark gives the byte
 * order, big-endian without one. Nothing when unreadable or of odd length.
 */
[[nodiscard]] std::optional<QString> stringFromUTF16DataFilePath(const QString &path);

} // namespace StringUtility
