#include "SyncTrees.h"
#include "common/FreshUserTest.h"

#include "model/MemoIDAllocator.h"
#include "model/MemoTree.h"
#include "sync/SyncMerge.h"
#include "sync/SyncPayload.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using SyncTrees::day;
using SyncTrees::entry;
using SyncTrees::page;
using SyncTrees::titles;

class SyncMergeTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        MemoIDAllocator::shared().resetCounter(1000);
        tree.setRoot(page(QStringLiteral("root"), 1, 0));
        outside = page(QStringLiteral("Outside"), 50, 0, tree.root());
        group = page(QStringLiteral("Group"), 2, 0, tree.root());
    }

    MemoPtr merge(const QVariantMap &phone, std::optional<QDateTime> lastSync = day(10))
    {
        return SyncMerge(tree, QStringLiteral("Group"), lastSync).syncWithDictionary(phone);
    }

    MemoTree tree;
    MemoPtr outside, group;
};

TEST_F(SyncMergeTest, LaterDesktopDateKeepsValuesButTakesPlace)
{
    const MemoPtr a = page(QStringLiteral("A"), 3, 20, group);
    const MemoPtr b = page(QStringLiteral("B"), 4, 5, group);
    const QVariantMap phoneA = entry(3, QStringLiteral("Phone A"), 15);
    const QVariantMap phoneB = entry(4, QStringLiteral("Phone B"), 5, {phoneA});
    EXPECT_EQ(merge(entry(2, QStringLiteral("Group"), 0, {phoneB})), group);

    EXPECT_EQ(titles(group), QStringList{QStringLiteral("Phone B")});
    EXPECT_EQ(b->children(), std::vector<MemoPtr>{a});
    EXPECT_EQ(a->title(), QStringLiteral("A")) << "the desktop changed A later";
    EXPECT_EQ(a->modifiedAt(), day(20));
    EXPECT_EQ(b->plainText(), QStringLiteral("Phone B text")) << "equal dates take the phone's values";
    EXPECT_TRUE(b->isEdited());

    // Nothing changed on either side: no page is touched.
    a->setIsEdited(false);
    EXPECT_TRUE(merge(entry(
        2, QStringLiteral("Group"), 0, {entry(4, QStringLiteral("Phone B"), 5, {entry(3, QStringLiteral("A"), 20)})})));
    EXPECT_FALSE(a->isEdited());
}

TEST_F(SyncMergeTest, PagesThePhoneLacksGoAwayOnlyWhenUnchangedSinceTheLastSync)
{
    const MemoPtr parent = page(QStringLiteral("Parent"), 3, 2, group);
    const MemoPtr gone = page(QStringLiteral("Gone"), 4, 2, parent);
    page(QStringLiteral("Fresh"), 5, 12, parent);
    const MemoPtr secret = page(QStringLiteral("Secret"), 6, 2, group);
    page(QStringLiteral("Inside"), 7, 2, secret);
    secret->setProtectWithPassword(true);
    const QVariantMap phone = entry(2, QStringLiteral("Group"), 0, {entry(3, QStringLiteral("Parent"), 2)});

    EXPECT_TRUE(merge(phone));
    EXPECT_EQ(titles(parent), QStringList{QStringLiteral("Fresh")}) << "new on the desktop: stays";
    const MemoPtr folder = group->children().at(1);
    EXPECT_EQ(titles(group),
        (QStringList{QStringLiteral("Parent"), QStringLiteral("Removed Memo"), QStringLiteral("Secret")}))
        << "a protected page is neither removed nor lost";
    EXPECT_EQ(titles(folder), QStringList{QStringLiteral("Gone")});
    EXPECT_EQ(titles(secret), QStringList{QStringLiteral("Inside")});

    // Without a date of the last sync nothing counts as deleted by the phone.
    tree.moveMemo(gone, parent, -1, false);
    EXPECT_TRUE(merge(phone, std::nullopt));
    EXPECT_EQ(titles(parent), (QStringList{QStringLiteral("Fresh"), QStringLiteral("Gone")}));
    EXPECT_EQ(group->children().at(1), folder);
    EXPECT_TRUE(folder->children().empty());
}

TEST_F(SyncMergeTest, UnknownPagesAreMadeWithFreshIDsAndAMissingGroupIsCreated)
{
    tree.replaceChildren({outside}, tree.root());
    const QVariantMap phone = entry(77, QStringLiteral("Whatever"), 1,
        {entry(50, QStringLiteral("Collides"), 3), entry(999, QStringLiteral("New"), 4),
            entry(999, QStringLiteral("Twice"), 4)});
    const MemoPtr made = merge(phone);
    ASSERT_TRUE(made);
    EXPECT_EQ(made->title(), QStringLiteral("Group"));
    EXPECT_EQ(titles(tree.root()), (QStringList{QStringLiteral("Outside"), QStringLiteral("Group")}));
    EXPECT_EQ(titles(made), (QStringList{QStringLiteral("Collides"), QStringLiteral("New"), QStringLiteral("Twice")}));
    QSet<qint64> ids{1, 50};
    for (const MemoPtr &memo : tree.arrayOfMemos(made))
        ids.insert(memo->memoID());
    EXPECT_EQ(ids.size(), 6) << "every new page has an ID of its own";
    EXPECT_EQ(made->children().back()->modifiedAt(), day(4));
    EXPECT_FALSE(SyncMerge(tree, QString(), std::nullopt).syncWithDictionary(phone));
}

TEST_F(SyncMergeTest, RandomMergesNeverLoseOrDuplicatePages)
{
    for (unsigned seed = 1; seed <= 40; ++seed) {
        std::mt19937 random(seed);
        const auto below = [&random](int n) {
            return int(random() % unsigned(n));
        };
        tree.replaceChildren({}, group);
        QList<MemoPtr> pages{group};
        for (qint64 id = 100; id < 100 + 30; ++id) {
            const MemoPtr memo = page(QString::number(id), id, below(20), pages.at(below(int(pages.size()))));
            if (below(8) == 0)
                memo->setProtectWithPassword(true);
            if (below(10) == 0)
                memo->setTitle(SyncPayload::removedMemoTitle());
            pages.append(memo);
        }
        const QList<MemoPtr> before = tree.arrayOfMemos(tree.root());

        // The phone knows some pages, in its own order and nesting, and a few of its own.
        QList<QVariantMap> phonePages;
        for (int i = 0; i < 25; ++i)
            phonePages.append(entry(below(2) ? 100 + below(40) : 2, QStringLiteral("p%1").arg(i), below(20)));
        phonePages.first().insert(QStringLiteral("title"), QStringLiteral("Group"));
        for (qsizetype i = phonePages.size() - 1; i > 0; --i) {
            const qsizetype parent = below(int(i));
            QVariantList children = phonePages[parent].value(QStringLiteral("children")).toList();
            children.append(phonePages[i]);
            phonePages[parent].insert(QStringLiteral("children"), children);
        }
        ASSERT_TRUE(merge(phonePages.first(), below(2) ? std::optional(day(10)) : std::nullopt));

        QHash<const JWMemo *, int> seen;
        for (const MemoPtr &memo : tree.arrayOfMemos(tree.root()))
            ++seen[memo.get()];
        for (const MemoPtr &memo : before)
            EXPECT_EQ(seen.value(memo.get()), 1) << "seed " << seed << ": " << memo->description().toStdString();
        EXPECT_TRUE(std::all_of(seen.cbegin(), seen.cend(), [](int count) { return count == 1; })) << "seed " << seed;
    }
}

} // namespace
