#pragma once

#include "platform/base/Result.h"

#include <QString>

/** File operations the application needs beyond what Qt offers in one call. */
namespace FileManagerUtility {

/**
 * Copies the folder @p from with everything inside it to @p to, which must
 * not exist yet. Symbolic links are copied as links. On failure what was
 * copied so far stays, and the error names the file that failed.
 */
[[nodiscard]] Status copyFolderAndContents(const QString &from, const QString &to);

/**
 * Renames the file or folder at @p path to @p newName in the same folder;
 * when that name is taken, " 2", " 3"… are appended. Answers the new path.
 */
[[nodiscard]] Result<QString> changeFileNameOfPath(const QString &path, const QString &newName);

/**
 * The number a file name starts with, the way the platform's string
 * conversion reads it: leading spaces skipped, an optional sign, digits with
 * an optional fraction and exponent; 0 when the name does not start with one.
 */
[[nodiscard]] double leadingNumber(const QString &text);

} // namespace FileManagerUtility
