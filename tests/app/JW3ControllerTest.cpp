#include "app/JW3Controller.h"
#include "app/RegisteredDefaults.h"
#include "common/FreshUserTest.h"
#include "exchange/SampleBook.h"
#include "model/MemoCreation.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"
#include "windows/NoteWindow.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSignalSpy>
#include <QUndoStack>

#include <algorithm>
#include <memory>

#include <unistd.h>

namespace {

// A note window without widgets: it records what the controller asks of it
// and lets the test play the window system (coming to the front, closing).
class StandInWindow final : public NoteWindow
{
public:
    [[nodiscard]] MemoPtr rootMemo() const override { return root; }
    void setRootMemo(const MemoPtr &memo) override { root = memo; }
    [[nodiscard]] MemoPtr selectedMemo() const override { return selection; }
    void selectMemo(const MemoPtr &memo) override { selection = memo; }
    void showWindow() override { ++timesShown; }
    void performClose() override
    {
        if (!refusesToClose)
            Q_EMIT willClose();
    }
    [[nodiscard]] bool isEdited() const override { return edited; }
    [[nodiscard]] QUndoStack *undoStack() override { return &stack; }
    void makeIconWindowAtBackground() override { ++iconisedAtBackground; }
    void comeToFront() { Q_EMIT becameKey(); }

    MemoPtr root;
    MemoPtr selection;
    QUndoStack stack;
    int timesShown = 0;
    int iconisedAtBackground = 0;
    bool edited = false;
    bool refusesToClose = false;
};

// The controller with stand-in windows, each of which the test can reach.
class ControllerTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        RegisteredDefaults::registerWith(defaults());
    }

    static UserDefaults &defaults() { return UserDefaults::standardUserDefaults(); }

    std::unique_ptr<JW3Controller> startController()
    {
        windows.clear();
        auto controller = std::make_unique<JW3Controller>([this](NoteTreeHost &) {
            auto window = std::make_unique<StandInWindow>();
            StandInWindow *made = window.get();
            windows.push_back(made);
            QObject::connect(made, &NoteWindow::willClose, [this, made] { closedWindows.push_back(made); });
            return window;
        });
        EXPECT_TRUE(controller->claimDataFolder(dataFolderPath()).ok());
        controller->startUp();
        return controller;
    }

    static MemoPtr addPage(JW3Controller &controller, const QString &text, MemoPtr parent = {})
    {
        MemoPtr page = MemoCreation::initWithString(text);
        EXPECT_TRUE(controller.tree().insertNewMemo(page, parent ? parent : controller.rootMemo(), -1));
        return page;
    }

    QString write(const QString &name, const QByteArray &bytes) const
    {
        const QString path = home() + u'/' + name;
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        return path;
    }

    /** The titles of the top-level pages, the sample page a new notebook starts with left out. */
    static QStringList topLevelTitles(const JW3Controller &controller)
    {
        static const QString sample = SampleBook::read().value()->title();
        QStringList titles;
        for (const MemoPtr &child : controller.rootMemo()->children()) {
            if (child->title() != sample)
                titles << child->title();
        }
        return titles;
    }

    [[nodiscard]] bool wasClosed(const StandInWindow *window) const
    {
        return std::find(closedWindows.begin(), closedWindows.end(), window) != closedWindows.end();
    }

    std::vector<StandInWindow *> windows;       // every window made, open or closed
    std::vector<StandInWindow *> closedWindows; // in the order they closed
};

TEST_F(ControllerTest, startingOnAFreshFolderOpensTheMainWindowAndTheAutoSaveFollowsThePreferences)
{
    auto controller = startController();
    ASSERT_EQ(controller->windowControllers().size(), 1u);
    EXPECT_EQ(controller->frontWindowController()->rootMemo(), controller->rootMemo());
    EXPECT_GE(windows.front()->timesShown, 1);
    EXPECT_TRUE(controller->dataStore().isAutoSaveTimerActive());

    defaults().setValue(QStringLiteral("AutoSavePeriod"), 1);
    EXPECT_EQ(controller->dataStore().autoSaveIntervalMilliseconds(), 60 * 1000);
    defaults().setValue(QStringLiteral("AutoSave"), false);
    EXPECT_FALSE(controller->dataStore().isAutoSaveTimerActive());
}

