#include "NoteWindowTest.h"
#include "model/JWWindowAttribute.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/settings/UserDefaults.h"
#include "util/GeometryStrings.h"
#include "util/PagePassword.h"
#include "windows/ConfirmPassPanelController.h"
#include "windows/ExportDialog.h"
#include "windows/NoteMainWindow.h"
#include "windows/WindowFrames.h"

#include <QComboBox>
#include <QDockWidget>
#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>

namespace {

using NoteWindowControllerTest = NoteWindowTest;

TEST_F(NoteWindowControllerTest, theWindowRecordIsAppliedOnOpenAndWrittenBackOnClose)
{
    JWWindowAttribute &record = *root->windowAttribute();
    const int screenHeight = QGuiApplication::primaryScreen()->geometry().height();
    const QRect wanted(120, 90, 520, 380);
    record.setWindowFrameStr(GeometryStrings::stringFromRect(WindowFrames::fromScreen(wanted, screenHeight)));
    record.setDrawerEdge(0);
    record.setSelectionID(tuesday->memoID());

    auto window = open(root);
    // The stored frame counts the page handle, which is hidden.
    const QSize shown = wanted.size() - QSize(0, NoteWindowController::kPageHandleHeight);
    EXPECT_EQ(window->mainWindow().size(), shown);
    EXPECT_EQ(window->mainWindow().frameGeometry().topLeft(), wanted.topLeft());
    EXPECT_EQ(window->mainWindow().dockWidgetArea(&window->drawer()), Qt::LeftDockWidgetArea);
    EXPECT_EQ(window->textView()->string(), QStringLiteral("Sun at last"));

    // Moved, its panel taken to the other side and another page shown: all of it is kept.
    window->mainWindow().move(200, 150);
    window->mainWindow().addDockWidget(Qt::RightDockWidgetArea, &window->drawer());
    window->selectMemo(recipes);
    window->performClose();
    EXPECT_EQ(record.selectionID(), recipes->memoID());
    EXPECT_EQ(record.drawerEdge(), 2);
    // The hidden handle's height is stored back with the frame, as it was read.
    EXPECT_EQ(WindowFrames::toScreen(GeometryStrings::rectFromString(record.windowFrameStr()), screenHeight),
        QRect(QPoint(200, 150), wanted.size()));
}

TEST_F(NoteWindowControllerTest, whileTheFirstPageLoadsTheDiskSaysTheWindowIsOpening)
{
    // Read from the disk, as the next start would after a crash at this moment.
    bool markedOnDisk = false;
    auto window = std::make_unique<NoteWindowController>(host);
    QObject::connect(window->textView(), &QTextEdit::textChanged, window.get(), [&] {
        UserDefaults onDisk(UserDefaults::standardUserDefaults().filePath());
        markedOnDisk = markedOnDisk || onDisk.boolForKey(QStringLiteral("OpeningWindowHasProblem"));
    });
    window->setRootMemo(root);
    EXPECT_TRUE(markedOnDisk);
    EXPECT_FALSE(UserDefaults::standardUserDefaults().hasStoredValue(QStringLiteral("OpeningWindowHasProblem")));
}

TEST_F(NoteWindowControllerTest, impossibleFramesOpenOnScreenAtASaneSize)
{
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    for (const QRectF &stored :
        {QRectF(100, 100, 0, -40), QRectF(-9000, 40000, 600, 400), QRectF(1e12, -1e12, 1e12, 1e12)}) {
        SCOPED_TRACE(GeometryStrings::stringFromRect(stored).toStdString());
        root->windowAttribute()->setWindowFrameStr(GeometryStrings::stringFromRect(stored));
        auto window = open(root);
        const QRect shown(window->mainWindow().frameGeometry().topLeft(), window->mainWindow().size());
        EXPECT_TRUE(area.contains(shown));
        EXPECT_GE(shown.width(), 200);
        EXPECT_GE(shown.height(), 150);
        window->performClose();
    }
}

TEST_F(NoteWindowControllerTest, aProtectedPageTheRecordNamesIsAskedForOnlyOnceTheWindowShows)
{
    savePasswordToDefault(QStringLiteral("secret"));
    tuesday->setProtectWithPassword(true);
    // Opened on Diary, Tuesday is named by Diary's own record only.
    root->windowAttribute()->setSelectionID(tuesday->memoID());
    EXPECT_EQ(open(diary)->treeController().passPanelController(), nullptr);

    diary->windowAttribute()->setSelectionID(tuesday->memoID());
    auto named = open(diary, false);
    EXPECT_EQ(named->selectedMemo(), monday);
    EXPECT_EQ(named->treeController().passPanelController(), nullptr);
    EXPECT_NE(named->textView()->string(), QStringLiteral("Sun at last"));
    named->showWindow();
    ASSERT_NE(named->treeController().passPanelController(), nullptr);
    EXPECT_TRUE(named->treeController().passPanelController()->isVisible());
}

TEST_F(NoteWindowControllerTest, editsReachTheirPageOnSelectionChangeAndOnEverySave)
{
    auto window = open(root);
    window->selectMemo(recipes);
    QTest::keyClicks(window->textView(), QStringLiteral("Yeast. "));
    EXPECT_TRUE(window->isEdited());
    EXPECT_TRUE(recipes->isEdited());
    window->selectMemo(ideas);
    EXPECT_TRUE(recipes->plainText().startsWith(QStringLiteral("Yeast. Bread")));

    // A save takes the text of the page still shown and leaves it as it is: typing and Undo go on.
    QTest::keyClicks(window->textView(), QStringLiteral("Kites. "));
    NotificationCenter::defaultCenter().post(NotificationNames::JW3SaveData);
    EXPECT_TRUE(ideas->plainText().startsWith(QStringLiteral("Kites. ")));
    EXPECT_FALSE(window->isEdited());
    EXPECT_TRUE(window->textView()->document()->isUndoAvailable());
    QTest::keyClicks(window->textView(), QStringLiteral("More. "));
    NotificationCenter::defaultCenter().post(NotificationNames::JW3SaveData);
    EXPECT_TRUE(ideas->plainText().startsWith(QStringLiteral("Kites. More. ")));
    EXPECT_EQ(root->windowAttribute()->selectionID(), ideas->memoID());

    // Looking at a page never marks it edited.
    window->selectMemo(monday);
    EXPECT_FALSE(monday->isEdited());
}

TEST_F(NoteWindowControllerTest, theFirstLineAndTheTitleFollowEachOtherWhenAsked)
{
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("UseTopLineAsTitle"), true);
    auto window = open(root);
    window->selectMemo(ideas);
    NoteTextView &text = *window->textView();
    text.moveCursor(QTextCursor::Start);
    QTest::keyClicks(&text, QStringLiteral("Big "));
    EXPECT_EQ(ideas->title(), QStringLiteral("Big A boat made of books"));

