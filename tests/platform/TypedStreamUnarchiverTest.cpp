// Decoding straight from the bytes (unarchiveObjectWithData): what decodes,
// to what, what is shared, and what fails.
#include "common/FreshUserTest.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <QDir>
#include <QFile>
#include <QTimeZone>

namespace {

const QByteArray kHeader = QByteArray::fromHex("040b73747265616d747970656481e803");

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(QByteArray(text));
}

// What a value writes back as: equal bytes mean equal values, shared objects included.
QByteArray written(const QVariant &value, const TypedStreamRegistry &registry)
{
    auto bytes = TypedStreamWriter::archivedDataWithRootObject(value, registry);
    return bytes ? bytes.value() : "unwritable: " + bytes.errorMessage().toUtf8();
}

// A decoded value writes back to bytes that decode to a value writing the same.
void expectStableDecoding(const QByteArray &bytes, const TypedStreamRegistry &registry, const std::string &what,
    TypedStreamDecodeOptions options = {})
{
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes, registry, options);
    if (!decoded.ok())
        return;
    const QByteArray once = written(decoded.value(), registry);
    const auto again = TypedStreamDecoder::unarchiveObjectWithData(once, registry, options);
    ASSERT_TRUE(again.ok()) << what << ": " << again.errorMessage().toStdString();
    EXPECT_EQ(written(again.value(), registry), once) << what;
}

