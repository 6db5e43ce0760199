#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class JW3SyncServer;
class SyncHost;

/**
 * The application's sync server and what a status display shows of it. The
 * server is made anew by restartServer() whenever the synchronised page's
 * name ("abGroupName") changes, since the name is part of the service's
 * type.
 */
class SyncService final : public QObject
{
    Q_OBJECT
public:
    struct Status
    {
        QString groupName;
        bool listening = false;
        quint16 port = 0;
        QString serviceType;
        bool published = false;
        /** Why devices cannot find the server by themselves; empty when they can. */
        QString discoveryProblem;
        /** The connected device's address; empty when none is connected. */
        QString peer;
        /** The running transfer's progress from 0 to 1; negative when none runs. */
        float progress = -1;
        QDateTime lastSync;
        QString lastError;
        /** This computer's addresses a device can be given by hand. */
        QStringList addresses;
    };

    explicit SyncService(SyncHost &host, QObject *parent = nullptr);
    ~SyncService() override;

    /** Stops the server there is and starts a new one. */
    void restartServer();
    [[nodiscard]] JW3SyncServer *server() const { return m_server.get(); }
    [[nodiscard]] int restarts() const { return m_restarts; }
    [[nodiscard]] Status status() const;

    /** The computer's IPv4 addresses other than loopback. */
    [[nodiscard]] static QStringList localAddresses();

Q_SIGNALS:
    void statusChanged();

private:
    SyncHost &m_host;
    std::unique_ptr<JW3SyncServer> m_server;
    int m_restarts = 0;
    float m_progress = -1;
    QString m_lastError;
    QStringList m_addresses;
};
