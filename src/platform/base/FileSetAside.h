#pragma once

#include <QString>

#include <optional>

/**
 * Moves a file that cannot be read out of the way, so that nothing is ever
 * written over it: the user's data stay on disk for a later rescue.
 */
namespace FileSetAside {

/**
 * Renames @p path to "<path>.<label>-YYYYMMDD-HHMMSS" (a counter is added
 * when that name is taken) and answers the new path, or nothing when the
 * rename failed and the file is still where it was.
 */
[[nodiscard]] std::optional<QString> moveAside(const QString &path, const QString &label);

} // namespace FileSetAside
