#include "OutlineTest.h"
#include "common/TestImages.h"
#include "common/TextFormats.h"
#include "model/JWMemo.h"
#include "model/MemoCreation.h"
#include "platform/base/Localization.h"
#include "platform/richtext/TextAttachment.h"
#include "platform/settings/UserDefaults.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "text/TextExport.h"
#include "windows/LinkPanelController.h"
#include "windows/NoteTextView.h"

#include <QAbstractTextDocumentLayout>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>

namespace {

void selectIn(QTextEdit &view, int anchor, int position)
{
    QTextCursor cursor(view.document());
    cursor.setPosition(anchor);
    cursor.setPosition(position, QTextCursor::KeepAnchor);
    view.setTextCursor(cursor);
}

void setDefaultFont(const QString &family, double storedSize)
{
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFont"), family);
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFontSize"), storedSize);
}

class NoteTextViewTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        Localization::install();
        view = std::make_unique<NoteTextView>();
        view->resize(500, 300);
    }

    void select(int anchor, int position) { selectIn(*view, anchor, position); }
    [[nodiscard]] QTextCharFormat formatAt(int position) const { return formatOf(*view->document(), position); }
    void showView()
    {
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    }

    std::unique_ptr<NoteTextView> view;
};

TEST_F(NoteTextViewTest, theFirstLineIsTheTitle)
{
    view->setPlainText(QStringLiteral("\nsecond"));
    EXPECT_EQ(view->topLine(), QString());
    select(5, 5);
    EXPECT_TRUE(view->editedInTopLine()); // the text starts with its line break

    view->setPlainText(QStringLiteral("Title\nbody text"));
    select(8, 8);
    EXPECT_FALSE(view->editedInTopLine());
    select(6, 6);
    EXPECT_TRUE(view->editedInTopLine()); // just after the first line break

    // A new title replaces the first line; the selection moves with nothing.
    select(8, 10);
    view->changeTitle(QStringLiteral("New"));
    EXPECT_EQ(view->toPlainText(), QStringLiteral("New\nbody text"));
    EXPECT_EQ(view->selectedRange(), (TextRange{8, 2}));

    // Without a line break the whole text is the title.
    view->setPlainText(QStringLiteral("only a title"));
    select(7, 12);
    view->changeTitle(QStringLiteral("short"));
    EXPECT_EQ(view->toPlainText(), QStringLiteral("short"));
    EXPECT_EQ(view->textCursor().position(), 0); // the selection started past the new end
}

TEST_F(NoteTextViewTest, aTitleInsertedOnTopTakesTheDefaultFontWithoutLinks)
{
    setDefaultFont(QStringLiteral("DejaVu Serif"), 17.0);
    view->setHtml(QStringLiteral("<b><a href=\"https://example.org\">linked body</a></b>"));
    view->insertTitleToTop(QStringLiteral("Heading"));

    EXPECT_EQ(view->toPlainText(), QStringLiteral("Heading\nlinked body"));
    const QTextCharFormat title = formatAt(0);
    EXPECT_FALSE(title.isAnchor());
    // 17 stored points are 12.75 of Qt's (72 to the inch against 96).
    EXPECT_EQ(title.fontPointSize(), 12.75);
    EXPECT_NE(title.fontWeight(), QFont::Bold);
    EXPECT_TRUE(view->document()->lastBlock().begin().fragment().charFormat().isAnchor());
    view->document()->undo();
    EXPECT_EQ(view->toPlainText(), QStringLiteral("linked body"));
}

TEST_F(NoteTextViewTest, aClearedTextIsTypedInTheDefaultFontAlone)
{
    setDefaultFont(QStringLiteral("DejaVu Sans"), 13.0);
    view->setHtml(QStringLiteral("<b>bold</b> plain"));
    view->moveCursor(QTextCursor::Start);
    view->clearText();
    QTest::keyClicks(view.get(), QStringLiteral("typed"));
    EXPECT_NE(formatAt(1).fontWeight(), QFont::Bold);
    EXPECT_EQ(formatAt(1).fontPointSize(), 9.75);
}

