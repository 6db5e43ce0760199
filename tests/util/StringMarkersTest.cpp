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

TEST_F(StringMarkersTest, replacingAndRemovingIsLiteralAndTakesEveryOccurrence)
{
    EXPECT_EQ(
        replaceStringFrom(QStringLiteral("a-b-c"), QStringLiteral("-"), QStringLiteral("+")), QStringLiteral("a+b+c"));
    EXPECT_EQ(
        replaceStringFrom(QStringLiteral("aAa"), QStringLiteral("a"), QStringLiteral("x")), QStringLiteral("xAx"));
    EXPECT_EQ(replaceStringFrom(QStringLiteral("abc"), kNone, QStringLiteral("x")), QStringLiteral("abc"));
    EXPECT_EQ(replaceStringFrom(kNone, QStringLiteral("a"), QStringLiteral("x")), QString());
    EXPECT_EQ(removeString(QStringLiteral("a.b.c"), QStringLiteral(".")), QStringLiteral("abc"));
    EXPECT_EQ(removeString(QStringLiteral("abc"), kNone), QStringLiteral("abc"));
}

TEST_F(StringMarkersTest, rangeRunsFromTheFirstStartToTheNextEnd)
{
    const QString text = QStringLiteral("]x[a]y[b]");
    EXPECT_EQ(rangeOfStringFrom(text, QStringLiteral("["), QStringLiteral("]")), (Range{2, 3}));
    // Misses and empty arguments give the empty range at 0.
    EXPECT_EQ(rangeOfStringFrom(text, QStringLiteral("{"), QStringLiteral("]")), Range{});
    EXPECT_EQ(rangeOfStringFrom(QStringLiteral("a[b"), QStringLiteral("["), QStringLiteral("]")), Range{});
    EXPECT_EQ(rangeOfStringFrom(text, kNone, QStringLiteral("]")), Range{});
    EXPECT_EQ(rangeOfStringFrom(kNone, QStringLiteral("["), QStringLiteral("]")), Range{});

    // Within a range, the end has to lie inside it too.
    EXPECT_EQ(rangeOfStringFrom(text, QStringLiteral("["), QStringLiteral("]"), Range{3, 6}), (Range{6, 3}));
    EXPECT_EQ(rangeOfStringFrom(text, QStringLiteral("["), QStringLiteral("]"), Range{6, 2}), Range{});
    EXPECT_EQ(rangeOfStringFrom(text, QStringLiteral("["), QStringLiteral("]"), Range{5, 50}), Range{});
    EXPECT_EQ(rangeOfStringFrom(text, QStringLiteral("["), QStringLiteral("]"), Range{-1, 3}), Range{});
}

TEST_F(StringMarkersTest, removingMarkedTextTakesEverySpanOrEveryCopy)
{
    // removeStringFrom deletes every copy of the first span, not other spans.
    EXPECT_EQ(removeStringFrom(QStringLiteral("<a>1<a>2<b>"), QStringLiteral("<"), QStringLiteral(">")),
        QStringLiteral("12<b>"));
    EXPECT_EQ(removeStringFrom(QStringLiteral("no marks"), QStringLiteral("<"), QStringLiteral(">")),
        QStringLiteral("no marks"));

    EXPECT_EQ(removeAllStringStartFrom(QStringLiteral("a/*x*/b/*y*/c"), QStringLiteral("/*"), QStringLiteral("*/")),
        QStringLiteral("abc"));
    // A start without an end, and all after it, stays.
    EXPECT_EQ(removeAllStringStartFrom(QStringLiteral("a<b>c<d"), QStringLiteral("<"), QStringLiteral(">")),
        QStringLiteral("ac<d"));
    EXPECT_EQ(removeAllStringStartFrom(QStringLiteral("a<<b>c"), QStringLiteral("<"), QStringLiteral(">")),
        QStringLiteral("ac"));
    EXPECT_EQ(removeAllStringStartFrom(QStringLiteral("abc"), kNone, kNone), QStringLiteral("abc"));
}

TEST_F(StringMarkersTest, htmlLosesItsTagsAndOnlyFiveEntities)
{
    EXPECT_EQ(removeAllHTMLTag(QStringLiteral("a<b>c</b>d")), QStringLiteral("acd"));
    EXPECT_EQ(removeAllHTMLTag(QStringLiteral("a<b")), QStringLiteral("a<b"));
    EXPECT_EQ(removeAllHTMLTag(QStringLiteral("x &amp;lt; y")), QStringLiteral("x &lt; y"));
    EXPECT_EQ(arrangeHTMLString(QStringLiteral("&lt;p&gt; &quot;a&quot;&nbsp;&amp; &#38; &LT; &eacute;")),
        QStringLiteral("<p> \"a\" & &#38; &LT; &eacute;"));
}

TEST_F(StringMarkersTest, substringsBetweenMarkersIgnoreCase)
{
    const QString text = QStringLiteral("Title: <B>Bold</b> end");
    EXPECT_EQ(substringFrom(text, QStringLiteral("<b>"), QStringLiteral("</B>")), QStringLiteral("Bold"));
    EXPECT_EQ(substringFrom(text, QStringLiteral("<i>"), QStringLiteral("</i>")), std::nullopt);
    EXPECT_EQ(substringFrom(text, QStringLiteral("<b>"), QStringLiteral("<i>")), std::nullopt);
    EXPECT_EQ(substringFrom(QStringLiteral("<b></b>"), QStringLiteral("<b>"), QStringLiteral("</b>")), std::nullopt);
    EXPECT_EQ(substringFrom(QStringLiteral("x<b>"), QStringLiteral("<b>"), QStringLiteral("<")), std::nullopt);
    EXPECT_EQ(substringFrom(text, kNone, QStringLiteral("end")), std::nullopt);

    // The start is looked for in the range, the end anywhere after it.
    EXPECT_EQ(
        substringFrom(text, QStringLiteral("<b>"), QStringLiteral("end"), Range{7, 3}), QStringLiteral("Bold</b> "));
    EXPECT_EQ(substringFrom(text, QStringLiteral("<b>"), QStringLiteral("end"), Range{8, 10}), std::nullopt);
    EXPECT_EQ(substringFrom(text, QStringLiteral("<b>"), QStringLiteral("end"), Range{7, 100}), std::nullopt);
}

