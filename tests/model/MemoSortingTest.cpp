#include "common/FreshUserTest.h"
#include "model/JWMemo.h"
#include "model/MemoSorting.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace MemoSorting;

namespace {

// A page with the given ID, title (none when null) and day of modification (none when 0).
MemoPtr page(qint64 id, const QString &title = {}, int day = 0)
{
    MemoPtr memo = JWMemo::bareMemo();
    memo->setMemoID(id);
    if (!title.isNull())
        memo->setTitle(title);
    if (day > 0)
        memo->setModifiedAt(QDateTime(QDate(2020, 1, day), QTime(12, 0), Qt::UTC));
    return memo;
}

int sign(int value)
{
    return (value > 0) - (value < 0);
}

TEST(MemoSortingTest, eachOrderRunsBothWaysAndPutsPagesWithoutTheKeyLast)
{
    const MemoPtr older = page(1, {}, 1), newer = page(2, {}, 5);
    const MemoPtr undatedSmall = page(10), undatedLarge = page(20);
    const MemoPtr page9 = page(1, QStringLiteral("Page 9")), page10 = page(2, QStringLiteral("page 10"));
    const MemoPtr often = page(1), rarely = page(2);
    often->setReferenceNumber(12);
    rarely->setReferenceNumber(3);
    // A null title is a page never titled (setTitle stores "" for none).
    ASSERT_TRUE(undatedSmall->title().isNull());

    const struct
    {
        const char *what;
        Comparison compare;
        MemoPtr a, b;
        bool flag;
        int sign; // of compare(a, b); compare(b, a) must give the opposite
    } cases[] = {
        {"newest first", sortWithDate, newer, older, false, -1},
        {"oldest first with the flag", sortWithDate, newer, older, true, 1},
        {"same date", sortWithDate, older, page(3, {}, 1), false, 0},
        {"undated after dated", sortWithDate, undatedSmall, older, false, 1},
        {"undated by ID, largest first", sortWithDate, undatedLarge, undatedSmall, false, -1},
        {"the flag turns undated around", sortWithDate, undatedSmall, older, true, -1},
        {"and their IDs", sortWithDate, undatedLarge, undatedSmall, true, 1},
        {"natural name order", sortWithName, page9, page10, true, -1},
        {"reversed without the flag", sortWithName, page9, page10, false, 1},
        {"untitled after titled", sortWithName, undatedSmall, page9, true, 1},
        {"untitled by ID, largest first", sortWithName, undatedLarge, undatedSmall, true, -1},
        {"the flag turns untitled around", sortWithName, undatedLarge, undatedSmall, false, 1},
        {"largest ID first", sortWithID, page(9), page(3), true, -1},
        {"smallest ID first", sortWithID, page(9), page(3), false, 1},
        {"most opened first", sortWithReferenceNumber, often, rarely, true, -1},
        {"least opened first", sortWithReferenceNumber, often, rarely, false, 1},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(sign(c.compare(*c.a, *c.b, c.flag)), c.sign) << c.what;
        EXPECT_EQ(sign(c.compare(*c.b, *c.a, c.flag)), -c.sign) << c.what << ", swapped";
    }
}

TEST(MemoSortingTest, sortingAListAgreesWithThePairwiseOrderStablyAndPutsNullEntriesLast)
{
    // sortMemos sorts by name through collation keys, not through sortWithName:
    // the two must agree on numbers, case, accents, full-width digits and scripts.
    const QStringList titles = {"Page 10", "page 9", "Page 9", "Chapter 3 - 2024-05-01", "chapter 12", "a10", "a2",
        "A2", "a\uFF11\uFF10", "r\u00E9sum\u00E9", "resume", "a-b", "ab", "", "\u65E5\u8A18 2", "\u65E5\u8A18 10",
        "\u306B\u3063\u304D", "Zebra", "zebra", "x 007", "x 7", "100 tips", "99 tips"};
    QList<MemoPtr> memos;
    qint64 id = 1;
    for (const QString &title : titles)
        memos.append(page(id++, title));
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
    QList<MemoPtr> unsorted = memos;
    sortMemos(unsorted, nullptr, true);
    EXPECT_EQ(unsorted, memos) << "no comparison leaves the list alone";
}

} // namespace
