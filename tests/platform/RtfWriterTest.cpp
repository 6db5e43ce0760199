#include "common/TestDataFiles.h"
#include "common/TestImages.h"
#include "platform/richtext/PointSizes.h"
#include "platform/richtext/RtfReader.h"
#include "platform/richtext/RtfWriter.h"
#include "platform/richtext/TextAttachment.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string kDefaultTabs
    = "\\tx560\\tx1120\\tx1680\\tx2240\\tx2800\\tx3360\\tx3920\\tx4480\\tx5040\\tx5600\\tx6160\\tx6720";
const std::string kPlainPard = "\\pard" + kDefaultTabs + "\\ql\\qnatural\\pardirnatural\\partightenfactor0\n";

// A run in @p family at @p size as the file states it.
QTextCharFormat charFormat(const QString &family = "Helvetica", qreal size = 12)
{
    QTextCharFormat format;
    format.setFontFamilies({family});
    format.setFontPointSize(PointSizes::qtFromStored(size));
    return format;
}

QFont storedFont(const QString &family, qreal size)
{
    QFont font(family);
    font.setPointSizeF(PointSizes::qtFromStored(size));
    return font;
}

// A document whose default font is Helvetica 12, the platform's default.
struct Doc
{
    Doc() { document.setDefaultFont(storedFont("Helvetica", 12)); }

    Doc &add(const QString &text, const QTextCharFormat &format = charFormat())
    {
        cursor.insertText(text, format);
        return *this;
    }

    QTextDocument document;
    QTextCursor cursor{&document};
};

std::string rtfOf(const QTextDocument &document, RtfWriter::Attachments mode = RtfWriter::Attachments::Omit)
{
    return RtfWriter::write(document, mode).toStdString();
}

// Everything after the header and the tables, without the closing brace.
std::string bodyOf(const QTextDocument &document, RtfWriter::Attachments mode = RtfWriter::Attachments::Omit)
{
    const std::string rtf = rtfOf(document, mode);
    const auto start = rtf.find("{\\*\\expandedcolortbl");
    const auto end = rtf.find("}\n", start);
    if (start == std::string::npos || end == std::string::npos || rtf.back() != '}')
        return "malformed: " + rtf;
    return rtf.substr(end + 2, rtf.size() - end - 3);
}

// The text of the first run, after the initial "\f0\fs24 \cf0 ".
std::string textOf(const QString &text)
{
    Doc doc;
    doc.add(text);
    const std::string body = bodyOf(doc.document);
    const std::string prefix = kPlainPard + "\n\\f0\\fs24 \\cf0 ";
    if (body.compare(0, prefix.size(), prefix) != 0)
        return "unexpected: " + body;
    return body.substr(prefix.size());
}

QByteArray pngBytes(int width, int height)
{
    return encodedImage(QSize(width, height), Qt::red);
}

// What the writer promises to keep of a character, with inherited values made explicit.
QString describeCharacter(const QTextDocument &document, const QTextCharFormat &format)
{
    if (format.isImageFormat())
        return "image";
    QString family = format.fontFamilies().toStringList().value(0);
    if (family.isEmpty())
        family = document.defaultFont().family();
    const qreal size = format.fontPointSize() > 0 ? format.fontPointSize() : document.defaultFont().pointSizeF();
    const auto colour = [](const QBrush &brush) {
        return brush.style() == Qt::NoBrush ? "-" : brush.color().name(QColor::HexArgb);
    };
    return QStringLiteral("%1 %2 b%3 i%4 u%5 s%6 fg%7 bg%8 v%9 %10")
        .arg(family)
        .arg(size)
        .arg(format.fontWeight() >= QFont::DemiBold)
        .arg(format.fontItalic())
        .arg(format.fontUnderline())
        .arg(format.fontStrikeOut())
        .arg(colour(format.foreground()), colour(format.background()))
        .arg(int(format.verticalAlignment()))
        .arg(format.isAnchor() ? format.anchorHref() : QString());
}