TEST_F(StringMarkersTest, substringsAfterAndBeforeAMarker)
{
    const QString path = QStringLiteral("a/B/c");
    EXPECT_EQ(substringFrom(path, QStringLiteral("/")), QStringLiteral("B/c"));
    EXPECT_EQ(substringFromBackward(path, QStringLiteral("/"), true), QStringLiteral("c"));
    EXPECT_EQ(substringFromBackward(path, QStringLiteral("/"), false), QStringLiteral("B/c"));
    EXPECT_EQ(substringFrom(path, QStringLiteral("b/")), QStringLiteral("c"));
    EXPECT_EQ(substringFrom(path, QStringLiteral("c")), std::nullopt);
    EXPECT_EQ(substringFrom(path, QStringLiteral("x")), std::nullopt);

    EXPECT_EQ(substringTo(path, QStringLiteral("/")), QStringLiteral("a"));
    EXPECT_EQ(substringToBackward(path, QStringLiteral("/"), true), QStringLiteral("a/B"));
    EXPECT_EQ(substringTo(path, QStringLiteral("A")), std::nullopt);
    EXPECT_EQ(substringToBackward(path, QStringLiteral("x"), true), std::nullopt);
}

TEST_F(StringMarkersTest, stringsFileEscapesAreUndoneInOrder)
{
    EXPECT_EQ(escapeForStringsFile(QStringLiteral("a\\\\b")), QStringLiteral("a\\b"));
    // A quote comes out escaped whether it went in escaped or not.
    EXPECT_EQ(escapeForStringsFile(QStringLiteral("say \\\"hi\" now")), QStringLiteral("say \\\"hi\\\" now"));
    EXPECT_EQ(escapeForStringsFile(QStringLiteral("a\\;b;c")), QStringLiteral("a;b;c"));
    // Doubled backslashes are undone first: only a tripled one before "n" makes a line break.
    EXPECT_EQ(escapeForStringsFile(QStringLiteral("a\\\\\\nb")), QStringLiteral("a\nb"));
    EXPECT_EQ(escapeForStringsFile(QStringLiteral("a\\nb")), QStringLiteral("a\\nb"));
}

TEST_F(StringMarkersTest, percentEscapingLeavesEscapedTextAlone)
{
    EXPECT_EQ(escapedStringWithPercent(QStringLiteral("a b")), QStringLiteral("a%20b"));
    EXPECT_EQ(
        escapedStringWithPercent(QStringLiteral("http://x.org/p?q=1&r=#f")), QStringLiteral("http://x.org/p?q=1&r=#f"));
    EXPECT_EQ(escapedStringWithPercent(QString::fromUtf8("日本")), QStringLiteral("%E6%97%A5%E6%9C%AC"));
    EXPECT_EQ(escapedStringWithPercent(QStringLiteral("<a|b>")), QStringLiteral("%3Ca%7Cb%3E"));
    // Only "%" would change: taken as escaped already.
    EXPECT_EQ(escapedStringWithPercent(QStringLiteral("a%20b")), QStringLiteral("a%20b"));
    EXPECT_EQ(escapedStringWithPercent(QStringLiteral("100%")), QStringLiteral("100%"));
    EXPECT_EQ(escapedStringWithPercent(QStringLiteral("50% off")), QStringLiteral("50%25%20off"));
}

TEST_F(StringMarkersTest, backslashesGoBeforeTheCharacterButNotNearTheStart)
{
    const QString quote = QStringLiteral("\"");
    EXPECT_EQ(
        stringByAppendingBackSlashForCharacter(QStringLiteral("say \"hi\""), quote), QStringLiteral("say \\\"hi\\\""));
    EXPECT_EQ(stringByAppendingBackSlashForCharacter(QStringLiteral("a\"b"), quote), QStringLiteral("a\"b"));
    EXPECT_EQ(stringByAppendingBackSlashForCharacter(QStringLiteral("abc\\\"d"), quote), QStringLiteral("abc\\\"d"));
    EXPECT_EQ(stringByAppendingBackSlashForCharacter(QStringLiteral("abc"), kNone), QStringLiteral("abc"));
}

TEST_F(StringMarkersTest, cutPositionPrefersLineBreaksThenStopsWithinTheWindow)
{
    const QString shortText = QStringLiteral("short");
    EXPECT_EQ(dividePointUpToLength(shortText, 10), 5);
    EXPECT_EQ(dividePointUpToLength(shortText, 5), 5);

    const QString text = QStringLiteral("line one\nmore. And a sentence. ") + QString(300, u'x');
    EXPECT_EQ(dividePointUpToLength(text, 30), 9);         // the line break beats the nearer stops
    EXPECT_EQ(dividePointUpToLength(text, 8), 8);          // nothing before the limit
    EXPECT_EQ(dividePointUpToLength(text.mid(9), 25), 21); // the last stop before the limit
    EXPECT_EQ(dividePointUpToLength(QString::fromUtf8("あいう、えお") + QString(10, u'x'), 8), 4);
    // Separators more than 200 characters back are not looked at.
    EXPECT_EQ(dividePointUpToLength(text, 300), 300);
    EXPECT_EQ(dividePointUpToLength(text, -4), 0);
}

} // namespace
