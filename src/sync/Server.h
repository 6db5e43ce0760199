#pragma once

#include "platform/base/Result.h"

#include <QHostAddress>
#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>

class QTcpServer;
class QTcpSocket;
class ServerDelegate;
class ServiceDiscovery;
struct DiscoveredService;

/**
 * A TCP listener that serves one peer at a time and announces itself on the
 * local network by DNS-SD. It knows nothing of frames: whatever one read of
 * the peer's socket yields goes to the delegate as one chunk, and sendData()
 * writes whole buffers.
 *
 * Listening is on every IPv4 address, on the port the system picks unless
 * one is asked for (preferredPort()). The service is published while the
 * server waits and withdrawn while a peer is connected, so that no second
 * peer finds it; a second peer that connects all the same replaces the first.
 * When the peer leaves, whether it closed its end or the connection broke,
 * the server publishes again and waits for the next one: a broken peer never
 * takes the server down.
 *
 * Everything happens on the event loop of the thread the server lives on.
 */
class Server final : public QObject
{
    Q_OBJECT
public:
    /** Size of one frame and of the reads the protocol above assumes. */
    static constexpr int payloadSize = 1024;

    /**
     * A server for the DNS-SD type @p serviceType ("_Name._tcp") reporting to
     * @p delegate; an empty type is never published. @p name is the service
     * name; empty lets the system use the computer's name.
     */
    Server(const QString &serviceType, const QString &name, ServerDelegate &delegate, QObject *parent = nullptr);
    ~Server() override;

    /**
     * The port to listen on: the environment variable JW_SYNC_PORT, else the
     * preference "SyncPort", else 0 (the system picks one).
     */
    [[nodiscard]] static quint16 preferredPort();

    /** Listens on @p port (0: any) and publishes the service. */
    Status start(quint16 port);
    /** Withdraws the service, stops listening, drops the peer; the delegate hears serverStopped(). */
    void stop();
    /** Stops looking for other services. */
    void stopBrowser();

    /** Resolves @p service and connects to it as the peer. */
    void connectToRemoteService(const DiscoveredService &service);
    /** Connects to @p address and @p port as the peer (a known address, or the companion's side in tests). */
    void connectToHost(const QHostAddress &address, quint16 port);
    /** Drops the peer without waiting for it, and publishes again. */
    void disconnectPeer();

    /** Writes @p data to the peer; fails when no peer is connected or the socket refuses it. */
    Status sendData(const QByteArray &data);

    [[nodiscard]] quint16 port() const { return m_port; }
    [[nodiscard]] QString serviceType() const { return m_serviceType; }
    /** The name the service was published under; empty until it is. */
    [[nodiscard]] QString name() const { return m_name; }
    [[nodiscard]] bool isListening() const;
    [[nodiscard]] bool isPublished() const;
    [[nodiscard]] bool hasPeer() const;
    [[nodiscard]] QHostAddress peerAddress() const;
    /** Why the network cannot find the server by itself; empty when DNS-SD works. */
    [[nodiscard]] QString discoveryProblem() const;

Q_SIGNALS:
    /** Publication started or ended, or a peer came or went: something a status display shows. */
    void stateChanged();

private:
    void publish();
    void withdraw();
    void acceptConnection();
    void adoptPeer(QTcpSocket *socket);
    void peerConnected();
    void readPeer();
    void peerClosed();
    void peerFailed();
    void dropPeer();

    QString m_serviceType;
    QString m_name;
    quint16 m_port = 0;
    ServerDelegate &m_delegate;
    QTcpServer *m_listener = nullptr;
    QPointer<QTcpSocket> m_peer;
    std::unique_ptr<ServiceDiscovery> m_discovery;
    bool m_browsing = false;
    bool m_connectedReported = false;
};
