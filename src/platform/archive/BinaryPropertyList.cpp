// Reading binary property lists; writing is in BinaryPropertyListWriter.cpp.
#include "BinaryPropertyList.h"

#include "PropertyList.h"

#include <QDateTime>
#include <QtEndian>

#include <cstring>
#include <limits>
#include <map>
#include <vector>

namespace {

constexpr quint64 kHeaderSize = 8;
constexpr quint64 kTrailerSize = 32;
constexpr uchar kFillMarker = 0x0F;

quint64 loadBigEndian(const uchar *bytes, int size)
{
    switch (size) {
    case 1:
        return bytes[0];
    case 2:
        return qFromBigEndian<quint16>(bytes);
    case 4:
        return qFromBigEndian<quint32>(bytes);
    case 8:
        return qFromBigEndian<quint64>(bytes);
    default: {
        quint64 value = 0;
        for (int i = 0; i < size; ++i)
            value = (value << 8) | bytes[i];
        return value;
    }
    }
}

// Per-object state while reading: how often the object is referenced (0, 1,
// or 2 for "more than once"), whether it is being read right now (to catch
// cycles), and for shared objects the slot of the value read once for all.
constexpr quint32 kRefCountMask = 0x3;
constexpr quint32 kInProgress = 0x4;
constexpr quint32 kShared = 0x8;
constexpr int kSlotShift = 4;
constexpr quint64 kMaxObjects = quint64(1) << (32 - kSlotShift);

// Sharing lets a small file describe a huge value: an array that holds the
// next one twice, sixty levels deep, is a few hundred bytes and 2^60 values
// once written out again. Reading shares instead of copying, but the values
// of the result, counted as if nothing were shared, may number at most this
// many per byte of the file (plus a few, for tiny files). Without shared
// containers (the platform shares only scalars) every value takes at least
// one byte of references, so real files never come near.
constexpr quint64 kMaxExpansion = 64;
constexpr quint64 kExpansionAllowance = 4096;

class Reader
{
    struct Shared
    {
        QVariant value;
        quint64 weight;
    };

public:
    explicit Reader(const QByteArray &bytes)
        : m_data(reinterpret_cast<const uchar *>(bytes.constData()))
        , m_size(quint64(bytes.size()))
    { }

    Result<QVariant> read()
    {
        QVariant root;
        quint64 weight = 0;
        if (!readTrailer() || !countReferences() || !readObject(m_topObject, 0, root, weight))
            return Error{QStringLiteral("Binary property list: %1").arg(m_error)};
        return root;
    }

private:
    bool fail(const QString &message)
    {
        m_error = message;
        return false;
    }

    bool readTrailer()
    {
        if (m_size < kHeaderSize + 2 + kTrailerSize)
            return fail(QStringLiteral("%1 bytes are too few for the header, one object and the trailer").arg(m_size));
        // Every version-0 reader of the platform accepts "bplist0" plus any digit.
        if (std::memcmp(m_data, "bplist0", 7) != 0)
            return fail(QStringLiteral("the signature is not \"bplist0x\""));
        const uchar *trailer = m_data + m_size - kTrailerSize;
        m_offsetSize = trailer[6];
        m_refSize = trailer[7];
        m_objectCount = loadBigEndian(trailer + 8, 8);
        m_topObject = loadBigEndian(trailer + 16, 8);
        m_tableOffset = loadBigEndian(trailer + 24, 8);
        const quint64 tableEnd = m_size - kTrailerSize;

        if (m_offsetSize < 1 || m_offsetSize > 8 || m_refSize < 1 || m_refSize > 8)
            return fail(
                QStringLiteral("the trailer gives offsets of %1 and references of %2 bytes; both must be 1 to 8")
                    .arg(m_offsetSize)
                    .arg(m_refSize));
        if (m_objectCount == 0)
            return fail(QStringLiteral("the trailer counts no objects"));
        if (m_objectCount >= kMaxObjects)
            return fail(QStringLiteral("the trailer counts %1 objects, more than can be read").arg(m_objectCount));
        if (m_topObject >= m_objectCount)
            return fail(
                QStringLiteral("the top object %1 is not among the %2 objects").arg(m_topObject).arg(m_objectCount));
        if (m_tableOffset <= kHeaderSize || m_tableOffset >= tableEnd)
            return fail(QStringLiteral("the offset table at %1 lies outside the file").arg(m_tableOffset));
        if (m_objectCount > (tableEnd - m_tableOffset) / quint64(m_offsetSize))
            return fail(QStringLiteral("the offset table of %1 objects runs into the trailer").arg(m_objectCount));
        return true;
    }

