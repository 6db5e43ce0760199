// The desktop's server and a companion speaking the phone's side, over
// loopback, with a store built in the test.
#include "SyncTrees.h"
#include "TestCompanion.h"

#include "common/FreshUserTest.h"
#include "model/MemoTree.h"
#include "platform/base/Localization.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"
#include "sync/JW3SyncServer.h"
#include "sync/Server.h"
#include "sync/SyncHost.h"
#include "sync/SyncPayload.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

namespace {

using SyncTrees::day;
using SyncTrees::entry;
using SyncTrees::page;
using SyncTrees::titles;

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

class SyncExchangeTest : public FreshUserTest, public SyncHost
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        Localization::install();
        UserDefaults &defaults = UserDefaults::standardUserDefaults();
        defaults.setValue(PreferenceKeys::abGroupName, QStringLiteral("Phone"));
        defaults.setValue(PreferenceKeys::LastSynchronizedDate, day(10));
        defaults.setValue(PreferenceKeys::SyncAskBeforeNewDevice, false);
        qputenv("JW_SYNC_PORT", "0");

        tree.setRoot(page(QStringLiteral("root"), 1, 0));
        group = page(QStringLiteral("Phone"), 10, 0, tree.root());
        page(QStringLiteral("A"), 11, 0, group);
        page(QStringLiteral("D"), 14, 0, group);
        page(QStringLiteral("B"), 12, 20, group);

        desktop = std::make_unique<JW3SyncServer>(*this);
        desktop->startServer();
        ASSERT_TRUE(desktop->server()->isListening());
    }

    [[nodiscard]] quint16 port() const { return desktop->server()->port(); }

    // SyncHost
    MemoTree &syncMemoTree() override { return tree; }
    Status saveBeforeSync() override
    {
        ++saves;
        return {};
    }
    Status backUpBeforeMerge(const MemoPtr &) override
    {
        ++backups;
        return {};
    }
    void syncMerged(const MemoPtr &) override { ++merges; }
    void askToAllowDevice(const QString &, const QString &pageTitle, std::function<void(bool)> answer) override
    {
        questions.append(pageTitle);
        answer(allowDevices);
    }

    MemoTree tree;
    MemoPtr group;
    std::unique_ptr<JW3SyncServer> desktop;
    int saves = 0, backups = 0, merges = 0;
    QStringList questions;
    bool allowDevices = true;
};

TEST_F(SyncExchangeTest, TwoWaySyncMergesThePhonesTreeAndSendsTheResultBack)
{
    TestCompanion phone;
    ASSERT_TRUE(phone.connectTo(port()));
    phone.tree = entry(
        10, QStringLiteral("Phone"), 0, {entry(11, QStringLiteral("A2"), 30), entry(99, QStringLiteral("C"), 30)});

    ASSERT_TRUE(phone.request(QStringLiteral("iPhoneRequestsSync")));

    EXPECT_EQ(saves, 1);
    EXPECT_EQ(backups, 1);
    EXPECT_EQ(merges, 1);
    // A took the phone's later title; C is new; D, untouched since the last
    // sync and unknown to the phone, was deleted there; B, made since, stays.
    ASSERT_EQ(titles(group), (QStringList{"A2", "C", "Removed Memo", "B"}));
    EXPECT_EQ(titles(group->children()[2]), QStringList{"D"});
    EXPECT_GT(JW3SyncServer::lastSynchronizedDate(), day(10));
    // The phone gets the merged tree without the removed pages.
    EXPECT_EQ(titles(phone.received), (QStringList{"A2", "C", "B"}));
}

