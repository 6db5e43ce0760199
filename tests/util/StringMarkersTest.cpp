#include "common/QtPrinters.h"
#include "platform/base/Localization.h"
#include "util/StringMarkers.h"

#include <gtest/gtest.h>

using namespace StringUtility;

namespace {

class StringMarkersTest : public ::testing::Test
{
protected:
    void SetUp() override { Localization::install(); }
};

const QString kNone = QString();

// Inputs and what a one-argument function makes of them.
using Cases = std::initializer_list<std::pair<const char *, const char *>>;

template<typename Function> void expectEach(Function function, Cases cases)
{
    for (const auto &[input, expected] : cases)
        EXPECT_EQ(function(QString::fromUtf8(input)), QString::fromUtf8(expected)) << input;
}

TEST_F(StringMarkersTest, replacingAndRemovingIsLiteralAndTakesEveryOccurrence)
{
    EXPECT_EQ(replaceStringFrom("aAa", "a", "x"), "xAx");
    EXPECT_EQ(replaceStringFrom("abc", kNone, "x"), "abc");
    EXPECT_EQ(removeString("a.b.c", "."), "abc");
}

TEST_F(StringMarkersTest, rangeRunsFromTheFirstStartToTheNextEnd)
{
    const QString text = "]x[a]y[b]";
    EXPECT_EQ(rangeOfStringFrom(text, "[", "]"), (Range{2, 3}));
    // Misses and empty arguments give the empty range at 0.
    EXPECT_EQ(rangeOfStringFrom("a[b", "[", "]"), Range{});
    EXPECT_EQ(rangeOfStringFrom(text, "{", "]"), Range{});
    EXPECT_EQ(rangeOfStringFrom(text, kNone, "]"), Range{});
    // Within a range, the end has to lie inside it too.
    EXPECT_EQ(rangeOfStringFrom(text, "[", "]", Range{3, 6}), (Range{6, 3}));
    EXPECT_EQ(rangeOfStringFrom(text, "[", "]", Range{6, 2}), Range{});
    EXPECT_EQ(rangeOfStringFrom(text, "[", "]", Range{5, 50}), Range{});
    EXPECT_EQ(rangeOfStringFrom(text, "[", "]", Range{-1, 3}), Range{});
}

TEST_F(StringMarkersTest, removingMarkedTextTakesEverySpanOrEveryCopy)
{
    // removeStringFrom deletes every copy of the first span, not other spans.
    EXPECT_EQ(removeStringFrom("<a>1<a>2<b>", "<", ">"), "12<b>");
    // A start without an end, and all after it, stays.
    expectEach([](const QString &text) { return removeAllStringStartFrom(text, "/*", "*/"); },
        {{"a/*x*/b/*y*/c", "abc"}, {"a/*b*/c/*d", "ac/*d"}, {"a/*/*b*/c", "ac"}});
    EXPECT_EQ(removeAllStringStartFrom("abc", kNone, kNone), "abc");
}

TEST_F(StringMarkersTest, htmlLosesItsTagsAndOnlyFiveEntities)
{
    expectEach(removeAllHTMLTag, {{"a<b>c</b>d", "acd"}, {"a<b", "a<b"}, {"x &amp;lt; y", "x &lt; y"}});
    EXPECT_EQ(
        arrangeHTMLString("&lt;p&gt; &quot;a&quot;&nbsp;&amp; &#38; &LT; &eacute;"), "<p> \"a\" & &#38; &LT; &eacute;");
}

TEST_F(StringMarkersTest, substringsBetweenMarkersIgnoreCase)
{
    const QString text = "Title: <B>Bold</b> end";
    EXPECT_EQ(substringFrom(text, "<b>", "</B>"), "Bold");
    EXPECT_EQ(substringFrom(text, "<i>", "</i>"), std::nullopt);
    EXPECT_EQ(substringFrom(text, "<b>", "<i>"), std::nullopt);
    EXPECT_EQ(substringFrom("<b></b>", "<b>", "</b>"), std::nullopt);
    EXPECT_EQ(substringFrom("x<b>", "<b>", "<"), std::nullopt);
    // The start is looked for in the range, the end anywhere after it.
    EXPECT_EQ(substringFrom(text, "<b>", "end", Range{7, 3}), "Bold</b> ");
    EXPECT_EQ(substringFrom(text, "<b>", "end", Range{8, 10}), std::nullopt);
    EXPECT_EQ(substringFrom(text, "<b>", "end", Range{7, 100}), std::nullopt);
}

TEST_F(StringMarkersTest, substringsAfterAndBeforeAMarker)
{
    const QString path = "a/B/c";
    EXPECT_EQ(substringFrom(path, "b/"), "c");
    EXPECT_EQ(substringFrom(path, "c"), std::nullopt);
    EXPECT_EQ(substringFrom(path, "x"), std::nullopt);
    EXPECT_EQ(substringFromBackward(path, "/", true), "c");
    EXPECT_EQ(substringFromBackward(path, "/", false), "B/c");
    EXPECT_EQ(substringTo(path, "/"), "a");
    EXPECT_EQ(substringTo(path, "A"), std::nullopt);
    EXPECT_EQ(substringToBackward(path, "/", true), "a/B");
}

TEST_F(StringMarkersTest, escapesAreUndoneOrAddedOnlyWhereNeeded)
{
    // A quote comes out escaped whether it went in escaped or not; doubled
    // backslashes are undone first, so only a tripled one before "n" makes a line break.
    expectEach(escapeForStringsFile,
        {{"a\\\\b", "a\\b"}, {"say \\\"hi\" now", "say \\\"hi\\\" now"}, {"a\\;b;c", "a;b;c"}, {"a\\\\\\nb", "a\nb"},
            {"a\\nb", "a\\nb"}});
    // Text whose only change would be "%" is taken as escaped already.
    expectEach(escapedStringWithPercent,
        {{"a b", "a%20b"}, {"http://x.org/p?q=1&r=#f", "http://x.org/p?q=1&r=#f"}, {"日本", "%E6%97%A5%E6%9C%AC"},
            {"<a|b>", "%3Ca%7Cb%3E"}, {"a%20b", "a%20b"}, {"100%", "100%"}, {"50% off", "50%25%20off"}});
    expectEach([](const QString &text) { return stringByAppendingBackSlashForCharacter(text, "\""); },
        {{"say \"hi\"", "say \\\"hi\\\""}, {"a\"b", "a\"b"}, {"abc\\\"d", "abc\\\"d"}});
}

TEST_F(StringMarkersTest, cutPositionPrefersLineBreaksThenStopsWithinTheWindow)
{
    EXPECT_EQ(dividePointUpToLength("short", 10), 5);
    const QString text = "line one\nmore. And a sentence. " + QString(300, u'x');
    EXPECT_EQ(dividePointUpToLength(text, 30), 9);         // the line break beats the nearer stops
    EXPECT_EQ(dividePointUpToLength(text, 8), 8);          // nothing before the limit
    EXPECT_EQ(dividePointUpToLength(text.mid(9), 25), 21); // the last stop before the limit
    EXPECT_EQ(dividePointUpToLength(QString::fromUtf8("あいう、えお") + QString(10, u'x'), 8), 4);
    // Separators more than 200 characters back are not looked at.
    EXPECT_EQ(dividePointUpToLength(text, 300), 300);
    EXPECT_EQ(dividePointUpToLength(text, -4), 0);
}

} // namespace
