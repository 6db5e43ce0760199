// What the user sees when the data folder fails: the cause, in every window's bar until a save succeeds.
#include "app/DataFolderLock.h"
#include "AppSessionTest.h"
#include "common/WriteFailures.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "model/PageFile.h"
#include "windows/NoteMainWindow.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QLabel>

namespace {

class StoreProblemsTest : public AppSessionTest
{
protected:
    // The text of the window's problem bar; empty while the bar is hidden.
    static QString barText(NoteWindow *window)
    {
        auto *controller = dynamic_cast<NoteWindowController *>(window);
        if (!controller)
            return QStringLiteral("(no window)");
        const QWidget *bar = controller->mainWindow().findChild<QWidget *>(QStringLiteral("storeProblemBar"));
        if (!bar || bar->isHidden())
            return {};
        return controller->mainWindow().findChild<QLabel *>(QStringLiteral("storeProblemText"))->text();
    }
};

TEST_F(StoreProblemsTest, AClipOnAFullDiskAnswersTheErrorAndEveryWindowShowsItUntilASaveSucceeds)
{
    const auto application = start();
    NoteWindow *second = application->openWindowWithMemo(application->rootMemo());
    const QString text = QString(20'000, u'w');
    {
        FileSizeLimit full(4096);
        ASSERT_TRUE(full.active());
        auto clipped = application->clipText(text);
        ASSERT_FALSE(clipped.ok());
        EXPECT_TRUE(clipped.errorMessage().contains(QStringLiteral("The disk is full")))
            << clipped.errorMessage().toStdString();
    }
    const MemoPtr clip = application->tree().parentOfClippingMemo()->children().back();
    EXPECT_EQ(clip->plainText(), text);
    EXPECT_TRUE(clip->isEdited());
    for (NoteWindow *window : application->windowControllers())
        EXPECT_TRUE(barText(window).contains(QStringLiteral("The disk is full"))) << barText(window).toStdString();

    ASSERT_TRUE(application->save().ok());
    EXPECT_EQ(barText(second), QString());
    EXPECT_FALSE(clip->isEdited());
    EXPECT_TRUE(PageFile::exists(clip->memoID()));
}

TEST_F(StoreProblemsTest, AnUnreadableDataFileIsNamedInTheWindowAndItsPagesComeBackFromTheirFiles)
{
    {
        const auto application = start();
        const MemoPtr page = JWMemo::memo();
        page->setTitle(QStringLiteral("Diary"));
        page->setMemoDataWithPlainText(QStringLiteral("Dear diary"));
        application->rootMemo()->appendChild(page);
        ASSERT_TRUE(application->save().ok());
    }
    QFile store(dataFilePath());
    ASSERT_TRUE(store.open(QIODevice::WriteOnly | QIODevice::Truncate) && store.write("\x7f noise \x01\x02") > 0);
    store.close();

    const auto application = start();
    const QStringList aside = QDir(dataFolderPath()).entryList({QStringLiteral("JW3Data.jw3datastore.unreadable-*")});
    ASSERT_EQ(aside.size(), 1);
    NoteWindow *window = application->frontWindowController();
    EXPECT_TRUE(barText(window).contains(aside.front())) << barText(window).toStdString();

    QAction *recover = dynamic_cast<NoteWindowController *>(window)->action(QStringLiteral("recoverPagesAction"));
    ASSERT_NE(recover, nullptr);
    recover->trigger();
    const MemoPtr recovered
        = application->tree().memoWithTitle(QStringLiteral("Recovered pages"), application->rootMemo());
    ASSERT_NE(recovered, nullptr);
    EXPECT_EQ(application->tree().parentOfMemo(recovered), application->rootMemo());
    const MemoPtr diary = application->tree().memoWithTitle(QStringLiteral("Diary"), recovered);
    ASSERT_NE(diary, nullptr);
    EXPECT_EQ(diary->plainText(), QStringLiteral("Dear diary"));
    EXPECT_EQ(barText(window), QString());
}

TEST_F(StoreProblemsTest, AFullDiskAtStartUpIsCalledFull)
{
    const QString folder = home() + QStringLiteral("/Full");
    ASSERT_TRUE(QDir().mkpath(folder));
    DataFolderLock lock;
    Status locked;
    {
        FileSizeLimit full(0);
        ASSERT_TRUE(full.active());
        locked = lock.lock(folder);
    }
    ASSERT_FALSE(locked.ok());
    EXPECT_EQ(locked.errorMessage(), QStringLiteral("The disk holding the data folder %1 is full.").arg(folder));
}

} // namespace