TEST_F(ControllerTest, theLastWindowClosingQuitsOnlyWhenQuitAppIsOn)
{
    auto controller = startController();
    QSignalSpy terminate(controller.get(), &JW3Controller::terminateRequested);
    NoteWindow *second = controller->openWindowWithMemo(addPage(*controller, QStringLiteral("Second")));
    ASSERT_EQ(controller->frontWindowController(), second);

    // The main window comes to the front, then closes: the other one is left, in front.
    windows.front()->comeToFront();
    EXPECT_EQ(controller->frontWindowController(), windows.front());
    windows.front()->performClose();
    EXPECT_EQ(controller->windowControllers(), std::vector<NoteWindow *>{second});
    EXPECT_EQ(controller->frontWindowController(), second);

    defaults().setValue(QStringLiteral("QuitApp"), false);
    second->performClose();
    EXPECT_TRUE(controller->windowControllers().empty());
    EXPECT_EQ(terminate.count(), 0);

    // Coming back to the front with no window opens the main window again.
    controller->applicationDidBecomeActive();
    ASSERT_EQ(controller->windowControllers().size(), 1u);
    defaults().setValue(QStringLiteral("QuitApp"), true);
    controller->windowControllers().front()->performClose();
    EXPECT_EQ(terminate.count(), 1);
}

TEST_F(ControllerTest, goingToTheBackgroundRunsTheWaitingSaveAndIconisesWhenAsked)
{
    auto controller = startController();
    MemoPtr page = addPage(*controller, QStringLiteral("Typed in"));
    windows.front()->edited = true;
    defaults().setValue(QStringLiteral("IconAtBackGround"), true);

    // With the application in front (as the offscreen platform has it) or not,
    // a timer save either waits or runs; either way nothing is left pending.
    controller->dataStore().saveWithTimer();
    controller->applicationDidResignActive();
    EXPECT_FALSE(controller->dataStore().saveWhenDeactivate());
    EXPECT_EQ(windows.front()->iconisedAtBackground, 1);
    EXPECT_TRUE(QFile::exists(notePathForID(page->memoID())));
}

TEST_F(ControllerTest, windowsReopenOnTheirPagesAtTheNextStart)
{
    qint64 chapterID = 0;
    {
        auto controller = startController();
        MemoPtr chapter = addPage(*controller, QStringLiteral("Chapter"));
        addPage(*controller, QStringLiteral("Section"), chapter);
        chapterID = chapter->memoID();
        controller->openWindowWithMemo(chapter);
        controller->applicationWillTerminate();
    }
    auto controller = startController();
    ASSERT_EQ(controller->windowControllers().size(), 2u);
    EXPECT_EQ(controller->windowControllers()[0]->rootMemo(), controller->rootMemo());
    EXPECT_EQ(controller->windowControllers()[1]->rootMemo()->memoID(), chapterID);
    EXPECT_EQ(controller->windowControllers()[1]->rootMemo()->children().size(), 1u);
}

TEST_F(ControllerTest, switchingToAnEmptyFolderCopiesTheDataAndKeepsTheWindows)
{
    auto controller = startController();
    addPage(*controller, QStringLiteral("Kept"));
    QSignalSpy terminate(controller.get(), &JW3Controller::terminateRequested);
    const QString oldFolder = dataFolderPath();
    const QString newFolder = home() + QStringLiteral("/Elsewhere");
    defaults().setValue(QStringLiteral("dataFolderPath"), newFolder);

    EXPECT_TRUE(QFile::exists(newFolder + QStringLiteral("/JW3Data.jw3datastore")));
    EXPECT_TRUE(QFile::exists(oldFolder + QStringLiteral("/JW3Data.jw3datastore")));
    EXPECT_EQ(controller->windowControllers().size(), 1u);
    EXPECT_EQ(topLevelTitles(*controller), QStringList{QStringLiteral("Kept")});
    EXPECT_EQ(terminate.count(), 0);
    // The new folder is ours now, the old one free for others.
    EXPECT_FALSE(QLockFile(newFolder + QStringLiteral("/.jotwell3.lock")).tryLock(0));
    EXPECT_TRUE(QLockFile(oldFolder + QStringLiteral("/.jotwell3.lock")).tryLock(0));
}

TEST_F(ControllerTest, switchingToAFolderWithDataShowsItsPagesWithoutQuitting)
{
    const QString otherFolder = home() + QStringLiteral("/Other");
    defaults().setValue(QStringLiteral("dataFolderPath"), otherFolder);
    {
        auto other = startController();
        addPage(*other, QStringLiteral("Other folder"));
        other->applicationWillTerminate();
    }
    defaults().setValue(QStringLiteral("dataFolderPath"), QString(home() + QStringLiteral("/Mine")));
    auto controller = startController();
    addPage(*controller, QStringLiteral("Mine"));
    StandInWindow *mine = windows.front();
    QSignalSpy terminate(controller.get(), &JW3Controller::terminateRequested);

    defaults().setValue(QStringLiteral("dataFolderPath"), otherFolder);
    EXPECT_TRUE(wasClosed(mine));
    EXPECT_EQ(terminate.count(), 0);
    EXPECT_TRUE(defaults().boolForKey(QStringLiteral("QuitApp")));
    EXPECT_EQ(topLevelTitles(*controller), QStringList{QStringLiteral("Other folder")});
    ASSERT_EQ(controller->windowControllers().size(), 1u);
    // What was typed before the switch went to the first folder.
    QFile store(home() + QStringLiteral("/Mine/JW3Data.jw3datastore"));
    ASSERT_TRUE(store.open(QIODevice::ReadOnly));
    EXPECT_TRUE(store.readAll().contains("Mine"));
}

