#pragma once

#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

class QTimer;
class QtAvahiPoll;
struct AvahiClient;
struct AvahiEntryGroup;
struct AvahiServiceBrowser;
struct AvahiServiceResolver;

/** A DNS-SD service seen on the network. interface and protocol are Avahi's (-1: any). */
struct DiscoveredService
{
    QString name;
    QString type;
    QString domain;
    int interface = -1;
    int protocol = -1;

    friend bool operator==(const DiscoveredService &, const DiscoveredService &) = default;
};

/**
 * Publication, browsing and resolution of DNS-SD services through the Avahi
 * daemon, driven by the Qt event loop of the thread that makes it.
 *
 * Nothing here fails when there is no Avahi daemon or no system bus: the
 * object is then unavailable, remembers what it was asked to publish and to
 * browse, and carries it out when a daemon appears (it looks again every few
 * seconds while there is no bus, and follows the daemon's coming and going
 * while there is one).
 *
 * A service is reported once however many interfaces it is seen on, with the
 * interface and protocol of its first sighting; it is reported removed when it
 * has gone from all of them. Services named like our own service (the name it
 * is being registered under, or the last name it was published under) are
 * never reported. moreComing is always false: Avahi does not say whether more
 * results follow.
 */
class ServiceDiscovery final : public QObject
{
    Q_OBJECT
public:
    explicit ServiceDiscovery(QObject *parent = nullptr);
    /** Withdraws the service, stops browsing and resolving, and lets go of the daemon. */
    ~ServiceDiscovery() override;

    /** Whether an Avahi daemon answers. */
    [[nodiscard]] bool isAvailable() const;
    /** Why services cannot be announced or found, in words for the user; empty when available. */
    [[nodiscard]] QString unavailableReason() const;

    /**
     * Announces a service of the given type (such as "_name._tcp", escaped as
     * ServiceType makes it) on this computer's port, in the default domain.
     * An empty name stands for the computer's name. Asynchronous: published()
     * or publicationFailed() follows; without a daemon the request waits for
     * one. Replaces any earlier publication. Should the name be taken on the
     * network, Avahi's alternative ("name #2") is announced instead.
     */
    void publish(const QString &type, const QString &name, quint16 port);
    /** Stops announcing the service, and forgets the request to announce it. */
    void withdraw();
    /** Whether the service is announced now. */
    [[nodiscard]] bool isPublished() const;
    /** The name under which the service was last announced; empty before the first success. */
    [[nodiscard]] QString publishedName() const;

    /** Looks for services of the type in the domain "local"; replaces any earlier browsing. */
    void browse(const QString &type);
    /** Stops looking; services found so far are not reported removed. */
    void stopBrowsing();
    /** The services found and not removed since browsing began. */
    [[nodiscard]] QList<DiscoveredService> services() const { return m_found; }

    /**
     * Finds the address and port of a found service: resolved() or
     * resolveFailed() follows (after about five seconds without an answer).
     * Replaces a resolution under way, which then reports nothing.
     */
    void resolve(const DiscoveredService &service);
    /** Abandons the resolution under way, which then reports nothing. */
    void stopResolving();

Q_SIGNALS:
    /** The daemon appeared or went away. */
    void availabilityChanged(bool available);
    /** The service is announced under name (which may differ from the one asked for). */
    void published(const QString &name);
    /** The service could not be announced; error says why in words for the user. */
    void publicationFailed(const QString &error);
    void serviceFound(const DiscoveredService &service, bool moreComing);
    void serviceRemoved(const DiscoveredService &service, bool moreComing);
    void resolved(const DiscoveredService &service, const QHostAddress &address, quint16 port);
    void resolveFailed(const DiscoveredService &service, const QString &error);

private:
    friend struct ServiceDiscoveryCallbacks;

    void connectToDaemon();
    void restartClient();
    void clientStateChanged(AvahiClient *client, int state);
    void setAvailable(bool available, const QString &reason);
    void dropDaemonObjects();

    void registerService();
    void groupStateChanged(AvahiEntryGroup *group, int state);
    void failPublication(const QString &error);

    void startBrowser();
    void serviceAppeared(const DiscoveredService &service);
    void serviceDisappeared(const DiscoveredService &service);
    void forgetFoundServices();
    void failResolution();

    [[nodiscard]] QString daemonError() const;
    [[nodiscard]] bool isOwnName(const QString &name) const;

    std::unique_ptr<QtAvahiPoll> m_poll;
    QTimer *m_retryTimer = nullptr;
    AvahiClient *m_client = nullptr;
    bool m_available = false;
    QString m_unavailableReason;

    // publication
    bool m_wantPublished = false;
    QString m_type;
    QString m_requestedName;
    quint16 m_port = 0;
    AvahiEntryGroup *m_group = nullptr;
    QString m_registeringName;
    QString m_publishedName;
    bool m_published = false;

    // browsing
    bool m_wantBrowsing = false;
    QString m_browseType;
    AvahiServiceBrowser *m_browser = nullptr;
    QList<DiscoveredService> m_found;
    // Every (interface, protocol) on which a found service is seen, in the order of m_found.
    QList<QList<std::pair<int, int>>> m_foundOn;

    // resolution
    AvahiServiceResolver *m_resolver = nullptr;
    std::optional<DiscoveredService> m_resolving;
};
