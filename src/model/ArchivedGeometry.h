#pragma once

#include "util/GeometryStrings.h"

#include <QRectF>
#include <QSizeF>
#include <QVariant>

/**
 * Geometry strings ("{{x, y}, {w, h}}", "{w, h}", "{loc, len}") as the
 * record coders decode them: a QString, or the string's UTF-8 as
 * TypedStreamDecoder::decodeObjectKeepingUtf8 hands it out (TypedStreamUtf8).
 *
 * The answers are GeometryStrings' own. Strings that hold nothing but whole
 * numbers and the usual punctuation, as every record of a data store does,
 * are read straight from their UTF-8 without conversion; anything else is
 * converted and left to GeometryStrings. A null value reads as "".
 */
namespace ArchivedGeometry {

/** As GeometryStrings::rectFromString. */
[[nodiscard]] QRectF rect(const QVariant &text);
/** As GeometryStrings::sizeFromString. */
[[nodiscard]] QSizeF size(const QVariant &text);
/** As GeometryStrings::rangeFromString. */
[[nodiscard]] TextRange range(const QVariant &text);

/** True for a QString, a TypedStreamUtf8 or a null value: what the functions above read. */
[[nodiscard]] bool isString(const QVariant &text);

} // namespace ArchivedGeometry
