#include "Server.h"

#include "ServerDelegate.h"
#include "ServiceDiscovery.h"
#include "SyncLog.h"

#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"

#include <QTcpServer>
#include <QTcpSocket>

Server::Server(const QString &serviceType, const QString &name, ServerDelegate &delegate, QObject *parent)
    : QObject(parent)
    , m_serviceType(serviceType)
    , m_name(name)
    , m_delegate(delegate)
{ }

Server::~Server()
{
    // Tearing down tells nobody: the delegate is usually being torn down too.
    if (m_peer) {
        m_peer->disconnect(this);
        m_peer->abort();
        delete m_peer;
    }
    if (m_discovery)
        m_discovery->disconnect(this);
}

quint16 Server::preferredPort()
{
    const QByteArray fromEnvironment = qgetenv("JW_SYNC_PORT");
    if (!fromEnvironment.isEmpty()) {
        bool ok = false;
        const uint port = fromEnvironment.toUInt(&ok);
        if (ok && port <= 65535)
            return quint16(port);
        qCWarning(lcSync) << "JW_SYNC_PORT is not a port number:" << fromEnvironment;
    }
    const qint64 port = UserDefaults::standardUserDefaults().integerForKey(PreferenceKeys::SyncPort);
    return port > 0 && port <= 65535 ? quint16(port) : 0;
}

Status Server::start(quint16 port)
{
    if (!m_listener) {
        m_listener = new QTcpServer(this);
        connect(m_listener, &QTcpServer::newConnection, this, &Server::acceptConnection);
    }
    if (!m_listener->isListening() && !m_listener->listen(QHostAddress::AnyIPv4, port)) {
        const QString error
            = tr("The sync server cannot listen on port %1: %2").arg(port).arg(m_listener->errorString());
        delete m_listener;
        m_listener = nullptr;
        return Error{error};
    }
    m_port = m_listener->serverPort();
    if (!m_discovery) {
        m_discovery = std::make_unique<ServiceDiscovery>();
        connect(m_discovery.get(), &ServiceDiscovery::published, this, [this](const QString &name) {
            m_name = name;
            if (!m_browsing) {
                m_browsing = true;
                m_discovery->browse(m_serviceType);
            }
            Q_EMIT stateChanged();
        });
        connect(m_discovery.get(), &ServiceDiscovery::publicationFailed, this, [this](const QString &error) {
            qCWarning(lcSync) << "publication of" << m_serviceType << "failed:" << error;
            m_delegate.serverDidNotStart(*this, error);
            Q_EMIT stateChanged();
        });
        connect(m_discovery.get(), &ServiceDiscovery::availabilityChanged, this, &Server::stateChanged);
        connect(m_discovery.get(), &ServiceDiscovery::serviceFound, this,
            [this](const DiscoveredService &service, bool moreComing) {
                if (service.name != m_name)
                    m_delegate.serviceAdded(service, moreComing);
            });
        connect(m_discovery.get(), &ServiceDiscovery::serviceRemoved, this,
            [this](
                const DiscoveredService &service, bool moreComing) { m_delegate.serviceRemoved(service, moreComing); });
        connect(m_discovery.get(), &ServiceDiscovery::resolved, this,
            [this](const DiscoveredService &, const QHostAddress &address, quint16 resolvedPort) {
                connectToHost(address, resolvedPort);
            });
        connect(m_discovery.get(), &ServiceDiscovery::resolveFailed, this,
            [](const DiscoveredService &service, const QString &error) {
                qCInfo(lcSync) << "could not resolve" << service.name << error;
            });
    }
    publish();
    Q_EMIT stateChanged();
    return {};
}

void Server::stop()
{
    withdraw();
    if (m_listener) {
        m_listener->close();
        delete m_listener;
        m_listener = nullptr;
    }
    dropPeer();
    m_delegate.serverStopped(*this);
    Q_EMIT stateChanged();
}

void Server::stopBrowser()
{
    if (m_discovery) {
        m_discovery->stopBrowsing();
        m_discovery->stopResolving();
    }
    m_browsing = false;
}

