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

TEST_F(MemoCreationTest, textGivesATitledEditedPageAndAOneLineAddressAWebClipThatStartsItsDownload)
{
    MemoPtr started;
    MemoCreation::setWebClipDownloadStarter([&started](const MemoPtr &memo) { started = memo; });
    const QString untitled = localizedString(QStringLiteral("Untitled"));
    const struct
    {
        QString text;
        bool topLineAsTitle;
        QString title; // empty for a web clip
    } cases[] = {
        {QStringLiteral("abcdefghijklmnopqrstu\nsecond line"), false, QStringLiteral("abcdefghijklmno")},
        {QStringLiteral("A first line longer than fifteen\nbody"), true,
            QStringLiteral("A first line longer than fifteen")},
        {QString(), false, untitled},
        {QStringLiteral("https://example.org/a%20b?q=1"), false, {}},
        {QStringLiteral("http://example.org/\nmore"), false, QStringLiteral("http://example.")},
        {QStringLiteral("http://example.org/\rmore"), false, QStringLiteral("http://example.")},
        {QStringLiteral("see http://example.org/"), false, QStringLiteral("see http://exam")},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text.toStdString());
        UserDefaults::standardUserDefaults().setValue(QStringLiteral("UseTopLineAsTitle"), c.topLineAsTitle);
        started.reset();
        const MemoPtr memo = MemoCreation::initWithString(c.text);
        ASSERT_TRUE(memo);
        const bool clip = c.title.isEmpty();
        EXPECT_EQ(memo->webURLStr(), clip ? c.text : QString());
        EXPECT_EQ(started, clip ? memo : nullptr);
        EXPECT_EQ(memo->isEdited(), !clip);
        if (!clip) {
            EXPECT_EQ(memo->title(), c.title);
        }
        if (!clip && !c.text.contains(u'\r')) {
            EXPECT_EQ(memo->plainText(), c.text);
            EXPECT_EQ(textOf(memo->memoData()), c.text);
        }
    }
    // Not an address at all: nothing is made.
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
}

TEST_F(MemoCreationTest, rtfIsTitledFromOneCharacterRtfdFromTwoAndUnreadableTextUsesNoID)
{
    const MemoPtr rtf = MemoCreation::initWithRTF(QByteArray("{\\rtf1\\ansi x}"));
    ASSERT_TRUE(rtf);
    EXPECT_EQ(rtf->title(), QStringLiteral("x"));
    EXPECT_EQ(textOf(rtf->memoData()), QStringLiteral("x"));
    EXPECT_TRUE(rtf->isEdited() && !rtf->isPlainTextMemo());

    const QByteArray oneCharacter = rtfdOf(QStringLiteral("y"));
    const MemoPtr rtfd = MemoCreation::initWithRTFD(oneCharacter);
    ASSERT_TRUE(rtfd);
    EXPECT_EQ(rtfd->title(), localizedString(QStringLiteral("Untitled")));
    EXPECT_EQ(rtfd->plainText(), QStringLiteral("y"));
    EXPECT_EQ(rtfd->memoData(), oneCharacter) << "kept as given, not rewritten";
    EXPECT_EQ(MemoCreation::initWithRTFD(rtfdOf(QStringLiteral("yz\nbody")))->title(), QStringLiteral("yz"));

    const qint64 before = JWMemo::memo()->memoID();
    EXPECT_FALSE(MemoCreation::initWithRTF(QByteArray("plain words, no RTF")));
    EXPECT_FALSE(MemoCreation::initWithRTF(QByteArray()));
    EXPECT_FALSE(MemoCreation::initWithRTFD(QByteArray("rtfd\0\0\0\0garbage", 15)));
    EXPECT_EQ(JWMemo::memo()->memoID(), before + 1);
}

} // namespace
