#pragma once

#include "platform/base/Result.h"

#include <QString>

#include <optional>

class JWMemo;

/**
 * Pages as plain UTF-8 text files: the text a reader of the page sees, with
 * no formatting and no pictures.
 */
namespace PlainTextHierarchy {

/** The page's text as a plain string: its kept plain text, the string of its rich text. */
[[nodiscard]] QString pageText(const JWMemo &memo);

/**
 * Writes @p memo and its subtree into the existing @p folderPath as
 * "<title>.txt" files, each page's children in the folder "<title>" beside
 * its file (see HierarchyExport). Existing files of the same name are
 * replaced; each file is written atomically, and all of them reach the disk
 * together at the end (AtomicFileBatch). @p title, when given, is used
 * in place of @p memo's own title without changing the page.
 */
[[nodiscard]] Status exportMemosASPlainText(
    const JWMemo &memo, const QString &folderPath, const std::optional<QString> &title = std::nullopt);

} // namespace PlainTextHierarchy
