#include "TypedStreamStandardCoders.h"

#include "ArchivedValues.h"
#include "TypedStreamDecoder.h"
#include "TypedStreamRegistry.h"
#include "TypedStreamWriter.h"

#include <QTimeZone>

#include <algorithm>
#include <cmath>

namespace {

using Superclasses = std::vector<std::pair<QByteArray, qint64>>;

// Seconds between the Unix epoch and the platform's reference date, 2001-01-01 UTC.
constexpr qint64 kReferenceDateMSecs = 978307200000;

Error malformed(const TypedStreamDecoder &decoder, const QString &why)
{
    return Error{QStringLiteral("Malformed archived %1: %2").arg(QString::fromLatin1(decoder.className()), why)};
}

TypedStreamCoder coder(const char *name, qint64 version, Superclasses superclasses, TypedStreamCoder::Encode encode,
    TypedStreamCoder::Decode decode)
{
    TypedStreamCoder c;
    c.className = name;
    c.version = version;
    c.superclasses = std::move(superclasses);
    c.encode = std::move(encode);
    c.decode = std::move(decode);
    return c;
}

Superclasses root()
{
    return {{QByteArrayLiteral("NSObject"), 0}};
}

// -- strings

Status encodeString(TypedStreamWriter &writer, const QVariant &value)
{
    const QByteArray utf8
        = value.metaType().id() == QMetaType::QByteArray ? value.toByteArray() : value.toString().toUtf8();
    return writer.encodeValueOfObjCType("+", utf8);
}

Result<QVariant> decodeString(TypedStreamDecoder &decoder)
{
    auto bytes = decoder.decodeValueOfObjCType("+");
    if (!bytes)
        return bytes;
    return QVariant(QString::fromUtf8(bytes.value().toByteArray()));
}

// -- numbers and values

char numberType(int metaTypeId)
{
    switch (metaTypeId) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
        return 'c';
    case QMetaType::UChar:
        return 'C';
    case QMetaType::Short:
        return 's';
    case QMetaType::UShort:
        return 'S';
    case QMetaType::Int:
        return 'i';
    case QMetaType::UInt:
        return 'I';
    case QMetaType::Long:
        return 'l';
    case QMetaType::ULong:
        return 'L';
    case QMetaType::LongLong:
        return 'q';
    case QMetaType::ULongLong:
        return 'Q';
    case QMetaType::Float:
        return 'f';
    case QMetaType::Double:
        return 'd';
    default:
        return 0;
    }
}

Status encodeNumber(TypedStreamWriter &writer, const QVariant &value)
{
    const char type = numberType(value.metaType().id());
    if (!type)
        return Error{QStringLiteral("Cannot archive a %1 as a number").arg(QLatin1String(value.metaType().name()))};
    const QByteArray typeString(1, type);
    if (Status s = writer.encodeValueOfObjCType("*", typeString); !s)
        return s;
    return writer.encodeValueOfObjCType(typeString, value);
}

Result<QVariant> decodeNumber(TypedStreamDecoder &decoder)
{
    auto type = decoder.decodeValueOfObjCType("*");
    if (!type)
        return type;
    const QByteArray typeString = type.value().toByteArray();
    if (typeString.size() != 1 || !QByteArrayView("cCBsSiIlLqQfd").contains(typeString.front()))
        return malformed(
            decoder, QStringLiteral("number of type \"%1\"").arg(QString::fromLatin1(typeString.left(32))));
    auto value = decoder.decodeValueOfObjCType(typeString);
    if (!value)
        return value;
    // BOOLs are archived as 'c'; other 'c' numbers keep their width.
    if (typeString == "c" && (value.value().toInt() == 0 || value.value().toInt() == 1))
        return QVariant(value.value().toInt() == 1);
    return value;
}

Status encodeValue(TypedStreamWriter &writer, const QVariant &value)
{
    const auto archived = value.value<ArchivedValue>();
    if (Status s = writer.encodeValueOfObjCType("*", archived.objCType); !s)
        return s;
    return writer.encodeValueOfObjCType(archived.objCType, archived.value);
}

