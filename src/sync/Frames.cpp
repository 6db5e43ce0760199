#include "Frames.h"

#include <QtEndian>

#include <climits>

namespace Frames {

namespace {

constexpr QByteArrayView sendPacketPrefix("BDSSendPacket_");

bool isDigits(QByteArrayView bytes)
{
    for (char c : bytes) {
        if (c < '0' || c > '9')
            return false;
    }
    return !bytes.isEmpty();
}

} // namespace

QByteArray frame(qint32 header, const QByteArray &body)
{
    QByteArray bytes(headerSize + body.size(), Qt::Uninitialized);
    qToLittleEndian<qint32>(header, bytes.data());
    std::copy(body.cbegin(), body.cend(), bytes.begin() + headerSize);
    return bytes;
}

qint32 header(const QByteArray &frame)
{
    return frame.size() < headerSize ? 0 : qFromLittleEndian<qint32>(frame.constData());
}

QString messageText(const QByteArray &frame)
{
    if (frame.size() <= headerSize)
        return QString::fromUtf8(frame);
    return QString::fromUtf8(frame.constData() + headerSize, frame.size() - headerSize);
}

QList<QByteArray> splitMessages(const QByteArray &chunk)
{
    const qsizetype at = chunk.lastIndexOf(sendPacketPrefix);
    // The bare frame before it has at least its header; the message's own header precedes the text.
    if (at < 2 * headerSize || !isDigits(QByteArrayView(chunk).sliced(at + sendPacketPrefix.size())))
        return {chunk};
    const qsizetype start = at - headerSize;
    return {chunk.first(start), chunk.sliced(start)};
}

int intValue(QStringView text)
{
    qsizetype i = 0;
    while (i < text.size() && (text[i] == u' ' || text[i] == u'\t' || text[i] == u'\n' || text[i] == u'\r'))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == u'-' || text[i] == u'+'))
        negative = text[i++] == u'-';
    qint64 value = 0;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) {
        value = value * 10 + (text[i].unicode() - u'0');
        if (value > qint64(INT_MAX) + 1)
            value = qint64(INT_MAX) + 1;
    }
    if (negative)
        return value > qint64(INT_MAX) ? INT_MIN : int(-value);
    return value > INT_MAX ? INT_MAX : int(value);
}

int numberAfter(QStringView text, QStringView prefix)
{
    const qsizetype at = text.indexOf(prefix, 0, Qt::CaseInsensitive);
    return at < 0 ? 0 : intValue(text.sliced(at + prefix.size()));
}

} // namespace Frames
