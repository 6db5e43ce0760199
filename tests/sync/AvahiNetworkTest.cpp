// Publication, browsing and resolution against a real Avahi daemon. Runs only
// inside the private network made by avahi-netns-test.sh, which sets
// JW_AVAHI_NETNS; anywhere else it skips, so that it never talks to the
// machine's own daemon.
#include "sync/ServiceDiscovery.h"
#include "sync/ServiceType.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStringList>

namespace {

constexpr int kWait = 15000;

bool waitFor(QSignalSpy &spy, int count = 1)
{
    while (spy.count() < count)
        if (!spy.wait(kWait))
            return false;
    return true;
}

// The script starts the daemon once this file exists.
void startDaemon()
{
    QFile ready(qEnvironmentVariable("JW_AVAHI_START_DAEMON"));
    EXPECT_TRUE(ready.exists() || ready.open(QIODevice::WriteOnly)) << "cannot ask for the daemon";
}

bool waitAvailable(ServiceDiscovery &discovery)
{
    startDaemon();
    QSignalSpy available(&discovery, &ServiceDiscovery::availabilityChanged);
    return discovery.isAvailable() || waitFor(available);
}

QStringList names(const QList<DiscoveredService> &services)
{
    QStringList result;
    for (const DiscoveredService &service : services)
        result << service.name;
    return result;
}

#define SKIP_OUTSIDE_PRIVATE_NETWORK()                                                                                 \
    if (qEnvironmentVariableIntValue("JW_AVAHI_NETNS") != 1)                                                           \
    GTEST_SKIP() << "runs only inside the private network of avahi-netns-test.sh"

const QString kType = QStringLiteral("_JotwellSync_Team notes v2\\.1._tcp");

TEST(AvahiNetwork, publishesBrowsesResolvesAndWithdraws)
{
    SKIP_OUTSIDE_PRIVATE_NETWORK();
    // A request made before the daemon runs is carried out when it appears.
    ServiceDiscovery desk;
    EXPECT_TRUE(desk.unavailableReason().contains(u"No Avahi daemon is running"));
    QSignalSpy deskPublished(&desk, &ServiceDiscovery::published);
    QSignalSpy deskFailed(&desk, &ServiceDiscovery::publicationFailed);
    desk.publish(kType, QString(), 4242); // an empty name stands for the computer's name
    startDaemon();
    ASSERT_TRUE(waitFor(deskPublished)) << deskFailed.value(0).value(0).toString().toStdString();
    ServiceDiscovery phone;
    ASSERT_TRUE(waitAvailable(phone)) << phone.unavailableReason().toStdString();
    const QString deskName = deskPublished.at(0).at(0).toString();
    EXPECT_FALSE(deskName.isEmpty());
    EXPECT_EQ(desk.publishedName(), deskName);

    QSignalSpy phonePublished(&phone, &ServiceDiscovery::published);
    phone.publish(kType, QStringLiteral("Phone of Ann"), 4343);
    ASSERT_TRUE(waitFor(phonePublished));

    QSignalSpy deskFound(&desk, &ServiceDiscovery::serviceFound);
    QSignalSpy phoneFound(&phone, &ServiceDiscovery::serviceFound);
    QSignalSpy phoneRemoved(&phone, &ServiceDiscovery::serviceRemoved);
    desk.browse(kType);
    phone.browse(kType);
    ASSERT_TRUE(waitFor(phoneFound));
    ASSERT_TRUE(waitFor(deskFound));
    const auto found = phoneFound.at(0).at(0).value<DiscoveredService>();
    EXPECT_EQ(QStringList({found.name, found.type, found.domain}), QStringList({deskName, kType, "local"}));

    // Each sees the other, once, and never itself, though each service comes on two interfaces.
    QSignalSpy(&desk, &ServiceDiscovery::serviceFound).wait(1500);
    EXPECT_EQ(names(desk.services()), QStringList{QStringLiteral("Phone of Ann")});
    EXPECT_EQ(names(phone.services()), QStringList{deskName});
    EXPECT_EQ(deskFound.count(), 1);
    EXPECT_EQ(phoneFound.count(), 1);

    QSignalSpy resolved(&phone, &ServiceDiscovery::resolved);
    QSignalSpy resolveFailed(&phone, &ServiceDiscovery::resolveFailed);
    phone.resolve(found);
    ASSERT_TRUE(waitFor(resolved)) << resolveFailed.value(0).value(1).toString().toStdString();
    EXPECT_FALSE(resolved.at(0).at(1).value<QHostAddress>().isNull());
    EXPECT_EQ(resolved.at(0).at(2).value<quint16>(), 4242);

    // Withdrawn while a peer is connected, published again when it leaves.
    desk.withdraw();
    EXPECT_FALSE(desk.isPublished());
    ASSERT_TRUE(waitFor(phoneRemoved));
    EXPECT_TRUE(phone.services().isEmpty());
    desk.publish(kType, deskName, 4242);
    ASSERT_TRUE(waitFor(phoneFound, 2));
    EXPECT_EQ(phoneFound.at(1).at(0).value<DiscoveredService>().name, deskName);

    // A name already taken is replaced by Avahi's alternative.
    ServiceDiscovery second;
    ASSERT_TRUE(waitAvailable(second));
    QSignalSpy secondPublished(&second, &ServiceDiscovery::published);
    second.publish(kType, QStringLiteral("Phone of Ann"), 4444);
    ASSERT_TRUE(waitFor(secondPublished));
    EXPECT_EQ(second.publishedName(), QStringLiteral("Phone of Ann #2"));

    // The daemon goes away: nothing is available, what was found is gone.
    // When it returns, the service is announced and found again.
    // Each client hears of it on its own connection, so both are waited for.
    QSignalSpy phoneAvailability(&phone, &ServiceDiscovery::availabilityChanged);
    QSignalSpy deskAvailability(&desk, &ServiceDiscovery::availabilityChanged);
    deskPublished.clear();
    phoneFound.clear();
    ASSERT_EQ(QProcess::execute(QStringLiteral("avahi-daemon"), {QStringLiteral("--kill")}), 0);
    ASSERT_TRUE(waitFor(phoneAvailability) && waitFor(deskAvailability));
    EXPECT_FALSE(phone.isAvailable());
    EXPECT_FALSE(desk.isPublished());
    EXPECT_TRUE(phone.services().isEmpty());
    ASSERT_EQ(QProcess::execute(QStringLiteral("avahi-daemon"),
                  {QStringLiteral("--daemonize"), QStringLiteral("--no-drop-root"), QStringLiteral("--no-chroot"),
                      QStringLiteral("--no-rlimits"), QStringLiteral("-f"), qEnvironmentVariable("JW_AVAHI_CONFIG")}),
        0);
    ASSERT_TRUE(waitFor(deskPublished));
    EXPECT_EQ(deskPublished.at(0).at(0).toString(), deskName);
    for (int seen = 1; !names(phone.services()).contains(deskName); ++seen)
        ASSERT_TRUE(waitFor(phoneFound, seen)) << "the desk is not found again";
}

TEST(AvahiNetwork, refusesATypeAvahiCannotPublish)
{
    SKIP_OUTSIDE_PRIVATE_NETWORK();
    ServiceDiscovery desk;
    ASSERT_TRUE(waitAvailable(desk));
    QSignalSpy failed(&desk, &ServiceDiscovery::publicationFailed);
    desk.publish(QStringLiteral("_JotwellSync_Team notes v2.1._tcp"), QStringLiteral("Desk"), 4242);
    ASSERT_TRUE(failed.count() == 1 || waitFor(failed));
    EXPECT_TRUE(failed.at(0).at(0).toString().contains(u"cannot be announced"));
    EXPECT_FALSE(desk.isPublished());
}

} // namespace
