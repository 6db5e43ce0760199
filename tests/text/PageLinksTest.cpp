#include "common/QtPrinters.h"
#include "text/PageLinks.h"

#include <gtest/gtest.h>

namespace {

using PageLinks::LinkDescription;

TEST(PageLinksTest, pageLinksAreBuiltAndReadBackInBothWindowForms)
{
    EXPECT_EQ(PageLinks::pageLink(42, false), QStringLiteral("Jotwell3://pageid/42/"));
    EXPECT_EQ(PageLinks::pageLink(42, true), QStringLiteral("Jotwell3://pageid/42/OpenWithNewWindow"));
    EXPECT_EQ(PageLinks::pageLink(42, true),
        PageLinks::memoLinkHeader() + QStringLiteral("42") + PageLinks::memoLinkNewWindow());

    for (const bool newWindow : {false, true}) {
        const auto description = PageLinks::describeLink(PageLinks::pageLink(42, newWindow));
        ASSERT_TRUE(description);
        EXPECT_EQ(*description, (LinkDescription{LinkDescription::Kind::Page, 42, newWindow, {}, {}}));
    }
}

TEST(PageLinksTest, pageIDsAreReadAsWholeNumbersOrNotAtAll)
{
    EXPECT_EQ(PageLinks::memoIDFromText(QStringLiteral("12")), 12);
    EXPECT_EQ(PageLinks::memoIDFromText(QStringLiteral("12.0")), 12);
    EXPECT_EQ(PageLinks::memoIDFromText(QStringLiteral("1.2e1")), 12);
    EXPECT_EQ(PageLinks::memoIDFromText(QStringLiteral("-3")), -3);
    EXPECT_EQ(PageLinks::memoIDFromText(QStringLiteral("9007199254740992")), 9007199254740992LL);
    for (const char *bad :
        {"", "abc", "12abc", "12.5", "inf", "nan", "9223372036854775808", "99999999999999999999", "1e400"})
        EXPECT_FALSE(PageLinks::memoIDFromText(QString::fromLatin1(bad))) << bad;

    EXPECT_EQ(PageLinks::memoIDOfLink(QStringLiteral("Jotwell3://pageid/12.0/OpenWithNewWindow")), 12);
    EXPECT_EQ(PageLinks::memoIDTextOfLink(QStringLiteral("Jotwell3://pageid/12.0/")), QStringLiteral("12.0"));
    for (const char *bad : {"Jotwell3://pageid//", "Jotwell3://pageid/abc/", "Jotwell3://pageid/42",
             "Jotwell3://pageid/99999999999999999999/", "jotwell3://pageid/42/", " Jotwell3://pageid/4/"})
        EXPECT_FALSE(PageLinks::memoIDOfLink(QString::fromLatin1(bad))) << bad;
}

TEST(PageLinksTest, mailLocationsDecodeOnlyTheOuterBrackets)
{
    EXPECT_EQ(PageLinks::mailLocation(QStringLiteral("message:%3Cabc@example.com%3E")),
        QStringLiteral("message:<abc@example.com>"));
    EXPECT_EQ(PageLinks::mailLocation(QStringLiteral("message:%3Ca%3Eb")), QStringLiteral("message:<a%3Eb"));
    EXPECT_EQ(PageLinks::mailLocation(QStringLiteral("message:%3Ca%3E%3E")), QStringLiteral("message:<a%3E>"));
    EXPECT_EQ(PageLinks::mailLocation(QStringLiteral("message:abc%3e")), QStringLiteral("message:abc%3e"));
    EXPECT_EQ(PageLinks::mailLocation(QStringLiteral("message:")), QStringLiteral("message:"));
}

TEST(PageLinksTest, fileAndOtherLinksDescribeWithTheirText)
{
    const auto file = PageLinks::describeLink(QStringLiteral("file:///home/me/My%20Notes/"));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->linkKind, LinkDescription::Kind::File);
    EXPECT_EQ(file->filePath, QStringLiteral("/home/me/My%20Notes/"));
    EXPECT_FALSE(file->memoID);
    EXPECT_EQ(PageLinks::describeLink(QStringLiteral("file://localhost/tmp/localhost.txt"))->filePath,
        QStringLiteral("/tmp/.txt"));

    for (const char *text : {"https://example.com/a?b=c", "message:%3Ca%3E", "mailMessageID:123",
             "jotwell3://pageid/42/", "Jotwell5://pageid/5/"}) {
        const auto url = PageLinks::describeLink(QString::fromLatin1(text));
        ASSERT_TRUE(url) << text;
        EXPECT_EQ(url->linkKind, LinkDescription::Kind::URL) << text;
        EXPECT_EQ(url->URLStr, QString::fromLatin1(text));
        EXPECT_FALSE(url->memoID);
    }

    EXPECT_FALSE(PageLinks::describeLink(QString()));
    EXPECT_FALSE(PageLinks::describeLink(QStringLiteral("http://[broken")));
}

} // namespace
