#include "common/QtPrinters.h"
#include "common/TextFormats.h"
#include "text/TextLinks.h"

#include <gtest/gtest.h>

#include <QFont>
#include <QTextCursor>
#include <QTextDocument>
#include <QUrl>

namespace {

using PageLinks::LinkDescription;

QString hrefAt(const QTextDocument &document, int position)
{
    const QTextCharFormat format = formatOf(document, position);
    return format.isAnchor() ? format.anchorHref() : QString();
}

void expectLinkLook(const QTextCharFormat &format)
{
    EXPECT_TRUE(format.isAnchor());
    EXPECT_EQ(format.foreground().color(), QColor(Qt::blue));
    EXPECT_EQ(format.underlineStyle(), QTextCharFormat::SingleUnderline);
}

void appendLink(QTextDocument &document, const QString &href, const QString &text)
{
    QTextCursor cursor(&document);
    cursor.movePosition(QTextCursor::End);
    QTextCharFormat format;
    format.setAnchor(true);
    format.setAnchorHref(href);
    cursor.insertText(text, format);
    cursor.insertText(QStringLiteral(" "), QTextCharFormat());
}

TEST(TextLinksTest, settingALinkEscapesItWholeAndIsOneUndoStep)
{
    QTextDocument document;
    document.setPlainText(QStringLiteral("see the notes here"));
    TextLinks::setLink(document, {4, 0}, QStringLiteral("https://example.com/"));
    TextLinks::setLink(document, {40, 5}, QStringLiteral("https://example.com/"));
    EXPECT_FALSE(document.isUndoAvailable());

    TextLinks::setLink(document, {4, 9}, QStringLiteral("https://example.com/a b"));
    EXPECT_EQ(hrefAt(document, 4), QStringLiteral("https://example.com/a%20b"));
    expectLinkLook(formatOf(document, 12));
    EXPECT_FALSE(formatOf(document, 3).isAnchor());
    EXPECT_FALSE(formatOf(document, 13).isAnchor());
    document.undo();
    EXPECT_FALSE(formatOf(document, 4).isAnchor());
    EXPECT_FALSE(formatOf(document, 4).hasProperty(QTextFormat::ForegroundBrush));
    EXPECT_FALSE(document.isUndoAvailable());
}

TEST(TextLinksTest, linksThatMakeNoURLRemoveTheLinkInstead)
{
    QTextDocument document;
    document.setPlainText(QStringLiteral("some linked text"));
    for (const QString &bad : {QString(), QStringLiteral("100%")}) {
        TextLinks::setLinkToMemo(document, 7, false, {0, 11});
        ASSERT_EQ(hrefAt(document, 5), QStringLiteral("Jotwell3://pageid/7/"));
        TextLinks::setLink(document, {0, 11}, bad);
        EXPECT_FALSE(formatOf(document, 5).isAnchor()) << bad.toStdString();
        EXPECT_FALSE(formatOf(document, 5).fontUnderline());
    }
    TextLinks::setLinkToMemo(document, 7, false, {0, 11});
    TextLinks::setLink(document, {0, 11}, QUrl());
    EXPECT_FALSE(formatOf(document, 5).isAnchor());
}

TEST(TextLinksTest, removingALinkTakesTheUsersColourAndUnderlineToo)
{
    QTextDocument document;
    QTextCharFormat styled;
    styled.setForeground(Qt::red);
    styled.setFontUnderline(true);
    styled.setFontWeight(QFont::Bold);
    QTextCursor(&document).insertText(QStringLiteral("red and bold"), styled);
    TextLinks::setLink(document, {0, 3}, QStringLiteral("https://example.com/"));
    const QString linked = document.toHtml();

    TextLinks::removeLink(document, {0, 12});
    for (const int position : {1, 8}) {
        const QTextCharFormat format = formatOf(document, position);
        EXPECT_FALSE(format.isAnchor() || format.hasProperty(QTextFormat::AnchorHref));
        EXPECT_FALSE(format.hasProperty(QTextFormat::ForegroundBrush) || format.fontUnderline());
        EXPECT_EQ(format.fontWeight(), QFont::Bold);
    }
    document.undo();
    EXPECT_EQ(document.toHtml(), linked);
}

TEST(TextLinksTest, autoLinksUseTheFirstSelectedLine)
{
    QTextDocument document;
    document.setPlainText(
        QStringLiteral("me@example.com\nhttps://example.com/x\nsecond line\nftp://me@host.example/x"));
    TextLinks::setAutoLink(document, {0, 14});
    EXPECT_EQ(hrefAt(document, 0), QStringLiteral("mailto:me@example.com"));
    // Two lines: the whole selection links to the first line's text.
    TextLinks::setAutoLink(document, {15, 30});
    EXPECT_EQ(hrefAt(document, 40), QStringLiteral("https://example.com/x"));
    expectLinkLook(formatOf(document, 40));
    TextLinks::setAutoLink(document, {49, 23});
    EXPECT_EQ(hrefAt(document, 49), QStringLiteral("ftp://me@host.example/x"));
}

TEST(TextLinksTest, theSelectionDescribesTheLinkAtItsStart)
{
    QTextDocument document;
    document.setPlainText(QStringLiteral("page one and mail"));
    TextLinks::setLinkToMemo(document, 42, true, {0, 8});
    TextLinks::setLink(document, {13, 4}, QStringLiteral("message:%3Cid@example.com%3E"));

    EXPECT_EQ(TextLinks::linkForSelection(document, {5, 10}).value_or(LinkDescription{}).memoID, 42);
    const auto mail = TextLinks::linkForSelection(document, {14, 2});
    ASSERT_TRUE(mail);
    EXPECT_EQ(mail->URLStr, QStringLiteral("message:%3Cid@example.com%3E"));
    EXPECT_FALSE(TextLinks::linkForSelection(document, {3, 0}));
    EXPECT_FALSE(TextLinks::linkForSelection(document, {9, 5}));
}

TEST(TextLinksTest, rewritingPageIDsChangesOnlyTheIDFieldInOneStep)
{
    QTextDocument document;
    appendLink(document, QStringLiteral("Jotwell3://pageid/3/"), QStringLiteral("three"));
    appendLink(document, QStringLiteral("Jotwell3://pageid/12/OpenWithNewWindow"), QStringLiteral("twelve"));
    appendLink(document, QStringLiteral("Jotwell3://pageid/12.0/"), QStringLiteral("decimal"));
    appendLink(document, QStringLiteral("Jotwell3://pageid/8/"), QStringLiteral("unmapped"));
    appendLink(document, QStringLiteral("https://example.com/3/"), QStringLiteral("web"));
    appendLink(document, QStringLiteral("Jotwell3://pageid/abc/"), QStringLiteral("hostile"));
    // One link whose text is split by a change of weight still counts once.
    QTextCursor cursor(&document);
    cursor.setPosition(8);
    cursor.setPosition(10, QTextCursor::KeepAnchor);
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    cursor.mergeCharFormat(bold);

    document.setModified(false);
    const QString before = document.toHtml();
    const int steps = document.availableUndoSteps();
    EXPECT_EQ(TextLinks::connvertLinkIDWithDicitonary(document, {{8, 8}, {99, 1}, {4, 1}}), 0);
    EXPECT_FALSE(document.isModified());
    EXPECT_EQ(document.availableUndoSteps(), steps);

    EXPECT_EQ(TextLinks::connvertLinkIDWithDicitonary(document, {{3, 5}, {12, 7}}), 3);
    EXPECT_TRUE(document.isModified());
    EXPECT_EQ(hrefAt(document, 0), QStringLiteral("Jotwell3://pageid/5/"));
    EXPECT_EQ(hrefAt(document, 6), QStringLiteral("Jotwell3://pageid/7/OpenWithNewWindow"));
    EXPECT_EQ(hrefAt(document, 10), QStringLiteral("Jotwell3://pageid/7/OpenWithNewWindow"));
    EXPECT_EQ(formatOf(document, 8).fontWeight(), QFont::Bold);
    EXPECT_EQ(hrefAt(document, 13), QStringLiteral("Jotwell3://pageid/7/"));
    EXPECT_EQ(hrefAt(document, 21), QStringLiteral("Jotwell3://pageid/8/"));
    EXPECT_EQ(hrefAt(document, 30), QStringLiteral("https://example.com/3/"));
    document.undo();
    EXPECT_EQ(document.toHtml(), before);
}

} // namespace
