// Writing binary property lists; reading is in BinaryPropertyList.cpp.
#include "BinaryPropertyList.h"

#include "PropertyList.h"

#include <QDateTime>
#include <QHashFunctions>
#include <QStringList>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

namespace {

constexpr quint64 kHeaderSize = 8;
constexpr quint64 kTrailerSize = 32;

uchar *storeBigEndian(uchar *out, quint64 value, int size)
{
    switch (size) {
    case 1:
        *out = uchar(value);
        break;
    case 2:
        qToBigEndian(quint16(value), out);
        break;
    case 4:
        qToBigEndian(quint32(value), out);
        break;
    default:
        qToBigEndian(value, out);
        break;
    }
    return out + size;
}

// The smallest of 1, 2, 4 and 8 bytes that holds @p value.
int byteCount(quint64 value)
{
    if (value <= 0xFF)
        return 1;
    if (value <= 0xFFFF)
        return 2;
    if (value <= 0xFFFFFFFF)
        return 4;
    return 8;
}

class Writer
{
public:
    Result<QByteArray> write(const QVariant &root)
    {
        quint32 index = 0;
        if (!add(root, 0, index))
            return Error{m_error};
        return serialise();
    }

private:
    enum class Type : quint8
    {
        False,
        True,
        Integer,
        BigInteger,
        Real,
        Date,
        String,
        Data,
        Uid,
        Array,
        Dictionary
    };

    // One object of the file. Scalars hold their value (or, for strings and
    // data, a pointer into the value being written, which outlives the
    // writer); containers hold where their references start in m_refs.
    struct Object
    {
        quint64 payload = 0;
        quint32 size = 0;
        Type type = Type::False;
        bool ascii = false;
    };

    struct Slot
    {
        quint32 indexPlusOne = 0;
        quint32 hash = 0;
    };

    bool fail(const QString &message)
    {
        m_error = message;
        return false;
    }

    static size_t hashOf(const Object &object)
    {
        switch (object.type) {
        case Type::String:
            return qHash(QStringView(reinterpret_cast<const QChar *>(object.payload), object.size));
        case Type::Data:
            return qHashBits(reinterpret_cast<const void *>(object.payload), object.size);
        default:
            return size_t((object.payload ^ (quint64(object.type) << 56)) * 0x9E3779B97F4A7C15ull >> 17);
        }
    }

    static bool sameValue(const Object &a, const Object &b)
    {
        if (a.type != b.type)
            return false;
        if (a.type == Type::String || a.type == Type::Data) {
            const size_t bytes = a.type == Type::String ? size_t(a.size) * 2 : a.size;
            return a.size == b.size
                && std::memcmp(
                       reinterpret_cast<const void *>(a.payload), reinterpret_cast<const void *>(b.payload), bytes)
                == 0;
        }
        return a.payload == b.payload;
    }

    bool append(const Object &object, quint32 &index)
    {
        if (m_objects.size() >= std::numeric_limits<quint32>::max())
            return fail(QStringLiteral("The value has too many objects for a property list"));
        index = quint32(m_objects.size());
        m_objects.push_back(object);
        return true;
    }

    // Scalars equal in type and value become one object, as the platform's
    // writer does for strings, numbers, dates and data. (It also writes a
    // new, unreferenced copy of every further true, false and UID; those are
    // simply shared here.)
    bool intern(Object object, quint32 &index)
    {
        if (m_table.empty())
            m_table.resize(1024);
        const auto hash = quint32(hashOf(object));
        size_t mask = m_table.size() - 1;
        size_t slot = hash & mask;
        for (; m_table[slot].indexPlusOne != 0; slot = (slot + 1) & mask) {
            const Slot &entry = m_table[slot];
            if (entry.hash == hash && sameValue(m_objects[entry.indexPlusOne - 1], object)) {
                index = entry.indexPlusOne - 1;
                return true;
            }
        }
        if (object.type == Type::String)
            object.ascii = isAscii(reinterpret_cast<const char16_t *>(object.payload), object.size);
        if (!append(object, index))
            return false;
        m_table[slot] = Slot{index + 1, hash};
        if (++m_interned * 2 > m_table.size()) {
            std::vector<Slot> larger(m_table.size() * 2);
            mask = larger.size() - 1;
            for (const Slot &entry : m_table) {
                if (entry.indexPlusOne == 0)
                    continue;
                size_t at = entry.hash & mask;
                while (larger[at].indexPlusOne != 0)
                    at = (at + 1) & mask;
                larger[at] = entry;
            }
            m_table.swap(larger);
        }
        return true;
    }