TEST_F(NoteTextViewTest, countsFollowTheCaretAndTheSelection)
{
    // An empty text is one line; a line break at the end starts another.
    for (const auto &[text, lines] : {std::pair{QString(), 1}, {QStringLiteral("a\n"), 2}}) {
        view->setPlainText(text);
        EXPECT_EQ(view->textSummaryDictionary().value(QStringLiteral("lines")).toLongLong(), lines);
    }

    view->setPlainText(QStringLiteral("one\ntwo three\nfour"));
    select(9, 13);
    EXPECT_EQ(view->textSummaryDictionary().value(QStringLiteral("summary")).toString(),
        QStringLiteral("         Characters: 18\n   Current Position: 9\nSelected Characters: 4\n\n"
                       "       Lines: 3\nCurrent Line: 2\n\n       Words: 4\nSelected Words: 1"));
}

TEST_F(NoteTextViewTest, aClickOnALinkOpensItAndTheHandShowsOverIt)
{
    view->setHtml(QStringLiteral("<p>see <a href=\"Jotwell3://pageid/42/\">the page</a> here</p>"));
    showView();
    QSignalSpy clicked(view.get(), &NoteTextView::clickedOnLink);
    QTextCursor cursor(view->document());
    cursor.setPosition(6);
    const QPoint linkPoint = view->cursorRect(cursor).center();
    cursor.setPosition(1);
    const QPoint plainPoint = view->cursorRect(cursor).center();

    QTest::mouseMove(view->viewport(), linkPoint);
    EXPECT_EQ(view->viewport()->cursor().shape(), Qt::PointingHandCursor);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, linkPoint);
    ASSERT_EQ(clicked.count(), 1);
    EXPECT_EQ(clicked.at(0).at(0).toString(), QStringLiteral("Jotwell3://pageid/42/"));
    QTest::mouseMove(view->viewport(), plainPoint);
    EXPECT_EQ(view->viewport()->cursor().shape(), Qt::IBeamCursor);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, plainPoint);
    EXPECT_EQ(clicked.count(), 1);

    // Dragging across the link selects its text instead of opening it.
    const auto clicks = clicked.count();
    QTest::mousePress(view->viewport(), Qt::LeftButton, {}, linkPoint);
    QTest::mouseMove(view->viewport(), plainPoint);
    QTest::mouseRelease(view->viewport(), Qt::LeftButton, {}, plainPoint);
    EXPECT_EQ(clicked.count(), clicks);
}

TEST_F(NoteTextViewTest, theBackgroundFollowsThePreferenceAndAnUnreadableOneIsWhite)
{
    const auto archived = TypedStreamWriter::archivedDataWithRootObject(
        QVariant::fromValue(ArchivedColor::deviceRGB(1.0f, 1.0f, 0.8f)));
    ASSERT_TRUE(archived.ok());
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("BGColor"), archived.value());
    EXPECT_EQ(view->palette().color(QPalette::Base).rgb(), QColor::fromRgbF(1.0f, 1.0f, 0.8f).rgb());
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("BGColor"), QByteArray("not an archive"));
    EXPECT_EQ(view->palette().color(QPalette::Base), QColor(Qt::white));
}

TEST_F(NoteTextViewTest, widePicturesShrinkToTheViewWithoutChangingTheText)
{
    view->setPlainText(QStringLiteral("before "));
    QTextCursor cursor(view->document());
    cursor.movePosition(QTextCursor::End);
    TextAttachments::insert(cursor, {QStringLiteral("wide.png"), encodedImage({2000, 100}, Qt::red), {}});
    view->document()->clearUndoRedoStacks();
    view->document()->setModified(false);
    showView();
    const auto documentWidth = [&] {
        return view->document()->documentLayout()->documentSize().width();
    };
    EXPECT_GT(documentWidth(), 2000);

    view->setScaleImages(true);
    view->resize(300, 300);
    EXPECT_LE(documentWidth(), view->viewport()->width());
    EXPECT_FALSE(view->document()->isModified());
    EXPECT_FALSE(view->document()->isUndoAvailable());
    const auto attachments = TextAttachments::all(*view->document());
    ASSERT_EQ(attachments.size(), 1);
    EXPECT_TRUE(attachments.front().second.displaySize.isEmpty());
    view->setScaleImages(false);
    EXPECT_GT(documentWidth(), 2000);
}

