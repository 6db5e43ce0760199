#pragma once

#include <QList>
#include <QRect>
#include <QRectF>

/**
 * Window frames as the window record stores them and as the screen shows
 * them. Stored frames count from the bottom-left corner of the primary
 * screen, y growing upwards, as the record's original platform wrote them;
 * Qt counts from the top-left, y growing downwards. A data folder brought
 * over keeps its windows where they were, and frames written here read back
 * the same there.
 */
namespace WindowFrames {

/** The smallest window the record may ask for; anything smaller is taken as damaged. */
inline constexpr int kMinimumSide = 48;

/** The screen rectangle of @p stored, flipped against a primary screen @p primaryHeight high. */
[[nodiscard]] QRect toScreen(const QRectF &stored, int primaryHeight);
/** The stored form of the screen rectangle @p frame. */
[[nodiscard]] QRectF fromScreen(const QRect &frame, int primaryHeight);

/**
 * @p frame made usable on @p screens (their available areas): a frame
 * smaller than kMinimumSide either way becomes @p fallbackSize; one that
 * no screen shows enough of (a third of its title strip) is moved onto the
 * first screen; one larger than its screen is shrunk to fit.
 */
[[nodiscard]] QRect keptOnScreen(const QRect &frame, const QList<QRect> &screens, QSize fallbackSize);

} // namespace WindowFrames
