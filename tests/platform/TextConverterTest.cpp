#include "common/FreshUserTest.h"
#include "common/TestImages.h"
#include "platform/richtext/TextAttachment.h"
#include "platform/richtext/TextConverter.h"

#include <QBuffer>
#include <QFile>
#include <QTextBlock>
#include <QTextCursor>

namespace {

QByteArray pngBytes()
{
    return encodedImage(QSize(5, 7), Qt::darkCyan);
}

TEST(TextConverterTest, plainStringsKeepParagraphsAndLineSeparatorsAndGiveTheirTopLine)
{
    TextConverter converter;
    const QString text = "Groceries" + QChar::LineSeparator + "milk\n\neggs";
    converter.setString(text);
    EXPECT_EQ(converter.plainString(), text);
    EXPECT_EQ(converter.topLine(), "Groceries");

    converter.setString("Title\nbody");
    EXPECT_EQ(converter.topLine(), "Title");
}

TEST(TextConverterTest, attachmentsAreObjectCharactersInThePlainStringOnly)
{
    TextConverter converter;
    QTextCursor cursor(&converter.document());
    TextAttachments::insert(cursor, {"Pasted Graphic.png", pngBytes(), {}});
    cursor.insertText("Caption\nMore ");
    TextAttachments::insert(cursor, {"notes.pdf", QByteArray("%PDF-1.4 not really"), {}});

    EXPECT_EQ(converter.plainString(),
        QChar(QChar::ObjectReplacementCharacter) + "Caption\nMore " + QChar(QChar::ObjectReplacementCharacter));
    EXPECT_EQ(converter.string(), "Caption\nMore ");
    EXPECT_EQ(converter.topLine(), "Caption");

    const auto attachments = converter.attachments();
    ASSERT_EQ(attachments.size(), 2);
    EXPECT_EQ(attachments[0].bytes, pngBytes());
    EXPECT_EQ(attachments[0].image.size(), QSize(5, 7));
    EXPECT_EQ(attachments[1].bytes, QByteArray("%PDF-1.4 not really"));
    EXPECT_TRUE(attachments[1].image.isNull());
}

TEST(TextConverterTest, rtfAndRtfdDataRoundTripThroughAFreshConverter)
{
    TextConverter source;
    QTextCursor cursor(&source.document());
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    cursor.insertText("Bold", bold);
    cursor.insertText(" plain ", QTextCharFormat());
    TextAttachments::insert(cursor, {"dot.png", pngBytes(), {}});

    TextConverter rtf;
    ASSERT_TRUE(rtf.setRTFData(source.RTFData()).ok());
    EXPECT_EQ(rtf.plainString(), "Bold plain ") << "plain RTF drops attachments";
    EXPECT_EQ(rtf.document().begin().begin().fragment().charFormat().fontWeight(), QFont::Bold);

    TextConverter rtfd;
    ASSERT_TRUE(rtfd.setRTFDData(source.RTFDData()).ok());
    EXPECT_EQ(rtfd.plainString(), source.plainString());
    ASSERT_EQ(rtfd.attachments().size(), 1);
    EXPECT_EQ(rtfd.attachments()[0].bytes, pngBytes());

    // Old data may hold plain RTF where RTFD is expected.
    ASSERT_TRUE(rtfd.setRTFDData(source.RTFData()).ok());
    EXPECT_EQ(rtfd.string(), "Bold plain ");
}

TEST(TextConverterTest, unreadableDataIsAnErrorAndLeavesNoText)
{
    TextConverter converter;
    converter.setString("old text");
    EXPECT_FALSE(converter.setRTFDData(QByteArray("rtfd\0\0\0\0\3\0\0\0\xff\xff\xff\x7f", 16)).ok());
    EXPECT_EQ(converter.string(), QString());

    converter.setString("old text");
    EXPECT_FALSE(converter.setRTFData("not rtf").ok());
    EXPECT_EQ(converter.string(), QString());

    QFile flat(FreshUserTest::testDataPath("rtfd/flat/km-styledtext-example1.flatrtfd"));
    ASSERT_TRUE(flat.open(QIODevice::ReadOnly));
    ASSERT_TRUE(converter.setRTFDData(flat.readAll()).ok());
    EXPECT_EQ(converter.topLine(), "ExampleRTFText1");
}

} // namespace
