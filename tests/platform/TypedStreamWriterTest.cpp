#include "common/TestDataFiles.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamReader.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <QPoint>
#include <QTimeZone>

#include <bit>
#include <cmath>
#include <limits>

namespace {

// A record with class versions: from version 3 on it archives a fourth value.
struct Demo
{
    QString text;
    int number = 0;
    int other = 0;
    QString extra;
    friend bool operator==(const Demo &, const Demo &) = default;
};

// A memo-shaped record: ID, title, children.
struct DemoMemo
{
    qint64 id = 0;
    QString title;
    std::vector<std::shared_ptr<DemoMemo>> children;
};
using DemoMemoPtr = std::shared_ptr<DemoMemo>;

} // namespace

Q_DECLARE_METATYPE(Demo)
Q_DECLARE_METATYPE(DemoMemoPtr)

namespace {

const QByteArray kHeader = hex("040b73747265616d747970656481e803");

QByteArray ascii(const char *text)
{
    return QByteArray(text);
}

TypedStreamCoder demoCoder(qint64 version)
{
    TypedStreamCoder coder;
    coder.className = "JWDemo";
    coder.version = version;
    coder.encode = [version](TypedStreamWriter &writer, const QVariant &value) -> Status {
        const Demo demo = value.value<Demo>();
        if (Status s = writer.encodeObject(demo.text); !s)
            return s;
        writer.encodeInt(demo.number);
        writer.encodeInt(demo.other);
        return version >= 3 ? writer.encodeObject(demo.extra) : Status();
    };
    coder.decode = [](TypedStreamDecoder &decoder) -> Result<QVariant> {
        Demo demo;
        auto text = decoder.decodeObject();
        auto number = decoder.decodeInteger();
        auto other = decoder.decodeInteger();
        if (!text || !number || !other)
            return Error{"bad JWDemo"};
        demo.text = text.value().toString();
        demo.number = int(number.value());
        demo.other = int(other.value());
        if (decoder.versionForClassName("JWDemo").value_or(0) >= 3) {
            auto extra = decoder.decodeObject();
            if (!extra)
                return extra;
            demo.extra = extra.value().toString();
        }
        return QVariant::fromValue(demo);
    };
    return coder;
}

TypedStreamCoder demoMemoCoder()
{
    TypedStreamCoder coder;
    coder.className = "JWMemo";
    coder.version = 5;
    coder.identity = [](const QVariant &value) -> const void * {
        return value.value<DemoMemoPtr>().get();
    };
    coder.encode = [](TypedStreamWriter &writer, const QVariant &value) -> Status {
        const DemoMemoPtr memo = value.value<DemoMemoPtr>();
        if (Status s = writer.encodeObject(qint64(memo->id)); !s)
            return s;
        if (Status s = writer.encodeObject(memo->title); !s)
            return s;
        QVariantList children;
        for (const auto &child : memo->children)
            children.append(QVariant::fromValue(child));
        return writer.encodeObject(children);
    };
    coder.decode = [](TypedStreamDecoder &decoder) -> Result<QVariant> {
        auto memo = std::make_shared<DemoMemo>();
        auto id = decoder.decodeObject();
        auto title = decoder.decodeObject();
        auto children = decoder.decodeObject();
        if (!id || !title || !children)
            return Error{"bad JWMemo"};
        memo->id = id.value().toLongLong();
        memo->title = title.value().toString();
        for (const QVariant &child : children.value().toList())
            memo->children.push_back(child.value<DemoMemoPtr>());
        return QVariant::fromValue(memo);
    };
    return coder;
}

TypedStreamRegistry demoRegistry(qint64 demoVersion = 5)
{
    TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
    registry.registerCoder(demoCoder(demoVersion));
    registry.registerCoder(demoMemoCoder());
    registry.setDefaultClassName(qMetaTypeId<Demo>(), "JWDemo");
    registry.setDefaultClassName(qMetaTypeId<DemoMemoPtr>(), "JWMemo");
    return registry;
}

QByteArray archive(const QVariant &value, const TypedStreamRegistry &registry = TypedStreamRegistry::shared())
{
    auto bytes = TypedStreamWriter::archivedDataWithRootObject(value, registry);
    EXPECT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();
    return bytes.valueOr(QByteArray());
}

QVariant unarchive(const QByteArray &bytes, const TypedStreamRegistry &registry = TypedStreamRegistry::shared(),
    TypedStreamDecodeOptions options = {})
{
    auto value = TypedStreamDecoder::unarchiveObjectWithData(bytes, registry, options);
    EXPECT_TRUE(value.ok()) << value.errorMessage().toStdString();
    return value.valueOr(QVariant());
}

TEST(TypedStreamWriterTest, writesACustomClassWithASharedStringAsExampleA)
{
    const TypedStreamRegistry registry = demoRegistry();
    const QString hi = "Hi";
    const Demo demo{hi, 300, -5, hi};
    const QByteArray expected = kHeader
        + hex("840140 84 8484064a5744656d6f05 8484084e534f626a65637400 85 92 84 8484084e53537472696e6701 94 84012b"
              "024869 86 840169 812c01 97 fb 92 95 86");
    const QByteArray bytes = archive(QVariant::fromValue(demo), registry);
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(unarchive(bytes, registry).value<Demo>(), demo);
}

TEST(TypedStreamWriterTest, decodesByTheClassVersionRecordedInTheArchive)
{
    const Demo demo{"a", 1, 2, "b"};
    const QByteArray oldBytes = archive(QVariant::fromValue(demo), demoRegistry(2));
    const QByteArray newBytes = archive(QVariant::fromValue(demo), demoRegistry(5));
    // A reader registered at version 5 takes both.
    const TypedStreamRegistry reader = demoRegistry(5);
    EXPECT_EQ(unarchive(oldBytes, reader).value<Demo>(), (Demo{"a", 1, 2, QString()}));
    EXPECT_EQ(unarchive(newBytes, reader).value<Demo>(), demo);
    EXPECT_EQ(TypedStreamReader::read(oldBytes).value().versionForClassName("JWDemo"), 2);
    EXPECT_EQ(TypedStreamReader::read(newBytes).value().versionForClassName("JWDemo"), 5);
}

TEST(TypedStreamWriterTest, writesASettingsDictionaryAsExampleB)
{
    ArchivedDictionary settings;
    settings.entries.append({"windowIDs", QVariantList{qint64(1), qint64(12)}});
    settings.entries.append({"AutoSave", true});
    const QByteArray expected = kHeader + hex("840140") + hex("848484") + hex("13") + ascii("NSMutableDictionary")
        + hex("00 8484 0c") + ascii("NSDictionary") + hex("00 8484 08") + ascii("NSObject") + hex("00 85")
        + hex("84016902") + hex("92848484 08") + ascii("NSString") + hex("01 95") + hex("84012b 09")
        + ascii("windowIDs") + hex("86") + hex("92848484 0e") + ascii("NSMutableArray") + hex("00 8484 07")
        + ascii("NSArray") + hex("00 95") + hex("96 02") + hex("92848484 08") + ascii("NSNumber") + hex("00 8484 07")
        + ascii("NSValue") + hex("00 95") + hex("84012a") + hex("84840171") + hex("9e0186") + hex("92849c9d9e9e0c86")
        + hex("86") + hex("92849798 08") + ascii("AutoSave") + hex("86") + hex("92849c9d 84840163 9f01 86") + hex("86");
    const QByteArray bytes = archive(QVariant::fromValue(settings));
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(unarchive(bytes),
        QVariant(QVariantMap{{"AutoSave", true}, {"windowIDs", QVariantList{qint64(1), qint64(12)}}}));
}

TEST(TypedStreamWriterTest, writesColoursAsExampleC)
{
    const QByteArray colorClass = hex("840140848484074e53436f6c6f72008484084e534f626a6563740085");
    // The "BGColor" default: calibrated white 1, alpha 1.
    EXPECT_EQ(archive(QVariant::fromValue(ArchivedColor::calibratedWhite(1.0f, 1.0f))),
        kHeader + colorClass + hex("84016303 8402666601 01 86"));
    EXPECT_EQ(archive(QVariant::fromValue(ArchivedColor::deviceRGB(1.0f / 3, 0.5f, 0, 1))),
        kHeader + colorClass + hex("84016302 840466666666 83abaaaa3e 830000003f 00 01 86"));

    for (const ArchivedColor &color : {ArchivedColor::calibratedWhite(1, 1),
             ArchivedColor::deviceRGB(1.0f / 3, 0.5f, 0), ArchivedColor::calibratedRGB(0.1f, 0.2f, 0.3f, 0.4f),
             ArchivedColor::clear(), ArchivedColor::deviceWhite(0.25f, 1)}) {
        EXPECT_EQ(unarchive(archive(QVariant::fromValue(color))).value<ArchivedColor>(), color);
    }
}

TEST(TypedStreamWriterTest, writesAMemoTreeAsExampleD)
{
    auto root = std::make_shared<DemoMemo>(DemoMemo{0, "Notes", {}});
    root->children.push_back(std::make_shared<DemoMemo>(DemoMemo{1, "Child", {}}));
    const TypedStreamRegistry registry = demoRegistry();
    const QByteArray prefix = kHeader + hex("840140") + hex("848484 06") + ascii("JWMemo") + hex("05 8484 08")
        + ascii("NSObject") + hex("00 85") + hex("92848484 08") + ascii("NSNumber") + hex("00 8484 07")
        + ascii("NSValue") + hex("00 94") + hex("84012a 84840171 98 00 86") + hex("92848484 08") + ascii("NSString")
        + hex("01 94 84012b 05") + ascii("Notes") + hex("86") + hex("92848484 0e") + ascii("NSMutableArray")
        + hex("00 8484 07") + ascii("NSArray") + hex("00 94") + hex("84016901") + hex("928493")
        + hex("9284969798980186");
    const QByteArray bytes = archive(QVariant::fromValue(root), registry);
    EXPECT_EQ(bytes.left(prefix.size()), prefix);

    const auto decoded = unarchive(bytes, registry).value<DemoMemoPtr>();
    ASSERT_TRUE(decoded && decoded->children.size() == 1u);
    EXPECT_EQ(decoded->title, "Notes");
    EXPECT_EQ(decoded->children.front()->id, 1);
    EXPECT_EQ(decoded->children.front()->title, "Child");

    // The same memo twice is one object; the second is a reference to it.
    auto shared = std::make_shared<DemoMemo>(DemoMemo{7, "Shared", {}});
    const QVariantList twice{QVariant::fromValue(shared), QVariant::fromValue(shared)};
    const QVariantList back = unarchive(archive(twice, registry), registry).toList();
    ASSERT_EQ(back.size(), 2);
    EXPECT_EQ(back[0].value<DemoMemoPtr>(), back[1].value<DemoMemoPtr>());
}

TEST(TypedStreamWriterTest, roundTripsEdgeValues)
{
    const QDateTime before1970(QDate(1912, 4, 15), QTime(2, 20, 0, 125), QTimeZone::utc());
    const QVariantMap values{
        {"empty", QString()},
        {"nonBmp", "Notes \U0001F600 \u00E4\u00DF"},
        {"qMin", qint64(std::numeric_limits<qint32>::min())},
        {"qMax", qint64(std::numeric_limits<qint32>::max())},
        {"float", 0.25f},
        {"uint", 4000000000u},
        {"short", QVariant::fromValue(short(-300))},
        {"emptyData", QByteArray()},
        {"data", QByteArray("\x00\x01\xff", 3)},
        {"nested", QVariantList{QVariantList{QVariantMap{{"k", QVariantList{1, 2}}}}}},
        {"date", before1970},
        {"null", QVariant::fromValue(nullptr)},
        {"value", QVariant::fromValue(ArchivedValue{"{_NSSize=ff}", QVariantList{12.5f, 3.0f}})},
        {"calendar", QVariant::fromValue(ArchivedCalendarDate::fromDateTime(before1970))},
    };
    const QByteArray bytes = archive(values);
    const QVariantMap back = unarchive(bytes).toMap();
    ASSERT_EQ(back.keys(), values.keys());
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (it.key() == "calendar") {
            const auto date = back.value(it.key()).value<ArchivedCalendarDate>();
            EXPECT_EQ(date.dateTime, before1970);
            EXPECT_EQ(date.format, it.value().value<ArchivedCalendarDate>().format);
            EXPECT_TRUE(date.timeZone.isValid());
        } else {
            EXPECT_EQ(back.value(it.key()), it.value()) << it.key().toStdString();
        }
    }
    // NSNull is a singleton: written once, referenced after.
    EXPECT_EQ(bytes.count("NSNull"), 1);
    // What this writer wrote, read back and written again, is the same bytes.
    EXPECT_EQ(archive(back), bytes);