    static bool isAscii(const char16_t *chars, quint32 size)
    {
        char16_t all = 0;
        for (quint32 i = 0; i < size; ++i)
            all |= chars[i];
        return all < 0x80;
    }

    bool addString(const QString &string, quint32 &index)
    {
        if (quint64(string.size()) > std::numeric_limits<quint32>::max())
            return fail(QStringLiteral("A string of %1 characters is too long for a property list").arg(string.size()));
        return intern(
            Object{quint64(reinterpret_cast<quintptr>(string.constData())), quint32(string.size()), Type::String},
            index);
    }

    // Reserves the container's block of references before its children are
    // numbered, so that the numbering stays depth first from the root.
    bool beginContainer(Type type, qsizetype count, int depth, quint32 &index, size_t &refs)
    {
        if (depth >= BinaryPropertyList::kMaxDepth)
            return fail(
                QStringLiteral("The value is nested more than %1 levels deep").arg(BinaryPropertyList::kMaxDepth));
        if (quint64(count) > std::numeric_limits<quint32>::max())
            return fail(QStringLiteral("A container of %1 items is too large for a property list").arg(count));
        refs = m_refs.size();
        m_refs.resize(refs + size_t(count) * (type == Type::Dictionary ? 2 : 1));
        return append(Object{refs, quint32(count), type}, index);
    }

    template<typename Entries> bool addDictionary(const Entries &entries, qsizetype count, int depth, quint32 &index)
    {
        size_t refs = 0;
        if (!beginContainer(Type::Dictionary, count, depth, index, refs))
            return false;
        size_t at = refs;
        for (const auto &entry : entries) {
            quint32 key = 0;
            if (!addString(entry.first, key))
                return false;
            m_refs[at++] = key;
        }
        for (const auto &entry : entries) {
            quint32 value = 0;
            if (!add(entry.second, depth + 1, value))
                return false;
            m_refs[at++] = value;
        }
        return true;
    }