Result<QVariant> decodeValue(TypedStreamDecoder &decoder)
{
    auto type = decoder.decodeValueOfObjCType("*");
    if (!type)
        return type;
    ArchivedValue archived;
    archived.objCType = type.value().toByteArray();
    auto group = decoder.nextGroup();
    if (!group)
        return Error{group.errorMessage()};
    if (group.value()->types != archived.objCType || group.value()->values.size() != 1)
        return malformed(decoder, QStringLiteral("content does not match its type"));
    auto content = decoder.decodeValue(*group.value(), 0);
    if (!content)
        return content;
    archived.value = std::move(content).value();
    return QVariant::fromValue(archived);
}

// -- data

Status encodeData(TypedStreamWriter &writer, const QVariant &value)
{
    const QByteArray bytes = value.toByteArray();
    writer.encodeInt(qint32(bytes.size()));
    return writer.encodeValueOfObjCType(QByteArray("[" + QByteArray::number(bytes.size()) + "c]"), bytes);
}

Result<QVariant> decodeData(TypedStreamDecoder &decoder)
{
    auto length = decoder.decodeInteger();
    if (!length)
        return Error{length.errorMessage()};
    if (length.value() == 0 && decoder.atEnd())
        return QVariant(QByteArray());
    auto group = decoder.nextGroup();
    if (!group)
        return Error{group.errorMessage()};
    const TypedStreamGroup &g = *group.value();
    if (g.values.size() != 1 || g.values.front().kind != TypedStreamValue::Kind::Bytes
        || g.values.front().bytes.size() != length.value() || !g.types.startsWith('['))
        return malformed(decoder, QStringLiteral("length %1 does not match its bytes").arg(length.value()));
    return QVariant(g.values.front().bytes);
}

// -- collections

Result<qint64> decodeCount(TypedStreamDecoder &decoder, qint64 groupsPerEntry)
{
    auto count = decoder.decodeInteger();
    if (!count)
        return count;
    if (count.value() < 0 || count.value() > decoder.remainingGroups() / groupsPerEntry)
        return malformed(decoder, QStringLiteral("count %1 exceeds its contents").arg(count.value()));
    return count;
}

Status encodeArray(TypedStreamWriter &writer, const QVariant &value)
{
    const QVariantList list = value.toList();
    writer.encodeInt(qint32(list.size()));
    for (const QVariant &element : list) {
        if (Status s = writer.encodeObject(element); !s)
            return s;
    }
    return {};
}

Status decodeElements(TypedStreamDecoder &decoder, const std::function<Status(QVariant)> &element)
{
    auto count = decodeCount(decoder, 1);
    if (!count)
        return Error{count.errorMessage()};
    for (qint64 i = 0; i < count.value(); ++i) {
        auto value = decoder.decodeObject();
        if (!value)
            return Error{value.errorMessage()};
        if (Status s = element(std::move(value).value()); !s)
            return s;
    }
    return {};
}

Result<QVariant> decodeArray(TypedStreamDecoder &decoder)
{
    QVariantList list;
    const Status read = decodeElements(decoder, [&list](QVariant element) {
        // The count is only known to fit in what is left of the stream, in
        // which an element takes two bytes and its QVariant far more: the
        // list grows as it fills rather than by the count.
        list.append(std::move(element));
        return Status();
    });
    if (!read)
        return Error{read.errorMessage()};
    return QVariant(list);
}

Status encodeSet(TypedStreamWriter &writer, const QVariant &value)
{
    const QVariantList list = value.toList();
    if (Status s = writer.encodeValueOfObjCType("I", uint(list.size())); !s)
        return s;
    for (const QVariant &element : list) {
        if (Status s = writer.encodeObject(element); !s)
            return s;
    }
    return {};
}

