#include "common/QtPrinters.h"
#include "common/TextFormats.h"
#include "text/TextHighlight.h"
#include "text/TextStyling.h"

#include <gtest/gtest.h>

#include <QFont>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

namespace {

TEST(TextStylingTest, attributesChangeOnlyNonEmptyRangesEachAsOneUndoStep)
{
    QTextDocument document;
    document.setPlainText(QStringLiteral("one two three"));
    ASSERT_FALSE(document.isUndoAvailable());

    EXPECT_FALSE(TextStyling::setAttribute(document, QTextFormat::FontWeight, QFont::Bold, {4, 0}));
    EXPECT_FALSE(TextStyling::setAttribute(document, QTextFormat::FontWeight, QFont::Bold, {50, 3}));
    EXPECT_FALSE(TextStyling::setAttribute(document, 0, QFont::Bold, {0, 3}));
    TextStyling::changeTextColor(document, QColor(), {0, 3});
    EXPECT_FALSE(document.isUndoAvailable());

    EXPECT_TRUE(TextStyling::setAttribute(document, QTextFormat::FontWeight, QFont::Bold, {4, 99}));
    EXPECT_EQ(formatOf(document, 3).fontWeight(), QFont::Normal);
    EXPECT_EQ(formatOf(document, 12).fontWeight(), QFont::Bold);
    TextStyling::changeTextColor(document, Qt::blue, {0, 7});
    // An invalid value removes the property.
    EXPECT_TRUE(TextStyling::setAttribute(document, QTextFormat::ForegroundBrush, QVariant(), {0, 13}));
    EXPECT_FALSE(formatOf(document, 5).hasProperty(QTextFormat::ForegroundBrush));
    document.undo();
    EXPECT_EQ(formatOf(document, 5).foreground().color(), QColor(Qt::blue));
    EXPECT_EQ(formatOf(document, 5).fontWeight(), QFont::Bold);
    document.undo();
    document.undo();
    EXPECT_FALSE(document.isUndoAvailable());
}

TEST(TextStylingTest, fontSizeAndFamilyComeFromTheRangeStart)
{
    QTextDocument document;
    QTextCursor cursor(&document);
    QTextCharFormat start;
    start.setFontFamilies({QStringLiteral("Courier")});
    start.setFontWeight(QFont::Bold);
    start.setFontPointSize(9);
    cursor.insertText(QStringLiteral("abc"), start);
    QTextCharFormat rest;
    rest.setFontFamilies({QStringLiteral("Times")});
    rest.setFontPointSize(30);
    rest.setForeground(Qt::red);
    cursor.insertText(QStringLiteral("def"), rest);

    TextStyling::changeFontSize(document, 20, {1, 4});
    const QTextCharFormat format = formatOf(document, 4);
    EXPECT_EQ(format.fontFamilies().toStringList(), QStringList{QStringLiteral("Courier")});
    EXPECT_EQ(format.fontPointSize(), 20);
    EXPECT_EQ(format.foreground().color(), QColor(Qt::red));
    EXPECT_EQ(formatOf(document, 5).fontPointSize(), 30);

    TextStyling::changeFontSize(document, 0, {0, 6});
    EXPECT_EQ(formatOf(document, 0).fontPointSize(), 9);

    TextStyling::changeTextFont(document, QStringLiteral("Helvetica"), {4, 2});
    EXPECT_EQ(formatOf(document, 5).fontFamilies().toStringList(), QStringList{QStringLiteral("Helvetica")});
    EXPECT_EQ(formatOf(document, 5).fontPointSize(), 20);
}

TEST(TextStylingTest, resettingTheFontStripsAttributesAndOnlyOptionallyTheLink)
{
    QTextDocument document;
    QTextCursor cursor(&document);
    QTextBlockFormat centred;
    centred.setAlignment(Qt::AlignCenter);
    cursor.setBlockFormat(centred);
    QTextCharFormat busy;
    busy.setForeground(Qt::red);
    busy.setBackground(Qt::yellow);
    busy.setFontUnderline(true);
    busy.setFontStrikeOut(true);
    busy.setVerticalAlignment(QTextCharFormat::AlignSuperScript);
    busy.setToolTip(QStringLiteral("tip"));
    busy.setAnchor(true);
    busy.setAnchorHref(QStringLiteral("https://example.org"));
    cursor.insertText(QStringLiteral("link text\nsecond"), busy);
    ASSERT_EQ(document.blockCount(), 2);

    QFont font(QStringLiteral("Courier"));
    font.setPointSize(15);
    TextStyling::initializeFontInRange(document, {2, 4}, font, false);
    QTextCharFormat format = formatOf(document, 3);
    for (const auto property : {QTextFormat::ForegroundBrush, QTextFormat::BackgroundBrush, QTextFormat::TextToolTip,
             QTextFormat::TextVerticalAlignment})
        EXPECT_FALSE(format.hasProperty(property)) << property;
    EXPECT_FALSE(format.fontUnderline());
    EXPECT_TRUE(format.fontStrikeOut());
    EXPECT_EQ(format.anchorHref(), QStringLiteral("https://example.org"));
    EXPECT_EQ(format.fontPointSize(), 15);
    EXPECT_EQ(formatOf(document, 1).foreground().color(), QColor(Qt::red)); // outside the range
    // The first paragraph does not start in the range and keeps its alignment.
    EXPECT_EQ(document.begin().blockFormat().alignment(), Qt::AlignCenter);

    TextStyling::initializeFontInRange(document, {0, 12}, std::nullopt, true);
    EXPECT_FALSE(formatOf(document, 3).isAnchor());
    EXPECT_FALSE(formatOf(document, 11).hasProperty(QTextFormat::ForegroundBrush));
    EXPECT_EQ(formatOf(document, 3).fontPointSize(), 15);
    EXPECT_NE(document.begin().blockFormat().alignment(), Qt::AlignCenter);
    EXPECT_EQ(formatOf(document, 13).foreground().color(), QColor(Qt::red));
    document.undo(); // one step: paragraphs and characters together
    EXPECT_EQ(document.begin().blockFormat().alignment(), Qt::AlignCenter);
    EXPECT_TRUE(formatOf(document, 3).isAnchor());
}

TEST(TextHighlightTest, backgroundIsReadAtTheRangeStartAndSetOrRemovedOverTheRange)
{
    QTextDocument document;
    document.setPlainText(QStringLiteral("marked text"));
    EXPECT_EQ(TextHighlight::backgroundColorForRange(document, {0, 3}), QColor(Qt::white));

    TextHighlight::setBackgroundColor(document, Qt::yellow, {0, 6});
    TextHighlight::setBackgroundColor(document, Qt::green, {2, 0});
    TextHighlight::setBackgroundColor(document, QColor(), {0, 11});
    EXPECT_EQ(TextHighlight::backgroundColorForRange(document, {2, 0}), QColor(Qt::yellow));
    EXPECT_EQ(TextHighlight::backgroundColorForRange(document, {5, 4}), QColor(Qt::yellow));
    EXPECT_EQ(TextHighlight::backgroundColorForRange(document, {6, 4}), QColor(Qt::white));
    EXPECT_EQ(TextHighlight::backgroundColorForRange(document, {99, 1}), QColor(Qt::white));

    TextHighlight::removeBackgroundColorOfRange(document, {3, 0});
    EXPECT_EQ(TextHighlight::backgroundColorForRange(document, {3, 1}), QColor(Qt::yellow));
    TextHighlight::removeBackgroundColorOfRange(document, {3, 20});
    EXPECT_EQ(TextHighlight::backgroundColorForRange(document, {3, 1}), QColor(Qt::white));
    EXPECT_EQ(TextHighlight::backgroundColorForRange(document, {2, 1}), QColor(Qt::yellow));
    document.undo();
    EXPECT_EQ(TextHighlight::backgroundColorForRange(document, {3, 1}), QColor(Qt::yellow));
}

} // namespace
