#include "common/QtPrinters.h"
#include "text/TextInformation.h"

#include <gtest/gtest.h>

#include <QTextCursor>
#include <QTextDocument>

using namespace TextInformation;

namespace {

TEST(TextInformationTest, linesEndAtEveryKindOfBreakAndAFinalBreakStartsNoLine)
{
    EXPECT_EQ(countLines(QStringLiteral("a\nb")), 2);
    EXPECT_EQ(countLines(QStringLiteral("a\n")), 1);
    EXPECT_EQ(countLines(QString()), 0);
    EXPECT_EQ(countLines(QStringLiteral("\n\n")), 2);
    EXPECT_EQ(countLines(QStringLiteral("a\r\nb\rc")), 3);
    EXPECT_EQ(countLines(QStringLiteral("a\u2028b\u2029c\u0085d")), 4);

    const QString text = QStringLiteral("one\ntwo\nthree");
    EXPECT_EQ(countLinesInRange(text, {5, 0}), 0);
    EXPECT_EQ(countLinesInRange(text, {1, 4}), 2);     // "ne\ntw"
    EXPECT_EQ(countLinesInRange(text, {0, 4}), 1);     // "one\n": its break starts no line
    EXPECT_EQ(countLinesInRange(text, {3, 1}), 1);     // the break alone
    EXPECT_EQ(countLinesInRange(text, {-7, 1000}), 3); // cut to the text
    // A range ending between "\r" and "\n" still holds one line there.
    EXPECT_EQ(countLinesInRange(QStringLiteral("a\r\nb"), {0, 2}), 1);
}

TEST(TextInformationTest, wordsAreDoubleClickStretchesHoldingALetterOrDigit)
{
    EXPECT_EQ(countWords(QStringLiteral("Don't stop: 3.14 is 1,000;5 or x_y __ e.g.")), 9);
    EXPECT_EQ(countWords(QStringLiteral(" -- !! ... \"'\" ")), 0);
    EXPECT_EQ(countWords(QStringLiteral("café naïve\u2029über")), 3);
    // Katakana holds together; kana and ideographs are a word each, the full stop none.
    EXPECT_EQ(countWords(QStringLiteral("カタカナで書く。")), 4);
    EXPECT_EQ(countWords(QStringLiteral("\U0001D49C\U0001D49E and \U0001F600")), 2);

    const QString text = QStringLiteral("hello brave new world");
    EXPECT_EQ(countWordsInRange(text, {2, 0}), 0);
    EXPECT_EQ(countWordsInRange(text, {4, 3}), 2); // "o b": both words it touches
    EXPECT_EQ(countWordsInRange(text, {5, 1}), 0); // the space alone
    EXPECT_EQ(countWordsInRange(text, {5, 8}), 2); // " brave n"
    EXPECT_EQ(countWordsInRange(text, {-3, 6}), 1);
}

TEST(TextInformationTest, documentsCountParagraphsLineSeparatorsAndSelections)
{
    QTextDocument document;
    document.setPlainText(QStringLiteral("first\nsecond\n"));
    QTextCursor cursor(&document);
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(QStringLiteral("third") + QChar::LineSeparator + QStringLiteral("fourth"));
    EXPECT_EQ(countLines(document), 4);
    EXPECT_EQ(countLinesInRange(document, {0, 8}), 2);
    cursor.setPosition(2);
    cursor.setPosition(9, QTextCursor::KeepAnchor);
    EXPECT_EQ(countSelectedLines(cursor), 2);
    EXPECT_EQ(countSelectedLines(QTextCursor()), 0);

    document.setPlainText(QStringLiteral("Two words.\nAnd three more"));
    EXPECT_EQ(countWords(document), 5);
    EXPECT_EQ(countWordsInRange(document, {4, 8}), 2); // "words.\nA"
    cursor.setPosition(11);
    cursor.movePosition(QTextCursor::EndOfWord, QTextCursor::KeepAnchor);
    EXPECT_EQ(countSelectedWords(cursor), 1);
    cursor.clearSelection();
    EXPECT_EQ(countSelectedWords(cursor), 0);
}

} // namespace