TEST_F(ControllerTest, aFolderAnotherProcessUsesIsNotSwitchedTo)
{
    auto controller = startController();
    addPage(*controller, QStringLiteral("Stays"));
    const QString before = dataFolderPath();
    const QString busy = home() + QStringLiteral("/Busy");
    QDir().mkpath(busy);
    write(QStringLiteral("Busy/JW3Data.jw3datastore"), {});
    // Another process's lock: a live process (our parent) on this host.
    const QString parent = QString::number(getppid());
    const QString parentName
        = QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/") + parent + QStringLiteral("/exe"))).fileName();
    write(QStringLiteral("Busy/.jotwell3.lock"),
        (parent + u'\n' + parentName + u'\n' + QSysInfo::machineHostName() + u'\n').toUtf8());
    QSignalSpy problems(controller.get(), &JW3Controller::problemReported);

    defaults().setValue(QStringLiteral("dataFolderPath"), busy);
    EXPECT_EQ(defaults().stringForKey(QStringLiteral("dataFolderPath")), before);
    ASSERT_EQ(problems.count(), 1);
    EXPECT_TRUE(problems.at(0).at(0).toString().contains(QStringLiteral("in use")));
    EXPECT_EQ(topLevelTitles(*controller), QStringList{QStringLiteral("Stays")});
}

TEST_F(ControllerTest, clippedTextBecomesASavedPageShownInTheMainWindow)
{
    auto controller = startController();
    NoteWindow *chapterWindow = controller->openWindowWithMemo(addPage(*controller, QStringLiteral("Chapter")));

    // The front window's tree does not hold the clippings: the main window shows the clip.
    auto clipped = controller->clipText(QStringLiteral("Buy milk\nand bread"));
    ASSERT_TRUE(clipped.ok()) << clipped.errorMessage().toStdString();
    const MemoPtr clip = clipped.value();
    const MemoPtr parent = controller->tree().parentOfMemo(clip);
    EXPECT_EQ(parent, controller->tree().parentOfClippingMemo());
    EXPECT_EQ(controller->frontWindowController()->rootMemo(), controller->rootMemo());
    EXPECT_EQ(controller->frontWindowController()->selectedMemo(), clip);
    EXPECT_EQ(chapterWindow->selectedMemo(), nullptr);
    EXPECT_TRUE(QFile::exists(notePathForID(clip->memoID())));
    QFile store(dataFilePath());
    ASSERT_TRUE(store.open(QIODevice::ReadOnly));
    EXPECT_TRUE(store.readAll().contains("Buy milk"));

    // A second clip goes under the same parent; undo takes it away again.
    ASSERT_TRUE(controller->clipText(QStringLiteral("Call Ann")).ok());
    EXPECT_EQ(parent->children().size(), 2u);
    static_cast<StandInWindow *>(controller->frontWindowController())->stack.undo();
    EXPECT_EQ(parent->children().size(), 1u);
    EXPECT_FALSE(controller->clipURL(QUrl(QStringLiteral("not a url"))).ok());
}

