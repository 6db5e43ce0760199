#pragma once

#include "platform/base/Result.h"

#include <QString>

/**
 * Packing files into gzip-compressed tar archives beside them, and keeping a
 * folder of dated backups from growing without end.
 */

/**
 * Packs the file or folder at @p path (a folder with everything in it,
 * symbolic links as links) into "<path without its extension>.tar.gz" in
 * the same folder: "Data/2026-01-02_03-04-05Z" gives
 * "Data/2026-01-02_03-04-05Z.tar.gz", "Data/JW3Data.jw3datastore" gives
 * "Data/JW3Data.tar.gz". The entries are named from the last component of
 * @p path on ("2026-01-02_03-04-05Z/Page.txt"). The source stays.
 *
 * The archive is written atomically: it replaces a file of its name only
 * once it is complete and on the disk, and a failure leaves no archive and
 * no temporary file behind. Answers the archive's path.
 */
[[nodiscard]] Result<QString> compressFile(const QString &path);

/**
 * Keeps at most @p limit entries in @p folderPath, removing the oldest: when
 * the folder has more entries than @p limit, its names are sorted (plain
 * character order, in which dated names sort by time) and the first ones are
 * removed, folders with their contents, until @p limit remain. A
 * ".DS_Store" file counts toward the first check but is never removed nor
 * counted afterwards. Entries that cannot be removed are logged and skipped.
 */
void removeOldFilesInDirectory(const QString &folderPath, int limit);
