#include "common/TestDataFiles.h"
#include "platform/archive/PropertyList.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamReader.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <QDateTime>
#include <QTimeZone>

namespace {

QByteArray typedStream(const QString &name)
{
    const QByteArray bytes = readTestData("typedstream/" + name);
    EXPECT_FALSE(bytes.isEmpty()) << name.toStdString();
    return bytes;
}

// The generic tree of @p bytes, written back.
QByteArray rewritten(const TypedStreamArchive &archive)
{
    auto bytes = TypedStreamWriter::archivedDataWithArchive(archive);
    EXPECT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();
    return bytes.valueOr({});
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

TEST(TypedStreamReaderTest, decodesPlatformArchivesAndWritesThemBackByteForByte)
{
    const std::pair<const char *, QVariant> cases[]{
        {"NSString", "Hello, world"},
        {"NumberDouble", 100.5},
        {"NSData", hex("deadbeef007f")},
        {"NSDate", QDateTime::fromSecsSinceEpoch(1000000000, QTimeZone::utc())},
        {"NSArrayWithNull", QVariantList{"x", QVariant::fromValue(nullptr), "y"}},
        {"NSDictionaryNested", QVariantMap{{"arr", QVariantList{1, 2}}, {"data", hex("0102")}, {"num", 7}}},
    };
    for (const auto &[name, expected] : cases) {
        SCOPED_TRACE(name);
        const QByteArray bytes = typedStream(QStringLiteral("crabstep-%1.typedstream").arg(QLatin1String(name)));
        const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes);
        ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
        EXPECT_EQ(decoded.value(), expected);
        const QByteArray again = TypedStreamWriter::archivedDataWithRootObject(decoded.value()).valueOr({});
        EXPECT_EQ(TypedStreamDecoder::unarchiveObjectWithData(again).valueOr({}), expected);
        const auto kept = TypedStreamDecoder::unarchiveObjectWithData(
            bytes, TypedStreamRegistry::shared(), {.keepClassNames = true});
        EXPECT_EQ(TypedStreamWriter::archivedDataWithRootObject(kept.valueOr({})).valueOr({}), bytes);
        if (expected.typeId() == QMetaType::QVariantList) {
            EXPECT_EQ(kept.value().value<ArchivedAs>().className, "NSArray");
        }
    }
    EXPECT_EQ(TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(ArchivedAs{"NSArray", {}}))
                  .valueOr({})
                  .count("NSMutableArray"),
        0);
}

TEST(TypedStreamReaderTest, readsAttributedStringsGenerically)
{
    for (const char *name : {"crabstep-NSAttributedString.typedstream",
             "crabstep-imessage-AttributedBodyTextOnly.typedstream", "crabstep-imessage-TextStyles.typedstream"}) {
        SCOPED_TRACE(name);
        const QByteArray bytes = typedStream(QLatin1String(name));
        auto archive = TypedStreamReader::read(bytes);
        ASSERT_TRUE(archive.ok()) << archive.errorMessage().toStdString();
        ASSERT_EQ(archive.value().groups.size(), 1u);
        const TypedStreamValue &root = archive.value().groups.front().values.front();
        ASSERT_EQ(root.kind, TypedStreamValue::Kind::Object);
        EXPECT_TRUE(root.object->isKindOf("NSAttributedString"));
        // The attributed string's text is its first group, an NSString.
        const TypedStreamObjectPtr text = root.object->groups.front().values.front().target();
        ASSERT_TRUE(text && text->isKindOf("NSString"));
        EXPECT_FALSE(text->groups.front().values.front().bytes.isEmpty());
        // No coder knows the class: decoding into Qt values names it.
        auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes);
        ASSERT_FALSE(decoded.ok());
        EXPECT_TRUE(decoded.errorMessage().contains(QString::fromLatin1(root.object->className())));
        EXPECT_EQ(rewritten(archive.value()), bytes);
    }
    const auto textOnly = TypedStreamReader::read(typedStream("crabstep-imessage-AttributedBodyTextOnly.typedstream"));
    EXPECT_EQ(textOnly.value().versionForClassName("NSMutableString"), 1);
    EXPECT_EQ(textOnly.value().versionForClassName("JWMemo"), std::nullopt);
}

