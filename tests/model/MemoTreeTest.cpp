#include "common/FreshUserTest.h"
#include "common/Posts.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "model/MemoTreeHost.h"
#include "platform/base/Localization.h"
#include "platform/base/NotificationNames.h"
#include "platform/richtext/PasteboardTypes.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

#include <QMimeData>
#include <QUndoStack>

namespace {

class FakeHost : public MemoTreeHost
{
public:
    QUndoStack *frontUndoStack() override { return withStack ? &stack : nullptr; }
    void showMemoInWindow(const MemoPtr &memo) override { shown.append(memo); }
    void saveNow() override { ++saves; }

    bool withStack = true;
    QUndoStack stack;
    QList<MemoPtr> shown;
    int saves = 0;
};

class MemoTreeTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        Localization::install();
        root = page(QStringLiteral("root"), 1000);
        tree.setRoot(root);
    }

    // A page that takes no ID from the defaults, so that tests choose IDs.
    static MemoPtr page(const QString &title, qint64 id, const MemoPtr &parent = nullptr)
    {
        MemoPtr memo = JWMemo::bareMemo();
        memo->setTitle(title);
        memo->setMemoID(id);
        if (parent)
            parent->appendChild(memo);
        return memo;
    }

    template<typename Pages> static QStringList titles(const Pages &memos)
    {
        QStringList list;
        for (const MemoPtr &memo : memos)
            list.append(memo->title());
        return list;
    }
    static QStringList titles(const MemoPtr &parent) { return titles(parent->children()); }

    QObject sender;
    MemoTree tree{&sender};
    MemoPtr root;
};

TEST_F(MemoTreeTest, movesCountInsertionIndexesBeforeThePageIsTakenOutAndNeverEnterTheirOwnSubtree)
{
    const MemoPtr a = page(QStringLiteral("A"), 1, root);
    const MemoPtr b = page(QStringLiteral("B"), 2, root);
    const MemoPtr c = page(QStringLiteral("C"), 3, root);
    Posts reloads(NotificationNames::JW3ReloadOutlineData);

    EXPECT_EQ(tree.moveMemo(b, root, 3, false), b);
    EXPECT_EQ(titles(root), (QStringList{"A", "C", "B"}));
    EXPECT_EQ(tree.moveMemo(b, nullptr, 0, false), b);
    EXPECT_EQ(titles(root), (QStringList{"B", "A", "C"}));
    // Further down in the same parent: the index counts the page still in its place.
    EXPECT_EQ(tree.moveMemo(b, root, 2, false), b);
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C"}));
    EXPECT_EQ(reloads.count, 3);

    // Into another parent, which stops being a leaf; the old one becomes one again.
    tree.moveMemo(b, a, 0, false);
    EXPECT_FALSE(a->isLeaf());
    EXPECT_EQ(tree.parentOfMemo(b), a);
    tree.moveMemo(2, root, -1, false);
    EXPECT_TRUE(a->isLeaf());
    EXPECT_EQ(titles(root), (QStringList{"A", "C", "B"}));
    EXPECT_FALSE(tree.moveMemo(99, root, 0, false));

    // Several pages, some from above the gap, land together in front of B.
    const MemoPtr x = page(QStringLiteral("X"), 4);
    EXPECT_EQ(tree.moveMemos({a, x}, root, 2, false), (QList<MemoPtr>{a, x}));
    EXPECT_EQ(titles(root), (QStringList{"C", "A", "X", "B"}));

    // A copy is one page, without the subtree, under a new ID.
    page(QStringLiteral("A1"), 5, a);
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("memoID"), 500);
    const MemoPtr copy = tree.moveMemo(a, b, 0, true);
    ASSERT_TRUE(copy && copy != a);
    EXPECT_EQ(copy->memoID(), 501);
    EXPECT_TRUE(copy->children().empty());
    EXPECT_EQ(titles(b), QStringList{"A"});

    const MemoPtr grandchild = page(QStringLiteral("A11"), 6, a->children().front());
    EXPECT_FALSE(tree.moveMemo(a, grandchild, 0, false));
    EXPECT_FALSE(tree.moveMemo(a, a, 0, false));
    EXPECT_FALSE(tree.moveMemo(a, grandchild, 0, true));
    EXPECT_FALSE(tree.moveMemo(root, nullptr, 0, false));
    EXPECT_FALSE(tree.insertNewMemo(a, grandchild, 0));
    tree.replaceChildren({a}, grandchild);
    EXPECT_TRUE(grandchild->children().empty());
    EXPECT_EQ(titles(root), (QStringList{"C", "A", "X", "B"}));
}

