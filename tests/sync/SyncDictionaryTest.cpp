#include "SyncTrees.h"
#include "common/FreshUserTest.h"
#include "common/TestImages.h"

#include "model/MemoTree.h"
#include "platform/richtext/TextAttachment.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/FolderPaths.h"
#include "sync/SyncDictionary.h"
#include "sync/SyncPayload.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QImage>
#include <QTextCursor>

namespace {

using SyncTrees::page;

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

class SyncDictionaryTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        tree.setRoot(page(QStringLiteral("root"), 1, 0));
        group = page(QStringLiteral("Group"), 2, 1, tree.root());
        plain = page(QStringLiteral("Plain"), 3, 2, group);
        clip = page(QStringLiteral("Clip"), 4, 3, group);
        clip->setWebURLStr(QStringLiteral("https://example.org/"));
        removed = page(SyncPayload::removedMemoTitle(), 5, 4, group);
        page(QStringLiteral("Deleted"), 6, 5, removed);
        pictures = page(QStringLiteral("Pictures"), 7, 6, plain);

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
        pictures->setMemoData(converter.RTFDData());
        pictures->setPlainText(converter.plainString());
    }

    static QVariantMap child(const QVariantMap &dictionary, qsizetype index)
    {
        return dictionary.value(QStringLiteral("children")).toList().value(index).toMap();
    }

    MemoTree tree;
    MemoPtr group, plain, clip, removed, pictures;
};

TEST_F(SyncDictionaryTest, SendsTheGroupWithoutRemovedPagesAndRoundTrips)
{
    EXPECT_FALSE(SyncDictionary(tree, SyncDictionary::Device::iPhone).dictionaryForGroup(QStringLiteral("None")));
    EXPECT_FALSE(SyncDictionary(tree, SyncDictionary::Device::iPhone).dictionaryForGroup(QString()));
    const auto sent = SyncDictionary(tree, SyncDictionary::Device::iPhone).dictionaryForGroup(QStringLiteral("Group"));
    ASSERT_TRUE(sent);
    ASSERT_EQ(sent->value(QStringLiteral("children")).toList().size(), 2) << "Removed Memo is never sent";
    const QVariantMap first = child(*sent, 0);
    EXPECT_EQ(first.value(QStringLiteral("memoID")).toLongLong(), 3);
    EXPECT_EQ(first.value(QStringLiteral("plainText")).toString(), QStringLiteral("Plain text"));
    EXPECT_EQ(first.value(QStringLiteral("modifiedAt")).toDateTime(), SyncTrees::day(2));
    EXPECT_FALSE(first.contains(QStringLiteral("imageDataArray")));
    EXPECT_FALSE(first.contains(QStringLiteral("webURLStr")));
    EXPECT_FALSE(child(*sent, 1).contains(QStringLiteral("plainText"))) << "a web clip sends no text";

    const auto archive = SyncPayload::encode(*sent);
    ASSERT_TRUE(archive.ok());
    const auto decoded = SyncPayload::decode(archive.value());
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    EXPECT_EQ(decoded.value(), *sent);
}

TEST_F(SyncDictionaryTest, WebArchiveDependsOnTheDevice)
{
    writeFile(webarchivePathForID(4), "desktop archive");
    EXPECT_TRUE(webarchivePathForID(4).endsWith(QStringLiteral("Note Data/4.webarchive")));
    EXPECT_TRUE(mobileWebarchivePathForID(4).endsWith(QStringLiteral("Note Data/4_mobile.webarchive")));
    const auto archiveFor = [this](SyncDictionary::Device device) {
        return SyncDictionary(tree, device).dictionaryWithMemo(clip)->value(QStringLiteral("webArchive")).toByteArray();
    };
    EXPECT_EQ(archiveFor(SyncDictionary::Device::iPhone), QByteArray("desktop archive"));
    writeFile(mobileWebarchivePathForID(4), "mobile archive");
    EXPECT_EQ(archiveFor(SyncDictionary::Device::iPhone), QByteArray("mobile archive"));
    EXPECT_EQ(archiveFor(SyncDictionary::Device::iPad), QByteArray("desktop archive"));
}

TEST_F(SyncDictionaryTest, PicturesTravelAsJpeg)
{
    const auto sent = SyncDictionary(tree, SyncDictionary::Device::iPad).dictionaryWithMemo(pictures);
    ASSERT_TRUE(sent);
    const QVariantList images = sent->value(QStringLiteral("imageDataArray")).toList();
    ASSERT_EQ(images.size(), 2) << "the attachment that is no picture is skipped";
    for (const QVariant &image : images) {
        EXPECT_TRUE(image.toByteArray().startsWith("\xFF\xD8\xFF"));
        EXPECT_FALSE(QImage::fromData(image.toByteArray(), "JPEG").isNull());
    }
    // The translucent blue lies on white, not on black.
    const QImage first = QImage::fromData(images.first().toByteArray(), "JPEG");
    EXPECT_GT(qRed(first.pixel(1, 1)), 90);
    EXPECT_EQ(sent->value(QStringLiteral("plainText")).toString().count(QChar::ObjectReplacementCharacter), 3);
}

} // namespace
