#include "WindowFrames.h"

#include <algorithm>
#include <cmath>

namespace WindowFrames {

namespace {

int rounded(double value)
{
    // Damaged records may hold anything; keep far-off values far off without overflowing.
    if (!std::isfinite(value))
        return 0;
    return int(std::lround(std::clamp(value, -1.0e6, 1.0e6)));
}

// The strip along the top of a window by which it is grabbed and moved.
QRect titleStrip(const QRect &frame)
{
    return {frame.left(), frame.top(), frame.width(), std::min(frame.height(), 24)};
}

} // namespace

QRect toScreen(const QRectF &stored, int primaryHeight)
{
    const int width = rounded(stored.width());
    const int height = rounded(stored.height());
    return {rounded(stored.x()), primaryHeight - rounded(stored.y()) - height, width, height};
}

QRectF fromScreen(const QRect &frame, int primaryHeight)
{
    return QRectF(frame.x(), primaryHeight - frame.y() - frame.height(), frame.width(), frame.height());
}

QRect keptOnScreen(const QRect &frame, const QList<QRect> &screens, QSize fallbackSize)
{
    if (screens.isEmpty())
        return frame;
    QRect kept = frame;
    if (kept.width() < kMinimumSide || kept.height() < kMinimumSide)
        kept.setSize(fallbackSize);

    const QRect strip = titleStrip(kept);
    const auto shows = [&](const QRect &screen) {
        const QRect seen = screen.intersected(strip);
        return seen.width() * 3 >= strip.width() && seen.height() > 0;
    };
    const auto home = std::find_if(screens.begin(), screens.end(), shows);
    const QRect screen = home != screens.end() ? *home : screens.front();

    kept.setWidth(std::min(kept.width(), screen.width()));
    kept.setHeight(std::min(kept.height(), screen.height()));
    if (home == screens.end() || !screen.contains(kept)) {
        // Pulled in just far enough to be whole on its screen.
        kept.moveLeft(std::clamp(kept.left(), screen.left(), screen.right() + 1 - kept.width()));
        kept.moveTop(std::clamp(kept.top(), screen.top(), screen.bottom() + 1 - kept.height()));
    }
    return kept;
}

} // namespace WindowFrames
