#include "common/QtPrinters.h"
#include "platform/base/Localization.h"
#include "util/StringUtility.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QLocale>
#include <QScopeGuard>
#include <QTemporaryDir>

using namespace StringUtility;

namespace {

TEST(StringUtilityTest, naturalOrderComparesNumbersByValueBothWays)
{
    const std::tuple<const char *, const char *, int> cases[]{{"Page 9", "Page 10", -1}, {"a2", "a10", -1},
        {"abc", "ABC", 0}, {"a１０", "a10", 0}, {"a２", "a10", -1}, {"résumé", "resume", 1}, {"a-b", "ab", -1},
        {"", "a", -1}, {"apple", "banana", -1}};
    for (const auto &[a, b, expected] : cases) {
        EXPECT_EQ(naturalCompare(QString::fromUtf8(a), QString::fromUtf8(b)), expected) << a << " / " << b;
        EXPECT_EQ(naturalCompare(QString::fromUtf8(b), QString::fromUtf8(a)), -expected) << b << " / " << a;
    }
}

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
}

TEST(StringUtilityTest, replaceReturnCodeTurnsEveryLineEndIntoNewline)
{
    EXPECT_EQ(replaceReturnCode("a\r\nb\rc\nd"), "a\nb\nc\nd");
    // "\r\r\n" is a lone CR followed by a CRLF: two line ends, not three.
    EXPECT_EQ(replaceReturnCode("x\r\r\ny"), "x\n\ny");
}

std::optional<QString> detect(const QByteArray &bytes)
{
    return stringWithContentsOfDataByAutoDetectingEncoding(bytes);
}

const QString kJapanese = QString::fromUtf8("日本語のテキスト");

TEST(StringUtilityTest, encodingDetectionReadsUnicodeJapaneseAndLegacyTextAndNeverFails)
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

    // "café" in Windows Latin: Mac Roman comes first and reads E9 as "È".
    EXPECT_EQ(detect(QByteArray("caf\xE9")), QString::fromUtf8("caf\xC3\x88"));
    // An escape byte in text that is no ISO-2022-JP falls through to the list.
    EXPECT_EQ(detect(QByteArray("a\033b")), QStringLiteral("a\033b"));
    EXPECT_EQ(detect(QByteArray()), QString());
    // Every byte value means something in Mac Roman, so any bytes read.
    QByteArray garbage;
    for (int i = 0; i < 256; ++i)
        garbage += char(255 - i);
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
    const QString latin = "abcXYZ09";
    const QString kana = "ひらがなカタカナー";
    EXPECT_TRUE(isNumberString("0123456789") && isNumberString(QString()));
    EXPECT_FALSE(isNumberString("12.5") || isNumberString("１")); // full-width 1
    EXPECT_TRUE(isAlphanumericString(latin) && isHiraganaKatanakaString(kana));
    EXPECT_FALSE(isAlphanumericString("abc def") || isAlphanumericString("café"));
    EXPECT_FALSE(isHiraganaKatanakaString("漢字") || isHiraganaKatanakaString(kana + latin));
    EXPECT_TRUE(isHiraganaKatanakaAlphabetString(kana + latin));
    EXPECT_FALSE(isHiraganaKatanakaAlphabetString(kana + "!"));
}

TEST_F(StringClassesTest, byteSizesTakeAUnitOnlyAboveIt)
{
    const std::pair<double, const char *> sizes[]{{5, "5.0B"}, {1024, "1024B"}, {1536, "1.5KB"}, {10240, "10KB"},
        {3.5 * 1024 * 1024, "3.5MB"}, {1024.0 * 1024 * 1024 * 1024, "1024GB"},
        {2.0 * 1024 * 1024 * 1024 * 1024, "2.0TB"}};
    for (const auto &[bytes, expected] : sizes)
        EXPECT_EQ(stringWithByteSize(bytes), QString::fromLatin1(expected)) << bytes;

    const QLocale saved;
    const auto restore = qScopeGuard([saved] { QLocale::setDefault(saved); });
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(fileSizeString(1536), "1,5KB");
    EXPECT_EQ(fileSizeString(5000.0 * 1024 * 1024 * 1024), "5000GB");
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