Status encodeDictionary(TypedStreamWriter &writer, const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<ArchivedDictionary>()) {
        const auto dictionary = value.value<ArchivedDictionary>();
        writer.encodeInt(qint32(dictionary.entries.size()));
        for (const auto &[key, entry] : dictionary.entries) {
            if (Status s = writer.encodeObject(key); !s)
                return s;
            if (Status s = writer.encodeObject(entry); !s)
                return s;
        }
        return {};
    }
    const QVariantMap map = value.toMap();
    writer.encodeInt(qint32(map.size()));
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (Status s = writer.encodeObject(it.key()); !s)
            return s;
        if (Status s = writer.encodeObject(it.value()); !s)
            return s;
    }
    return {};
}

Result<QVariant> decodeDictionary(TypedStreamDecoder &decoder)
{
    auto count = decodeCount(decoder, 2);
    if (!count)
        return Error{count.errorMessage()};
    ArchivedDictionary dictionary;
    bool stringKeys = true;
    for (qint64 i = 0; i < count.value(); ++i) {
        auto key = decoder.decodeObject();
        if (!key)
            return key;
        auto value = decoder.decodeObject();
        if (!value)
            return value;
        stringKeys = stringKeys && key.value().metaType().id() == QMetaType::QString;
        dictionary.entries.append({std::move(key).value(), std::move(value).value()});
    }
    // A dictionary keyed by anything but strings has no QVariantMap form.
    if (!stringKeys)
        return QVariant::fromValue(dictionary);
    QVariantMap map;
    for (const auto &[key, value] : std::as_const(dictionary.entries))
        map.insert(key.toString(), value);
    return QVariant(map);
}

// -- dates

double secondsSinceReferenceDate(const QDateTime &dateTime)
{
    return double(dateTime.toMSecsSinceEpoch() - kReferenceDateMSecs) / 1000.0;
}

Result<QDateTime> dateFromSeconds(const TypedStreamDecoder &decoder, double seconds)
{
    // QDateTime spans far more than this; beyond it the value is garbage, not a date.
    if (!std::isfinite(seconds) || std::abs(seconds) > 1e13)
        return malformed(decoder, QStringLiteral("date %1 out of range").arg(seconds));
    return QDateTime::fromMSecsSinceEpoch(
        qint64(std::llround(seconds * 1000.0)) + kReferenceDateMSecs, QTimeZone::utc());
}

Status encodeDate(TypedStreamWriter &writer, const QVariant &value)
{
    const QDateTime dateTime = value.toDateTime();
    if (!dateTime.isValid())
        return Error{QStringLiteral("Cannot archive an invalid date")};
    writer.encodeDouble(secondsSinceReferenceDate(dateTime));
    return {};
}

Result<QVariant> decodeDate(TypedStreamDecoder &decoder)
{
    auto seconds = decoder.decodeReal();
    if (!seconds)
        return Error{seconds.errorMessage()};
    auto date = dateFromSeconds(decoder, seconds.value());
    if (!date)
        return Error{date.errorMessage()};
    return QVariant(date.value());
}

TypedStreamObjectPtr stringNode(const QByteArray &utf8)
{
    auto object = std::make_shared<TypedStreamObject>();
    object->cls = std::make_shared<TypedStreamClass>(
        TypedStreamClass{"NSString", 1, std::make_shared<TypedStreamClass>(TypedStreamClass{"NSObject", 0, nullptr})});
    TypedStreamValue text;
    text.kind = TypedStreamValue::Kind::Bytes;
    text.bytes = utf8;
    object->groups.push_back({QByteArrayLiteral("+"), {text}});
    return object;
}

// A new calendar date carries the GMT zone, archived as NSTimeZone holding its name.
TypedStreamObjectPtr gmtTimeZone()
{
    auto zone = std::make_shared<TypedStreamObject>();
    zone->cls = std::make_shared<TypedStreamClass>(TypedStreamClass{
        "NSTimeZone", 0, std::make_shared<TypedStreamClass>(TypedStreamClass{"NSObject", 0, nullptr})});
    TypedStreamValue name;
    name.kind = TypedStreamValue::Kind::Object;
    name.object = stringNode("GMT");
    zone->groups.push_back({QByteArrayLiteral("@"), {name}});
    return zone;
}

