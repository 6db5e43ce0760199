#include "common/FreshUserTest.h"
#include "common/TestImages.h"
#include "common/TextFormats.h"
#include "platform/richtext/TextAttachment.h"
#include "model/JWMemo.h"
#include "text/LinkClick.h"
#include "text/TextExport.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/base/Localization.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "platform/settings/UserDefaults.h"
#include "windows/NoteTextView.h"

#include <QAbstractTextDocumentLayout>
#include <QClipboard>
#include <QGuiApplication>
#include <QMenu>
#include <QScrollBar>
#include <QMimeData>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>

namespace {

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

    void select(int anchor, int position)
    {
        QTextCursor cursor(view->document());
        cursor.setPosition(anchor);
        cursor.setPosition(position, QTextCursor::KeepAnchor);
        view->setTextCursor(cursor);
    }

    [[nodiscard]] QTextCharFormat formatAt(int position) const { return formatOf(*view->document(), position); }

    std::unique_ptr<NoteTextView> view;
};

TEST_F(NoteTextViewTest, theFirstLineIsTheTitle)
{
    view->setPlainText(QStringLiteral("abc"));
    EXPECT_EQ(view->topLine(), QStringLiteral("abc"));
    EXPECT_TRUE(view->editedInTopLine());
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
    EXPECT_EQ(view->textCursor().selectionStart(), 8);
    EXPECT_EQ(view->textCursor().selectionEnd(), 10);

    // Without a line break the whole text is the title.
    view->setPlainText(QStringLiteral("only a title"));
    select(7, 12);
    view->changeTitle(QStringLiteral("short"));
    EXPECT_EQ(view->toPlainText(), QStringLiteral("short"));
    EXPECT_EQ(view->textCursor().position(), 0); // the selection started past the new end

    view->setReadOnly(true);
    view->changeTitle(QStringLiteral("ignored"));
    EXPECT_EQ(view->toPlainText(), QStringLiteral("short"));
}

TEST_F(NoteTextViewTest, aTitleInsertedOnTopTakesTheDefaultFontWithoutLinks)
{
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFont"), QStringLiteral("DejaVu Serif"));
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFontSize"), 17.0);
    view->setHtml(QStringLiteral("<b><a href=\"https://example.org\">linked body</a></b>"));
    view->insertTitleToTop(QStringLiteral("Heading"));

    EXPECT_EQ(view->toPlainText(), QStringLiteral("Heading\nlinked body"));
    const QTextCharFormat title = formatAt(0);
    EXPECT_FALSE(title.isAnchor());
    // 17 stored points are 12.75 of Qt's (72 to the inch against 96).
    EXPECT_EQ(title.fontPointSize(), 12.75);
    EXPECT_NE(title.fontWeight(), QFont::Bold);
    const QTextCharFormat body = view->document()->lastBlock().begin().fragment().charFormat();
    EXPECT_TRUE(body.isAnchor());
    // One undo takes the whole title away again.
    view->document()->undo();
    EXPECT_EQ(view->toPlainText(), QStringLiteral("linked body"));
}

TEST_F(NoteTextViewTest, fontResetsNeedBothDefaultPreferences)
{
    view->setHtml(QStringLiteral("<b>bold</b> plain"));
    view->selectAll();
    view->initializeFont();
    EXPECT_EQ(formatAt(0).fontWeight(), QFont::Bold);

    UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFont"), QStringLiteral("DejaVu Sans"));
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFontSize"), 13.0);
    select(0, 2);
    view->initializeFont();
    const QTextCharFormat reset = formatAt(0);
    EXPECT_NE(reset.fontWeight(), QFont::Bold);
    EXPECT_EQ(reset.fontPointSize(), 9.75);

    view->clearText();
    QTest::keyClicks(view.get(), QStringLiteral("typed"));
    EXPECT_EQ(view->toPlainText(), QStringLiteral("typed"));
    EXPECT_EQ(formatAt(0).fontPointSize(), 9.75);
}