TEST_F(SyncExchangeTest, OverwriteSendsTheDesktopsTreeWithEachDevicesWebArchive)
{
    page(QStringLiteral("Clip"), 15, 0, group)->setWebURLStr(QStringLiteral("http://example.org/"));
    TestCompanion phone;
    ASSERT_TRUE(phone.connectTo(port()));
    const auto clipArchiveFor = [&phone](const QString &request) {
        EXPECT_TRUE(phone.request(request));
        EXPECT_EQ(titles(phone.received), (QStringList{"A", "D", "B", "Clip"}));
        const QVariantMap clip = phone.received.value(QStringLiteral("children")).toList().value(3).toMap();
        EXPECT_FALSE(clip.contains(QStringLiteral("plainText")));
        return clip.value(QStringLiteral("webArchive")).toByteArray();
    };
    writeFile(webarchivePathForID(15), "desktop archive");
    EXPECT_EQ(clipArchiveFor(QStringLiteral("iPhoneRequestsOverwriteSync")), "desktop archive");
    writeFile(mobileWebarchivePathForID(15), "mobile archive");
    EXPECT_EQ(clipArchiveFor(QStringLiteral("iPhoneRequestsOverwriteSync")), "mobile archive");
    EXPECT_EQ(clipArchiveFor(QStringLiteral("iPadRequestsOverwriteSync")), "desktop archive");
    EXPECT_EQ(merges, 0);
    EXPECT_EQ(JW3SyncServer::lastSynchronizedDate(), day(10));
}

TEST_F(SyncExchangeTest, AnswersWithoutTheGroupPageAndAsksAboutNewDevicesOnce)
{
    group->setTitle(QStringLiteral("Renamed"));
    TestCompanion phone;
    ASSERT_TRUE(phone.connectTo(port()));
    ASSERT_TRUE(phone.request(QStringLiteral("iPhoneRequestsOverwriteSync")));
    EXPECT_EQ(phone.messages, QStringList{"syncMemoNotFoundError"});

    UserDefaults::standardUserDefaults().setValue(PreferenceKeys::SyncAskBeforeNewDevice, true);
    allowDevices = false;
    ASSERT_TRUE(phone.sendMessage(QStringLiteral("iPhoneRequestsSync")));
    EXPECT_TRUE(phone.waitForDisconnect());
    EXPECT_EQ(questions, QStringList{"Phone"});

    // The answer is remembered for that device.
    TestCompanion again;
    ASSERT_TRUE(again.connectTo(port()));
    ASSERT_TRUE(again.sendMessage(QStringLiteral("iPhoneRequestsSync")));
    EXPECT_TRUE(again.waitForDisconnect());
    EXPECT_EQ(questions.size(), 1);
    EXPECT_EQ(saves, 0);
}

TEST_F(SyncExchangeTest, BrokenPhonesLeaveTheStoreAsItWas)
{
    const QStringList untouched = titles(group);
    QSignalSpy refused(desktop.get(), &BonjourDataServer::transferRefused);

    // Bytes that are no page tree.
    TestCompanion garbage;
    garbage.rawPayload = QByteArray(3000, 'g');
    ASSERT_TRUE(garbage.connectTo(port()));
    ASSERT_TRUE(garbage.sendMessage(QStringLiteral("iPadRequestsSync")));
    EXPECT_TRUE(garbage.waitForDisconnect());
    EXPECT_EQ(refused.size(), 1);

    // A tree nobody asked for.
    TestCompanion pushy;
    pushy.tree = entry(10, QStringLiteral("Phone"), 30);
    ASSERT_TRUE(pushy.connectTo(port()));
    ASSERT_TRUE(pushy.sendData(SyncPayload::encode(pushy.tree).value()));
    EXPECT_TRUE(pushy.waitForDisconnect());

    // A phone that goes away in the middle of its transfer.
    TestCompanion gone;
    gone.tree = entry(10, QStringLiteral("Phone"), 30);
    gone.tree.insert(QStringLiteral("note"), QString(5000, u'x'));
    ASSERT_TRUE(gone.connectTo(port()));
    QObject::connect(&gone, &BonjourDataServer::packetSent, &gone, [&gone](int sent) {
        if (sent == 2)
            gone.server()->disconnectPeer();
    });
    ASSERT_TRUE(gone.sendMessage(QStringLiteral("iPhoneRequestsSync")));
    EXPECT_TRUE(gone.waitForDisconnect());
    QTest::qWait(100);

    EXPECT_EQ(merges, 0);
    EXPECT_EQ(titles(group), untouched);

    // A well-behaved phone is served after all of them.
    TestCompanion phone;
    phone.tree = entry(10, QStringLiteral("Phone"), 0);
    ASSERT_TRUE(phone.connectTo(port()));
    ASSERT_TRUE(phone.request(QStringLiteral("iPhoneRequestsSync")));
    EXPECT_EQ(merges, 1);
}

} // namespace
