#include "KeyedUnarchiver.h"

#include "ArchivedObject.h"
#include "PropertyList.h"

#include <QDateTime>
#include <QHash>
#include <QTimeZone>
#include <QUrl>
#include <QUuid>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace {

// Keyed-archive times count seconds from 2001-01-01 00:00:00 UTC.
const qint64 kReferenceDateMSecs = QDateTime(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc()).toMSecsSinceEpoch();

// About 300,000 years either way: far beyond any real date, well inside
// what QDateTime holds, so a hostile NS.time cannot overflow the conversion.
constexpr double kMaxAbsoluteSeconds = 1e13;

enum class Kind
{
    Plain,
    String,
    Data,
    Array,
    Dictionary,
    Date,
    Null,
    Url,
    Uuid,
    Generic
};

Kind knownKind(const QString &className)
{
    static const QHash<QString, Kind> kinds = {
        {QStringLiteral("NSString"), Kind::String},
        {QStringLiteral("NSMutableString"), Kind::String},
        {QStringLiteral("NSData"), Kind::Data},
        {QStringLiteral("NSMutableData"), Kind::Data},
        {QStringLiteral("NSArray"), Kind::Array},
        {QStringLiteral("NSMutableArray"), Kind::Array},
        {QStringLiteral("NSSet"), Kind::Array},
        {QStringLiteral("NSMutableSet"), Kind::Array},
        {QStringLiteral("NSOrderedSet"), Kind::Array},
        {QStringLiteral("NSMutableOrderedSet"), Kind::Array},
        {QStringLiteral("NSDictionary"), Kind::Dictionary},
        {QStringLiteral("NSMutableDictionary"), Kind::Dictionary},
        {QStringLiteral("NSDate"), Kind::Date},
        {QStringLiteral("NSCalendarDate"), Kind::Date},
        {QStringLiteral("NSNull"), Kind::Null},
        {QStringLiteral("NSURL"), Kind::Url},
        {QStringLiteral("NSUUID"), Kind::Uuid},
    };
    return kinds.value(className, Kind::Generic);
}

struct ClassInfo
{
    QString name;
    QStringList chain;
    Kind kind = Kind::Generic;
};

bool isUid(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<PropertyListUid>();
}

/** One pass over one archive's $objects; every slot is decoded at most once. */
class Decoder
{
public:
    explicit Decoder(int maximumDepth = KeyedUnarchiver::maximumDepth)
        : m_maximumDepth(maximumDepth)
    { }
    Status load(const QByteArray &data);
    Result<QVariantMap> decodeTop();
    [[nodiscard]] const QVariantMap &top() const { return m_top; }
    Result<QVariant> decodeTopEntry(const QVariant &entry) { return decodeInline(entry, 0); }

private:
    enum class State : quint8
    {
        Unvisited,
        InProgress,
        Done
    };

    Error fail(quint64 uid, const QString &message) const
    {
        return Error{QStringLiteral("Keyed archive, object %1: %2").arg(uid).arg(message)};
    }

    Result<QVariant> decodeUid(quint64 uid, int depth);
    Result<QVariant> decodeObject(quint64 uid, int depth);
    Result<ClassInfo> classOf(quint64 uid, const QVariantMap &object);
    Result<QVariant> decodeInline(const QVariant &value, int depth);
    Result<QVariantList> decodeUidList(quint64 uid, const QVariantMap &object, const QString &key, int depth);
    Result<QVariant> decodeWrapped(
        quint64 uid, const QVariantMap &object, const QString &key, QMetaType type, int depth);

    Result<QVariant> decodeDictionary(quint64 uid, const ClassInfo &info, const QVariantMap &object, int depth);
    Result<QVariant> decodeDate(quint64 uid, const QVariantMap &object);
    Result<QVariant> decodeUrl(quint64 uid, const QVariantMap &object, int depth);
    Result<QVariant> decodeGeneric(quint64 uid, const ClassInfo &info, const QVariantMap &object, int depth);

    int m_maximumDepth;
    QVariantMap m_top;
    QVariantList m_objects;
    std::vector<State> m_state;
    std::vector<Kind> m_kind;
    std::vector<QVariant> m_decoded;
    QHash<quint64, ClassInfo> m_classes;
};

Status Decoder::load(const QByteArray &data)
{
    auto parsed = PropertyList::fromData(data);
    if (!parsed)
        return Error{QStringLiteral("Keyed archive: ") + parsed.errorMessage()};
    const QVariantMap root = parsed.value().toMap();
    if (parsed.value().typeId() != QMetaType::QVariantMap)
        return Error{QStringLiteral("Keyed archive: the property list is not a dictionary")};
    const QVariant objects = root.value(QStringLiteral("$objects"));
    if (objects.typeId() != QMetaType::QVariantList)
        return Error{QStringLiteral("Keyed archive: \"$objects\" is missing or not an array")};
    const QVariant top = root.value(QStringLiteral("$top"));
    if (top.typeId() != QMetaType::QVariantMap)
        return Error{QStringLiteral("Keyed archive: \"$top\" is missing or not a dictionary")};
    m_objects = objects.toList();
    m_top = top.toMap();
    const auto count = size_t(m_objects.size());
    m_state.assign(count, State::Unvisited);
    m_kind.assign(count, Kind::Plain);
    m_decoded.assign(count, QVariant());
    return {};
}

