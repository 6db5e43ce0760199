#pragma once

#include <QList>

#include <memory>

class JWMemo;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The orders in which lists of pages are sorted: the outline's sort command
 * and the recent, favourite and web-clip lists.
 *
 * Each comparison answers a negative number when @p a sorts first, 0 when
 * the two are equal and a positive number when @p b sorts first. The flag
 * turns each order around, but not the same way for all: the date order is
 * newest first with the flag off, the others run as named with the flag on.
 * These conventions are what callers rely on, so they stay as they are.
 */
namespace MemoSorting {

/** The signature shared by the comparisons. */
using Comparison = int (*)(const JWMemo &a, const JWMemo &b, bool flag);

/**
 * By modification date, newest first; oldest first with @p flag on. A page
 * without a date sorts after one with a date; two pages without dates sort
 * by ID, largest first. The flag reverses all of it.
 */
[[nodiscard]] int sortWithDate(const JWMemo &a, const JWMemo &b, bool flag);

/**
 * By title in natural order (StringUtility::naturalCompare) with @p flag on;
 * reversed with it off. A page without a title (a null title) sorts after one
 * with a title; two without titles sort by ID, largest first. The flag
 * reverses all of it.
 */
[[nodiscard]] int sortWithName(const JWMemo &a, const JWMemo &b, bool flag);

/** By ID, largest first with @p flag on; smallest first with it off. */
[[nodiscard]] int sortWithID(const JWMemo &a, const JWMemo &b, bool flag);

/** By how often the page was opened, most first with @p flag on; least first with it off. */
[[nodiscard]] int sortWithReferenceNumber(const JWMemo &a, const JWMemo &b, bool flag);

/**
 * Sorts @p memos in place by @p comparison with @p flag. Equal pages keep
 * their order; null entries go to the end. Sorting by sortWithName builds
 * one collation key per title rather than collating titles pair by pair,
 * so a tree of a hundred thousand pages sorts in well under a second.
 */
void sortMemos(QList<MemoPtr> &memos, Comparison comparison, bool flag);

} // namespace MemoSorting
