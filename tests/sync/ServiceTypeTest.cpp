// The service type made from a group name: unchanged wherever Avahi accepts
// it, escaped where DNS-SD needs it, and refused in words where it cannot be
// announced. Avahi's own checks are the judge.
#include "sync/ServiceType.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <avahi-common/domain.h>

namespace {

bool avahiPublishes(const QString &type)
{
    return avahi_is_valid_service_type_strict(type.toUtf8().constData());
}

TEST(ServiceType, keepsTheGroupNameAsTypedEscapingWhatDnsSdNeeds)
{
    const auto typeOf = [](const QString &label) -> QString {
        return u"_JotwellSync_" + label + u"._tcp";
    };
    // Escapes do not count towards the label's 63 bytes.
    const std::pair<QString, QString> cases[] = {{QStringLiteral(" Été 日本語 ✓ "), QStringLiteral(" Été 日本語 ✓ ")},
        {QStringLiteral("v1.2."), QStringLiteral("v1\\.2\\.")},
        {QStringLiteral("a\\032b"), QStringLiteral("a\\\\032b")},
        {QStringLiteral("x._udp"), QStringLiteral("x\\._udp")}, {QString(50, u'.'), QStringLiteral("\\.").repeated(50)},
        {QString(25, QChar(0xe9)), QString(25, QChar(0xe9))}};
    for (const auto &[group, label] : cases) {
        const Result<QString> type = ServiceType::forGroup(group);
        ASSERT_TRUE(type.ok()) << type.errorMessage().toStdString();
        EXPECT_EQ(type.value(), typeOf(label));
        EXPECT_TRUE(avahiPublishes(type.value())) << type.value().toStdString();
    }
}

TEST(ServiceType, refusesNamesThatCannotBeAnnounced)
{
    // Too long for the label: Avahi itself would refuse these.
    for (const QString &group : {QString(51, u'n'), QString(26, QChar(0xe9)), QString(17, QChar(0x65e5))}) {
        EXPECT_FALSE(avahiPublishes(u"_JotwellSync_" + group + u"._tcp"));
        const Result<QString> type = ServiceType::forGroup(group);
        ASSERT_FALSE(type.ok());
        EXPECT_TRUE(type.errorMessage().contains(u"at most 50 bytes")) << type.errorMessage().toStdString();
        EXPECT_TRUE(type.errorMessage().contains(group));
    }
    EXPECT_FALSE(ServiceType::forGroup(QString()).ok());
    // A noncharacter (Avahi's UTF-8 check refuses it), a lone surrogate (lost
    // in UTF-8), a NUL (ends a C string).
    for (const QString &group : QStringList{QStringLiteral("a") + QChar(0xfffe), QStringLiteral("b") + QChar(0xd800),
             QStringLiteral("c") + QChar(0)}) {
        const Result<QString> type = ServiceType::forGroup(group);
        ASSERT_FALSE(type.ok());
        EXPECT_TRUE(type.errorMessage().contains(u"cannot be announced")) << type.errorMessage().toStdString();
    }
    EXPECT_FALSE(ServiceType::forProtocol(QString(63, u'p')).ok());
    EXPECT_EQ(ServiceType::forProtocol(QString(62, u'p')).valueOr({}), u"_" + QString(62, u'p') + u"._tcp");
}

} // namespace
