#pragma once

#include <QHash>
#include <QList>

#include <memory>

class JWMemo;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * Imported trees carry the page IDs of the folder they were written in.
 * They join this tree under new IDs, and the links between their own pages
 * follow: links to pages outside the import keep their IDs.
 */
namespace ImportIdentifiers {

/**
 * Gives @p root and every page below it a new ID, reserving them all with
 * one write of the ID counter; answers each old ID's new one.
 */
[[nodiscard]] QHash<qint64, qint64> assignNewIDForMemo(JWMemo &root);

/**
 * Rewrites the page links in the texts of @p memos through @p newIDs. A
 * text without such links is left byte for byte as it was; a text that
 * cannot be read is left alone.
 */
void convertLinkIDOfMemos(const QList<MemoPtr> &memos, const QHash<qint64, qint64> &newIDs);

/**
 * assignNewIDForMemo() and then convertLinkIDOfMemos() for the whole tree of
 * @p root: what a tree read from a file needs before it joins this one.
 */
void giveNewIDs(const MemoPtr &root);

/** The pages of @p root's tree in pre-order, without recursion. */
[[nodiscard]] QList<MemoPtr> pagesOf(const MemoPtr &root);

} // namespace ImportIdentifiers