TEST_F(ControllerTest, clippedFilesAreReadByTheirKindAndBadOnesAreRefused)
{
    auto controller = startController();
    // Wide text with a byte-order mark, either way round, is text too.
    const QString wide = QStringLiteral("Caf\u00e9 \u65e5\u672c\nsecond line");
    QByteArray little("\xff\xfe");
    QByteArray big("\xfe\xff");
    for (const QChar c : wide) {
        little.append(char(c.unicode() & 0xff)).append(char(c.unicode() >> 8));
        big.append(char(c.unicode() >> 8)).append(char(c.unicode() & 0xff));
    }
    const struct
    {
        const char *name;
        QByteArray bytes;
        QString text;
    } readable[] = {
        {"a.rtf", "{\\rtf1\\ansi {\\b Bold} words}", QStringLiteral("Bold words")},
        {"le.txt", little, wide},
        {"be.txt", big, wide},
    };
    for (const auto &file : readable) {
        SCOPED_TRACE(file.name);
        auto clipped = controller->clipFile(write(QString::fromLatin1(file.name), file.bytes));
        ASSERT_TRUE(clipped.ok()) << clipped.errorMessage().toStdString();
        EXPECT_EQ(clipped.value()->plainText(), file.text);
    }

    // Latin-1 text that is not UTF-8 is still read as text, a character for each byte.
    auto latin = controller->clipFile(write(QStringLiteral("b.txt"), "Caf\xe9 au lait"));
    ASSERT_TRUE(latin.ok()) << latin.errorMessage().toStdString();
    EXPECT_TRUE(latin.value()->plainText().startsWith(QStringLiteral("Caf")));
    EXPECT_EQ(latin.value()->plainText().size(), 12);

    const qsizetype pages = controller->tree().parentOfClippingMemo()->children().size();
    QDir().mkpath(home() + QStringLiteral("/empty.rtfd"));
    for (const QString &refused : QStringList{home() + QStringLiteral("/missing.txt"),
             write(QStringLiteral("c.png"), QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16)),
             write(QStringLiteral("odd.txt"), little + 'x'), // cut in the middle of a character
             home() + QStringLiteral("/empty.rtfd")}) {
        EXPECT_FALSE(controller->clipFile(refused).ok()) << refused.toStdString();
    }
    EXPECT_EQ(controller->tree().parentOfClippingMemo()->children().size(), pages);
}

TEST_F(ControllerTest, droppedFilesAreImportedWhereTheyFellAndDeletedRootsCloseTheirWindows)
{
    auto controller = startController();
    const MemoPtr folder = addPage(*controller, QStringLiteral("Folder"));
    addPage(*controller, QStringLiteral("Inside"), folder);
    auto imported = controller->importFile(write(QStringLiteral("Meeting notes.txt"), "Agenda\nMinutes"), folder, 0);
    ASSERT_TRUE(imported.ok()) << imported.errorMessage().toStdString();
    EXPECT_EQ(folder->children().front(), imported.value());
    EXPECT_EQ(imported.value()->title(), QStringLiteral("Meeting notes"));
    EXPECT_EQ(imported.value()->plainText(), QStringLiteral("Agenda\nMinutes"));

    const auto missing = controller->importFile(home() + QStringLiteral("/gone.txt"), folder, 0);
    ASSERT_FALSE(missing.ok());
    EXPECT_TRUE(missing.errorMessage().contains(QStringLiteral("gone.txt cannot be imported")));
    EXPECT_EQ(folder->children().size(), 2u);

    // A window rooted at a page that leaves the tree closes; the others stay.
    NoteWindow *onFolder = controller->openWindowWithMemo(folder);
    controller->handleMemoRemoval(folder);
    EXPECT_TRUE(wasClosed(static_cast<StandInWindow *>(onFolder)));
    EXPECT_EQ(controller->windowControllers().size(), 1u);
}

TEST_F(ControllerTest, pageLinksFromOtherProgramsShowTheirPage)
{
    auto controller = startController();
    MemoPtr chapter = addPage(*controller, QStringLiteral("Chapter"));
    MemoPtr section = addPage(*controller, QStringLiteral("Section"), chapter);
    const QString id = QString::number(section->memoID());
    EXPECT_TRUE(controller->openLink(QStringLiteral("Jotwell3://pageid/") + id + u'/'));
    EXPECT_EQ(controller->frontWindowController()->selectedMemo(), section);

    // The scheme's case is the other program's; a new window opens on the page's parent.
    EXPECT_TRUE(controller->openLink(QStringLiteral("jotwell3://pageid/") + id + QStringLiteral("/OpenWithNewWindow")));
    ASSERT_EQ(controller->windowControllers().size(), 2u);
    EXPECT_EQ(controller->windowControllers().back()->rootMemo(), chapter);
    EXPECT_EQ(controller->windowControllers().back()->selectedMemo(), section);
    EXPECT_FALSE(controller->openLink(QStringLiteral("Jotwell3://pageid/999999/")));
    EXPECT_FALSE(controller->openLink(QStringLiteral("Jotwell3://pageid/not-a-number/")));
    EXPECT_EQ(controller->windowControllers().size(), 2u);
}

TEST_F(ControllerTest, closingEveryWindowForAFolderSwitchLetsGoOfWindowsThatDoNotSaySo)
{
    auto controller = startController();
    controller->openWindowWithMemo(addPage(*controller, QStringLiteral("Second")));
    windows.back()->refusesToClose = true;
    QSignalSpy terminate(controller.get(), &JW3Controller::terminateRequested);
    controller->closeAllWindows();
    EXPECT_TRUE(controller->windowControllers().empty());
    EXPECT_EQ(terminate.count(), 0);
}

} // namespace
