#include "common/QtPrinters.h"
#include "common/TestImages.h"
#include "platform/richtext/TextAttachment.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>
#include <QTextCursor>
#include <QTextDocument>

namespace {

QByteArray pngBytes(int width, int height)
{
    return encodedImage(QSize(width, height), Qt::red);
}

TEST(TextAttachmentTest, attachmentsKeepNameBytesAndPlaceInTextOrder)
{
    QTextDocument document;
    QTextCursor cursor(&document);
    cursor.insertText("before ");
    const QByteArray png = pngBytes(8, 4);
    TextAttachments::insert(cursor, {"Pasted Graphic.png", png, QSizeF(40, 20)});
    cursor.insertText(" middle ");
    const QByteArray pdf("%PDF-1.4 not really");
    TextAttachments::insert(cursor, {"notes.pdf", pdf, {}});

    const auto attachments = TextAttachments::all(document);
    ASSERT_EQ(attachments.size(), 2);
    EXPECT_EQ(attachments[0].first, 7);
    EXPECT_EQ(attachments[0].second.bytes, png);
    EXPECT_EQ(attachments[1].second.bytes, pdf);
    EXPECT_TRUE(attachments[1].second.displaySize.isEmpty());
    EXPECT_EQ(document.toPlainText(), "before \uFFFC middle \uFFFC");

    // Something is shown even for a file that is no picture.
    EXPECT_FALSE(
        document.resource(QTextDocument::ImageResource, QUrl("jw-attachment:notes.pdf")).value<QImage>().isNull());
}

TEST(TextAttachmentTest, aSecondAttachmentOfTheSameNameGetsItsOwnName)
{
    QTextDocument document;
    QTextCursor cursor(&document);
    TextAttachments::insert(cursor, {"Pasted Graphic.tiff", QByteArray("one"), {}});
    TextAttachments::insert(cursor, {"Pasted Graphic.tiff", QByteArray("two"), {}});
    TextAttachments::insert(cursor, {QString(), QByteArray("three"), {}});

    const auto attachments = TextAttachments::all(document);
    ASSERT_EQ(attachments.size(), 3);
    EXPECT_EQ(attachments[1].second.fileName, "Pasted Graphic 2.tiff");
    EXPECT_EQ(attachments[1].second.bytes, QByteArray("two")) << "the first file's bytes are not overwritten";
    EXPECT_EQ(attachments[2].second.fileName, "Attachment");

    // An ordinary image is no attachment.
    QTextImageFormat plain;
    plain.setName("logo.png");
    cursor.insertImage(plain);
    EXPECT_EQ(TextAttachments::all(document).size(), 3);
    EXPECT_FALSE(TextAttachments::fromFormat(document, plain).has_value());
}

} // namespace
