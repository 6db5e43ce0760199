// Decoding straight from the bytes (unarchiveObjectWithData): what decodes,
// to what, what is shared, and what fails.
#include "common/TestDataFiles.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <QTimeZone>

namespace {

const QByteArray kHeader = hex("040b73747265616d747970656481e803");
const QByteArray kString = hex("848484084e53537472696e67018484084e534f626a6563740085"); // NSString, NSObject
const QByteArray kArray = hex("848484074e534172726179008484084e534f626a6563740085");
const QByteArray kData = hex("848484064e5344617461008484084e534f626a6563740085");

// What a value writes back as: equal bytes mean equal values, shared objects included.
QByteArray written(const QVariant &value, const TypedStreamRegistry &registry = TypedStreamRegistry::shared())
{
    auto bytes = TypedStreamWriter::archivedDataWithRootObject(value, registry);
    return bytes ? bytes.value() : "unwritable: " + bytes.errorMessage().toUtf8();
}

// The standard classes and @p className, which values of @p metaType are written as.
TypedStreamRegistry registryWith(const char *className, TypedStreamCoder::Decode decode,
    TypedStreamCoder::Encode encode = {}, int metaType = QMetaType::UnknownType)
{
    TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
    TypedStreamCoder coder;
    coder.className = className;
    coder.decode = std::move(decode);
    coder.encode = std::move(encode);
    registry.registerCoder(std::move(coder));
    if (metaType != QMetaType::UnknownType)
        registry.setDefaultClassName(metaType, className);
    return registry;
}

TypedStreamValue valueOf(TypedStreamValue::Kind kind, qint64 integer = 0, TypedStreamObjectPtr object = {})
{
    TypedStreamValue value;
    value.kind = kind;
    value.integer = integer;
    value.real = double(integer);
    value.object = std::move(object);
    return value;
}

TypedStreamValue objectValue(TypedStreamObjectPtr object)
{
    return valueOf(TypedStreamValue::Kind::Object, 0, std::move(object));
}

// A node of @p className whose superclasses are @p superclasses, ending in NSObject.
TypedStreamObjectPtr node(
    const char *className, std::vector<TypedStreamGroup> groups, std::vector<const char *> superclasses = {})
{
    auto cls = std::make_shared<TypedStreamClass>(TypedStreamClass{"NSObject", 0, nullptr});
    superclasses.insert(superclasses.begin(), className);
    for (auto it = superclasses.rbegin(); it != superclasses.rend(); ++it)
        cls = std::make_shared<TypedStreamClass>(TypedStreamClass{*it, 0, cls});
    return std::make_shared<TypedStreamObject>(TypedStreamObject{cls, std::move(groups)});
}

// An archive of @p root written from its generic tree: shared nodes become references.
QByteArray archiveOfTree(const TypedStreamObjectPtr &root)
{
    TypedStreamArchive tree;
    tree.groups = {{"@", {objectValue(root)}}};
    return TypedStreamWriter::archivedDataWithArchive(tree).valueOr({});
}

struct Hostile
{
    const char *name;
    QByteArray bytes;
    const char *messagePart;
};

class TypedStreamHostileTest : public ::testing::TestWithParam<Hostile>
{ };

TEST_P(TypedStreamHostileTest, failsWithAMessage)
{
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(GetParam().bytes);
    ASSERT_FALSE(decoded.ok());
    EXPECT_TRUE(decoded.errorMessage().contains(QLatin1String(GetParam().messagePart), Qt::CaseInsensitive))
        << decoded.errorMessage().toStdString();
}

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

const QByteArray kRoot = kHeader + hex("840140");

INSTANTIATE_TEST_SUITE_P(robustness, TypedStreamHostileTest,
    ::testing::Values(Hostile{"empty", QByteArray(), "truncated"},
        Hostile{"version3", hex("030b73747265616d747970656481e803"), "version 3"},
        Hostile{"otherSignature", hex("040b73747265616d7479706578"), "signature"},
        Hostile{"noRoot", kHeader, "no root"},
        Hostile{"truncatedString", kRoot + kString + hex("84012b0c48656c"), "exceeds"},
        Hostile{"dataLength2e31", kRoot + kData + hex("84016982ffffff7f84045b32635d010286"), "does not match"},
        Hostile{"byteArray2e31", kRoot + kData + hex("8401698200000080840d5b32313437343833363438635d"),
            "array count too large"},
        Hostile{
            "byteArrayBeyondData", kRoot + kData + hex("8401696484095b313030303030635d0102"), "more bytes than remain"},
        Hostile{"topStringReferenceOutOfRange", kHeader + hex("9a"), "reference to string"},
        Hostile{"wrongType", kHeader + hex("84016905"), "expected"},
        Hostile{"tagAsInteger", kHeader + hex("84016986"), "tag"},
        Hostile{"union", kHeader + hex("840328696929"), "union"},
        Hostile{"unknownClass", kRoot + hex("848484054a57466f6f008586"), "JWFoo"},
        Hostile{"objectReferenceOutOfRange", kRoot + hex("9c"), "reference to object"},
        Hostile{"stringReferenceOutOfRange", kRoot + kArray + hex("99"), "reference to string"},
        Hostile{"superclassStillBeingRead", kRoot + hex("84848403414141009385"), "not complete yet"},
        Hostile{"classRefersToObject", kRoot + kArray + hex("840169019284928586"), "refers to object"},
        Hostile{"cStringRefersToClass", kRoot + kArray + hex("840169018401 2a 93"), "refers to an object or class"},
        Hostile{"negativeStringLength", kRoot + kString + hex("84012bff41"), "negative"},
        Hostile{"arrayCount2e31", kRoot + kArray + hex("840169827fffffff86"), "exceeds its contents"},
        Hostile{"arrayShorterThanItsCount", kRoot + kArray + hex("84016902 9285 86"), "ends before"},
        Hostile{"deeplyNestedArrays", nestedArrays(3000), "deeply"},
        Hostile{"deeplyNestedStructs", kHeader + hex("84 81 9101") + QByteArray(200, '{') + "i" + QByteArray(200, '}'),
            "nested too deeply"},
        Hostile{"classChainTooLong", longClassChain(300), "class chain too long"},
        Hostile{"arrayHoldingItself", kRoot + kArray + hex("84016901929286"), "reference to itself"},
        Hostile{"nilTypeString", kHeader + hex("85"), "nil type encoding"},
        Hostile{"objectWithoutClass", kRoot + hex("8485"), "without a class"},
        Hostile{"tagAfterTheRoot", kRoot + kString + hex("84012b014186 86"), "tag"},
        Hostile{
            "unknownClassInsideAnArray", kRoot + kArray + hex("84016901 92 8484 84054a57466f6f00 94 86 86"), "JWFoo"}),
    [](const auto &info) { return std::string(info.param.name); });

// A record whose coder reads its first value only: what follows it is read past.
struct FirstOnly
{
    QString first;
    QString second;
};

} // namespace

