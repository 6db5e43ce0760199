#include "StandInWindow.h"
#include "app/JW3Controller.h"
#include "app/RegisteredDefaults.h"
#include "common/FreshUserTest.h"
#include "exchange/SampleBook.h"
#include "model/MemoCreation.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"

#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QLockFile>
#include <QSignalSpy>

#include <algorithm>
#include <memory>

#include <unistd.h>

namespace {

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

    std::unique_ptr<JW3Controller> makeController()
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
        return controller;
    }

    std::unique_ptr<JW3Controller> startController()
    {
        auto controller = makeController();
        controller->startUp();
        return controller;
    }

    static StandInWindow *asStandIn(NoteWindow *window) { return static_cast<StandInWindow *>(window); }

    static MemoPtr addPage(JW3Controller &controller, const QString &text, MemoPtr parent = {})
    {
        MemoPtr page = MemoCreation::initWithString(text);
        EXPECT_TRUE(controller.tree().insertNewMemo(page, parent ? parent : controller.rootMemo(), -1));
        return page;
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

    /** Whether @p window said it closes; a closed window may be gone already. */
    [[nodiscard]] bool wasClosed(const StandInWindow *window) const
    {
        return std::find(closedWindows.begin(), closedWindows.end(), window) != closedWindows.end();
    }

    std::vector<StandInWindow *> windows;       // every window made, open or closed
    std::vector<StandInWindow *> closedWindows; // in the order they closed
};

TEST_F(ControllerTest, startingOnAFreshFolderOpensTheMainWindowAndTimersFollowThePreferences)
{
    auto controller = startController();

    ASSERT_EQ(controller->windowControllers().size(), 1u);
    StandInWindow *main = asStandIn(controller->windowControllers().front());
    EXPECT_EQ(main->rootMemo(), controller->rootMemo());
    EXPECT_EQ(controller->frontWindowController(), main);
    EXPECT_GE(main->timesShown, 1);
    EXPECT_TRUE(controller->dataStore().isAutoSaveTimerActive());
    EXPECT_EQ(controller->dataStore().autoSaveIntervalMilliseconds(), 5 * 60 * 1000);
    EXPECT_EQ(controller->serverRestarts(), 1);

    defaults().setValue(QStringLiteral("AutoSavePeriod"), 1);
    EXPECT_EQ(controller->dataStore().autoSaveIntervalMilliseconds(), 60 * 1000);
    defaults().setValue(QStringLiteral("AutoSave"), false);
    EXPECT_FALSE(controller->dataStore().isAutoSaveTimerActive());
    defaults().setValue(QStringLiteral("AutoSave"), true);
    EXPECT_TRUE(controller->dataStore().isAutoSaveTimerActive());
    const int restarts = controller->serverRestarts();
    defaults().setValue(QStringLiteral("abGroupName"), QStringLiteral("Phone"));
    EXPECT_EQ(controller->serverRestarts(), restarts + 1);
}

TEST_F(ControllerTest, theLastWindowClosingQuitsOnlyWhenQuitAppIsOn)
{
    auto controller = startController();
    QSignalSpy terminate(controller.get(), &JW3Controller::terminateRequested);
    NoteWindow *second = controller->openWindowWithMemo(addPage(*controller, QStringLiteral("Second")));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(controller->frontWindowController(), second);

    // The main window comes to the front, then closes: the other one is left, in front.
    StandInWindow *main = windows.front();
    main->comeToFront();
    EXPECT_EQ(controller->frontWindowController(), main);
    main->performClose();
    EXPECT_EQ(controller->windowControllers(), std::vector<NoteWindow *>{second});
    EXPECT_EQ(controller->frontWindowController(), second);
    EXPECT_EQ(terminate.count(), 0);

    defaults().setValue(QStringLiteral("QuitApp"), false);
    second->performClose();
    EXPECT_TRUE(controller->windowControllers().empty());
    EXPECT_EQ(controller->frontWindowController(), nullptr);
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
    QLockFile other(newFolder + QStringLiteral("/.jotwell3.lock"));
    EXPECT_FALSE(other.tryLock(0));
    QLockFile old(oldFolder + QStringLiteral("/.jotwell3.lock"));
    EXPECT_TRUE(old.tryLock(0));
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
    EXPECT_EQ(controller->windowControllers().front()->rootMemo(), controller->rootMemo());
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
    QFile(busy + QStringLiteral("/JW3Data.jw3datastore")).open(QIODevice::WriteOnly);
    // Another process's lock: a live process (our parent) on this host.
    const QString parent = QString::number(getppid());
    const QString parentName
        = QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/") + parent + QStringLiteral("/exe"))).fileName();
    QFile lock(busy + QStringLiteral("/.jotwell3.lock"));
    ASSERT_TRUE(lock.open(QIODevice::WriteOnly));
    lock.write((parent + u'\n' + parentName + u'\n' + QSysInfo::machineHostName() + u'\n').toUtf8());
    lock.close();
    QSignalSpy problems(controller.get(), &JW3Controller::problemReported);

    defaults().setValue(QStringLiteral("dataFolderPath"), busy);

    EXPECT_EQ(defaults().stringForKey(QStringLiteral("dataFolderPath")), before);
    ASSERT_EQ(problems.count(), 1);
    EXPECT_TRUE(problems.at(0).at(0).toString().contains(QStringLiteral("in use")));
    EXPECT_EQ(topLevelTitles(*controller), QStringList{QStringLiteral("Stays")});
    EXPECT_EQ(controller->windowControllers().size(), 1u);
}

