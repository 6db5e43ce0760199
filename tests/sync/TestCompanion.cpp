#include "TestCompanion.h"

#include "sync/Server.h"
#include "sync/SyncPayload.h"

#include <QTest>

bool TestCompanion::connectTo(quint16 port)
{
    connectToHost(QHostAddress::LocalHost, port);
    return QTest::qWaitFor([this] { return server()->hasPeer(); }, 5000);
}

bool TestCompanion::request(const QString &request)
{
    m_answered = false;
    received.clear();
    if (!sendMessage(request))
        return false;
    return QTest::qWaitFor([this] { return m_answered; }, 10000);
}

bool TestCompanion::waitForDisconnect()
{
    return QTest::qWaitFor([this] { return !server()->hasPeer(); }, 5000);
}

void TestCompanion::processReceivedPacketData()
{
    Result<QVariantMap> decoded = SyncPayload::decode(receivedPacket());
    if (decoded)
        received = decoded.value();
    m_answered = true;
}

void TestCompanion::receiveMessage(const QString &message)
{
    BonjourDataServer::receiveMessage(message);
    if (message == u"requestSendingSyncData") {
        sendData(rawPayload.isEmpty() ? SyncPayload::encode(tree).valueOr({}) : rawPayload);
    } else if (message == u"syncMemoNotFoundError") {
        messages.append(message);
        m_answered = true;
    }
}