    bool add(const QVariant &value, int depth, quint32 &index)
    {
        switch (PropertyList::kindOf(value)) {
        case PropertyList::Kind::Boolean:
            return intern(Object{0, 0, value.toBool() ? Type::True : Type::False}, index);
        case PropertyList::Kind::Integer:
            return intern(Object{quint64(value.toLongLong()), 0, Type::Integer}, index);
        case PropertyList::Kind::UnsignedInteger: {
            const quint64 number = value.toULongLong();
            const bool big = number > quint64(std::numeric_limits<qint64>::max());
            return intern(Object{number, 0, big ? Type::BigInteger : Type::Integer}, index);
        }
        case PropertyList::Kind::Real: {
            const double number = value.toDouble();
            quint64 bits = 0;
            std::memcpy(&bits, &number, sizeof bits);
            return intern(Object{bits, 0, Type::Real}, index);
        }
        case PropertyList::Kind::Date: {
            const QDateTime date
                = value.typeId() == QMetaType::QDate ? value.toDate().startOfDay(Qt::UTC) : value.toDateTime();
            const auto seconds = PropertyList::secondsSinceReferenceDate(date);
            if (!seconds)
                return fail(QStringLiteral("The date %1 cannot be written to a property list").arg(value.toString()));
            quint64 bits = 0;
            std::memcpy(&bits, &*seconds, sizeof bits);
            return intern(Object{bits, 0, Type::Date}, index);
        }
        case PropertyList::Kind::String:
            return addString(*static_cast<const QString *>(value.constData()), index);
        case PropertyList::Kind::Data: {
            const auto &bytes = *static_cast<const QByteArray *>(value.constData());
            if (quint64(bytes.size()) > std::numeric_limits<quint32>::max())
                return fail(QStringLiteral("Data of %1 bytes is too long for a property list").arg(bytes.size()));
            return intern(
                Object{quint64(reinterpret_cast<quintptr>(bytes.constData())), quint32(bytes.size()), Type::Data},
                index);
        }
        case PropertyList::Kind::Uid:
            return intern(Object{static_cast<const PropertyListUid *>(value.constData())->value, 0, Type::Uid}, index);
        case PropertyList::Kind::Array:
            if (value.typeId() == QMetaType::QStringList) {
                const auto &list = *static_cast<const QStringList *>(value.constData());
                size_t refs = 0;
                if (!beginContainer(Type::Array, list.size(), depth, index, refs))
                    return false;
                for (const QString &item : list) {
                    quint32 child = 0;
                    if (!addString(item, child))
                        return false;
                    m_refs[refs++] = child;
                }
            } else {
                const auto &list = *static_cast<const QVariantList *>(value.constData());
                size_t refs = 0;
                if (!beginContainer(Type::Array, list.size(), depth, index, refs))
                    return false;
                for (const QVariant &item : list) {
                    quint32 child = 0;
                    if (!add(item, depth + 1, child))
                        return false;
                    m_refs[refs++] = child;
                }
            }
            return true;
        case PropertyList::Kind::Dictionary:
            if (value.typeId() == QMetaType::QVariantHash) {
                // Written in key order, as a map would be, so that equal
                // values always give equal bytes.
                const auto &hash = *static_cast<const QVariantHash *>(value.constData());
                std::vector<std::pair<QString, QVariant>> entries;
                entries.reserve(size_t(hash.size()));
                for (auto it = hash.cbegin(); it != hash.cend(); ++it)
                    entries.emplace_back(it.key(), it.value());
                std::sort(
                    entries.begin(), entries.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
                return addDictionary(entries, hash.size(), depth, index);
            } else {
                const auto &map = *static_cast<const QVariantMap *>(value.constData());
                return addDictionary(map.asKeyValueRange(), map.size(), depth, index);
            }
        case PropertyList::Kind::None:
            break;
        }
        const char *typeName = value.metaType().name();
        return fail(QStringLiteral("A value of type %1 cannot be written to a property list")
                        .arg(typeName ? QString::fromLatin1(typeName) : QStringLiteral("null")));
    }

    static quint64 countSize(quint64 count) { return count < 15 ? 0 : 1 + quint64(byteCount(count)); }

    static uchar *writeInteger(uchar *out, quint64 value)
    {
        const int size = byteCount(value);
        *out++ = uchar(0x10 | (size == 1 ? 0 : size == 2 ? 1 : size == 4 ? 2 : 3));
        return storeBigEndian(out, value, size);
    }

    static uchar *writeHeader(uchar *out, uchar kind, quint64 count)
    {
        if (count < 15) {
            *out++ = uchar(kind | count);
            return out;
        }
        *out++ = uchar(kind | 0x0F);
        return writeInteger(out, count);
    }

    static quint64 objectSize(const Object &object, int refSize)
    {
        switch (object.type) {
        case Type::False:
        case Type::True:
            return 1;
        case Type::Integer:
        case Type::Uid:
            return 1 + quint64(byteCount(object.payload));
        case Type::BigInteger:
            return 17;
        case Type::Real:
        case Type::Date:
            return 9;
        case Type::String:
            return 1 + countSize(object.size) + quint64(object.size) * (object.ascii ? 1 : 2);
        case Type::Data:
            return 1 + countSize(object.size) + object.size;
        case Type::Array:
            return 1 + countSize(object.size) + quint64(object.size) * quint64(refSize);
        case Type::Dictionary:
            return 1 + countSize(object.size) + 2 * quint64(object.size) * quint64(refSize);
        }
        return 0;
    }

    uchar *writeObject(uchar *out, const Object &object, int refSize) const
    {
        switch (object.type) {
        case Type::False:
            *out++ = 0x08;
            break;
        case Type::True:
            *out++ = 0x09;
            break;
        case Type::Integer:
            // Negative values take the 8-byte form: the shorter ones are unsigned.
            out = writeInteger(out, object.payload);
            break;
        case Type::BigInteger:
            *out++ = 0x14;
            out = storeBigEndian(out, 0, 8);
            out = storeBigEndian(out, object.payload, 8);
            break;
        case Type::Real:
            *out++ = 0x23;
            out = storeBigEndian(out, object.payload, 8);
            break;
        case Type::Date:
            *out++ = 0x33;
            out = storeBigEndian(out, object.payload, 8);
            break;
        case Type::String: {
            const auto *chars = reinterpret_cast<const char16_t *>(object.payload);
            out = writeHeader(out, object.ascii ? 0x50 : 0x60, object.size);
            if (object.ascii) {
                for (quint32 i = 0; i < object.size; ++i)
                    out[i] = uchar(chars[i]);
                out += object.size;
            } else {
                qToBigEndian<quint16>(chars, object.size, out);
                out += 2 * size_t(object.size);
            }
            break;
        }
        case Type::Data:
            out = writeHeader(out, 0x40, object.size);
            if (object.size > 0)
                std::memcpy(out, reinterpret_cast<const void *>(object.payload), object.size);
            out += object.size;
            break;
        case Type::Uid: {
            const int size = byteCount(object.payload);
            *out++ = uchar(0x80 | (size - 1));
            out = storeBigEndian(out, object.payload, size);
            break;
        }
        case Type::Array:
        case Type::Dictionary: {
            const bool dictionary = object.type == Type::Dictionary;
            out = writeHeader(out, dictionary ? 0xD0 : 0xA0, object.size);
            const size_t refs = size_t(object.size) * (dictionary ? 2 : 1);
            for (size_t i = 0; i < refs; ++i)
                out = storeBigEndian(out, m_refs[object.payload + i], refSize);
            break;
        }
        }
        return out;
    }

    // The exact size is known before writing, so the output is allocated once.
    Result<QByteArray> serialise() const
    {
        const quint64 count = m_objects.size();
        const int refSize = byteCount(count);
        quint64 tableOffset = kHeaderSize;
        for (const Object &object : m_objects)
            tableOffset += objectSize(object, refSize);
        const int offsetSize = byteCount(tableOffset);
        const quint64 total = tableOffset + count * quint64(offsetSize) + kTrailerSize;
        if (total > quint64(std::numeric_limits<qsizetype>::max()))
            return Error{QStringLiteral("The value is too large for a property list")};

        QByteArray bytes(qsizetype(total), Qt::Uninitialized);
        auto *start = reinterpret_cast<uchar *>(bytes.data());
        std::memcpy(start, "bplist00", kHeaderSize);
        uchar *out = start + kHeaderSize;
        uchar *offsets = start + tableOffset;
        for (const Object &object : m_objects) {
            offsets = storeBigEndian(offsets, quint64(out - start), offsetSize);
            out = writeObject(out, object, refSize);
        }
        Q_ASSERT(out == start + tableOffset);
        uchar *trailer = offsets;
        std::memset(trailer, 0, 6);
        trailer[6] = uchar(offsetSize);
        trailer[7] = uchar(refSize);
        storeBigEndian(trailer + 8, count, 8);
        storeBigEndian(trailer + 16, 0, 8);
        storeBigEndian(trailer + 24, tableOffset, 8);
        return bytes;
    }

    std::vector<Object> m_objects;
    std::vector<quint32> m_refs;
    std::vector<Slot> m_table;
    size_t m_interned = 0;
    QString m_error;
};

} // namespace

Result<QByteArray> BinaryPropertyList::write(const QVariant &value)
{
    return Writer().write(value);
}