Status encodeCalendarDate(TypedStreamWriter &writer, const QVariant &value)
{
    const auto date = value.value<ArchivedCalendarDate>();
    if (!date.dateTime.isValid())
        return Error{QStringLiteral("Cannot archive an invalid date")};
    writer.encodeDouble(secondsSinceReferenceDate(date.dateTime));
    const QVariant zone = date.timeZone.isValid() ? date.timeZone : QVariant::fromValue(gmtTimeZone());
    if (date.timeZoneFirst) {
        if (Status s = writer.encodeObject(zone); !s)
            return s;
        return writer.encodeObject(date.format);
    }
    if (Status s = writer.encodeObject(date.format); !s)
        return s;
    return writer.encodeObject(zone);
}

// The format and zone that follow a calendar date's moment, in either
// order; the string is the format, the zone is kept as read.
Status decodeCalendarDetails(TypedStreamDecoder &decoder, ArchivedCalendarDate &date)
{
    for (int i = 0; i < 2 && !decoder.atEnd(); ++i) {
        auto group = decoder.peekGroup();
        if (!group)
            return Error{group.errorMessage()};
        const TypedStreamGroupInfo &g = group.value();
        if (g.types != "@")
            return malformed(decoder, QStringLiteral("unexpected group \"%1\"").arg(QString::fromLatin1(g.types)));
        const auto &chain = g.classChain;
        if (std::find(chain.begin(), chain.end(), QByteArrayView("NSString")) != chain.end()) {
            auto format = decoder.decodeObject();
            if (!format)
                return Error{format.errorMessage()};
            date.format = format.value();
        } else {
            auto zone = decoder.decodeObjectAsRead();
            if (!zone)
                return Error{zone.errorMessage()};
            if (zone.value()) {
                date.timeZone = QVariant::fromValue(zone.value());
                date.timeZoneFirst = i == 0;
            }
        }
    }
    return {};
}

Result<QVariant> decodeCalendarDate(TypedStreamDecoder &decoder)
{
    auto seconds = decoder.decodeReal();
    if (!seconds)
        return Error{seconds.errorMessage()};
    auto dateTime = dateFromSeconds(decoder, seconds.value());
    if (!dateTime)
        return Error{dateTime.errorMessage()};
    ArchivedCalendarDate date;
    date.dateTime = dateTime.value();
    if (Status s = decodeCalendarDetails(decoder, date); !s)
        return Error{s.errorMessage()};
    return QVariant::fromValue(date);
}

} // namespace

Status TypedStreamStandardCoders::decodeArrayElements(
    TypedStreamDecoder &decoder, const std::function<Status(QVariant)> &element)
{
    // What the class's own coder would read as an array.
    const QByteArray coder = decoder.coderClassName();
    if (coder != "NSArray" && coder != "NSMutableArray" && coder != "NSSet")
        return Error{
            QStringLiteral("an array was expected, not an archived %1").arg(QString::fromLatin1(decoder.className()))};
    return decodeElements(decoder, element);
}

Result<QVariant> TypedStreamStandardCoders::decodeMoment(TypedStreamDecoder &decoder)
{
    // What the class's own coder would read as a date, checked as it checks it.
    const QByteArray coder = decoder.coderClassName();
    if (coder != "NSDate" && coder != "NSCalendarDate")
        return Error{
            QStringLiteral("a date was expected, not an archived %1").arg(QString::fromLatin1(decoder.className()))};
    auto seconds = decoder.decodeReal();
    if (!seconds)
        return Error{seconds.errorMessage()};
    auto date = dateFromSeconds(decoder, seconds.value());
    if (!date)
        return Error{date.errorMessage()};
    // A calendar date's format is decoded, as its coder would, so that a
    // broken one fails here too; its zone is read past.
    for (int i = 0; coder == "NSCalendarDate" && i < 2 && !decoder.atEnd(); ++i) {
        if (auto format = decoder.decodeObjectIfKindOf("NSString"); !format)
            return Error{format.errorMessage()};
    }
    return QVariant(date.value());
}

