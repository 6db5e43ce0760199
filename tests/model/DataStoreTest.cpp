// The data folder as the application uses it: start-up, saving, autosave,
// clean-up and switching folders, with a stand-in for the note windows.
#include "common/FreshUserTest.h"
#include "model/ApplicationTree.h"
#include "model/DataStore.h"
#include "model/DataStoreHost.h"
#include "model/PageFile.h"
#include "platform/base/FileContents.h"
#include "platform/settings/FolderPaths.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// Records what the store asks of the windows.
class StandInWindows : public DataStoreHost
{
public:
    QList<qint64> openWindowRootIDs() const override { return open; }
    void openWindowWithID(qint64 memoID) override { open.append(memoID); }
    void showMainWindow() override { ++mainWindowShown; }
    bool hasOpenWindow() const override { return !open.isEmpty(); }
    bool isAnyWindowEdited() const override { return edited; }
    bool isApplicationActive() const override { return active; }
    void closeAllWindows() override
    {
        open.clear();
        ++closedAll;
    }
    void revealInFileManager(const QString &path) override { revealed.append(path); }
    void reportProblem(const QString &message) override { problems.append(message); }

    QList<qint64> open;
    QStringList revealed;
    QStringList problems;
    int mainWindowShown = 0;
    int closedAll = 0;
    bool edited = true;
    bool active = false;
};

class DataStoreTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        defaults().setValue(QStringLiteral("dataFolderPath"), folder());
    }

    static UserDefaults &defaults() { return UserDefaults::standardUserDefaults(); }
    QString folder() const { return home() + QStringLiteral("/Data"); }

    std::unique_ptr<DataStore> loadedStore(StandInWindows &windows)
    {
        auto store = std::make_unique<DataStore>();
        store->setHost(&windows);
        store->loadNoteData();
        return store;
    }

    // A root with "A" (children "A1", "A2") and "B", saved to the folder.
    void saveSmallTree(StandInWindows &windows)
    {
        auto store = loadedStore(windows);
        const MemoPtr root = store->rootMemo();
        root->setChildrenValue({});
        const auto add = [](const MemoPtr &parent, const QString &title) {
            MemoPtr memo = JWMemo::memo();
            memo->setTitle(title);
            memo->setMemoDataWithPlainText(title + QStringLiteral(" text"));
            parent->appendChild(memo);
            return memo;
        };
        const MemoPtr a = add(root, QStringLiteral("A"));
        add(a, QStringLiteral("A1"));
        add(a, QStringLiteral("A2"));
        const MemoPtr b = add(root, QStringLiteral("B"));
        b->setTags({QStringLiteral("work")});
        b->setTitleColor(QColor(255, 0, 0));
        windows.open = {b->memoID(), a->memoID()};
        ASSERT_TRUE(store->save().ok());
    }

    static QStringList titles(const MemoPtr &memo)
    {
        QStringList out;
        for (const MemoPtr &child : memo->children())
            out << child->title() + u'(' + titles(child).join(u',') + u')';
        return out;
    }

    static void writeFile(const QString &path, const QByteArray &bytes)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    }
};

TEST_F(DataStoreTest, AFirstStartMakesATreeAndOpensTheMainWindow)
{
    StandInWindows windows;
    auto store = loadedStore(windows);
    ASSERT_TRUE(store->rootMemo());
    EXPECT_EQ(store->rootMemo()->title(), appName());
    EXPECT_EQ(ApplicationTree::rootMemo(), store->rootMemo());
    EXPECT_EQ(windows.mainWindowShown, 1);
    EXPECT_TRUE(store->problems().isEmpty());
    // A first start saves at once in this version's form.
    EXPECT_TRUE(QFileInfo::exists(folder() + QStringLiteral("/JW3Data.jw3datastore")));
    EXPECT_DOUBLE_EQ(defaults().floatForKey(QStringLiteral("ApplicationVersion")), 2.0);
}