void Server::connectToRemoteService(const DiscoveredService &service)
{
    if (!m_discovery)
        m_discovery = std::make_unique<ServiceDiscovery>();
    m_discovery->stopResolving();
    m_discovery->resolve(service);
}

void Server::connectToHost(const QHostAddress &address, quint16 port)
{
    auto *socket = new QTcpSocket(this);
    adoptPeer(socket);
    socket->connectToHost(address, port);
}

void Server::disconnectPeer()
{
    if (!m_peer)
        return;
    dropPeer();
    publish();
    Q_EMIT stateChanged();
}

Status Server::sendData(const QByteArray &data)
{
    if (!m_peer || !m_connectedReported)
        return Error{tr("No device is connected.")};
    if (m_peer->write(data) < 0)
        return Error{tr("The connection refused the data: %1").arg(m_peer->errorString())};
    return {};
}

bool Server::isListening() const
{
    return m_listener && m_listener->isListening();
}

bool Server::isPublished() const
{
    return m_discovery && m_discovery->isPublished();
}

bool Server::hasPeer() const
{
    return m_peer && m_connectedReported;
}

QHostAddress Server::peerAddress() const
{
    return m_peer ? m_peer->peerAddress() : QHostAddress();
}

QString Server::discoveryProblem() const
{
    return m_discovery ? m_discovery->unavailableReason() : QString();
}

void Server::publish()
{
    // A connected peer keeps the service withdrawn; the server republishes when it leaves.
    if (m_discovery && !m_serviceType.isEmpty() && isListening() && !hasPeer())
        m_discovery->publish(m_serviceType, m_name, m_port);
}

void Server::withdraw()
{
    if (m_discovery)
        m_discovery->withdraw();
}

void Server::acceptConnection()
{
    while (QTcpSocket *socket = m_listener->nextPendingConnection()) {
        socket->setParent(this);
        qCInfo(lcSync) << "peer connected from" << socket->peerAddress().toString();
        adoptPeer(socket);
    }
}

void Server::adoptPeer(QTcpSocket *socket)
{
    // One peer at a time: a new one replaces the old without a word to it.
    dropPeer();
    m_peer = socket;
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(socket, &QTcpSocket::connected, this, &Server::peerConnected);
    connect(socket, &QTcpSocket::readyRead, this, &Server::readPeer);
    connect(socket, &QTcpSocket::disconnected, this, &Server::peerClosed);
    connect(socket, &QTcpSocket::errorOccurred, this, [this](QAbstractSocket::SocketError error) {
        // A closed end arrives as disconnected() as well; every other error ends the peer here.
        if (error != QAbstractSocket::RemoteHostClosedError)
            peerFailed();
    });
    if (socket->state() == QAbstractSocket::ConnectedState)
        peerConnected();
}

void Server::peerConnected()
{
    m_connectedReported = true;
    withdraw();
    m_delegate.serverRemoteConnectionComplete(*this);
    Q_EMIT stateChanged();
    if (m_peer && m_peer->bytesAvailable() > 0)
        readPeer();
}

void Server::readPeer()
{
    if (!m_peer)
        return;
    const QByteArray data = m_peer->readAll();
    if (!data.isEmpty())
        m_delegate.serverDidAcceptData(*this, data);
}

void Server::peerClosed()
{
    qCInfo(lcSync) << "peer closed the connection";
    dropPeer();
    m_delegate.serverLostConnection(*this, QString());
    publish();
    Q_EMIT stateChanged();
}

void Server::peerFailed()
{
    const QString error = m_peer ? m_peer->errorString() : QString();
    qCInfo(lcSync) << "connection failed:" << error;
    dropPeer();
    m_delegate.serverLostConnection(*this, error.isEmpty() ? tr("The connection failed.") : error);
    publish();
    Q_EMIT stateChanged();
}

void Server::dropPeer()
{
    m_connectedReported = false;
    if (!m_peer)
        return;
    QTcpSocket *peer = m_peer;
    m_peer = nullptr;
    peer->disconnect(this);
    peer->abort();
    peer->deleteLater();
}
