#include "PropertyList.h"

#include <QDateTime>
#include <QTimeZone>

#include <plist/plist.h>

#include <cmath>
#include <limits>
#include <memory>

namespace {

// The reference date of property-list dates: 2001-01-01 00:00:00 UTC.
const qint64 kReferenceDateMSecs = QDateTime(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc()).toMSecsSinceEpoch();

// A parse can be fed hostile input; nesting is bounded to keep the recursion
// of the conversion (and its stack) finite.
constexpr int kMaxDepth = 512;

struct PlistDeleter
{
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

QString stringFromNode(plist_t node)
{
    uint64_t length = 0;
    const char *chars = plist_get_string_ptr(node, &length);
    return chars ? QString::fromUtf8(chars, qsizetype(length)) : QString();
}

Result<QVariant> toVariant(plist_t node, int depth)
{
    if (depth > kMaxDepth)
        return Error{QStringLiteral("The property list is nested too deeply")};

    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return QVariant(value != 0);
    }
    case PLIST_UINT: {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return QVariant(qint64(value));
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return QVariant(value);
    }
    case PLIST_STRING:
    case PLIST_KEY:
        return QVariant(stringFromNode(node));
    case PLIST_DATA: {
        uint64_t length = 0;
        const char *bytes = plist_get_data_ptr(node, &length);
        return QVariant(QByteArray(bytes, qsizetype(length)));
    }
    case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t microseconds = 0;
        plist_get_date_val(node, &seconds, &microseconds);
        // libplist splits the stored value into whole seconds truncated toward
        // zero and the fraction's magnitude, so before the reference date the
        // fraction counts backwards. (Within the one second before it, the
        // sign is lost; no real date falls there.)
        const qint64 fraction = microseconds / 1000;
        const qint64 msecs = kReferenceDateMSecs + qint64(seconds) * 1000 + (seconds < 0 ? -fraction : fraction);
        return QVariant(QDateTime::fromMSecsSinceEpoch(msecs, QTimeZone::utc()));
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return QVariant::fromValue(PropertyListUid{value});
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t count = plist_array_get_size(node);
        list.reserve(count);
        for (uint32_t i = 0; i < count; ++i) {
            auto item = toVariant(plist_array_get_item(node, i), depth + 1);
            if (!item)
                return item;
            list.append(std::move(item).value());
        }
        return QVariant(list);
    }
    case PLIST_DICT: {
        // XML has no UID element; keyed archives write a UID as a dictionary
        // whose only key is "CF$UID", and the platform reads it back as a UID.
        if (plist_dict_get_size(node) == 1) {
            plist_t uid = plist_dict_get_item(node, "CF$UID");
            if (uid && plist_get_node_type(uid) == PLIST_UINT) {
                uint64_t value = 0;
                plist_get_uint_val(uid, &value);
                return QVariant::fromValue(PropertyListUid{value});
            }
        }
        QVariantMap map;
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        for (;;) {
            char *key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, iter, &key, &value);
            if (!value) {
                free(key);
                break;
            }
            auto item = toVariant(value, depth + 1);
            const QString name = QString::fromUtf8(key);
            free(key);
            if (!item) {
                free(iter);
                return item;
            }
            map.insert(name, std::move(item).value());
        }
        free(iter);
        return QVariant(map);
    }
    case PLIST_NONE:
        break;
    }
    return Error{QStringLiteral("The property list holds a value of unknown type")};
}

Result<PlistPtr> toNode(const QVariant &value, PropertyList::Format format, int depth);

// XML dates carry whole seconds; the platform drops the fraction (rounding
// down), while binary dates keep it.
Result<PlistPtr> dateNode(const QDateTime &dateTime, PropertyList::Format format)
{
    if (!dateTime.isValid())
        return Error{QStringLiteral("An invalid date cannot be written to a property list")};
    const qint64 msecs = dateTime.toMSecsSinceEpoch() - kReferenceDateMSecs;
    const qint64 seconds = msecs >= 0 ? msecs / 1000 : -((-msecs + 999) / 1000);
    const qint64 microseconds = format == PropertyList::Format::Xml ? 0 : (msecs - seconds * 1000) * 1000;
    if (seconds < std::numeric_limits<int32_t>::min() || seconds > std::numeric_limits<int32_t>::max())
        return Error{QStringLiteral("The date %1 is out of the property-list range").arg(dateTime.toString(Qt::ISODate))};
    return PlistPtr(plist_new_date(int32_t(seconds), int32_t(microseconds)));
}

