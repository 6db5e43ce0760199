#include "ServiceDiscovery.h"

#include "QtAvahiPoll.h"

#include <QLoggingCategory>
#include <QNetworkInterface>
#include <QTimer>
#include <QtEndian>

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>

namespace {

Q_LOGGING_CATEGORY(lcDiscovery, "jw.sync.discovery", QtWarningMsg)

// How long to wait before looking for the system bus again when there is none.
constexpr int kRetryMilliseconds = 5000;

QString fromAvahi(const char *text)
{
    return text ? QString::fromUtf8(text) : QString();
}

QString alternativeName(const QString &name)
{
    char *alternative = avahi_alternative_service_name(name.toUtf8().constData());
    const QString result = fromAvahi(alternative);
    avahi_free(alternative);
    return result;
}

QHostAddress hostAddress(const AvahiAddress *address, AvahiIfIndex interface)
{
    if (!address)
        return {};
    if (address->proto == AVAHI_PROTO_INET)
        return QHostAddress(qFromBigEndian(address->data.ipv4.address));
    QHostAddress result(address->data.ipv6.address);
    if (result.isLinkLocal())
        result.setScopeId(QNetworkInterface::interfaceNameFromIndex(interface));
    return result;
}

} // namespace

// Avahi's C callbacks, which hand each event to the ServiceDiscovery in userdata.
struct ServiceDiscoveryCallbacks
{
    static void client(AvahiClient *client, AvahiClientState state, void *userdata)
    {
        static_cast<ServiceDiscovery *>(userdata)->clientStateChanged(client, state);
    }

    static void group(AvahiEntryGroup *group, AvahiEntryGroupState state, void *userdata)
    {
        static_cast<ServiceDiscovery *>(userdata)->groupStateChanged(group, state);
    }

    static void browser(AvahiServiceBrowser *browser, AvahiIfIndex interface, AvahiProtocol protocol,
        AvahiBrowserEvent event, const char *name, const char *, const char *domain, AvahiLookupResultFlags,
        void *userdata)
    {
        auto *self = static_cast<ServiceDiscovery *>(userdata);
        if (browser != self->m_browser)
            return;
        switch (event) {
        case AVAHI_BROWSER_NEW:
        case AVAHI_BROWSER_REMOVE: {
            // The type is reported in Avahi's normalised form ("\032" for a
            // space); the one asked for is the one the caller knows.
            const DiscoveredService service{
                fromAvahi(name), self->m_browseType, fromAvahi(domain), interface, protocol};
            if (event == AVAHI_BROWSER_NEW)
                self->serviceAppeared(service);
            else
                self->serviceDisappeared(service);
            break;
        }
        case AVAHI_BROWSER_FAILURE:
            qCWarning(lcDiscovery) << "browsing for" << self->m_browseType << "failed:" << self->daemonError();
            avahi_service_browser_free(browser);
            self->m_browser = nullptr;
            self->forgetFoundServices();
            break;
        case AVAHI_BROWSER_ALL_FOR_NOW:
        case AVAHI_BROWSER_CACHE_EXHAUSTED:
            break;
        }
    }

    static void resolver(AvahiServiceResolver *resolver, AvahiIfIndex interface, AvahiProtocol,
        AvahiResolverEvent event, const char *, const char *, const char *, const char *, const AvahiAddress *address,
        uint16_t port, AvahiStringList *, AvahiLookupResultFlags, void *userdata)
    {
        auto *self = static_cast<ServiceDiscovery *>(userdata);
        if (resolver != self->m_resolver || !self->m_resolving)
            return;
        const DiscoveredService service = *self->m_resolving;
        const QString error = self->daemonError();
        self->m_resolving.reset();
        self->m_resolver = nullptr;
        avahi_service_resolver_free(resolver);
        if (event == AVAHI_RESOLVER_FOUND)
            Q_EMIT self->resolved(service, hostAddress(address, interface), port);
        else
            Q_EMIT self->resolveFailed(service,
                ServiceDiscovery::tr("“%1” could not be reached on the network (%2).").arg(service.name, error));
    }
};

