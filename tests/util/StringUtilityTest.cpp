#include "common/QtPrinters.h"
#include "util/StringUtility.h"

#include <gtest/gtest.h>

#include <QRandomGenerator>


using namespace StringUtility;

namespace {

struct OrderCase
{
    const char *name;
    const char *a; // UTF-8
    const char *b;
    int expected;
};

class NaturalCompareTest : public ::testing::TestWithParam<OrderCase>
{
};

TEST_P(NaturalCompareTest, comparesBothWaysWithOppositeSigns)
{
    const OrderCase &c = GetParam();
    const QString a = QString::fromUtf8(c.a);
    const QString b = QString::fromUtf8(c.b);
    EXPECT_EQ(naturalCompare(a, b), c.expected);
    EXPECT_EQ(naturalCompare(b, a), -c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    StringUtility, NaturalCompareTest,
    ::testing::Values(OrderCase{"numbersByValue", "Page 9", "Page 10", -1},
                      OrderCase{"numbersAfterLetters", "a2", "a10", -1},
                      OrderCase{"caseIgnored", "abc", "ABC", 0},
                      OrderCase{"fullWidthDigitsLikeHalfWidth", "a\xEF\xBC\x91\xEF\xBC\x90", "a10", 0},
                      OrderCase{"fullWidthTwoBeforeTen", "a\xEF\xBC\x92", "a10", -1},
                      OrderCase{"accentsSignificant", "r\xC3\xA9sum\xC3\xA9", "resume", 1},
                      OrderCase{"punctuationSignificant", "a-b", "ab", -1},
                      OrderCase{"emptyFirst", "", "a", -1},
                      OrderCase{"letters", "apple", "banana", -1}),
    [](const ::testing::TestParamInfo<OrderCase> &info) { return std::string(info.param.name); });

TEST(StringUtilityTest, replaceReturnCodeTurnsEveryLineEndIntoNewline)
{
    EXPECT_EQ(replaceReturnCode(QStringLiteral("a\r\nb\rc\nd")), QStringLiteral("a\nb\nc\nd"));
    // "\r\r\n" is a lone CR followed by a CRLF: two line ends, not three.
    EXPECT_EQ(replaceReturnCode(QStringLiteral("x\r\r\ny")), QStringLiteral("x\n\ny"));
    EXPECT_EQ(replaceReturnCode(QStringLiteral("plain")), QStringLiteral("plain"));
    EXPECT_EQ(replaceReturnCode(QString()), QString());
}

std::optional<QString> detect(const QByteArray &bytes)
{
    return stringWithContentsOfDataByAutoDetectingEncoding(bytes);
}

const QString kJapanese = QString::fromUtf8("日本語のテキスト");

TEST(StringUtilityTest, encodingDetectionReadsUnicodeAndJapaneseText)
{
    EXPECT_EQ(detect(QByteArray("plain ascii\n")), QStringLiteral("plain ascii\n"));
    EXPECT_EQ(detect(QStringLiteral("Grüße").toUtf8()), QStringLiteral("Grüße"));
    // A UTF-8 byte-order mark is no part of the text.
    EXPECT_EQ(detect("\xEF\xBB\xBF" + QStringLiteral("Grüße").toUtf8()), QStringLiteral("Grüße"));

    EXPECT_EQ(detect(QByteArray::fromHex("93fa967b8cea82cc8365834c83588367")), kJapanese); // Shift JIS
    EXPECT_EQ(detect(QByteArray::fromHex("c6fccbdcb8eca4cea5c6a5ada5b9a5c8")), kJapanese); // EUC-JP
    // ISO-2022-JP is 7-bit, so UTF-8 would take it as it stands, escapes and
    // all: the escape byte makes it go first.
    EXPECT_EQ(detect(QByteArray::fromHex("1b2442467c4b5c386c244e2546252d253925481b2842")), kJapanese);
}

TEST(StringUtilityTest, encodingDetectionKeepsItsOrderForLegacyText)
{
    // "café" in Windows Latin: Mac Roman comes first and reads E9 as "È".
    EXPECT_EQ(detect(QByteArray("caf\xE9")), QString::fromUtf8("caf\xC3\x88"));
    // An escape byte in text that is no ISO-2022-JP falls through to the list.
    EXPECT_EQ(detect(QByteArray("a\x1b" "b")), QStringLiteral("a\x1b" "b"));
}

TEST(StringUtilityTest, encodingDetectionNeverFailsOnEmptyOrGarbageBytes)
{
    const auto empty = detect(QByteArray());
    ASSERT_TRUE(empty.has_value());
    EXPECT_TRUE(empty->isEmpty());

    // Every byte value means something in Mac Roman, so garbage still reads.
    QByteArray garbage(4096, Qt::Uninitialized);
    QRandomGenerator random(42);
    for (char &byte : garbage)
        byte = char(random.bounded(256));
    const auto text = detect(garbage);
    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(text->size(), garbage.size());
}

} // namespace
