#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QString>

#include <memory>

class JWMemo;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * Book files (".jw3book"): a page and its subtree in one file, for handing
 * pages to another data folder or another user.
 *
 * A book is an XML property list holding one dictionary: "rootMemo" is the
 * subtree archived as the data store archives its tree, and each page's rich
 * text (flattened RTFD) is stored under its page ID written in decimal.
 *
 * Reading gives the pages new IDs, as they join a tree whose IDs they do not
 * know, and rewrites the page links inside their texts through the old IDs'
 * new ones, so that links between the book's pages keep working. The pages
 * are marked edited and rich, so the next save writes their page files.
 */
namespace BookFile {

/** The book's file name extension, without the dot. */
inline constexpr char kFileExtension[] = "jw3book";

/** The bytes of a book holding @p memo and its subtree; fails when the tree cannot be archived. */
[[nodiscard]] Result<QByteArray> data(const MemoPtr &memo);

/** Writes the book of @p memo and its subtree to @p path, atomically; the folder must exist. */
[[nodiscard]] Status write(const MemoPtr &memo, const QString &path);

/**
 * The page tree of the book at @p path, with new IDs and its links
 * rewritten; an error naming the file when it cannot be read or is no book.
 */
[[nodiscard]] Result<MemoPtr> read(const QString &path);

/**
 * The page tree of the book @p bytes, as read() gives it. Fails when the
 * bytes are no property list, hold no dictionary, have no "rootMemo", or
 * their "rootMemo" does not decode to a tree of pages. A page whose text
 * entry is missing, is not data or holds no readable rich text takes its
 * text from the plain text stored with the tree.
 */
[[nodiscard]] Result<MemoPtr> readData(const QByteArray &bytes);

} // namespace BookFile
