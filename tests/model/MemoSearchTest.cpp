#include "common/FreshUserTest.h"
#include "model/JWMemo.h"
#include "model/MemoSearch.h"

#include <gtest/gtest.h>

namespace {

class MemoSearchTest : public FreshUserTest
{
protected:
    MemoPtr page(const QString &title, const QString &text)
    {
        MemoPtr memo = JWMemo::bareMemo();
        memo->setTitle(title);
        memo->setPlainText(text);
        pages.append(memo);
        return memo;
    }

    QStringList titles(const MemoSearch::Pages &found) const
    {
        QStringList list;
        for (const MemoPtr &memo : found)
            list.append(memo->title());
        return list;
    }

    MemoSearch::Pages all() const { return pages; }

    MemoSearch::Pages pages;
};

TEST_F(MemoSearchTest, everyKeyMustOccurInTheTitleOrTheTextInTheListsOrder)
{
    page("Red", "an apple a day");
    page("Fruit", "a RED APPLE pie");
    page("Apple", "green, not red");
    page("Phrase", "apple and red");
    page("Straße", "Greek ΣΟΦΙΑ");
    const struct
    {
        QString keyword;
        QStringList found;
    } cases[] = {
        {"red apple", {"Red", "Fruit", "Apple", "Phrase"}},
        {"\"red apple\"", {"Fruit"}},
        {"apple,pie", {"Fruit"}},
        {"STRASSE σοφια", {"Straße"}},
        {"red plum", {}},
        {" , ", {"Red", "Fruit", "Apple", "Phrase", "Straße"}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.keyword.toStdString());
        EXPECT_EQ(titles(MemoSearch::searchMemoWithKey(c.keyword, pages)), c.found);
    }
}

TEST_F(MemoSearchTest, aLongerKeywordSearchesOnlyTheClosestEarlierResult)
{
    // Pages change between searches here so that each result shows which base it came from.
    const MemoPtr cat = page("cat", ""), car = page("car", ""), dog = page("dog", "");
    MemoSearch search;
    const auto all = [this] {
        return this->all();
    };
    EXPECT_EQ(titles(search.resultFor("ca", all)), (QStringList{"cat", "car"}));
    dog->setTitle("cattle");
    car->setTitle("bus");
    // "cattle" was not in the result for "ca", so "cat" does not list it...
    EXPECT_EQ(titles(search.resultFor("cat", all)), QStringList{"cat"});
    // ...and a keyword seen before answers its cached result as it was.
    EXPECT_EQ(titles(search.resultFor("ca", all)), (QStringList{"cat", "bus"}));

    // "cats!" is two longer than "cat" and three longer than "ca": "cat"'s result is the base.
    car->setTitle("cats!");
    cat->setTitle("dog");
    EXPECT_TRUE(search.resultFor("cats!", all).isEmpty());

    // An empty keyword lists every page and forgets the cache; "cat" then reads every page again.
    EXPECT_EQ(search.resultFor("", all).size(), 3);
    EXPECT_EQ(search.cachedKeywordCount(), 0);
    EXPECT_EQ(titles(search.resultFor("cat", all)), (QStringList{"cats!", "cattle"}));
}

TEST_F(MemoSearchTest, aChangedTitleOrTextIsSearchedAsItIsNow)
{
    const MemoPtr memo = page("Old title", "old words");
    ASSERT_TRUE(memo->containsWordInText("WORDS"));
    memo->setTitle("New title");
    memo->setPlainText("fresh text");
    EXPECT_FALSE(memo->containsWordInTitle("old"));
    EXPECT_TRUE(memo->containsWordInTitle("NEW"));
    EXPECT_FALSE(memo->containsWordInText("words"));
    EXPECT_TRUE(memo->containsWordInText("Fresh"));
    EXPECT_FALSE(memo->containsWordInText(""));
}

} // namespace