QString describeParagraph(const QTextBlockFormat &format)
{
    Qt::Alignment alignment = format.alignment() & Qt::AlignHorizontal_Mask;
    if (alignment == Qt::Alignment() || alignment == Qt::AlignLeading)
        alignment = Qt::AlignLeft;
    QList<QTextOption::Tab> stops = format.tabPositions();
    // No stops of its own means the platform's twelve default stops, which is what gets written.
    if (stops.isEmpty()) {
        for (int i = 1; i <= 12; ++i)
            stops.append(QTextOption::Tab(i * 28, QTextOption::LeftTab));
    }
    QString tabs;
    for (const QTextOption::Tab &tab : stops)
        tabs += QStringLiteral("%1/%2 ").arg(tab.position).arg(int(tab.type));
    return QStringLiteral("a%1 l%2 r%3 f%4 t%5 b%6 p%7 [%8]")
        .arg(int(alignment))
        .arg(format.leftMargin())
        .arg(format.rightMargin())
        .arg(format.textIndent())
        .arg(format.topMargin())
        .arg(format.bottomMargin())
        .arg(bool(format.pageBreakPolicy() & QTextFormat::PageBreak_AlwaysBefore))
        .arg(tabs);
}

// The text, then one line per paragraph and per run of equally formatted characters.
QStringList describe(const QTextDocument &document)
{
    QStringList lines{document.toRawText()};
    QString previous;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        lines.append(QStringLiteral("paragraph %1").arg(describeParagraph(block.blockFormat())));
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QString run = describeCharacter(document, it.fragment().charFormat());
            if (run != previous)
                lines.append(QStringLiteral("at %1: %2").arg(it.fragment().position()).arg(run));
            previous = run;
        }
    }
    return lines;
}

// Written with attachments by name into @p read, which finds the original files.
Status writeAndRead(const QTextDocument &document, QTextDocument &read)
{
    const auto attachments = TextAttachments::all(document);
    const auto resolver = [&attachments](const QString &name) -> std::optional<QByteArray> {
        for (const auto &entry : attachments) {
            if (entry.second.fileName == name)
                return entry.second.bytes;
        }
        return std::nullopt;
    };
    return RtfReader::read(RtfWriter::write(document, RtfWriter::Attachments::NeXTGraphic), read, resolver);
}

// Read back, a written document shows the same text and formatting.
QStringList roundTrip(const QTextDocument &document)
{
    QTextDocument read;
    const Status status = writeAndRead(document, read);
    return status ? describe(read) : QStringList{status.errorMessage()};
}

TEST(RtfWriterTest, WritesThePlatformsStructureForPlainText)
{
    Doc doc;
    doc.add("Hello");
    EXPECT_EQ(rtfOf(doc.document),
        "{\\rtf1\\ansi\\ansicpg1252\\cocoartf2822\n"
        "\\cocoatextscaling0\\cocoaplatform0{\\fonttbl\\f0\\fswiss\\fcharset0 Helvetica;}\n"
        "{\\colortbl;\\red255\\green255\\blue255;}\n"
        "{\\*\\expandedcolortbl;;}\n"
            + kPlainPard + "\n\\f0\\fs24 \\cf0 Hello}");
    QTextDocument empty;
    EXPECT_EQ(rtfOf(empty),
        "{\\rtf1\\ansi\\ansicpg1252\\cocoartf2822\n"
        "\\cocoatextscaling0\\cocoaplatform0{\\fonttbl}\n"
        "{\\colortbl;\\red255\\green255\\blue255;}\n"
        "{\\*\\expandedcolortbl;;}\n}");
}

TEST(RtfWriterTest, EscapesEveryClassOfCharacter)
{
    EXPECT_EQ(textOf("a\\b{c}d"), "a\\\\b\\{c\\}d");
    EXPECT_EQ(textOf("x\ty"), "x\ty");
    EXPECT_EQ(textOf("caf\u00e9 \u00a0\u00ff"), "caf\\'e9 \\'a0\\'ff");
    // The Windows-1252 letters between 0x80 and 0x9F, not their Latin-1 code points.
    EXPECT_EQ(textOf("\u20ac\u2014\u2019\u0178\u017e"), "\\'80\\'97\\'92\\'9f\\'9e");
    EXPECT_EQ(textOf("\u0081"), "\\uc0\\u129 ");
    EXPECT_EQ(textOf("a\u2028b"), "a\\uc0\\u8232 b");
    EXPECT_EQ(textOf("\u4e2d\u6587!"), "\\uc0\\u20013 \\u25991 !");
    EXPECT_EQ(textOf(QString::fromUtf8("\xf0\x9f\x98\x80")), "\\uc0\\u55357 \\u56832 ");
    EXPECT_EQ(textOf("\u0416\u00e9\u0416"), "\\uc0\\u1046 \\'e9\\uc0\\u1046 ");
}

