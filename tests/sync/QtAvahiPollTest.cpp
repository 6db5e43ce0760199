// Avahi's poll rules on the Qt event loop: events reported during the
// callback only, watches and timeouts that free themselves in their callback,
// a zero time that fires on the next pass and never at once, a null time that
// disables.
#include "sync/QtAvahiPoll.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <avahi-common/timeval.h>

#include <unistd.h>

namespace {

// Runs the event loop until done() or two seconds have passed.
template<typename Done> bool spinUntil(Done done)
{
    QDeadlineTimer deadline(2000);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

// Gives the event loop time in which nothing is expected to happen.
void settle()
{
    QDeadlineTimer deadline(300);
    while (!deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

struct Pipe
{
    int fds[2] = {-1, -1};
    Pipe() { EXPECT_EQ(::pipe(fds), 0); }
    ~Pipe()
    {
        ::close(fds[0]);
        ::close(fds[1]);
    }
    void put() const { EXPECT_EQ(::write(fds[1], "x", 1), 1); }
};

struct WatchLog
{
    const ::AvahiPoll *api = nullptr;
    int calls = 0;
    AvahiWatchEvent event = AvahiWatchEvent(0);
    AvahiWatchEvent reported = AvahiWatchEvent(0);
    bool freeInCallback = false;
};

void onWatch(AvahiWatch *watch, int, AvahiWatchEvent event, void *userdata)
{
    auto *log = static_cast<WatchLog *>(userdata);
    ++log->calls;
    log->event = event;
    log->reported = log->api->watch_get_events(watch);
    if (log->freeInCallback)
        log->api->watch_free(watch);
}

TEST(QtAvahiPoll, watchReportsReadinessAndMayFreeItselfInItsCallback)
{
    QtAvahiPoll poll;
    const ::AvahiPoll *api = poll.api();
    Pipe pipe;
    WatchLog log{api};
    log.freeInCallback = true;
    AvahiWatch *watch = api->watch_new(api, pipe.fds[0], AVAHI_WATCH_IN, &onWatch, &log);
    EXPECT_EQ(poll.liveWatchCount(), 1);
    EXPECT_EQ(api->watch_get_events(watch), 0) << "events are reported only during the callback";

    pipe.put();
    ASSERT_TRUE(spinUntil([&] { return log.calls > 0; }));
    EXPECT_EQ(log.event, AVAHI_WATCH_IN);
    EXPECT_EQ(log.reported, AVAHI_WATCH_IN);
    EXPECT_EQ(poll.liveWatchCount(), 0);

    // The byte is still unread: a watch that lived on would fire again.
    settle();
    EXPECT_EQ(log.calls, 1);
}

TEST(QtAvahiPoll, watchFollowsUpdatedEvents)
{
    QtAvahiPoll poll;
    const ::AvahiPoll *api = poll.api();
    Pipe pipe;
    WatchLog log{api};
    AvahiWatch *watch = api->watch_new(api, pipe.fds[1], AvahiWatchEvent(0), &onWatch, &log);
    settle();
    EXPECT_EQ(log.calls, 0) << "a watch without events must stay silent";

    api->watch_update(watch, AVAHI_WATCH_OUT);
    ASSERT_TRUE(spinUntil([&] { return log.calls > 0; }));
    EXPECT_EQ(log.event, AVAHI_WATCH_OUT);

    api->watch_update(watch, AvahiWatchEvent(0));
    const int calls = log.calls;
    settle();
    EXPECT_EQ(log.calls, calls);
    api->watch_free(watch);
}

struct TimeoutLog
{
    const ::AvahiPoll *api = nullptr;
    int calls = 0;
    bool freeInCallback = false;
};

void onTimeout(AvahiTimeout *timeout, void *userdata)
{
    auto *log = static_cast<TimeoutLog *>(userdata);
    ++log->calls;
    if (log->freeInCallback)
        log->api->timeout_free(timeout);
}

TEST(QtAvahiPoll, timeoutsFireOnceAtTheirTime)
{
    QtAvahiPoll poll;
    const ::AvahiPoll *api = poll.api();

    TimeoutLog now{api};
    now.freeInCallback = true;
    struct timeval past = {};
    avahi_elapse_time(&past, 0, 0);
    api->timeout_new(api, &past, &onTimeout, &now);
    EXPECT_EQ(now.calls, 0) << "a zero time fires on the next pass of the loop, not inside timeout_new";
    ASSERT_TRUE(spinUntil([&] { return now.calls > 0; }));
    EXPECT_EQ(poll.liveTimeoutCount(), 0);

    TimeoutLog later{api};
    struct timeval soon = {};
    avahi_elapse_time(&soon, 150, 0);
    AvahiTimeout *timeout = api->timeout_new(api, &soon, &onTimeout, &later);
    QCoreApplication::processEvents();
    EXPECT_EQ(later.calls, 0);
    ASSERT_TRUE(spinUntil([&] { return later.calls > 0; }));
    settle();
    EXPECT_EQ(later.calls, 1) << "a timeout fires once until it is updated";

    api->timeout_update(timeout, &past);
    api->timeout_update(timeout, nullptr);
    settle();
    EXPECT_EQ(later.calls, 1) << "a null time disables the timeout";

    api->timeout_update(timeout, &past);
    ASSERT_TRUE(spinUntil([&] { return later.calls == 2; }));
    api->timeout_free(timeout);
}

} // namespace
