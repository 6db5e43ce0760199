#include "common/QtPrinters.h"
#include "text/StringLayout.h"

#include <gtest/gtest.h>

#include <QFont>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>

using namespace StringLayout;

namespace {

QFont testFont(int pixelSize)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixelSize);
    return font;
}

TEST(StringLayoutTest, sizeGrowsWithTheTextItsLinesAndTheFont)
{
    const QFont font = testFont(14);
    const QSizeF word = sizeForFont(QStringLiteral("word"), font);
    EXPECT_GT(word.width(), 0);
    EXPECT_GT(word.height(), 0);
    EXPECT_EQ(sizeForFont(QString(), font).width(), 0);

    const QSizeF twice = sizeForFont(QStringLiteral("wordword"), font);
    EXPECT_NEAR(twice.width(), 2 * word.width(), 1.0);
    EXPECT_DOUBLE_EQ(twice.height(), word.height());

    // A line break starts a new line: as wide as the longer line, two lines high.
    const QSizeF twoLines = sizeForFont(QStringLiteral("word\nwordword"), font);
    EXPECT_DOUBLE_EQ(twoLines.width(), twice.width());
    EXPECT_GT(twoLines.height(), 1.5 * word.height());

    const QSizeF larger = sizeForFont(QStringLiteral("word"), testFont(28));
    EXPECT_GT(larger.width(), 1.5 * word.width());
    EXPECT_GT(larger.height(), 1.5 * word.height());
}

TEST(StringLayoutTest, lineBreakModeDecidesHowTheTextWraps)
{
    const QString text = QStringLiteral("alpha beta gamma delta epsilon zeta eta theta\nsecond paragraph");
    const auto lineCount = [](QTextDocument &document) {
        document.setDefaultFont(testFont(14));
        document.setTextWidth(120);
        (void)document.size(); // lays the whole document out
        int lines = 0;
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next())
            lines += block.layout()->lineCount();
        return lines;
    };

    const auto words = lineBreakedString(text, QTextOption::WordWrap);
    ASSERT_TRUE(words);
    EXPECT_EQ(words->toPlainText(), text);
    EXPECT_EQ(words->defaultTextOption().wrapMode(), QTextOption::WordWrap);
    EXPECT_GT(lineCount(*words), 3);

    const auto unwrapped = lineBreakedString(text, QTextOption::NoWrap);
    EXPECT_EQ(lineCount(*unwrapped), 2); // one per paragraph
    EXPECT_GT(unwrapped->idealWidth(), 120);

    // Without spaces, only wrapping anywhere breaks the line.
    const QString oneWord(60, u'x');
    EXPECT_EQ(lineCount(*lineBreakedString(oneWord, QTextOption::WordWrap)), 1);
    EXPECT_GT(lineCount(*lineBreakedString(oneWord, QTextOption::WrapAnywhere)), 1);
}

} // namespace