    const QByteArray nan = archive(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(unarchive(nan).toDouble()));
}

TEST(TypedStreamWriterTest, writesAndReadsIntegersBeyond32BitsInTheEightByteForm)
{
    // An NSNumber 'q': its classes, "*" and the C string "q" (string 5), then the group "q".
    const QByteArray number = kHeader + hex("840140 848484084e534e756d62657200 8484074e5356616c756500")
        + hex("8484084e534f626a65637400 85 84012a 84840171 97");
    for (const auto &[value, form] :
        {std::pair{qint64(-9'000'000'000), "8700e68ee7fdffffff"}, std::pair{qint64(1) << 40, "870000000000010000"}}) {
        const QByteArray bytes = number + hex(form) + hex("86");
        EXPECT_EQ(unarchive(bytes), QVariant(value)) << value;
        EXPECT_EQ(archive(value), bytes) << value;
    }
    const quint64 top = quint64(1) << 63 | 5;
    EXPECT_EQ(unarchive(archive(top)), QVariant(top));
    // Just inside 32 bits the shorter forms stay.
    EXPECT_TRUE(archive(qint64(std::numeric_limits<qint32>::min())).endsWith(hex("820000008086")));
    EXPECT_TRUE(archive(quint64(4'000'000'000u)).endsWith(hex("8200286bee86")));
    // Other places that hold integers take the form too: a string's length and an array's count.
    const QByteArray string = kHeader + hex("840140 848484084e53537472696e67018484084e534f626a6563740085")
        + hex("84012b 870200000000000000 4869 86");
    EXPECT_EQ(unarchive(string), QVariant("Hi"));
    const QByteArray list = kHeader + hex("840140 848484074e534172726179008484084e534f626a6563740085")
        + hex("840169 870000000000000000 86");
    EXPECT_EQ(unarchive(list), QVariant(QVariantList()));
    // Only 'q' and 'Q' have room for them.
    TypedStreamWriter writer;
    EXPECT_FALSE(writer.encodeValueOfObjCType("i", qint64(1) << 40).ok());
}

TEST(TypedStreamWriterTest, writesIntegersAndRealsInTheirShortestForms)
{
    struct Case
    {
        double value;
        bool isDouble;
        const char *bytes;
    };
    for (const Case &c : {Case{1.0, false, "01"}, Case{826.0, false, "813a03"}, Case{21692800.0, true, "8280014b01"},
             Case{double(std::bit_cast<float>(0x3f109091u)), false, "839190103f"},
             Case{100.5, true, "830000000000205940"}, Case{-0.0, true, "00"}, Case{-110, true, "92"},
             Case{-111, true, "8191ff"}, Case{-32768, true, "820080ffff"}, Case{16777217.0, true, "830000001000007041"},
             Case{3e9, true, "83000000c00b5ae641"}}) {
        TypedStreamWriter writer;
        if (c.isDouble)
            writer.encodeDouble(c.value);
        else
            writer.encodeFloat(float(c.value));
        EXPECT_EQ(writer.data().mid(kHeader.size() + 3).toHex(), QByteArray(c.bytes)) << c.value;
    }
}

TEST(TypedStreamWriterTest, sharesOnlyTheSameInstanceAndDecodesItShared)
{
    const QString one = "same";
    const QString equal = QString::fromLatin1("same");
    const QByteArray bytes = archive(QVariantList{one, one, equal});
    EXPECT_EQ(bytes.count("same"), 2);
    const QVariantList back = unarchive(bytes).toList();
    ASSERT_EQ(back, (QVariantList{one, one, one}));
    // One object in the stream is one QString, so re-writing makes the reference again.
    EXPECT_EQ(back[0].toString().constData(), back[1].toString().constData());
    EXPECT_NE(back[0].toString().constData(), back[2].toString().constData());
    EXPECT_EQ(archive(back), bytes);
}

TypedStreamValue valueOf(
    TypedStreamValue::Kind kind, qint64 integer, QByteArray bytes = {}, TypedStreamObjectPtr object = {})
{
    TypedStreamValue value;
    value.kind = kind;
    value.integer = integer;
    value.bytes = std::move(bytes);
    value.object = std::move(object);
    return value;
}

TEST(TypedStreamWriterTest, keepsImagesAndCalendarZonesAsRead)
{
    // An image whose representation holds PNG bytes in an NSData.
    const QByteArray png("\x89PNG\r\n\x1a\nrest-of-image", 21);
    using Kind = TypedStreamValue::Kind;
    const auto classOf = [](const char *name, qint64 version) {
        return std::make_shared<TypedStreamClass>(TypedStreamClass{
            name, version, std::make_shared<TypedStreamClass>(TypedStreamClass{"NSObject", 0, nullptr})});
    };
    const auto data = std::make_shared<TypedStreamObject>(TypedStreamObject{classOf("NSData", 0),
        {{"i", {valueOf(Kind::Integer, png.size())}}, {"[21c]", {valueOf(Kind::Bytes, 0, png)}}}});
    const auto image = std::make_shared<TypedStreamObject>(TypedStreamObject{
        classOf("NSImage", 7), {{"c", {valueOf(Kind::Char, 1)}}, {"@", {valueOf(Kind::Object, 0, {}, data)}}}});
    TypedStreamArchive tree;
    tree.groups = {{"@", {valueOf(Kind::Object, 0, {}, image)}}};
    const QByteArray written = TypedStreamWriter::archivedDataWithArchive(tree).valueOr({});

    const QVariant decoded = unarchive(written);
    ASSERT_EQ(decoded.metaType(), QMetaType::fromType<ArchivedImage>());
    EXPECT_EQ(decoded.value<ArchivedImage>().imageData, png);
    EXPECT_EQ(archive(decoded), written);
    EXPECT_EQ(TypedStreamReader::read(written).value().versionForClassName("NSImage"), 7);

    // A calendar date whose zone comes before its format keeps that order.
    ArchivedCalendarDate date = ArchivedCalendarDate::fromDateTime(QDateTime::fromSecsSinceEpoch(0, QTimeZone::utc()));
    date.timeZoneFirst = true;
    const QByteArray zoneFirst = archive(QVariant::fromValue(date));
    const auto back = unarchive(zoneFirst).value<ArchivedCalendarDate>();
    EXPECT_TRUE(back.timeZoneFirst);
    EXPECT_EQ(back.format, date.format);
    EXPECT_EQ(back.timeZone.value<TypedStreamObjectPtr>()->className(), "NSTimeZone");
    EXPECT_EQ(archive(QVariant::fromValue(back)), zoneFirst);
}

TEST(TypedStreamWriterTest, rejectsValuesWithoutAnArchivedForm)
{
    EXPECT_FALSE(TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(QPoint(1, 2))).ok());
    TypedStreamWriter writer;
    EXPECT_FALSE(writer.encodeValuesOfObjCTypes("ii", {1}).ok());
    EXPECT_FALSE(writer.encodeValueOfObjCType("[2c]", QByteArray("abc")).ok());
    EXPECT_FALSE(writer.encodeValueOfObjCType("s", 40000).ok());
    EXPECT_FALSE(writer.encodeValueOfObjCType("(ii)", 1).ok());
}

} // namespace