TEST_F(DataStoreTest, WhatIsSavedLoadsAgainWithItsWindowsInOrderUnlessOneFailedLastTime)
{
    StandInWindows first;
    saveSmallTree(first);
    const QList<qint64> windowOrder = first.open;

    StandInWindows second;
    auto store = loadedStore(second);
    EXPECT_EQ(titles(store->rootMemo()), (QStringList{QStringLiteral("A(A1(),A2())"), QStringLiteral("B()")}));
    const MemoPtr b = store->rootMemo()->children().back();
    EXPECT_EQ(b->tags(), QStringList{QStringLiteral("work")});
    EXPECT_EQ(b->titleColor(), QColor(255, 0, 0));
    EXPECT_FALSE(b->isEdited());
    EXPECT_EQ(b->plainText(), QStringLiteral("B text"));
    EXPECT_EQ(second.open, windowOrder);
    EXPECT_EQ(second.mainWindowShown, 0);

    // A window that failed to open last time stops the reopening, once.
    defaults().setValue(QStringLiteral("OpeningWindowHasProblem"), true);
    StandInWindows third;
    loadedStore(third);
    EXPECT_TRUE(third.open.isEmpty());
    EXPECT_EQ(third.mainWindowShown, 1);
    EXPECT_FALSE(defaults().objectForKey(QStringLiteral("OpeningWindowHasProblem")).isValid());
}

TEST_F(DataStoreTest, SavingOneEditWritesThatPageFileOnly)
{
    StandInWindows windows;
    saveSmallTree(windows);
    auto store = loadedStore(windows);
    const MemoPtr a1 = store->rootMemo()->children().front()->children().front();
    const MemoPtr b = store->rootMemo()->children().back();
    // Mark B's file, so that a rewrite would show.
    ASSERT_TRUE(PageFile::write(b->memoID(), {{QStringLiteral("title"), QStringLiteral("marker")}}).ok());

    a1->setMemoDataWithPlainText(QStringLiteral("changed"));
    a1->setIsEdited(true);
    ASSERT_TRUE(store->save().ok());
    EXPECT_EQ(PageFile::read(b->memoID())->value(QStringLiteral("title")).toString(), QStringLiteral("marker"));
    EXPECT_FALSE(a1->isEdited());

    StandInWindows again;
    auto reloaded = loadedStore(again);
    EXPECT_EQ(reloaded->rootMemo()->children().front()->children().front()->plainText(), QStringLiteral("changed"));
}

TEST_F(DataStoreTest, AnUnreadableDataStoreIsSetAsideNeverOverwritten)
{
    StandInWindows first;
    saveSmallTree(first);
    const QString store = folder() + QStringLiteral("/JW3Data.jw3datastore");
    const QByteArray damaged = FileContents::read(store).value().left(200);
    writeFile(store, damaged);
    defaults().setValue(QStringLiteral("memoID"), 1); // as if the preferences were lost too

    StandInWindows second;
    auto loaded = loadedStore(second);
    const QStringList aside = QDir(folder()).entryList({QStringLiteral("JW3Data.jw3datastore.unreadable-*")});
    ASSERT_EQ(aside.size(), 1);
    EXPECT_EQ(FileContents::read(folder() + u'/' + aside.front()).value(), damaged);
    ASSERT_EQ(second.problems.size(), 1);
    EXPECT_TRUE(second.problems.front().contains(aside.front()));
    EXPECT_TRUE(loaded->rootMemo()->children().empty()) << "a fresh tree";

    // The old pages' files are all that is left of their text: new pages must not take their IDs.
    const MemoPtr fresh = JWMemo::memo();
    EXPECT_GT(fresh->memoID(), 5);
    EXPECT_GE(QDir(noteDataFolderPath()).entryList({QStringLiteral("*.jw3page")}).size(), 5)
        << "no old page file was taken";
}

TEST_F(DataStoreTest, AnUnreadableSettingsFileIsSetAsideAndThePreferencesWindowsApply)
{
    StandInWindows first;
    saveSmallTree(first);
    writeFile(folder() + QStringLiteral("/JW3Data.jw3settings"), "not an archive");
    defaults().setValue(QStringLiteral("windowIDs"), QVariantList{first.open.back()});

    StandInWindows second;
    loadedStore(second);
    EXPECT_EQ(QDir(folder()).entryList({QStringLiteral("JW3Data.jw3settings.unreadable-*")}).size(), 1);
    EXPECT_EQ(second.problems.size(), 1);
    EXPECT_EQ(second.open, QList<qint64>{first.open.back()});
}

