#pragma once

#include <QMetaType>
#include <QRectF>
#include <QSizeF>
#include <QString>

/**
 * A run of characters in a text: where it starts and how many characters it
 * spans. Used for the visible part and the selection a page remembers.
 */
struct TextRange
{
    qint64 location = 0;
    qint64 length = 0;

    friend bool operator==(const TextRange &, const TextRange &) = default;
};

Q_DECLARE_METATYPE(TextRange)

/**
 * Geometry as the platform writes it into archives and settings:
 * "{{x, y}, {w, h}}" for a rectangle, "{w, h}" for a size and "{loc, len}"
 * for a text range. Whole numbers print without a decimal point. Reading is
 * lenient: the numbers are taken in order whatever punctuation surrounds
 * them, and missing or non-finite numbers count as 0.
 */
namespace GeometryStrings {

/** "{{x, y}, {w, h}}"; whole numbers are written without a decimal point. */
[[nodiscard]] QString stringFromRect(const QRectF &rect);
/** "{w, h}". */
[[nodiscard]] QString stringFromSize(const QSizeF &size);
/** "{loc, len}", e.g. "{0, 0}". */
[[nodiscard]] QString stringFromRange(const TextRange &range);

/** The first four numbers of @p text as x, y, width and height. */
[[nodiscard]] QRectF rectFromString(const QString &text);
/** The first two numbers of @p text as width and height. */
[[nodiscard]] QSizeF sizeFromString(const QString &text);
/**
 * The first two numbers of @p text as location and length, truncated to
 * whole numbers; negative numbers count as 0, since a range cannot start
 * before the text or run backwards.
 */
[[nodiscard]] TextRange rangeFromString(const QString &text);

} // namespace GeometryStrings
