// The data folder as the application uses it: start-up, saving, autosave,
// clean-up and switching folders, with a stand-in for the note windows.
#include "DataFolder.h"
#include "model/PageFile.h"
#include "platform/base/FileContents.h"
#include "platform/settings/FolderPaths.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>

namespace {

class DataStoreTest : public DataFolderTest
{
protected:
    // Saves a root with "A" (children "A1", "A2") and "B" to the folder; answers the windows it had open.
    QList<qint64> saveSmallTree()
    {
        StandInWindows before;
        auto store = loadedStore(&before);
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
        before.open = {b->memoID(), a->memoID()};
        EXPECT_TRUE(store->save().ok());
        return before.open;
    }

    static QStringList titles(const MemoPtr &memo)
    {
        QStringList out;
        for (const MemoPtr &child : memo->children())
            out << child->title() + u'(' + titles(child).join(u',') + u')';
        return out;
    }

    QString dataFile() const { return folder() + QStringLiteral("/JW3Data.jw3datastore"); }

    StandInWindows windows;
};

TEST_F(DataStoreTest, AFirstStartMakesATreeSavesItAndOpensTheMainWindow)
{
    auto store = loadedStore(&windows);
    ASSERT_TRUE(store->rootMemo());
    EXPECT_EQ(store->rootMemo()->title(), appName());
    EXPECT_EQ(ApplicationTree::rootMemo(), store->rootMemo());
    EXPECT_EQ(windows.mainWindowShown, 1);
    EXPECT_TRUE(store->problems().isEmpty());
    EXPECT_TRUE(QFileInfo::exists(dataFile()));
    EXPECT_DOUBLE_EQ(defaults().floatForKey(QStringLiteral("ApplicationVersion")), 2.0);
}

TEST_F(DataStoreTest, WhatIsSavedLoadsAgainWithItsWindowsInOrderUnlessOneFailedLastTime)
{
    const QList<qint64> windowOrder = saveSmallTree();
    auto store = loadedStore(&windows);
    EXPECT_EQ(titles(store->rootMemo()), (QStringList{QStringLiteral("A(A1(),A2())"), QStringLiteral("B()")}));
    EXPECT_EQ(windows.open, windowOrder);
    EXPECT_EQ(windows.mainWindowShown, 0);

    // A window that failed to open last time stops the reopening, once.
    defaults().setValue(QStringLiteral("OpeningWindowHasProblem"), true);
    StandInWindows third;
    loadedStore(&third);
    EXPECT_TRUE(third.open.isEmpty());
    EXPECT_EQ(third.mainWindowShown, 1);
    EXPECT_FALSE(defaults().objectForKey(QStringLiteral("OpeningWindowHasProblem")).isValid());
}

TEST_F(DataStoreTest, SavingOneEditWritesThatPageFileOnly)
{
    saveSmallTree();
    auto store = loadedStore(&windows);
    const MemoPtr a1 = store->rootMemo()->children().front()->children().front();
    const MemoPtr b = store->rootMemo()->children().back();
    // Mark B's file, so that a rewrite would show.
    ASSERT_TRUE(PageFile::write(b->memoID(), {{QStringLiteral("title"), QStringLiteral("marker")}}).ok());

    a1->setMemoDataWithPlainText(QStringLiteral("changed"));
    a1->setIsEdited(true);
    ASSERT_TRUE(store->save().ok());
    EXPECT_EQ(PageFile::read(b->memoID())->value(QStringLiteral("title")).toString(), QStringLiteral("marker"));
    EXPECT_FALSE(a1->isEdited());
    EXPECT_EQ(
        loadedStore()->rootMemo()->children().front()->children().front()->plainText(), QStringLiteral("changed"));
}

TEST_F(DataStoreTest, AnUnreadableDataStoreIsSetAsideNeverOverwritten)
{
    saveSmallTree();
    const QByteArray damaged = FileContents::read(dataFile()).value().left(200);
    writeFile(dataFile(), damaged);
    defaults().setValue(QStringLiteral("memoID"), 1); // as if the preferences were lost too

    auto loaded = loadedStore(&windows);
    const QStringList aside = QDir(folder()).entryList({QStringLiteral("JW3Data.jw3datastore.unreadable-*")});
    ASSERT_EQ(aside.size(), 1);
    EXPECT_EQ(FileContents::read(folder() + u'/' + aside.front()).value(), damaged);
    ASSERT_EQ(windows.problems.size(), 1);
    EXPECT_TRUE(windows.problems.front().contains(aside.front()));
    EXPECT_TRUE(loaded->rootMemo()->children().empty()) << "a fresh tree";

    // The old pages' files are all that is left of their text: new pages must not take their IDs.
    EXPECT_GT(JWMemo::memo()->memoID(), 5);
    EXPECT_GE(QDir(noteDataFolderPath()).entryList({QStringLiteral("*.jw3page")}).size(), 5)
        << "no old page file was taken";
}

TEST_F(DataStoreTest, AnUnreadableSettingsFileIsSetAsideAndThePreferencesWindowsApply)
{
    const qint64 window = saveSmallTree().back();
    writeFile(folder() + QStringLiteral("/JW3Data.jw3settings"), "not an archive");
    defaults().setValue(QStringLiteral("windowIDs"), QVariantList{window});

    loadedStore(&windows);
    EXPECT_EQ(QDir(folder()).entryList({QStringLiteral("JW3Data.jw3settings.unreadable-*")}).size(), 1);
    EXPECT_EQ(windows.problems.size(), 1);
    EXPECT_EQ(windows.open, QList<qint64>{window});
}

TEST_F(DataStoreTest, LoadingRaisesTheIDCounterToTheLargestID)
{
    saveSmallTree();
    // Beyond 32 bits, as a counter kept in the preferences may run.
    const qint64 largest = (qint64(1) << 32) + 40;
    {
        auto store = loadedStore(&windows);
        store->rootMemo()->children().back()->setMemoID(largest);
        ASSERT_TRUE(store->save().ok());
    }
    defaults().setValue(QStringLiteral("memoID"), 3);
    EXPECT_EQ(loadedStore()->rootMemo()->children().back()->memoID(), largest);
    EXPECT_EQ(defaults().integerForKey(QStringLiteral("memoID")), largest + 1);
    EXPECT_EQ(JWMemo::memo()->memoID(), largest + 2);
}

TEST_F(DataStoreTest, AutosaveFollowsItsPreferencesAndWaitsForTheBackground)
{
    auto store = loadedStore(&windows);
    store->observeDefaults();
    defaults().setValue(QStringLiteral("AutoSave"), false);
    EXPECT_FALSE(store->isAutoSaveTimerActive());
    defaults().setValue(QStringLiteral("AutoSave"), true);
    ASSERT_TRUE(store->isAutoSaveTimerActive());

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
    store->applicationDidResignActive();
    EXPECT_EQ(saves, 1);
    store->applicationDidResignActive();
    EXPECT_EQ(saves, 1) << "only a save that waited runs";

    defaults().setValue(QStringLiteral("AutoSaveAtBG"), false);
    store->saveWithTimer();
    EXPECT_EQ(saves, 2);
}

TEST_F(DataStoreTest, CleanUpMovesFilesOfRemovedPagesAside)
{
    saveSmallTree();
    auto store = loadedStore(&windows);
    const qint64 kept = store->rootMemo()->children().back()->memoID();
    const QString notes = noteDataFolderPath();
    writeFile(notes + QStringLiteral("/%1_mobile.webarchive").arg(kept), "web clip of a page that is no clip");
    writeFile(notes + QStringLiteral("/%1.webarchive").arg(kept), "same");
    writeFile(notes + QStringLiteral("/9999.jw3page"), "a removed page");
    writeFile(notes + QStringLiteral("/notes.txt"), "not a number: ID 0");
    writeFile(notes + QStringLiteral("/%1.jw3page.HYtawu").arg(kept), "a write cut off by a crash");
    writeFile(dataFile() + QStringLiteral(".Ab12Cd"), "a cut-off save of the tree");

    store->cleanUpRemovedMemoFiles();
    const QString trash = trashFolderPath();
    for (const QString &moved :
        {QStringLiteral("9999.jw3page"), QStringLiteral("notes.txt"), QStringLiteral("%1.jw3page.HYtawu").arg(kept)}) {
        EXPECT_TRUE(QFileInfo::exists(trash + u'/' + moved)) << moved.toStdString();
        EXPECT_FALSE(QFileInfo::exists(notes + u'/' + moved)) << moved.toStdString();
    }
    EXPECT_TRUE(PageFile::exists(kept));
    EXPECT_TRUE(QFileInfo::exists(trash + QStringLiteral("/JW3Data.jw3datastore.Ab12Cd")));
    EXPECT_TRUE(QFileInfo::exists(dataFile()));
    EXPECT_FALSE(QFileInfo::exists(notes + QStringLiteral("/%1.webarchive").arg(kept)))
        << "archives of a page that is not a web clip go";
    EXPECT_FALSE(QFileInfo::exists(trash + QStringLiteral("/%1_mobile.webarchive").arg(kept)))
        << "a page's own archive is not moved, it is removed";
    EXPECT_EQ(windows.revealed, QStringList{trash});
}

TEST_F(DataStoreTest, SwitchingToAnEmptyFolderCopiesTheDataThere)
{
    saveSmallTree();
    auto store = loadedStore(&windows);
    store->observeDefaults();
    store->rootMemo()->children().front()->setTitle(QStringLiteral("A renamed"));
    const QString newFolder = home() + QStringLiteral("/Moved");
    ASSERT_TRUE(QDir().mkpath(newFolder + QStringLiteral("/something")));

    defaults().setValue(QStringLiteral("dataFolderPath"), newFolder);
    EXPECT_TRUE(QFileInfo(home() + QStringLiteral("/Jotwell3_OldFolder/something")).isDir())
        << "what was in the way is kept";
    EXPECT_EQ(loadedStore()->rootMemo()->children().front()->title(), QStringLiteral("A renamed"))
        << "the edit was saved into the old folder and came along";
}

TEST_F(DataStoreTest, SwitchingToAFolderWithDataLoadsItAndSavesTheOldOneFirst)
{
    saveSmallTree();
    const QString other = home() + QStringLiteral("/Other");
    ASSERT_TRUE(QDir().mkpath(other));
    ASSERT_TRUE(QFile::copy(dataFile(), other + QStringLiteral("/JW3Data.jw3datastore")));

    auto store = loadedStore(&windows);
    store->observeDefaults();
    store->rootMemo()->children().back()->setTitle(QStringLiteral("B, edited before the switch"));
    defaults().setValue(QStringLiteral("dataFolderPath"), other);
    EXPECT_EQ(store->rootMemo()->children().back()->title(), QStringLiteral("B"));
    defaults().setValue(QStringLiteral("dataFolderPath"), folder());
    EXPECT_EQ(store->rootMemo()->children().back()->title(), QStringLiteral("B, edited before the switch"));
}

} // namespace