TEST_F(DataStoreTest, ATreeKeptInThePreferencesByAnEarlierVersionMovesIntoTheFolder)
{
    StandInWindows first;
    saveSmallTree(first);
    const QString store = folder() + QStringLiteral("/JW3Data.jw3datastore");
    defaults().setValue(QStringLiteral("rootMemo"), FileContents::read(store).value());
    defaults().removeObjectForKey(QStringLiteral("ApplicationVersion"));
    ASSERT_TRUE(QFile::remove(store));

    StandInWindows second;
    auto loaded = loadedStore(second);
    EXPECT_EQ(titles(loaded->rootMemo()).size(), 2);
    EXPECT_TRUE(QFileInfo::exists(store));
    EXPECT_FALSE(defaults().objectForKey(QStringLiteral("rootMemo")).isValid());
}

TEST_F(DataStoreTest, LoadingRaisesTheIDCounterToTheLargestID)
{
    StandInWindows first;
    saveSmallTree(first);
    qint64 largest = 0;
    {
        StandInWindows windows;
        auto store = loadedStore(windows);
        // Beyond 32 bits, as a counter kept in the preferences may run.
        largest = (qint64(1) << 32) + 40;
        store->rootMemo()->children().back()->setMemoID(largest);
        ASSERT_TRUE(store->save().ok());
    }
    defaults().setValue(QStringLiteral("memoID"), 3);
    StandInWindows second;
    EXPECT_EQ(loadedStore(second)->rootMemo()->children().back()->memoID(), largest);
    EXPECT_EQ(defaults().integerForKey(QStringLiteral("memoID")), largest + 1);
    EXPECT_EQ(JWMemo::memo()->memoID(), largest + 2);
}

TEST_F(DataStoreTest, AutosaveFollowsItsPreferencesAndWaitsForTheBackground)
{
    StandInWindows windows;
    auto store = loadedStore(windows);
    store->observeDefaults();
    defaults().setValue(QStringLiteral("AutoSave"), false);
    EXPECT_FALSE(store->isAutoSaveTimerActive());
    defaults().setValue(QStringLiteral("AutoSavePeriod"), 5);
    defaults().setValue(QStringLiteral("AutoSave"), true);
    ASSERT_TRUE(store->isAutoSaveTimerActive());
    EXPECT_EQ(store->autoSaveIntervalMilliseconds(), 5 * 60 * 1000);
    defaults().setValue(QStringLiteral("AutoSavePeriod"), 2);
    EXPECT_EQ(store->autoSaveIntervalMilliseconds(), 2 * 60 * 1000);

    int saves = 0;
    QObject counter;
    NotificationCenter::defaultCenter().addObserver(
        &counter, NotificationNames::JW3SaveData, nullptr, [&](const Notification &) { ++saves; });
    windows.edited = false;
    store->saveWithTimer();
    EXPECT_EQ(saves, 0) << "nothing edited, nothing saved";

    windows.edited = true;
    windows.active = true;
    defaults().setValue(QStringLiteral("AutoSaveAtBG"), true);
    store->saveWithTimer();
    EXPECT_EQ(saves, 0);
    EXPECT_TRUE(store->saveWhenDeactivate());
    store->applicationDidResignActive();
    EXPECT_EQ(saves, 1);
    EXPECT_FALSE(store->saveWhenDeactivate());
    store->applicationDidResignActive();
    EXPECT_EQ(saves, 1) << "only a save that waited runs";

    defaults().setValue(QStringLiteral("AutoSaveAtBG"), false);
    store->saveWithTimer();
    EXPECT_EQ(saves, 2);
}

