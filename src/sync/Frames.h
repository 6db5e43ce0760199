#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringView>

/**
 * The frames of the sync transport. A frame is a 4-byte little-endian
 * signed header followed by a body: a packet's slice of the payload (the
 * header is the packet's number) or a message's UTF-8 text (the header means
 * nothing). There is no length field: frames are told apart because the
 * protocol is lock-step, so whatever one read yields is one frame.
 *
 * The protocol itself breaks that rule once: a payload of at most one slice
 * is first sent bare, and the sender writes "BDSSendPacket_<n>" straight
 * after it without waiting for an answer, so TCP may deliver both in one
 * read. splitMessages() separates exactly that case; every other chunk stays
 * one frame, as the peer frames it.
 */
namespace Frames {

inline constexpr int headerSize = 4;
/** The largest frame, and the size of every packet frame but a transfer's last. */
inline constexpr int frameSize = 1024;
/** The payload bytes one packet carries. */
inline constexpr int sliceSize = frameSize - headerSize;

[[nodiscard]] QByteArray frame(qint32 header, const QByteArray &body);
/** The header of @p frame; 0 when it is shorter than a header. */
[[nodiscard]] qint32 header(const QByteArray &frame);

/**
 * The text of a frame taken as a message: nothing for an empty frame, the
 * whole frame for 1 to 4 bytes, the bytes after the header otherwise.
 */
[[nodiscard]] QString messageText(const QByteArray &frame);

/**
 * The frames in a chunk read while no packets are expected: the chunk
 * itself, or, when it ends with a whole "BDSSendPacket_<digits>" frame after
 * at least one header's worth of bytes, the bytes before that frame and the
 * frame.
 */
[[nodiscard]] QList<QByteArray> splitMessages(const QByteArray &chunk);

/**
 * The number at the start of @p text as the platform's string-to-int reads
 * it: leading blanks skipped, an optional sign, digits up to the first
 * other character; 0 without digits; clamped to the range of int.
 */
[[nodiscard]] int intValue(QStringView text);

/** The number after the first occurrence of @p prefix in @p text (case-insensitive), as intValue() reads it. */
[[nodiscard]] int numberAfter(QStringView text, QStringView prefix);

} // namespace Frames
