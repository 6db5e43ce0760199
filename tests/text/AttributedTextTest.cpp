#include "common/QtPrinters.h"
#include "common/TextFormats.h"
#include "common/TestImages.h"
#include "text/AttributedText.h"

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

} // namespace