TEST_F(DataStoreTest, CleanUpMovesFilesOfRemovedPagesAside)
{
    StandInWindows windows;
    saveSmallTree(windows);
    auto store = loadedStore(windows);
    const qint64 kept = store->rootMemo()->children().back()->memoID();
    const QString notes = noteDataFolderPath();
    writeFile(notes + QStringLiteral("/%1_mobile.webarchive").arg(kept), "web clip of a page that is no clip");
    writeFile(notes + QStringLiteral("/%1.webarchive").arg(kept), "same");
    writeFile(notes + QStringLiteral("/9999.jw3page"), "a removed page");
    writeFile(notes + QStringLiteral("/9998_mobile.webarchive"), "a removed clip");
    writeFile(notes + QStringLiteral("/notes.txt"), "not a number: ID 0");
    writeFile(notes + QStringLiteral("/%1.jw3page.HYtawu").arg(kept), "a write cut off by a crash");
    writeFile(folder() + QStringLiteral("/JW3Data.jw3datastore.Ab12Cd"), "a cut-off save of the tree");

    store->cleanUpRemovedMemoFiles();
    const QString trash = trashFolderPath();
    for (const QString &moved : {QStringLiteral("9999.jw3page"), QStringLiteral("9998_mobile.webarchive"),
             QStringLiteral("notes.txt"), QStringLiteral("%1.jw3page.HYtawu").arg(kept)}) {
        EXPECT_TRUE(QFileInfo::exists(trash + u'/' + moved)) << moved.toStdString();
        EXPECT_FALSE(QFileInfo::exists(notes + u'/' + moved)) << moved.toStdString();
    }
    EXPECT_TRUE(PageFile::exists(kept));
    EXPECT_TRUE(QFileInfo::exists(trash + QStringLiteral("/JW3Data.jw3datastore.Ab12Cd")));
    EXPECT_TRUE(QFileInfo::exists(folder() + QStringLiteral("/JW3Data.jw3datastore")));
    EXPECT_FALSE(QFileInfo::exists(notes + QStringLiteral("/%1.webarchive").arg(kept)))
        << "archives of a page that is not a web clip go";
    EXPECT_FALSE(QFileInfo::exists(trash + QStringLiteral("/%1_mobile.webarchive").arg(kept)))
        << "a page's own archive is not moved, it is removed";
    EXPECT_EQ(windows.revealed, QStringList{trash});
    EXPECT_TRUE(QFileInfo(trash).isDir());
}

TEST_F(DataStoreTest, SwitchingToAnEmptyFolderCopiesTheDataThere)
{
    StandInWindows windows;
    saveSmallTree(windows);
    auto store = loadedStore(windows);
    store->observeDefaults();
    store->rootMemo()->children().front()->setTitle(QStringLiteral("A renamed"));
    const QString newFolder = home() + QStringLiteral("/Moved");
    ASSERT_TRUE(QDir().mkpath(newFolder + QStringLiteral("/something")));

    defaults().setValue(QStringLiteral("dataFolderPath"), newFolder);
    EXPECT_EQ(dataFolderPath(), newFolder);
    EXPECT_TRUE(QFileInfo(home() + QStringLiteral("/Jotwell3_OldFolder/something")).isDir())
        << "what was in the way is kept";
    EXPECT_EQ(windows.closedAll, 0) << "the data in memory stay";

    StandInWindows again;
    auto reloaded = loadedStore(again);
    EXPECT_EQ(reloaded->rootMemo()->children().front()->title(), QStringLiteral("A renamed"))
        << "the edit was saved into the old folder and came along";
}

TEST_F(DataStoreTest, SwitchingToAFolderWithDataLoadsIt)
{
    StandInWindows windows;
    saveSmallTree(windows);
    const QString other = home() + QStringLiteral("/Other");
    ASSERT_TRUE(QDir().mkpath(other));
    ASSERT_TRUE(QFile::copy(
        folder() + QStringLiteral("/JW3Data.jw3datastore"), other + QStringLiteral("/JW3Data.jw3datastore")));

    auto store = loadedStore(windows);
    store->observeDefaults();
    store->rootMemo()->children().back()->setTitle(QStringLiteral("B, edited before the switch"));
    defaults().setValue(QStringLiteral("QuitApp"), true);
    const MemoPtr oldRoot = store->rootMemo();

    defaults().setValue(QStringLiteral("dataFolderPath"), other);
    EXPECT_EQ(windows.closedAll, 1);
    EXPECT_NE(store->rootMemo(), oldRoot);
    EXPECT_EQ(store->rootMemo()->children().back()->title(), QStringLiteral("B"));
    EXPECT_TRUE(defaults().boolForKey(QStringLiteral("QuitApp"))) << "restored after the windows closed";

    // The edit went into the old folder before the switch.
    defaults().setValue(QStringLiteral("dataFolderPath"), folder());
    EXPECT_EQ(store->rootMemo()->children().back()->title(), QStringLiteral("B, edited before the switch"));

    // With notToSave, the old folder is not written.
    store->rootMemo()->children().back()->setTitle(QStringLiteral("not saved"));
    store->setNotToSave(true);
    defaults().setValue(QStringLiteral("dataFolderPath"), other);
    defaults().setValue(QStringLiteral("dataFolderPath"), folder());
    EXPECT_EQ(store->rootMemo()->children().back()->title(), QStringLiteral("B, edited before the switch"));
    EXPECT_FALSE(store->notToSave());
}

} // namespace
