#include "common/FreshUserTest.h"
#include "model/JWMemo.h"
#include "model/MemoSorting.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace MemoSorting;

namespace {

class MemoSortingTest : public FreshUserTest
{
protected:
    // A page with the given ID; no default is touched.
    static MemoPtr page(qint64 id)
    {
        MemoPtr memo = JWMemo::bareMemo();
        memo->setMemoID(id);
        return memo;
    }
    static MemoPtr dated(qint64 id, int day)
    {
        MemoPtr memo = page(id);
        memo->setModifiedAt(QDateTime(QDate(2020, 1, day), QTime(12, 0), Qt::UTC));
        return memo;
    }
    static MemoPtr titled(qint64 id, const QString &title)
    {
        MemoPtr memo = page(id);
        memo->setTitle(title);
        return memo;
    }
};

TEST_F(MemoSortingTest, dateOrderIsNewestFirstUnlessTheFlagTurnsIt)
{
    const MemoPtr older = dated(1, 1);
    const MemoPtr newer = dated(2, 5);
    EXPECT_LT(sortWithDate(*newer, *older, false), 0);
    EXPECT_GT(sortWithDate(*older, *newer, false), 0);
    EXPECT_GT(sortWithDate(*newer, *older, true), 0);
    EXPECT_EQ(sortWithDate(*older, *dated(3, 1), false), 0);

    // A page without a date goes after one with a date; two without go by ID, largest first.
    const MemoPtr undatedSmall = page(10);
    const MemoPtr undatedLarge = page(20);
    EXPECT_GT(sortWithDate(*undatedSmall, *older, false), 0);
    EXPECT_LT(sortWithDate(*older, *undatedSmall, false), 0);
    EXPECT_LT(sortWithDate(*undatedLarge, *undatedSmall, false), 0);
    // The flag turns the missing-date rules around too.
    EXPECT_LT(sortWithDate(*undatedSmall, *older, true), 0);
    EXPECT_GT(sortWithDate(*undatedLarge, *undatedSmall, true), 0);
}

TEST_F(MemoSortingTest, nameOrderIsNaturalWithTheFlagOnAndReversedWithItOff)
{
    const MemoPtr page9 = titled(1, QStringLiteral("Page 9"));
    const MemoPtr page10 = titled(2, QStringLiteral("page 10"));
    EXPECT_LT(sortWithName(*page9, *page10, true), 0);
    EXPECT_GT(sortWithName(*page9, *page10, false), 0);
    EXPECT_EQ(sortWithName(*titled(3, QStringLiteral("ABC")), *titled(4, QStringLiteral("abc")), true), 0);

    // JWMemo::setTitle stores "" for none, so a null title means a page never titled.
    const MemoPtr untitledSmall = page(5);
    const MemoPtr untitledLarge = page(6);
    ASSERT_TRUE(untitledSmall->title().isNull());
    EXPECT_GT(sortWithName(*untitledSmall, *page9, true), 0);
    EXPECT_LT(sortWithName(*page9, *untitledSmall, true), 0);
    EXPECT_LT(sortWithName(*untitledLarge, *untitledSmall, true), 0);
    EXPECT_GT(sortWithName(*untitledLarge, *untitledSmall, false), 0);
}

TEST_F(MemoSortingTest, idAndReferenceOrdersAreLargestFirstWithTheFlagOn)
{
    EXPECT_LT(sortWithID(*page(9), *page(3), true), 0);
    EXPECT_GT(sortWithID(*page(9), *page(3), false), 0);
    EXPECT_EQ(sortWithID(*page(4), *page(4), true), 0);

    const MemoPtr often = page(1);
    often->setReferenceNumber(12);
    const MemoPtr rarely = page(2);
    rarely->setReferenceNumber(3);
    EXPECT_LT(sortWithReferenceNumber(*often, *rarely, true), 0);
    EXPECT_GT(sortWithReferenceNumber(*often, *rarely, false), 0);
    EXPECT_GT(sortWithReferenceNumber(*rarely, *often, true), 0);
}

TEST_F(MemoSortingTest, sortMemosIsStableAndPutsNullEntriesLast)
{
    const MemoPtr a = titled(1, QStringLiteral("b"));
    const MemoPtr b = titled(2, QStringLiteral("a"));
    const MemoPtr c = titled(3, QStringLiteral("B"));
    QList<MemoPtr> memos = {a, nullptr, b, c};
    sortMemos(memos, sortWithName, true);
    // "b" and "B" are equal and keep their order.
    EXPECT_EQ(memos, (QList<MemoPtr>{b, a, c, nullptr}));

    sortMemos(memos, nullptr, true);
    EXPECT_EQ(memos, (QList<MemoPtr>{b, a, c, nullptr}));
}

TEST_F(MemoSortingTest, sortingManyPagesByNameGivesThePairwiseOrder)
{
    const QStringList titles = {"Page 10", "page 9", "Page 9", "Chapter 3 - 2024-05-01", "chapter 12", "a10", "a2",
                                "A2", "a\uFF11\uFF10", "r\u00E9sum\u00E9", "resume", "a-b", "ab", "",
                                "\u65E5\u8A18 2", "\u65E5\u8A18 10", "\u306B\u3063\u304D", "Zebra", "zebra",
                                "x 007", "x 7", "100 tips", "99 tips"};
    QList<MemoPtr> memos;
    qint64 id = 1;
    for (const QString &title : titles)
        memos.append(titled(id++, title));
    // Untitled pages and null entries mixed in.
    memos.insert(3, page(id++));
    memos.insert(9, nullptr);
    memos.insert(12, page(id++));

    for (const bool flag : {true, false}) {
        QList<MemoPtr> expected = memos;
        std::stable_sort(expected.begin(), expected.end(), [flag](const MemoPtr &a, const MemoPtr &b) {
            if (!a || !b)
                return a && !b;
            return sortWithName(*a, *b, flag) < 0;
        });
        QList<MemoPtr> sorted = memos;
        sortMemos(sorted, sortWithName, flag);
        EXPECT_EQ(sorted, expected) << "flag " << flag;
        EXPECT_EQ(sorted.constLast(), nullptr);
    }
}

} // namespace
