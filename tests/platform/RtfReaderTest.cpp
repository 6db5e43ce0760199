#include "common/TestDataFiles.h"
#include "common/TestImages.h"
#include "common/QtPrinters.h"
#include "platform/richtext/RtfReader.h"
#include "platform/richtext/TextAttachment.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFragment>

namespace {

/** The document's characters as stored, with no-break spaces and line separators kept. */
QString rawText(const QTextDocument &document)
{
    return document.toRawText().replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
}

QString plainText(const QByteArray &rtf, const RtfReader::AttachmentResolver &resolver = {})
{
    QTextDocument document;
    const Status status = RtfReader::read(rtf, document, resolver);
    EXPECT_TRUE(status.ok()) << status.errorMessage().toStdString();
    return rawText(document);
}

/** The character format of the first character of the first occurrence of @p text. */
QTextCharFormat formatOf(const QTextDocument &document, const QString &text)
{
    const QTextCursor found = document.find(text);
    EXPECT_FALSE(found.isNull()) << text.toStdString();
    QTextCursor cursor(const_cast<QTextDocument *>(&document));
    cursor.setPosition(found.selectionStart() + 1);
    return cursor.charFormat();
}

QTextBlockFormat blockOf(const QTextDocument &document, const QString &text)
{
    return document.find(text).block().blockFormat();
}

TEST(RtfReaderTest, rejectsBytesThatAreNoRtfAndLeavesTheDocumentAlone)
{
    QTextDocument document("kept");
    EXPECT_FALSE(RtfReader::read("hello", document).ok());
    EXPECT_FALSE(RtfReader::read({}, document).ok());
    EXPECT_FALSE(RtfReader::read("rtfd\0\0\0\0", document).ok());
    EXPECT_EQ(document.toPlainText(), "kept");
    EXPECT_TRUE(RtfReader::read("\r\n {\\rtf1 x}", document).ok());
    EXPECT_EQ(document.toPlainText(), "x");
}

TEST(RtfReaderTest, tokensSymbolsAndGroups)
{
    // The space after a control word is its delimiter; a second space is text.
    EXPECT_EQ(plainText("{\\rtf1 a\\tab  b\\par c}"), "a\t b\nc");
    EXPECT_EQ(plainText("{\\rtf1 \\{x\\}\\\\y}"), "{x}\\y");
    // Backslash + line feed ends a paragraph; bare line feeds are no text.
    EXPECT_EQ(plainText("{\\rtf1 one\\\ntwo\nthree\r\nfour}"), "one\ntwothreefour");
    EXPECT_EQ(plainText("{\\rtf1 a\\~b\\-c\\_d}"), "a\u00a0bc\u2011d");
    EXPECT_EQ(plainText("{\\rtf1 \\emdash\\endash\\bullet\\lquote\\rquote\\ldblquote\\rdblquote}"),
        "\u2014\u2013\u2022\u2018\u2019\u201c\u201d");
    EXPECT_EQ(plainText("{\\rtf1 a\\line b}"), "a\u2028b");
    // Unknown ignorable destinations vanish with everything in them; unknown words are ignored.
    EXPECT_EQ(plainText("{\\rtf1 a{\\*\\unknown {x}y}b\\foo12 c{\\info{\\title t}}}"), "abc");
    // Text after the document's group is not part of it.
    EXPECT_EQ(plainText("{\\rtf1 in}out"), "in");
    // \* only marks the control word right after it.
    EXPECT_EQ(plainText("{\\rtf1{\\* x\\unknownword y}}"), " xy");

    QTextDocument document;
    ASSERT_TRUE(RtfReader::read("{\\rtf1 \\b bold{\\b0\\i inner}again\\b0 plain", document).ok());
    EXPECT_EQ(document.toPlainText(), "boldinneragainplain");
    EXPECT_TRUE(formatOf(document, "inner").fontItalic() && formatOf(document, "inner").fontWeight() != QFont::Bold);
    EXPECT_TRUE(!formatOf(document, "again").fontItalic() && formatOf(document, "again").fontWeight() == QFont::Bold);
}

TEST(RtfReaderTest, unicodeEscapesAndFallbackCharacters)
{
    // \uc1 is the default: one fallback character, a \'hh escape counting as one.
    EXPECT_EQ(plainText("{\\rtf1 a\\u233?b\\u8364\\'80c}"), "a\u00e9b\u20acc");
    EXPECT_EQ(plainText("{\\rtf1\\uc2 \\u233 xyz}"), "\u00e9z");
    EXPECT_EQ(plainText("{\\rtf1\\uc0 \\u233 xyz}"), "\u00e9xyz");
    // Negative values are the old signed form; surrogate pairs become one character.
    EXPECT_EQ(plainText("{\\rtf1 \\u-3913?}"), QString(QChar(char16_t(61623))));
    const QString emoji = plainText("{\\rtf1\\uc0 \\u55357 \\u56832 !}");
    EXPECT_EQ(emoji, QString::fromUcs4(U"\U0001F600!"));
    // The fallback count belongs to the group that set it.
    EXPECT_EQ(plainText("{\\rtf1{\\uc0 \\u233 x}\\u233 yz}"), "\u00e9x\u00e9z");
    EXPECT_EQ(plainText("{\\rtf1\\uc0\\u8232 }"), QString(QChar::LineSeparator));
}

TEST(RtfReaderTest, codePagesFollowTheDocumentAndTheCurrentFont)
{
    EXPECT_EQ(plainText("{\\rtf1\\ansi\\ansicpg1252 it\\'92s \\'e9}"), "it\u2019s \u00e9");
    EXPECT_EQ(plainText("{\\rtf1\\ansi\\ansicpg1251 \\'c0\\'e1}"), "\u0410\u0431");
    EXPECT_EQ(plainText("{\\rtf1\\mac \\'8e}"), "\u00e9");
    // Japanese in a charset-128 font: Shift-JIS pairs, decoded as pairs.
    EXPECT_EQ(plainText("{\\rtf1\\ansi\\ansicpg1252{\\fonttbl\\f0\\fnil\\fcharset0 Helvetica;"
                        "\\f1\\fnil\\fcharset128 HiraKakuProN-W3;}\\f1 \\'82\\'a0\\'82\\'a2\\f0 \\'e9}"),
        "\u3042\u3044\u00e9");
    EXPECT_EQ(
        plainText("{\\rtf1\\ansi\\ansicpg936{\\fonttbl\\f0\\fnil\\fcharset134 STSongti;}\\f0 \\'d3\\'a1}"), "\u5370");
    // A code page nobody knows still yields one character per byte.
    EXPECT_EQ(plainText("{\\rtf1\\ansicpg99999 a\\'e9}").size(), 2);
}

// What the writer itself writes is read back by its round-trip tests; these are the words only other programs use.
TEST(RtfReaderTest, characterFormatsOfOtherWriters)
{
    QTextDocument document;
    ASSERT_TRUE(RtfReader::read("{\\rtf1{\\colortbl;\\red255\\green0\\blue0;\\red0\\green0\\blue255;}"
                                "\\fs24 \\cf1\\cb2\\ul\\strike styled \\plain plain \\uldb dbl\\ul0  "
                                "\\fs20\\fsmilli10250 milli \\up6 up\\up0 {\\highlight1 marked}}",
        document)
                    .ok());
    // Sizes are scaled from the file's 72 points per inch to Qt's 96: \fs24 is 9 Qt points.
    EXPECT_EQ(formatOf(document, "styled").fontPointSize(), 9.0);
    const QTextCharFormat plain = formatOf(document, "plain");
    EXPECT_FALSE(plain.hasProperty(QTextFormat::ForegroundBrush) || plain.hasProperty(QTextFormat::BackgroundBrush));
    EXPECT_FALSE(plain.fontUnderline() || plain.fontStrikeOut());
    EXPECT_TRUE(formatOf(document, "dbl").fontUnderline());
    EXPECT_FALSE(formatOf(document, "milli").fontUnderline());
    EXPECT_EQ(formatOf(document, "milli").fontPointSize(), 7.6875);
    EXPECT_EQ(formatOf(document, "up").verticalAlignment(), QTextCharFormat::AlignSuperScript);
    EXPECT_EQ(formatOf(document, "marked").background().color(), QColor(255, 0, 0));
}

TEST(RtfReaderTest, lineSpacingAndNaturalAlignment)
{
    QTextDocument document;
    ASSERT_TRUE(
        RtfReader::read("{\\rtf1\\pard\\qr\\tx560\\sl320 fixed\\par\\pard\\qnatural\\sl480\\slmult1 natural}", document)
            .ok());
    const QTextBlockFormat fixed = blockOf(document, "fixed");
    EXPECT_EQ(fixed.lineHeightType(), int(QTextBlockFormat::MinimumHeight));
    EXPECT_EQ(fixed.lineHeight(), 16.0);
    const QTextBlockFormat natural = blockOf(document, "natural");
    EXPECT_EQ(natural.alignment(), Qt::AlignLeft);
    EXPECT_TRUE(natural.tabPositions().isEmpty());
    EXPECT_EQ(natural.lineHeightType(), int(QTextBlockFormat::ProportionalHeight));
    EXPECT_EQ(natural.lineHeight(), 200.0);
}

TEST(RtfReaderTest, fieldsKeepTheirResultAndLinksTheirTargetAsWritten)
{
    QTextDocument document;
    ASSERT_TRUE(RtfReader::read("{\\rtf1 see {\\field{\\*\\fldinst{HYPERLINK \"Jotwell3://pageid/12/%20x\"}}"
                                "{\\fldrslt \\ul Bud{\\plain get}}} and {\\field{\\*\\fldinst PAGE}{\\fldrslt 7}} end}",
        document)
                    .ok());
    EXPECT_EQ(document.toPlainText(), "see Budget and 7 end");
    const QTextCharFormat link = formatOf(document, "Budget");
    EXPECT_TRUE(link.isAnchor());
    EXPECT_EQ(link.anchorHref(), "Jotwell3://pageid/12/%20x");
    EXPECT_TRUE(link.fontUnderline());
    EXPECT_EQ(formatOf(document, "get").anchorHref(), link.anchorHref());
    EXPECT_FALSE(formatOf(document, " and").isAnchor());
    EXPECT_FALSE(formatOf(document, "7").isAnchor());
}

TEST(RtfReaderTest, graphicsBecomeAttachmentsResolvedByName)
{
    const QByteArray rtf = "{\\rtf1 a{{\\NeXTGraphic Pasted Graphic.tiff \\width2400 \\height1800\n}\xac}b"
                           "{{\\NeXTGraphic missing.png \\width20 \\height20 \\appleattachmentpadding0\n}\\'ac}c}";
    const QByteArray tiff("II*\0fake", 8);
    QStringList asked;
    const auto resolver = [&](const QString &name) -> std::optional<QByteArray> {
        asked.append(name);
        if (name == "Pasted Graphic.tiff")
            return tiff;
        return std::nullopt;
    };
    QTextDocument document;
    ASSERT_TRUE(RtfReader::read(rtf, document, resolver).ok());
    EXPECT_EQ(asked, (QStringList{"Pasted Graphic.tiff", "missing.png"}));
    EXPECT_EQ(document.toPlainText(), "a\ufffcb\ufffcc");
    const auto attachments = TextAttachments::all(document);
    ASSERT_EQ(attachments.size(), 2);
    EXPECT_EQ(attachments[0].first, 1);
    EXPECT_EQ(attachments[0].second, (TextAttachment{"Pasted Graphic.tiff", tiff, QSizeF(120, 90)}));
    EXPECT_EQ(attachments[1].second, (TextAttachment{"missing.png", {}, QSizeF(1, 1)}));

    // Without a resolver the attachment keeps its name and place.
    QTextDocument unresolved;
    ASSERT_TRUE(RtfReader::read(rtf, unresolved).ok());
    ASSERT_EQ(TextAttachments::all(unresolved).size(), 2);
    EXPECT_EQ(TextAttachments::all(unresolved)[0].second.fileName, "Pasted Graphic.tiff");
}

TEST(RtfReaderTest, pngAndJpegPicturesBecomeAttachmentsOthersAreSkipped)
{
    const QByteArray png = encodedImage(QSize(4, 2), Qt::blue);
    const QByteArray rtf = "{\\rtf1 x{\\*\\shppict{\\pict\\pngblip\\picwgoal400\\pichgoal200\n" + png.toHex()
        + "}}{\\nonshppict{\\pict\\wmetafile8 0102}}y{\\pict\\jpegblip\\bin4 \xff\xd8\xff\xd9}"
        + "{\\pict\\emfblip 0102}z}";
    QTextDocument document;
    ASSERT_TRUE(RtfReader::read(rtf, document).ok());
    EXPECT_EQ(document.toPlainText(), "x\ufffcy\ufffcz");
    const auto attachments = TextAttachments::all(document);
    ASSERT_EQ(attachments.size(), 2);
    EXPECT_EQ(attachments[0].second, (TextAttachment{"Picture 1.png", png, QSizeF(20, 10)}));
    EXPECT_EQ(attachments[1].second.fileName, "Picture 2.jpg");
    EXPECT_EQ(attachments[1].second.bytes, QByteArray("\xff\xd8\xff\xd9"));
}

TEST(RtfReaderTest, tableCellsAreTabSeparatedAndRowsAreParagraphs)
{
    EXPECT_EQ(plainText("{\\rtf1 before\\par\\trowd\\cellx100\\cellx200\\cellx300 "
                        "\\pard\\intbl A1\\cell B1\\cell C1\\cell\\row"
                        "\\trowd\\cellx100\\cellx200\\cellx300 \\pard\\intbl \\cell B2\\cell\\cell\\row"
                        "\\pard after}"),
        "before\nA1\tB1\tC1\n\tB2\nafter");
    // Lists keep their markers as written.
    EXPECT_EQ(plainText("{\\rtf1{\\listtext\\tab \\uc0\\u8226 \\tab}item}"), "\t\u2022\titem");
}

TEST(RtfReaderTest, hostileInputGivesABestEffortDocument)
{
    // Nesting far beyond the cap: the deep part is skipped, without recursion.
    QByteArray deep = "{\\rtf1 top";
    deep += QByteArray(200000, '{') + "hidden" + QByteArray(200000, '}') + "after}";
    EXPECT_EQ(plainText(deep), "topafter");

    QByteArray atCap = "{\\rtf1 ";
    atCap += QByteArray(RtfReader::maxDepth - 2, '{') + "deep" + QByteArray(RtfReader::maxDepth - 2, '}') + "}";
    EXPECT_EQ(plainText(atCap), "deep");

    // Unterminated groups are closed; a picture cut short still arrives as what was read.
    EXPECT_EQ(plainText("{\\rtf1 {\\b open {\\i deeper"), "open deeper");
    QTextDocument cut;
    ASSERT_TRUE(RtfReader::read("{\\rtf1 {\\pict\\pngblip 89504e4", cut).ok());
    ASSERT_EQ(TextAttachments::all(cut).size(), 1);
    EXPECT_EQ(TextAttachments::all(cut)[0].second.bytes, QByteArray("\x89\x50\x4e"));

    // Giant counts are cut to the input; broken escapes and parameters do not derail reading.
    EXPECT_EQ(plainText("{\\rtf1 a\\bin2147483647 xyz}"), "a");
    EXPECT_EQ(plainText("{\\rtf1 a\\bin-5 b}"), "ab");
    EXPECT_EQ(plainText("{\\rtf1 a\\'zzb\\'4}"), "azzb\u0004");
    EXPECT_EQ(plainText("{\\rtf1\\fs99999999999999999999 a\\u99999999999 b\\uc-7 \\u65 c}"), "aAc");
    EXPECT_EQ(plainText("{\\rtf1 \\"), QString());
    QTextDocument big;
    ASSERT_TRUE(RtfReader::read("{\\rtf1\\li999999999\\tx-99999999 \\fs-4 x}", big).ok());
    EXPECT_LE(big.firstBlock().blockFormat().leftMargin(), 20000.0);
}

// A sample file read into @p document, as plain text.
QString load(QTextDocument &document, const char *name)
{
    const Status status = RtfReader::read(readTestData("rtf/" + QLatin1String(name)), document);
    EXPECT_TRUE(status.ok()) << name;
    return document.toPlainText();
}

TEST(RtfReaderDataTest, platformFilesReadWithTheirTextAndFormats)
{
    QTextDocument gbk, scripts, links, sizes, changes;
    EXPECT_EQ(load(gbk, "textedit-gbk-chinese.rtf"),
        "印刷情况反映：\n201-003-00155 (Multiple)\n\n市政府情况反映：\n022-021-00768 (Multiple)");
    EXPECT_EQ(load(scripts, "textedit-superscript-subscript.rtf"), "Normalsupersub and normal once again.");
    EXPECT_EQ(formatOf(scripts, "super").verticalAlignment(), QTextCharFormat::AlignSuperScript);
    EXPECT_EQ(load(links, "textedit-hyperlink.rtf"),
        "macOS text edit hyperlink\n\n\nFirst one is: striprtf.dev (plain)\n\nSecond one is: github (real)");
    EXPECT_EQ(formatOf(links, "github").anchorHref(), "http://github.com/joshy/striprtf");
    EXPECT_TRUE(load(sizes, "cocoa-fonts-bold-italic.rtf")
                    .startsWith("_course_cost_start_\n========== COSTING (56 / 1) (29.78 / 0.53) \n"));
    EXPECT_EQ(formatOf(sizes, "_course").fontPointSize(), 6.75);
    EXPECT_EQ(blockOf(sizes, "_course").tabPositions().size(), 26);
    EXPECT_TRUE(load(changes, "cocoa949-changes.rtf")
                    .startsWith("Version 0.6 2007-12-15\n\nVersion 0.3  2007-09-18\nForking from the Sourceforge"));
    EXPECT_EQ(formatOf(changes, "Version 0.6").fontWeight(), QFont::Bold);
}

TEST(RtfReaderDataTest, tablesListsAndLinksKeepEveryText)
{
    QTextDocument table, intro;
    const QString tableText = load(table, "cocoa-table-pages.rtf");
    EXPECT_TRUE(tableText.contains("Header A\tHeader B\tHeader C\nA1\tB1\tC1\nA2\tB2\tC2\nA3\tB3\tC3\n"))
        << tableText.toStdString();

    load(intro, "cocoa-lists-table-links-intro_en.rtf");
    const QString introText = rawText(intro);
    EXPECT_TRUE(introText.startsWith(
        "OpenThesaurus German Dictionary Plugin\nVersion: 2025.03.24 \u2014 OS X 10.11 to macOS 15"));
    EXPECT_EQ(introText.count(QChar(0x2022)), 17);
    EXPECT_TRUE(introText.contains(QChar::LineSeparator));
}

TEST(RtfReaderDataTest, otherProgramsFilesRead)
{
    QTextDocument colours, calcium, word;
    EXPECT_EQ(load(colours, "wordpad-riched20-colors.rtf"),
        "\nNormal Line 1\nNormal Line 2\nColored Line\nHighlighted Line\nColored & Highlighted Line\n");
    EXPECT_EQ(formatOf(colours, "Colored Line").foreground().color(), QColor(0, 255, 0));
    EXPECT_EQ(formatOf(colours, "Highlighted Line").background().color(), QColor(255, 0, 0));

    // The nested table's cells: name, then the score.
    const QString calciumText = load(calcium, "libreoffice-calcium_score.rtf");
    for (const char *cells : {"RCA\t 0", "LAD/RIVA\t 0", "Gesamt Calcium-Score\t 0"})
        EXPECT_TRUE(calciumText.contains(QLatin1String(cells))) << cells << "\n" << calciumText.toStdString();

    // The file holds its text twice; each picture's metafile fallback is not read.
    const QString wordText = load(word, "word-Example_text.rtf");
    EXPECT_EQ(wordText.count("Another text size"), 2);
    EXPECT_EQ(formatOf(word, "hyperlink").anchorHref(), "https://www.uva.nl/");
    const auto pictures = TextAttachments::all(word);
    ASSERT_EQ(pictures.size(), 2);
    EXPECT_EQ(pictures[0].second.displaySize, QSizeF(40.3, 65.3));
    EXPECT_FALSE(QImage::fromData(pictures[0].second.bytes).isNull());
}

} // namespace
