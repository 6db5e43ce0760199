#include "common/QtPrinters.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <memory>
#include <vector>

namespace {

// What the log should hold, entries separated by spaces.
QStringList expected(const char *entries)
{
    return QString::fromLatin1(entries).split(u' ');
}

// Each test has a centre of its own, so observers never leak between tests.
class NotificationCenterTest : public ::testing::Test
{
protected:
    NotificationCenter center;
    QStringList log;

    NotificationCenter::Handler record(const QString &who)
    {
        return [this, who](const Notification &n) {
            log.append(who + u':' + n.name);
        };
    }
};

TEST_F(NotificationCenterTest, deliversByNameAndBySender)
{
    QObject anyReceiver, fromA, fromB, senderA, senderB;
    center.addObserver(&anyReceiver, NotificationNames::JW3SaveData, nullptr, record("any"));
    center.addObserver(&fromA, NotificationNames::JW3SaveData, &senderA, record("a"));
    center.addObserver(&fromB, NotificationNames::JW3SaveData, &senderB, record("b"));

    center.post(NotificationNames::JW3SaveData, &senderA);
    center.post(NotificationNames::JW3SaveData, nullptr);
    center.post(NotificationNames::JW3SaveMemoContent, &senderA);

    EXPECT_EQ(log, expected("any:JW3SaveData a:JW3SaveData any:JW3SaveData"));
}

TEST_F(NotificationCenterTest, passesSenderAndUserInfoAndKeepsTheOrderOfAdding)
{
    QObject first, everything, last, sender;
    Notification received;
    center.addObserver(&first, NotificationNames::JWSReportSyncProgress, nullptr, record("first"));
    center.addObserver(&everything, QString(), nullptr, [&](const Notification &n) {
        received = n;
        log.append("everything:" + n.name);
    });
    center.addObserver(&last, NotificationNames::JWSReportSyncProgress, nullptr, record("last"));

    center.post(NotificationNames::JWSReportSyncProgress, &sender, {{"progress", 0.25}});

    EXPECT_EQ(log, expected("first:JWSReportSyncProgress everything:JWSReportSyncProgress last:JWSReportSyncProgress"));
    EXPECT_EQ(received.object, &sender);
    EXPECT_DOUBLE_EQ(received.userInfo.value("progress").toDouble(), 0.25);
}

TEST_F(NotificationCenterTest, anObserverRemovedDuringDeliveryIsNotCalledAgain)
{
    QObject remover, removed, self;
    center.addObserver(&remover, NotificationNames::JW3ReloadOutlineData, nullptr, [&](const Notification &) {
        log.append("remover");
        center.removeObserver(&removed);
    });
    center.addObserver(&removed, NotificationNames::JW3ReloadOutlineData, nullptr, record("removed"));
    center.addObserver(&self, NotificationNames::JW3ReloadOutlineData, nullptr, [&](const Notification &) {
        log.append("self");
        center.removeObserver(&self, NotificationNames::JW3ReloadOutlineData);
    });

    center.post(NotificationNames::JW3ReloadOutlineData);
    center.post(NotificationNames::JW3ReloadOutlineData);

    EXPECT_EQ(log, expected("remover self remover"));
    EXPECT_EQ(center.observerCount(), 1);
}

TEST_F(NotificationCenterTest, anObserverAddedDuringDeliveryHearsTheNextNotification)
{
    QObject adder, added;
    bool addedOnce = false;
    center.addObserver(&adder, NotificationNames::JW3SaveData, nullptr, [&](const Notification &) {
        log.append("adder");
        if (!addedOnce) {
            addedOnce = true;
            center.addObserver(&added, NotificationNames::JW3SaveData, nullptr, record("added"));
            // A new name during delivery must not disturb the list being walked.
            center.addObserver(&added, "SomethingNew", nullptr, record("added"));
        }
    });

    center.post(NotificationNames::JW3SaveData);
    center.post(NotificationNames::JW3SaveData);

    EXPECT_EQ(log, expected("adder adder added:JW3SaveData"));
}

TEST_F(NotificationCenterTest, observersGoAwayWithTheirReceiver)
{
    auto receiver = std::make_unique<QObject>();
    center.addObserver(receiver.get(), NotificationNames::JW3SaveData, nullptr, record("gone"));
    center.addObserver(receiver.get(), QString(), nullptr, record("gone"));
    EXPECT_EQ(center.observerCount(), 2);

    receiver.reset();
    center.post(NotificationNames::JW3SaveData);
    EXPECT_TRUE(log.isEmpty());
    EXPECT_EQ(center.observerCount(), 0);
}

TEST_F(NotificationCenterTest, aReceiverDestroyedByItsOwnHandlerIsSafe)
{
    auto *receiver = new QObject;
    QObject later;
    center.addObserver(receiver, NotificationNames::JW3SaveData, nullptr, [&, receiver](const Notification &) {
        log.append("deleting");
        delete receiver;
    });
    center.addObserver(&later, NotificationNames::JW3SaveData, nullptr, record("later"));

    center.post(NotificationNames::JW3SaveData);
    center.post(NotificationNames::JW3SaveData);

    EXPECT_EQ(log, expected("deleting later:JW3SaveData later:JW3SaveData"));
}

TEST_F(NotificationCenterTest, anObservationOfADestroyedSenderNeverBecomesAnyoneElses)
{
    QObject receiver;
    auto sender = std::make_unique<QObject>();
    center.addObserver(&receiver, NotificationNames::BDSReceivedPacket, sender.get(), record("r"));
    sender.reset();

    QObject otherSender;
    center.post(NotificationNames::BDSReceivedPacket, nullptr);
    center.post(NotificationNames::BDSReceivedPacket, &otherSender);
    EXPECT_TRUE(log.isEmpty());
}

TEST_F(NotificationCenterTest, removalByNameAndSenderLeavesTheOtherObservations)
{
    QObject receiver, senderA, senderB;
    center.addObserver(&receiver, NotificationNames::JW3SaveData, &senderA, record("a"));
    center.addObserver(&receiver, NotificationNames::JW3SaveData, &senderB, record("b"));
    center.addObserver(&receiver, NotificationNames::JW3SaveMemoContent, nullptr, record("c"));

    center.removeObserver(&receiver, NotificationNames::JW3SaveData, &senderA);
    center.post(NotificationNames::JW3SaveData, &senderA);
    center.post(NotificationNames::JW3SaveData, &senderB);
    center.post(NotificationNames::JW3SaveMemoContent, &senderA);

    EXPECT_EQ(log, expected("b:JW3SaveData c:JW3SaveMemoContent"));
}

TEST_F(NotificationCenterTest, manyReceiversComeAndGoWithoutLosingTheRest)
{
    // Enough to make the centre compact its lists several times over.
    QObject survivor;
    int survivorCalls = 0;
    center.addObserver(
        &survivor, NotificationNames::JW3SaveMemoContent, nullptr, [&](const Notification &) { ++survivorCalls; });
    for (int round = 0; round < 3; ++round) {
        std::vector<std::unique_ptr<QObject>> pages;
        int calls = 0;
        for (int i = 0; i < 1000; ++i) {
            pages.push_back(std::make_unique<QObject>());
            center.addObserver(pages.back().get(), NotificationNames::JW3SaveMemoContent, nullptr,
                [&](const Notification &) { ++calls; });
        }
        center.post(NotificationNames::JW3SaveMemoContent);
        EXPECT_EQ(calls, 1000);
        pages.clear();
    }
    center.post(NotificationNames::JW3SaveMemoContent);
    EXPECT_EQ(survivorCalls, 4);
    EXPECT_EQ(center.observerCount(), 1);
}

} // namespace
