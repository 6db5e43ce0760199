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

/**
 * Writes @p dictionary as the page file of @p memoID, atomically: the old
 * file stays as it was unless the new one was written whole. On failure the
 * error names the step that failed (no folder, encoding, writing) and its cause.
 */
[[nodiscard]] Status write(qint64 memoID, const QVariantMap &dictionary);

/** Writes @p memo's page file (dictionaryForMemo()), as write() does. */
[[nodiscard]] Status writeMemo(const JWMemo &memo);

/**
 * The page file of @p memoID as a dictionary: nothing when there is no file,
 * an error naming the file and the cause when it exists but cannot be read.
 */
[[nodiscard]] Result<std::optional<QVariantMap>> load(qint64 memoID);
/** load() for the page file at @p path; safe on any thread, as it reads no preferences. */
[[nodiscard]] Result<std::optional<QVariantMap>> loadPath(const QString &path);

/**
 * Renames the page file of @p memoID to "<ID>.jw3page.unreadable-YYYYMMDD-HHMMSS"
 * beside itself, so that nothing is written over a file that could not be
 * read; answers the new path, or why the file could not be moved.
 */
[[nodiscard]] Result<QString> setAsideUnreadable(qint64 memoID);

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

/**
 * Moves a page file left under @p memoID by a page of an earlier tree (the
 * ID counter was reset, or the folder came from elsewhere) into the folder
 * of unused files, as "<ID>.jw3page" or, when that is taken,
 * "<ID>-2.jw3page", "<ID>-3.jw3page"… It may be someone's only copy, so a
 * file that cannot be moved stays where it is, with a warning. Answers
 * whether no file is left under the ID.
 */
[[nodiscard]] bool setAsideStale(qint64 memoID);

/** Deletes the web archives of @p memoID (the full one and the one for the phone). */
void removeWebArchives(qint64 memoID);

} // namespace PageFile
