#include "BonjourDataServer.h"

#include "Frames.h"
#include "Server.h"
#include "ServiceType.h"
#include "SyncLog.h"

#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"

namespace {

// A peer that goes quiet in the middle of a transfer is given this long.
constexpr int defaultStallTimeout = 60 * 1000;

constexpr QStringView sendPacketPrefix = u"BDSSendPacket_";
constexpr QStringView requestPacketPrefix = u"BDSRequestPacketNumber_";

} // namespace

BonjourDataServer::BonjourDataServer(QObject *parent)
    : QObject(parent)
{
    m_stallTimer.setSingleShot(true);
    m_stallTimer.setInterval(defaultStallTimeout);
    connect(&m_stallTimer, &QTimer::timeout, this,
        [this] { refuseTransfer(tr("The device stopped answering in the middle of a transfer.")); });
}

BonjourDataServer::~BonjourDataServer()
{
    if (m_server)
        m_server->stopBrowser();
    m_server.reset();
}

QString BonjourDataServer::protocolName() const
{
    return m_protocolName.isNull() ? QStringLiteral("BonjourServerProtocol") : m_protocolName;
}

void BonjourDataServer::prepareBonjourServer()
{
    m_server.reset();
    // A name the network cannot carry still gets a server: devices can be
    // given its address by hand.
    const Result<QString> type = ServiceType::forProtocol(protocolName());
    m_serviceTypeProblem = type ? QString() : type.errorMessage();
    ServerDelegate &delegate = *this;
    m_server = std::make_unique<Server>(type ? type.value() : QString(), QString(), delegate);
    connect(m_server.get(), &Server::stateChanged, this, &BonjourDataServer::stateChanged);
}

void BonjourDataServer::startServer()
{
    if (!m_server)
        prepareBonjourServer();
    if (Status started = m_server->start(Server::preferredPort()); !started) {
        m_lastError = started.errorMessage();
        qCWarning(lcSync).noquote() << "error =" << m_lastError;
        Q_EMIT stateChanged();
        return;
    }
    m_lastError = m_serviceTypeProblem;
    qCInfo(lcSync) << "sync server listening on port" << m_server->port() << "as" << m_server->serviceType();
}

void BonjourDataServer::stopServer()
{
    if (m_server)
        m_server->stop();
}

void BonjourDataServer::connectToRemoteService(const DiscoveredService &service)
{
    m_connectingService = service;
    if (!m_server)
        prepareBonjourServer();
    m_server->connectToRemoteService(service);
}

void BonjourDataServer::connectToHost(const QHostAddress &address, quint16 port)
{
    if (!m_server)
        prepareBonjourServer();
    m_server->connectToHost(address, port);
}

int BonjourDataServer::packetsToSendCount() const
{
    return m_packetsToSend;
}

// --- Sending ------------------------------------------------------------------------------------

bool BonjourDataServer::sendMessage(const QString &message)
{
    return sendPacket(message.toUtf8());
}

bool BonjourDataServer::sendPacket(const QByteArray &data)
{
    Status sent = m_server ? m_server->sendData(Frames::frame(m_remainedPacketToSend - 1, data))
                           : Status(Error{tr("No device is connected.")});
    if (!sent) {
        qCWarning(lcSync).noquote() << "error =" << sent.errorMessage();
        NotificationCenter::defaultCenter().post(NotificationNames::BDSBonjourFailedToSendData, this);
        return false;
    }
    return true;
}

bool BonjourDataServer::sendData(const QByteArray &payload)
{
    if (payload.isNull())
        return false;
    // Peers expect a short payload bare first, then as a transfer all the same.
    if (payload.size() <= Frames::sliceSize)
        sendPacket(payload);
    m_payloadToSend = payload;
    m_packetsToSend = int((payload.size() + Frames::sliceSize - 1) / Frames::sliceSize);
    m_remainedPacketToSend = 0;
    m_totalPacket = m_packetsToSend;
    m_stallTimer.start();
    return sendMessage(QStringLiteral("BDSSendPacket_%1").arg(m_totalPacket));
}

bool BonjourDataServer::sendNextPacket()
{
    const int index = m_remainedPacketToSend;
    Q_EMIT packetSent(index, m_packetsToSend - index);
    if (index < m_packetsToSend) {
        ++m_remainedPacketToSend;
        return sendPacket(m_payloadToSend.sliced(qsizetype(index) * Frames::sliceSize,
            qMin<qsizetype>(Frames::sliceSize, m_payloadToSend.size() - qsizetype(index) * Frames::sliceSize)));
    }
    m_stallTimer.stop();
    Q_EMIT finishedSendingData();
    return sendMessage(QString(NotificationNames::BDSSendingPacketWasCompleted));
}

// --- Receiving ----------------------------------------------------------------------------------

void BonjourDataServer::receiveData(const QByteArray &data)
{
    if (m_stallTimer.isActive())
        m_stallTimer.start();
    if (m_remainedPacket != 0) {
        receivePacketFrames(data);
        return;
    }
    for (const QByteArray &frame : Frames::splitMessages(data)) {
        if (m_remainedPacket != 0) {
            receivePacketFrames(frame);
            continue;
        }
        if (!frame.isEmpty())
            receiveMessage(Frames::messageText(frame));
    }
}