TEST_F(NoteTextViewTest, countsFollowTheCaretAndTheSelection)
{
    view->setPlainText(QStringLiteral("Hello world!"));
    select(5, 5);
    EXPECT_EQ(view->countCharacters(), QStringLiteral("(5)/12"));
    select(6, 9);
    EXPECT_EQ(view->countCharacters(), QStringLiteral("3/12"));
    EXPECT_EQ(view->countWordsStr(), QStringLiteral("1/2"));

    view->setPlainText(QString());
    QVariantMap summary = view->textSummaryDictionary();
    EXPECT_EQ(summary.value(QStringLiteral("lines")).toLongLong(), 1);

    view->setPlainText(QStringLiteral("a\n"));
    summary = view->textSummaryDictionary();
    EXPECT_EQ(summary.value(QStringLiteral("lines")).toLongLong(), 2);

    view->setPlainText(QStringLiteral("one\ntwo three\nfour"));
    select(9, 13);
    summary = view->textSummaryDictionary();
    EXPECT_EQ(summary.value(QStringLiteral("length")).toLongLong(), 18);
    EXPECT_EQ(summary.value(QStringLiteral("location")).toLongLong(), 9);
    EXPECT_EQ(summary.value(QStringLiteral("selectedLength")).toLongLong(), 4);
    EXPECT_EQ(summary.value(QStringLiteral("lines")).toLongLong(), 3);
    EXPECT_EQ(summary.value(QStringLiteral("words")).toLongLong(), 4);
    EXPECT_EQ(summary.value(QStringLiteral("selectedWords")).toLongLong(), 1);
    EXPECT_EQ(summary.value(QStringLiteral("summary")).toString(),
        QStringLiteral("         Characters: 18\n   Current Position: 9\nSelected Characters: 4\n\n"
                       "       Lines: 3\nCurrent Line: 2\n\n       Words: 4\nSelected Words: 1"));
}

TEST_F(NoteTextViewTest, countsOfALongTextWaitForAPauseInTyping)
{
    view->setPlainText(QStringLiteral("x"));
    QSignalSpy changed(view.get(), &NoteTextView::textSummaryChanged);
    QTest::keyClicks(view.get(), QStringLiteral("ab"));
    EXPECT_TRUE(changed.wait(1000));
    changed.clear();

    view->setPlainText(QStringLiteral("many words ").repeated(20'000));
    QTest::qWait(0);
    changed.clear();
    QTest::keyClicks(view.get(), QStringLiteral("abc"));
    QTest::qWait(50);
    EXPECT_EQ(changed.count(), 0); // still typing
    EXPECT_TRUE(changed.wait(2000));
    EXPECT_EQ(changed.count(), 1); // one count for the three keystrokes
}

TEST_F(NoteTextViewTest, aClickOnALinkOpensItAndTheHandShowsOverIt)
{
    view->setHtml(QStringLiteral("<p>see <a href=\"Jotwell3://pageid/42/\">the page</a> here</p>"));
    view->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    QSignalSpy clicked(view.get(), &NoteTextView::clickedOnLink);

    QTextCursor onLink(view->document());
    onLink.setPosition(6);
    const QPoint linkPoint = view->cursorRect(onLink).center();
    QTest::mouseMove(view->viewport(), linkPoint);
    EXPECT_EQ(view->viewport()->cursor().shape(), Qt::PointingHandCursor);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, linkPoint);
    ASSERT_EQ(clicked.count(), 1);
    EXPECT_EQ(clicked.at(0).at(0).toString(), QStringLiteral("Jotwell3://pageid/42/"));

    QTextCursor offLink(view->document());
    offLink.setPosition(1);
    const QPoint plainPoint = view->cursorRect(offLink).center();
    QTest::mouseMove(view->viewport(), plainPoint);
    EXPECT_EQ(view->viewport()->cursor().shape(), Qt::IBeamCursor);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, plainPoint);
    EXPECT_EQ(clicked.count(), 1);

    // With a host, the click shows the page it names; a page that is gone shows nothing.
    struct Host final : LinkClickHost
    {
        MemoPtr page = std::make_shared<JWMemo>();
        MemoPtr noteDataWithID(qint64 id) override { return id == 42 ? page : nullptr; }
        void openWindowAndShowMemo(const MemoPtr &) override { ++newWindows; }
        void showMemoInThisWindow(const MemoPtr &memo) override { shown = memo; }
        bool openUrl(const QUrl &) override { return false; }
        MemoPtr shown;
        int newWindows = 0;
    } host;
    view->setLinkClickHost(&host);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, linkPoint);
    EXPECT_EQ(host.shown, host.page);
    host.shown.reset();
    host.page.reset();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, linkPoint);
    EXPECT_EQ(host.shown, nullptr);
    EXPECT_EQ(host.newWindows, 0);
    const int clicks = int(clicked.count());

    // Dragging across the link selects its text instead of opening it.
    QTest::mousePress(view->viewport(), Qt::LeftButton, {}, linkPoint);
    QTest::mouseMove(view->viewport(), plainPoint);
    QTest::mouseRelease(view->viewport(), Qt::LeftButton, {}, plainPoint);
    EXPECT_EQ(clicked.count(), clicks);
}

