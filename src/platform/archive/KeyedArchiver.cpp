#include "KeyedArchiver.h"

#include "ArchivedObject.h"

#include <QDateTime>
#include <QHash>
#include <QStringList>
#include <QTimeZone>
#include <QUrl>
#include <QUuid>

#include <limits>
#include <map>
#include <optional>
#include <utility>

namespace {

// Keyed-archive times count seconds from 2001-01-01 00:00:00 UTC.
const qint64 kReferenceDateMSecs = QDateTime(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc()).toMSecsSinceEpoch();

QVariant uid(quint64 value)
{
    return QVariant::fromValue(PropertyListUid{value});
}

QStringList chainOf(const char *className, const char *superclass = nullptr)
{
    QStringList chain{QString::fromLatin1(className)};
    if (superclass)
        chain.append(QString::fromLatin1(superclass));
    chain.append(QStringLiteral("NSObject"));
    return chain;
}

/** The bytes that identify a plain value among the uniqued ones: a type tag, then the value. */
template<typename T> QByteArray uniqueKey(char tag, const T &value)
{
    QByteArray key(1, tag);
    key.append(reinterpret_cast<const char *>(&value), sizeof value);
    return key;
}

/** Integers of every width, normalised to the two forms a property list holds. */
std::optional<QVariant> plainInteger(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return QVariant(value.toLongLong());
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::UChar:
    case QMetaType::ULong:
    case QMetaType::ULongLong: {
        const quint64 number = value.toULongLong();
        if (number > quint64(std::numeric_limits<qint64>::max()))
            return QVariant(number);
        return QVariant(qint64(number));
    }
    default:
        return std::nullopt;
    }
}

class Encoder
{
public:
    explicit Encoder(const KeyedArchiver::Options &options)
        : m_options(options)
    {
        m_objects.append(QStringLiteral("$null"));
    }

    Result<QVariant> encode(const QVariant &value, int depth);
    [[nodiscard]] Result<QByteArray> finish(const QVariantMap &top) const;

private:
    quint64 reserve()
    {
        m_objects.append(QVariant());
        return quint64(m_objects.size() - 1);
    }
    void fill(quint64 slot, QVariantMap object, const QStringList &chain)
    {
        object.insert(QStringLiteral("$class"), classUid(chain));
        m_objects[qsizetype(slot)] = std::move(object);
    }
    QVariant classUid(const QStringList &chain);
    QVariant uniqued(const QByteArray &key, const QVariant &plain);
    QVariant wrapped(char tag, const QByteArray &bytes, const QVariant &plain, const char *className,
        const char *superclass, const QString &field);

    Result<QVariant> encodeList(const QVariantList &list, const void *identity, int depth);
    Result<QVariant> encodeMap(const QVariantMap &map, const void *identity, int depth);
    Result<QVariant> encodeObject(const ArchivedObject &object, int depth);
    Result<QVariant> encodeInline(const QVariant &value, int depth);
    QVariant encodeDate(const QDateTime &date);
    Result<QVariant> encodeUrl(const QUrl &url, int depth);
    QVariant encodeSimple(const char *className, const QVariantMap &fields);

    KeyedArchiver::Options m_options;
    QVariantList m_objects;
    QHash<QByteArray, quint64> m_uniqued;
    QHash<QStringList, quint64> m_classes;
    // Shared copies of one container: its data pointer, and for lists the size.
    std::map<std::pair<const void *, qsizetype>, quint64> m_shared;
    // Objects read from an archive that are being written, by their old slot:
    // back references inside them point there.
    QHash<quint64, quint64> m_open;
};

QVariant Encoder::classUid(const QStringList &chain)
{
    if (const auto known = m_classes.constFind(chain); known != m_classes.cend())
        return uid(known.value());
    m_objects.append(QVariantMap{{QStringLiteral("$classname"), chain.first()}, {QStringLiteral("$classes"), chain}});
    const auto slot = quint64(m_objects.size() - 1);
    m_classes.insert(chain, slot);
    return uid(slot);
}

QVariant Encoder::uniqued(const QByteArray &key, const QVariant &plain)
{
    if (const auto known = m_uniqued.constFind(key); known != m_uniqued.cend())
        return uid(known.value());
    m_objects.append(plain);
    const auto slot = quint64(m_objects.size() - 1);
    m_uniqued.insert(key, slot);
    return uid(slot);
}

QVariant Encoder::wrapped(char tag, const QByteArray &bytes, const QVariant &plain, const char *className,
    const char *superclass, const QString &field)
{
    QByteArray key(1, tag);
    key.append(bytes);
    if (const auto known = m_uniqued.constFind(key); known != m_uniqued.cend())
        return uid(known.value());
    const quint64 slot = reserve();
    m_uniqued.insert(key, slot);
    fill(slot, QVariantMap{{field, plain}}, chainOf(className, superclass));
    return uid(slot);
}

