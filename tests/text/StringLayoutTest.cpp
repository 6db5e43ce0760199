#include "common/QtPrinters.h"
#include "text/StringLayout.h"

#include <gtest/gtest.h>

#include <QFont>
#include <QTextDocument>

namespace {

TEST(StringLayoutTest, lineBreaksStartNewLinesAndTheDocumentWrapsByTheMode)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(14);
    const QSizeF one = StringLayout::sizeForFont(QStringLiteral("wordword"), font);
    const QSizeF two = StringLayout::sizeForFont(QStringLiteral("word\nwordword"), font);
    EXPECT_DOUBLE_EQ(two.width(), one.width()) << "as wide as the longer line";
    EXPECT_GT(two.height(), 1.5 * one.height());

    for (const auto mode : {QTextOption::NoWrap, QTextOption::WrapAnywhere}) {
        const auto document = StringLayout::lineBreakedString(QStringLiteral("a\nb"), mode);
        EXPECT_EQ(document->toPlainText(), QStringLiteral("a\nb"));
        EXPECT_EQ(document->defaultTextOption().wrapMode(), mode);
    }
}

} // namespace
