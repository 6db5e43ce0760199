#pragma once

#include "platform/base/Result.h"

#include <QtGlobal>

#include <memory>

class JWMemo;
class MemoTree;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The sample pages a new user finds in the tree: one top-level page that
 * welcomes them, with short pages below it on pages, formatting, links,
 * protection, search, sync and the keyboard. They come from a book file built
 * into the program (made at build time from the pages in data/samplebook),
 * and link to one another.
 */
namespace SampleBook {

/** Where the built-in book is among the program's resources. */
inline constexpr char kResourcePath[] = ":/sample/samplepage.jw3book";

/** The sample pages, read afresh from the built-in book: new IDs on every call, links among them rewritten. */
[[nodiscard]] Result<MemoPtr> read();

} // namespace SampleBook

/**
 * Inserts the sample pages into @p tree: the book's top page with its
 * sub-pages goes under @p parent (the root when null) at @p index (appended
 * when negative or past the end), with undo as any new page. Answers whether
 * it did; a book that cannot be read is reported as a warning. Fits
 * MemoTree::SamplePageImporter, so the application installs it with
 * tree.setSamplePageImporter(importSampleBook).
 */
bool importSampleBook(MemoTree &tree, const MemoPtr &parent, qsizetype index);
