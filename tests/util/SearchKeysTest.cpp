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

QStringList keysOf(const char *phrase)
{
    return separateStringKeyToArray(QString::fromUtf8(phrase));
}

TEST_F(SearchKeysTest, phraseSplitsIntoQuotedKeysFirstThenWords)
{
    // The space left where the quoted key was makes an empty key, which matching skips.
    EXPECT_EQ(keysOf("\"new york\" cafe"), (QStringList{"new york", "", "cafe"}));
    EXPECT_EQ(keysOf("cafe \"new york\""), (QStringList{"new york", "cafe", ""}));
    EXPECT_EQ(keysOf("a,,b"), (QStringList{"a", "", "b"}));
    EXPECT_EQ(keysOf("a  b"), (QStringList{"a", "", "b"}));
    // Ideographic spaces and full stops separate too.
    EXPECT_EQ(keysOf("東京\xE3\x80\x80大阪\xE3\x80\x82京都"), (QStringList{"東京", "大阪", "京都"}));
    // A repeated quoted key goes in once and leaves empty keys behind.
    EXPECT_EQ(keysOf("\"x\" \"x\" y"), (QStringList{"x", "", "", "y"}));
    // Adjacent quotes end the quoted keys; an unpaired quote just goes.
    EXPECT_EQ(keysOf("\"\"a"), (QStringList{"a"}));
    EXPECT_EQ(keysOf("\"abc"), (QStringList{"abc"}));
    EXPECT_TRUE(keysOf("\"\"").isEmpty());
    EXPECT_TRUE(keysOf("").isEmpty());
}

QList<int> daysOf(const char *list)
{
    return separateDateKeyToArray(QString::fromUtf8(list));
}

TEST_F(SearchKeysTest, dayListsExpandRangesUpToTheThirtyFirst)
{
    EXPECT_EQ(daysOf("1,3,5-7"), (QList<int>{1, 3, 5, 6, 7}));
    EXPECT_EQ(daysOf("28-35"), (QList<int>{28, 29, 30, 31}));
    EXPECT_EQ(daysOf("5-"), (QList<int>{5}));
    EXPECT_EQ(daysOf("7-3,9"), (QList<int>{9}));
    EXPECT_EQ(daysOf("1\xEF\xBC\x8D"
                     "2 4\xEF\xBD\x9E"
                     "5"),
        (QList<int>{1, 2, 4, 5})); // full-width - and ~
    EXPECT_EQ(daysOf("1,,2"), (QList<int>{1, 0, 2}));
    EXPECT_EQ(daysOf("x,40"), (QList<int>{0, 40}));
    // Huge numbers neither overflow nor run long.
    EXPECT_EQ(daysOf("99999999999-40"), QList<int>{});
    QList<int> upTo31(32);
    std::iota(upTo31.begin(), upTo31.end(), 0);
    EXPECT_EQ(daysOf("-99999999999"), upTo31);
    EXPECT_TRUE(daysOf("").isEmpty());
}

TEST_F(SearchKeysTest, anyKeyMatchingSkipsEmptyKeysAndEmptyText)
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
    EXPECT_FALSE(stringHasAnyKey(text, QStringList{}));
    EXPECT_FALSE(stringHasAnyKey(QString(), QStringList{"a"}));
}

TEST_F(SearchKeysTest, allKeyMatchingIsCaseSensitiveAndTrueWithoutKeys)
{
    const QString text = "Meeting in Tokyo";
    EXPECT_TRUE(stringHasAllKeys(text, QStringList{"Tokyo", "", "Meet"}));
    EXPECT_FALSE(stringHasAllKeys(text, QStringList{"Tokyo", "meet"}));
    EXPECT_TRUE(stringHasAllKeys(text, QStringList{}));
    EXPECT_TRUE(stringHasAllKeys(QString(), QStringList{""}));
    EXPECT_FALSE(stringHasAllKeys(QString(), QStringList{"a"}));
}

TEST_F(SearchKeysTest, predicateNeedsEveryKeyInTheAttribute)
{
    const ContainsAllKeysPredicate predicate = andPredicateForAttribute("\"new york\"  cafe", "title");
    EXPECT_EQ(predicate.attribute(), "title");
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
