#include "common/FreshUserTest.h"
#include "windows/FindBar.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QTextEdit>

namespace {

class FindBarTest : public FreshUserTest
{
protected:
    std::pair<int, int> selection() const
    {
        const QTextCursor cursor = view.textCursor();
        return {cursor.selectionStart(), cursor.selectionEnd()};
    }

    QTextEdit view;
    FindBar bar{view};
};

TEST_F(FindBarTest, replaceAllHonoursTheOptionsAndIsOneUndoStep)
{
    const QString original = QStringLiteral("cat Cat catalog cat.\nme@home");
    view.setPlainText(original);
    bar.open(true);
    bar.findField().setText(QStringLiteral("cat"));
    EXPECT_EQ(bar.statusLabel().text(), QStringLiteral("4 matches"));
    bar.wholeWordsBox().setChecked(true);
    EXPECT_EQ(bar.statusLabel().text(), QStringLiteral("3 matches"));
    bar.matchCaseBox().setChecked(true);
    bar.replaceField().setText(QStringLiteral("dog"));
    EXPECT_EQ(bar.replaceAll(), 2);
    EXPECT_EQ(view.toPlainText(), QStringLiteral("dog Cat catalog dog.\nme@home"));
    view.undo();
    EXPECT_EQ(view.toPlainText(), original);

    bar.regularExpressionBox().setChecked(true);
    bar.findField().setText(QStringLiteral("(\\w+)@(\\w+)"));
    bar.replaceField().setText(QStringLiteral("\\2 at \\1"));
    EXPECT_EQ(bar.replaceAll(), 1);
    EXPECT_TRUE(view.toPlainText().endsWith(QStringLiteral("\nhome at me")));
}

TEST_F(FindBarTest, findingWrapsBothWaysAndBadPatternsFindNothing)
{
    view.setPlainText(QStringLiteral("one two one"));
    bar.open(false);
    bar.findField().setText(QStringLiteral("one"));
    ASSERT_TRUE(bar.findNext());
    EXPECT_EQ(selection(), std::make_pair(0, 3));
    ASSERT_TRUE(bar.findNext());
    EXPECT_EQ(selection(), std::make_pair(8, 11));
    ASSERT_TRUE(bar.findNext());
    EXPECT_EQ(selection(), std::make_pair(0, 3)) << "after the last match comes the first";
    ASSERT_TRUE(bar.findPrevious());
    EXPECT_EQ(selection(), std::make_pair(8, 11)) << "before the first comes the last";

    bar.regularExpressionBox().setChecked(true);
    bar.findField().setText(QStringLiteral("(unclosed"));
    EXPECT_FALSE(bar.findNext());
    EXPECT_TRUE(bar.statusLabel().text().startsWith(QStringLiteral("Not a regular expression")));
    EXPECT_EQ(bar.statusLabel().palette().color(QPalette::WindowText), QColor(Qt::red));

    // A pattern that backtracks without end gives up instead of freezing the window.
    view.setPlainText(QString(1 << 20, u'a') + u'b');
    bar.findField().setText(QStringLiteral("(a+)+$"));
    EXPECT_FALSE(bar.findNext());

    QTest::keyClick(&bar.findField(), Qt::Key_Escape);
    EXPECT_TRUE(bar.isHidden());
}

} // namespace
