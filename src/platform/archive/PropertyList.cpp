#include "PropertyList.h"

#include "BinaryPropertyList.h"
#include "XmlPropertyListReader.h"

#include <QStringList>

#include <plist/plist.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

namespace {

// The reference date of property-list dates: 2001-01-01 00:00:00 UTC.
constexpr qint64 kReferenceDateMSecs = 978'307'200'000;

// About 31,700 years either side of 2001. Within this range seconds stored
// as a double convert back to the same millisecond every time.
constexpr double kMaxDateSeconds = 1.0e12;

constexpr int kMaxDepth = BinaryPropertyList::kMaxDepth;

struct PlistDeleter
{
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

QDateTime dateTimeOf(const QVariant &value)
{
    return value.typeId() == QMetaType::QDate ? value.toDate().startOfDay(Qt::UTC) : value.toDateTime();
}

// libplist writes an integer above INT64_MAX as unsigned only when the node
// came from a 16-byte binary integer, and builds dates from 32-bit seconds
// (1933 to 2069). Values beyond either are handed over as the one-object
// binary property list our own writer makes of them.
Result<PlistPtr> nodeThroughBinary(const QVariant &scalar)
{
    auto bytes = BinaryPropertyList::write(scalar);
    if (!bytes)
        return Error{bytes.errorMessage()};
    plist_t node = nullptr;
    plist_from_bin(bytes.value().constData(), uint32_t(bytes.value().size()), &node);
    if (!node)
        return Error{QStringLiteral("The value %1 could not be converted for XML").arg(scalar.toString())};
    return PlistPtr(node);
}

// XML dates carry whole seconds; the platform drops the fraction (rounding
// down), while binary dates keep it.
Result<PlistPtr> xmlDateNode(const QDateTime &date)
{
    if (!PropertyList::secondsSinceReferenceDate(date))
        return Error{
            QStringLiteral("The date %1 cannot be written to a property list").arg(date.toString(Qt::ISODate))};
    const qint64 msecs = date.toMSecsSinceEpoch() - kReferenceDateMSecs;
    const qint64 seconds = msecs >= 0 ? msecs / 1000 : -((-msecs + 999) / 1000);
    if (seconds >= std::numeric_limits<int32_t>::min() && seconds <= std::numeric_limits<int32_t>::max())
        return PlistPtr(plist_new_date(int32_t(seconds), 0));
    const QDateTime whole = QDateTime::fromMSecsSinceEpoch(kReferenceDateMSecs + seconds * 1000, Qt::UTC);
    if (whole.date().year() < 1 || whole.date().year() > 9999)
        return Error{QStringLiteral("The date %1 lies outside the years 1 to 9999 that XML property lists hold")
                         .arg(date.toString(Qt::ISODate))};
    return nodeThroughBinary(whole);
}

Result<PlistPtr> toNode(const QVariant &value, int depth)
{
    switch (PropertyList::kindOf(value)) {
    case PropertyList::Kind::Boolean:
        return PlistPtr(plist_new_bool(value.toBool() ? 1 : 0));
    case PropertyList::Kind::Integer:
        return PlistPtr(plist_new_uint(uint64_t(value.toLongLong())));
    case PropertyList::Kind::UnsignedInteger:
        if (value.toULongLong() > quint64(std::numeric_limits<qint64>::max()))
            return nodeThroughBinary(value);
        return PlistPtr(plist_new_uint(value.toULongLong()));
    case PropertyList::Kind::Real:
        return PlistPtr(plist_new_real(value.toDouble()));
    case PropertyList::Kind::String:
        return PlistPtr(plist_new_string(value.toString().toUtf8().constData()));
    case PropertyList::Kind::Data: {
        const QByteArray bytes = value.toByteArray();
        return PlistPtr(plist_new_data(bytes.constData(), uint64_t(bytes.size())));
    }
    case PropertyList::Kind::Date:
        return xmlDateNode(dateTimeOf(value));
    case PropertyList::Kind::Uid:
        return PlistPtr(plist_new_uid(value.value<PropertyListUid>().value));
    case PropertyList::Kind::Array: {
        if (depth >= kMaxDepth)
            break;
        PlistPtr array(plist_new_array());
        const QVariantList items = value.toList();
        for (const QVariant &item : items) {
            auto node = toNode(item, depth + 1);
            if (!node)
                return node;
            plist_array_append_item(array.get(), std::move(node).value().release());
        }
        return array;
    }
    case PropertyList::Kind::Dictionary: {
        if (depth >= kMaxDepth)
            break;
        PlistPtr dict(plist_new_dict());
        const QVariantMap items = value.toMap();
        for (auto it = items.cbegin(); it != items.cend(); ++it) {
            auto node = toNode(it.value(), depth + 1);
            if (!node)
                return node;
            plist_dict_set_item(dict.get(), it.key().toUtf8().constData(), std::move(node).value().release());
        }
        return dict;
    }
    case PropertyList::Kind::None: {
        const char *typeName = value.metaType().name();
        return Error{QStringLiteral("A value of type %1 cannot be written to a property list")
                         .arg(typeName ? QString::fromLatin1(typeName) : QStringLiteral("null"))};
    }
    }
    return Error{QStringLiteral("The value is nested more than %1 levels deep").arg(kMaxDepth)};
}

bool isWritable(const QVariant &value, int depth)
{
    switch (PropertyList::kindOf(value)) {
    case PropertyList::Kind::None:
        return false;
    case PropertyList::Kind::Date:
        return PropertyList::secondsSinceReferenceDate(dateTimeOf(value)).has_value();
    case PropertyList::Kind::Array:
        if (depth >= kMaxDepth)
            return false;
        if (value.typeId() == QMetaType::QVariantList) {
            const auto &items = *static_cast<const QVariantList *>(value.constData());
            return std::all_of(
                items.cbegin(), items.cend(), [depth](const QVariant &item) { return isWritable(item, depth + 1); });
        }
        return true;
    case PropertyList::Kind::Dictionary: {
        if (depth >= kMaxDepth)
            return false;
        const QVariantMap items = value.toMap();
        return std::all_of(
            items.cbegin(), items.cend(), [depth](const QVariant &item) { return isWritable(item, depth + 1); });
    }
    default:
        return true;
    }
}

// The first byte that says which form the data is in: after a UTF-8 byte
// order mark and white space.
char leadingCharacter(const QByteArray &bytes)
{
    qsizetype at = bytes.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    while (at < bytes.size() && (bytes[at] == ' ' || bytes[at] == '\t' || bytes[at] == '\n' || bytes[at] == '\r'))
        ++at;
    return at < bytes.size() ? bytes[at] : '\0';
}

} // namespace

Result<QVariant> PropertyList::fromData(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return Error{QStringLiteral("The property list is empty")};
    if (BinaryPropertyList::hasSignature(bytes))
        return BinaryPropertyList::read(bytes);
    if (bytes.startsWith("\xFE\xFF") || bytes.startsWith("\xFF\xFE"))
        return XmlPropertyListReader::read(bytes);
    switch (leadingCharacter(bytes)) {
    case '<':
        return XmlPropertyListReader::read(bytes);
    case '{':
    case '(':
    case '"':
        return Error{QStringLiteral("Old-style text property lists (braces and parentheses) are not supported")};
    default:
        return Error{QStringLiteral("The data is neither a binary nor an XML property list")};
    }
}

Result<QByteArray> PropertyList::toData(const QVariant &value, Format format)
{
    if (format == Format::Binary)
        return BinaryPropertyList::write(value);

    auto node = toNode(value, 0);
    if (!node)
        return Error{node.errorMessage()};
    char *out = nullptr;
    uint32_t length = 0;
    plist_to_xml(node.value().get(), &out, &length);
    QByteArray bytes(out, qsizetype(length));
    plist_to_xml_free(out);
    if (bytes.isEmpty())
        return Error{QStringLiteral("The value could not be serialised as a property list")};
    return bytes;
}

bool PropertyList::isPropertyListValue(const QVariant &value)
{
    return isWritable(value, 0);
}

PropertyList::Kind PropertyList::kindOf(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return Kind::Boolean;
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::SChar:
        return Kind::Integer;
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return Kind::UnsignedInteger;
    case QMetaType::Double:
    case QMetaType::Float:
        return Kind::Real;
    case QMetaType::QString:
        return Kind::String;
    case QMetaType::QByteArray:
        return Kind::Data;
    case QMetaType::QDateTime:
    case QMetaType::QDate:
        return Kind::Date;
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
        return Kind::Array;
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
        return Kind::Dictionary;
    default:
        return value.metaType() == QMetaType::fromType<PropertyListUid>() ? Kind::Uid : Kind::None;
    }
}

std::optional<double> PropertyList::secondsSinceReferenceDate(const QDateTime &date)
{
    constexpr qint64 kLimit = qint64(kMaxDateSeconds) * 1000;
    if (!date.isValid())
        return std::nullopt;
    const qint64 msecs = date.toMSecsSinceEpoch();
    if (msecs < kReferenceDateMSecs - kLimit || msecs > kReferenceDateMSecs + kLimit)
        return std::nullopt;
    return double(msecs - kReferenceDateMSecs) / 1000.0;
}

std::optional<QDateTime> PropertyList::dateFromReferenceSeconds(double seconds)
{
    if (!std::isfinite(seconds) || std::abs(seconds) > kMaxDateSeconds)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(kReferenceDateMSecs + std::llround(seconds * 1000.0), Qt::UTC);
}
