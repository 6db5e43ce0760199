#include "StringUtility.h"

#include "platform/base/FileContents.h"

#include <QScopeGuard>
#include <QStringDecoder>

#include <array>
#include <cerrno>
#include <iconv.h>

namespace {

// The candidates, in the order they are tried, by their iconv names. The
// null entry is encoding number 2565, which old data named but no decoder
// here knows; it keeps its place in the order and never decodes.
constexpr std::array<const char *, 13> kCandidates = {
    "UTF-8",
    "ASCII",
    "SHIFT_JIS",
    "EUC-JP",
    "MACINTOSH",
    "CP1251",
    "CP1252",
    "CP1253",
    "CP1254",
    "CP1250",
    "ISO-8859-1",
    nullptr,
    "UTF-16",
};

constexpr char kEscape = 27;

// The bytes decoded by iconv as @p encoding, or nothing unless every byte
// converts without error (an incomplete sequence at the end is an error too).
std::optional<QString> decode(const QByteArray &data, const char *encoding)
{
    iconv_t cd = iconv_open("UTF-8", encoding);
    if (cd == iconv_t(-1))
        return std::nullopt;
    const auto closeLater = qScopeGuard([cd] { iconv_close(cd); });

    // Three UTF-8 bytes per input byte cover every encoding tried here; the
    // buffer still grows should an encoding surprise us.
    QByteArray out(data.size() * 3 + 16, Qt::Uninitialized);
    char *cursor = out.data();
    size_t outLeft = size_t(out.size());
    const auto makeRoom = [&] {
        const qsizetype used = cursor - out.data();
        out.resize(out.size() * 2);
        cursor = out.data() + used;
        outLeft = size_t(out.size() - used);
    };

    char *in = const_cast<char *>(data.constData());
    size_t inLeft = size_t(data.size());
    while (inLeft > 0) {
        if (iconv(cd, &in, &inLeft, &cursor, &outLeft) != size_t(-1))
            continue;
        if (errno != E2BIG)
            return std::nullopt;
        makeRoom();
    }
    // Back to the initial shift state, as stateful encodings (ISO-2022-JP) want.
    while (iconv(cd, nullptr, nullptr, &cursor, &outLeft) == size_t(-1)) {
        if (errno != E2BIG)
            return std::nullopt;
        makeRoom();
    }
    out.truncate(cursor - out.data());
    const QString text = QString::fromUtf8(out);
    return text.isNull() ? QStringLiteral("") : text;
}

} // namespace

namespace StringUtility {

std::optional<QString> stringWithContentsOfDataByAutoDetectingEncoding(const QByteArray &data)
{
    if (data.contains(kEscape)) {
        if (auto text = decode(data, "ISO-2022-JP"))
            return text;
    }
    for (const char *encoding : kCandidates) {
        if (!encoding)
            continue;
        if (auto text = decode(data, encoding)) {
            if (qstrcmp(encoding, "UTF-8") == 0 && text->startsWith(QChar::ByteOrderMark))
                text->remove(0, 1);
            return text;
        }
    }
    return std::nullopt;
}

std::optional<QString> stringWithContentsOfFileByAutoDetectingEncoding(const QString &path)
{
    const Result<QByteArray> bytes = FileContents::read(path);
    if (!bytes)
        return std::nullopt;
    return stringWithContentsOfDataByAutoDetectingEncoding(bytes.value());
}

std::optional<QString> stringFromUTF8DataFilePath(const QString &path)
{
    const Result<QByteArray> bytes = FileContents::read(path);
    if (!bytes)
        return std::nullopt;
    QStringDecoder decoder(
        QStringDecoder::Utf8, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(bytes.value());
    if (decoder.hasError())
        return std::nullopt;
    if (text.startsWith(QChar::ByteOrderMark))
        text.remove(0, 1);
    return text.isNull() ? QStringLiteral("") : text;
}

std::optional<QString> stringFromUTF16DataFilePath(const QString &path)
{
    const Result<QByteArray> bytes = FileContents::read(path);
    if (!bytes || bytes.value().size() % 2 != 0)
        return std::nullopt;
    QByteArrayView data = bytes.value();
    auto encoding = QStringDecoder::Utf16BE;
    if (data.startsWith("\xFF\xFE")) {
        encoding = QStringDecoder::Utf16LE;
        data = data.sliced(2);
    } else if (data.startsWith("\xFE\xFF")) {
        data = data.sliced(2);
    }
    QStringDecoder decoder(encoding, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    const QString text = decoder.decode(data);
    if (decoder.hasError())
        return std::nullopt;
    return text.isNull() ? QStringLiteral("") : text;
}

} // namespace StringUtility
