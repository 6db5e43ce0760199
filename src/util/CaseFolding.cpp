#include "CaseFolding.h"

#include "UtilLog.h"

#include <QString>

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>

namespace CaseFolding {

namespace {

bool isAscii(QByteArrayView bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

QByteArray lowerAscii(QByteArrayView bytes)
{
    QByteArray out(bytes.size(), Qt::Uninitialized);
    std::transform(bytes.begin(), bytes.end(), out.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? char(c + ('a' - 'A')) : c; });
    return out;
}

const icu::Normalizer2 *caseFolder()
{
    static const icu::Normalizer2 *const folder = [] {
        UErrorCode status = U_ZERO_ERROR;
        const icu::Normalizer2 *instance = icu::Normalizer2::getNFKCCasefoldInstance(status);
        if (U_FAILURE(status)) {
            qCWarning(lcUtil) << "Unicode case folding is unavailable:" << u_errorName(status);
            return static_cast<const icu::Normalizer2 *>(nullptr);
        }
        return instance;
    }();
    return folder;
}

QString foldedWithIcu(QStringView text)
{
    const icu::Normalizer2 *folder = caseFolder();
    // Without ICU's data, lower case as Qt knows it is the best there is.
    if (!folder)
        return text.toString().toCaseFolded();
    const icu::UnicodeString source(false, reinterpret_cast<const UChar *>(text.data()), int32_t(text.size()));
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString result = folder->normalize(source, status);
    if (U_FAILURE(status))
        return text.toString().toCaseFolded();
    return QString(reinterpret_cast<const QChar *>(result.getBuffer()), result.length());
}

bool isAscii(QStringView text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; });
}

} // namespace

QByteArray folded(QStringView text)
{
    return isAscii(text) ? lowerAscii(text.toLatin1()) : foldedWithIcu(text).toUtf8();
}

QByteArray foldedUtf8(QByteArrayView utf8)
{
    return isAscii(utf8) ? lowerAscii(utf8) : foldedWithIcu(QString::fromUtf8(utf8)).toUtf8();
}

QString foldedString(QStringView text)
{
    return isAscii(text) ? QString::fromLatin1(lowerAscii(text.toLatin1())) : foldedWithIcu(text);
}

} // namespace CaseFolding
