#include "common/FreshUserTest.h"
#include "platform/PropertyList.h"

#include <QDateTime>
#include <QPoint>
#include <QFile>
#include <QTimeZone>

namespace {

QByteArray readTestFile(const QString &name)
{
    QFile file(FreshUserTest::testDataPath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class PlatformWrittenPropertyListTest : public ::testing::TestWithParam<const char *>
{
};

// The same dictionary, written by the platform once as XML and once in binary.
TEST_P(PlatformWrittenPropertyListTest, readsEveryKindOfValue)
{
    const QByteArray bytes = readTestFile(QString::fromLatin1(GetParam()));
    ASSERT_FALSE(bytes.isEmpty());
    const auto parsed = PropertyList::fromData(bytes);
    ASSERT_TRUE(parsed.ok()) << parsed.errorMessage().toStdString();
    const QVariantMap root = parsed.value().toMap();

    EXPECT_EQ(root.value(QStringLiteral("aString")).toString(), QStringLiteral("Doodah"));
    EXPECT_EQ(root.value(QStringLiteral("anInt")).toLongLong(), 728);
    EXPECT_EQ(root.value(QStringLiteral("aNegativeInt")).toLongLong(), -5);
    EXPECT_EQ(root.value(QStringLiteral("aNegativeBigInt")).toLongLong(), -80'000'000'000);
    EXPECT_EQ(root.value(QStringLiteral("aBigInt")).toLongLong(), 9'223'372'036'854'775'764);
    EXPECT_DOUBLE_EQ(root.value(QStringLiteral("aFloat")).toDouble(), 0.5);
    EXPECT_EQ(root.value(QStringLiteral("aDate")).toDateTime(),
              QDateTime(QDate(2004, 10, 26), QTime(10, 33, 33), QTimeZone::utc()));
    EXPECT_EQ(root.value(QStringLiteral("someData")).toByteArray(), QByteArray("<binary gunk>"));
    EXPECT_EQ(root.value(QStringLiteral("someMoreData")).toByteArray().size(), 250);
    EXPECT_EQ(root.value(QStringLiteral("\u00C5benraa")).toString(), QStringLiteral("That was a unicode key."));
    EXPECT_TRUE(root.value(QStringLiteral("anEmptyDict")).toMap().isEmpty());
    EXPECT_EQ(root.value(QStringLiteral("anEmptyList")).typeId(), QMetaType::QVariantList);

    const QVariantMap dict = root.value(QStringLiteral("aDict")).toMap();
    EXPECT_EQ(dict.value(QStringLiteral("aUnicodeValue")).toString(), QStringLiteral("M\u00E4ssig, Ma\u00DF"));
    EXPECT_EQ(dict.value(QStringLiteral("anotherString")).toString(), QStringLiteral("<hello & 'hi' there!>"));
    EXPECT_EQ(dict.value(QStringLiteral("aTrueValue")), QVariant(true));
    EXPECT_EQ(dict.value(QStringLiteral("aFalseValue")), QVariant(false));
    const QVariantList deeper = dict.value(QStringLiteral("deeperDict")).toMap().value(QStringLiteral("c")).toList();
    EXPECT_EQ(deeper, (QVariantList{qint64(1), qint64(2), QStringLiteral("text")}));

    const QVariantList list = root.value(QStringLiteral("aList")).toList();
    ASSERT_EQ(list.size(), 5);
    EXPECT_DOUBLE_EQ(list[3].toDouble(), 32.5);
    EXPECT_EQ(list[4].toList().size(), 3);
}

INSTANTIATE_TEST_SUITE_P(realData, PlatformWrittenPropertyListTest,
                         ::testing::Values("plist/cpython-testdata.xml.plist", "plist/cpython-testdata.bin.plist"),
                         [](const auto &info) { return info.index == 0 ? std::string("xml") : std::string("binary"); });

TEST(PropertyListTest, everyValueKindSurvivesBothFormats)
{
    const QVariantMap value{
        {QStringLiteral("string"), QStringLiteral("Gr\u00FC\u00DFe \u270E & <tags>")},
        {QStringLiteral("integer"), qint64(-3'000'000'000)},
        {QStringLiteral("real"), 2.0},
        {QStringLiteral("bool"), true},
        {QStringLiteral("date"), QDateTime(QDate(2026, 11, 23), QTime(8, 30, 15), QTimeZone::utc())},
        {QStringLiteral("before2001"), QDateTime(QDate(1999, 12, 31), QTime(23, 59, 59), QTimeZone::utc())},
        {QStringLiteral("data"), QByteArrayLiteral("\x00\x01\xfe\xff")},
        {QStringLiteral("list"), QVariantList{qint64(1), QStringLiteral("two"), QVariantList{}}},
        {QStringLiteral("map"), QVariantMap{{QStringLiteral("uid"), QVariant::fromValue(PropertyListUid{7})}}},
    };
    for (auto format : {PropertyList::Format::Xml, PropertyList::Format::Binary}) {
        const auto bytes = PropertyList::toData(value, format);
        ASSERT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();
        const auto back = PropertyList::fromData(bytes.value());
        ASSERT_TRUE(back.ok()) << back.errorMessage().toStdString();
        EXPECT_EQ(back.value().toMap(), value) << (format == PropertyList::Format::Xml ? "xml" : "binary");
    }
}

TEST(PropertyListTest, binaryDatesKeepFractionsAndXmlDatesRoundDownToTheSecond)
{
    const QVariantList dates{
        QDateTime(QDate(2026, 11, 23), QTime(8, 30, 15, 250), QTimeZone::utc()),
        QDateTime(QDate(1999, 12, 31), QTime(23, 59, 59, 500), QTimeZone::utc()),
    };
    const auto binary = PropertyList::toData(dates, PropertyList::Format::Binary);
    ASSERT_TRUE(binary.ok());
    EXPECT_EQ(PropertyList::fromData(binary.value()).value().toList(), dates);

    const auto xml = PropertyList::toData(dates, PropertyList::Format::Xml);
    ASSERT_TRUE(xml.ok());
    EXPECT_TRUE(xml.value().contains("<date>1999-12-31T23:59:59Z</date>")) << xml.value().toStdString();
    const QVariantList read = PropertyList::fromData(xml.value()).value().toList();
    ASSERT_EQ(read.size(), 2);
    EXPECT_EQ(read[0].toDateTime(), QDateTime(QDate(2026, 11, 23), QTime(8, 30, 15), QTimeZone::utc()));
    EXPECT_EQ(read[1].toDateTime(), QDateTime(QDate(1999, 12, 31), QTime(23, 59, 59), QTimeZone::utc()));
}

TEST(PropertyListTest, valuesWithoutAPropertyListFormAreRefusedByName)
{
    const auto nullValue = PropertyList::toData(QVariantList{QVariant()}, PropertyList::Format::Xml);
    EXPECT_FALSE(nullValue.ok());
    const auto point = PropertyList::toData(QVariantMap{{QStringLiteral("p"), QPoint(1, 2)}}, PropertyList::Format::Xml);
    EXPECT_FALSE(point.ok());
    EXPECT_TRUE(point.errorMessage().contains(QStringLiteral("QPoint"))) << point.errorMessage().toStdString();
}

TEST(PropertyListTest, brokenInputIsAnErrorNotACrash)
{
    const QByteArray xml = readTestFile(QStringLiteral("plist/cpython-testdata.xml.plist"));
    const QByteArray binary = readTestFile(QStringLiteral("plist/cpython-testdata.bin.plist"));
    ASSERT_FALSE(xml.isEmpty());
    ASSERT_FALSE(binary.isEmpty());

    EXPECT_FALSE(PropertyList::fromData(QByteArray()).ok());
    EXPECT_FALSE(PropertyList::fromData("just some text").ok());
    // Every truncation of a real file either fails cleanly or reads.
    for (qsizetype length = 0; length < binary.size(); length += 7)
        (void)PropertyList::fromData(binary.left(length));
    for (qsizetype length = 0; length < xml.size(); length += 31)
        (void)PropertyList::fromData(xml.left(length));
    EXPECT_FALSE(PropertyList::fromData(binary.left(binary.size() / 2)).ok());
    EXPECT_FALSE(PropertyList::fromData(xml.left(xml.size() / 2)).ok());
}

TEST(PropertyListTest, hostileNestingIsBounded)
{
    QByteArray deep = "<plist version=\"1.0\">";
    for (int i = 0; i < 100'000; ++i)
        deep += "<array>";
    const auto parsed = PropertyList::fromData(deep);
    EXPECT_FALSE(parsed.ok());
}

} // namespace
