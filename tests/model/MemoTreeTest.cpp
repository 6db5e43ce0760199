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

    const MemoPtr grandchild = page(QStringLiteral("A11"), 6, page(QStringLiteral("A1"), 5, a));
    EXPECT_FALSE(tree.moveMemo(a, grandchild, 0, false));
    EXPECT_FALSE(tree.moveMemo(a, a, 0, false));
    EXPECT_FALSE(tree.moveMemo(a, grandchild, 0, true));
    EXPECT_FALSE(tree.moveMemo(root, nullptr, 0, false));
    EXPECT_FALSE(tree.insertNewMemo(a, grandchild, 0));
    tree.replaceChildren({a}, grandchild);
    EXPECT_TRUE(grandchild->children().empty());
    EXPECT_EQ(titles(root), (QStringList{"C", "A", "X", "B"}));
}

TEST_F(MemoTreeTest, copyingByAMoveGivesOnePageWithoutChildren)
{
    // IDs away from the ones the counter hands out next.
    const MemoPtr a = page(QStringLiteral("A"), 501, root);
    page(QStringLiteral("A1"), 502, a);
    const MemoPtr b = page(QStringLiteral("B"), 503, root);

    const MemoPtr copy = tree.moveMemo(a, b, 0, true);
    ASSERT_TRUE(copy && copy != a);
    EXPECT_NE(copy->memoID(), a->memoID());
    EXPECT_TRUE(copy->children().empty());
    EXPECT_EQ(titles(b), QStringList{"A"});
    EXPECT_EQ(titles(root), (QStringList{"A", "B"}));
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

TEST_F(MemoTreeTest, undoRestoresWholeChildListsAndRedoPutsTheEditBack)
{
    FakeHost host;
    tree.setHost(&host);
    const MemoPtr b = page(QStringLiteral("b"), 2, root);
    page(QStringLiteral("a"), 1, root);
    Posts reloads(NotificationNames::JW3ReloadOutlineData);

    ASSERT_TRUE(tree.insertNewMemo(page(QStringLiteral("c"), 3), root, 1));
    EXPECT_EQ(titles(root), (QStringList{"b", "c", "a"}));
    tree.prepareUndoForChild(b);
    tree.moveUp(b);
    EXPECT_EQ(titles(root), (QStringList{"c", "a", "b"}));
    tree.prepareUndoForParent(nullptr);
    tree.sortChildren(root, 1, true);
    EXPECT_EQ(titles(root), (QStringList{"a", "b", "c"}));
    ASSERT_EQ(host.stack.count(), 3);

    const int before = reloads.count;
    host.stack.undo();
    EXPECT_EQ(titles(root), (QStringList{"c", "a", "b"}));
    host.stack.undo();
    host.stack.undo();
    EXPECT_EQ(titles(root), (QStringList{"b", "a"}));
    EXPECT_EQ(reloads.count, before + 3);
    // The index follows the restored lists.
    EXPECT_FALSE(tree.noteDataWithID(3));

    for (int i = 0; i < 3; ++i)
        host.stack.redo();
    EXPECT_EQ(titles(root), (QStringList{"a", "b", "c"}));
    EXPECT_EQ(tree.noteDataWithID(3)->title(), QStringLiteral("c"));

    // Without an undo stack edits still happen, with nothing recorded.
    host.withStack = false;
    tree.insertNewMemo(page(QStringLiteral("d"), 4), nullptr, -1);
    EXPECT_EQ(host.stack.count(), 3);
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
    EXPECT_FALSE(tree.parentOfMemo(root));
    EXPECT_FALSE(tree.parentOfMemo(outside));
    EXPECT_EQ(tree.memoWithTitle(QStringLiteral("twin"), nullptr), twin1);
    EXPECT_EQ(tree.memoWithTitle(QStringLiteral("twin"), outside), outside);
    EXPECT_FALSE(tree.memoWithTitle(QStringLiteral("none"), nullptr));
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
}

TEST_F(MemoTreeTest, sortChildrenPicksTheOrderByKey)
{
    const std::tuple<const char *, qint64, int> pages[] = {{"Page 10", 1, 3}, {"page 9", 3, 1}, {"Page 2", 2, 2}};
    for (const auto &[title, id, day] : pages)
        page(QString::fromUtf8(title), id, root)->setModifiedAt(QDateTime(QDate(2021, 1, day), QTime(0, 0), Qt::UTC));

    tree.sortChildren(nullptr, 1, true);
    EXPECT_EQ(titles(root), (QStringList{"Page 2", "page 9", "Page 10"}));
    tree.sortChildren(nullptr, 2, true);
    EXPECT_EQ(titles(root), (QStringList{"page 9", "Page 2", "Page 10"}));
    tree.sortChildren(nullptr, 0, false);
    EXPECT_EQ(titles(root), (QStringList{"Page 10", "Page 2", "page 9"}));
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

TEST_F(MemoTreeTest, clippingsGoUnderOneParentMadeOnFirstUseAndUndoInOneStep)
{
    FakeHost host;
    tree.setHost(&host);
    page(QStringLiteral("existing"), 1, root);

    QMimeData text;
    text.setText(QStringLiteral("clipped words"));
    const MemoPtr first = tree.makeNewClippingMemo(text);
    ASSERT_TRUE(first);
    const MemoPtr clippings = root->children().back();
    EXPECT_EQ(clippings->title(), localizedString(QStringLiteral("ClippingMemoParent title")));
    EXPECT_EQ(titles(clippings), QStringList{"clipped words"});
    EXPECT_EQ(host.shown, QList<MemoPtr>{first});
    EXPECT_EQ(host.saves, 1);

    // RTF goes before text; the same parent is used.
    QMimeData rich;
    rich.setText(QStringLiteral("plain version"));
    rich.setData(PasteboardTypes::RTFTypes[2], QByteArray("{\\rtf1\\ansi rich version}"));
    ASSERT_TRUE(tree.makeNewClippingMemo(rich));
    EXPECT_EQ(titles(clippings), (QStringList{"clipped words", "rich version"}));
    host.stack.undo();
    EXPECT_EQ(titles(clippings), QStringList{"clipped words"});
    host.stack.undo();
    EXPECT_EQ(titles(root), QStringList{"existing"});

    // Nothing usable: nothing happens.
    QMimeData emptyRtf;
    emptyRtf.setData(PasteboardTypes::RTF, QByteArray());
    emptyRtf.setText(QStringLiteral("ignored: RTF was offered first"));
    EXPECT_FALSE(tree.makeNewClippingMemo(emptyRtf));
    QMimeData garbage;
    garbage.setData(PasteboardTypes::RTFD, QByteArray("\x01\x02garbage"));
    EXPECT_FALSE(tree.makeNewClippingMemo(garbage));
    EXPECT_EQ(titles(root), QStringList{"existing"});
    EXPECT_EQ(host.saves, 2);
}

TEST_F(MemoTreeTest, newPagesFromDataByTypeAndSamplePagesOnlyIntoAnEmptyRoot)
{
    const MemoPtr parent = page(QStringLiteral("P"), 1, root);
    ASSERT_TRUE(tree.makeNewMemoWithData(QStringLiteral("hello\nworld"), MemoTree::MemoDataType::String, parent, 0));
    ASSERT_TRUE(tree.makeNewMemoWithData(
        QByteArray("{\\rtf1 body}"), MemoTree::MemoDataType::RTF, QStringLiteral("Named"), parent, 0));
    const MemoPtr clip = tree.makeNewMemoWithURL(QUrl(QStringLiteral("http://example.org/")), parent, 5);
    ASSERT_TRUE(clip);
    EXPECT_EQ(clip->webURLStr(), QStringLiteral("http://example.org/"));
    EXPECT_EQ(titles(parent), (QStringList{"Named", "hello", clip->title()}));
    // Data of the wrong kind or unreadable data make nothing.
    EXPECT_FALSE(tree.makeNewMemoWithData(QStringLiteral("{\\rtf1 x}"), MemoTree::MemoDataType::RTFD, parent, 0));
    EXPECT_FALSE(tree.makeNewMemoWithData(QVariant(42), MemoTree::MemoDataType::String, parent, 0));
    EXPECT_FALSE(tree.makeNewMemoWithData(QVariant(), MemoTree::MemoDataType::URL, parent, 0));
    EXPECT_EQ(parent->children().size(), 3u);

    MemoTree fresh;
    fresh.setRoot(page(QStringLiteral("root"), 1));
    EXPECT_FALSE(fresh.addSamplePage()); // no importer yet
    int calls = 0;
    fresh.setSamplePageImporter([&](MemoTree &t, const MemoPtr &under, qsizetype index) {
        ++calls;
        return t.insertNewMemo(page(QStringLiteral("Sample"), 77), under, index);
    });
    EXPECT_TRUE(fresh.addSamplePageIfNeeded());
    EXPECT_FALSE(fresh.addSamplePageIfNeeded());
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(titles(fresh.root()), QStringList{"Sample"});

    tree.setRoot(nullptr);
    EXPECT_FALSE(tree.makeNewMemoWithData(QStringLiteral("x"), MemoTree::MemoDataType::String, nullptr, 0));
    EXPECT_FALSE(tree.makeNewClippingMemo(QMimeData()));
}

} // namespace