Result<QVariant> Encoder::encode(const QVariant &value, int depth)
{
    if (depth > m_options.maximumDepth)
        return Error{QStringLiteral("Keyed archive: the value is nested too deeply")};
    if (!value.isValid())
        return uid(0);
    if (auto integer = plainInteger(value)) {
        if (integer->typeId() == QMetaType::LongLong)
            return uniqued(uniqueKey('I', integer->toLongLong()), *integer);
        return uniqued(uniqueKey('U', integer->toULongLong()), *integer);
    }

    switch (value.typeId()) {
    case QMetaType::QString: {
        const QString text = value.toString();
        const QByteArray bytes(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
        if (m_options.wrapStrings)
            return wrapped('s', bytes, text, "NSMutableString", "NSString", QStringLiteral("NS.string"));
        return uniqued('S' + bytes, text);
    }
    case QMetaType::QByteArray: {
        const QByteArray data = value.toByteArray();
        if (m_options.wrapData)
            return wrapped('x', data, data, "NSMutableData", "NSData", QStringLiteral("NS.data"));
        return uniqued('X' + data, data);
    }
    case QMetaType::Bool:
        return uniqued(uniqueKey('B', value.toBool()), value.toBool());
    case QMetaType::Double:
    case QMetaType::Float:
        return uniqued(uniqueKey('D', value.toDouble()), value.toDouble());
    case QMetaType::QDateTime:
        if (!value.toDateTime().isValid())
            return Error{QStringLiteral("Keyed archive: cannot archive an invalid date")};
        return encodeDate(value.toDateTime());
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        return encodeList(list, list.isEmpty() ? nullptr : list.constData(), depth);
    }
    case QMetaType::QStringList:
        return encodeList(QVariant(value.toStringList()).toList(), nullptr, depth);
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        return encodeMap(map, map.isEmpty() ? nullptr : &map.constBegin().value(), depth);
    }
    case QMetaType::QVariantHash:
        return encodeMap(value.toMap(), nullptr, depth);
    case QMetaType::QUrl:
        return encodeUrl(value.toUrl(), depth);
    case QMetaType::QUuid:
        return encodeSimple("NSUUID", {{QStringLiteral("NS.uuidbytes"), value.toUuid().toRfc4122()}});
    case QMetaType::Nullptr:
        // NSNull is a singleton: one object however often it appears.
        if (const auto known = m_uniqued.constFind(QByteArrayLiteral("N")); known != m_uniqued.cend())
            return uid(known.value());
        m_uniqued.insert(QByteArrayLiteral("N"), quint64(m_objects.size()));
        return encodeSimple("NSNull", {});
    default:
        break;
    }
    if (value.metaType() == QMetaType::fromType<ArchivedObject>())
        return encodeObject(value.value<ArchivedObject>(), depth);
    if (value.metaType() == QMetaType::fromType<ArchivedBackReference>()) {
        const auto target = m_open.constFind(value.value<ArchivedBackReference>().uid);
        if (target == m_open.cend())
            return Error{QStringLiteral("Keyed archive: a back reference to object %1 outside the objects that hold it")
                             .arg(value.value<ArchivedBackReference>().uid)};
        return uid(target.value());
    }
    return Error{QStringLiteral("Keyed archive: cannot archive a value of type %1")
                     .arg(QString::fromLatin1(value.metaType().name()))};
}

Result<QVariant> Encoder::encodeList(const QVariantList &list, const void *identity, int depth)
{
    const auto key = std::make_pair(identity, list.size());
    if (identity) {
        if (const auto known = m_shared.find(key); known != m_shared.end())
            return uid(known->second);
    }
    const quint64 slot = reserve();
    if (identity)
        m_shared.emplace(key, slot);
    QVariantList refs;
    refs.reserve(list.size());
    for (const QVariant &item : list) {
        auto ref = encode(item, depth + 1);
        if (!ref)
            return ref;
        refs.append(std::move(ref).value());
    }
    fill(slot, QVariantMap{{QStringLiteral("NS.objects"), refs}},
        m_options.mutableContainers ? chainOf("NSMutableArray", "NSArray") : chainOf("NSArray"));
    return uid(slot);
}

Result<QVariant> Encoder::encodeMap(const QVariantMap &map, const void *identity, int depth)
{
    const auto key = std::make_pair(identity, qsizetype(-1));
    if (identity) {
        if (const auto known = m_shared.find(key); known != m_shared.end())
            return uid(known->second);
    }
    const quint64 slot = reserve();
    if (identity)
        m_shared.emplace(key, slot);
    QVariantList keys;
    QVariantList values;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        keys.append(
            uniqued('S' + QByteArray(reinterpret_cast<const char *>(it.key().utf16()), it.key().size() * 2), it.key()));
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        auto ref = encode(it.value(), depth + 1);
        if (!ref)
            return ref;
        values.append(std::move(ref).value());
    }
    fill(slot, QVariantMap{{QStringLiteral("NS.keys"), keys}, {QStringLiteral("NS.objects"), values}},
        m_options.mutableContainers ? chainOf("NSMutableDictionary", "NSDictionary") : chainOf("NSDictionary"));
    return uid(slot);
}

