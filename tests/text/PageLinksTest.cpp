#include "common/QtPrinters.h"
#include "text/PageLinks.h"

#include <gtest/gtest.h>

namespace {

using PageLinks::LinkDescription;

TEST(PageLinksTest, pageLinksAreWrittenAsStoredTextsAndReadBackInBothWindowForms)
{
    EXPECT_EQ(PageLinks::pageLink(42, true), QStringLiteral("Jotwell3://pageid/42/OpenWithNewWindow"));
    for (const bool newWindow : {false, true}) {
        const auto description = PageLinks::describeLink(PageLinks::pageLink(42, newWindow));
        ASSERT_TRUE(description);
        EXPECT_EQ(*description, (LinkDescription{LinkDescription::Kind::Page, 42, newWindow, {}, {}}));
    }
}

TEST(PageLinksTest, pageIDsAreReadAsWholeNumbersOrNotAtAll)
{
    for (const auto &[text, id] : {std::pair{"12", 12LL}, {"12.0", 12LL}, {"1.2e1", 12LL}, {"-3", -3LL},
             {"9007199254740992", 9007199254740992LL}})
        EXPECT_EQ(PageLinks::memoIDFromText(QString::fromLatin1(text)), id) << text;
    for (const char *bad : {"", "12abc", "12.5", "nan", "9223372036854775808", "1e400"})
        EXPECT_FALSE(PageLinks::memoIDFromText(QString::fromLatin1(bad))) << bad;

    EXPECT_EQ(PageLinks::memoIDOfLink(QStringLiteral("Jotwell3://pageid/12.0/OpenWithNewWindow")), 12);
    EXPECT_EQ(PageLinks::memoIDTextOfLink(QStringLiteral("Jotwell3://pageid/12.0/")), QStringLiteral("12.0"));
    for (const char *bad : {"Jotwell3://pageid//", "Jotwell3://pageid/abc/", "Jotwell3://pageid/42",
             "jotwell3://pageid/42/", " Jotwell3://pageid/4/"})
        EXPECT_FALSE(PageLinks::memoIDOfLink(QString::fromLatin1(bad))) << bad;
}

TEST(PageLinksTest, mailLocationsDecodeOnlyTheOuterBrackets)
{
    for (const auto &[link, location] : {std::pair{"message:%3Cabc@example.com%3E", "message:<abc@example.com>"},
             {"message:%3Ca%3Eb", "message:<a%3Eb"}, {"message:%3Ca%3E%3E", "message:<a%3E>"},
             {"message:abc%3e", "message:abc%3e"}, {"message:", "message:"}})
        EXPECT_EQ(PageLinks::mailLocation(QString::fromLatin1(link)), QString::fromLatin1(location)) << link;
}

TEST(PageLinksTest, fileAndOtherLinksDescribeWithTheirText)
{
    const auto file = PageLinks::describeLink(QStringLiteral("file:///home/me/My%20Notes/"));
    ASSERT_TRUE(file);
    EXPECT_EQ(*file, (LinkDescription{LinkDescription::Kind::File, {}, false, {}, "/home/me/My%20Notes/"}));
    EXPECT_EQ(PageLinks::describeLink(QStringLiteral("file://localhost/tmp/localhost.txt"))->filePath,
        QStringLiteral("/tmp/.txt"));

    for (const char *text : {"https://example.com/a?b=c", "message:%3Ca%3E", "jotwell3://pageid/42/"}) {
        const auto url = PageLinks::describeLink(QString::fromLatin1(text));
        ASSERT_TRUE(url) << text;
        EXPECT_EQ(*url, (LinkDescription{LinkDescription::Kind::URL, {}, false, QString::fromLatin1(text), {}}));
    }
    EXPECT_FALSE(PageLinks::describeLink(QString()));
    EXPECT_FALSE(PageLinks::describeLink(QStringLiteral("http://[broken")));
}

} // namespace
