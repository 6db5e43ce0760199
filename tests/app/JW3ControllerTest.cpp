#include "app/JW3Controller.h"
#include "app/RegisteredDefaults.h"
#include "common/FreshUserTest.h"
#include "exchange/LegacyImport.h"
#include "exchange/SampleBook.h"
#include "model/MemoCreation.h"
#include "platform/archive/PropertyList.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"
#include "text/TextExport.h"
#include "windows/NoteWindow.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSignalSpy>
#include <QStringEncoder>
#include <QTextCursor>
#include <QTextDocument>
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
    static void switchTo(const QString &folder) { defaults().setValue(QStringLiteral("dataFolderPath"), folder); }
    static QString storeIn(const QString &folder) { return folder + QStringLiteral("/JW3Data.jw3datastore"); }

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

TEST_F(ControllerTest, theLastWindowClosingQuitsOnlyWhenQuitAppIsOn)
{
    auto controller = startController();
    QSignalSpy terminate(controller.get(), &JW3Controller::terminateRequested);
    NoteWindow *second = controller->openWindowWithMemo(addPage(*controller, QStringLiteral("Second")));
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
}

TEST_F(ControllerTest, quittingBacksTheDataUpOnlyWhenAutoBackupDataIsOn)
{
    const QString backups = dataFolderPath() + QStringLiteral("/Backups");
    auto controller = startController();
    addPage(*controller, QStringLiteral("Kept"));
    defaults().setValue(QStringLiteral("autoBackupData"), false);
    controller->applicationWillTerminate();
    EXPECT_FALSE(QFileInfo::exists(backups));

    defaults().setValue(QStringLiteral("autoBackupData"), true);
    controller->applicationWillTerminate();
    const QStringList made = QDir(backups).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    ASSERT_EQ(made.size(), 1);
    EXPECT_TRUE(QFileInfo::exists(backups + u'/' + made.first() + QStringLiteral("/JW3Data.jw3datastore")));
    EXPECT_FALSE(QDir(backups + u'/' + made.first() + QStringLiteral("/Note Data")).isEmpty());
}

TEST_F(ControllerTest, switchingToAnEmptyFolderCopiesTheDataAndToOneWithDataShowsItsPages)
{
    auto controller = startController();
    addPage(*controller, QStringLiteral("Kept"));
    QSignalSpy terminate(controller.get(), &JW3Controller::terminateRequested);
    const QString first = dataFolderPath();
    const QString copy = home() + QStringLiteral("/Elsewhere");
    switchTo(copy);
    EXPECT_TRUE(QFile::exists(storeIn(copy)));
    EXPECT_TRUE(QFile::exists(storeIn(first)));
    EXPECT_EQ(controller->windowControllers().size(), 1u);
    EXPECT_EQ(topLevelTitles(*controller), QStringList{QStringLiteral("Kept")});
    // The new folder is ours now, the old one free for others.
    EXPECT_FALSE(QLockFile(copy + QStringLiteral("/.jotwell3.lock")).tryLock(0));
    EXPECT_TRUE(QLockFile(first + QStringLiteral("/.jotwell3.lock")).tryLock(0));

    // Back to the first folder: its windows reopen on its own pages, without quitting.
    addPage(*controller, QStringLiteral("Only in the copy"));
    StandInWindow *onCopy = windows.front();
    switchTo(first);
    EXPECT_TRUE(wasClosed(onCopy));
    EXPECT_EQ(terminate.count(), 0);
    EXPECT_TRUE(defaults().boolForKey(QStringLiteral("QuitApp")));
    EXPECT_EQ(topLevelTitles(*controller), QStringList{QStringLiteral("Kept")});
    ASSERT_EQ(controller->windowControllers().size(), 1u);
    // What was typed before the switch went to the folder left.
    QFile store(storeIn(copy));
    ASSERT_TRUE(store.open(QIODevice::ReadOnly));
    EXPECT_TRUE(store.readAll().contains("Only in the copy"));
}

TEST_F(ControllerTest, aFolderAnotherProcessUsesIsNotSwitchedTo)
{
    auto controller = startController();
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

    switchTo(busy);
    EXPECT_EQ(defaults().stringForKey(QStringLiteral("dataFolderPath")), before);
    ASSERT_EQ(problems.count(), 1);
    EXPECT_TRUE(problems.at(0).at(0).toString().contains(QStringLiteral("in use")));
}

TEST_F(ControllerTest, clippedTextBecomesASavedPageShownInTheMainWindow)
{
    auto controller = startController();
    controller->openWindowWithMemo(addPage(*controller, QStringLiteral("Chapter")));

    // The front window's tree does not hold the clippings: the main window shows the clip.
    auto clipped = controller->clipText(QStringLiteral("Buy milk\nand bread"));
    ASSERT_TRUE(clipped.ok()) << clipped.errorMessage().toStdString();
    const MemoPtr clip = clipped.value();
    const MemoPtr parent = controller->tree().parentOfMemo(clip);
    EXPECT_EQ(parent, controller->tree().parentOfClippingMemo());
    EXPECT_EQ(controller->frontWindowController()->rootMemo(), controller->rootMemo());
    EXPECT_EQ(controller->frontWindowController()->selectedMemo(), clip);
    EXPECT_TRUE(QFile::exists(notePathForID(clip->memoID())));
    QFile store(dataFilePath());
    ASSERT_TRUE(store.open(QIODevice::ReadOnly));
    EXPECT_TRUE(store.readAll().contains("Buy milk"));
    EXPECT_FALSE(controller->clipURL(QUrl(QStringLiteral("not a url"))).ok());
}

