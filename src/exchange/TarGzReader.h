#pragma once

#include "platform/base/Result.h"

#include <QString>

#include <cstddef>
#include <functional>

struct archive;
struct archive_entry;

/**
 * Reading gzip-compressed tar archives with libarchive, safely for archives
 * from anywhere: entries with absolute names or ".." are refused, nothing is
 * written through a link the archive makes, and every call runs under
 * Utf8CharacterSet.
 */
namespace TarGzReader {

/** What forEachEntry() shows: the entry's checked relative name, the archive and the entry. */
using EntryVisitor = std::function<Status(const QString &name, archive *in, archive_entry *entry)>;

/**
 * Shows @p visit every entry of the archive at @p path, by its checked name,
 * and reads the archive to its end; an entry's data that @p visit leaves
 * unread is read past. Fails at the first damaged or refused entry.
 */
[[nodiscard]] Status forEachEntry(const QString &path, const EntryVisitor &visit);

/** Hands the current entry's data to @p sink block by block, to its end. */
[[nodiscard]] Status readEntryData(archive *in, const std::function<Status(const char *, size_t)> &sink);

/**
 * Unpacks the archive at @p path into the existing @p folder: folders,
 * files with their permissions and times, symbolic links (made last). Hard
 * links are refused. On failure what was unpacked so far stays; the caller
 * unpacks into a folder of its own that it removes.
 */
[[nodiscard]] Status unpack(const QString &path, const QString &folder);

} // namespace TarGzReader