Q_DECLARE_METATYPE(FirstOnly)

namespace {

TEST(TypedStreamUnarchiverTest, referencesToPlainValuesAndToWhatWasReadPastDecodeThere)
{
    // One NSNumber and one NSDate node, each referred to twice: numbers and
    // dates are not kept, so the second is read again from its bytes.
    using Kind = TypedStreamValue::Kind;
    TypedStreamValue type = valueOf(Kind::CString);
    type.bytes = "q";
    const auto number = node("NSNumber", {{"*", {type}}, {"q", {valueOf(Kind::Integer, 77)}}}, {"NSValue"});
    const auto date = node("NSDate", {{"d", {valueOf(Kind::Real, 21692800)}}});
    const auto array = node("NSArray",
        {{"i", {valueOf(Kind::Integer, 4)}}, {"@", {objectValue(number)}}, {"@", {objectValue(date)}},
            {"@", {objectValue(number)}}, {"@", {objectValue(date)}}});
    const QVariantList decoded = TypedStreamDecoder::unarchiveObjectWithData(archiveOfTree(array)).valueOr({}).toList();
    ASSERT_EQ(decoded.size(), 4);
    EXPECT_EQ(decoded[0].toLongLong(), 77);
    EXPECT_EQ(decoded[2], decoded[0]);
    EXPECT_EQ(decoded[3], decoded[1]);
    EXPECT_EQ(decoded[1].toDateTime().toSecsSinceEpoch(), 978307200 + 21692800);

    // A string held in the part of a record its coder does not read, and referred to after it.
    const TypedStreamRegistry registry = registryWith(
        "JWFirstOnly",
        [](TypedStreamDecoder &decoder) -> Result<QVariant> {
            auto first = decoder.decodeObject();
            if (!first)
                return first;
            return QVariant::fromValue(FirstOnly{first.value().toString(), {}});
        },
        [](TypedStreamWriter &writer, const QVariant &value) {
            const auto record = value.value<FirstOnly>();
            if (Status s = writer.encodeObject(record.first); !s)
                return s;
            return writer.encodeObject(record.second);
        },
        qMetaTypeId<FirstOnly>());
    const QString second = "read past, then wanted";
    const QVariantList records{QVariant::fromValue(FirstOnly{"read", second}), second};
    const QVariantList back
        = TypedStreamDecoder::unarchiveObjectWithData(written(records, registry), registry).valueOr({}).toList();
    ASSERT_EQ(back.size(), 2);
    EXPECT_EQ(back[0].value<FirstOnly>().first, "read");
    EXPECT_EQ(back[1], QVariant(second));
}

TEST(TypedStreamUnarchiverTest, stringsKeptAsUtf8OnlyWhenTheyConvertBackUnchanged)
{
    // A record that takes every string of an array as UTF-8 where it can.
    const TypedStreamRegistry registry = registryWith("JWTexts", [](TypedStreamDecoder &decoder) -> Result<QVariant> {
        QVariantList texts;
        while (!decoder.atEnd()) {
            auto text = decoder.decodeObjectKeepingUtf8();
            if (!text)
                return text;
            texts.append(text.value());
        }
        return QVariant(texts);
    });
    // A JWTexts (O0; class O1, a root class) holding "Grüße", a text that
    // starts with a byte-order mark, bytes that are not UTF-8, and "": the
    // first string is O2 with classes O3 and O4 and takes "+" as S4.
    const QList<QByteArray> texts{hex("4772c3bcc39f65"), hex("efbbbf6d61726b"), hex("fffe"), QByteArray()};
    QByteArray bytes = kRoot + hex("84 8484074a575465787473 00 85");
    for (qsizetype i = 0; i < texts.size(); ++i) {
        bytes += i == 0 ? hex("92") + kString + hex("84012b") : hex("92 84 95 96");
        bytes += char(texts[i].size()) + texts[i] + hex("86");
    }
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes + hex("86"), registry);
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    const QVariantList values = decoded.value().toList();
    ASSERT_EQ(values.size(), 4);
    EXPECT_EQ(values[0].value<TypedStreamUtf8>().bytes, texts[0]);
    for (int i = 1; i < 4; ++i)
        EXPECT_EQ(values[i], QVariant(QString::fromUtf8(texts[i]))) << i;
}

