#include "TypedStreamWire.h"

#include <QtEndian>

#include <cstring>

namespace TypedStreamWire {

Error fail(qsizetype offset, const QString &why)
{
    return Error{QStringLiteral("Bad typed stream at offset %1: %2").arg(offset).arg(why)};
}

Error truncated(qsizetype offset)
{
    return Error{QStringLiteral("Typed stream truncated at offset %1").arg(offset)};
}

namespace {

// A number stored in the stream's byte order.
template<typename T> Status readRaw(const Cursor &cursor, T &out)
{
    if (cursor.size - cursor.pos < qsizetype(sizeof(T)))
        return truncated(cursor.pos);
    std::memcpy(&out, cursor.data + cursor.pos, sizeof(T));
    out = cursor.bigEndian ? qFromBigEndian(out) : qFromLittleEndian(out);
    cursor.pos += sizeof(T);
    return {};
}

} // namespace

Status readInt(const Cursor &cursor, qint8 head, qint64 &value)
{
    if (head == kTagInt16) {
        qint16 v = 0;
        if (Status s = readRaw(cursor, v); !s)
            return s;
        value = v;
    } else if (head == kTagInt32) {
        qint32 v = 0;
        if (Status s = readRaw(cursor, v); !s)
            return s;
        value = v;
    } else if (head == kTagInt64) {
        if (Status s = readRaw(cursor, value); !s)
            return s;
    } else if (isTag(head)) {
        return fail(cursor.pos, QStringLiteral("tag %1 where an integer belongs").arg(int(quint8(head)), 2, 16));
    } else {
        value = head;
    }
    return {};
}

Status readReal(const Cursor &cursor, qint8 head, bool isDouble, double &value)
{
    if (head != kTagReal) {
        qint64 v = 0;
        if (Status s = readInt(cursor, head, v); !s)
            return s;
        value = double(v);
        return {};
    }
    if (isDouble) {
        quint64 bits = 0;
        if (Status s = readRaw(cursor, bits); !s)
            return s;
        std::memcpy(&value, &bits, sizeof value);
    } else {
        quint32 bits = 0;
        if (Status s = readRaw(cursor, bits); !s)
            return s;
        float f = 0;
        std::memcpy(&f, &bits, sizeof f);
        value = f;
    }
    return {};
}

Status readLength(const Cursor &cursor, qint8 head, qint64 &length)
{
    if (Status s = readInt(cursor, head, length); !s)
        return s;
    if (length < 0)
        return fail(cursor.pos, QStringLiteral("negative string length"));
    if (length > cursor.size - cursor.pos)
        return fail(cursor.pos, QStringLiteral("string of %1 bytes exceeds the data").arg(length));
    return {};
}

} // namespace TypedStreamWire
