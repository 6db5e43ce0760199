// Avahi's poll rules on the Qt event loop, which the daemon's client library relies on.
#include "sync/QtAvahiPoll.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <avahi-common/timeval.h>

#include <unistd.h>

namespace {

// Runs the event loop until done() or for the time given.
template<typename Done> bool spinUntil(Done done, int milliseconds = 2000)
{
    QDeadlineTimer deadline(milliseconds);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

void settle()
{
    spinUntil([] { return false; }, 300);
}

// What a callback saw: the event it was called for, and what watch_get_events() said then.
struct Log
{
    const ::AvahiPoll *api = nullptr;
    bool freeInCallback = false;
    int calls = 0;
    AvahiWatchEvent event = AvahiWatchEvent(0), reported = AvahiWatchEvent(0);
};

void onWatch(AvahiWatch *watch, int, AvahiWatchEvent event, void *userdata)
{
    auto *log = static_cast<Log *>(userdata);
    ++log->calls;
    log->event = event;
    log->reported = log->api->watch_get_events(watch);
    if (log->freeInCallback)
        log->api->watch_free(watch);
}

void onTimeout(AvahiTimeout *timeout, void *userdata)
{
    auto *log = static_cast<Log *>(userdata);
    ++log->calls;
    if (log->freeInCallback)
        log->api->timeout_free(timeout);
}

TEST(QtAvahiPoll, watchesFollowTheirEventsAndMayFreeThemselves)
{
    QtAvahiPoll poll;
    const ::AvahiPoll *api = poll.api();
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);

    Log reader{api, true};
    AvahiWatch *watch = api->watch_new(api, fds[0], AVAHI_WATCH_IN, &onWatch, &reader);
    EXPECT_EQ(api->watch_get_events(watch), 0) << "events are reported only during the callback";
    ASSERT_EQ(::write(fds[1], "x", 1), 1);
    ASSERT_TRUE(spinUntil([&] { return reader.calls > 0; }));
    EXPECT_EQ(reader.event, AVAHI_WATCH_IN);
    EXPECT_EQ(reader.reported, AVAHI_WATCH_IN);
    // The byte is still unread: a watch that lived on would fire again.
    settle();
    EXPECT_EQ(reader.calls, 1);
    EXPECT_EQ(poll.liveWatchCount(), 0);

    Log writer{api, false};
    watch = api->watch_new(api, fds[1], AvahiWatchEvent(0), &onWatch, &writer);
    api->watch_update(watch, AVAHI_WATCH_OUT);
    ASSERT_TRUE(spinUntil([&] { return writer.calls > 0; }));
    EXPECT_EQ(writer.event, AVAHI_WATCH_OUT);
    api->watch_update(watch, AvahiWatchEvent(0));
    const int calls = writer.calls;
    settle();
    EXPECT_EQ(writer.calls, calls) << "a watch without events stays silent";
    api->watch_free(watch);
    ::close(fds[0]);
    ::close(fds[1]);
}

TEST(QtAvahiPoll, timeoutsFireOnceAtTheirTime)
{
    QtAvahiPoll poll;
    const ::AvahiPoll *api = poll.api();
    struct timeval now = {};
    avahi_elapse_time(&now, 0, 0);

    Log once{api, true};
    api->timeout_new(api, &now, &onTimeout, &once);
    EXPECT_EQ(once.calls, 0) << "a zero time fires on the next pass of the loop, not inside timeout_new";
    ASSERT_TRUE(spinUntil([&] { return once.calls > 0; }));
    EXPECT_EQ(poll.liveTimeoutCount(), 0);

    Log later{api, false};
    struct timeval soon = {};
    avahi_elapse_time(&soon, 150, 0);
    AvahiTimeout *timeout = api->timeout_new(api, &soon, &onTimeout, &later);
    QCoreApplication::processEvents();
    EXPECT_EQ(later.calls, 0);
    ASSERT_TRUE(spinUntil([&] { return later.calls > 0; }));
    api->timeout_update(timeout, &now);
    api->timeout_update(timeout, nullptr);
    settle();
    EXPECT_EQ(later.calls, 1) << "a timeout fires once until it is updated, and a null time disables it";
    api->timeout_update(timeout, &now);
    ASSERT_TRUE(spinUntil([&] { return later.calls == 2; }));
    api->timeout_free(timeout);
}

} // namespace