TEST(RtfWriterTest, WritesOnlyWhatChangesBetweenRuns)
{
    Doc doc;
    QTextCharFormat bold = charFormat();
    bold.setFontWeight(QFont::Bold);
    QTextCharFormat boldItalic = bold;
    boldItalic.setFontItalic(true);
    QTextCharFormat big = charFormat("Menlo-Regular", 18.5);
    QTextCharFormat underlined = charFormat();
    underlined.setFontUnderline(true);
    QTextCharFormat struck = underlined;
    struck.setFontStrikeOut(true);
    QTextCharFormat super = charFormat();
    super.setVerticalAlignment(QTextCharFormat::AlignSuperScript);
    QTextCharFormat sub = charFormat();
    sub.setVerticalAlignment(QTextCharFormat::AlignSubScript);
    doc.add("a").add("b", bold).add("c", boldItalic);
    doc.add("d").add("e", big).add("f");
    doc.add("g", underlined).add("h", struck).add("i");
    doc.add("j", super).add("k", sub).add("l");
    EXPECT_EQ(bodyOf(doc.document),
        kPlainPard
            + "\n\\f0\\fs24 \\cf0 a"
              "\n\\b b"
              "\n\\i c"
              "\n\\b0\\i0 d"
              "\n\\f1\\fs37 e"
              "\n\\f0\\fs24 f"
              "\\ul g"
              "\\strike \\strikec0 h"
              "\\ulnone \\strike0\\striked0 i"
              "\\super j"
              "\\sub k"
              "\\nosupersub l");
    EXPECT_EQ(roundTrip(doc.document), describe(doc.document));
}

TEST(RtfWriterTest, TablesListOnlyWhatTheTextUses)
{
    Doc doc;
    QTextCharFormat red = charFormat("Times-Roman");
    red.setForeground(QColor(255, 0, 0));
    QTextCharFormat white = charFormat();
    white.setForeground(Qt::white);
    QTextCharFormat highlighted = charFormat("Courier");
    highlighted.setForeground(QColor(255, 0, 0));
    highlighted.setBackground(QColor(0, 0, 238));
    doc.add("gone", charFormat("Unused-Font"));
    doc.cursor.select(QTextCursor::Document);
    doc.cursor.removeSelectedText();
    doc.add("r", red).add("w", white).add("h", highlighted);
    doc.add("r", red).add("p");

    const std::string rtf = rtfOf(doc.document);
    EXPECT_NE(rtf.find("{\\fonttbl\\f0\\froman\\fcharset0 Times-Roman;\\f1\\fswiss\\fcharset0 Helvetica;"
                       "\\f2\\fmodern\\fcharset0 Courier;}\n"
                       "{\\colortbl;\\red255\\green255\\blue255;\\red255\\green0\\blue0;\\red0\\green0\\blue238;}\n"
                       "{\\*\\expandedcolortbl;;\\csgenericrgb\\c100000\\c0\\c0;\\csgenericrgb\\c0\\c0\\c93333;}\n"),
        std::string::npos)
        << rtf;
    EXPECT_EQ(bodyOf(doc.document),
        kPlainPard
            + "\n\\f0\\fs24 \\cf2 r"
              "\n\\f1 \\cf1 w"
              "\n\\f2 \\cf2 \\cb3 h"
              "\n\\f0 \\cb0 r"
              "\n\\f1 \\cf0 p");
    EXPECT_EQ(roundTrip(doc.document), describe(doc.document));
}