    quint64 offsetOf(quint64 index) const
    {
        return loadBigEndian(m_data + m_tableOffset + index * quint64(m_offsetSize), m_offsetSize);
    }

    // Reads an array's, dictionary's, string's or data's count at @p pos (the
    // marker's low nibble, or an integer object after it when the nibble is
    // 0xF) and checks that @p count items of @p width bytes fit before the
    // offset table. Returns why not, or nullptr.
    const char *parseCount(quint64 &pos, uchar nibble, quint64 width, quint64 &count) const
    {
        count = nibble;
        if (nibble == 0x0F) {
            if (pos >= m_tableOffset)
                return "its length is cut off";
            const uchar marker = m_data[pos++];
            if ((marker >> 4) != 0x1 || (marker & 0x0F) > 3)
                return "its length is not an integer of 1, 2, 4 or 8 bytes";
            const int size = 1 << (marker & 0x0F);
            if (m_tableOffset - pos < quint64(size))
                return "its length is cut off";
            count = loadBigEndian(m_data + pos, size);
            pos += quint64(size);
        }
        if (count > (m_tableOffset - pos) / width)
            return "its length runs past the end of the object table";
        return nullptr;
    }

    bool readCount(quint64 index, quint64 &pos, uchar nibble, quint64 width, quint64 &count)
    {
        if (const char *why = parseCount(pos, nibble, width, count))
            return fail(QStringLiteral("object %1 is damaged: %2").arg(index).arg(QLatin1StringView(why)));
        return true;
    }

    // Objects of a well-formed file never overlap, so the bytes read can never
    // add up to more than the object table. Hostile files that overlap
    // containers or strings to multiply their size are stopped here, before
    // the work or the memory they ask for.
    bool consume(quint64 index, quint64 bytes)
    {
        if (bytes > m_budget)
            return fail(QStringLiteral("object %1 overlaps other objects").arg(index));
        m_budget -= bytes;
        return true;
    }

    // One pass over the offset table: every offset must point into the
    // object table, and every reference a container makes is counted, so that
    // objects referenced more than once are read once and then shared.
    bool countReferences()
    {
        m_state.assign(m_objectCount, 0);
        m_budget = m_tableOffset - kHeaderSize;
        m_weightLimit = kMaxExpansion * m_size + kExpansionAllowance;
        quint64 bytesSeen = 0;
        for (quint64 index = 0; index < m_objectCount; ++index) {
            const quint64 offset = offsetOf(index);
            if (offset < kHeaderSize || offset >= m_tableOffset)
                return fail(QStringLiteral("object %1 starts at %2, outside the object table").arg(index).arg(offset));
            quint64 pos = offset;
            if (!skipFill(index, pos))
                return false;
            const uchar marker = m_data[pos++];
            const int kind = marker >> 4;
            quint64 count = 0;
            const quint64 width = quint64(m_refSize) * (kind == 0xD ? 2 : 1);
            const bool container = (kind == 0xA || kind == 0xD) && !parseCount(pos, marker & 0x0F, width, count);
            // Fill bytes and containers are what this pass reads; they may
            // not overlap any more than objects do when they are read.
            bytesSeen += pos - offset - 1 + (container ? 1 + count * width : 0);
            if (bytesSeen > m_budget)
                return fail(QStringLiteral("object %1 overlaps other objects").arg(index));
            if (!container)
                continue; // a damaged container is reported if it is ever read
            const quint64 refs = kind == 0xD ? count * 2 : count;
            const uchar *ref = m_data + pos;
            for (quint64 i = 0; i < refs; ++i, ref += m_refSize) {
                const quint64 target = loadBigEndian(ref, m_refSize);
                if (target < m_objectCount && (m_state[target] & kRefCountMask) < 2)
                    ++m_state[target];
            }
        }
        return true;
    }

