#include "NoteWindowTest.h"
#include "util/PagePassword.h"
#include "windows/NoteMainWindow.h"
#include "windows/NoteTextView.h"
#include "windows/SearchController.h"

#include <QLineEdit>
#include <QTabWidget>
#include <QTest>

namespace {

class SearchControllerTest : public NoteWindowTest
{
protected:
    static QStringList titles(const QList<MemoPtr> &pages)
    {
        QStringList list;
        for (const MemoPtr &memo : pages)
            list.append(memo->title());
        return list;
    }

    static std::pair<int, int> selection(const NoteWindowController &window)
    {
        const QTextCursor cursor = window.textView()->textCursor();
        return {cursor.selectionStart(), cursor.selectionEnd()};
    }
};

TEST_F(SearchControllerTest, lockedPagesAreNeverListedNotEvenFromAnEarlierResult)
{
    savePasswordToDefault(QStringLiteral("secret"));
    diary->setProtectWithPassword(true);
    auto window = open(root);
    SearchController &search = window->searchController();

    // "Diary" and "Monday" hold an "a" but sit behind the password. (Typed into the toolbar's field, which
    // drives the same search.)
    QTest::keyClicks(window->mainWindow().findChild<QLineEdit *>("toolbarSearchField"), QStringLiteral("a"));
    EXPECT_EQ(search.searchField().text(), QStringLiteral("a"));
    EXPECT_EQ(titles(search.resultArray()), (QStringList{"Recipes", "Ideas"}));
    EXPECT_EQ(window->selectedMemo(), recipes);

    // Unlocked, they are found once the keyword starts afresh (an earlier result is narrowed, not widened).
    diary->setUnlockedPassword(true);
    search.clearKeyword();
    search.setSearchKeyword(QStringLiteral("day"));
    EXPECT_EQ(titles(search.resultArray()), (QStringList{"Monday", "Tuesday"}));
    // Locking takes them off the list at once, and the cached result for "day" no longer lists them either.
    diary->lockPassword();
    EXPECT_TRUE(search.resultArray().isEmpty());
    search.setSearchKeyword(QStringLiteral("da"));
    search.setSearchKeyword(QStringLiteral("day"));
    EXPECT_TRUE(search.resultArray().isEmpty());
    EXPECT_FALSE(window->textView()->string().contains(QStringLiteral("Rain")));
}

TEST_F(SearchControllerTest, findNextWalksTheTextThenTheNextResultFromItsStart)
{
    page(root, "First", "one two one");
    page(root, "Second", "two ONE");
    auto window = open(root);
    SearchController &search = window->searchController();
    search.setSearchKeyword(QStringLiteral("one"));
    ASSERT_EQ(titles(search.resultArray()), (QStringList{"First", "Second"}));
    ASSERT_EQ(window->textView()->string(), QStringLiteral("one two one"));
    EXPECT_EQ(window->textView()->extraSelections().size(), 2) << "every occurrence is marked";

    const std::pair<int, int> first{0, 3}, second{8, 11}, inSecond{4, 7};
    search.findNext();
    EXPECT_EQ(selection(*window), first);
    search.findNext();
    EXPECT_EQ(selection(*window), second);
    // No more in this text: no wrap inside it, the next result from its start instead.
    search.findNext();
    EXPECT_EQ(window->textView()->string(), QStringLiteral("two ONE"));
    EXPECT_EQ(selection(*window), inSecond);
    // After the last result comes the first again.
    search.findNext();
    EXPECT_EQ(window->textView()->string(), QStringLiteral("one two one"));
    EXPECT_EQ(selection(*window), first);
    search.findPrevious();
    EXPECT_EQ(window->textView()->string(), QStringLiteral("two ONE"));
    EXPECT_EQ(selection(*window), inSecond);
}

TEST_F(SearchControllerTest, recentItemsListEveryPageNewestFirstInTheSearchPane)
{
    auto window = open(root);
    SearchController &search = window->searchController();
    int day = 1;
    for (const MemoPtr &memo : {tuesday, ideas, diary, monday, recipes})
        memo->setModifiedAt(QDateTime(QDate(2020, 1, day++), QTime(9, 0), Qt::UTC));
    search.setSearchKeyword(QStringLiteral("diary"));
    search.showRecentItems();
    EXPECT_TRUE(search.searchKeyword().isEmpty());
    EXPECT_EQ(titles(search.resultArray()), (QStringList{"Recipes", "Monday", "Diary", "Ideas", "Tuesday"}));
    EXPECT_EQ(window->drawerTabs().currentWidget(), search.pane());

    // The flag reads the keyword's length as one byte.
    search.setSearchKeyword(QString(256, u'x'));
    EXPECT_FALSE(search.hasSearchKeyword());
    search.setSearchKeyword(QString(257, u'x'));
    EXPECT_TRUE(search.hasSearchKeyword());
}

} // namespace