TEST(RtfWriterTest, FontNamesAreEscapedInTheTable)
{
    Doc doc;
    doc.add("x", charFormat("Odd;{Name}\u00e9"));
    EXPECT_NE(rtfOf(doc.document).find("\\f0\\fnil\\fcharset0 Odd\\'3b\\{Name\\}\\'e9;}"), std::string::npos);
    // An escaped semicolon is part of the name, not its end.
    EXPECT_EQ(roundTrip(doc.document), describe(doc.document));
}

TEST(RtfWriterTest, MissingFamilyAndSizeComeFromTheDocumentDefault)
{
    QTextDocument document;
    document.setDefaultFont(storedFont("Georgia", 15));
    QTextCursor(&document).insertText("x");
    const std::string rtf = rtfOf(document);
    EXPECT_NE(rtf.find("{\\fonttbl\\f0\\froman\\fcharset0 Georgia;}"), std::string::npos) << rtf;
    EXPECT_NE(rtf.find("\n\\f0\\fs30 \\cf0 x}"), std::string::npos) << rtf;
}

TEST(RtfWriterTest, WritesParagraphAttributesWhenTheyChange)
{
    Doc doc;
    doc.add("plain\nsame\ncentred");
    QTextBlockFormat centred;
    centred.setAlignment(Qt::AlignHCenter);
    doc.cursor.setBlockFormat(centred);
    QTextBlockFormat indented;
    indented.setAlignment(Qt::AlignJustify);
    indented.setLeftMargin(36);
    indented.setTextIndent(-18);
    indented.setRightMargin(10.5);
    indented.setTopMargin(6);
    indented.setBottomMargin(12);
    indented.setTabPositions(
        {QTextOption::Tab(36, QTextOption::LeftTab), QTextOption::Tab(144, QTextOption::RightTab)});
    doc.cursor.insertBlock(indented);
    doc.add("justified");
    QTextBlockFormat right;
    right.setAlignment(Qt::AlignRight);
    right.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
    doc.cursor.insertBlock(right);
    doc.add("right");

    EXPECT_EQ(bodyOf(doc.document),
        kPlainPard
            + "\n\\f0\\fs24 \\cf0 plain\\\nsame\\\n"
              "\\pard"
            + kDefaultTabs
            + "\\qc\\pardirnatural\\partightenfactor0\n\\cf0 centred\\\n"
              "\\pard\\tx720\\tqr\\tx2880\\li720\\fi-360\\ri210\\sb120\\sa240\\qj\\pardirnatural\\partightenfactor0\n"
              "\\cf0 justified\\page\n"
              "\\pard"
            + kDefaultTabs + "\\qr\\pardirnatural\\partightenfactor0\n\\cf0 right");
    EXPECT_EQ(roundTrip(doc.document), describe(doc.document));
}

TEST(RtfWriterTest, EmptyParagraphsKeepTheirFont)
{
    Doc doc;
    doc.add("a\n");
    doc.cursor.setCharFormat(charFormat("Helvetica", 30));
    doc.cursor.setBlockCharFormat(charFormat("Helvetica", 30));
    doc.cursor.insertBlock();
    doc.add("b");
    EXPECT_EQ(bodyOf(doc.document), kPlainPard + "\n\\f0\\fs24 \\cf0 a\\\n\n\\fs60 \\\n\n\\fs24 b");
    EXPECT_EQ(roundTrip(doc.document), describe(doc.document));
}

TEST(RtfWriterTest, LinksBecomeFieldsAndRestoreTheStateAfterThem)
{
    Doc doc;
    QTextCharFormat link = charFormat();
    link.setAnchor(true);
    link.setAnchorHref("https://example.org/a%20b?x={1}");
    QTextCharFormat boldLink = link;
    boldLink.setFontWeight(QFont::Bold);
    QTextCharFormat other = charFormat();
    other.setAnchor(true);
    other.setAnchorHref("Jotwell3://pageid/12/");
    doc.add("see ").add("th", link).add("is", boldLink);
    doc.add(" and ").add("that", other);
    doc.add("\nx", boldLink);

    EXPECT_EQ(bodyOf(doc.document),
        kPlainPard
            + "\n\\f0\\fs24 \\cf0 see "
              "{\\field{\\*\\fldinst{HYPERLINK \"https://example.org/a%20b?x=\\{1\\}\"}}{\\fldrslt th\n\\b is}}"
              " and {\\field{\\*\\fldinst{HYPERLINK \"Jotwell3://pageid/12/\"}}{\\fldrslt that}}\\\n"
              "{\\field{\\*\\fldinst{HYPERLINK \"https://example.org/a%20b?x=\\{1\\}\"}}{\\fldrslt \n\\b x}}");
    EXPECT_EQ(roundTrip(doc.document), describe(doc.document));
}

