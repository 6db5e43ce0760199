#pragma once

#include <QByteArray>
#include <QString>

class Server;
struct DiscoveredService;

/**
 * What a Server tells the object that speaks a protocol over it. Every
 * callback is made on the thread the server lives on, from its event loop.
 */
class ServerDelegate
{
public:
    /** A peer is connected and can be written to. */
    virtual void serverRemoteConnectionComplete(Server &server) = 0;
    /** Everything one read of the peer's socket yielded. */
    virtual void serverDidAcceptData(Server &server, const QByteArray &data) = 0;
    /** The peer went away: @p error is empty when it closed its end, else what went wrong. */
    virtual void serverLostConnection(Server &server, const QString &error) = 0;
    /** Listening or publication failed. */
    virtual void serverDidNotStart(Server &server, const QString &error) = 0;
    virtual void serverStopped(Server &server) = 0;
    /** Another service of the same type appeared on the network. */
    virtual void serviceAdded(const DiscoveredService &service, bool moreComing) = 0;
    virtual void serviceRemoved(const DiscoveredService &service, bool moreComing) = 0;

protected:
    ~ServerDelegate() = default;
};