TEST_F(NoteTextViewTest, aPlainPageTakesOnlyTheWordsOfWhatIsPasted)
{
    const auto copyRich = [] {
        auto *rich = new QMimeData;
        rich->setHtml(QStringLiteral("<b>bold</b> words"));
        rich->setText(QStringLiteral("bold words"));
        QGuiApplication::clipboard()->setMimeData(rich);
    };
    view->setPlainTextMode(true);
    copyRich();
    view->paste();
    EXPECT_EQ(view->toPlainText(), QStringLiteral("bold words"));
    EXPECT_NE(formatAt(1).fontWeight(), QFont::Bold);
    auto *picture = new QMimeData;
    picture->setImageData(QImage(10, 10, QImage::Format_RGB32));
    QGuiApplication::clipboard()->setMimeData(picture);
    EXPECT_FALSE(view->canPaste());
}

TEST_F(NoteTextViewTest, aVeryLongPasteGoesInWholeAndUndoesInOneStep)
{
    view->setPlainText(QStringLiteral("before after"));
    view->setSelectedRange({7, 0});
    showView();
    QString longText;
    for (int i = 0; longText.size() < 1'200'000; ++i)
        longText += QStringLiteral("paragraph %1 of a long pasted text\n").arg(i);
    auto *data = new QMimeData;
    data->setText(longText);
    QGuiApplication::clipboard()->setMimeData(data);

    view->paste();
    EXPECT_EQ(view->string(), QStringLiteral("before ") + longText + QStringLiteral("after"));
    // The view lays the text out and shows where the caret went.
    QTest::qWait(50);
    EXPECT_TRUE(view->viewport()->rect().intersects(view->cursorRect(view->textCursor())));
    view->document()->undo();
    EXPECT_EQ(view->string(), QStringLiteral("before after"));
}

QAction *findAction(const QMenu &menu, const QString &title)
{
    for (QAction *action : menu.actions()) {
        if (action->text() == title || action->objectName() == title)
            return action;
        if (action->menu())
            if (QAction *found = findAction(*action->menu(), title))
                return found;
    }
    return nullptr;
}

TEST_F(NoteTextViewTest, theContextMenuOffersLinkAndFormatCommandsForASelection)
{
    view->setHtml(QStringLiteral("<p>plain <a href=\"https://example.org/\" style=\"color:#0000ff\">linked</a></p>"));
    select(1, 1);
    std::unique_ptr<QMenu> menu = view->menuForEvent({5, 5});
    EXPECT_EQ(findAction(*menu, QStringLiteral("Edit Link...")), nullptr);

    select(6, 12);
    menu = view->menuForEvent({5, 5});
    QSignalSpy editLink(view.get(), &NoteTextView::editLinkRequested);
    findAction(*menu, QStringLiteral("Edit Link..."))->trigger();
    EXPECT_EQ(editLink.count(), 1);

    findAction(*menu, QStringLiteral("Remove Link"))->trigger();
    EXPECT_FALSE(formatAt(7).isAnchor());
    view->document()->undo();
    EXPECT_TRUE(formatAt(7).isAnchor());
    findAction(*menu, QStringLiteral("24"))->trigger();
    EXPECT_EQ(formatAt(7).fontPointSize(), 18); // 24 as stored
}

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
        return formatOf(*view.document(), position).fontWeight() == QFont::Bold;
    }

    MemoPtr memo;
};

TEST_F(MemoTextBindingTest, aViewIsFilledFromThePageAndGivesBackOnlyAnEditedText)
{
    NoteTextView view;
    memo->setText(&view);
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

    // Shown again, the selection comes back; typing is taken back.
    memo->setText(&view);
    EXPECT_EQ(view.selectedRange(), (TextRange{5, 3}));
    view.setSelectedRange({0, 0});
    QTest::keyClicks(&view, QStringLiteral("New "));
    memo->resignText(&view);
    EXPECT_EQ(memo->plainText(), QStringLiteral("New Bold heading\nsecond line"));

    // Shown again when asked to, the first line is the title; a selection past the end is dropped.
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("UseTopLineAsTitle"), true);
    memo->setSelectedRange({500, 2});
    memo->setText(&view);
    EXPECT_EQ(memo->title(), QStringLiteral("New Bold heading"));
    EXPECT_EQ(view.selectedRange(), (TextRange{0, 0}));
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
    second.setSelectedRange({0, 0});
    QTest::keyClicks(&second, QStringLiteral(">> "));
    EXPECT_EQ(first->string(), QStringLiteral(">> Bold heading\nsecond line"));
    memo->setScaleImages(true);
    EXPECT_TRUE(first->scaleImages() && second.scaleImages());

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

    // New text for the page reaches every view showing it.
    memo->setText(&third);
    QTextDocument replacement;
    replacement.setPlainText(QStringLiteral("replaced"));
    memo->setMemoData(TextExport::RTFDData(replacement));
    EXPECT_EQ(second.string(), QStringLiteral("replaced"));
    EXPECT_EQ(third.textDocument(), second.textDocument());
}

