// Handing out page IDs in batches: consecutive IDs, one write of the
// preferences per batch, and never an ID twice across a restart.
#include "common/FreshUserTest.h"
#include "model/JWMemo.h"
#include "model/MemoIDAllocator.h"
#include "platform/archive/PropertyList.h"
#include "platform/base/FileContents.h"
#include "platform/settings/UserDefaults.h"

#include <gtest/gtest.h>

namespace {

constexpr qint64 kBatch = MemoIDAllocator::kBatchSize;

// What an application restarted after a crash would find: the preferences on disk.
qint64 savedCounter()
{
    const auto bytes = FileContents::read(UserDefaults::standardFilePath());
    const auto preferences = PropertyList::fromData(bytes.valueOr(QByteArray()));
    return preferences.valueOr(QVariant()).toMap().value(QStringLiteral("memoID")).toLongLong();
}

class MemoIDAllocatorTest : public FreshUserTest
{ };

TEST_F(MemoIDAllocatorTest, idsComeInOrderAndThePreferenceIsWrittenOncePerBatch)
{
    MemoIDAllocator ids;
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("memoID"), 100);
    EXPECT_EQ(ids.next(), 101);
    EXPECT_EQ(savedCounter(), 100 + kBatch) << "the whole batch is reserved at once";
    for (qint64 expected = 102; expected <= 100 + kBatch; ++expected)
        ASSERT_EQ(ids.next(), expected);
    EXPECT_EQ(savedCounter(), 100 + kBatch) << "no write inside a batch";
    EXPECT_EQ(ids.next(), 101 + kBatch);
    EXPECT_EQ(savedCounter(), 100 + 2 * kBatch);
}

TEST_F(MemoIDAllocatorTest, aRestartAfterACrashStartsAboveEveryIDHandedOut)
{
    qint64 last = 0;
    {
        MemoIDAllocator before;
        for (int i = 0; i < 3; ++i)
            last = before.next();
    }
    ASSERT_EQ(last, 3);
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("memoID"), savedCounter());
    MemoIDAllocator restarted;
    EXPECT_EQ(restarted.next(), kBatch + 1);
}

TEST_F(MemoIDAllocatorTest, aCounterMovedUnderTheAllocatorIsFollowed)
{
    MemoIDAllocator &ids = MemoIDAllocator::shared();
    EXPECT_EQ(JWMemo::memo()->memoID(), 1);
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("memoID"), 500);
    EXPECT_EQ(ids.next(), 501);

    ids.resetCounter(20); // the start-up rule may lower it
    EXPECT_EQ(savedCounter(), 20);
    EXPECT_EQ(JWMemo::memo()->memoID(), 21);

    ids.raiseCounter(10);
    EXPECT_EQ(ids.next(), 22) << "raising never lowers";
    ids.raiseCounter(1000);
    EXPECT_EQ(ids.next(), 1001);
}

} // namespace