TEST_F(NoteTextViewTest, theBackgroundFollowsThePreference)
{
    EXPECT_EQ(view->palette().color(QPalette::Base), QColor(Qt::white));
    const auto archived = TypedStreamWriter::archivedDataWithRootObject(
        QVariant::fromValue(ArchivedColor::deviceRGB(1.0f, 1.0f, 0.8f)));
    ASSERT_TRUE(archived.ok());
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("BGColor"), archived.value());
    EXPECT_EQ(view->palette().color(QPalette::Base).rgb(), QColor::fromRgbF(1.0f, 1.0f, 0.8f).rgb());

    UserDefaults::standardUserDefaults().setValue(QStringLiteral("BGColor"), QByteArray("not an archive"));
    EXPECT_EQ(view->palette().color(QPalette::Base), QColor(Qt::white));
}

TEST_F(NoteTextViewTest, aSecondViewSharesTheFirstOnesTextAndReturnsToItsOwn)
{
    NoteTextView second;
    second.setPlainText(QStringLiteral("second's own"));
    view->setPlainText(QStringLiteral("shared text"));
    second.showDocument(view->textDocument());
    EXPECT_EQ(second.string(), QStringLiteral("shared text"));

    // An edit in either view is the same edit.
    second.setSelectedRange({0, 6});
    QTest::keyClicks(&second, QStringLiteral("common"));
    EXPECT_EQ(view->string(), QStringLiteral("common text"));
    EXPECT_EQ(second.selectedRange(), (TextRange{6, 0}));

    second.showDocument(nullptr);
    EXPECT_EQ(second.string(), QStringLiteral("second's own"));
    EXPECT_EQ(view->string(), QStringLiteral("common text"));
    EXPECT_EQ(second.textDocument(), second.ownDocument());
}

TEST_F(NoteTextViewTest, theVisibleRangeFollowsScrolling)
{
    QStringList lines;
    for (int i = 0; i < 400; ++i)
        lines << QStringLiteral("line %1").arg(i);
    view->setPlainText(lines.join(u'\n'));
    view->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    QTest::qWait(50);
    const TextRange top = view->visibleRange();
    EXPECT_EQ(top.location, 0);
    EXPECT_GT(top.length, 0);

    const int farDown = int(view->string().indexOf(QStringLiteral("line 300")));
    view->scrollRangeToVisible({farDown, 8});
    const TextRange shown = view->visibleRange();
    EXPECT_LE(shown.location, farDown);
    EXPECT_GE(shown.location + shown.length, farDown + 8);
    EXPECT_EQ(view->selectedRange(), (TextRange{0, 0})); // scrolling leaves the caret alone
}

TEST_F(NoteTextViewTest, inHighlightModeAChosenColourBecomesTheBackground)
{
    view->setPlainText(QStringLiteral("some words here"));
    select(5, 10);
    view->changeColor(Qt::blue);
    EXPECT_EQ(formatAt(6).foreground().color(), QColor(Qt::blue));
    EXPECT_EQ(formatAt(6).background().style(), Qt::NoBrush);

    view->setChangingBackgroundColor(true);
    view->changeColor(Qt::yellow);
    EXPECT_EQ(formatAt(6).background().color(), QColor(Qt::yellow));
    EXPECT_EQ(formatAt(6).foreground().color(), QColor(Qt::blue));
}

TEST_F(NoteTextViewTest, theTimeStampIsOneUndoableInsertion)
{
    view->setPlainText(QStringLiteral("Log: "));
    view->moveCursor(QTextCursor::End);
    view->insertTimeStamp();
    const QRegularExpression stamp(QStringLiteral("^Log: \\d{4}-\\d\\d-\\d\\d \\(\\w+\\) \\d\\d:\\d\\d$"));
    EXPECT_TRUE(stamp.match(view->toPlainText()).hasMatch()) << view->toPlainText().toStdString();
    view->document()->undo();
    EXPECT_EQ(view->toPlainText(), QStringLiteral("Log: "));
}