ServiceDiscovery::ServiceDiscovery(QObject *parent)
    : QObject(parent)
    , m_poll(std::make_unique<QtAvahiPoll>())
    , m_retryTimer(new QTimer(this))
{
    m_retryTimer->setSingleShot(true);
    m_retryTimer->setInterval(kRetryMilliseconds);
    connect(m_retryTimer, &QTimer::timeout, this, &ServiceDiscovery::connectToDaemon);
    connectToDaemon();
}

ServiceDiscovery::~ServiceDiscovery()
{
    // Freeing the client frees its entry group, which withdraws the service,
    // and its browser and resolver; the poll goes after it.
    if (m_client)
        avahi_client_free(m_client);
}

bool ServiceDiscovery::isAvailable() const
{
    return m_available;
}

QString ServiceDiscovery::unavailableReason() const
{
    return m_available ? QString() : m_unavailableReason;
}

void ServiceDiscovery::connectToDaemon()
{
    if (m_client)
        return;
    int error = AVAHI_OK;
    // With NO_FAIL, a missing daemon is not an error: the client waits for
    // one. Only a missing system bus makes this fail.
    AvahiClient *client
        = avahi_client_new(m_poll->api(), AVAHI_CLIENT_NO_FAIL, &ServiceDiscoveryCallbacks::client, this, &error);
    if (!client) {
        // The state callback may have run with a client that no longer exists.
        m_client = nullptr;
        m_group = nullptr;
        m_browser = nullptr;
        m_resolver = nullptr;
        setAvailable(false,
            tr("No Avahi daemon can be reached, because the system message bus is not running (%1). "
               "Without it this computer can neither be announced on the network nor find other "
               "devices.")
                .arg(fromAvahi(avahi_strerror(error))));
        m_retryTimer->start();
        return;
    }
    m_client = client;
}

void ServiceDiscovery::restartClient()
{
    dropDaemonObjects();
    connectToDaemon();
}

void ServiceDiscovery::dropDaemonObjects()
{
    if (m_client)
        avahi_client_free(m_client);
    m_client = nullptr;
    m_group = nullptr;
    m_browser = nullptr;
    m_resolver = nullptr;
    m_published = false;
    forgetFoundServices();
    failResolution();
}

void ServiceDiscovery::failResolution()
{
    if (!m_resolving)
        return;
    const DiscoveredService service = *m_resolving;
    m_resolving.reset();
    Q_EMIT resolveFailed(service, m_unavailableReason);
}

void ServiceDiscovery::clientStateChanged(AvahiClient *client, int state)
{
    // The first call comes from inside avahi_client_new(), before it returns.
    if (!m_client)
        m_client = client;
    switch (state) {
    case AVAHI_CLIENT_S_RUNNING:
        setAvailable(true, QString());
        if (m_wantPublished && !m_group)
            registerService();
        if (m_wantBrowsing && !m_browser)
            startBrowser();
        break;
    case AVAHI_CLIENT_S_REGISTERING:
    case AVAHI_CLIENT_S_COLLISION:
        // The daemon is (re)registering the host name; services are added
        // again once it is running.
        setAvailable(true, QString());
        if (m_group) {
            avahi_entry_group_free(m_group);
            m_group = nullptr;
            m_published = false;
        }
        break;
    case AVAHI_CLIENT_CONNECTING:
        setAvailable(false,
            tr("No Avahi daemon is running, so this computer can neither be announced on the network "
               "nor find other devices. Start the service “avahi-daemon”."));
        break;
    case AVAHI_CLIENT_FAILURE:
    default:
        // Mostly the daemon went away, and everything it did for us with it.
        // A new client waits for it to return; it is made once Avahi has
        // finished with this one.
        m_unavailableReason = tr("The Avahi daemon stopped answering (%1).").arg(daemonError());
        m_published = false;
        forgetFoundServices();
        failResolution();
        setAvailable(false, m_unavailableReason);
        QMetaObject::invokeMethod(this, &ServiceDiscovery::restartClient, Qt::QueuedConnection);
        break;
    }
}

