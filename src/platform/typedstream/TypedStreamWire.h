#pragma once

#include "platform/base/Result.h"

#include <QString>

/**
 * The typed stream's lowest level, under TypedStreamScanner: the tag bytes,
 * numbers in either byte order, and the errors that name the offset.
 */
namespace TypedStreamWire {

inline constexpr qint8 kTagInt16 = -127;
inline constexpr qint8 kTagInt32 = -126;
inline constexpr qint8 kTagReal = -125;
inline constexpr qint8 kTagNew = -124;
inline constexpr qint8 kTagNil = -123;
inline constexpr qint8 kTagEnd = -122;
/** An 8-byte integer follows: 'q' and 'Q' values beyond 32 bits. */
inline constexpr qint8 kTagInt64 = -121;
inline constexpr qint64 kReferenceBase = -110;
/** Class chains longer than this are taken for a hostile stream. */
inline constexpr int kMaxClassChain = 256;

/** True for a head byte that is a tag rather than a small number. */
[[nodiscard]] inline bool isTag(qint8 head)
{
    return head < -110;
}

/** Where a reader stands: the bytes, its position in them (moved by reading) and their byte order. */
struct Cursor
{
    const uchar *data;
    qsizetype size;
    qsizetype &pos;
    bool bigEndian;
};

[[nodiscard]] Error fail(qsizetype offset, const QString &why);
[[nodiscard]] Error truncated(qsizetype offset);

/** An integer whose head byte was just read: the head itself, or a 16-, 32- or 64-bit number after a tag. */
[[nodiscard]] Status readInt(const Cursor &cursor, qint8 head, qint64 &value);
/** A real whose head byte was just read: a float or double after the real tag, else an integer. */
[[nodiscard]] Status readReal(const Cursor &cursor, qint8 head, bool isDouble, double &value);
/** The length of a byte string whose (non-nil) head was just read: not negative, and within the bytes left. */
[[nodiscard]] Status readLength(const Cursor &cursor, qint8 head, qint64 &length);

} // namespace TypedStreamWire
