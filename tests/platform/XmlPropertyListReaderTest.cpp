#include "common/QtPrinters.h"
#include "platform/archive/PropertyList.h"
#include "platform/archive/XmlPropertyListReader.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QStringEncoder>

#include <cmath>
#include <limits>

namespace {

QByteArray document(const QByteArray &body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n"
        + body + "\n</plist>\n";
}

QVariant readBody(const QByteArray &body)
{
    const auto read = XmlPropertyListReader::read(document(body));
    EXPECT_TRUE(read.ok()) << read.errorMessage().toStdString();
    return read.valueOr({});
}

struct ValueCase
{
    const char *name;
    const char *xml;
    QVariant expected;
};

class XmlValueTest : public ::testing::TestWithParam<ValueCase>
{ };

TEST_P(XmlValueTest, readsTheValue)
{
    const QVariant value = readBody(GetParam().xml);
    EXPECT_EQ(value.typeId(), GetParam().expected.typeId());
    EXPECT_EQ(value, GetParam().expected);
}

const QDateTime kDate(QDate(2004, 10, 26), QTime(10, 33, 33), Qt::UTC);

INSTANTIATE_TEST_SUITE_P(nominal, XmlValueTest,
    ::testing::Values(ValueCase{"decimal", "<integer>728</integer>", qint64(728)},
        ValueCase{"hex", "<integer>0x1F</integer>", qint64(31)},
        ValueCase{"negativeHex", "<integer>-0x10</integer>", qint64(-16)},
        ValueCase{"int64Min", "<integer>-9223372036854775808</integer>", std::numeric_limits<qint64>::min()},
        ValueCase{
            "aboveInt64IsUnsigned", "<integer>9223372036854775852</integer>", quint64(9'223'372'036'854'775'852u)},
        ValueCase{"uint64Max", "<integer>0xFFFFFFFFFFFFFFFF</integer>", std::numeric_limits<quint64>::max()},
        ValueCase{"real", "<real>32.5</real>", 32.5},
        ValueCase{"infinity", "<real>+infinity</real>", std::numeric_limits<double>::infinity()},
        ValueCase{"true", "<true/>", true}, ValueCase{"falseWithEndTag", "<false></false>", false},
        ValueCase{"date", "<date>2004-10-26T10:33:33Z</date>", kDate},
        ValueCase{"dateWithFraction", "<date>2004-10-26T10:33:33.25Z</date>", kDate.addMSecs(250)},
        ValueCase{"dateWithoutZ", "<date>2004-10-26T10:33:33</date>", kDate},
        ValueCase{
            "dataWithWhiteSpace", "<data>\n\tPGJp\n\tbmFy\r\n\teSBndW5rPg==\n</data>", QByteArray("<binary gunk>")},
        ValueCase{"dataWithoutPadding", "<data>YWI</data>", QByteArray("ab")},
        ValueCase{"entities", "<string>&lt;&amp;&gt;&quot;&apos;&#65;&#xE9;</string>", "<&>\"'A\u00E9"},
        ValueCase{"cdata", "<string><![CDATA[a <b> & c]]></string>", "a <b> & c"},
        ValueCase{"emptyString", "<string/>", QString()},
        ValueCase{"uid", "<dict><key>CF$UID</key><integer>7</integer></dict>", QVariant::fromValue(PropertyListUid{7})},
        ValueCase{
            "uidNeedsAnInteger", "<dict><key>CF$UID</key><string>7</string></dict>", QVariantMap{{"CF$UID", "7"}}},
        ValueCase{
            "commentsAnywhere", "<array><!-- a --><integer>1</integer><!-- b --></array>", QVariantList{qint64(1)}}),
    [](const auto &info) { return std::string(info.param.name); });

// The platform escapes only < > & and writes control characters raw, which
// XML itself forbids; carriage returns inside strings must survive too.
TEST(XmlPropertyListReaderTest, keepsRawControlCharactersInStringsAndKeys)
{
    const QByteArray raw = "a\x01"
                           "b\x1f"
                           "c\r"
                           "d\r\n"
                           "e\x0b"
                           "\xEF\xBF\xBE";
    const QString expected = "a\u0001b\u001Fc\rd\r\ne\u000B\uFFFE";
    const QVariantMap map
        = readBody("<dict>\r\n\t<key>k\x02</key>\r\n\t<string>" + raw + "</string>\r\n</dict>").toMap();
    EXPECT_EQ(map.value("k\u0002").toString(), expected);

    // Private-use characters of the document itself stay what they are.
    const QVariantList list
        = readBody("<array><string>\xEE\x80\x80\x01\xEE\x80\xA1</string><string>\xEE\x81\x80</string></array>")
              .toList();
    EXPECT_EQ(list.value(0).toString(), "\uE000\u0001\uE021");
    EXPECT_EQ(list.value(1).toString(), "\uE040");
}

TEST(XmlPropertyListReaderTest, readsDocumentsOfOtherShapes)
{
    const QString utf16 = QString::fromUtf8(document("<string>Gr\xC3\xBC\xC3\x9F"
                                                     "e</string>"))
                              .replace("UTF-8", "UTF-16");
    QStringEncoder encoder(QStringEncoder::Utf16BE, QStringEncoder::Flag::WriteBom);
    const std::pair<const char *, std::pair<QByteArray, QVariant>> cases[]{
        {"declaredEntity",
            {"<!DOCTYPE plist [<!ENTITY who \"world\">]><plist><string>hello &who;</string></plist>", "hello world"}},
        {"utf16", {encoder.encode(utf16), "Gr\u00FC\u00DFe"}},
        {"noPlistElement", {"<array><integer>1</integer></array>", QVariantList{qint64(1)}}},
    };
    for (const auto &[name, test] : cases) {
        const auto read = XmlPropertyListReader::read(test.first);
        ASSERT_TRUE(read.ok()) << name << ": " << read.errorMessage().toStdString();
        EXPECT_EQ(read.value(), test.second) << name;
    }
    EXPECT_TRUE(std::isnan(readBody("<real>nan</real>").toDouble()));
}

TEST(XmlPropertyListReaderTest, nestingIsCapped)
{
    const auto nested = [](int depth) {
        return document(QByteArray("<array>").repeated(depth) + QByteArray("</array>").repeated(depth));
    };
    EXPECT_TRUE(XmlPropertyListReader::read(nested(XmlPropertyListReader::kMaxDepth)).ok());
    const auto tooDeep = XmlPropertyListReader::read(nested(XmlPropertyListReader::kMaxDepth + 1));
    ASSERT_FALSE(tooDeep.ok());
    EXPECT_TRUE(tooDeep.errorMessage().contains("nested")) << tooDeep.errorMessage().toStdString();
}

struct ErrorCase
{
    const char *name;
    QByteArray xml;
    const char *message;
};

class XmlErrorTest : public ::testing::TestWithParam<ErrorCase>
{ };

TEST_P(XmlErrorTest, failsWithTheLineAndTheReason)
{
    const auto read = XmlPropertyListReader::read(GetParam().xml);
    ASSERT_FALSE(read.ok());
    EXPECT_TRUE(read.errorMessage().contains(QLatin1StringView(GetParam().message)))
        << read.errorMessage().toStdString();
}

INSTANTIATE_TEST_SUITE_P(robustness, XmlErrorTest,
    ::testing::Values(
        ErrorCase{"keyWithoutValue", document("<dict>\n<key>a</key>\n</dict>"), "line 6: the key \"a\" has no value"},
        ErrorCase{"valueWithoutKey", document("<dict>\n<string>a</string>\n</dict>"),
            "line 5: <string> stands in a dictionary"},
        ErrorCase{"keyOutsideDictionary", document("<key>a</key>"), "<key> appears outside"},
        ErrorCase{"unknownElement", document("<array>\n<foo/>\n</array>"), "line 5: <foo> is not"},
        ErrorCase{"twoValues", document("<true/><false/>"), "more than one value"},
        ErrorCase{"noValue", document(""), "holds no value"},
        ErrorCase{"textBetweenElements", document("<array>words</array>"), "unexpected text"},
        ErrorCase{"integerTooLarge", document("<integer>18446744073709551616</integer>"), "does not fit in 64 bits"},
        ErrorCase{"integerWithLetters", document("<integer>12abc</integer>"), "is not an integer"},
        ErrorCase{"realThatIsNot", document("<real>abc</real>"), "is not a real number"},
        ErrorCase{"impossibleDate", document("<date>2004-13-01T00:00:00Z</date>"), "is not a date"},
        ErrorCase{"badBase64", document("<data>a*b=</data>"), "not valid base64"},
        ErrorCase{"textInTrue", document("<true>yes</true>"), "hold no text"},
        ErrorCase{"elementInString", document("<string><b/></string>"), "line 4"},
        ErrorCase{"unclosed", QByteArray("<plist><array><array><dict><key>a</key>"), "line 1"},
        ErrorCase{"entityExpansion",
            "<!DOCTYPE plist [<!ENTITY a \"" + QByteArray(300, 'a') + "\">]><plist><string>&a;&a;&a;</string></plist>",
            "line 1"}),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
