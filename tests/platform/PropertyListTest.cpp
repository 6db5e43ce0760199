#include "common/TestDataFiles.h"
#include "platform/archive/PropertyList.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QPoint>
#include <QTimeZone>

#include <cmath>
#include <limits>

namespace {

QByteArray readTestFile(const QString &name)
{
    return readTestData(name);
}

class PlatformWrittenPropertyListTest : public ::testing::TestWithParam<const char *>
{ };

// The same dictionary, written by the platform once as XML and once in binary.
TEST_P(PlatformWrittenPropertyListTest, readsEveryKindOfValue)
{
    const QByteArray bytes = readTestFile(QString::fromLatin1(GetParam()));
    ASSERT_FALSE(bytes.isEmpty());
    const auto parsed = PropertyList::fromData(bytes);
    ASSERT_TRUE(parsed.ok()) << parsed.errorMessage().toStdString();
    const QVariantMap root = parsed.value().toMap();

    EXPECT_EQ(root.value("aBigInt").toLongLong(), 9'223'372'036'854'775'764);
    // Above INT64_MAX: exact, and unsigned rather than negative.
    const QVariant bigInt2 = root.value("aBigInt2");
    EXPECT_EQ(bigInt2.typeId(), QMetaType::ULongLong);
    EXPECT_EQ(bigInt2.toULongLong(), 9'223'372'036'854'775'852u);
    EXPECT_EQ(root.value("aDate").toDateTime(), QDateTime(QDate(2004, 10, 26), QTime(10, 33, 33), QTimeZone::utc()));
    EXPECT_EQ(root.value("someData").toByteArray(), QByteArray("<binary gunk>"));
    EXPECT_EQ(root.value("\u00C5benraa").toString(), "That was a unicode key.");

    const QVariantMap dict = root.value("aDict").toMap();
    EXPECT_EQ(dict.value("aUnicodeValue").toString(), "M\u00E4ssig, Ma\u00DF");
    const QVariantList deeper = dict.value("deeperDict").toMap().value("c").toList();
    EXPECT_EQ(deeper, (QVariantList{qint64(1), qint64(2), "text"}));
}

INSTANTIATE_TEST_SUITE_P(realData, PlatformWrittenPropertyListTest,
    ::testing::Values("plist/cpython-testdata.xml.plist", "plist/cpython-testdata.bin.plist"),
    [](const auto &info) { return info.index == 0 ? std::string("xml") : std::string("binary"); });

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

TEST(PropertyListTest, brokenInputIsAnErrorNotACrash)
{
    const QByteArray xml = readTestFile("plist/cpython-testdata.xml.plist");
    const QByteArray binary = readTestFile("plist/cpython-testdata.bin.plist");
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

QVariant readTestPlist(const QString &name)
{
    const auto parsed = PropertyList::fromData(readTestFile(name));
    EXPECT_TRUE(parsed.ok()) << name.toStdString() << ": " << parsed.errorMessage().toStdString();
    return parsed.valueOr({});
}

QVariant at(const QVariant &value, const QStringList &path)
{
    QVariant node = value;
    for (const QString &step : path) {
        bool isIndex = false;
        const int index = step.toInt(&isIndex);
        node = isIndex && node.typeId() == QMetaType::QVariantList ? node.toList().value(index)
                                                                   : node.toMap().value(step);
    }
    return node;
}

QStringList testFiles(const QString &folder)
{
    QStringList files;
    const auto names = QDir(FreshUserTest::testDataPath(folder)).entryList(QDir::Files, QDir::Name);
    for (const QString &name : names)
        files.append(folder + u'/' + name);
    return files;
}

class RealPropertyListTest : public ::testing::TestWithParam<QString>
{ };

// Every file reads, and what was read survives both written forms.
TEST_P(RealPropertyListTest, readsAndSurvivesBothForms)
{
    const QVariant value = readTestPlist(GetParam());
    ASSERT_TRUE(value.isValid());
    for (auto format : {PropertyList::Format::Xml, PropertyList::Format::Binary}) {
        const auto bytes = PropertyList::toData(value, format);
        ASSERT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();
        const auto back = PropertyList::fromData(bytes.value());
        ASSERT_TRUE(back.ok()) << back.errorMessage().toStdString();
        EXPECT_EQ(back.value(), value) << (format == PropertyList::Format::Xml ? "xml" : "binary");
    }
}

INSTANTIATE_TEST_SUITE_P(realData, RealPropertyListTest,
    ::testing::ValuesIn(testFiles("plist") + testFiles("keyedarchive")), [](const auto &info) {
        std::string name = info.param.section(u'/', -1).toStdString();
        for (char &c : name)
            c = std::isalnum(uchar(c)) ? c : '_';
        return name;
    });

// Every file above reads and survives both forms; a few values prove it reads them right.
TEST(PropertyListRealDataTest, platformWrittenFilesReadTheirValues)
{
    const QVariant track = at(readTestPlist("plist/iTunes_Music_Library.xml"), {"Tracks", "1785"});
    EXPECT_EQ(at(track, {"Play Date"}), QVariant(qint64(3'271'231'422)));
    EXPECT_EQ(at(track, {"Date Added"}), QVariant(QDateTime(QDate(2004, 11, 18), QTime(15, 0, 41), Qt::UTC)));
    const QVariant edited = readTestPlist("plist/imessage-message_summary_info-Edited.plist");
    EXPECT_EQ(at(edited, {"otr", "0", "le"}), QVariant(qint64(15)));
    EXPECT_DOUBLE_EQ(at(edited, {"ec", "0", "0", "d"}).toDouble(), 690513474.2725511);
    const QVariant terminal = readTestPlist("plist/Solarized Dark xterm-256color.terminal");
    EXPECT_EQ(at(terminal, {"ProfileCurrentVersion"}), QVariant(2.01));
}

QVariantMap edgeValues()
{
    QVariantList manyTimes;
    for (int i = 0; i < 300; ++i)
        manyTimes.append("the same string");
    return {
        {"empty", QString()},
        {"markup", "Gr\u00FC\u00DFe \u270E & <tags>"},
        {"bool", true},
        {"real", 2.0},
        {"negative", qint64(-3'000'000'000)},
        {"emoji \U0001F600", "a\U0001F600b\U0001F9D1\u200D\U0001F4BB"},
        {"control", "tab\tcr\rlf\ncrlf\r\nbell\u0007end\u001F\uFFFE"},
        {"int64Min", std::numeric_limits<qint64>::min()},
        {"int64Max", std::numeric_limits<qint64>::max()},
        {"uint64Max", std::numeric_limits<quint64>::max()},
        {"infinities", QVariantList{std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}},
        {"tiny", 5e-324},
        {"before1970", QDateTime(QDate(1969, 7, 20), QTime(20, 17, 40), Qt::UTC)},
        {"before2001", QDateTime(QDate(2000, 12, 31), QTime(23, 59, 58), Qt::UTC)},
        {"year4001", QDateTime(QDate(4001, 1, 1), QTime(0, 0), Qt::UTC)},
        {"year0100", QDateTime(QDate(100, 3, 1), QTime(12, 0), Qt::UTC)},
        {"containers", QVariantList{QVariantList{}, QVariantMap{}, QVariantList{QVariantMap{{"x", QVariantList{}}}}}},
        {"shared", manyTimes},
        {"data", QByteArray("\x00\xff\x80", 3)},
        {"uid", QVariant::fromValue(PropertyListUid{std::numeric_limits<quint32>::max()})},
    };
}

TEST(PropertyListTest, edgeValuesSurviveBothFormsAndRewriteIdentically)
{
    const QVariantMap value = edgeValues();
    for (auto format : {PropertyList::Format::Xml, PropertyList::Format::Binary}) {
        const auto bytes = PropertyList::toData(value, format);
        ASSERT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();
        const auto back = PropertyList::fromData(bytes.value());
        ASSERT_TRUE(back.ok()) << back.errorMessage().toStdString();
        EXPECT_EQ(back.value().toMap(), value) << (format == PropertyList::Format::Xml ? "xml" : "binary");
        const auto again = PropertyList::toData(back.value(), format);
        EXPECT_EQ(again.valueOr({}), bytes.value());
    }
    const auto nan
        = PropertyList::toData(QVariantList{std::numeric_limits<double>::quiet_NaN()}, PropertyList::Format::Xml);
    EXPECT_TRUE(std::isnan(PropertyList::fromData(nan.value()).value().toList().value(0).toDouble()));
}

TEST(PropertyListTest, xmlWritesLargeUnsignedIntegersAndDistantDatesExactly)
{
    const auto xml = PropertyList::toData(
        QVariantList{std::numeric_limits<quint64>::max(), QDateTime(QDate(4001, 1, 1), QTime(0, 0), Qt::UTC)},
        PropertyList::Format::Xml);
    ASSERT_TRUE(xml.ok());
    EXPECT_TRUE(xml.value().contains("<integer>18446744073709551615</integer>")) << xml.value().toStdString();
    EXPECT_TRUE(xml.value().contains("<date>4001-01-01T00:00:00Z</date>")) << xml.value().toStdString();
    EXPECT_FALSE(
        PropertyList::toData(QDateTime(QDate(12000, 1, 1), QTime(0, 0), Qt::UTC), PropertyList::Format::Xml).ok());
}

TEST(PropertyListTest, detectsTheFormAndNamesWhatItCannotRead)
{
    EXPECT_TRUE(PropertyList::fromData("\xEF\xBB\xBF  <plist><true/></plist>").value().toBool());
    const auto openStep = PropertyList::fromData("{ key = value; }");
    EXPECT_TRUE(openStep.errorMessage().contains("Old-style")) << openStep.errorMessage().toStdString();
    EXPECT_FALSE(PropertyList::fromData("\x01\x02\x03").ok());
}

TEST(PropertyListTest, acceptsOnlyValuesThatCanBeWritten)
{
    EXPECT_TRUE(PropertyList::isPropertyListValue(QVariantHash{{"list", QStringList{"a"}}}));
    EXPECT_FALSE(PropertyList::isPropertyListValue(QVariantList{QDateTime()}));
    EXPECT_FALSE(PropertyList::isPropertyListValue(QVariantMap{{"p", QPoint(1, 2)}}));
    EXPECT_FALSE(PropertyList::toData(QVariantList{QVariant()}, PropertyList::Format::Xml).ok());
    const auto point = PropertyList::toData(QVariantMap{{"p", QPoint(1, 2)}}, PropertyList::Format::Xml);
    EXPECT_TRUE(point.errorMessage().contains("QPoint")) << point.errorMessage().toStdString();
    QVariant deep = QVariantList{};
    for (int i = 0; i < 600; ++i)
        deep = QVariantList{deep};
    EXPECT_FALSE(PropertyList::isPropertyListValue(deep));
}

} // namespace