QByteArray readTestFile(const QString &name)
{
    QFile file(FreshUserTest::testDataPath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TypedStreamValue objectValue(TypedStreamObjectPtr object)
{
    TypedStreamValue value;
    value.kind = TypedStreamValue::Kind::Object;
    value.object = std::move(object);
    return value;
}

TypedStreamObjectPtr node(const char *className, std::vector<TypedStreamGroup> groups)
{
    auto object = std::make_shared<TypedStreamObject>();
    object->cls = std::make_shared<TypedStreamClass>(
        TypedStreamClass{className, 0, std::make_shared<TypedStreamClass>(TypedStreamClass{"NSObject", 0, nullptr})});
    object->groups = std::move(groups);
    return object;
}

TypedStreamValue integer(qint64 n)
{
    TypedStreamValue value;
    value.kind = TypedStreamValue::Kind::Integer;
    value.integer = n;
    return value;
}

TypedStreamValue real(double x)
{
    TypedStreamValue value;
    value.kind = TypedStreamValue::Kind::Real;
    value.real = x;
    return value;
}

// An archive of @p root written from its generic tree: shared nodes become references.
QByteArray archiveOfTree(const TypedStreamObjectPtr &root)
{
    TypedStreamArchive tree;
    tree.groups = {{"@", {objectValue(root)}}};
    return TypedStreamWriter::archivedDataWithArchive(tree).valueOr({});
}

// A record whose coder reads its first value only: what follows it is read past.
struct FirstOnly
{
    QString first;
    QString second;
};

} // namespace

Q_DECLARE_METATYPE(FirstOnly)

namespace {

TypedStreamRegistry registryWithFirstOnly()
{
    TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
    TypedStreamCoder coder;
    coder.className = "JWFirstOnly";
    coder.encode = [](TypedStreamWriter &writer, const QVariant &value) {
        const auto record = value.value<FirstOnly>();
        if (Status s = writer.encodeObject(record.first); !s)
            return s;
        return writer.encodeObject(record.second);
    };
    coder.decode = [](TypedStreamDecoder &decoder) -> Result<QVariant> {
        auto first = decoder.decodeObject();
        if (!first)
            return first;
        return QVariant::fromValue(FirstOnly{first.value().toString(), {}});
    };
    registry.registerCoder(std::move(coder));
    registry.setDefaultClassName(qMetaTypeId<FirstOnly>(), "JWFirstOnly");
    return registry;
}

TEST(TypedStreamUnarchiverTest, decodesEveryTestArchiveStably)
{
    const TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
    const QDir folder(FreshUserTest::testDataPath(QStringLiteral("typedstream")));
    int decoded = 0;
    for (const QString &name : folder.entryList(QDir::Files)) {
        const QByteArray bytes = readTestFile(QStringLiteral("typedstream/") + name);
        ASSERT_FALSE(bytes.isEmpty()) << name.toStdString();
        expectStableDecoding(bytes, registry, name.toStdString());
        expectStableDecoding(bytes, registry, name.toStdString() + " keeping class names", {true});
        decoded += TypedStreamDecoder::unarchiveObjectWithData(bytes, registry).ok() ? 1 : 0;
    }
    // Colour lists hold more than a root object and attributed strings
    // classes without coders; the six Foundation samples decode.
    EXPECT_EQ(decoded, 6);
    EXPECT_EQ(TypedStreamDecoder::unarchiveObjectWithData(readTestFile("typedstream/crabstep-NSString.typedstream"))
                  .valueOr({}),
        QVariant(QStringLiteral("Hello, world")));
}

TEST(TypedStreamUnarchiverTest, everyCutOfAnArchiveFailsCleanly)
{
    const QVariantMap value{
        {QStringLiteral("text"), QStringLiteral("Grüße")},
        {QStringLiteral("numbers"), QVariantList{1, qint64(70000), 2.5, true}},
        {QStringLiteral("data"), QByteArray("\x00\x01\x02", 3)},
        {QStringLiteral("date"), QDateTime::fromSecsSinceEpoch(1'000'000'000, QTimeZone::utc())},
        {QStringLiteral("colour"), QVariant::fromValue(ArchivedColor::deviceRGB(0.25f, 0.5f, 1))},
        {QStringLiteral("none"), QVariant::fromValue(nullptr)},
    };
    const QByteArray bytes = TypedStreamWriter::archivedDataWithRootObject(value).valueOr({});
    ASSERT_FALSE(bytes.isEmpty());
    EXPECT_EQ(TypedStreamDecoder::unarchiveObjectWithData(bytes).valueOr({}), QVariant(value));
    for (qsizetype n = 0; n < bytes.size(); ++n)
        EXPECT_FALSE(TypedStreamDecoder::unarchiveObjectWithData(bytes.left(n)).ok()) << n;
    // Whatever follows the root must still be a stream.
    EXPECT_FALSE(TypedStreamDecoder::unarchiveObjectWithData(bytes + hex("86")).ok());
    EXPECT_FALSE(TypedStreamDecoder::unarchiveObjectWithData(bytes + hex("840169")).ok());
    EXPECT_TRUE(TypedStreamDecoder::unarchiveObjectWithData(bytes + hex("84016905")).ok());
}

struct Hostile
{
    const char *name;
    QByteArray bytes;
    const char *messagePart;
};

class TypedStreamUnarchiverHostileTest : public ::testing::TestWithParam<Hostile>
{ };

TEST_P(TypedStreamUnarchiverHostileTest, failsWithAMessage)
{
    const TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(GetParam().bytes, registry);
    ASSERT_FALSE(decoded.ok());
    EXPECT_TRUE(decoded.errorMessage().contains(QLatin1String(GetParam().messagePart), Qt::CaseInsensitive))
        << decoded.errorMessage().toStdString();
}

const QByteArray kString = hex("848484084e53537472696e67018484084e534f626a6563740085"); // new NSString: O?, classes
const QByteArray kArray = hex("848484074e534172726179008484084e534f626a6563740085");

// @p depth arrays, each the only element of the one before.
QByteArray nestedArrays(int depth)
{
    QByteArray bytes = kHeader + hex("840140") + kArray + hex("84016901");
    for (int i = 0; i < depth; ++i)
        bytes += hex("9284939501");
    return bytes;
}

// A class chain of @p length literal classes.
QByteArray longClassChain(int length)
{
    QByteArray bytes = kHeader + hex("84014084");
    for (int i = 0; i < length; ++i)
        bytes += hex("848403") + "C" + QByteArray::number(i % 10) + QByteArray::number(i / 10 % 10) + hex("00");
    return bytes + hex("8586");
}

INSTANTIATE_TEST_SUITE_P(robustness, TypedStreamUnarchiverHostileTest,
    ::testing::Values(Hostile{"objectReferenceOutOfRange", kHeader + hex("8401409c"), "reference to object"},
        Hostile{"objectReferenceFarOutOfRange", kHeader + hex("84014082ffffff7f"), "reference to object"},
        Hostile{"stringReferenceOutOfRange", kHeader + hex("840140") + kArray + hex("99"), "reference to string"},
        Hostile{"superclassStillBeingRead", kHeader + hex("84014084848403414141009385"), "not complete yet"},
        Hostile{
            "classRefersToObject", kHeader + hex("840140") + kArray + hex("840169019284928586"), "refers to object"},
        Hostile{"cStringRefersToClass", kHeader + hex("840140") + kArray + hex("840169018401 2a 93"),
            "refers to an object or class"},
        Hostile{"stringLength2e31", kHeader + hex("840140") + kString + hex("84012b82ffffff7f41"), "exceeds the data"},
        Hostile{"negativeStringLength", kHeader + hex("840140") + kString + hex("84012bff41"), "negative"},
        Hostile{"arrayCount2e31", kHeader + hex("840140") + kArray + hex("840169827fffffff86"), "exceeds its contents"},
        Hostile{"arrayShorterThanItsCount", kHeader + hex("840140") + kArray + hex("84016902 9285 86"), "ends before"},
        Hostile{"byteRunBeyondData", kHeader + hex("8408 5b3939393939635d 00"), "more bytes than remain"},
        Hostile{"deeplyNestedArrays", nestedArrays(3000), "deeply"},
        Hostile{"deeplyNestedStructs", kHeader + hex("84 81 9101") + QByteArray(200, '{') + "i" + QByteArray(200, '}'),
            "nested too deeply"},
        Hostile{"classChainTooLong", longClassChain(300), "class chain too long"},
        Hostile{"arrayHoldingItself", kHeader + hex("840140") + kArray + hex("84016901929286"), "reference to itself"},
        Hostile{"nilTypeString", kHeader + hex("85"), "nil type encoding"},
        Hostile{"objectWithoutClass", kHeader + hex("8401408485"), "without a class"},
        Hostile{"tagAfterTheRoot", kHeader + hex("840140") + kString + hex("84012b014186 86"), "tag"},
        Hostile{"unknownClassInsideAnArray",
            kHeader + hex("840140") + kArray + hex("84016901 92 8484 84054a57466f6f00 94 86 86"), "JWFoo"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(TypedStreamUnarchiverTest, sharedObjectsDecodeToOneValueAndWriteBackShared)
{
    const QString shared = QStringLiteral("the same string twice");
    const QVariantList list{shared, shared, QStringLiteral("another")};
    const QByteArray bytes = TypedStreamWriter::archivedDataWithRootObject(list).valueOr({});
    const QVariantList decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes).valueOr({}).toList();
    ASSERT_EQ(decoded.size(), 3);
    EXPECT_EQ(decoded[0], QVariant(shared));
    // One object in the stream, one QString: the writer writes a reference again.
    EXPECT_EQ(decoded[0].toString().constData(), decoded[1].toString().constData());
    EXPECT_NE(decoded[0].toString().constData(), decoded[2].toString().constData());
    EXPECT_EQ(written(QVariant(decoded), TypedStreamRegistry::shared()), bytes);
}

TEST(TypedStreamUnarchiverTest, referencesToPlainValuesAndToWhatWasReadPastDecodeThere)
{
    // One NSNumber and one NSDate node, each referred to twice: numbers and
    // dates are not kept, so the second is read again from its bytes.
    const auto number = node("NSNumber", {{"*", {}}, {"q", {integer(77)}}});
    number->cls = std::make_shared<TypedStreamClass>(TypedStreamClass{"NSNumber", 0,
        std::make_shared<TypedStreamClass>(TypedStreamClass{
            "NSValue", 0, std::make_shared<TypedStreamClass>(TypedStreamClass{"NSObject", 0, nullptr})})});
    number->groups[0].values.resize(1);
    number->groups[0].values[0].kind = TypedStreamValue::Kind::CString;
    number->groups[0].values[0].bytes = "q";
    const auto date = node("NSDate", {{"d", {real(21692800)}}});
    const auto array = node("NSArray",
        {{"i", {integer(4)}}, {"@", {objectValue(number)}}, {"@", {objectValue(date)}}, {"@", {objectValue(number)}},
            {"@", {objectValue(date)}}});
    const QByteArray bytes = archiveOfTree(array);
    const QVariantList decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes).valueOr({}).toList();
    ASSERT_EQ(decoded.size(), 4);
    EXPECT_EQ(decoded[0].toLongLong(), 77);
    EXPECT_EQ(decoded[2], decoded[0]);
    EXPECT_EQ(decoded[3], decoded[1]);
    EXPECT_EQ(decoded[1].toDateTime().toSecsSinceEpoch(), 978307200 + 21692800);

    // A string held in the part of a record its coder does not read, and referred to after it.
    const TypedStreamRegistry registry = registryWithFirstOnly();
    const QString second = QStringLiteral("read past, then wanted");
    const QVariantList records{QVariant::fromValue(FirstOnly{QStringLiteral("read"), second}), second};
    const QByteArray recordBytes = TypedStreamWriter::archivedDataWithRootObject(records, registry).valueOr({});
    const QVariantList back = TypedStreamDecoder::unarchiveObjectWithData(recordBytes, registry).valueOr({}).toList();
    ASSERT_EQ(back.size(), 2);
    EXPECT_EQ(back[0].value<FirstOnly>().first, QStringLiteral("read"));
    EXPECT_EQ(back[1], QVariant(second));
}

// A record that exercises the calls coders make besides plain decoding.
struct Probe
{
    QString log;
};

} // namespace

Q_DECLARE_METATYPE(Probe)

namespace {

TypedStreamRegistry registryWithProbe()
{
    TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
    TypedStreamCoder coder;
    coder.className = "JWProbe";
    coder.encode = [](TypedStreamWriter &writer, const QVariant &) -> Status {
        for (const QVariant &value : {QVariant(QStringLiteral("one")), QVariant(qint64(2)),
                 QVariant::fromValue(QDateTime::fromSecsSinceEpoch(5, QTimeZone::utc())),
                 QVariant(QVariantList{QStringLiteral("x"), QStringLiteral("y")})}) {
            if (Status s = writer.encodeObject(value); !s)
                return s;
        }
        writer.encodeInt(6);
        return {};
    };
    coder.decode = [](TypedStreamDecoder &decoder) -> Result<QVariant> {
        QStringList log{QString::fromLatin1(decoder.coderClassName()), decoder.isKindOf("NSObject") ? "kind" : "-"};
        auto peeked = decoder.peekGroup();
        if (!peeked)
            return Error{peeked.errorMessage()};
        log << QString::fromLatin1(peeked.value().types + "/" + peeked.value().classChain.front());
        auto text = decoder.decodeObjectKeepingUtf8();
        if (!text)
            return text;
        log << (text.value().metaType() == QMetaType::fromType<TypedStreamUtf8>()
                ? QStringLiteral("utf8:") + QString::fromUtf8(text.value().value<TypedStreamUtf8>().bytes)
                : QStringLiteral("string:") + text.value().toString());
        auto notAString = decoder.decodeObjectIfKindOf("NSString");
        if (!notAString)
            return Error{notAString.errorMessage()};
        log << (notAString.value() ? QStringLiteral("string?") : QStringLiteral("skipped"));
        auto moment = decoder.decodeObjectWith([](TypedStreamDecoder &date) -> Result<QVariant> {
            return QVariant(QString::fromLatin1(date.className()));
        });
        if (!moment)
            return moment;
        log << moment.value().toString();
        // Taken whole from here on: the last two groups come from the node.
        const TypedStreamObjectPtr whole = decoder.objectNode();
        log << QString::number(whole ? whole->groups.size() : 0);
        if (Status s = decoder.skipGroup(); !s)
            return Error{s.errorMessage()};
        auto six = decoder.decodeInteger();
        if (!six)
            return Error{six.errorMessage()};
        log << QString::number(six.value()) << (decoder.atEnd() ? QStringLiteral("end") : QStringLiteral("more"));
        return QVariant::fromValue(Probe{log.join(u' ')});
    };
    registry.registerCoder(std::move(coder));
    registry.setDefaultClassName(qMetaTypeId<Probe>(), "JWProbe");
    return registry;
}

TEST(TypedStreamUnarchiverTest, coderCallsReadInOrderAroundTheWholeObject)
{
    const TypedStreamRegistry registry = registryWithProbe();
    const QByteArray bytes
        = TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(Probe{}), registry).valueOr({});
    const auto streamed = TypedStreamDecoder::unarchiveObjectWithData(bytes, registry);
    ASSERT_TRUE(streamed.ok()) << streamed.errorMessage().toStdString();
    // After objectNode(), the calls go on from the fifth group.
    EXPECT_EQ(
        streamed.value().value<Probe>().log, QStringLiteral("JWProbe kind @/NSString utf8:one skipped NSDate 5 6 end"));
}

TEST(TypedStreamUnarchiverTest, stringsKeptAsUtf8OnlyWhenTheyConvertBackUnchanged)
{
    // A record that takes every string of an array as UTF-8 where it can.
    TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
    TypedStreamCoder coder;
    coder.className = "JWTexts";
    coder.decode = [](TypedStreamDecoder &decoder) -> Result<QVariant> {
        QVariantList texts;
        while (!decoder.atEnd()) {
            auto text = decoder.decodeObjectKeepingUtf8();
            if (!text)
                return text;
            texts.append(text.value());
        }
        return QVariant(texts);
    };
    registry.registerCoder(coder);
    // A JWTexts (O0; class O1, a root class) holding "Grüße", a text that
    // starts with a byte-order mark, bytes that are not UTF-8, and "": the
    // first string is O2 with classes O3 and O4 and takes "+" as S4.
    const QList<QByteArray> texts{QByteArray("Gr\xc3\xbc\xc3\x9f"
                                             "e"),
        QByteArray("\xef\xbb\xbfmark"), QByteArray("\xff\xfe"), QByteArray()};
    QByteArray bytes = kHeader + hex("840140 84 8484074a575465787473 00 85");
    for (qsizetype i = 0; i < texts.size(); ++i) {
        bytes += i == 0 ? hex("92 84 8484084e53537472696e6701 8484084e534f626a65637400 85 84012b") : hex("92 84 95 96");
        bytes += char(texts[i].size()) + texts[i] + hex("86");
    }
    bytes += hex("86");
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes, registry);
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    const QVariantList values = decoded.value().toList();
    ASSERT_EQ(values.size(), 4);
    EXPECT_EQ(values[0].value<TypedStreamUtf8>().bytes, texts[0]);
    for (int i = 1; i < 4; ++i) {
        EXPECT_EQ(values[i].metaType(), QMetaType::fromType<QString>()) << i;
        EXPECT_EQ(values[i].toString(), QString::fromUtf8(texts[i])) << i;
    }
}

TEST(TypedStreamUnarchiverTest, aStringWantedAsUtf8AndAsAQStringIsDecodedAgainShared)
{
    // The first element takes its string as UTF-8; the second wants the same one as a QString.
    TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
    TypedStreamCoder coder;
    coder.className = "JWUtf8";
    coder.decode = [](TypedStreamDecoder &decoder) -> Result<QVariant> {
        return decoder.decodeObjectKeepingUtf8();
    };
    registry.registerCoder(coder);
    const QByteArray bytes = kHeader + hex("840140") + kArray + hex("84016902")
        + hex("92 84 84 8406 4a5755746638 00 85")                            // O3, a JWUtf8 (class O4, a root class)
        + hex("92 84 84 8408 4e53537472696e67 01 94 84012b 0568656c6c6f 86") // O5, "hello" (class O6)
        + hex("86") + hex("92 97") + hex("86"); // the array's second element: a reference to O5
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes, registry);
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    const QVariantList values = decoded.value().toList();
    ASSERT_EQ(values.size(), 2);
    ASSERT_EQ(values[0].metaType(), QMetaType::fromType<QString>());
    EXPECT_EQ(values[1], QVariant(QStringLiteral("hello")));
    EXPECT_EQ(values[0].toString().constData(), values[1].toString().constData());
}

TEST(TypedStreamUnarchiverTest, anImageReferringToItsEnclosingObjectDecodes)
{
    // An image that refers back to the array around it takes every node made first.
    const auto array = node("NSArray", {});
    const auto image = node("NSImage", {});
    TypedStreamValue back;
    back.kind = TypedStreamValue::Kind::Object;
    back.backReference = array;
    image->groups = {{"@", {back}}};
    array->groups = {{"i", {integer(1)}}, {"@", {objectValue(image)}}};
    const QByteArray bytes = archiveOfTree(array);
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes);
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    ASSERT_EQ(decoded.value().toList().size(), 1);
    const auto kept = decoded.value().toList().front().value<ArchivedImage>();
    ASSERT_TRUE(kept.object);
    ASSERT_EQ(kept.object->groups.size(), 1u);
    EXPECT_EQ(kept.object->groups.front().values.front().kind, TypedStreamValue::Kind::Object);
}

TEST(TypedStreamUnarchiverTest, afterAFailureEveryReadFails)
{
    // A coder that tries again after a failed read: from bytes, the stream stays failed.
    TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
    TypedStreamCoder coder;
    coder.className = "JWStubborn";
    coder.decode = [](TypedStreamDecoder &decoder) -> Result<QVariant> {
        const auto wrong = decoder.decodeBool(); // an integer group: fails
        const auto again = decoder.decodeInteger();
        if (wrong.ok())
            return Error{QStringLiteral("read a bool from an integer")};
        return again.ok() ? QVariant(again.value()) : QVariant(again.errorMessage());
    };
    registry.registerCoder(coder);
    const QByteArray bytes = kHeader + hex("840140 84 84 840a4a5753747562626f726e 00 85 840169 05 94 05 86");
    const auto streamed = TypedStreamDecoder::unarchiveObjectWithData(bytes, registry);
    ASSERT_FALSE(streamed.ok());
    EXPECT_TRUE(streamed.errorMessage().contains(QLatin1String("Expected a value of type c")))
        << streamed.errorMessage().toStdString();
}

} // namespace
