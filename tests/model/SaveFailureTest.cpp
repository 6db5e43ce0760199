// A save that cannot write loses nothing: the old files stay whole, what
// could not be written stays edited and is written by the next save, the
// store says why in plain words, and an unreadable page file goes aside
// instead of being written over.
#include "DataFolder.h"
#include "common/WriteFailures.h"
#include "model/PageFile.h"
#include "platform/base/FileContents.h"
#include "platform/settings/FolderPaths.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QSignalSpy>

namespace {

class SaveFailureTest : public DataFolderTest
{
protected:
    void SetUp() override
    {
        DataFolderTest::SetUp();
        // No window holds unsaved text: only the failed save can make the timer save.
        m_windows.edited = false;
        m_store = loadedStore(&m_windows);
        m_page = JWMemo::memo();
        m_page->setTitle(QStringLiteral("Kept"));
        m_page->setMemoDataWithPlainText(QStringLiteral("first version"));
        m_store->rootMemo()->appendChild(m_page);
        ASSERT_TRUE(m_store->save().ok());
        m_saved = pageFile();
        ASSERT_FALSE(m_saved.isEmpty());
    }
    void TearDown() override
    {
        m_store.reset();
        DataFolderTest::TearDown();
    }

    QByteArray pageFile() const { return FileContents::read(notePathForID(m_page->memoID())).valueOr({}); }

    StandInWindows m_windows;
    std::unique_ptr<DataStore> m_store;
    MemoPtr m_page;
    QByteArray m_saved;
};

TEST_F(SaveFailureTest, AFullDiskKeepsTheOldFileAndThePageEditedUntilASaveSucceeds)
{
    QSignalSpy changes(m_store.get(), &DataStore::stateChanged);
    m_page->setMemoDataWithPlainText(QString(20'000, u'x'));
    m_page->setIsEdited(true);
    {
        FileSizeLimit full(4096);
        ASSERT_TRUE(full.active());
        const Status saved = m_store->save();
        ASSERT_FALSE(saved.ok());
        EXPECT_TRUE(m_page->isEdited());
        EXPECT_FALSE(m_page->saveError().isEmpty());
        EXPECT_TRUE(m_store->saveFailure().startsWith(QStringLiteral("The disk is full")))
            << m_store->saveFailure().toStdString();
        EXPECT_EQ(pageFile(), m_saved) << "the page file is the old one, whole";
    }
    EXPECT_EQ(changes.count(), 1);

    // Room again: the timer's save writes what waited, though no window is edited.
    m_store->saveWithTimer();
    EXPECT_TRUE(m_store->finishWriting().ok());
    EXPECT_FALSE(m_page->isEdited());
    EXPECT_TRUE(m_store->saveFailure().isEmpty());
    EXPECT_EQ(changes.count(), 2);
    EXPECT_EQ(PageFile::memoDataIn(*PageFile::read(m_page->memoID())), m_page->memoData());
}

TEST_F(SaveFailureTest, AReadOnlyFolderIsRetriedOnceWriteAccessReturns)
{
    m_page->setMemoDataWithPlainText(QStringLiteral("second version"));
    m_page->setIsEdited(true);
    WithoutWriteAccess readOnly({folder(), noteDataFolderPath()}, {home()});
    if (!readOnly.active())
        GTEST_SKIP() << "no second user to write as";

    ASSERT_FALSE(m_store->save().ok());
    EXPECT_TRUE(m_page->isEdited());
    EXPECT_EQ(m_store->saveFailure(), QStringLiteral("Permission denied: ") + noteDataFolderPath());
    EXPECT_EQ(pageFile(), m_saved);

    readOnly.giveAccessBack();
    m_store->saveWithTimer();
    EXPECT_TRUE(m_store->finishWriting().ok());
    EXPECT_FALSE(m_page->isEdited());
    EXPECT_TRUE(m_store->saveFailure().isEmpty()) << m_store->saveFailure().toStdString();
    EXPECT_EQ(PageFile::memoDataIn(*PageFile::read(m_page->memoID())), m_page->memoData());
}

TEST_F(SaveFailureTest, AnUnreadablePageFileIsSetAsideBeforeTheNextWrite)
{
    const QString path = notePathForID(m_page->memoID());
    writeFile(path, "\x01\x02 not a property list");
    // A fresh start: the page's text is read from its file when first asked for.
    m_store = loadedStore(&m_windows);
    const MemoPtr page = m_store->rootMemo()->children().back();
    ASSERT_EQ(page->memoID(), m_page->memoID());
    page->setTitle(QStringLiteral("Renamed"));
    ASSERT_TRUE(m_store->save().ok());

    const QStringList aside
        = QDir(noteDataFolderPath()).entryList({QFileInfo(path).fileName() + QStringLiteral(".unreadable-*")});
    ASSERT_EQ(aside.size(), 1);
    EXPECT_EQ(FileContents::read(noteDataFolderPath() + u'/' + aside.front()).value(),
        QByteArray("\x01\x02 not a property list"));
    EXPECT_EQ(PageFile::read(page->memoID())->value(QStringLiteral("title")).toString(), QStringLiteral("Renamed"));
}

} // namespace
