#pragma once

#include <QObject>

#include <avahi-common/watch.h>

#include <memory>
#include <vector>

/**
 * Avahi's main-loop abstraction (AvahiPoll) on the Qt event loop of the thread
 * that makes this object: file descriptors are watched with QSocketNotifier,
 * timeouts are single-shot QTimers. Works with any Qt event dispatcher; it
 * needs no GLib.
 *
 * Avahi may free a watch or a timeout from inside its own callback, or from the
 * callback of another one. A freed watch or timeout is therefore only marked
 * dead and switched off at once; the memory goes at the next pass of the event
 * loop (or with this object). The object must outlive every Avahi client made
 * on it.
 */
class QtAvahiPoll final : public QObject
{
    Q_OBJECT
public:
    explicit QtAvahiPoll(QObject *parent = nullptr);
    ~QtAvahiPoll() override;

    QtAvahiPoll(const QtAvahiPoll &) = delete;
    QtAvahiPoll &operator=(const QtAvahiPoll &) = delete;

    /** The vtable to hand to avahi_client_new(); valid as long as this object lives. */
    [[nodiscard]] const ::AvahiPoll *api() const { return &m_api; }

    /** Watches and timeouts that Avahi has made and not yet freed. */
    [[nodiscard]] int liveWatchCount() const;
    [[nodiscard]] int liveTimeoutCount() const;

private:
    friend struct QtAvahiPollCallbacks;

    void scheduleSweep();
    void sweep();

    ::AvahiPoll m_api{};
    std::vector<std::unique_ptr<::AvahiWatch>> m_watches;
    std::vector<std::unique_ptr<::AvahiTimeout>> m_timeouts;
    bool m_sweepScheduled = false;
};