TEST_F(MemoTreeTest, keyboardMovesWrapAroundTheEnds)
{
    for (const char *title : {"A", "B", "C"})
        page(QString::fromLatin1(title), title[0], root);
    const auto child = [this](size_t i) {
        return root->children()[i];
    };

    tree.moveUp(child(0));
    EXPECT_EQ(titles(root), (QStringList{"B", "C", "A"}));
    tree.moveDown(child(2));
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C"}));
    tree.moveDown(child(0));
    EXPECT_EQ(titles(root), (QStringList{"B", "A", "C"}));
    tree.moveUp(root); // the root has no siblings
    tree.moveDown(page(QStringLiteral("outside"), 9));
    EXPECT_EQ(titles(root), (QStringList{"B", "A", "C"}));

    // A first child has no sibling above to go into.
    tree.moveRight(child(0));
    EXPECT_EQ(titles(root), (QStringList{"B", "A", "C"}));
}

TEST_F(MemoTreeTest, sortingPicksTheOrderByKeyAndIsUndoneWhole)
{
    FakeHost host;
    tree.setHost(&host);
    const std::tuple<const char *, qint64, int> pages[] = {{"Page 10", 1, 3}, {"page 9", 3, 1}, {"Page 2", 2, 2}};
    for (const auto &[title, id, day] : pages)
        page(QString::fromUtf8(title), id, root)->setModifiedAt(QDateTime(QDate(2021, 1, day), QTime(0, 0), Qt::UTC));
    Posts reloads(NotificationNames::JW3ReloadOutlineData);

    tree.prepareUndoForParent(nullptr);
    tree.sortChildren(nullptr, 1, true);
    EXPECT_EQ(titles(root), (QStringList{"Page 2", "page 9", "Page 10"}));
    tree.prepareUndoForParent(nullptr);
    tree.sortChildren(nullptr, 2, true);
    EXPECT_EQ(titles(root), (QStringList{"page 9", "Page 2", "Page 10"}));
    tree.sortChildren(nullptr, 0, false);
    EXPECT_EQ(titles(root), (QStringList{"Page 10", "Page 2", "page 9"}));
    ASSERT_EQ(host.stack.count(), 2);

    const int before = reloads.count;
    host.stack.undo();
    host.stack.undo();
    EXPECT_EQ(titles(root), (QStringList{"Page 10", "page 9", "Page 2"}));
    EXPECT_EQ(reloads.count, before + 2);
    host.stack.redo();
    EXPECT_EQ(titles(root), (QStringList{"Page 2", "page 9", "Page 10"}));

    // Without an undo stack edits still happen, with nothing recorded.
    host.withStack = false;
    tree.insertNewMemo(page(QStringLiteral("d"), 4), nullptr, -1);
    EXPECT_EQ(host.stack.count(), 2);
    EXPECT_EQ(titles(root).last(), QStringLiteral("d"));
}