void ServiceDiscovery::setAvailable(bool available, const QString &reason)
{
    m_unavailableReason = reason;
    if (m_available == available)
        return;
    m_available = available;
    Q_EMIT availabilityChanged(available);
}

QString ServiceDiscovery::daemonError() const
{
    return m_client ? fromAvahi(avahi_strerror(avahi_client_errno(m_client))) : m_unavailableReason;
}

// -- publication

void ServiceDiscovery::publish(const QString &type, const QString &name, quint16 port)
{
    if (m_group) {
        avahi_entry_group_free(m_group);
        m_group = nullptr;
    }
    m_wantPublished = true;
    m_published = false;
    m_type = type;
    m_requestedName = name;
    m_registeringName.clear();
    m_port = port;
    registerService();
}

void ServiceDiscovery::withdraw()
{
    m_wantPublished = false;
    m_published = false;
    m_registeringName.clear();
    if (m_group) {
        avahi_entry_group_free(m_group);
        m_group = nullptr;
    }
}

bool ServiceDiscovery::isPublished() const
{
    return m_published;
}

QString ServiceDiscovery::publishedName() const
{
    return m_publishedName;
}

void ServiceDiscovery::registerService()
{
    if (!m_client || avahi_client_get_state(m_client) != AVAHI_CLIENT_S_RUNNING)
        return; // carried out when the daemon runs
    if (!m_group) {
        m_group = avahi_entry_group_new(m_client, &ServiceDiscoveryCallbacks::group, this);
        if (!m_group) {
            failPublication(tr("The service could not be announced on the network (%1).").arg(daemonError()));
            return;
        }
    } else {
        avahi_entry_group_reset(m_group);
    }
    if (m_registeringName.isEmpty())
        m_registeringName
            = m_requestedName.isEmpty() ? fromAvahi(avahi_client_get_host_name(m_client)) : m_requestedName;

    const QByteArray type = m_type.toUtf8();
    int result = AVAHI_OK;
    // A name taken by another service of this computer is refused at once,
    // one taken elsewhere on the network later, through the group's state.
    for (int attempt = 0; attempt < 100; ++attempt) {
        result
            = avahi_entry_group_add_service_strlst(m_group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0),
                m_registeringName.toUtf8().constData(), type.constData(), nullptr, nullptr, m_port, nullptr);
        if (result != AVAHI_ERR_COLLISION)
            break;
        m_registeringName = alternativeName(m_registeringName);
    }
    if (result == AVAHI_OK)
        result = avahi_entry_group_commit(m_group);
    if (result == AVAHI_ERR_INVALID_SERVICE_TYPE)
        failPublication(tr("The service type “%1” cannot be announced on the network.").arg(m_type));
    else if (result != AVAHI_OK)
        failPublication(
            tr("The service could not be announced on the network (%1).").arg(fromAvahi(avahi_strerror(result))));
}

void ServiceDiscovery::groupStateChanged(AvahiEntryGroup *group, int state)
{
    if (group != m_group)
        return;
    switch (state) {
    case AVAHI_ENTRY_GROUP_ESTABLISHED:
        m_published = true;
        m_publishedName = m_registeringName;
        Q_EMIT published(m_publishedName);
        break;
    case AVAHI_ENTRY_GROUP_COLLISION:
        m_published = false;
        m_registeringName = alternativeName(m_registeringName);
        registerService();
        break;
    case AVAHI_ENTRY_GROUP_FAILURE:
        failPublication(tr("The service could not be announced on the network (%1).").arg(daemonError()));
        break;
    default:
        break;
    }
}

void ServiceDiscovery::failPublication(const QString &error)
{
    // The group is emptied rather than freed: this may run inside its callback.
    if (m_group)
        avahi_entry_group_reset(m_group);
    m_wantPublished = false;
    m_published = false;
    m_registeringName.clear();
    qCWarning(lcDiscovery) << error;
    Q_EMIT publicationFailed(error);
}