TEST_F(MemoTextBindingTest, aPlainPageShowsItsPlainText)
{
    memo->setIsPlainTextMemo(true);
    NoteTextView view;
    memo->setText(&view);
    EXPECT_FALSE(view.isRichText());
    EXPECT_EQ(view.string(), QStringLiteral("Bold heading\nsecond line"));
    EXPECT_FALSE(boldAt(view, 2));
}

// The link sheet on "see the page here", "the page" selected, over the outline tests' pages.
class LinkPanelControllerTest : public OutlineTest
{
protected:
    void SetUp() override
    {
        OutlineTest::SetUp();
        plantTree();
        sheetWindow.setCentralWidget(view = new NoteTextView);
        view->setPlainText(QStringLiteral("see the page here"));
        selectIn(*view, 4, 12);
        sheetWindow.show();
    }

    [[nodiscard]] QString linkAt(int position) const { return formatOf(*view->document(), position).anchorHref(); }

    QMainWindow sheetWindow;
    NoteTextView *view = nullptr;
};

TEST_F(LinkPanelControllerTest, aPageLinkIsMadeFromTheIndentedListAndShownAgain)
{
    const QString expected
        = QStringLiteral("Jotwell3://pageid/") + QString::number(a1a->memoID()) + QStringLiteral("/OpenWithNewWindow");
    {
        LinkPanelController sheet(view, root);
        sheet.showWindow();
        EXPECT_EQ(sheet.memoTitleArray(), (QStringList{"A", "  A1", "    A1a", "B", "  B1", "  B2", "C", "D"}));
        sheet.setLinkStyle(LinkPanelController::PageLink);
        sheet.setMemoIndex(2);
        sheet.setOpenInNewWindow(true);
        sheet.done(LinkPanelController::Accepted);
    }
    EXPECT_EQ(linkAt(6), expected);
    EXPECT_EQ(linkAt(2), QString());

    // Opening the sheet on that link shows it as it was made.
    selectIn(*view, 5, 7);
    LinkPanelController again(view, root);
    again.showWindow();
    EXPECT_EQ(again.linkStyle(), LinkPanelController::PageLink);
    EXPECT_EQ(again.memoIndex(), 2);
    EXPECT_TRUE(again.openInNewWindow());

    selectIn(*view, 4, 12);
    again.done(LinkPanelController::RemoveLink);
    EXPECT_EQ(linkAt(6), QString());
}

TEST_F(LinkPanelControllerTest, typedAddressesAndFilesBecomeLinksAndCancelChangesNothing)
{
    LinkPanelController sheet(view, root);
    sheet.showWindow();
    QTest::keyClicks(sheet.findChildren<QLineEdit *>().at(0), QStringLiteral("https://example.org/a b"));
    sheet.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->click();
    EXPECT_EQ(linkAt(6), QStringLiteral("https://example.org/a%20b"));

    LinkPanelController file(view, root);
    file.showWindow();
    EXPECT_EQ(file.urlStr(), QStringLiteral("https://example.org/a%20b"));
    file.setLinkStyle(LinkPanelController::FileLink);
    file.setFilePath(QStringLiteral("/tmp/my notes.txt"));
    file.done(LinkPanelController::Accepted);
    EXPECT_EQ(linkAt(6), QStringLiteral("file:///tmp/my%20notes.txt"));

    LinkPanelController shown(view, root);
    shown.showWindow();
    EXPECT_EQ(shown.linkStyle(), LinkPanelController::FileLink);
    EXPECT_EQ(shown.filePath(), QStringLiteral("/tmp/my notes.txt"));
    shown.setUrlStr(QStringLiteral("https://elsewhere.example/"));
    shown.done(LinkPanelController::Cancelled);
    EXPECT_EQ(linkAt(6), QStringLiteral("file:///tmp/my%20notes.txt"));
}

} // namespace