TEST_F(ControllerTest, clippedTextBecomesASavedPageShownInTheMainWindow)
{
    auto controller = startController();
    MemoPtr chapter = addPage(*controller, QStringLiteral("Chapter"));
    NoteWindow *chapterWindow = controller->openWindowWithMemo(chapter);
    ASSERT_EQ(controller->frontWindowController(), chapterWindow);

    // The front window's tree does not hold the clippings: the main window shows the clip.
    auto clipped = controller->clipText(QStringLiteral("Buy milk\nand bread"));
    ASSERT_TRUE(clipped.ok()) << clipped.errorMessage().toStdString();
    const MemoPtr clip = clipped.value();
    const MemoPtr parent = controller->tree().parentOfMemo(clip);
    EXPECT_EQ(parent, controller->tree().parentOfClippingMemo());
    EXPECT_EQ(controller->tree().parentOfMemo(parent), controller->rootMemo());
    ASSERT_EQ(controller->windowControllers().size(), 3u);
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
    asStandIn(controller->frontWindowController())->stack.undo();
    EXPECT_EQ(parent->children().size(), 1u);
    EXPECT_FALSE(controller->clipURL(QUrl(QStringLiteral("not a url"))).ok());
}

TEST_F(ControllerTest, clippedFilesAreReadByTheirKindAndBadOnesAreRefused)
{
    auto controller = startController();
    const auto write = [this](const QString &name, const QByteArray &bytes) {
        const QString path = home() + u'/' + name;
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    };

    auto rtf = controller->clipFile(write(QStringLiteral("a.rtf"), "{\\rtf1\\ansi {\\b Bold} words}"));
    ASSERT_TRUE(rtf.ok()) << rtf.errorMessage().toStdString();
    EXPECT_EQ(rtf.value()->plainText(), QStringLiteral("Bold words"));

    // Latin-1 text that is not UTF-8 is still read as text.
    auto latin = controller->clipFile(write(QStringLiteral("b.txt"), "Caf\xe9 au lait"));
    ASSERT_TRUE(latin.ok()) << latin.errorMessage().toStdString();
    EXPECT_TRUE(latin.value()->plainText().startsWith(QStringLiteral("Caf")));
    EXPECT_EQ(latin.value()->plainText().size(), 12);

    const qsizetype pages = controller->tree().parentOfClippingMemo()->children().size();
    EXPECT_FALSE(controller->clipFile(home() + QStringLiteral("/missing.txt")).ok());
    EXPECT_FALSE(
        controller->clipFile(write(QStringLiteral("c.png"), QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16))).ok());
    EXPECT_FALSE(controller->clipFile(home() + QStringLiteral("/not-a-package")).ok());
    QDir().mkpath(home() + QStringLiteral("/empty.rtfd"));
    EXPECT_FALSE(controller->clipFile(home() + QStringLiteral("/empty.rtfd")).ok());
    EXPECT_EQ(controller->tree().parentOfClippingMemo()->children().size(), pages);
}

TEST_F(ControllerTest, droppedFilesAreImportedWhereTheyFellAndDeletedRootsCloseTheirWindows)
{
    auto controller = startController();
    const MemoPtr folder = addPage(*controller, QStringLiteral("Folder"));
    addPage(*controller, QStringLiteral("Inside"), folder);
    const QString path = home() + QStringLiteral("/Meeting notes.txt");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("Agenda\nMinutes");
    file.close();

    auto imported = controller->importFile(path, folder, 0);
    ASSERT_TRUE(imported.ok()) << imported.errorMessage().toStdString();
    EXPECT_EQ(folder->children().front(), imported.value());
    EXPECT_EQ(imported.value()->title(), QStringLiteral("Meeting notes"));
    EXPECT_EQ(imported.value()->plainText(), QStringLiteral("Agenda\nMinutes"));
    EXPECT_TRUE(controller->importableFileTypes().contains(QStringLiteral("txt")));

    const auto missing = controller->importFile(home() + QStringLiteral("/gone.txt"), folder, 0);
    ASSERT_FALSE(missing.ok());
    EXPECT_TRUE(missing.errorMessage().contains(QStringLiteral("gone.txt cannot be imported")));
    EXPECT_EQ(folder->children().size(), 2u);

    // A window rooted at a page that leaves the tree closes; the others stay.
    NoteWindow *onFolder = controller->openWindowWithMemo(folder);
    const qsizetype open = qsizetype(controller->windowControllers().size());
    controller->handleMemoRemoval(folder);
    EXPECT_TRUE(wasClosed(asStandIn(onFolder)));
    EXPECT_EQ(qsizetype(controller->windowControllers().size()), open - 1);
}

TEST_F(ControllerTest, pageLinksFromOtherProgramsShowTheirPage)
{
    auto controller = startController();
    MemoPtr chapter = addPage(*controller, QStringLiteral("Chapter"));
    MemoPtr section = addPage(*controller, QStringLiteral("Section"), chapter);
    const QString id = QString::number(section->memoID());

    EXPECT_TRUE(controller->openLink(QStringLiteral("Jotwell3://pageid/") + id + u'/'));
    EXPECT_EQ(controller->windowControllers().size(), 1u);
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
    EXPECT_EQ(controller->frontWindowController(), nullptr);
    EXPECT_EQ(terminate.count(), 0);
}

} // namespace
