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

struct AcceptedName
{
    const char *label;
    QString group;
    QString type;

    friend void PrintTo(const AcceptedName &name, std::ostream *out) { *out << name.label; }
};

class ServiceTypeAccepts : public ::testing::TestWithParam<AcceptedName>
{ };

TEST_P(ServiceTypeAccepts, keepsTheGroupNameAsTyped)
{
    const Result<QString> type = ServiceType::forGroup(GetParam().group);
    ASSERT_TRUE(type.ok()) << type.errorMessage().toStdString();
    EXPECT_EQ(type.value(), GetParam().type);
    EXPECT_TRUE(avahiPublishes(type.value()));
}

INSTANTIATE_TEST_SUITE_P(ServiceType, ServiceTypeAccepts,
    ::testing::Values(AcceptedName{"nominal_plain", QStringLiteral("Notes"), QStringLiteral("_JotwellSync_Notes._tcp")},
        AcceptedName{"nominal_spaces", QStringLiteral(" My  notes "), QStringLiteral("_JotwellSync_ My  notes ._tcp")},
        AcceptedName{"nominal_utf8", QStringLiteral("Été 日本語 ✓"), QStringLiteral("_JotwellSync_Été 日本語 ✓._tcp")},
        AcceptedName{"escaping_dots", QStringLiteral("v1.2."), QStringLiteral("_JotwellSync_v1\\.2\\.._tcp")},
        AcceptedName{"escaping_backslash", QStringLiteral("a\\032b"), QStringLiteral("_JotwellSync_a\\\\032b._tcp")},
        AcceptedName{"escaping_looksLikeAType", QStringLiteral("x._udp"), QStringLiteral("_JotwellSync_x\\._udp._tcp")},
        // Escapes do not count towards the label's 63 bytes.
        AcceptedName{"limit_50AsciiBytes", QString(50, u'n'), u"_JotwellSync_" + QString(50, u'n') + u"._tcp"},
        AcceptedName{
            "limit_50Dots", QString(50, u'.'), u"_JotwellSync_" + QStringLiteral("\\.").repeated(50) + u"._tcp"},
        AcceptedName{"limit_25TwoByteLetters", QString(25, QChar(0xe9)),
            u"_JotwellSync_" + QString(25, QChar(0xe9)) + u"._tcp"}),
    [](const auto &info) { return std::string(info.param.label); });

TEST(ServiceType, refusesNamesLongerThanTheLabelAllows)
{
    EXPECT_EQ(ServiceType::maxGroupNameBytes(), 50);
    // Without the check, Avahi itself would refuse these.
    const QStringList tooLong{QString(51, u'n'), QString(26, QChar(0xe9)), QString(17, QChar(0x65e5))};
    for (const QString &group : tooLong) {
        EXPECT_FALSE(avahiPublishes(u"_JotwellSync_" + group + u"._tcp"));
        const Result<QString> type = ServiceType::forGroup(group);
        ASSERT_FALSE(type.ok());
        EXPECT_TRUE(type.errorMessage().contains(u"too long")) << type.errorMessage().toStdString();
        EXPECT_TRUE(type.errorMessage().contains(u"at most 50 bytes")) << type.errorMessage().toStdString();
        EXPECT_TRUE(type.errorMessage().contains(group));
    }
}

TEST(ServiceType, refusesNamesThatCannotBeAnnounced)
{
    const Result<QString> empty = ServiceType::forGroup(QString());
    ASSERT_FALSE(empty.ok());
    EXPECT_FALSE(empty.errorMessage().isEmpty());

    // A noncharacter (Avahi's UTF-8 check refuses it), a lone surrogate (lost
    // in UTF-8), a NUL (ends a C string).
    const QStringList unannounceable{
        QStringLiteral("a") + QChar(0xfffe), QStringLiteral("b") + QChar(0xd800), QStringLiteral("c") + QChar(0)};
    for (const QString &group : unannounceable) {
        const Result<QString> type = ServiceType::forGroup(group);
        ASSERT_FALSE(type.ok());
        EXPECT_TRUE(type.errorMessage().contains(u"cannot be announced")) << type.errorMessage().toStdString();
    }

    EXPECT_FALSE(ServiceType::forProtocol(QString()).ok());
    EXPECT_FALSE(ServiceType::forProtocol(QString(63, u'p')).ok());
    EXPECT_EQ(ServiceType::forProtocol(QString(62, u'p')).valueOr({}), u"_" + QString(62, u'p') + u"._tcp");
}

} // namespace
