#include "common/QtPrinters.h"
#include "platform/base/Localization.h"
#include "util/SearchKeys.h"

#include <gtest/gtest.h>

#include <QObject>

#include <numeric>

using namespace StringUtility;

namespace {

class SearchKeysTest : public ::testing::Test
{
protected:
    void SetUp() override { Localization::install(); }
};

TEST_F(SearchKeysTest, phraseSplitsIntoQuotedKeysFirstThenWords)
{
    // The space left where a quoted key was makes an empty key, which matching
    // skips; a repeated quoted key goes in once; adjacent quotes end the quoted
    // keys and an unpaired quote just goes.
    const std::pair<const char *, QStringList> cases[]{{"\"new york\" cafe", {"new york", "", "cafe"}},
        {"cafe \"new york\"", {"new york", "cafe", ""}}, {"a,,b", {"a", "", "b"}},
        {"東京\u3000大阪。京都", {"東京", "大阪", "京都"}}, {"\"x\" \"x\" y", {"x", "", "", "y"}}, {"\"\"a", {"a"}},
        {"\"abc", {"abc"}}, {"\"\"", {}}, {"", {}}};
    for (const auto &[phrase, keys] : cases)
        EXPECT_EQ(separateStringKeyToArray(QString::fromUtf8(phrase)), keys) << phrase;
}

TEST_F(SearchKeysTest, dayListsExpandRangesUpToTheThirtyFirst)
{
    QList<int> upTo31(32);
    std::iota(upTo31.begin(), upTo31.end(), 0);
    // Full-width "-" and "~" make ranges too; huge numbers neither overflow nor run long.
    const std::pair<const char *, QList<int>> cases[]{{"1,3,5-7", {1, 3, 5, 6, 7}}, {"28-35", {28, 29, 30, 31}},
        {"5-", {5}}, {"7-3,9", {9}}, {"1－2 4～5", {1, 2, 4, 5}}, {"1,,2", {1, 0, 2}}, {"x,40", {0, 40}},
        {"99999999999-40", {}}, {"-99999999999", upTo31}, {"", {}}};
    for (const auto &[list, days] : cases)
        EXPECT_EQ(separateDateKeyToArray(QString::fromUtf8(list)), days) << list;
}

TEST_F(SearchKeysTest, anyKeyMatchingSkipsEmptyKeysAndAllKeyMatchingIsTrueWithoutKeys)
{
    const QString text = "Meeting in Tokyo, room 2.5";
    EXPECT_TRUE(hasAnyKey(text, QStringList{"paris", "TOKYO"}));
    EXPECT_FALSE(hasAnyKey(text, QStringList{"paris", "TOKYO"}, Qt::CaseSensitive));
    EXPECT_FALSE(hasAnyKey(text, QStringList{"", "paris"}));
    EXPECT_FALSE(hasAnyKey(QString(), QStringList{"a"}));
    EXPECT_TRUE(hasAnyKey(text, QList<double>{7, 2.5}));
    EXPECT_FALSE(hasAnyKey(text, QList<double>{3}));
    EXPECT_TRUE(hasAnyKey("chapter 12", QList<double>{12.0}));
    EXPECT_TRUE(stringHasAnyKey(text, QStringList{"", "Tokyo"}));
    EXPECT_FALSE(stringHasAnyKey(text, QStringList{"tokyo"}));
    EXPECT_FALSE(stringHasAnyKey(QString(), QStringList{"a"}));

    EXPECT_TRUE(stringHasAllKeys(text, QStringList{"Tokyo", "", "Meet"}));
    EXPECT_FALSE(stringHasAllKeys(text, QStringList{"Tokyo", "meet"}));
    EXPECT_TRUE(stringHasAllKeys(QString(), QStringList{""}));
    EXPECT_FALSE(stringHasAllKeys(QString(), QStringList{"a"}));
}

TEST_F(SearchKeysTest, predicateNeedsEveryKeyInTheAttribute)
{
    const ContainsAllKeysPredicate predicate = andPredicateForAttribute("\"new york\"  cafe", "title");
    EXPECT_EQ(predicate.keys(), (QStringList{"new york", "cafe"}));

    EXPECT_TRUE(predicate.matches(QVariantMap{{"title", "A cafe in new york"}}));
    EXPECT_FALSE(predicate.matches(QVariantMap{{"title", "A Cafe in New York"}}));
    EXPECT_FALSE(predicate.matches(QVariantMap{{"title", QString::fromUtf8("A café in new york")}}));
    EXPECT_FALSE(predicate.matches(QVariantMap{{"body", "A cafe in new york"}}));
    EXPECT_FALSE(predicate.matches(QVariantMap{{"title", QVariantList{"cafe", "new york"}}}));

    // Pages and other objects are matched through their properties.
    QObject page;
    page.setObjectName("new york cafe guide");
    EXPECT_TRUE(andPredicateForAttribute("cafe guide", "objectName").matches(page));
    EXPECT_FALSE(andPredicateForAttribute("cafe", "noSuchProperty").matches(page));

    // No keys: everything matches, whatever the record holds.
    const ContainsAllKeysPredicate everything = andPredicateForAttribute(" \"\" ", "title");
    EXPECT_TRUE(everything.keys().isEmpty());
    EXPECT_TRUE(everything.matches(QVariantMap{}));
    EXPECT_TRUE(everything.matches(page));
}

} // namespace
