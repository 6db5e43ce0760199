// The desktop's server and a companion speaking the phone's side, over
// loopback, with a store built in the test.
#include "TestCompanion.h"

#include "common/FreshUserTest.h"
#include "model/JWMemo.h"
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

const QDateTime lastSync(QDate(2025, 1, 1), QTime(0, 0), Qt::UTC);
const QDateTime before(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC);
const QDateTime after(QDate(2026, 6, 1), QTime(0, 0), Qt::UTC);
const QDateTime onPhone(QDate(2027, 1, 1), QTime(0, 0), Qt::UTC);

QStringList titles(const std::vector<MemoPtr> &memos)
{
    QStringList list;
    for (const MemoPtr &memo : memos)
        list.append(memo->title());
    return list;
}

QStringList titles(const QVariantMap &dictionary)
{
    QStringList list;
    for (const QVariant &child : dictionary.value(QStringLiteral("children")).toList())
        list.append(child.toMap().value(QStringLiteral("title")).toString());
    return list;
}

QVariantMap phonePage(qint64 id, const QString &title, const QString &text, const QDateTime &date)
{
    return {{QStringLiteral("memoID"), id}, {QStringLiteral("title"), title}, {QStringLiteral("plainText"), text},
        {QStringLiteral("createdAt"), date}, {QStringLiteral("modifiedAt"), date},
        {QStringLiteral("children"), QVariantList()}};
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
        defaults.setValue(PreferenceKeys::LastSynchronizedDate, lastSync);
        defaults.setValue(PreferenceKeys::SyncAskBeforeNewDevice, false);
        qputenv("JW_SYNC_PORT", "0");

        root = page(QStringLiteral("root"), 1, nullptr, before);
        tree.setRoot(root);
        page(QStringLiteral("Elsewhere"), 2, root, before);
        group = page(QStringLiteral("Phone"), 10, root, before);
        page(QStringLiteral("A"), 11, group, before);
        page(QStringLiteral("D"), 14, group, before);
        page(QStringLiteral("B"), 12, group, after);

        desktop = std::make_unique<JW3SyncServer>(*this);
        desktop->startServer();
        ASSERT_TRUE(desktop->server()->isListening());
    }

    static MemoPtr page(const QString &title, qint64 id, const MemoPtr &parent, const QDateTime &date)
    {
        MemoPtr memo = JWMemo::bareMemo();
        memo->setTitle(title);
        memo->setMemoID(id);
        memo->setMemoDataWithPlainText(title + QStringLiteral(" on the desktop"));
        memo->setCreatedAt(date);
        memo->setModifiedAt(date);
        if (parent)
            parent->appendChild(memo);
        return memo;
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
    MemoPtr root;
    MemoPtr group;
    std::unique_ptr<JW3SyncServer> desktop;
    int saves = 0;
    int backups = 0;
    int merges = 0;
    QStringList questions;
    bool allowDevices = true;
};

TEST_F(SyncExchangeTest, TwoWaySyncMergesThePhonesTreeAndSendsTheResultBack)
{
    TestCompanion phone;
    ASSERT_TRUE(phone.connectTo(port()));
    QVariantMap tree = phonePage(10, QStringLiteral("Phone"), QString(), before);
    tree.insert(QStringLiteral("children"),
        QVariantList{phonePage(11, QStringLiteral("A"), QStringLiteral("A from the phone"), onPhone),
            phonePage(99, QStringLiteral("C"), QStringLiteral("new on the phone"), onPhone)});
    phone.tree = tree;

    ASSERT_TRUE(phone.request(QStringLiteral("iPhoneRequestsSync")));

    EXPECT_EQ(saves, 1);
    EXPECT_EQ(backups, 1);
    EXPECT_EQ(merges, 1);
    // A took the phone's later text; C is new; D, untouched since the last
    // sync and unknown to the phone, was deleted there; B, made since, stays.
    ASSERT_EQ(titles(group->children()), (QStringList{"A", "C", "Removed Memo", "B"}));
    EXPECT_EQ(group->children()[0]->plainText(), QStringLiteral("A from the phone"));
    EXPECT_EQ(titles(group->children()[2]->children()), QStringList{"D"});
    EXPECT_EQ(titles(root->children()), (QStringList{"Elsewhere", "Phone"}));
    EXPECT_GT(JW3SyncServer::lastSynchronizedDate(), lastSync);
    // The phone gets the merged tree without the removed pages.
    EXPECT_EQ(titles(phone.received), (QStringList{"A", "C", "B"}));
    EXPECT_EQ(
        phone.received.value(QStringLiteral("children")).toList().at(2).toMap().value(QStringLiteral("plainText")),
        QStringLiteral("B on the desktop"));
}

TEST_F(SyncExchangeTest, OverwriteSendsTheDesktopsTreeWithEachDevicesWebArchive)
{
    const MemoPtr clip = page(QStringLiteral("Clip"), 15, group, before);
    clip->setWebURLStr(QStringLiteral("http://example.org/"));
    for (const auto &[path, bytes] : {std::pair{webarchivePathForID(15), QByteArray("desktop archive")},
             std::pair{mobileWebarchivePathForID(15), QByteArray("mobile archive")}}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    TestCompanion phone;
    ASSERT_TRUE(phone.connectTo(port()));
    for (const auto &[request, archive] : {std::pair{QStringLiteral("iPhoneRequestsOverwriteSync"), "mobile archive"},
             std::pair{QStringLiteral("iPadRequestsOverwriteSync"), "desktop archive"}}) {
        SCOPED_TRACE(request.toStdString());
        ASSERT_TRUE(phone.request(request));
        EXPECT_EQ(titles(phone.received), (QStringList{"A", "D", "B", "Clip"}));
        const QVariantMap sentClip = phone.received.value(QStringLiteral("children")).toList().at(3).toMap();
        EXPECT_EQ(sentClip.value(QStringLiteral("webArchive")).toByteArray(), QByteArray(archive));
        EXPECT_FALSE(sentClip.contains(QStringLiteral("plainText")));
    }
    EXPECT_EQ(merges, 0);
    EXPECT_EQ(JW3SyncServer::lastSynchronizedDate(), lastSync);
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
    const QStringList untouched = titles(group->children());
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
    pushy.tree = phonePage(10, QStringLiteral("Phone"), QString(), onPhone);
    ASSERT_TRUE(pushy.connectTo(port()));
    ASSERT_TRUE(pushy.sendData(SyncPayload::encode(pushy.tree).value()));
    EXPECT_TRUE(pushy.waitForDisconnect());

    // A phone that goes away in the middle of its transfer.
    TestCompanion gone;
    gone.tree = phonePage(10, QStringLiteral("Phone"), QString(), onPhone);
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
    EXPECT_EQ(titles(group->children()), untouched);

    // A well-behaved phone is served after all of them.
    TestCompanion phone;
    phone.tree = phonePage(10, QStringLiteral("Phone"), QString(), before);
    ASSERT_TRUE(phone.connectTo(port()));
    ASSERT_TRUE(phone.request(QStringLiteral("iPhoneRequestsSync")));
    EXPECT_EQ(merges, 1);
}

} // namespace