Result<QVariantMap> Decoder::decodeTop()
{
    QVariantMap result;
    for (auto it = m_top.cbegin(); it != m_top.cend(); ++it) {
        auto value = decodeInline(it.value(), 0);
        if (!value)
            return Error{value.errorMessage()};
        result.insert(it.key(), std::move(value).value());
    }
    return result;
}

Result<QVariant> Decoder::decodeUid(quint64 uid, int depth)
{
    if (uid == 0)
        return QVariant();
    if (uid >= quint64(m_objects.size()))
        return Error{QStringLiteral("Keyed archive: reference to object %1, but there are only %2 objects")
                         .arg(uid)
                         .arg(m_objects.size())};
    switch (m_state[uid]) {
    case State::Done:
        return m_decoded[uid];
    case State::InProgress:
        // Objects pointing back at their container (a view's superview) are
        // normal; a collection inside itself has no value form.
        if (m_kind[uid] == Kind::Generic)
            return QVariant::fromValue(ArchivedBackReference{uid});
        return fail(uid, QStringLiteral("contains itself (a reference cycle)"));
    case State::Unvisited:
        break;
    }
    if (depth > m_maximumDepth)
        return fail(uid, QStringLiteral("objects are nested too deeply"));

    m_state[uid] = State::InProgress;
    auto value = decodeObject(uid, depth);
    if (!value)
        return value;
    m_state[uid] = State::Done;
    m_decoded[uid] = value.value();
    return value;
}

Result<QVariant> Decoder::decodeObject(quint64 uid, int depth)
{
    const QVariant &slot = m_objects.at(qsizetype(uid));
    switch (slot.typeId()) {
    case QMetaType::QString:
    case QMetaType::QByteArray:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Bool:
    case QMetaType::QDateTime:
        return slot;
    case QMetaType::QVariantMap:
        break;
    default:
        return fail(uid, QStringLiteral("is not an object (a %1)").arg(QString::fromLatin1(slot.typeName())));
    }

    const QVariantMap object = slot.toMap();
    if (object.contains(QStringLiteral("$classname")))
        return fail(uid, QStringLiteral("is a class description, not an object"));
    auto info = classOf(uid, object);
    if (!info)
        return Error{info.errorMessage()};
    const ClassInfo &cls = info.value();
    m_kind[uid] = cls.kind;

    switch (cls.kind) {
    case Kind::String:
        return decodeWrapped(uid, object, QStringLiteral("NS.string"), QMetaType::fromType<QString>(), depth);
    case Kind::Data:
        return decodeWrapped(uid, object, QStringLiteral("NS.data"), QMetaType::fromType<QByteArray>(), depth);
    case Kind::Array: {
        auto items = decodeUidList(uid, object, QStringLiteral("NS.objects"), depth);
        if (!items)
            return Error{items.errorMessage()};
        return QVariant(std::move(items).value());
    }
    case Kind::Dictionary:
        return decodeDictionary(uid, cls, object, depth);
    case Kind::Date:
        return decodeDate(uid, object);
    case Kind::Null:
        return QVariant::fromValue(nullptr);
    case Kind::Url:
        return decodeUrl(uid, object, depth);
    case Kind::Uuid: {
        const QVariant bytes = object.value(QStringLiteral("NS.uuidbytes"));
        if (bytes.typeId() != QMetaType::QByteArray || bytes.toByteArray().size() != 16)
            return fail(uid, QStringLiteral("NSUUID without 16 bytes of NS.uuidbytes"));
        return QVariant(QUuid::fromRfc4122(bytes.toByteArray()));
    }
    case Kind::Plain:
    case Kind::Generic:
        break;
    }
    return decodeGeneric(uid, cls, object, depth);
}