void TypedStreamStandardCoders::registerAll(TypedStreamRegistry &registry)
{
    const Superclasses stringSupers = {{"NSString", 1}, {"NSObject", 0}};
    registry.registerCoder(coder("NSString", 1, root(), encodeString, decodeString));
    registry.registerCoder(coder("NSMutableString", 1, stringSupers, encodeString, decodeString));
    registry.registerCoder(coder("NSValue", 0, root(), encodeValue, decodeValue));
    registry.registerCoder(coder("NSNumber", 0, {{"NSValue", 0}, {"NSObject", 0}}, encodeNumber, decodeNumber));
    registry.registerCoder(coder("NSData", 0, root(), encodeData, decodeData));
    registry.registerCoder(coder("NSMutableData", 0, {{"NSData", 0}, {"NSObject", 0}}, encodeData, decodeData));
    registry.registerCoder(coder("NSArray", 0, root(), encodeArray, decodeArray));
    registry.registerCoder(coder("NSMutableArray", 0, {{"NSArray", 0}, {"NSObject", 0}}, encodeArray, decodeArray));
    registry.registerCoder(coder("NSSet", 0, root(), encodeSet, [](TypedStreamDecoder &decoder) -> Result<QVariant> {
        // The count is 'I' here, but decodeArray reads any integer.
        return decodeArray(decoder);
    }));
    registry.registerCoder(coder("NSDictionary", 0, root(), encodeDictionary, decodeDictionary));
    registry.registerCoder(
        coder("NSMutableDictionary", 0, {{"NSDictionary", 0}, {"NSObject", 0}}, encodeDictionary, decodeDictionary));
    registry.registerCoder(coder("NSDate", 0, root(), encodeDate, decodeDate));
    registry.registerCoder(
        coder("NSCalendarDate", 0, {{"NSDate", 0}, {"NSObject", 0}}, encodeCalendarDate, decodeCalendarDate));
    registry.registerCoder(coder(
        "NSNull", 0, root(), [](TypedStreamWriter &, const QVariant &) { return Status(); },
        [](TypedStreamDecoder &) -> Result<QVariant> { return QVariant::fromValue(nullptr); }));

    registry.setDefaultClassName(QMetaType::QString, "NSString");
    registry.setDefaultClassName(QMetaType::QByteArray, "NSData");
    registry.setDefaultClassName(QMetaType::QVariantList, "NSMutableArray");
    registry.setDefaultClassName(QMetaType::QStringList, "NSMutableArray");
    registry.setDefaultClassName(QMetaType::QVariantMap, "NSMutableDictionary");
    registry.setDefaultClassName(QMetaType::QDateTime, "NSDate");
    for (int type : {QMetaType::Bool, QMetaType::Char, QMetaType::SChar, QMetaType::UChar, QMetaType::Short,
             QMetaType::UShort, QMetaType::Int, QMetaType::UInt, QMetaType::Long, QMetaType::ULong, QMetaType::LongLong,
             QMetaType::ULongLong, QMetaType::Float, QMetaType::Double})
        registry.setDefaultClassName(type, "NSNumber");
    registry.setDefaultClassName(qMetaTypeId<ArchivedDictionary>(), "NSMutableDictionary");
    registry.setDefaultClassName(QMetaType::Nullptr, "NSNull");
    registry.setDefaultClassName(qMetaTypeId<ArchivedValue>(), "NSValue");
    registry.setDefaultClassName(qMetaTypeId<ArchivedCalendarDate>(), "NSCalendarDate");
    registerAppKit(registry);
}
