// The frame protocol on the wire: a raw TCP peer on loopback writes and reads
// the exact bytes a companion would.
#include "sync/BonjourDataServer.h"
#include "sync/Frames.h"
#include "sync/Server.h"

#include "common/FreshUserTest.h"

#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>

namespace {

QByteArray message(const QString &text, qint32 header = -1)
{
    return Frames::frame(header, text.toUtf8());
}

class WirePeer
{
public:
    explicit WirePeer(quint16 port)
    {
        m_socket.connectToHost(QHostAddress::LocalHost, port);
        EXPECT_TRUE(m_socket.waitForConnected(5000));
    }

    void write(const QByteArray &bytes)
    {
        m_socket.write(bytes);
        m_socket.flush();
    }
    void say(const QString &text) { write(message(text)); }
    void hear(const QString &text) { expect(message(text)); }

    /** The next @p expected bytes the server writes, compared as they come. */
    void expect(const QByteArray &expected)
    {
        EXPECT_TRUE(QTest::qWaitFor(
            [&] {
                m_read += m_socket.readAll();
                return m_read.size() >= expected.size();
            },
            5000))
            << "got " << m_read.toHex().constData();
        EXPECT_EQ(m_read.first(qMin(m_read.size(), expected.size())).toHex(), expected.toHex());
        m_read.remove(0, expected.size());
    }

    [[nodiscard]] bool waitForDisconnected()
    {
        return QTest::qWaitFor([&] { return m_socket.state() == QAbstractSocket::UnconnectedState; }, 5000);
    }

private:
    QTcpSocket m_socket;
    QByteArray m_read;
};

class TransportTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        qputenv("JW_SYNC_PORT", "0");
        m_server.startServer();
        ASSERT_TRUE(m_server.server() && m_server.server()->isListening()) << m_server.lastError().toStdString();
    }

    [[nodiscard]] quint16 port() const { return m_server.server()->port(); }

    [[nodiscard]] bool waitForPeer() const
    {
        return QTest::qWaitFor([&] { return m_server.server()->hasPeer(); }, 5000);
    }

    // Sends @p payload from the peer as a transfer, announced unless it was already, and checks every answer.
    void transferFromPeer(WirePeer &peer, const QByteArray &payload, bool announce = true)
    {
        const int packets = qMax(1, int((payload.size() + Frames::sliceSize - 1) / Frames::sliceSize));
        if (announce) {
            peer.say(QStringLiteral("BDSSendPacket_%1").arg(packets));
            peer.hear("BDSReadyToReceivePacket");
        }
        for (int n = 0; n < packets; ++n) {
            peer.write(Frames::frame(n, payload.mid(n * Frames::sliceSize, Frames::sliceSize)));
            peer.hear("BDSReceivedPacket");
        }
        peer.say("BDSSendingPacketWasCompleted");
    }

    BonjourDataServer m_server;
};

QByteArray letters(int size)
{
    return QByteArray("abcdefghijklmnopqrstuvwxyz").repeated(size / 26 + 1).first(size);
}

TEST_F(TransportTest, SendsShortPayloadsBareFirstAndEveryPayloadInAcknowledgedSlices)
{
    WirePeer peer(port());
    ASSERT_TRUE(waitForPeer());
    for (const int size : {1020, 1021, 0, 2500}) {
        SCOPED_TRACE(size);
        const QByteArray payload = letters(size);
        const int packets = int((size + Frames::sliceSize - 1) / Frames::sliceSize);
        const qint32 before = m_server.remainedPacketToSend() - 1;
        ASSERT_TRUE(m_server.sendData(payload));
        if (size <= 1020)
            peer.expect(Frames::frame(before, payload));
        peer.hear(QStringLiteral("BDSSendPacket_%1").arg(packets));
        peer.say("BDSReadyToReceivePacket");
        for (int n = 0; n < packets; ++n) {
            peer.expect(Frames::frame(n, payload.mid(n * Frames::sliceSize, Frames::sliceSize)));
            peer.say("BDSReceivedPacket");
        }
        peer.expect(message(QStringLiteral("BDSSendingPacketWasCompleted"), packets - 1));
    }

    // A packet asked for again is sent again, and the transfer goes on from it.
    const QByteArray payload = letters(3000);
    ASSERT_TRUE(m_server.sendData(payload));
    peer.hear("BDSSendPacket_3");
    peer.say("BDSReadyToReceivePacket");
    peer.expect(Frames::frame(0, payload.first(1020)));
    peer.say("BDSReceivedPacket");
    peer.expect(Frames::frame(1, payload.sliced(1020, 1020)));
    peer.say("BDSRequestPacketNumber_1");
    peer.expect(Frames::frame(1, payload.sliced(1020, 1020)));
    peer.say("BDSReceivedPacket");
    peer.expect(Frames::frame(2, payload.sliced(2040)));
}