TEST_F(MemoTreeTest, idLookupFindsTheFirstPageInPreOrderAndFollowsChanges)
{
    const MemoPtr a = page(QStringLiteral("A"), 5, root);
    const MemoPtr a1 = page(QStringLiteral("A1"), 7, a);
    const MemoPtr b = page(QStringLiteral("B"), 7, root);
    const MemoPtr big = page(QStringLiteral("big"), (qint64(1) << 32) + 9, b);

    EXPECT_EQ(tree.noteDataWithID(7), a1);
    EXPECT_EQ(tree.noteDataWithID(7, b), b);
    EXPECT_FALSE(tree.noteDataWithID(5, b));
    // Only the start page matches on the low 32 bits.
    EXPECT_FALSE(tree.noteDataWithID(9));
    EXPECT_EQ(tree.noteDataWithID(9, big), big);
    root->setMemoID((qint64(1) << 32) + 1000);
    EXPECT_EQ(tree.noteDataWithID(1000), root);

    a->takeChildAt(0);
    EXPECT_EQ(tree.noteDataWithID(7), b);
    b->setMemoID(8);
    EXPECT_EQ(tree.noteDataWithID(8), b);
    EXPECT_FALSE(tree.noteDataWithID(7));
    ASSERT_TRUE(tree.moveMemo(b, a, 0, false));
    EXPECT_EQ(tree.noteDataWithID(8), b);
    EXPECT_EQ(tree.parentOfMemo(big), b);

    tree.setRoot(page(QStringLiteral("other root"), 1));
    EXPECT_FALSE(tree.noteDataWithID(8));
    tree.setRoot(nullptr);
    EXPECT_FALSE(tree.noteDataWithID(1));
    EXPECT_FALSE(tree.parentOfMemo(b));
}

TEST_F(MemoTreeTest, findingByParentAndTitle)
{
    const MemoPtr a = page(QStringLiteral("A"), 1, root);
    const MemoPtr twin1 = page(QStringLiteral("twin"), 2, a);
    const MemoPtr twin2 = page(QStringLiteral("twin"), 3, root);
    const MemoPtr outside = page(QStringLiteral("twin"), 4);

    EXPECT_FALSE(tree.parentOfMemo(twin2, a));
    EXPECT_FALSE(tree.parentOfMemo(outside));
    EXPECT_EQ(tree.memoWithTitle(QStringLiteral("twin"), nullptr), twin1);
    EXPECT_EQ(tree.memoWithTitleIndexFrom(QStringLiteral("twin"), root, 0), twin2); // one level only
    EXPECT_FALSE(tree.memoWithTitleIndexFrom(QStringLiteral("A"), root, 1));
}

TEST_F(MemoTreeTest, flatListsLeaveOutWhatTheyShould)
{
    const MemoPtr a = page(QStringLiteral("A"), 1, root);
    const MemoPtr locked = page(QStringLiteral("locked"), 2, a);
    const MemoPtr hidden = page(QStringLiteral("hidden"), 3, locked);
    locked->setProtectWithPassword(true);
    const MemoPtr clip = page(QStringLiteral("clip"), 4, root);
    clip->setWebURLStr(QStringLiteral("http://example.org/"));
    const MemoPtr oldClip = page(QStringLiteral("old clip"), 5, a);
    oldClip->setWebURLStr(QStringLiteral("http://example.com/"));
    const QDateTime day = QDateTime(QDate(2020, 3, 1), QTime(9, 0), Qt::UTC);
    int n = 0;
    for (const MemoPtr &memo : {hidden, a, locked, clip, oldClip})
        memo->setModifiedAt(day.addDays(++n));
    root->setModifiedAt(day.addDays(10));
    locked->setReferenceNumber(9);
    clip->setReferenceNumber(4);

    EXPECT_EQ(titles(tree.arrayOfMemos(nullptr)), (QStringList{"root", "A", "locked", "hidden", "old clip", "clip"}));
    EXPECT_EQ(titles(tree.arrayOfMemos(a, true)), (QStringList{"A", "old clip"}));
    EXPECT_EQ(a->tempParentMemo(), root);
    EXPECT_EQ(titles(tree.memoArrayWithoutRoot()), (QStringList{"A", "old clip", "clip"}));
    EXPECT_EQ(titles(tree.memoArrayWithoutRootFromMemo(a)), QStringList{"old clip"});
    EXPECT_EQ(titles(tree.webclipMemoArrayFromMemo(nullptr)), (QStringList{"old clip", "clip"}));
    EXPECT_TRUE(tree.webclipMemoArrayFromMemo(clip).isEmpty());
    EXPECT_EQ(titles(tree.sortedWebclipMemoArrayFromMemo(nullptr)), (QStringList{"clip", "old clip"}));
    // Protected pages count; the root does not, however recent.
    EXPECT_EQ(titles(tree.recentMemos()), (QStringList{"old clip", "clip", "locked", "A", "hidden"}));
    EXPECT_EQ(titles(tree.favoriteMemos()).mid(0, 2), (QStringList{"locked", "clip"}));
    EXPECT_EQ(titles(tree.recentMemos(a)).first(), QStringLiteral("old clip"));
    locked->setUnlockedPassword(true);
    EXPECT_EQ(titles(tree.arrayOfMemos(a, true)), (QStringList{"A", "locked", "hidden", "old clip"}));
}