Result<ClassInfo> Decoder::classOf(quint64 uid, const QVariantMap &object)
{
    const QVariant classRef = object.value(QStringLiteral("$class"));
    if (!isUid(classRef))
        return fail(uid, QStringLiteral("has no \"$class\" reference"));
    const quint64 classUid = classRef.value<PropertyListUid>().value;
    if (const auto known = m_classes.constFind(classUid); known != m_classes.cend())
        return known.value();
    if (classUid == 0 || classUid >= quint64(m_objects.size()))
        return fail(uid, QStringLiteral("\"$class\" refers to object %1, which does not exist").arg(classUid));

    const QVariantMap description = m_objects.at(qsizetype(classUid)).toMap();
    const QVariant name = description.value(QStringLiteral("$classname"));
    if (name.typeId() != QMetaType::QString)
        return fail(
            uid, QStringLiteral("\"$class\" refers to object %1, which is not a class description").arg(classUid));

    ClassInfo info;
    info.name = name.toString();
    const QVariant classes = description.value(QStringLiteral("$classes"));
    if (classes.isValid()) {
        if (classes.typeId() != QMetaType::QVariantList)
            return fail(classUid, QStringLiteral("\"$classes\" is not an array"));
        for (const QVariant &entry : classes.toList()) {
            if (entry.typeId() != QMetaType::QString)
                return fail(classUid, QStringLiteral("\"$classes\" holds a non-string"));
            info.chain.append(entry.toString());
        }
    }
    if (info.chain.isEmpty())
        info.chain = QStringList{info.name};

    info.kind = knownKind(info.name);
    for (qsizetype i = 0; info.kind == Kind::Generic && i < info.chain.size(); ++i) {
        if (!info.chain[i].startsWith(QLatin1Char('%')))
            info.kind = knownKind(info.chain[i]);
    }
    m_classes.insert(classUid, info);
    return info;
}

Result<QVariant> Decoder::decodeInline(const QVariant &value, int depth)
{
    if (isUid(value))
        return decodeUid(value.value<PropertyListUid>().value, depth + 1);
    if (depth > m_maximumDepth)
        return Error{QStringLiteral("Keyed archive: inline values are nested too deeply")};
    if (value.typeId() == QMetaType::QVariantList) {
        QVariantList items;
        for (const QVariant &item : value.toList()) {
            auto decoded = decodeInline(item, depth + 1);
            if (!decoded)
                return decoded;
            items.append(std::move(decoded).value());
        }
        return QVariant(items);
    }
    if (value.typeId() == QMetaType::QVariantMap) {
        QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it) {
            auto decoded = decodeInline(it.value(), depth + 1);
            if (!decoded)
                return decoded;
            it.value() = std::move(decoded).value();
        }
        return QVariant(map);
    }
    return value;
}

Result<QVariantList> Decoder::decodeUidList(quint64 uid, const QVariantMap &object, const QString &key, int depth)
{
    const QVariant list = object.value(key);
    if (list.typeId() != QMetaType::QVariantList)
        return fail(uid, QStringLiteral("\"%1\" is missing or not an array").arg(key));
    QVariantList items;
    const QVariantList refs = list.toList();
    items.reserve(refs.size());
    for (const QVariant &ref : refs) {
        if (!isUid(ref))
            return fail(uid, QStringLiteral("\"%1\" holds something other than references").arg(key));
        auto item = decodeUid(ref.value<PropertyListUid>().value, depth + 1);
        if (!item)
            return Error{item.errorMessage()};
        items.append(std::move(item).value());
    }
    return items;
}

// Mutable strings and data keep their contents under one key, inline or by
// reference; older archives use "NS.bytes" (UTF-8 for strings).
Result<QVariant> Decoder::decodeWrapped(
    quint64 uid, const QVariantMap &object, const QString &key, QMetaType type, int depth)
{
    QVariant value = object.value(key);
    if (!value.isValid()) {
        const QVariant bytes = object.value(QStringLiteral("NS.bytes"));
        if (bytes.typeId() == QMetaType::QByteArray)
            value = type == QMetaType::fromType<QString>() ? QVariant(QString::fromUtf8(bytes.toByteArray())) : bytes;
    }
    if (isUid(value)) {
        auto target = decodeUid(value.value<PropertyListUid>().value, depth + 1);
        if (!target)
            return target;
        value = std::move(target).value();
    }
    if (value.metaType() != type)
        return fail(uid, QStringLiteral("\"%1\" is missing or not a %2").arg(key, QString::fromLatin1(type.name())));
    return value;
}

