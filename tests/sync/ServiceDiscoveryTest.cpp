// Service discovery where no system bus can be had: nothing may fail, block or
// crash; the user is told why, and requests wait for a daemon. (A bus without
// an Avahi daemon is met by the Avahi network test before it starts one.)
#include "sync/ServiceDiscovery.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>

namespace {

TEST(ServiceDiscovery, withoutSystemBusIsUnavailableAndSaysWhy)
{
    // libdbus reads the address once per process; ctest runs each test in a process of its own.
    QTemporaryDir nowhere;
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + nowhere.path().toUtf8() + "/no-bus");
    ServiceDiscovery discovery;
    EXPECT_FALSE(discovery.isAvailable());
    EXPECT_TRUE(discovery.unavailableReason().contains(u"message bus")) << discovery.unavailableReason().toStdString();

    QSignalSpy failed(&discovery, &ServiceDiscovery::publicationFailed);
    QElapsedTimer clock;
    clock.start();
    discovery.publish(QStringLiteral("_JotwellSync_Notes._tcp"), QString(), 4242);
    discovery.browse(QStringLiteral("_JotwellSync_Notes._tcp"));
    EXPECT_LT(clock.elapsed(), 1000) << "publish and browse must not block";
    EXPECT_FALSE(discovery.isPublished());

    const DiscoveredService elsewhere{
        QStringLiteral("Phone"), QStringLiteral("_JotwellSync_Notes._tcp"), QStringLiteral("local")};
    QSignalSpy resolveFailed(&discovery, &ServiceDiscovery::resolveFailed);
    discovery.resolve(elsewhere);
    EXPECT_EQ(resolveFailed.count(), 0) << "the outcome of resolve() comes from the event loop";
    ASSERT_TRUE(resolveFailed.wait(2000));
    EXPECT_EQ(resolveFailed.at(0).at(0).value<DiscoveredService>(), elsewhere);
    EXPECT_EQ(failed.count(), 0) << "a publication waits for the daemon instead of failing";
    discovery.withdraw();
    discovery.stopBrowsing();
}

} // namespace
