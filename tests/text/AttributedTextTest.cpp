#include "common/QtPrinters.h"
#include "common/TextFormats.h"
#include "common/TestImages.h"
#include "platform/base/Localization.h"
#include "platform/richtext/TextConverter.h"
#include "text/AttributedText.h"
#include "text/LineJoining.h"

#include <gtest/gtest.h>

#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

namespace {

QTextCharFormat bold()
{
    QTextCharFormat format;
    format.setFontWeight(QFont::Bold);
    return format;
}

TEST(AttributedTextTest, attachmentsAreFoundInOrderAndOnlyThoseWithFilesCount)
{
    QTextDocument document;
    QTextCursor cursor(&document);
    cursor.insertText(QStringLiteral("Photo "));
    TextAttachments::insert(cursor, {QStringLiteral("a.png"), encodedImage(QSize(3, 3), Qt::red), {}});
    cursor.insertText(QStringLiteral(" lost "));
    TextAttachments::insert(cursor, {QStringLiteral("missing.pdf"), QByteArray(), {}});
    cursor.insertText(QStringLiteral(" end"));

    const auto names = [&](TextRange range) {
        QStringList list;
        for (const auto &attachment : AttributedText::attachmentsInRange(document, range))
            list << attachment.fileName;
        return list;
    };
    EXPECT_EQ(names({0, 100}), (QStringList{QStringLiteral("a.png"), QStringLiteral("missing.pdf")}));
    EXPECT_EQ(names({7, 100}), QStringList{QStringLiteral("missing.pdf")});
    EXPECT_TRUE(names({6, 0}).isEmpty());
    EXPECT_TRUE(names({0, 6}).isEmpty());
    // Only attachments with a file's bytes count as attachments the text has.
    EXPECT_FALSE(AttributedText::hasAttachmentInRange(document, {7, 100}));
    EXPECT_TRUE(AttributedText::hasAttachmentInRange(document, {6, 1}));
    document.setPlainText(QStringLiteral("no pictures"));
    EXPECT_FALSE(AttributedText::hasAttachment(document));
}

TEST(AttributedTextTest, insertedTextCarriesOnlyItsColourAndOutOfRangeIndexesAreCut)
{
    QTextDocument document;
    QTextCursor cursor(&document);
    cursor.insertText(QStringLiteral("bold"), bold());

    AttributedText::appendString(document, QStringLiteral(" plain"));
    EXPECT_EQ(formatOf(document, 6).fontWeight(), QFont::Normal);
    AttributedText::appendString(document, QStringLiteral(" red"), Qt::red);
    AttributedText::insertString(document, QStringLiteral("> "), QColor(), -5);
    AttributedText::insertString(document, QStringLiteral("!"), 1000);
    EXPECT_EQ(document.toPlainText(), QStringLiteral("> bold plain red!"));
    EXPECT_EQ(formatOf(document, 0).foreground().color(), QColor(Qt::black));
    EXPECT_EQ(formatOf(document, 14).foreground().color(), QColor(Qt::red));
    EXPECT_FALSE(formatOf(document, 16).hasProperty(QTextFormat::ForegroundBrush));
    EXPECT_EQ(formatOf(document, 3).fontWeight(), QFont::Bold);

    // Each insertion is one undo step.
    document.undo();
    EXPECT_EQ(document.toPlainText(), QStringLiteral("> bold plain red"));

    EXPECT_FALSE(AttributedText::insertImage(document, QImage(), 0));
    QImage image(4, 2, QImage::Format_RGB32);
    image.fill(Qt::green);
    ASSERT_TRUE(AttributedText::insertImage(document, image, 2));
    ASSERT_TRUE(AttributedText::insertImage(document, image, 99));
    const auto attachments = AttributedText::attachments(document);
    ASSERT_EQ(attachments.size(), 2);
    EXPECT_EQ(attachments[0].fileName, QStringLiteral("Pasted Graphic.png"));
    EXPECT_EQ(attachments[1].fileName, QStringLiteral("Pasted Graphic 2.png"));
    EXPECT_EQ(QImage::fromData(attachments[0].bytes).size(), QSize(4, 2));
    EXPECT_EQ(document.toRawText().indexOf(QChar::ObjectReplacementCharacter), 2);
}

TEST(AttributedTextTest, replacementTouchesOnlyTheLastOccurrenceAndKeepsItsFormat)
{
    QTextDocument document;
    QTextCursor cursor(&document);
    cursor.insertText(QStringLiteral("a-b"));
    cursor.insertText(QStringLiteral("-"), bold());
    cursor.insertText(QStringLiteral("c\nd\ne"));

    EXPECT_TRUE(AttributedText::replaceStringFrom(document, QStringLiteral("-"), QStringLiteral("++")));
    EXPECT_EQ(document.toPlainText(), QStringLiteral("a-b++c\nd\ne"));
    EXPECT_EQ(formatOf(document, 3).fontWeight(), QFont::Bold);
    EXPECT_EQ(formatOf(document, 1).fontWeight(), QFont::Normal);

    // "\n" is a paragraph break.
    EXPECT_TRUE(AttributedText::replaceStringFrom(document, QStringLiteral("\n"), QStringLiteral(" ")));
    EXPECT_EQ(document.toPlainText(), QStringLiteral("a-b++c\nd e"));
    document.undo();
    EXPECT_EQ(document.toPlainText(), QStringLiteral("a-b++c\nd\ne"));

    EXPECT_FALSE(AttributedText::replaceStringFrom(document, QStringLiteral("zz"), QStringLiteral("y")));
    EXPECT_FALSE(AttributedText::replaceStringFrom(document, QString(), QStringLiteral("y")));
}

TEST(AttributedTextTest, splittingLeavesOutTheLastStretchAndStepsOneCharacter)
{
    const auto texts = [](const QList<QTextDocumentFragment> &fragments) {
        QStringList result;
        for (const auto &fragment : fragments)
            result << fragment.toPlainText();
        return result;
    };
    QTextDocument document;
    QTextCursor cursor(&document);
    cursor.insertText(QStringLiteral("a,"));
    cursor.insertText(QStringLiteral("b"), bold());
    cursor.insertText(QStringLiteral(",c"));

    const auto parts = AttributedText::componentsSeparatedByString(document, QStringLiteral(","));
    EXPECT_EQ(texts(parts), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    QTextDocument second;
    QTextCursor(&second).insertFragment(parts[1]);
    EXPECT_EQ(formatOf(second, 0).fontWeight(), QFont::Bold);

    EXPECT_EQ(texts(AttributedText::componentsSeparatedByString(document, QStringLiteral(";"))),
        QStringList{QStringLiteral("a,b,c")});

    document.setPlainText(QStringLiteral("xabyabz"));
    EXPECT_EQ(texts(AttributedText::componentsSeparatedByString(document, QStringLiteral("ab"))),
        (QStringList{QStringLiteral("x"), QStringLiteral("by")}));
    document.setPlainText(QStringLiteral("one\ntwo\nthree"));
    EXPECT_EQ(texts(AttributedText::componentsSeparatedByString(document, QStringLiteral("\n"))),
        (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
}

class LineJoiningTest : public ::testing::Test
{
protected:
    void SetUp() override { Localization::install(); }

    static QString joined(const QString &text, TextRange range = {})
    {
        QTextDocument document;
        document.setPlainText(text);
        LineJoining::removeUnusedReturnInRange(document, range);
        return document.toPlainText();
    }
};

TEST_F(LineJoiningTest, breaksInsideSentencesGoAndBreaksAfterThemStay)
{
    EXPECT_EQ(joined(QStringLiteral("Hello\nworld.\nNext")), QStringLiteral("Helloworld.\nNext"));
    EXPECT_EQ(joined(QStringLiteral("one\n\ntwo\nthree")), QStringLiteral("one\n\ntwothree"));
    EXPECT_EQ(joined(QStringLiteral("Why?\nBecause")), QStringLiteral("Why?Because"));
    const QString kept = QStringLiteral("Why\uff1f\nSo\uff01\nAnd\u3001\nso!\nEnd");
    EXPECT_EQ(joined(kept), kept);
    EXPECT_EQ(joined(QStringLiteral("\nabc\n")), QStringLiteral("abc"));
    EXPECT_EQ(joined(QStringLiteral("a\n.b")), QStringLiteral("a\n.b")); // the character after keeps it too
    EXPECT_EQ(joined(QStringLiteral("ab") + QChar::LineSeparator + QStringLiteral("cd")), QStringLiteral("abcd"));

    // Only the breaks inside the range.
    EXPECT_EQ(joined(QStringLiteral("a\nb\nc\nd"), {2, 3}), QStringLiteral("a\nbc\nd"));
    EXPECT_EQ(joined(QStringLiteral("a\nb\nc"), {3, 999}), QStringLiteral("a\nbc"));
}

TEST_F(LineJoiningTest, paragraphsReadFromRtfJoinAsOneUndoStep)
{
    TextConverter converter;
    ASSERT_TRUE(converter.setRTFData("{\\rtf1\\ansi {\\b Hello}\\par world.\\par Next\\par line}"));
    QTextDocument &document = converter.document();
    document.setUndoRedoEnabled(true);

    EXPECT_EQ(LineJoining::removeUnusedReturnInRange(document, {}), 2);
    EXPECT_EQ(document.toPlainText(), QStringLiteral("Helloworld.\nNextline"));
    EXPECT_EQ(formatOf(document, 0).fontWeight(), QFont::Bold);
    EXPECT_EQ(formatOf(document, 5).fontWeight(), QFont::Normal);

    document.undo();
    EXPECT_EQ(document.toPlainText(), QStringLiteral("Hello\nworld.\nNext\nline"));
    EXPECT_FALSE(document.isUndoAvailable());
}

} // namespace