Result<QVariant> Decoder::decodeDictionary(quint64 uid, const ClassInfo &info, const QVariantMap &object, int depth)
{
    auto decodedKeys = decodeUidList(uid, object, QStringLiteral("NS.keys"), depth);
    if (!decodedKeys)
        return Error{decodedKeys.errorMessage()};
    const QVariantList keys = std::move(decodedKeys).value();
    const QVariant valueList = object.value(QStringLiteral("NS.objects"));
    const QVariantList refs = valueList.toList();
    if (valueList.typeId() != QMetaType::QVariantList || refs.size() != keys.size())
        return fail(uid, QStringLiteral("has %1 keys but no NS.objects array of as many values").arg(keys.size()));
    if (!std::all_of(refs.cbegin(), refs.cend(), isUid))
        return fail(uid, QStringLiteral("\"NS.objects\" holds something other than references"));

    // Values are read in key order, the order the archiver writes them in, so
    // that objects shared between entries meet their containers as they did here.
    const bool stringKeys = std::all_of(
        keys.cbegin(), keys.cend(), [](const QVariant &key) { return key.typeId() == QMetaType::QString; });
    std::vector<qsizetype> order(size_t(keys.size()));
    std::iota(order.begin(), order.end(), 0);
    if (stringKeys) {
        std::stable_sort(order.begin(), order.end(),
            [&keys](qsizetype a, qsizetype b) { return keys.at(a).toString() < keys.at(b).toString(); });
    }
    QVariantList values(keys.size());
    for (qsizetype index : order) {
        auto value = decodeUid(refs.at(index).value<PropertyListUid>().value, depth + 1);
        if (!value)
            return value;
        values[index] = std::move(value).value();
    }

    if (!stringKeys) {
        ArchivedObject dictionary(info.name, info.chain);
        dictionary.setInlineField(QStringLiteral("NS.keys"), keys);
        dictionary.setInlineField(QStringLiteral("NS.objects"), values);
        dictionary.setArchiveUid(uid);
        return QVariant::fromValue(dictionary);
    }
    QVariantMap map;
    for (qsizetype i = 0; i < keys.size(); ++i)
        map.insert(keys.at(i).toString(), values.at(i));
    return QVariant(map);
}

Result<QVariant> Decoder::decodeDate(quint64 uid, const QVariantMap &object)
{
    const QVariant time = object.value(QStringLiteral("NS.time"));
    if (time.typeId() != QMetaType::Double && time.typeId() != QMetaType::LongLong)
        return fail(uid, QStringLiteral("date without a numeric NS.time"));
    const double seconds = time.toDouble();
    if (!std::isfinite(seconds) || std::abs(seconds) > kMaxAbsoluteSeconds)
        return fail(uid, QStringLiteral("date out of range"));
    return QVariant(
        QDateTime::fromMSecsSinceEpoch(kReferenceDateMSecs + std::llround(seconds * 1000.0), QTimeZone::utc()));
}

Result<QVariant> Decoder::decodeUrl(quint64 uid, const QVariantMap &object, int depth)
{
    auto relative = decodeInline(object.value(QStringLiteral("NS.relative")), depth);
    if (!relative)
        return relative;
    if (relative.value().typeId() != QMetaType::QString)
        return fail(uid, QStringLiteral("URL without an NS.relative string"));
    auto base = decodeInline(object.value(QStringLiteral("NS.base")), depth);
    if (!base)
        return base;
    const QUrl url(relative.value().toString());
    if (base.value().typeId() == QMetaType::QUrl)
        return QVariant(base.value().toUrl().resolved(url));
    if (base.value().isValid())
        return fail(uid, QStringLiteral("URL whose NS.base is not a URL"));
    return QVariant(url);
}

Result<QVariant> Decoder::decodeGeneric(quint64 uid, const ClassInfo &info, const QVariantMap &object, int depth)
{
    ArchivedObject result(info.name, info.chain);
    result.setArchiveUid(uid);
    for (auto it = object.cbegin(); it != object.cend(); ++it) {
        if (it.key() == QLatin1String("$class"))
            continue;
        // The archiver escapes an object's own "$" keys with one more "$".
        const QString key = it.key().startsWith(QLatin1String("$$")) ? it.key().mid(1) : it.key();
        auto value = decodeInline(it.value(), depth);
        if (!value)
            return value;
        if (isUid(it.value()))
            result.setField(key, std::move(value).value());
        else
            result.setInlineField(key, std::move(value).value());
    }
    return QVariant::fromValue(result);
}

} // namespace

Result<QVariant> KeyedUnarchiver::unarchiveObjectWithData(const QByteArray &data)
{
    return unarchiveObjectWithData(data, maximumDepth);
}

Result<QVariant> KeyedUnarchiver::unarchiveObjectWithData(const QByteArray &data, int maximumDepth)
{
    Decoder decoder(maximumDepth);
    if (auto loaded = decoder.load(data); !loaded)
        return Error{loaded.errorMessage()};
    // Only the root is decoded: other top-level entries may be of no interest.
    for (const auto *key : {"root", "$0"}) {
        const auto entry = decoder.top().constFind(QString::fromLatin1(key));
        if (entry != decoder.top().cend())
            return decoder.decodeTopEntry(entry.value());
    }
    return Error{QStringLiteral("Keyed archive: \"$top\" has neither \"root\" nor \"$0\"")};
}

Result<QVariantMap> KeyedUnarchiver::unarchiveTopLevelObjectsWithData(const QByteArray &data)
{
    Decoder decoder;
    if (auto loaded = decoder.load(data); !loaded)
        return Error{loaded.errorMessage()};
    return decoder.decodeTop();
}