TEST_F(NoteTextViewTest, widePicturesShrinkToTheViewWithoutChangingTheText)
{
    view->setPlainText(QStringLiteral("before "));
    QTextCursor cursor(view->document());
    cursor.movePosition(QTextCursor::End);
    TextAttachments::insert(cursor, {QStringLiteral("wide.png"), encodedImage({2000, 100}, Qt::red), {}});
    view->document()->clearUndoRedoStacks();
    view->document()->setModified(false);
    view->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    const auto documentWidth = [&] {
        return view->document()->documentLayout()->documentSize().width();
    };
    EXPECT_GT(documentWidth(), 2000);

    view->setScaleImages(true);
    EXPECT_LE(documentWidth(), view->viewport()->width());
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
    copyRich();
    view->paste();
    EXPECT_EQ(formatAt(1).fontWeight(), QFont::Bold);

    view->clear();
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

TEST_F(NoteTextViewTest, aPageShownFromRTFDReplacesTheTextAndItsUndoSteps)
{
    QTest::keyClicks(view.get(), QStringLiteral("typed before"));
    ASSERT_TRUE(view->document()->isUndoAvailable());
    QTextDocument page;
    page.setHtml(QStringLiteral("<p><b>Bold</b> and <a href=\"Jotwell3://pageid/7/\">a link</a></p>"));
    ASSERT_TRUE(view->setRTFDData(TextExport::RTFDData(page)).ok());

    EXPECT_EQ(view->toPlainText(), QStringLiteral("Bold and a link"));
    EXPECT_FALSE(view->document()->isUndoAvailable());
    EXPECT_EQ(view->originalStorage(), view->document());
    EXPECT_EQ(formatAt(11).anchorHref(), QStringLiteral("Jotwell3://pageid/7/"));
    // Typing and counting go on in the new text.
    QSignalSpy changed(view.get(), &NoteTextView::textSummaryChanged);
    view->moveCursor(QTextCursor::End);
    QTest::keyClicks(view.get(), QStringLiteral("!"));
    EXPECT_TRUE(changed.wait(1000));
    EXPECT_EQ(view->toPlainText(), QStringLiteral("Bold and a link!"));

    EXPECT_FALSE(view->setRTFDData(QByteArray("neither RTF nor RTFD")).ok());
    EXPECT_EQ(view->toPlainText(), QString());
}

TEST_F(NoteTextViewTest, aVeryLongPasteGoesInWholeAndUndoesInOneStep)
{
    view->setPlainText(QStringLiteral("before after"));
    view->setSelectedRange({7, 0});
    view->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
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
    EXPECT_GT(view->document()->documentLayout()->documentSize().height(), view->viewport()->height());
    EXPECT_GT(view->verticalScrollBar()->value(), 0);
    EXPECT_TRUE(view->viewport()->rect().intersects(view->cursorRect(view->textCursor())));

    view->document()->undo();
    EXPECT_EQ(view->string(), QStringLiteral("before after"));
}

QAction *findAction(const QMenu &menu, const QString &title)
{
    for (QAction *action : menu.actions()) {
        if (action->text() == title)
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
    EXPECT_EQ(findAction(*menu, QStringLiteral("Export Every Attachment...")), nullptr);
    ASSERT_NE(findAction(*menu, QStringLiteral("Scripts")), nullptr);

    select(6, 12);
    menu = view->menuForEvent({5, 5});
    QSignalSpy editLink(view.get(), &NoteTextView::editLinkRequested);
    findAction(*menu, QStringLiteral("Edit Link..."))->trigger();
    EXPECT_EQ(editLink.count(), 1);

    // Our entries come after Qt's Paste, before Delete and Select All.
    const QList<QAction *> actions = menu->actions();
    const auto indexOf = [&](const QString &name) {
        for (qsizetype i = 0; i < actions.size(); ++i)
            if (actions.at(i)->objectName() == name || actions.at(i)->text() == name)
                return i;
        return qsizetype(-1);
    };
    EXPECT_LT(indexOf(QStringLiteral("edit-paste")), indexOf(QStringLiteral("Edit Link...")));
    EXPECT_LT(indexOf(QStringLiteral("Highlight Text...")), indexOf(QStringLiteral("select-all")));

    findAction(*menu, QStringLiteral("Remove Link"))->trigger();
    EXPECT_FALSE(formatAt(7).isAnchor());
    view->document()->undo();
    EXPECT_TRUE(formatAt(7).isAnchor());

    QAction *fontName = findAction(*menu, QStringLiteral("Font Name"));
    ASSERT_NE(fontName, nullptr);
    ASSERT_FALSE(fontName->menu()->actions().isEmpty());
    QAction *family = fontName->menu()->actions().constFirst();
    family->trigger();
    EXPECT_EQ(formatAt(7).font().family(), family->text());
    findAction(*menu, QStringLiteral("24"))->trigger();
    EXPECT_EQ(formatAt(7).fontPointSize(), 18); // 24 as stored
    findAction(*menu, QStringLiteral("Red"))->trigger();
    EXPECT_EQ(formatAt(7).foreground().color(), QColor(Qt::red));
}

} // namespace