bool ServiceDiscovery::isOwnName(const QString &name) const
{
    // Our own service may be seen while the group is still registering, and
    // again from the cache just after it was withdrawn.
    return (!m_publishedName.isEmpty() && name == m_publishedName) || (m_group && name == m_registeringName);
}

// -- browsing

void ServiceDiscovery::browse(const QString &type)
{
    stopBrowsing();
    m_wantBrowsing = true;
    m_browseType = type;
    if (m_client && avahi_client_get_state(m_client) == AVAHI_CLIENT_S_RUNNING)
        startBrowser();
}

void ServiceDiscovery::stopBrowsing()
{
    m_wantBrowsing = false;
    if (m_browser)
        avahi_service_browser_free(m_browser);
    m_browser = nullptr;
    m_found.clear();
    m_foundOn.clear();
}

void ServiceDiscovery::startBrowser()
{
    m_browser = avahi_service_browser_new(m_client, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC,
        m_browseType.toUtf8().constData(), "local", AvahiLookupFlags(0), &ServiceDiscoveryCallbacks::browser, this);
    if (!m_browser)
        qCWarning(lcDiscovery) << "cannot browse for" << m_browseType << ":" << daemonError();
}

void ServiceDiscovery::serviceAppeared(const DiscoveredService &service)
{
    if (isOwnName(service.name))
        return;
    for (qsizetype i = 0; i < m_found.size(); ++i) {
        const DiscoveredService &known = m_found.at(i);
        if (known.name == service.name && known.domain == service.domain) {
            if (!m_foundOn[i].contains(std::pair(service.interface, service.protocol)))
                m_foundOn[i].append(std::pair(service.interface, service.protocol));
            return;
        }
    }
    m_found.append(service);
    m_foundOn.append({std::pair(service.interface, service.protocol)});
    Q_EMIT serviceFound(service, false);
}

void ServiceDiscovery::serviceDisappeared(const DiscoveredService &service)
{
    for (qsizetype i = 0; i < m_found.size(); ++i) {
        const DiscoveredService &known = m_found.at(i);
        if (known.name != service.name || known.domain != service.domain)
            continue;
        m_foundOn[i].removeAll(std::pair(service.interface, service.protocol));
        if (m_foundOn[i].isEmpty()) {
            const DiscoveredService gone = m_found.takeAt(i);
            m_foundOn.removeAt(i);
            Q_EMIT serviceRemoved(gone, false);
        }
        return;
    }
}

void ServiceDiscovery::forgetFoundServices()
{
    const QList<DiscoveredService> gone = std::exchange(m_found, {});
    m_foundOn.clear();
    for (const DiscoveredService &service : gone)
        Q_EMIT serviceRemoved(service, false);
}

// -- resolution

void ServiceDiscovery::resolve(const DiscoveredService &service)
{
    stopResolving();
    m_resolving = service;
    if (m_client && avahi_client_get_state(m_client) == AVAHI_CLIENT_S_RUNNING)
        m_resolver = avahi_service_resolver_new(m_client, service.interface, service.protocol,
            service.name.toUtf8().constData(), service.type.toUtf8().constData(), service.domain.toUtf8().constData(),
            AVAHI_PROTO_UNSPEC, AvahiLookupFlags(0), &ServiceDiscoveryCallbacks::resolver, this);
    if (m_resolver)
        return;
    // Reported from the event loop, like every other outcome of resolve().
    const QString error = m_available ? daemonError() : m_unavailableReason;
    QMetaObject::invokeMethod(
        this,
        [this, service, error] {
            if (m_resolving == service && !m_resolver) {
                m_resolving.reset();
                Q_EMIT resolveFailed(
                    service, tr("“%1” could not be reached on the network (%2).").arg(service.name, error));
            }
        },
        Qt::QueuedConnection);
}

void ServiceDiscovery::stopResolving()
{
    if (m_resolver)
        avahi_service_resolver_free(m_resolver);
    m_resolver = nullptr;
    m_resolving.reset();
}
