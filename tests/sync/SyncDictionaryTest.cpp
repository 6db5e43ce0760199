#include "SyncTrees.h"
#include "common/FreshUserTest.h"
#include "common/TestImages.h"

#include "model/MemoTree.h"
#include "platform/richtext/TextAttachment.h"
#include "platform/richtext/TextConverter.h"
#include "sync/SyncDictionary.h"
#include "sync/SyncPayload.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>
#include <QTextCursor>

namespace {

using SyncTrees::page;

class SyncDictionaryTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        tree.setRoot(page(QStringLiteral("root"), 1, 0));
        group = page(QStringLiteral("Group"), 2, 1, tree.root());
        page(QStringLiteral("Plain"), 3, 2, group);
        page(QStringLiteral("Clip"), 4, 3, group)->setWebURLStr(QStringLiteral("https://example.org/"));
        page(QStringLiteral("Deleted"), 6, 5, page(SyncPayload::removedMemoTitle(), 5, 4, group));
    }

    static QVariantMap child(const QVariantMap &dictionary, qsizetype index)
    {
        return dictionary.value(QStringLiteral("children")).toList().value(index).toMap();
    }

    MemoTree tree;
    MemoPtr group;
};

TEST_F(SyncDictionaryTest, SendsTheGroupWithoutRemovedPages)
{
    const auto sent = SyncDictionary(tree, SyncDictionary::Device::iPhone).dictionaryForGroup(QStringLiteral("Group"));
    ASSERT_TRUE(sent);
    ASSERT_EQ(SyncTrees::titles(*sent), (QStringList{"Plain", "Clip"})) << "Removed Memo is never sent";
    const QVariantMap first = child(*sent, 0);
    EXPECT_EQ(first.value(QStringLiteral("memoID")).toLongLong(), 3);
    EXPECT_EQ(first.value(QStringLiteral("plainText")).toString(), QStringLiteral("Plain text"));
    EXPECT_EQ(first.value(QStringLiteral("modifiedAt")).toDateTime(), SyncTrees::day(2));
    EXPECT_FALSE(first.contains(QStringLiteral("imageDataArray")));
    EXPECT_FALSE(first.contains(QStringLiteral("webURLStr")));
    EXPECT_FALSE(child(*sent, 1).contains(QStringLiteral("plainText"))) << "a web clip sends no text";
}

TEST_F(SyncDictionaryTest, PicturesTravelAsJpeg)
{
    TextConverter converter;
    converter.setString(QStringLiteral("Look: "));
    QTextCursor cursor(&converter.document());
    cursor.movePosition(QTextCursor::End);
    QImage translucent(4, 3, QImage::Format_ARGB32);
    translucent.fill(QColor(0, 0, 255, 128));
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    translucent.save(&buffer, "PNG");
    TextAttachments::insert(cursor, {QStringLiteral("a.png"), png, {}});
    TextAttachments::insert(cursor, {QStringLiteral("notes.txt"), QByteArray("no picture"), {}});
    TextAttachments::insert(cursor, {QStringLiteral("b.jpg"), encodedImage({5, 5}, Qt::red, "JPEG"), {}});
    const MemoPtr pictures = page(QStringLiteral("Pictures"), 7, 6, group);
    pictures->setMemoData(converter.RTFDData());
    pictures->setPlainText(converter.plainString());

    const auto sent = SyncDictionary(tree, SyncDictionary::Device::iPad).dictionaryWithMemo(pictures);
    ASSERT_TRUE(sent);
    const QVariantList images = sent->value(QStringLiteral("imageDataArray")).toList();
    ASSERT_EQ(images.size(), 2) << "the attachment that is no picture is skipped";
    for (const QVariant &image : images)
        EXPECT_TRUE(image.toByteArray().startsWith("\xFF\xD8\xFF"));
    // The translucent blue lies on white, not on black.
    const QImage first = QImage::fromData(images.first().toByteArray(), "JPEG");
    ASSERT_FALSE(first.isNull());
    EXPECT_GT(qRed(first.pixel(1, 1)), 90);
    EXPECT_EQ(sent->value(QStringLiteral("plainText")).toString().count(QChar::ObjectReplacementCharacter), 3);
}

} // namespace
