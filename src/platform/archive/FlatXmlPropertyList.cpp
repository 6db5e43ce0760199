#include "FlatXmlPropertyList.h"

#include "PropertyList.h"

#include <plist/plist.h>

#include <QDateTime>
#include <QTimeZone>

#include <cstdlib>
#include <memory>
#include <optional>

namespace FlatXmlPropertyList {
namespace {

// Every opening of a container counts, wherever it stands (in a comment
// too): the count can only be too high, never hide nesting from the check.
// Character references and NUL bytes are left to the general reader as well:
// libplist asserts (and so aborts) on a string or key holding a NUL, and the
// lists it writes itself have neither.
bool qualifies(const QByteArray &bytes)
{
    const QByteArrayView view(bytes);
    if (view.contains('\0') || view.contains("&#"))
        return false;
    qsizetype containers = 0;
    for (qsizetype at = view.indexOf('<'); at >= 0; at = view.indexOf('<', at + 1)) {
        const QByteArrayView tag = view.sliced(at + 1, std::min<qsizetype>(5, view.size() - at - 1));
        if ((tag.startsWith("dict") || tag.startsWith("array")) && ++containers > kMaximumContainers)
            return false;
    }
    return true;
}

struct Freer
{
    void operator()(char *text) const { std::free(text); }
};

std::optional<QVariant> toVariant(plist_t node)
{
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
    case PLIST_STRING: {
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        return QVariant(text ? QString::fromUtf8(text, qsizetype(length)) : QString(QLatin1String("")));
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char *data = plist_get_data_ptr(node, &length);
        return QVariant(data ? QByteArray(data, qsizetype(length)) : QByteArray(""));
    }
    case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t microseconds = 0;
        plist_get_date_val(node, &seconds, &microseconds);
        const QDateTime reference(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc());
        return QVariant(reference.addMSecs(qint64(seconds) * 1000 + microseconds / 1000));
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return QVariant::fromValue(PropertyListUid{value});
    }
    case PLIST_ARRAY: {
        QVariantList items;
        const uint32_t count = plist_array_get_size(node);
        items.reserve(count);
        for (uint32_t i = 0; i < count; ++i) {
            std::optional<QVariant> item = toVariant(plist_array_get_item(node, i));
            if (!item)
                return std::nullopt;
            items.append(std::move(*item));
        }
        return QVariant(items);
    }
    case PLIST_DICT: {
        QVariantMap entries;
        plist_dict_iter iterator = nullptr;
        plist_dict_new_iter(node, &iterator);
        for (;;) {
            char *rawKey = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, iterator, &rawKey, &value);
            const std::unique_ptr<char, Freer> key(rawKey);
            if (!value)
                break;
            std::optional<QVariant> item = toVariant(value);
            if (!item) {
                std::free(iterator);
                return std::nullopt;
            }
            entries.insert(QString::fromUtf8(key.get()), std::move(*item));
        }
        std::free(iterator);
        return QVariant(entries);
    }
    default:
        return std::nullopt;
    }
}

} // namespace

Result<QVariant> read(const QByteArray &bytes)
{
    if (bytes.size() > 0 && bytes.size() < std::numeric_limits<uint32_t>::max() && qualifies(bytes)) {
        plist_t root = nullptr;
        plist_from_xml(bytes.constData(), uint32_t(bytes.size()), &root);
        if (root) {
            std::optional<QVariant> value = toVariant(root);
            plist_free(root);
            if (value)
                return std::move(*value);
        }
    }
    return PropertyList::fromData(bytes);
}

} // namespace FlatXmlPropertyList