// Colour lists hold long runs of references, and the calculator document six typed streams nested in its data.
TEST(TypedStreamReaderTest, readsColourListsAndNestedStreamsAndWritesThemBack)
{
    for (const char *name : {"Emacs.clr", "solarized.clr", "Empty2D macOS 10.14.gcx"}) {
        SCOPED_TRACE(name);
        const QByteArray bytes = typedStream(QLatin1String(name));
        auto archive = TypedStreamReader::read(bytes);
        ASSERT_TRUE(archive.ok()) << archive.errorMessage().toStdString();
        EXPECT_EQ(rewritten(archive.value()), bytes);
    }
    const auto calculator = TypedStreamReader::read(typedStream("Empty2D macOS 10.14.gcx"));
    ASSERT_TRUE(calculator.ok());
    std::vector<const TypedStreamObject *> objects;
    for (const auto &group : calculator.value().groups) {
        for (const auto &value : group.values)
            collectObjects(value, objects);
    }
    int nested = 0;
    for (const TypedStreamObject *object : objects) {
        if (object->isKindOf("NSData") && object->groups.size() >= 2
            && object->groups[1].values.front().bytes.startsWith("\x04\x0bstreamtyped")) {
            ++nested;
            EXPECT_TRUE(TypedStreamReader::read(object->groups[1].values.front().bytes).ok());
        }
    }
    EXPECT_EQ(nested, 6);
}

TEST(TypedStreamReaderTest, readsTypedStreamsEmbeddedInPropertyLists)
{
    const auto terminal = PropertyList::fromData(readTestData("plist/Solarized Dark xterm-256color.terminal"));
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
}

TEST(TypedStreamReaderTest, acceptsBigEndianStreams)
{
    // "Hi" as an NSString from a big-endian writer, then the int 300 and the double 0.5.
    const QByteArray bytes = hex("040b747970656473747265616d81 03e8")
        + hex("840140848484084e53537472696e67018484084e534f626a65637400858401 2b024869 86") + hex("840169 81012c")
        + hex("840164 83 3fe0000000000000");
    auto archive = TypedStreamReader::read(bytes);
    ASSERT_TRUE(archive.ok()) << archive.errorMessage().toStdString();
    EXPECT_TRUE(archive.value().bigEndian);
    EXPECT_EQ(archive.value().systemVersion, 1000);
    const auto values = TypedStreamDecoder::unarchiveWithData(bytes, [](TypedStreamDecoder &decoder) {
        return Result<QVariant>(QVariantList{
            decoder.decodeObject().valueOr({}), decoder.decodeInteger().valueOr(0), decoder.decodeReal().valueOr(0)});
    });
    EXPECT_EQ(values.valueOr({}), QVariant(QVariantList{"Hi", qint64(300), 0.5}));
}

TEST(TypedStreamReaderTest, everyCutOfAnArchiveFailsCleanly)
{
    const QVariantMap value{
        {"text", "Grüße"},
        {"numbers", QVariantList{1, qint64(70000), 2.5, true}},
        {"data", hex("000102")},
        {"date", QDateTime::fromSecsSinceEpoch(1'000'000'000, QTimeZone::utc())},
        {"colour", QVariant::fromValue(ArchivedColor::deviceRGB(0.25f, 0.5f, 1))},
        {"none", QVariant::fromValue(nullptr)},
    };
    const QByteArray written = TypedStreamWriter::archivedDataWithRootObject(value).valueOr({});
    for (const QByteArray &bytes : {typedStream("crabstep-NSDictionaryNested.typedstream"), written}) {
        ASSERT_TRUE(TypedStreamDecoder::unarchiveObjectWithData(bytes).ok());
        // The bare 16-byte header is a valid stream, but one without a root object.
        for (qsizetype n = 0; n < bytes.size(); ++n) {
            EXPECT_EQ(TypedStreamReader::read(bytes.left(n)).ok(), n == 16) << n;
            EXPECT_FALSE(TypedStreamDecoder::unarchiveObjectWithData(bytes.left(n)).ok()) << n;
        }
    }
    // Whatever follows the root must still be a stream.
    EXPECT_FALSE(TypedStreamDecoder::unarchiveObjectWithData(written + hex("86")).ok());
    EXPECT_FALSE(TypedStreamDecoder::unarchiveObjectWithData(written + hex("840169")).ok());
    EXPECT_TRUE(TypedStreamDecoder::unarchiveObjectWithData(written + hex("84016905")).ok());
}

} // namespace
