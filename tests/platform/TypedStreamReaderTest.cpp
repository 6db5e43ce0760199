#include "common/FreshUserTest.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/archive/PropertyList.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamReader.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <QDateTime>
#include <QFile>
#include <QTimeZone>

namespace {

QByteArray readTestFile(const QString &name)
{
    QFile file(FreshUserTest::testDataPath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QVariant decodeFile(const char *name)
{
    const QByteArray bytes = readTestFile(QStringLiteral("typedstream/") + QLatin1String(name));
    EXPECT_FALSE(bytes.isEmpty()) << name;
    auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes);
    EXPECT_TRUE(decoded.ok()) << name << ": " << decoded.errorMessage().toStdString();
    return decoded.valueOr(QVariant());
}

// Every object in a generic tree, depth first, each shared object once.
void collectObjects(const TypedStreamValue &value, std::vector<const TypedStreamObject *> &out)
{
    const TypedStreamObjectPtr object = value.kind == TypedStreamValue::Kind::Object ? value.target() : nullptr;
    if (object && std::find(out.begin(), out.end(), object.get()) == out.end()) {
        out.push_back(object.get());
        for (const auto &group : object->groups) {
            for (const auto &v : group.values)
                collectObjects(v, out);
        }
    }
    for (const auto &element : value.elements)
        collectObjects(element, out);
}

TEST(TypedStreamReaderTest, decodesFoundationArchivesWrittenByThePlatform)
{
    EXPECT_EQ(decodeFile("crabstep-NSString.typedstream"), QVariant(QStringLiteral("Hello, world")));
    EXPECT_EQ(decodeFile("crabstep-NumberDouble.typedstream"), QVariant(100.5));
    EXPECT_EQ(decodeFile("crabstep-NSData.typedstream"), QVariant(QByteArray::fromHex("deadbeef007f")));
    EXPECT_EQ(decodeFile("crabstep-NSDate.typedstream").toDateTime(),
        QDateTime::fromSecsSinceEpoch(1000000000, QTimeZone::utc()));

    const QVariantList withNull = decodeFile("crabstep-NSArrayWithNull.typedstream").toList();
    EXPECT_EQ(withNull, (QVariantList{QStringLiteral("x"), QVariant::fromValue(nullptr), QStringLiteral("y")}));
    EXPECT_EQ(withNull.value(1).typeId(), QMetaType::Nullptr);
    EXPECT_EQ(decodeFile("crabstep-NSDictionaryNested.typedstream"),
        QVariant(QVariantMap{{"arr", QVariantList{1, 2}}, {"data", QByteArray("\x01\x02")}, {"num", 7}}));
}

TEST(TypedStreamReaderTest, readsAttributedStringsGenerically)
{
    for (const char *name : {"crabstep-NSAttributedString.typedstream",
             "crabstep-imessage-AttributedBodyTextOnly.typedstream", "crabstep-imessage-TextStyles.typedstream"}) {
        const QByteArray bytes = readTestFile(QStringLiteral("typedstream/") + QLatin1String(name));
        auto archive = TypedStreamReader::read(bytes);
        ASSERT_TRUE(archive.ok()) << name << ": " << archive.errorMessage().toStdString();
        ASSERT_EQ(archive.value().groups.size(), 1u);
        const TypedStreamValue &root = archive.value().groups.front().values.front();
        ASSERT_EQ(root.kind, TypedStreamValue::Kind::Object);
        EXPECT_TRUE(root.object->isKindOf("NSAttributedString")) << name;
        // The attributed string's text is its first group, an NSString.
        const TypedStreamObjectPtr text = root.object->groups.front().values.front().target();
        ASSERT_TRUE(text && text->isKindOf("NSString")) << name;
        EXPECT_FALSE(text->groups.front().values.front().bytes.isEmpty());
        // No coder knows the class: decoding into Qt values names it.
        auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes);
        ASSERT_FALSE(decoded.ok());
        EXPECT_TRUE(decoded.errorMessage().contains(QString::fromLatin1(root.object->className())));
        // The tree writes back and reads again to the same shape.
        auto rewritten = TypedStreamWriter::archivedDataWithArchive(archive.value());
        ASSERT_TRUE(rewritten.ok()) << rewritten.errorMessage().toStdString();
        EXPECT_EQ(rewritten.value(), bytes) << name;
    }
    const QByteArray textOnly = readTestFile("typedstream/crabstep-imessage-AttributedBodyTextOnly.typedstream");
    EXPECT_EQ(TypedStreamReader::read(textOnly).value().versionForClassName("NSMutableString"), 1);
    EXPECT_EQ(TypedStreamReader::read(textOnly).value().versionForClassName("JWMemo"), std::nullopt);
}

TEST(TypedStreamReaderTest, readsColourListsWithLongRunsOfReferences)
{
    struct Case
    {
        const char *file;
        int count;
        const char *firstName;
    };
    for (const Case &c : {Case{"Emacs.clr", 752, nullptr}, Case{"solarized.clr", 16, "Solarized Base03"}}) {
        const QByteArray bytes = readTestFile(QStringLiteral("typedstream/") + QLatin1String(c.file));
        // A count, a header and then one group per entry: more than a root object.
        QStringList names;
        const auto read = TypedStreamDecoder::unarchiveWithData(bytes, [&](TypedStreamDecoder &decoder) {
            EXPECT_EQ(decoder.decodeInteger().valueOr(-1), 1);
            const QVariantList header = decoder.decodeValuesOfObjCTypes("@i").valueOr({});
            EXPECT_EQ(header.value(1).toInt(), c.count);
            for (int i = 0; i < c.count; ++i) {
                auto entry = decoder.decodeValuesOfObjCTypes("@@");
                if (!entry)
                    return Result<QVariant>(Error{entry.errorMessage()});
                const auto color = entry.value()[0].value<ArchivedColor>();
                EXPECT_EQ(color.kind, ArchivedColor::CalibratedRGB);
                EXPECT_TRUE(color.toColor().isValid());
                names.append(entry.value()[1].toString());
            }
            return Result<QVariant>(decoder.atEnd());
        });
        ASSERT_TRUE(read.ok()) << read.errorMessage().toStdString();
        EXPECT_TRUE(read.value().toBool());
        ASSERT_EQ(names.size(), c.count);
        if (c.firstName)
            EXPECT_EQ(names.front(), QLatin1String(c.firstName));
        else
            EXPECT_TRUE(names.contains("LightGreen") && names.contains("dark red"));
        const auto archive = TypedStreamReader::read(bytes);
        EXPECT_EQ(TypedStreamWriter::archivedDataWithArchive(archive.valueOr({})).valueOr({}), bytes) << c.file;
    }
}

TEST(TypedStreamReaderTest, readsTheCalculatorDocumentAndItsNestedStreams)
{
    const QByteArray bytes = readTestFile("typedstream/Empty2D macOS 10.14.gcx");
    auto archive = TypedStreamReader::read(bytes);
    ASSERT_TRUE(archive.ok()) << archive.errorMessage().toStdString();
    std::vector<const TypedStreamObject *> objects;
    for (const auto &group : archive.value().groups) {
        for (const auto &value : group.values)
            collectObjects(value, objects);
    }
    ASSERT_FALSE(objects.empty());
    EXPECT_EQ(objects.front()->className(), "NSMutableDictionary");

    int nested = 0;
    for (const TypedStreamObject *object : objects) {
        if (!object->isKindOf("NSData") || object->groups.size() < 2)
            continue;
        const QByteArray data = object->groups[1].values.front().bytes;
        if (!data.startsWith("\x04\x0bstreamtyped"))
            continue;
        ++nested;
        auto inner = TypedStreamReader::read(data);
        EXPECT_TRUE(inner.ok()) << inner.errorMessage().toStdString();
    }
    // Seven headers in the file: the outer one and six nested streams.
    EXPECT_EQ(nested, 6);
    EXPECT_EQ(bytes.count("streamtyped"), 7);
    EXPECT_EQ(TypedStreamWriter::archivedDataWithArchive(archive.value()).valueOr({}), bytes);
}

TEST(TypedStreamReaderTest, readsTypedStreamsEmbeddedInPropertyLists)
{
    const auto terminal = PropertyList::fromData(readTestFile("plist/Solarized Dark xterm-256color.terminal"));
    ASSERT_TRUE(terminal.ok()) << terminal.errorMessage().toStdString();
    int colours = 0;
    const QVariantMap settings = terminal.value().toMap();
    for (auto it = settings.cbegin(); it != settings.cend(); ++it) {
        if (!it.key().endsWith("Colour"))
            continue;
        auto color = TypedStreamDecoder::unarchiveObjectWithData(it.value().toByteArray());
        ASSERT_TRUE(color.ok()) << it.key().toStdString() << ": " << color.errorMessage().toStdString();
        EXPECT_TRUE(color.value().value<ArchivedColor>().toColor().isValid()) << it.key().toStdString();
        ++colours;
    }
    EXPECT_EQ(colours, 16);

    const auto edited = PropertyList::fromData(readTestFile("plist/imessage-message_summary_info-Edited.plist"));
    ASSERT_TRUE(edited.ok()) << edited.errorMessage().toStdString();
    const QVariantList edits = edited.value().toMap().value("ec").toMap().value("0").toList();
    ASSERT_EQ(edits.size(), 4);
    for (const QVariant &edit : edits) {
        auto archive = TypedStreamReader::read(edit.toMap().value("t").toByteArray());
        ASSERT_TRUE(archive.ok()) << archive.errorMessage().toStdString();
        const TypedStreamValue &root = archive.value().groups.front().values.front();
        ASSERT_EQ(root.kind, TypedStreamValue::Kind::Object);
        EXPECT_TRUE(root.object->isKindOf("NSAttributedString"));
    }
}

TEST(TypedStreamReaderTest, acceptsBigEndianStreams)
{
    // "Hi" as an NSString from a big-endian writer, then the int 300 and the double 0.5.
    QByteArray bytes = QByteArray::fromHex("040b747970656473747265616d81 03e8");
    bytes += QByteArray::fromHex("840140848484084e53537472696e67018484084e534f626a65637400858401 2b024869 86");
    bytes += QByteArray::fromHex("840169 81012c") + QByteArray::fromHex("840164 83 3fe0000000000000");
    auto archive = TypedStreamReader::read(bytes);
    ASSERT_TRUE(archive.ok()) << archive.errorMessage().toStdString();
    EXPECT_TRUE(archive.value().bigEndian);
    EXPECT_EQ(archive.value().systemVersion, 1000);
    const auto values = TypedStreamDecoder::unarchiveWithData(bytes, [](TypedStreamDecoder &decoder) {
        return Result<QVariant>(QVariantList{
            decoder.decodeObject().valueOr({}), decoder.decodeInteger().valueOr(0), decoder.decodeReal().valueOr(0)});
    });
    EXPECT_EQ(values.valueOr({}), QVariant(QVariantList{QStringLiteral("Hi"), qint64(300), 0.5}));
}

struct BadInput
{
    const char *name;
    QByteArray bytes;
    const char *messagePart;
};

class TypedStreamBadInputTest : public ::testing::TestWithParam<BadInput>
{ };

TEST_P(TypedStreamBadInputTest, failsWithAMessage)
{
    auto decoded = TypedStreamDecoder::unarchiveObjectWithData(GetParam().bytes);
    ASSERT_FALSE(decoded.ok());
    EXPECT_TRUE(decoded.errorMessage().contains(QLatin1String(GetParam().messagePart), Qt::CaseInsensitive))
        << decoded.errorMessage().toStdString();
}

const QByteArray kHeader = QByteArray::fromHex("040b73747265616d747970656481e803");
const QByteArray kStringClass = QByteArray::fromHex("848484084e53537472696e67018484084e534f626a6563740085");
const QByteArray kDataClass = QByteArray::fromHex("848484064e5344617461008484084e534f626a6563740085");

INSTANTIATE_TEST_SUITE_P(robustness, TypedStreamBadInputTest,
    ::testing::Values(BadInput{"empty", QByteArray(), "truncated"},
        BadInput{"version3", QByteArray::fromHex("030b73747265616d747970656481e803"), "version 3"},
        BadInput{"otherSignature", QByteArray::fromHex("040b73747265616d7479706578"), "signature"},
        BadInput{"truncatedHeader", kHeader.left(9), "exceeds the data"}, BadInput{"noRoot", kHeader, "no root"},
        BadInput{"truncatedString",
            kHeader + QByteArray::fromHex("840140") + kStringClass + QByteArray::fromHex("84012b0c48656c"), "exceeds"},
        BadInput{"dataLength2e31",
            kHeader + QByteArray::fromHex("840140") + kDataClass
                + QByteArray::fromHex("84016982ffffff7f84045b32635d010286"),
            "does not match"},
        BadInput{"byteArray2e31",
            kHeader + QByteArray::fromHex("840140") + kDataClass
                + QByteArray::fromHex("8401698200000080840d5b32313437343833363438635d"),
            "array count too large"},
        BadInput{"byteArrayBeyondData",
            kHeader + QByteArray::fromHex("840140") + kDataClass
                + QByteArray::fromHex("8401696484095b313030303030635d0102"),
            "more bytes than remain"},
        BadInput{"stringReferenceOutOfRange", kHeader + QByteArray::fromHex("9a"), "reference to string"},
        BadInput{"wrongType", kHeader + QByteArray::fromHex("84016905"), "expected"},
        BadInput{"tagAsInteger", kHeader + QByteArray::fromHex("84016986"), "tag"},
        BadInput{"union", kHeader + QByteArray::fromHex("840328696929"), "union"},
        BadInput{"unknownClass", kHeader + QByteArray::fromHex("840140848484054a57466f6f008586"), "JWFoo"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(TypedStreamReaderTest, cutsAtEveryByteFailCleanly)
{
    const QByteArray bytes = readTestFile("typedstream/crabstep-NSDictionaryNested.typedstream");
    ASSERT_FALSE(bytes.isEmpty());
    // The bare 16-byte header is a valid, empty stream; every other cut is not.
    for (qsizetype n = 0; n < bytes.size(); ++n)
        EXPECT_EQ(TypedStreamReader::read(bytes.left(n)).ok(), n == 16) << n;
    EXPECT_TRUE(TypedStreamReader::read(bytes).ok());
}

} // namespace