TEST_F(TransportTest, ReceivesPacketsInOrderAskingAgainForOneOutOfOrder)
{
    QSignalSpy received(&m_server, &BonjourDataServer::dataReceived);
    QSignalSpy messages(&m_server, &BonjourDataServer::messageReceived);
    WirePeer peer(port());
    ASSERT_TRUE(waitForPeer());

    const QByteArray payload = letters(2100);
    peer.say("BDSSendPacket_3");
    peer.hear("BDSReadyToReceivePacket");
    peer.write(Frames::frame(1, payload.sliced(1020, 1020)));
    peer.hear("BDSRequestPacketNumber_0");
    peer.write(Frames::frame(0, payload.first(1020)));
    peer.hear("BDSReceivedPacket");
    // While packets are due, a message is a packet in the wrong place.
    peer.say("hello");
    peer.hear("BDSRequestPacketNumber_1");
    // TCP may cut a whole packet frame in two: the halves make one packet.
    const QByteArray second = Frames::frame(1, payload.sliced(1020, 1020));
    peer.write(second.first(300));
    QTest::qWait(50);
    peer.write(second.sliced(300));
    peer.hear("BDSReceivedPacket");
    peer.write(Frames::frame(2, payload.sliced(2040)));
    peer.hear("BDSReceivedPacket");
    peer.say("BDSSendingPacketWasCompleted");
    ASSERT_TRUE(received.wait(5000));
    EXPECT_EQ(received.at(0).at(0).toByteArray(), payload);
    EXPECT_TRUE(messages.isEmpty());

    // Short messages are read whole, header and all.
    peer.write("Hi");
    ASSERT_TRUE(messages.wait(5000));
    EXPECT_EQ(messages.at(0).at(0).toString(), QStringLiteral("Hi"));
}

// A sender writes a short payload bare and "BDSSendPacket_<n>" straight after
// it: when both arrive in one read they are two frames, and the transfer goes on.
TEST_F(TransportTest, SplitsABareFrameFromTheTransferThatFollowsIt)
{
    QSignalSpy received(&m_server, &BonjourDataServer::dataReceived);
    QSignalSpy messages(&m_server, &BonjourDataServer::messageReceived);
    WirePeer peer(port());
    ASSERT_TRUE(waitForPeer());
    for (const QByteArray &payload : {QByteArray("bplist00 a short tree"), QByteArray()}) {
        received.clear();
        messages.clear();
        peer.write(Frames::frame(-1, payload) + message(QStringLiteral("BDSSendPacket_1")));
        peer.hear("BDSReadyToReceivePacket");
        ASSERT_EQ(messages.size(), 1);
        // An empty one is read as a message of its header alone.
        EXPECT_TRUE(payload.isEmpty() || messages.at(0).at(0).toString().toUtf8() == payload);
        transferFromPeer(peer, payload, false);
        ASSERT_TRUE(received.wait(5000));
        EXPECT_EQ(received.at(0).at(0).toByteArray(), payload);
    }
}

TEST_F(TransportTest, RefusesHostilePeersAndServesTheNextOne)
{
    QSignalSpy refused(&m_server, &BonjourDataServer::transferRefused);
    m_server.setStallTimeout(300);
    for (const QString &hostile : {QStringLiteral("BDSSendPacket_2147483647"), QStringLiteral("BDSSendPacket_-4"),
             QStringLiteral("BDSRequestPacketNumber_-1"), QStringLiteral("BDSSendPacket_2") /* then silence */}) {
        SCOPED_TRACE(hostile.toStdString());
        refused.clear();
        WirePeer peer(port());
        ASSERT_TRUE(waitForPeer());
        peer.write(message(hostile));
        ASSERT_TRUE(refused.wait(5000));
        EXPECT_TRUE(peer.waitForDisconnected());
        EXPECT_EQ(m_server.remainedPacket(), 0);
    }

    // A peer that comes while another is in the middle of a transfer replaces
    // it and finds no transfer under way; its garbage is only an unknown
    // message, and it is served in full.
    WirePeer first(port());
    ASSERT_TRUE(waitForPeer());
    first.say("BDSSendPacket_4");
    first.hear("BDSReadyToReceivePacket");
    WirePeer peer(port());
    EXPECT_TRUE(first.waitForDisconnected());
    ASSERT_TRUE(waitForPeer());
    peer.write(QByteArray(700, '\xff'));
    QSignalSpy received(&m_server, &BonjourDataServer::dataReceived);
    transferFromPeer(peer, letters(5000));
    ASSERT_TRUE(received.wait(5000));
    EXPECT_EQ(received.at(0).at(0).toByteArray(), letters(5000));
}

TEST(FramesTest, ReadsNumbersAsThePeerWritesThem)
{
    EXPECT_EQ(Frames::numberAfter(u"xx bdssendpacket_ 42abc", u"BDSSendPacket_"), 42);
    EXPECT_EQ(Frames::numberAfter(u"BDSSendPacket_", u"BDSSendPacket_"), 0);
    EXPECT_EQ(Frames::intValue(u"99999999999999"), INT_MAX);
}

} // namespace