    bool readReference(quint64 index, const uchar *at, quint64 &target)
    {
        target = loadBigEndian(at, m_refSize);
        if (target >= m_objectCount)
            return fail(QStringLiteral("object %1 refers to object %2, but there are only %3")
                            .arg(index)
                            .arg(target)
                            .arg(m_objectCount));
        return true;
    }

    // Moves @p pos past fill bytes to the object's marker.
    bool skipFill(quint64 index, quint64 &pos)
    {
        while (m_data[pos] == kFillMarker) {
            if (++pos >= m_tableOffset)
                return fail(QStringLiteral("object %1 is nothing but fill bytes").arg(index));
        }
        return true;
    }

    bool seekMarker(quint64 index, quint64 &pos)
    {
        const quint64 offset = offsetOf(index);
        pos = offset;
        return skipFill(index, pos) && consume(index, pos - offset);
    }

    bool unsupported(quint64 index, uchar marker)
    {
        return fail(QStringLiteral("object %1 has the marker 0x%2, which no version-0 property list holds")
                        .arg(index)
                        .arg(marker, 2, 16, QLatin1Char('0')));
    }

    // Reads object @p index into @p out; @p weight is the number of values it
    // holds, itself included, when nothing is shared (see kMaxExpansion).
    bool readObject(quint64 index, int depth, QVariant &out, quint64 &weight)
    {
        // m_state never grows while reading, so the reference stays valid
        // across the recursion.
        quint32 &state = m_state[index];
        if (state & kShared) {
            const Shared &shared = m_shared[state >> kSlotShift];
            out = shared.value;
            weight = shared.weight;
            return true;
        }
        if (state & kInProgress)
            return fail(QStringLiteral("object %1 contains itself").arg(index));

        quint64 pos = 0;
        if (!seekMarker(index, pos))
            return false;
        const uchar marker = m_data[pos++];
        const uchar nibble = marker & 0x0F;
        weight = 1;
        switch (marker >> 4) {
        case 0x0:
            if (marker != 0x08 && marker != 0x09)
                return unsupported(index, marker);
            if (!consume(index, 1))
                return false;
            out = QVariant(marker == 0x09);
            break;
        case 0x1:
            if (!readInteger(index, pos, nibble, out))
                return false;
            break;
        case 0x2:
            if (!readReal(index, pos, nibble, out))
                return false;
            break;
        case 0x3:
            if (marker != 0x33)
                return unsupported(index, marker);
            if (!readDate(index, pos, out))
                return false;
            break;
        case 0x4: {
            quint64 count = 0;
            const quint64 start = pos;
            if (!readCount(index, pos, nibble, 1, count) || !consume(index, 1 + pos - start + count))
                return false;
            out = QVariant(QByteArray(reinterpret_cast<const char *>(m_data + pos), qsizetype(count)));
            break;
        }
        case 0x5:
        case 0x6: {
            QString string;
            if (!readString(index, pos, marker, string))
                return false;
            out = QVariant(string);
            break;
        }
        case 0x8: {
            const int size = nibble + 1;
            if (size > 8)
                return fail(QStringLiteral("object %1 is a UID of %2 bytes; at most 8 are read").arg(index).arg(size));
            if (m_tableOffset - pos < quint64(size))
                return fail(QStringLiteral("object %1 is cut off").arg(index));
            if (!consume(index, 1 + quint64(size)))
                return false;
            out = QVariant::fromValue(PropertyListUid{loadBigEndian(m_data + pos, size)});
            break;
        }
        case 0xA:
        case 0xD:
            if (depth >= BinaryPropertyList::kMaxDepth)
                return fail(QStringLiteral("arrays and dictionaries are nested more than %1 levels deep")
                                .arg(BinaryPropertyList::kMaxDepth));
            state |= kInProgress;
            if (!((marker >> 4) == 0xA ? readArray(index, pos, nibble, depth, out, weight)
                                       : readDictionary(index, pos, nibble, depth, out, weight)))
                return false;
            state &= ~kInProgress;
            break;
        default:
            return unsupported(index, marker);
        }

        if ((state & kRefCountMask) >= 2) {
            state |= kShared | quint32(m_shared.size() << kSlotShift);
            m_shared.push_back(Shared{out, weight});
        }
        return true;
    }