TEST_F(ControllerTest, clippedFilesAreReadByTheirKindAndBadOnesAreRefused)
{
    auto controller = startController();
    // Wide text with a byte-order mark, either way round, is text too.
    const QString wide = QStringLiteral("Caf\u00e9 \u65e5\u672c\nsecond line");
    const QByteArray little = QByteArray("\xff\xfe").append(QStringEncoder(QStringConverter::Utf16LE)(wide));
    const QByteArray big = QByteArray("\xfe\xff").append(QStringEncoder(QStringConverter::Utf16BE)(wide));
    const struct
    {
        const char *name;
        QByteArray bytes;
        QString text;
    } readable[] = {
        {"a.rtf", "{\\rtf1\\ansi {\\b Bold} words}", QStringLiteral("Bold words")}, {"le.txt", little, wide},
        {"be.txt", big, wide},
        {"b.txt", "Caf\xe9 au lait", QStringLiteral("Caf\u00c8 au lait")}, // not UTF-8: the guess finds Mac Roman
    };
    for (const auto &file : readable) {
        SCOPED_TRACE(file.name);
        auto clipped = controller->clipFile(write(QString::fromLatin1(file.name), file.bytes));
        ASSERT_TRUE(clipped.ok()) << clipped.errorMessage().toStdString();
        EXPECT_EQ(clipped.value()->plainText(), file.text);
    }

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
    EXPECT_TRUE(!missing.ok() && missing.errorMessage().contains(QStringLiteral("gone.txt: there is no such file")));
    EXPECT_EQ(folder->children().size(), 2u);

    // A page file of a page in the tree shows that page instead of copying it;
    // any other is imported at the top level.
    const QString ownPage = write(QString::number(imported.value()->memoID()) + QStringLiteral(".jw3page"), "");
    EXPECT_TRUE(controller->openFiles({ownPage}).isEmpty());
    EXPECT_EQ(controller->frontWindowController()->selectedMemo(), imported.value());
    EXPECT_EQ(folder->children().size(), 2u);
    const qsizetype topLevel = controller->tree().root()->children().size();
    EXPECT_TRUE(controller->openFiles({write(QStringLiteral("Other.txt"), "Other")}).isEmpty());
    EXPECT_EQ(controller->tree().root()->children().size(), topLevel + 1);
    EXPECT_EQ(controller->tree().root()->children().back()->title(), QStringLiteral("Other"));

    // A window rooted at a page that leaves the tree closes; the others stay.
    NoteWindow *onFolder = controller->openWindowWithMemo(folder);
    controller->handleMemoRemoval(folder);
    EXPECT_TRUE(wasClosed(static_cast<StandInWindow *>(onFolder)));
    EXPECT_EQ(controller->windowControllers().size(), 1u);
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

namespace {

// The first start after the previous version brings its preferences and
// pages over, texts and links included.
TEST_F(ControllerTest, theFirstStartBringsTheEarlierVersionsPagesOver)
{
    QTextDocument old;
    QTextCursor(&old).insertText(QStringLiteral("see <a JW2Link PageID=\"57\">Budget</a> now"));
    const QVariantMap note{{QStringLiteral("Note"), TextExport::RTFDData(old)}};
    QDir().mkpath(LegacyImport::defaultTextFolder());
    write(LegacyImport::defaultTextFolder().mid(home().size() + 1) + QStringLiteral("/57.JW2Note"),
        PropertyList::toData(note, PropertyList::Format::Xml).value());
    const QVariantMap page{{QStringLiteral("ID"), 57}, {QStringLiteral("Title"), QStringLiteral("Budget")}};
    const QVariantMap root{{QStringLiteral("ID"), 0}, {QStringLiteral("Children"), QVariantList{page}}};
    const QVariantMap preferences{{QStringLiteral("MainNoteDict"), root}, {QStringLiteral("AutoSavePeriod"), 7}};
    QDir().mkpath(QFileInfo(LegacyImport::defaultPreferencesPath()).absolutePath());
    write(LegacyImport::defaultPreferencesPath().mid(home().size() + 1),
        PropertyList::toData(preferences, PropertyList::Format::Xml).value());

    auto controller = startController();
    const MemoPtr budget = controller->tree().noteDataWithID(57);
    ASSERT_TRUE(budget);
    EXPECT_EQ(budget->plainText(), QStringLiteral("see Budget now"));
    EXPECT_EQ(defaults().integerForKey(QStringLiteral("AutoSavePeriod")), 7);
    EXPECT_GE(defaults().integerForKey(QStringLiteral("memoID")), 58);
    // Saved at once, in the new format.
    EXPECT_TRUE(QFile::exists(notePathForID(57)));
}

} // namespace