    // Renamed in the outline: the first line follows.
    window->treeController().titleEdited(QStringLiteral("Plans"));
    EXPECT_EQ(text.topLine(), QStringLiteral("Plans"));
}

TEST_F(NoteWindowControllerTest, webClipsShowTheirPlaceholderAndUnreadableTextItsNotice)
{
    auto window = open(root);
    const MemoPtr clip = page(root, "Clip", "");
    clip->setWebURLStr(QStringLiteral("https://example.org/article"));
    window->selectMemo(clip);
    auto *placeholder = window->mainWindow().findChild<QLabel *>(QStringLiteral("webClipPlaceholder"));
    ASSERT_TRUE(placeholder && placeholder->isVisible());
    EXPECT_TRUE(placeholder->text().contains(QStringLiteral("https://example.org/article")));

    // Unreadable rich text shows the page's words and is never written over by just looking.
    const MemoPtr broken = page(root, "Broken", "the words survive");
    broken->setMemoData(QByteArrayLiteral("this is not rich text"));
    broken->setIsEdited(false);
    window->selectMemo(broken);
    auto *notice = window->mainWindow().findChild<QLabel *>(QStringLiteral("unreadableTextNotice"));
    ASSERT_TRUE(notice && notice->isVisible());
    EXPECT_FALSE(placeholder->isVisible());
    EXPECT_EQ(window->textView()->string(), QStringLiteral("the words survive"));
    window->selectMemo(ideas);
    EXPECT_FALSE(notice->isVisible());
    EXPECT_EQ(broken->memoData(), QByteArrayLiteral("this is not rich text"));
    EXPECT_FALSE(broken->isEdited());
}

} // namespace

namespace {

// Each selected page gets a sheet of its own in turn, and the format chosen
// decides the written name's extension.
TEST_F(NoteWindowControllerTest, exportAsksForEachSelectedPageInTurn)
{
    QTemporaryDir folder;
    auto window = open(root);
    window->treeController().selectMemos({recipes, ideas});
    window->action(QStringLiteral("exportAction"))->trigger();
    for (const QString &name : {QStringLiteral("Recipes"), QStringLiteral("Ideas")}) {
        ExportDialog *dialog = nullptr;
        ASSERT_TRUE(QTest::qWaitFor([&] {
            dialog = window->mainWindow().findChild<ExportDialog *>();
            return dialog && dialog->isVisible();
        })) << name.toStdString();
        EXPECT_EQ(dialog->windowTitle(), QStringLiteral("Export \"%1\"").arg(name));
        dialog->findChild<QComboBox *>(QStringLiteral("exportFormat"))->setCurrentIndex(7);
        dialog->findChild<QLineEdit *>(QStringLiteral("exportPath"))->setText(folder.filePath(name + ".txt"));
        dialog->accept();
    }
    QFile outline(folder.filePath(QStringLiteral("Recipes.opml")));
    ASSERT_TRUE(outline.open(QIODevice::ReadOnly));
    EXPECT_TRUE(outline.readAll().contains("Bread: flour"));
    EXPECT_TRUE(QFile::exists(folder.filePath(QStringLiteral("Ideas.opml"))));
}

} // namespace
