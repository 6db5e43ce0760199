// A two-way sync over loopback, both ends in this process, against the
// protocol's own floor: one round trip per packet and per handshake.
#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"
#include "sync/JW3SyncServer.h"
#include "sync/Server.h"
#include "sync/SyncHost.h"
#include "sync/SyncPayload.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

constexpr int kPages = 1000;
constexpr int kTextBytes = 1000;

class BenchHost final : public SyncHost
{
public:
    MemoTree tree;
    MemoTree &syncMemoTree() override { return tree; }
    Status saveBeforeSync() override { return {}; }
    Status backUpBeforeMerge(const MemoPtr &) override { return {}; }
    void syncMerged(const MemoPtr &) override { }
    void askToAllowDevice(const QString &, const QString &, std::function<void(bool)> answer) override { answer(true); }
};

// The phone's side: sends its tree when asked and counts what comes back.
class Phone final : public BonjourDataServer
{
public:
    QByteArray tree;
    int packetsReceived = 0;
    bool done = false;

protected:
    void receiveMessage(const QString &message) override
    {
        BonjourDataServer::receiveMessage(message);
        if (message == u"requestSendingSyncData")
            sendData(tree);
    }
    void processReceivedPacketData() override
    {
        packetsReceived = totalPacket();
        done = true;
    }
};

QString words(int bytes, int seed)
{
    QString text;
    while (text.size() < bytes)
        text += QStringLiteral("word%1 ").arg((seed * 31 + text.size()) % 977);
    return text;
}

bool runUntil(const std::function<bool()> &condition, int milliseconds = 60000)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > milliseconds)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    }
    return true;
}

// The time of one 1024-byte frame out and one back on loopback, through the
// same event loop the sync runs on.
double loopbackRoundTripMicroseconds()
{
    QTcpServer listener;
    listener.listen(QHostAddress::LocalHost, 0);
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, listener.serverPort());
    QTcpSocket *echo = nullptr;
    runUntil([&] {
        if (!echo)
            echo = listener.nextPendingConnection();
        return echo != nullptr;
    });
    if (!echo || !runUntil([&] { return client.state() == QAbstractSocket::ConnectedState; }))
        return 0;
    client.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    echo->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    QObject::connect(echo, &QTcpSocket::readyRead, echo, [echo] { echo->write(echo->readAll()); });
    constexpr int trips = 2000;
    int returned = 0;
    QObject::connect(&client, &QTcpSocket::readyRead, &client, [&] {
        client.readAll();
        if (++returned < trips)
            client.write(QByteArray(1024, 'r'));
    });
    QElapsedTimer timer;
    timer.start();
    client.write(QByteArray(1024, 'r'));
    runUntil([&] { return returned >= trips; });
    return double(timer.nsecsElapsed()) / 1000.0 / trips;
}

} // namespace

static void BM_SyncLoopback1000(benchmark::State &state)
{
    QLoggingCategory::setFilterRules(QStringLiteral("jw.sync.info=false"));
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    defaults.setValue(PreferenceKeys::abGroupName, QStringLiteral("Phone"));
    defaults.setValue(PreferenceKeys::SyncAskBeforeNewDevice, false);
    qputenv("JW_SYNC_PORT", "0");

    const double roundTrip = loopbackRoundTripMicroseconds();
    int roundTrips = 0;
    for (auto _ : state) {
        state.PauseTiming();
        BenchHost host;
        MemoPtr root = JWMemo::bareMemo();
        host.tree.setRoot(root);
        MemoPtr group = JWMemo::bareMemo();
        group->setTitle(QStringLiteral("Phone"));
        group->setMemoID(1);
        root->appendChild(group);
        QVariantList phonePages;
        const QDateTime then(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC);
        const QDateTime later(QDate(2021, 1, 1), QTime(0, 0), Qt::UTC);
        for (int n = 0; n < kPages; ++n) {
            MemoPtr page = JWMemo::bareMemo();
            page->setMemoID(100 + n);
            page->setTitle(QStringLiteral("Page %1").arg(n));
            page->setMemoDataWithPlainText(words(kTextBytes, n));
            page->setModifiedAt(then);
            group->appendChild(page);
            phonePages.append(QVariantMap{{QStringLiteral("memoID"), 100 + n},
                {QStringLiteral("title"), QStringLiteral("Page %1").arg(n)},
                {QStringLiteral("plainText"), words(kTextBytes, n + 1)}, {QStringLiteral("modifiedAt"), later},
                {QStringLiteral("children"), QVariantList()}});
        }
        JW3SyncServer desktop(host);
        desktop.startServer();
        Phone phone;
        phone.tree = SyncPayload::encode(
            QVariantMap{{QStringLiteral("memoID"), 1}, {QStringLiteral("title"), QStringLiteral("Phone")},
                {QStringLiteral("children"), phonePages}})
                         .value();
        phone.connectToHost(QHostAddress::LocalHost, desktop.server()->port());
        if (!runUntil([&] { return phone.server()->hasPeer() && desktop.server()->hasPeer(); })) {
            state.SkipWithError("the phone could not connect");
            return;
        }
        state.ResumeTiming();

        phone.sendMessage(QStringLiteral("iPhoneRequestsSync"));
        if (!runUntil([&] { return phone.done; })) {
            state.SkipWithError("the sync did not finish");
            return;
        }

        state.PauseTiming();
        const int sent = int((phone.tree.size() + 1019) / 1020);
        // Request and answer, two announcements, every packet, the last "completed".
        roundTrips = 1 + 2 + sent + phone.packetsReceived + 1;
        state.ResumeTiming();
    }
    state.counters["round_trips"] = roundTrips;
    state.counters["loopback_rtt_us"] = roundTrip;
    state.counters["protocol_floor_ms"] = roundTrips * roundTrip / 1000.0;
}
BENCHMARK(BM_SyncLoopback1000)->Unit(benchmark::kMillisecond)->Iterations(3);
