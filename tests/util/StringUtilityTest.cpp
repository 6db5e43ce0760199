#include "common/QtPrinters.h"
#include "platform/base/Localization.h"
#include "util/StringUtility.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QLocale>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTemporaryDir>

#include <algorithm>

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
{ };

TEST_P(NaturalCompareTest, comparesBothWaysWithOppositeSigns)
{
    const OrderCase &c = GetParam();
    const QString a = QString::fromUtf8(c.a);
    const QString b = QString::fromUtf8(c.b);
    EXPECT_EQ(naturalCompare(a, b), c.expected);
    EXPECT_EQ(naturalCompare(b, a), -c.expected);
}

INSTANTIATE_TEST_SUITE_P(StringUtility, NaturalCompareTest,
    ::testing::Values(OrderCase{"numbersByValue", "Page 9", "Page 10", -1},
        OrderCase{"numbersAfterLetters", "a2", "a10", -1}, OrderCase{"caseIgnored", "abc", "ABC", 0},
        OrderCase{"fullWidthDigitsLikeHalfWidth", "a\xEF\xBC\x91\xEF\xBC\x90", "a10", 0},
        OrderCase{"fullWidthTwoBeforeTen", "a\xEF\xBC\x92", "a10", -1},
        OrderCase{"accentsSignificant", "r\xC3\xA9sum\xC3\xA9", "resume", 1},
        OrderCase{"punctuationSignificant", "a-b", "ab", -1}, OrderCase{"emptyFirst", "", "a", -1},
        OrderCase{"letters", "apple", "banana", -1}),
    [](const ::testing::TestParamInfo<OrderCase> &info) { return std::string(info.param.name); });

// Titles of every kind a tree holds, in no order.
const QStringList kVariedTitles = {"Page 10", "page 9", "Page 9", "Chapter 3 - 2024-05-01", "Chapter 3 - 2024-04-30",
    "chapter 12", "a10", "a2", "A2", "a\uFF11\uFF10", "r\u00E9sum\u00E9", "resume", "R\u00E9sum\u00E9", "a-b", "ab", "",
    "\u65E5\u8A18 2", "\u65E5\u8A18 10", "\u306B\u3063\u304D", "\u30CB\u30C3\u30AD", "Zebra", "zebra",
    "\u00C5ngstr\u00F6m", "Angstrom", "x 007", "x 7", "x 70", "100 tips", "99 tips", "Grocery list", "Groceries"};

TEST(StringUtilityTest, sortKeysOrderExactlyAsTheComparison)
{
    for (const QString &a : kVariedTitles) {
        for (const QString &b : kVariedTitles) {
            const int byKey = naturalSortKey(a).compare(naturalSortKey(b));
            EXPECT_EQ((byKey > 0) - (byKey < 0), naturalCompare(a, b)) << a.toStdString() << " / " << b.toStdString();
        }
    }

    QStringList expected = kVariedTitles;
    std::stable_sort(
        expected.begin(), expected.end(), [](const QString &a, const QString &b) { return naturalCompare(a, b) < 0; });
    QStringList sorted;
    for (const qsizetype index : naturalOrder(kVariedTitles))
        sorted.append(kVariedTitles.at(index));
    EXPECT_EQ(sorted, expected);

    // Equal titles keep their order; items are moved, not copied.
    struct Item
    {
        QString title;
        int id;
    };
    QList<Item> items = {{"b", 1}, {"A", 2}, {"B", 3}, {"a", 4}};
    sortNaturally(items, [](const Item &item) { return item.title; });
    QList<int> ids;
    for (const Item &item : items)
        ids.append(item.id);
    EXPECT_EQ(ids, (QList<int>{2, 4, 1, 3}));
}

TEST(StringUtilityTest, replaceReturnCodeTurnsEveryLineEndIntoNewline)
{
    EXPECT_EQ(replaceReturnCode("a\r\nb\rc\nd"), "a\nb\nc\nd");
    // "\r\r\n" is a lone CR followed by a CRLF: two line ends, not three.
    EXPECT_EQ(replaceReturnCode("x\r\r\ny"), "x\n\ny");
    EXPECT_EQ(replaceReturnCode("plain"), "plain");
    EXPECT_EQ(replaceReturnCode(QString()), QString());
}

std::optional<QString> detect(const QByteArray &bytes)
{
    return stringWithContentsOfDataByAutoDetectingEncoding(bytes);
}

const QString kJapanese = QString::fromUtf8("日本語のテキスト");

