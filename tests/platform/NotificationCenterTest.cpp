#include "common/QtPrinters.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <memory>
#include <vector>

namespace {

using namespace NotificationNames;

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

TEST_F(NotificationCenterTest, deliversByNameAndSenderInTheOrderOfAdding)
{
    QObject anyReceiver, fromA, everything, sender, senderB;
    Notification received;
    center.addObserver(&anyReceiver, JW3SaveData, nullptr, record("any"));
    center.addObserver(&everything, QString(), nullptr, [&](const Notification &n) {
        received = n;
        log.append("everything:" + n.name);
    });
    center.addObserver(&fromA, JW3SaveData, &sender, record("a"));

    center.post(JW3SaveMemoContent, &sender);
    center.post(JW3SaveData, &senderB);
    center.post(JW3SaveData, &sender, {{"progress", 0.25}});

    EXPECT_EQ(log,
        expected("everything:JW3SaveMemoContent any:JW3SaveData everything:JW3SaveData any:JW3SaveData "
                 "everything:JW3SaveData a:JW3SaveData"));
    EXPECT_EQ(received.object, &sender);
    EXPECT_DOUBLE_EQ(received.userInfo.value("progress").toDouble(), 0.25);
}

// Removed during delivery: not called again; added during delivery: hears the next notification.
TEST_F(NotificationCenterTest, changesDuringDeliveryTakeEffectAtOnceWithoutDisturbingIt)
{
    QObject remover, removed, self, adder, added;
    bool addedOnce = false;
    center.addObserver(&remover, JW3ReloadOutlineData, nullptr, [&](const Notification &) {
        log.append("remover");
        center.removeObserver(&removed);
    });
    center.addObserver(&removed, JW3ReloadOutlineData, nullptr, record("removed"));
    center.addObserver(&self, JW3ReloadOutlineData, nullptr, [&](const Notification &) {
        log.append("self");
        center.removeObserver(&self, JW3ReloadOutlineData);
    });
    center.addObserver(&adder, JW3ReloadOutlineData, nullptr, [&](const Notification &) {
        log.append("adder");
        if (!std::exchange(addedOnce, true)) {
            center.addObserver(&added, JW3ReloadOutlineData, nullptr, record("added"));
            // A new name during delivery must not disturb the list being walked.
            center.addObserver(&added, "SomethingNew", nullptr, record("added"));
        }
    });

    center.post(JW3ReloadOutlineData);
    center.post(JW3ReloadOutlineData);

    EXPECT_EQ(log, expected("remover self adder remover adder added:JW3ReloadOutlineData"));
    EXPECT_EQ(center.observerCount(), 4);
}

TEST_F(NotificationCenterTest, observationsGoAwayWithTheirReceiverOrSender)
{
    auto receiver = std::make_unique<QObject>();
    center.addObserver(receiver.get(), JW3SaveData, nullptr, record("gone"));
    center.addObserver(receiver.get(), QString(), nullptr, record("gone"));
    // A receiver its own handler destroys, and an observation of a sender that is gone.
    auto *selfDeleting = new QObject;
    center.addObserver(selfDeleting, JW3SaveData, nullptr, [&, selfDeleting](const Notification &) {
        log.append("deleting");
        delete selfDeleting;
    });
    QObject later, otherSender;
    auto sender = std::make_unique<QObject>();
    center.addObserver(&later, BDSReceivedPacket, sender.get(), record("bySender"));
    center.addObserver(&later, JW3SaveData, nullptr, record("later"));

    receiver.reset();
    sender.reset();
    center.post(JW3SaveData);
    center.post(JW3SaveData);
    center.post(BDSReceivedPacket, nullptr);
    center.post(BDSReceivedPacket, &otherSender);

    EXPECT_EQ(log, expected("deleting later:JW3SaveData later:JW3SaveData"));
    EXPECT_EQ(center.observerCount(), 2); // the two of the receiver still there
}

TEST_F(NotificationCenterTest, removalByNameAndSenderLeavesTheOtherObservations)
{
    QObject receiver, senderA, senderB;
    center.addObserver(&receiver, JW3SaveData, &senderA, record("a"));
    center.addObserver(&receiver, JW3SaveData, &senderB, record("b"));
    center.addObserver(&receiver, JW3SaveMemoContent, nullptr, record("c"));

    center.removeObserver(&receiver, JW3SaveData, &senderA);
    center.post(JW3SaveData, &senderA);
    center.post(JW3SaveData, &senderB);
    center.post(JW3SaveMemoContent, &senderA);

    EXPECT_EQ(log, expected("b:JW3SaveData c:JW3SaveMemoContent"));
}

TEST_F(NotificationCenterTest, manyReceiversComeAndGoWithoutLosingTheRest)
{
    // Enough to make the centre compact its lists several times over.
    QObject survivor;
    int survivorCalls = 0;
    int calls = 0;
    center.addObserver(&survivor, JW3SaveMemoContent, nullptr, [&](const Notification &) { ++survivorCalls; });
    for (int round = 0; round < 3; ++round) {
        std::vector<std::unique_ptr<QObject>> pages;
        for (int i = 0; i < 1000; ++i) {
            pages.push_back(std::make_unique<QObject>());
            center.addObserver(pages.back().get(), JW3SaveMemoContent, nullptr, [&](const Notification &) { ++calls; });
        }
        center.post(JW3SaveMemoContent);
    }
    center.post(JW3SaveMemoContent);
    EXPECT_EQ(calls, 3000);
    EXPECT_EQ(survivorCalls, 4);
    EXPECT_EQ(center.observerCount(), 1);
}

} // namespace
