#pragma once

#include "ServerDelegate.h"
#include "ServiceDiscovery.h"

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>

class Server;

/**
 * The frame protocol of device sync, spoken over a Server: short text
 * messages, and payloads cut into numbered packets of at most 1020 bytes that
 * go one at a time, each acknowledged before the next ("BDSReceivedPacket"),
 * a packet out of order asked for again by number
 * ("BDSRequestPacketNumber_<n>").
 *
 * A transfer runs:
 *
 *     sender                               receiver
 *     "BDSSendPacket_<n>"             ->
 *                                     <-   "BDSReadyToReceivePacket"
 *     packet 0                        ->
 *                                     <-   "BDSReceivedPacket"
 *     ... packet n-1                  ->
 *                                     <-   "BDSReceivedPacket"
 *     "BDSSendingPacketWasCompleted"  ->   processReceivedPacketData()
 *
 * A payload of at most one slice is also sent once bare, as a frame of its
 * own, before the transfer: peers expect it and take it as a message.
 *
 * Beyond what peers need, a server protects itself from a peer that
 * misbehaves: a transfer announced larger than maximumPayload, a
 * re-request for a packet that does not exist, or a peer silent for
 * stallTimeout() in the middle of a transfer ends the connection, reported
 * by transferRefused(); the server then waits for the next peer.
 *
 * Subclasses speak an application protocol through the hooks
 * startToSendPacket(), startToReceivePacket(), processReceivedPacketData()
 * and receiveMessage().
 */
class BonjourDataServer : public QObject, protected ServerDelegate
{
    Q_OBJECT
public:
    /** The largest payload a peer may announce. */
    static constexpr qint64 maximumPayload = qint64(256) * 1024 * 1024;

    explicit BonjourDataServer(QObject *parent = nullptr);
    ~BonjourDataServer() override;

    /** Makes a Server for this protocol when there is none and starts it; failures are logged and kept in lastError(). */
    void startServer();
    void stopServer();
    /** Replaces the Server with a new one for the current protocol name. */
    void prepareBonjourServer();
    /** Connects to another server of the same type found on the network. */
    void connectToRemoteService(const DiscoveredService &service);
    /** Connects to a server at a known address (the companion's side of the protocol). */
    void connectToHost(const QHostAddress &address, quint16 port);

    /** The word that names the service type, "_<protocolName>._tcp". */
    [[nodiscard]] virtual QString protocolName() const;
    void setProtocolName(const QString &name) { m_protocolName = name; }

    bool sendMessage(const QString &message);
    /** Sends @p payload as a packet transfer; false when there is nothing to send or no peer. */
    bool sendData(const QByteArray &payload);
    /** Sends one frame whose header is the index of the packet last sent. */
    bool sendPacket(const QByteArray &data);
    /** Sends the packet at remainedPacketToSend() or, after the last, "BDSSendingPacketWasCompleted". */
    virtual bool sendNextPacket();

    /** One chunk from the peer: packets while a transfer comes in, messages otherwise. */
    void receiveData(const QByteArray &data);
    virtual void receivePacket(const QByteArray &frame);
    virtual void receiveMessage(const QString &message);

    [[nodiscard]] Server *server() const { return m_server.get(); }
    [[nodiscard]] QList<DiscoveredService> availableServices() const { return m_availableServices; }
    [[nodiscard]] bool readyToServe() const { return !m_availableServices.isEmpty(); }
    [[nodiscard]] int totalPacket() const { return m_totalPacket; }
    [[nodiscard]] int remainedPacket() const { return m_remainedPacket; }
    /** The index of the next packet to send. */
    [[nodiscard]] int remainedPacketToSend() const { return m_remainedPacketToSend; }
    [[nodiscard]] int packetsToSendCount() const;
    /** Why the server could not start, or why the last transfer was refused; empty when all went well. */
    [[nodiscard]] QString lastError() const { return m_lastError; }

    [[nodiscard]] int stallTimeout() const { return m_stallTimer.interval(); }
    void setStallTimeout(int milliseconds) { m_stallTimer.setInterval(milliseconds); }

Q_SIGNALS:
    void serverDidStopped();
    void addedService(const DiscoveredService &service, const QList<DiscoveredService> &availableServices);
    void removedService(const DiscoveredService &service, const QList<DiscoveredService> &availableServices);
    void packetReceived(int received, int remaining);
    void packetSent(int sent, int remaining);
    void finishedSendingData();
    void dataReceived(const QByteArray &payload);
    void messageReceived(const QString &message);
    void sendingStarted();
    void receivingStarted();
    /** A peer came or went, or publication changed. */
    void stateChanged();
    /** A peer broke the protocol or stalled; the connection was ended. */
    void transferRefused(const QString &reason);

protected:
    virtual void startToSendPacket();
    virtual void startToReceivePacket();
    /** The payload of a transfer that just completed is in receivedPacket(). */
    virtual void processReceivedPacketData();
    [[nodiscard]] const QByteArray &receivedPacket() const { return m_receivedPacket; }
    /** Logs @p reason, reports it and ends the connection. */
    void refuseTransfer(const QString &reason);

    void serverRemoteConnectionComplete(Server &server) override;
    void serverDidAcceptData(Server &server, const QByteArray &data) override;
    void serverLostConnection(Server &server, const QString &error) override;
    void serverDidNotStart(Server &server, const QString &error) override;
    void serverStopped(Server &server) override;
    void serviceAdded(const DiscoveredService &service, bool moreComing) override;
    void serviceRemoved(const DiscoveredService &service, bool moreComing) override;

private:
    void resetTransfers();
    void receivePacketFrames(const QByteArray &data);

    std::unique_ptr<Server> m_server;
    QString m_protocolName;
    QList<DiscoveredService> m_availableServices;
    DiscoveredService m_connectingService;
    QByteArray m_payloadToSend;
    int m_packetsToSend = 0;
    QByteArray m_receivedPacket;
    QByteArray m_partialFrame;
    int m_remainedPacketToSend = 0;
    int m_remainedPacket = 0;
    int m_totalPacket = 0;
    int m_numOfReceivedPacket = 0;
    QString m_lastError;
    QString m_serviceTypeProblem;
    QTimer m_stallTimer;
};
