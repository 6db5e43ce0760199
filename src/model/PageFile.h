#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <optional>

class JWMemo;

/**
 * A page's own file in the data folder: "Note Data/<ID>.jw3page", an XML
 * property list holding the page's rich text ("memoData") and the plain-text
 * flag, plus copies of the title, dates, flags and tags for programs that read
 * the folder without the data store.
 *
 * The file's keys are gathered in a fixed order and gathering stops at the
 * first value the page does not have, so a page without tags writes no text
 * either; folders written that way have always been read back like this.
 * The protection flag is stored under "open", the name it has always had.
 */
namespace PageFile {

/** The file's dictionary for @p memo, as saving writes it. Reads the text from the old file when it was never loaded. */
[[nodiscard]] QVariantMap dictionaryForMemo(const JWMemo &memo);

/** Writes @p dictionary as the page file of @p memoID, atomically. */
[[nodiscard]] Status write(qint64 memoID, const QVariantMap &dictionary);

/**
 * The page file of @p memoID as a dictionary; nothing when there is no file
 * or it is not a property-list dictionary (a damaged file counts as absent,
 * and a warning says so).
 */
[[nodiscard]] std::optional<QVariantMap> read(qint64 memoID);

/** The rich text a page file's @p dictionary holds; a null array when it holds none. */
[[nodiscard]] QByteArray memoDataIn(const QVariantMap &dictionary);

/** The plain-text flag a page file's @p dictionary holds; nothing when it holds none. Integers count as flags. */
[[nodiscard]] std::optional<bool> isPlainTextMemoIn(const QVariantMap &dictionary);

/** The page's rich text from its file; a null array when the file or the entry is missing. */
[[nodiscard]] QByteArray memoDataForID(qint64 memoID);

/** Deletes the page file of @p memoID; answers whether a file was there and is gone. */
bool remove(qint64 memoID);

/** True when a page file exists for @p memoID. */
[[nodiscard]] bool exists(qint64 memoID);

} // namespace PageFile
