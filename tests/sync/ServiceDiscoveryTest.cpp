// Service discovery where Avahi cannot be had: no system bus at all, or a bus
// on which no daemon answers. Nothing may fail, block or crash; the user is
// told why, and requests wait for a daemon.
#include "sync/ServiceDiscovery.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <utility>

namespace {

// libdbus reads the system bus address once per process, so each test that
// chooses one must run in a process of its own, as ctest runs them.
bool chooseSystemBus(const QByteArray &address)
{
    static bool chosen = false;
    if (std::exchange(chosen, true))
        return false;
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
    return true;
}

#define SKIP_UNLESS_BUS_CHOSEN(address)                                                                                \
    if (!chooseSystemBus(address))                                                                                     \
    GTEST_SKIP() << "this process has already chosen its system bus; run the test on its own"

// What a ServiceDiscovery without a daemon must do, whatever the reason.
void expectRequestsWait(ServiceDiscovery &discovery)
{
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

TEST(ServiceDiscovery, withoutSystemBusIsUnavailableAndSaysWhy)
{
    QTemporaryDir nowhere;
    SKIP_UNLESS_BUS_CHOSEN("unix:path=" + nowhere.path().toUtf8() + "/no-bus");
    ServiceDiscovery discovery;
    EXPECT_FALSE(discovery.isAvailable());
    EXPECT_TRUE(discovery.unavailableReason().contains(u"message bus")) << discovery.unavailableReason().toStdString();
    expectRequestsWait(discovery);
}

TEST(ServiceDiscovery, onABusWithoutDaemonIsUnavailableAndSaysWhy)
{
    const QString dbusDaemon = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
    if (dbusDaemon.isEmpty())
        GTEST_SKIP() << "dbus-daemon is not installed";
    QProcess bus;
    bus.start(dbusDaemon,
        {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
            QStringLiteral("--print-address=1")});
    ASSERT_TRUE(bus.waitForStarted(5000));
    QByteArray address;
    while (!address.endsWith('\n') && bus.waitForReadyRead(5000))
        address += bus.readAllStandardOutput();
    ASSERT_FALSE(address.trimmed().isEmpty()) << "dbus-daemon gave no address";

    SKIP_UNLESS_BUS_CHOSEN(address.trimmed());
    ServiceDiscovery discovery;
    EXPECT_FALSE(discovery.isAvailable());
    EXPECT_TRUE(discovery.unavailableReason().contains(u"No Avahi daemon is running"))
        << discovery.unavailableReason().toStdString();
    expectRequestsWait(discovery);
    bus.terminate();
    bus.waitForFinished(5000);
}

} // namespace
