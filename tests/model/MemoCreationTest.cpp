#include "common/FreshUserTest.h"
#include "model/JWMemo.h"
#include "model/MemoCreation.h"
#include "platform/base/Localization.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

namespace {

class MemoCreationTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        Localization::install();
    }
    void TearDown() override
    {
        MemoCreation::setWebClipDownloadStarter({});
        FreshUserTest::TearDown();
    }

    static QString untitled() { return localizedString(QStringLiteral("Untitled")); }

    static QByteArray rtfdOf(const QString &text)
    {
        TextConverter converter;
        converter.setString(text);
        return converter.RTFDData();
    }

    static QString textOf(const QByteArray &rtfd)
    {
        TextConverter converter;
        EXPECT_TRUE(converter.setRTFDData(rtfd).ok());
        return converter.string();
    }
};

TEST_F(MemoCreationTest, stringsGiveTitledEditedPagesWithRichText)
{
    const MemoPtr memo = MemoCreation::initWithString(QStringLiteral("abcdefghijklmnopqrstu\nsecond line"));
    ASSERT_TRUE(memo);
    EXPECT_EQ(memo->title(), QStringLiteral("abcdefghijklmno")); // 21 letters cut to 15
    EXPECT_EQ(memo->plainText(), QStringLiteral("abcdefghijklmnopqrstu\nsecond line"));
    EXPECT_EQ(textOf(memo->memoData()), memo->plainText());
    EXPECT_TRUE(memo->isEdited());
    EXPECT_TRUE(memo->webURLStr().isEmpty());

    const MemoPtr empty = MemoCreation::initWithString(QString());
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->title(), untitled());
    EXPECT_TRUE(empty->plainText().isEmpty());
}

TEST_F(MemoCreationTest, withTopLineAsTitleTheWholeFirstLineIsTheTitle)
{
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("UseTopLineAsTitle"), true);
    const MemoPtr memo = MemoCreation::initWithString(QStringLiteral("A first line longer than fifteen\nbody"));
    ASSERT_TRUE(memo);
    EXPECT_EQ(memo->title(), QStringLiteral("A first line longer than fifteen"));
    EXPECT_EQ(memo->plainText(), QStringLiteral("A first line longer than fifteen\nbody"));
}

TEST_F(MemoCreationTest, aOneLineWebAddressBecomesAWebClipThatStartsItsDownload)
{
    MemoPtr started;
    MemoCreation::setWebClipDownloadStarter([&started](const MemoPtr &memo) { started = memo; });

    const MemoPtr clip = MemoCreation::initWithString(QStringLiteral("https://example.org/a%20b?q=1"));
    ASSERT_TRUE(clip);
    EXPECT_EQ(clip->webURLStr(), QStringLiteral("https://example.org/a%20b?q=1"));
    EXPECT_FALSE(clip->isEdited());
    EXPECT_EQ(started, clip);

    started.reset();
    for (const QString &text : {QStringLiteral("http://example.org/\nmore"), QStringLiteral("http://example.org/\rmore"),
                                QStringLiteral("see http://example.org/"), QStringLiteral("httpx")}) {
        const MemoPtr memo = MemoCreation::initWithString(text);
        ASSERT_TRUE(memo) << text.toStdString();
        EXPECT_TRUE(memo->webURLStr().isEmpty()) << text.toStdString();
        EXPECT_TRUE(memo->isEdited()) << text.toStdString();
    }
    EXPECT_FALSE(started);

    // Not a URL at all: nothing is made.
    EXPECT_FALSE(MemoCreation::initWithString(QStringLiteral("http://exa mple.org/")));
    EXPECT_FALSE(MemoCreation::initWithURL(QUrl()));
}

TEST_F(MemoCreationTest, fileBytesAreDecodedAndNeverMadeIntoWebClips)
{
    // "日本語のテキスト" in Shift JIS.
    const MemoPtr memo = MemoCreation::initWithString(QByteArray::fromHex("93fa967b8cea82cc8365834c83588367"));
    ASSERT_TRUE(memo);
    EXPECT_EQ(memo->plainText(), QString::fromUtf8("日本語のテキスト"));
    EXPECT_EQ(memo->title(), memo->plainText());

    const MemoPtr address = MemoCreation::initWithString(QByteArray("http://example.org/"));
    ASSERT_TRUE(address);
    EXPECT_TRUE(address->webURLStr().isEmpty());
    EXPECT_EQ(address->title(), QStringLiteral("http://example."));
}

TEST_F(MemoCreationTest, rtfIsTitledFromOneCharacterOnRtfdFromTwo)
{
    const MemoPtr rtf = MemoCreation::initWithRTF(QByteArray("{\\rtf1\\ansi x}"));
    ASSERT_TRUE(rtf);
    EXPECT_EQ(rtf->title(), QStringLiteral("x"));
    EXPECT_EQ(rtf->plainText(), QStringLiteral("x"));
    EXPECT_EQ(textOf(rtf->memoData()), QStringLiteral("x"));
    EXPECT_FALSE(rtf->isPlainTextMemo());
    EXPECT_TRUE(rtf->isEdited());

    const QByteArray oneCharacter = rtfdOf(QStringLiteral("y"));
    const MemoPtr rtfd = MemoCreation::initWithRTFD(oneCharacter);
    ASSERT_TRUE(rtfd);
    EXPECT_EQ(rtfd->title(), untitled());
    EXPECT_EQ(rtfd->plainText(), QStringLiteral("y"));
    EXPECT_EQ(rtfd->memoData(), oneCharacter); // kept as given, not rewritten
    EXPECT_FALSE(rtfd->isPlainTextMemo());

    const MemoPtr twoCharacters = MemoCreation::initWithRTFD(rtfdOf(QStringLiteral("yz\nbody")));
    ASSERT_TRUE(twoCharacters);
    EXPECT_EQ(twoCharacters->title(), QStringLiteral("yz"));
}

TEST_F(MemoCreationTest, unreadableRichTextMakesNoPageAndUsesNoID)
{
    const qint64 before = JWMemo::memo()->memoID();
    EXPECT_FALSE(MemoCreation::initWithRTF(QByteArray("plain words, no RTF")));
    EXPECT_FALSE(MemoCreation::initWithRTF(QByteArray()));
    EXPECT_FALSE(MemoCreation::initWithRTFD(QByteArray("rtfd\0\0\0\0garbage", 15)));
    EXPECT_EQ(JWMemo::memo()->memoID(), before + 1);
}

} // namespace