    bool addWeight(quint64 index, quint64 &total, quint64 weight)
    {
        total += weight;
        if (total <= m_weightLimit)
            return true;
        return fail(
            QStringLiteral("object %1 expands through shared objects to more than %2 values per byte of the file")
                .arg(index)
                .arg(kMaxExpansion));
    }

    bool readInteger(quint64 index, quint64 pos, uchar nibble, QVariant &out)
    {
        if (nibble > 4)
            return fail(QStringLiteral("object %1 is an integer of %2 bytes; 1, 2, 4, 8 or 16 are allowed")
                            .arg(index)
                            .arg(quint64(1) << nibble));
        const int size = 1 << nibble;
        if (m_tableOffset - pos < quint64(size))
            return fail(QStringLiteral("object %1 is cut off").arg(index));
        if (!consume(index, 1 + quint64(size)))
            return false;
        const uchar *bytes = m_data + pos;
        if (size < 8) {
            // The short forms are unsigned: 10 FF is 255.
            out = QVariant(qint64(loadBigEndian(bytes, size)));
        } else if (size == 8) {
            out = QVariant(qint64(loadBigEndian(bytes, 8)));
        } else {
            // 128 bits: the platform stores values above INT64_MAX this way,
            // with the upper half zero.
            const quint64 high = loadBigEndian(bytes, 8);
            const quint64 low = loadBigEndian(bytes + 8, 8);
            if (high == 0 && low > quint64(std::numeric_limits<qint64>::max()))
                out = QVariant(quint64(low));
            else if (high == 0 || (high == ~quint64(0) && (low >> 63) != 0))
                out = QVariant(qint64(low));
            else
                return fail(QStringLiteral("object %1 is an integer outside the 64-bit range").arg(index));
        }
        return true;
    }

    bool readReal(quint64 index, quint64 pos, uchar nibble, QVariant &out)
    {
        if (nibble != 2 && nibble != 3)
            return unsupported(index, uchar(0x20 | nibble));
        const int size = nibble == 2 ? 4 : 8;
        if (m_tableOffset - pos < quint64(size))
            return fail(QStringLiteral("object %1 is cut off").arg(index));
        if (!consume(index, 1 + quint64(size)))
            return false;
        if (size == 4) {
            const quint32 bits = qFromBigEndian<quint32>(m_data + pos);
            float value = 0;
            std::memcpy(&value, &bits, sizeof value);
            out = QVariant(double(value));
        } else {
            const quint64 bits = qFromBigEndian<quint64>(m_data + pos);
            double value = 0;
            std::memcpy(&value, &bits, sizeof value);
            out = QVariant(value);
        }
        return true;
    }

    bool readDate(quint64 index, quint64 pos, QVariant &out)
    {
        if (m_tableOffset - pos < 8)
            return fail(QStringLiteral("object %1 is cut off").arg(index));
        if (!consume(index, 9))
            return false;
        const quint64 bits = qFromBigEndian<quint64>(m_data + pos);
        double seconds = 0;
        std::memcpy(&seconds, &bits, sizeof seconds);
        const auto date = PropertyList::dateFromReferenceSeconds(seconds);
        if (!date)
            return fail(QStringLiteral("object %1 is a date out of range (%2 s)").arg(index).arg(seconds));
        out = QVariant(*date);
        return true;
    }

    bool readString(quint64 index, quint64 pos, uchar marker, QString &out)
    {
        const bool ascii = (marker >> 4) == 0x5;
        const quint64 width = ascii ? 1 : 2;
        const quint64 start = pos;
        quint64 count = 0;
        if (!readCount(index, pos, marker & 0x0F, width, count) || !consume(index, 1 + pos - start + count * width))
            return false;
        const uchar *chars = m_data + pos;
        if (ascii) {
            // Only ASCII is ever written here; Latin-1 reads it at full speed
            // and keeps stray high bytes instead of failing on them.
            out = QString::fromLatin1(reinterpret_cast<const char *>(chars), qsizetype(count));
        } else {
            out = QString(qsizetype(count), Qt::Uninitialized);
            qFromBigEndian<quint16>(chars, qsizetype(count), out.data());
        }
        return true;
    }