Result<PlistPtr> toNode(const QVariant &value, PropertyList::Format format, int depth)
{
    if (depth > kMaxDepth)
        return Error{QStringLiteral("The value is nested too deeply for a property list")};

    switch (value.typeId()) {
    case QMetaType::Bool:
        return PlistPtr(plist_new_bool(value.toBool() ? 1 : 0));
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::SChar:
        return PlistPtr(plist_new_uint(uint64_t(value.toLongLong())));
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return PlistPtr(plist_new_uint(value.toULongLong()));
    case QMetaType::Double:
    case QMetaType::Float:
        return PlistPtr(plist_new_real(value.toDouble()));
    case QMetaType::QString:
        return PlistPtr(plist_new_string(value.toString().toUtf8().constData()));
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return PlistPtr(plist_new_data(bytes.constData(), uint64_t(bytes.size())));
    }
    case QMetaType::QDateTime:
        return dateNode(value.toDateTime(), format);
    case QMetaType::QDate:
        return dateNode(value.toDate().startOfDay(QTimeZone::utc()), format);
    case QMetaType::QStringList:
    case QMetaType::QVariantList: {
        PlistPtr array(plist_new_array());
        const QVariantList items = value.toList();
        for (const QVariant &item : items) {
            auto node = toNode(item, format, depth + 1);
            if (!node)
                return node;
            plist_array_append_item(array.get(), std::move(node).value().release());
        }
        return array;
    }
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        PlistPtr dict(plist_new_dict());
        const QVariantMap items = value.toMap();
        for (auto it = items.cbegin(); it != items.cend(); ++it) {
            auto node = toNode(it.value(), format, depth + 1);
            if (!node)
                return node;
            plist_dict_set_item(dict.get(), it.key().toUtf8().constData(), std::move(node).value().release());
        }
        return dict;
    }
    default:
        if (value.metaType() == QMetaType::fromType<PropertyListUid>())
            return PlistPtr(plist_new_uid(value.value<PropertyListUid>().value));
        break;
    }
    const char *typeName = value.metaType().name();
    return Error{QStringLiteral("A value of type %1 cannot be written to a property list")
                     .arg(typeName ? QString::fromLatin1(typeName) : QStringLiteral("null"))};
}

} // namespace

Result<QVariant> PropertyList::fromData(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return Error{QStringLiteral("The property list is empty")};
    if (bytes.size() > qsizetype(std::numeric_limits<uint32_t>::max()))
        return Error{QStringLiteral("The property list is too large")};

    plist_t root = nullptr;
    const auto length = uint32_t(bytes.size());
    if (plist_is_binary(bytes.constData(), length))
        plist_from_bin(bytes.constData(), length, &root);
    else
        plist_from_xml(bytes.constData(), length, &root);
    if (!root)
        return Error{QStringLiteral("The data is not a readable property list")};

    PlistPtr owner(root);
    return toVariant(root, 0);
}

Result<QByteArray> PropertyList::toData(const QVariant &value, Format format)
{
    auto node = toNode(value, format, 0);
    if (!node)
        return Error{node.errorMessage()};

    char *out = nullptr;
    uint32_t length = 0;
    QByteArray bytes;
    if (format == Format::Xml) {
        plist_to_xml(node.value().get(), &out, &length);
        bytes = QByteArray(out, qsizetype(length));
        plist_to_xml_free(out);
    } else {
        plist_to_bin(node.value().get(), &out, &length);
        bytes = QByteArray(out, qsizetype(length));
        plist_to_bin_free(out);
    }
    if (bytes.isEmpty())
        return Error{QStringLiteral("The value could not be serialised as a property list")};
    return bytes;
}

bool PropertyList::isPropertyListValue(const QVariant &value)
{
    return toNode(value, Format::Binary, 0).ok();
}
