#include "common/FreshUserTest.h"
#include "model/JWMemo.h"
#include "model/MemoCreation.h"
#include "platform/settings/UserDefaults.h"
#include "text/TextExport.h"
#include "windows/NoteTextView.h"

#include <QTest>
#include <QTextCursor>
#include <QTextDocument>

namespace {

// A page shown in real text views, as a note window shows it.
class MemoTextBindingTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        memo = MemoCreation::initWithString(QStringLiteral("Plain start"));
        QTextDocument rich;
        rich.setHtml(QStringLiteral("<p><b>Bold</b> heading</p><p>second line</p>"));
        memo->setMemoData(TextExport::RTFDData(rich));
        memo->setPlainText(QStringLiteral("Bold heading\nsecond line"));
        memo->setIsEdited(false);
    }

    static bool boldAt(const NoteTextView &view, int position)
    {
        QTextCursor cursor(view.document());
        cursor.setPosition(position);
        return cursor.charFormat().fontWeight() == QFont::Bold;
    }

    MemoPtr memo;
};

TEST_F(MemoTextBindingTest, aViewIsFilledFromThePageAndGivesBackOnlyAnEditedText)
{
    NoteTextView view;
    memo->setText(&view);
    EXPECT_EQ(memo->focusText(), &view);
    EXPECT_EQ(memo->referenceNumber(), 1);
    EXPECT_EQ(view.string(), QStringLiteral("Bold heading\nsecond line"));
    EXPECT_TRUE(boldAt(view, 2));
    EXPECT_FALSE(view.document()->isUndoAvailable());

    // Looking is not editing: the page keeps its bytes and its date.
    const QByteArray stored = memo->memoData();
    const QDateTime modified = memo->modifiedAt();
    view.setSelectedRange({5, 3});
    memo->resignText(&view);
    EXPECT_EQ(memo->focusText(), nullptr);
    EXPECT_EQ(memo->memoData(), stored);
    EXPECT_EQ(memo->modifiedAt(), modified);
    EXPECT_EQ(memo->selectedRange(), (TextRange{5, 3}));

    // Shown again, the selection comes back; typing is taken back.
    memo->setText(&view);
    EXPECT_EQ(view.selectedRange(), (TextRange{5, 3}));
    view.setSelectedRange({0, 0});
    QTest::keyClicks(&view, QStringLiteral("New "));
    memo->resignText(&view);
    EXPECT_EQ(memo->plainText(), QStringLiteral("New Bold heading\nsecond line"));
    NoteTextView check;
    memo->setText(&check);
    EXPECT_EQ(check.string(), QStringLiteral("New Bold heading\nsecond line"));
    EXPECT_TRUE(boldAt(check, 6));
}

TEST_F(MemoTextBindingTest, viewsOnOnePageShareOneTextAndHandOverTheFocus)
{
    auto first = std::make_unique<NoteTextView>();
    NoteTextView second;
    NoteTextView third;
    memo->setText(first.get());
    memo->setText(&second);
    memo->setText(&third);
    EXPECT_EQ(second.textDocument(), first->textDocument());
    EXPECT_EQ(memo->textArray().size(), 2);

    second.setSelectedRange({0, 0});
    QTest::keyClicks(&second, QStringLiteral(">> "));
    EXPECT_EQ(first->string(), QStringLiteral(">> Bold heading\nsecond line"));

    // The focus goes away (its window closes): the next view takes over
    // with the text as edited, and the last one shares with it.
    first.reset();
    EXPECT_EQ(memo->focusText(), &second);
    EXPECT_EQ(second.string(), QStringLiteral(">> Bold heading\nsecond line"));
    EXPECT_EQ(second.textDocument(), second.ownDocument());
    EXPECT_EQ(third.textDocument(), second.textDocument());

    // A view that is not the focus goes back to its own document.
    memo->resignText(&third);
    EXPECT_EQ(third.textDocument(), third.ownDocument());
    EXPECT_TRUE(memo->textArray().isEmpty());

    // New text for the page reaches every view showing it.
    memo->setText(&third);
    QTextDocument replacement;
    replacement.setPlainText(QStringLiteral("replaced"));
    memo->setMemoData(TextExport::RTFDData(replacement));
    EXPECT_EQ(second.string(), QStringLiteral("replaced"));
    EXPECT_EQ(third.string(), QStringLiteral("replaced"));
    EXPECT_EQ(third.textDocument(), second.textDocument());
}

TEST_F(MemoTextBindingTest, plainAndUnreadablePagesShowTheirPlainText)
{
    memo->setIsPlainTextMemo(true);
    NoteTextView view;
    memo->setText(&view);
    EXPECT_FALSE(view.isRichText());
    EXPECT_EQ(view.string(), QStringLiteral("Bold heading\nsecond line"));
    EXPECT_FALSE(boldAt(view, 2));
    memo->resignText(&view);

    // Text that cannot be read shows the plain text, and is not written
    // over unless the user edits it.
    memo->setIsPlainTextMemo(false);
    memo->setMemoData(QByteArray("{\\rtf1 this is cut off"));
    const QByteArray broken = QByteArray("not rich text at all");
    memo->setMemoData(broken);
    memo->setText(&view);
    EXPECT_TRUE(view.isRichText());
    EXPECT_EQ(view.string(), QStringLiteral("Bold heading\nsecond line"));
    memo->resignText(&view);
    EXPECT_EQ(memo->memoData(), broken);
}

TEST_F(MemoTextBindingTest, picturesAreScaledInEveryViewAsThePageSays)
{
    memo->setScaleImages(true);
    NoteTextView first;
    NoteTextView second;
    memo->setText(&first);
    memo->setText(&second);
    EXPECT_TRUE(first.scaleImages());
    EXPECT_TRUE(second.scaleImages());
    memo->setScaleImages(false);
    EXPECT_FALSE(first.scaleImages());
    EXPECT_FALSE(second.scaleImages());
    memo->resignText(&second);
    memo->resignText(&first);
}

TEST_F(MemoTextBindingTest, theTitleFollowsTheFirstLineWhenAsked)
{
    memo->setTitle(QStringLiteral("Old"));
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("UseTopLineAsTitle"), true);
    NoteTextView view;
    memo->setText(&view);
    EXPECT_EQ(memo->title(), QStringLiteral("Bold heading"));

    // A remembered selection past the end of the text is not applied.
    memo->resignText(&view);
    memo->setSelectedRange({500, 2});
    memo->setText(&view);
    EXPECT_EQ(view.selectedRange(), (TextRange{0, 0}));
}

} // namespace
