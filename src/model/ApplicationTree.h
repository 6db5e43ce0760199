#pragma once

#include "JWMemo.h"

/**
 * The tree the application shows and saves. A page writes its page file
 * only while it belongs to this tree, so that pages made for an export, an
 * import or an exchange, and pages that were deleted but are kept for undo,
 * never touch the data folder.
 *
 * Used on the GUI thread only.
 */
namespace ApplicationTree {

/** The root of the application's tree; null before the data folder is loaded. */
[[nodiscard]] MemoPtr rootMemo();
/** Makes @p root the application's tree (null for none). */
void setRootMemo(const MemoPtr &root);

/**
 * True when @p memo is the root or lies anywhere below it. Answered from a
 * set of the tree's pages that is rebuilt only after the tree changed, so a
 * save that asks for every page stays linear in the size of the tree.
 */
[[nodiscard]] bool contains(const JWMemo *memo);

} // namespace ApplicationTree