Result<QVariant> Encoder::encodeObject(const ArchivedObject &object, int depth)
{
    const auto key = std::make_pair(object.identity(), qsizetype(-1));
    if (const auto known = m_shared.find(key); known != m_shared.end())
        return uid(known->second);
    if (object.className().isEmpty())
        return Error{QStringLiteral("Keyed archive: an object without a class name")};
    const quint64 slot = reserve();
    m_shared.emplace(key, slot);
    // Objects from different archives may share old slot numbers: the
    // innermost one answers back references, the outer one returns after it.
    const std::optional<quint64> outer = m_open.contains(object.archiveUid())
        ? std::optional<quint64>(m_open.value(object.archiveUid()))
        : std::nullopt;
    if (object.archiveUid() != 0)
        m_open.insert(object.archiveUid(), slot);

    QVariantMap fields;
    for (auto it = object.fields().cbegin(); it != object.fields().cend(); ++it) {
        auto value = object.isInline(it.key()) ? encodeInline(it.value(), depth + 1) : encode(it.value(), depth + 1);
        if (!value)
            return value;
        const QString name = it.key().startsWith(QLatin1Char('$')) ? QLatin1Char('$') + it.key() : it.key();
        fields.insert(name, std::move(value).value());
    }
    if (outer)
        m_open.insert(object.archiveUid(), *outer);
    else
        m_open.remove(object.archiveUid());
    QStringList chain = object.classChain();
    if (chain.isEmpty())
        chain = QStringList{object.className()};
    else if (chain.first() != object.className())
        chain.prepend(object.className());
    fill(slot, fields, chain);
    return uid(slot);
}

// Inline fields hold their primitive value itself; lists and maps among
// them hold references, as NS.objects does.
Result<QVariant> Encoder::encodeInline(const QVariant &value, int depth)
{
    if (auto integer = plainInteger(value))
        return *integer;
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Double:
    case QMetaType::QByteArray:
    case QMetaType::QString:
    case QMetaType::QDateTime:
        return value;
    case QMetaType::Float:
        return QVariant(value.toDouble());
    case QMetaType::QVariantList: {
        QVariantList refs;
        for (const QVariant &item : value.toList()) {
            auto ref = encode(item, depth + 1);
            if (!ref)
                return ref;
            refs.append(std::move(ref).value());
        }
        return QVariant(refs);
    }
    case QMetaType::QVariantMap: {
        QVariantMap refs;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            auto ref = encode(it.value(), depth + 1);
            if (!ref)
                return ref;
            refs.insert(it.key(), std::move(ref).value());
        }
        return QVariant(refs);
    }
    default:
        return Error{QStringLiteral("Keyed archive: an inline field cannot hold a value of type %1")
                         .arg(QString::fromLatin1(value.metaType().name()))};
    }
}

QVariant Encoder::encodeDate(const QDateTime &date)
{
    const double seconds = double(date.toMSecsSinceEpoch() - kReferenceDateMSecs) / 1000.0;
    return encodeSimple("NSDate", {{QStringLiteral("NS.time"), seconds}});
}

Result<QVariant> Encoder::encodeUrl(const QUrl &url, int depth)
{
    const quint64 slot = reserve();
    auto relative = encode(url.toString(QUrl::FullyEncoded), depth + 1);
    if (!relative)
        return relative;
    fill(slot, QVariantMap{{QStringLiteral("NS.base"), uid(0)}, {QStringLiteral("NS.relative"), relative.value()}},
        chainOf("NSURL"));
    return uid(slot);
}

QVariant Encoder::encodeSimple(const char *className, const QVariantMap &fields)
{
    const quint64 slot = reserve();
    fill(slot, fields, chainOf(className));
    return uid(slot);
}

Result<QByteArray> Encoder::finish(const QVariantMap &top) const
{
    const QVariantMap archive{
        {QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
        {QStringLiteral("$version"), qint64(100000)},
        {QStringLiteral("$top"), top},
        {QStringLiteral("$objects"), m_objects},
    };
    auto bytes = PropertyList::toData(archive, m_options.format);
    if (!bytes)
        return Error{QStringLiteral("Keyed archive: ") + bytes.errorMessage()};
    return bytes;
}

} // namespace

Result<QByteArray> KeyedArchiver::archivedDataWithRootObject(const QVariant &root) const
{
    return archivedDataWithTopLevelObjects({{QStringLiteral("root"), root}});
}

Result<QByteArray> KeyedArchiver::archivedDataWithTopLevelObjects(const QVariantMap &top) const
{
    Encoder encoder(m_options);
    QVariantMap refs;
    for (auto it = top.cbegin(); it != top.cend(); ++it) {
        auto ref = encoder.encode(it.value(), 0);
        if (!ref)
            return Error{ref.errorMessage()};
        refs.insert(it.key(), std::move(ref).value());
    }
    return encoder.finish(refs);
}