TEST_F(MemoTreeTest, duplicateIDsGoToTheNewerPageAndTheCounterStartsAboveTheLargest)
{
    const QDateTime early(QDate(2019, 1, 1), QTime(8, 0), Qt::UTC);
    const MemoPtr first = page(QStringLiteral("first"), 7, root);
    const MemoPtr second = page(QStringLiteral("second"), 7, root);
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("memoID"), 100);

    // The older page keeps the ID, whether met first or later; on equal dates the one met later.
    const struct
    {
        int secondDays;
        qint64 first, second;
    } cases[] = {{1, 7, 101}, {-1, 102, 7}, {0, 103, 7}};
    for (const auto &c : cases) {
        first->setMemoID(7);
        second->setMemoID(7);
        first->setCreatedAt(early);
        second->setCreatedAt(early.addDays(c.secondDays));
        EXPECT_EQ(tree.resolveDupulicatedMemoID(), 1);
        EXPECT_EQ(first->memoID(), c.first);
        EXPECT_EQ(second->memoID(), c.second);
    }
    EXPECT_EQ(tree.resolveDupulicatedMemoID(), 0);
    EXPECT_EQ(tree.noteDataWithID(7), second);

    page(QStringLiteral("deep"), 140, first);
    EXPECT_EQ(tree.findBiggestID(0, nullptr), 1000); // the root's own ID counts
    EXPECT_EQ(tree.findBiggestID(0, first), 140);
    EXPECT_EQ(tree.findBiggestID(150, first), 150);
    root->setMemoID(0);
    tree.resetMemoID();
    EXPECT_EQ(UserDefaults::standardUserDefaults().integerForKey(QStringLiteral("memoID")), 141);
    EXPECT_EQ(JWMemo::memo()->memoID(), 142);
}

TEST_F(MemoTreeTest, clippingsPreferRtfGoUnderAParentMadeOnFirstUseAndUndoInOneStep)
{
    FakeHost host;
    tree.setHost(&host);
    page(QStringLiteral("existing"), 1, root);

    QMimeData rich;
    rich.setText(QStringLiteral("plain version"));
    rich.setData(PasteboardTypes::RTFTypes[2], QByteArray("{\\rtf1\\ansi rich version}"));
    ASSERT_TRUE(tree.makeNewClippingMemo(rich));
    const MemoPtr clippings = root->children().back();
    EXPECT_EQ(clippings->title(), localizedString(QStringLiteral("ClippingMemoParent title")));
    EXPECT_EQ(titles(clippings), QStringList{"rich version"});
    host.stack.undo();
    EXPECT_EQ(titles(root), QStringList{"existing"}) << "the parent made for the clip goes with it";

    // Nothing usable: nothing happens.
    QMimeData emptyRtf;
    emptyRtf.setData(PasteboardTypes::RTF, QByteArray());
    emptyRtf.setText(QStringLiteral("ignored: RTF was offered first"));
    EXPECT_FALSE(tree.makeNewClippingMemo(emptyRtf));
    QMimeData garbage;
    garbage.setData(PasteboardTypes::RTFD, QByteArray("\x01\x02garbage"));
    EXPECT_FALSE(tree.makeNewClippingMemo(garbage));
    EXPECT_EQ(titles(root), QStringList{"existing"});
    EXPECT_EQ(host.saves, 1);
}

} // namespace