void BonjourDataServer::receivePacketFrames(const QByteArray &data)
{
    // Every packet but the last fills a whole frame: a shorter one is the
    // first part of a frame TCP delivered in two reads, so the rest is awaited.
    QByteArray frame = m_partialFrame + data;
    m_partialFrame.clear();
    if (frame.size() < Frames::frameSize && frame.size() >= Frames::headerSize
        && Frames::header(frame) == m_numOfReceivedPacket && m_numOfReceivedPacket < m_totalPacket - 1) {
        m_partialFrame = frame;
        return;
    }
    receivePacket(frame);
}

void BonjourDataServer::receivePacket(const QByteArray &frame)
{
    if (frame.size() >= Frames::headerSize && frame.size() <= Frames::frameSize
        && Frames::header(frame) == m_numOfReceivedPacket) {
        m_receivedPacket.append(frame.constData() + Frames::headerSize, frame.size() - Frames::headerSize);
        --m_remainedPacket;
        m_numOfReceivedPacket = Frames::header(frame) + 1;
        Q_EMIT packetReceived(m_totalPacket - m_remainedPacket, m_remainedPacket);
        sendMessage(QString(NotificationNames::BDSReceivedPacket));
    } else {
        sendMessage(QStringLiteral("BDSRequestPacketNumber_%1").arg(m_numOfReceivedPacket));
    }
}

void BonjourDataServer::receiveMessage(const QString &message)
{
    if (message.contains(sendPacketPrefix)) {
        const int count = Frames::numberAfter(message, sendPacketPrefix);
        m_receivedPacket = QByteArray();
        m_partialFrame.clear();
        if (count < 0 || qint64(count) * Frames::sliceSize > maximumPayload) {
            refuseTransfer(tr("The device announced a transfer of %1 packets; at most %2 MB may come at once.")
                               .arg(count)
                               .arg(maximumPayload / (1024 * 1024)));
            return;
        }
        m_remainedPacket = count;
        m_totalPacket = count;
        m_numOfReceivedPacket = 0;
        m_stallTimer.start();
        startToReceivePacket();
        sendMessage(QString(NotificationNames::BDSReadyToReceivePacket));
    } else if (message == NotificationNames::BDSReadyToReceivePacket) {
        startToSendPacket();
        sendNextPacket();
    } else if (message == NotificationNames::BDSReceivedPacket) {
        sendNextPacket();
    } else if (message.contains(requestPacketPrefix)) {
        const int number = Frames::numberAfter(message, requestPacketPrefix);
        if (number < 0 || number > m_packetsToSend) {
            refuseTransfer(tr("The device asked for packet %1 of %2.").arg(number).arg(m_packetsToSend));
            return;
        }
        m_remainedPacketToSend = number;
        sendNextPacket();
    } else if (message == NotificationNames::BDSSendingPacketWasCompleted) {
        m_stallTimer.stop();
        processReceivedPacketData();
        m_receivedPacket = QByteArray();
    } else {
        Q_EMIT messageReceived(message);
    }
}

void BonjourDataServer::refuseTransfer(const QString &reason)
{
    qCWarning(lcSync).noquote() << "transfer refused:" << reason;
    m_lastError = reason;
    resetTransfers();
    Q_EMIT transferRefused(reason);
    if (m_server && m_server->hasPeer()) {
        m_server->disconnectPeer();
        NotificationCenter::defaultCenter().post(NotificationNames::BDSBonjourLostConnection, this);
    }
}

// --- Hooks --------------------------------------------------------------------------------------

void BonjourDataServer::startToSendPacket()
{
    Q_EMIT sendingStarted();
}

void BonjourDataServer::startToReceivePacket()
{
    Q_EMIT receivingStarted();
}

void BonjourDataServer::processReceivedPacketData()
{
    Q_EMIT dataReceived(m_receivedPacket);
}

// --- The server's events ------------------------------------------------------------------------

void BonjourDataServer::serverRemoteConnectionComplete(Server &)
{
    // A new peer starts with no transfer, whatever the last one left behind.
    resetTransfers();
}

void BonjourDataServer::serverDidAcceptData(Server &, const QByteArray &data)
{
    receiveData(data);
}

void BonjourDataServer::serverLostConnection(Server &, const QString &error)
{
    if (!error.isEmpty())
        qCInfo(lcSync).noquote() << "lost connection:" << error;
    resetTransfers();
    NotificationCenter::defaultCenter().post(NotificationNames::BDSBonjourLostConnection, this);
}

void BonjourDataServer::serverDidNotStart(Server &, const QString &error)
{
    m_lastError = error;
    Q_EMIT stateChanged();
}

void BonjourDataServer::serverStopped(Server &)
{
    Q_EMIT serverDidStopped();
}

void BonjourDataServer::serviceAdded(const DiscoveredService &service, bool)
{
    m_availableServices.append(service);
    Q_EMIT addedService(service, m_availableServices);
}

void BonjourDataServer::serviceRemoved(const DiscoveredService &service, bool)
{
    const bool connecting = service.name == m_connectingService.name && service.type == m_connectingService.type;
    if (!connecting) {
        m_availableServices.removeIf([&](const DiscoveredService &known) {
            return known.name == service.name && known.type == service.type && known.domain == service.domain;
        });
    }
    Q_EMIT removedService(service, m_availableServices);
}

void BonjourDataServer::resetTransfers()
{
    m_stallTimer.stop();
    m_remainedPacket = 0;
    m_totalPacket = 0;
    m_numOfReceivedPacket = 0;
    m_receivedPacket = QByteArray();
    m_partialFrame.clear();
    m_payloadToSend = QByteArray();
    m_packetsToSend = 0;
    m_remainedPacketToSend = 0;
}
