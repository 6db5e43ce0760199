#include "SyncService.h"

#include "JW3SyncServer.h"
#include "Server.h"

#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"

#include <QNetworkInterface>

SyncService::SyncService(SyncHost &host, QObject *parent)
    : QObject(parent)
    , m_host(host)
{ }

SyncService::~SyncService() = default;

void SyncService::restartServer()
{
    ++m_restarts;
    if (m_server) {
        m_server->disconnect(this);
        m_server->stopServer();
        m_server.reset();
    }
    m_progress = -1;
    m_lastError.clear();
    // Read once per server, not at every progress report a transfer makes.
    m_addresses = localAddresses();
    m_server = std::make_unique<JW3SyncServer>(m_host);
    JW3SyncServer *server = m_server.get();
    connect(server, &BonjourDataServer::stateChanged, this, &SyncService::statusChanged);
    connect(server, &BonjourDataServer::transferRefused, this, [this](const QString &reason) {
        m_lastError = reason;
        m_progress = -1;
        Q_EMIT statusChanged();
    });
    connect(server, &JW3SyncServer::syncFinished, this, [this] {
        m_lastError.clear();
        m_progress = -1;
        Q_EMIT statusChanged();
    });
    NotificationCenter::defaultCenter().addObserver(
        server, NotificationNames::JWSReportSyncProgress, server, [this](const Notification &note) {
            m_progress = note.userInfo.value(QStringLiteral("progress")).toFloat();
            Q_EMIT statusChanged();
        });
    NotificationCenter::defaultCenter().addObserver(
        server, NotificationNames::BDSBonjourLostConnection, server, [this](const Notification &) {
            m_progress = -1;
            Q_EMIT statusChanged();
        });
    server->startServer();
    Q_EMIT statusChanged();
}

SyncService::Status SyncService::status() const
{
    Status status;
    status.lastSync = JW3SyncServer::lastSynchronizedDate();
    status.addresses = m_addresses;
    status.progress = m_progress;
    if (!m_server)
        return status;
    status.groupName = m_server->groupName();
    // Without a chosen page there is nothing to announce, which is no error.
    status.lastError = m_lastError.isEmpty() && !status.groupName.isEmpty() ? m_server->lastError() : m_lastError;
    if (const Server *server = m_server->server()) {
        status.listening = server->isListening();
        status.port = server->port();
        status.serviceType = server->serviceType();
        status.published = server->isPublished();
        status.discoveryProblem = server->discoveryProblem();
        if (server->hasPeer())
            status.peer = server->peerAddress().toString();
    }
    return status;
}

QStringList SyncService::localAddresses()
{
    QStringList addresses;
    for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
            addresses.append(address.toString());
    }
    return addresses;
}