TEST(StringUtilityTest, encodingDetectionReadsUnicodeAndJapaneseText)
{
    EXPECT_EQ(detect(QByteArray("plain ascii\n")), "plain ascii\n");
    EXPECT_EQ(detect(QStringLiteral("Grüße").toUtf8()), "Grüße");
    // A UTF-8 byte-order mark is no part of the text.
    EXPECT_EQ(detect("\xEF\xBB\xBF" + QStringLiteral("Grüße").toUtf8()), "Grüße");

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
    EXPECT_EQ(detect(QByteArray("a\x1b"
                                "b")),
        QStringLiteral("a\x1b"
                       "b"));
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

class StringClassesTest : public ::testing::Test
{
protected:
    void SetUp() override { Localization::install(); }
};

TEST_F(StringClassesTest, characterClassesNeedEveryCharacterInTheSet)
{
    EXPECT_TRUE(isNumberString("0123456789"));
    EXPECT_TRUE(isNumberString(QString()));
    EXPECT_FALSE(isNumberString("12.5"));
    EXPECT_FALSE(isNumberString(QString::fromUtf8("\uFF11"))); // full-width 1

    const QString latin = "abcXYZ09";
    const QString kana = QString::fromUtf8("\u3072\u3089\u304C\u306A\u30AB\u30BF\u30AB\u30CA\u30FC");
    EXPECT_TRUE(isAlphanumericString(latin));
    EXPECT_FALSE(isAlphanumericString("abc def"));
    EXPECT_FALSE(isAlphanumericString(QString::fromUtf8("caf\u00E9")));
    EXPECT_TRUE(isHiraganaKatanakaString(kana));
    EXPECT_FALSE(isHiraganaKatanakaString(QString::fromUtf8("\u6F22\u5B57"))); // kanji
    EXPECT_FALSE(isHiraganaKatanakaString(kana + latin));
    EXPECT_TRUE(isHiraganaKatanakaAlphabetString(kana + latin));
    EXPECT_FALSE(isHiraganaKatanakaAlphabetString(kana + "!"));
    EXPECT_TRUE(isAlphanumericString(QString()));
    EXPECT_TRUE(isHiraganaKatanakaString(QString()));
}

TEST_F(StringClassesTest, byteSizesTakeAUnitOnlyAboveIt)
{
    EXPECT_EQ(stringWithByteSize(512), "512B");
    EXPECT_EQ(stringWithByteSize(5), "5.0B");
    EXPECT_EQ(stringWithByteSize(1024), "1024B");
    EXPECT_EQ(stringWithByteSize(1025), "1.0KB");
    EXPECT_EQ(stringWithByteSize(1536), "1.5KB");
    EXPECT_EQ(stringWithByteSize(10240), "10KB");
    EXPECT_EQ(stringWithByteSize(3.5 * 1024 * 1024), "3.5MB");
    EXPECT_EQ(stringWithByteSize(1024.0 * 1024 * 1024 * 1024), "1024GB");
    EXPECT_EQ(stringWithByteSize(2.0 * 1024 * 1024 * 1024 * 1024), "2.0TB");

    const QLocale saved;
    const auto restore = qScopeGuard([saved] { QLocale::setDefault(saved); });
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(fileSizeString(1536), "1,5KB");
    EXPECT_EQ(fileSizeString(5000.0 * 1024 * 1024 * 1024), "5000GB");
    EXPECT_EQ(fileSizeString(1024), "1024B");
}

TEST(StringUtilityTest, filesAreDecodedStrictlyOrByDetection)
{
    QTemporaryDir folder;
    const auto write = [&folder](const char *name, const QByteArray &bytes) {
        QFile file(folder.filePath(QString::fromLatin1(name)));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    };
    const QString greeting = "Gr\u00FC\u00DFe";

    EXPECT_EQ(stringFromUTF8DataFilePath(write("bom8", "\xEF\xBB\xBF" + greeting.toUtf8())), greeting);
    EXPECT_EQ(stringFromUTF8DataFilePath(write("latin1", greeting.toLatin1())), std::nullopt);
    EXPECT_EQ(stringFromUTF8DataFilePath(write("empty", QByteArray())), QString(""));
    EXPECT_EQ(stringFromUTF8DataFilePath(folder.filePath("missing")), std::nullopt);

    EXPECT_EQ(stringFromUTF16DataFilePath(write("le", QByteArray::fromHex("fffe61006200"))), "ab");
    EXPECT_EQ(stringFromUTF16DataFilePath(write("be", QByteArray("\xFE\xFF\0a\0b", 6))), "ab");
    EXPECT_EQ(stringFromUTF16DataFilePath(write("plain", QByteArray("\0a\0b", 4))), "ab");
    EXPECT_EQ(stringFromUTF16DataFilePath(write("odd", QByteArray("\0a\0", 3))), std::nullopt);

    EXPECT_EQ(stringWithContentsOfFileByAutoDetectingEncoding(write("sjis", QByteArray::fromHex("93fa967b8cea"))),
        QString::fromUtf8("\u65E5\u672C\u8A9E"));
    EXPECT_EQ(stringWithContentsOfFileByAutoDetectingEncoding(folder.filePath("missing")), std::nullopt);
}

} // namespace
