#include "ArchivedGeometry.h"

#include "platform/typedstream/TypedStreamDecoder.h"

#include <array>
#include <optional>

namespace ArchivedGeometry {
namespace {

// Beyond this many digits a whole number may not be a double exactly; such
// strings go the general way.
constexpr int kMaxDigits = 15;

/**
 * The first @p N numbers of @p utf8, as GeometryStrings reads them (missing
 * ones 0), when the text holds only digits, signs, braces, commas and
 * spaces: then every number is a run of digits with an optional sign, which
 * converts exactly. Empty for any other text.
 */
template<size_t N> std::optional<std::array<double, N>> wholeNumbers(QByteArrayView utf8)
{
    std::array<double, N> numbers{};
    size_t found = 0;
    for (qsizetype i = 0; i < utf8.size();) {
        const char c = utf8[i];
        const bool sign = c == '-' || c == '+';
        const qsizetype start = sign ? i + 1 : i;
        if (start < utf8.size() && utf8[start] >= '0' && utf8[start] <= '9') {
            qint64 value = 0;
            qsizetype end = start;
            for (; end < utf8.size() && utf8[end] >= '0' && utf8[end] <= '9'; ++end) {
                if (end - start == kMaxDigits)
                    return std::nullopt;
                value = value * 10 + (utf8[end] - '0');
            }
            if (found < N)
                numbers[found++] = c == '-' ? -double(value) : double(value); // "-0" is -0.0, as toDouble has it
            i = end;
            continue;
        }
        if (c != '{' && c != '}' && c != ',' && c != ' ' && !sign)
            return std::nullopt;
        ++i;
    }
    return numbers;
}

// The numbers of a string still in UTF-8, when they can be read without GeometryStrings.
template<size_t N> std::optional<std::array<double, N>> quickNumbers(const QVariant &text)
{
    if (text.metaType() != QMetaType::fromType<TypedStreamUtf8>())
        return std::nullopt;
    return wholeNumbers<N>(static_cast<const TypedStreamUtf8 *>(text.constData())->bytes);
}

QString toString(const QVariant &text)
{
    if (text.metaType() == QMetaType::fromType<TypedStreamUtf8>())
        return QString::fromUtf8(static_cast<const TypedStreamUtf8 *>(text.constData())->bytes);
    return text.toString();
}

} // namespace

bool isString(const QVariant &text)
{
    return text.isNull() || text.metaType() == QMetaType::fromType<QString>()
        || text.metaType() == QMetaType::fromType<TypedStreamUtf8>();
}

QRectF rect(const QVariant &text)
{
    if (const auto n = quickNumbers<4>(text))
        return QRectF((*n)[0], (*n)[1], (*n)[2], (*n)[3]);
    return GeometryStrings::rectFromString(toString(text));
}

QSizeF size(const QVariant &text)
{
    if (const auto n = quickNumbers<2>(text))
        return QSizeF((*n)[0], (*n)[1]);
    return GeometryStrings::sizeFromString(toString(text));
}

TextRange range(const QVariant &text)
{
    // Whole numbers need no truncation; a range can neither start before the text nor run backwards.
    if (const auto n = quickNumbers<2>(text))
        return TextRange{(*n)[0] > 0 ? qint64((*n)[0]) : 0, (*n)[1] > 0 ? qint64((*n)[1]) : 0};
    return GeometryStrings::rangeFromString(toString(text));
}

} // namespace ArchivedGeometry