TEST(TypedStreamUnarchiverTest, aStringWantedAsUtf8AndAsAQStringIsDecodedAgainShared)
{
    // The first element takes its string as UTF-8; the second wants the same one as a QString.
    const TypedStreamRegistry registry = registryWith(
        "JWUtf8", [](TypedStreamDecoder &decoder) -> Result<QVariant> { return decoder.decodeObjectKeepingUtf8(); });
    const QByteArray bytes = kRoot + kArray + hex("84016902")
        + hex("92 84 84 8406 4a5755746638 00 85")                            // O3, a JWUtf8 (class O4, a root class)
        + hex("92 84 84 8408 4e53537472696e67 01 94 84012b 0568656c6c6f 86") // O5, "hello" (class O6)
        + hex("86") + hex("92 97") + hex("86"); // the array's second element: a reference to O5
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes, registry);
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    const QVariantList values = decoded.value().toList();
    ASSERT_EQ(values.size(), 2);
    ASSERT_EQ(values[0].metaType(), QMetaType::fromType<QString>());
    EXPECT_EQ(values[1], QVariant("hello"));
    EXPECT_EQ(values[0].toString().constData(), values[1].toString().constData());
}

TEST(TypedStreamUnarchiverTest, anImageReferringToItsEnclosingObjectDecodes)
{
    // An image that refers back to the array around it takes every node made first.
    const auto array = node("NSArray", {});
    TypedStreamValue back = valueOf(TypedStreamValue::Kind::Object);
    back.backReference = array;
    const auto image = node("NSImage", {{"@", {back}}});
    array->groups = {{"i", {valueOf(TypedStreamValue::Kind::Integer, 1)}}, {"@", {objectValue(image)}}};
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(archiveOfTree(array));
    ASSERT_TRUE(decoded.ok()) << decoded.errorMessage().toStdString();
    ASSERT_EQ(decoded.value().toList().size(), 1);
    const auto kept = decoded.value().toList().front().value<ArchivedImage>();
    ASSERT_TRUE(kept.object && kept.object->groups.size() == 1u);
    EXPECT_EQ(kept.object->groups.front().values.front().kind, TypedStreamValue::Kind::Object);
}

TEST(TypedStreamUnarchiverTest, afterAFailureEveryReadFails)
{
    // A coder that tries again after a failed read: from bytes, the stream stays failed.
    const TypedStreamRegistry registry
        = registryWith("JWStubborn", [](TypedStreamDecoder &decoder) -> Result<QVariant> {
              const auto wrong = decoder.decodeBool(); // an integer group: fails
              const auto again = decoder.decodeInteger();
              if (wrong.ok())
                  return Error{"read a bool from an integer"};
              return again.ok() ? QVariant(again.value()) : QVariant(again.errorMessage());
          });
    const QByteArray bytes = kRoot + hex("84 84 840a4a5753747562626f726e 00 85 840169 05 94 05 86");
    const auto streamed = TypedStreamDecoder::unarchiveObjectWithData(bytes, registry);
    ASSERT_FALSE(streamed.ok());
    EXPECT_TRUE(streamed.errorMessage().contains(QLatin1String("Expected a value of type c")))
        << streamed.errorMessage().toStdString();
}

} // namespace