    // Dictionary keys are the strings most often shared: one QString per
    // object, handed out again on every later reference.
    bool readKey(quint64 index, QString &out, quint64 &weight)
    {
        const quint32 state = m_state[index];
        if (state & kShared) {
            const Shared &shared = m_shared[state >> kSlotShift];
            if (shared.value.typeId() != QMetaType::QString)
                return fail(QStringLiteral("object %1 is used as a dictionary key but is not a string").arg(index));
            out = *static_cast<const QString *>(shared.value.constData());
            weight = shared.weight;
            return true;
        }
        quint64 pos = 0;
        if (!seekMarker(index, pos))
            return false;
        const uchar marker = m_data[pos];
        if ((marker >> 4) != 0x5 && (marker >> 4) != 0x6)
            return fail(QStringLiteral("object %1 is used as a dictionary key but is not a string").arg(index));
        if (!readString(index, pos + 1, marker, out))
            return false;
        weight = 1;
        if ((state & kRefCountMask) >= 2) {
            m_state[index] |= kShared | quint32(m_shared.size() << kSlotShift);
            m_shared.push_back(Shared{QVariant(out), weight});
        }
        return true;
    }

    bool readArray(quint64 index, quint64 pos, uchar nibble, int depth, QVariant &out, quint64 &weight)
    {
        const quint64 start = pos;
        quint64 count = 0;
        if (!readCount(index, pos, nibble, quint64(m_refSize), count)
            || !consume(index, 1 + pos - start + count * quint64(m_refSize)))
            return false;
        weight = 1;
        QVariantList list;
        list.reserve(qsizetype(count));
        const uchar *ref = m_data + pos;
        for (quint64 i = 0; i < count; ++i, ref += m_refSize) {
            quint64 target = 0;
            quint64 itemWeight = 0;
            QVariant item;
            if (!readReference(index, ref, target) || !readObject(target, depth + 1, item, itemWeight)
                || !addWeight(index, weight, itemWeight))
                return false;
            list.append(std::move(item));
        }
        out = QVariant(list);
        return true;
    }

    bool readDictionary(quint64 index, quint64 pos, uchar nibble, int depth, QVariant &out, quint64 &weight)
    {
        const quint64 start = pos;
        quint64 count = 0;
        if (!readCount(index, pos, nibble, 2 * quint64(m_refSize), count)
            || !consume(index, 1 + pos - start + 2 * count * quint64(m_refSize)))
            return false;
        weight = 1;
        // Filled through a std::map so that keys and values are moved in, not
        // copied; QVariantMap adopts the finished tree.
        std::map<QString, QVariant> entries;
        const uchar *keyRef = m_data + pos;
        const uchar *valueRef = keyRef + count * quint64(m_refSize);
        for (quint64 i = 0; i < count; ++i, keyRef += m_refSize, valueRef += m_refSize) {
            quint64 keyIndex = 0;
            quint64 valueIndex = 0;
            quint64 keyWeight = 0;
            quint64 valueWeight = 0;
            QString key;
            QVariant value;
            if (!readReference(index, keyRef, keyIndex) || !readKey(keyIndex, key, keyWeight)
                || !readReference(index, valueRef, valueIndex) || !readObject(valueIndex, depth + 1, value, valueWeight)
                || !addWeight(index, weight, keyWeight) || !addWeight(index, weight, valueWeight))
                return false;
            entries.insert_or_assign(entries.end(), std::move(key), std::move(value));
        }
        out = QVariant(QVariantMap(std::move(entries)));
        return true;
    }

    const uchar *m_data;
    quint64 m_size;
    int m_offsetSize = 0;
    int m_refSize = 0;
    quint64 m_objectCount = 0;
    quint64 m_topObject = 0;
    quint64 m_tableOffset = 0;
    quint64 m_budget = 0;
    quint64 m_weightLimit = 0;
    std::vector<quint32> m_state;
    std::vector<Shared> m_shared;
    QString m_error;
};

} // namespace

bool BinaryPropertyList::hasSignature(const QByteArray &bytes)
{
    return bytes.startsWith("bplist");
}

Result<QVariant> BinaryPropertyList::read(const QByteArray &bytes)
{
    return Reader(bytes).read();
}