TEST(RtfWriterTest, AttachmentsAreReferencedOrOmitted)
{
    Doc doc;
    doc.add("a");
    TextAttachments::insert(doc.cursor, {"Pasted Graphic.png", pngBytes(30, 20), {}});
    doc.add("b");
    // An image that is no attachment has no file to name and is dropped.
    QTextImageFormat image;
    image.setName("data:nothing");
    doc.cursor.insertImage(image);
    TextAttachments::insert(doc.cursor, {"Bild \u00e4{1}.png", pngBytes(30, 20), QSizeF(100, 50.5)});
    TextAttachments::insert(doc.cursor, {"notes.pdf", QByteArray("%PDF-1.4 broken"), {}});
    doc.add("c");

    EXPECT_EQ(bodyOf(doc.document, RtfWriter::Attachments::NeXTGraphic),
        kPlainPard
            + "\n\\f0\\fs24 \\cf0 a"
              "{{\\NeXTGraphic Pasted Graphic.png \\width600 \\height400\n}\xac}"
              "b{{\\NeXTGraphic Bild \\'c3\\'a4\\{1\\}.png \\width2000 \\height1010\n}\xac}"
              "{{\\NeXTGraphic notes.pdf \\width0 \\height0\n}\xac}c");
    EXPECT_EQ(bodyOf(doc.document), kPlainPard + "\n\\f0\\fs24 \\cf0 abc");
}

TEST(RtfWriterRoundTripTest, SizesReadFromAFileAreWrittenBackAsTheSameNumbers)
{
    QTextDocument document;
    ASSERT_TRUE(
        RtfReader::read("{\\rtf1{\\fonttbl\\f0\\fswiss Helvetica;}\\f0\\fs25 odd \\fs27 odder \\fs144 huge}", document)
            .ok());
    // Shown smaller than the numbers say, as the file's points were smaller...
    EXPECT_LT(document.begin().begin().fragment().charFormat().fontPointSize(), 12.5);
    // ...and written back unchanged.
    const std::string rtf = rtfOf(document);
    for (const char *size : {"\\fs25 ", "\\fs27 ", "\\fs144 "})
        EXPECT_NE(rtf.find(size), std::string::npos) << size << " in " << rtf;
}

TEST(RtfWriterRoundTripTest, AttachmentsComeBackByName)
{
    Doc doc;
    doc.add("before ");
    TextAttachments::insert(doc.cursor, {"Bild \u00e4.png", pngBytes(30, 20), QSizeF(15, 10)});
    doc.add(" after\n");
    TextAttachments::insert(doc.cursor, {"notes {1}.pdf", QByteArray("%PDF-1.4"), QSizeF(40, 60)});
    // With the files at hand, text, formatting, names, display sizes and bytes all come back.
    EXPECT_EQ(roundTrip(doc.document), describe(doc.document));
    QTextDocument withFiles;
    ASSERT_TRUE(writeAndRead(doc.document, withFiles));
    EXPECT_EQ(TextAttachments::all(withFiles), TextAttachments::all(doc.document));
}

TEST(RtfWriterRoundTripTest, SampleFilesKeepTextAndFormattingThroughWriting)
{
    const QStringList samples = QDir(FreshUserTest::testDataPath("rtf")).entryList({"*.rtf"}, QDir::Files);
    ASSERT_GE(samples.size(), 5);
    for (const QString &name : samples) {
        SCOPED_TRACE(name.toStdString());
        QTextDocument first;
        ASSERT_TRUE(RtfReader::read(readTestData("rtf/" + name), first));
        ASSERT_FALSE(first.isEmpty());
        EXPECT_EQ(roundTrip(first), describe(first));
    }
}

} // namespace
