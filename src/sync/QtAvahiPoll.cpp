#include "QtAvahiPoll.h"

#include <QSocketNotifier>
#include <QTimer>

#include <avahi-common/timeval.h>

#include <algorithm>
#include <climits>

// Avahi declares these two as opaque structures; their definition is ours.
struct AvahiWatch
{
    QtAvahiPoll *poll = nullptr;
    int fd = -1;
    AvahiWatchCallback callback = nullptr;
    void *userdata = nullptr;
    AvahiWatchEvent wanted = AvahiWatchEvent(0);
    AvahiWatchEvent fired = AvahiWatchEvent(0); // only during the callback, as get_events() promises
    bool dead = false;
    std::unique_ptr<QSocketNotifier> read;
    std::unique_ptr<QSocketNotifier> write;
    std::unique_ptr<QSocketNotifier> exception;
};

struct AvahiTimeout
{
    QtAvahiPoll *poll = nullptr;
    AvahiTimeoutCallback callback = nullptr;
    void *userdata = nullptr;
    bool dead = false;
    std::unique_ptr<QTimer> timer;
};

struct QtAvahiPollCallbacks
{
    static QtAvahiPoll *owner(const ::AvahiPoll *api) { return static_cast<QtAvahiPoll *>(api->userdata); }

    static void applyWanted(AvahiWatch *w)
    {
        const bool alive = !w->dead;
        w->read->setEnabled(alive && (w->wanted & AVAHI_WATCH_IN));
        w->write->setEnabled(alive && (w->wanted & AVAHI_WATCH_OUT));
        w->exception->setEnabled(alive && (w->wanted & (AVAHI_WATCH_ERR | AVAHI_WATCH_HUP)));
    }

    static void activate(AvahiWatch *w, AvahiWatchEvent event)
    {
        if (w->dead)
            return;
        w->fired = event;
        w->callback(w, w->fd, event, w->userdata);
        // The watch may be dead now, but its memory lives until the sweep.
        w->fired = AvahiWatchEvent(0);
    }

    static AvahiWatch *watchNew(
        const ::AvahiPoll *api, int fd, AvahiWatchEvent event, AvahiWatchCallback callback, void *userdata)
    {
        QtAvahiPoll *poll = owner(api);
        auto w = std::make_unique<AvahiWatch>();
        AvahiWatch *raw = w.get();
        raw->poll = poll;
        raw->fd = fd;
        raw->callback = callback;
        raw->userdata = userdata;
        raw->wanted = event;
        raw->read = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
        raw->write = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Write);
        raw->exception = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Exception);
        QObject::connect(raw->read.get(), &QSocketNotifier::activated, poll, [raw] { activate(raw, AVAHI_WATCH_IN); });
        QObject::connect(
            raw->write.get(), &QSocketNotifier::activated, poll, [raw] { activate(raw, AVAHI_WATCH_OUT); });
        QObject::connect(
            raw->exception.get(), &QSocketNotifier::activated, poll, [raw] { activate(raw, AVAHI_WATCH_ERR); });
        applyWanted(raw);
        poll->m_watches.push_back(std::move(w));
        return raw;
    }

    static void watchUpdate(AvahiWatch *w, AvahiWatchEvent event)
    {
        if (w->dead)
            return;
        w->wanted = event;
        applyWanted(w);
    }

    static AvahiWatchEvent watchGetEvents(AvahiWatch *w) { return w->fired; }

    static void watchFree(AvahiWatch *w)
    {
        w->dead = true;
        applyWanted(w);
        w->poll->scheduleSweep();
    }

    static int msecondsUntil(const struct timeval *tv)
    {
        // avahi_age() is how long ago the moment was: negative for the future.
        const AvahiUsec age = avahi_age(tv);
        if (age >= 0)
            return 0;
        const AvahiUsec msec = (-age + 999) / 1000;
        return int(std::min<AvahiUsec>(msec, INT_MAX));
    }

    static void arm(AvahiTimeout *t, const struct timeval *tv)
    {
        if (!tv || t->dead)
            t->timer->stop();
        else
            t->timer->start(msecondsUntil(tv));
    }

    static AvahiTimeout *timeoutNew(
        const ::AvahiPoll *api, const struct timeval *tv, AvahiTimeoutCallback callback, void *userdata)
    {
        QtAvahiPoll *poll = owner(api);
        auto t = std::make_unique<AvahiTimeout>();
        AvahiTimeout *raw = t.get();
        raw->poll = poll;
        raw->callback = callback;
        raw->userdata = userdata;
        raw->timer = std::make_unique<QTimer>();
        raw->timer->setSingleShot(true);
        raw->timer->setTimerType(Qt::PreciseTimer);
        QObject::connect(raw->timer.get(), &QTimer::timeout, poll, [raw] {
            if (!raw->dead)
                raw->callback(raw, raw->userdata);
        });
        arm(raw, tv);
        poll->m_timeouts.push_back(std::move(t));
        return raw;
    }

    static void timeoutUpdate(AvahiTimeout *t, const struct timeval *tv) { arm(t, tv); }

    static void timeoutFree(AvahiTimeout *t)
    {
        t->dead = true;
        t->timer->stop();
        t->poll->scheduleSweep();
    }
};

QtAvahiPoll::QtAvahiPoll(QObject *parent)
    : QObject(parent)
{
    m_api.userdata = this;
    m_api.watch_new = &QtAvahiPollCallbacks::watchNew;
    m_api.watch_update = &QtAvahiPollCallbacks::watchUpdate;
    m_api.watch_get_events = &QtAvahiPollCallbacks::watchGetEvents;
    m_api.watch_free = &QtAvahiPollCallbacks::watchFree;
    m_api.timeout_new = &QtAvahiPollCallbacks::timeoutNew;
    m_api.timeout_update = &QtAvahiPollCallbacks::timeoutUpdate;
    m_api.timeout_free = &QtAvahiPollCallbacks::timeoutFree;
}

QtAvahiPoll::~QtAvahiPoll() = default;

int QtAvahiPoll::liveWatchCount() const
{
    return int(std::count_if(m_watches.begin(), m_watches.end(), [](const auto &w) { return !w->dead; }));
}

int QtAvahiPoll::liveTimeoutCount() const
{
    return int(std::count_if(m_timeouts.begin(), m_timeouts.end(), [](const auto &t) { return !t->dead; }));
}

void QtAvahiPoll::scheduleSweep()
{
    if (m_sweepScheduled)
        return;
    m_sweepScheduled = true;
    QMetaObject::invokeMethod(this, &QtAvahiPoll::sweep, Qt::QueuedConnection);
}

void QtAvahiPoll::sweep()
{
    m_sweepScheduled = false;
    std::erase_if(m_watches, [](const auto &w) { return w->dead; });
    std::erase_if(m_timeouts, [](const auto &t) { return t->dead; });
}
