#pragma once

/**
 * Font sizes as page files and preferences keep them, and as Qt lays them out.
 *
 * The files were written where one point is drawn as one logical pixel, 72
 * to the inch. Qt lays a point out at the screen's logical resolution, 96 to
 * the inch on an ordinary Linux desktop, so a stored size taken as it is
 * shows a third larger than it was written, and next to interface text it
 * looks outsized (a 14-point page beside 9-point menus). A stored size is
 * therefore scaled by 72/96 on its way into a QFont and back on its way out:
 * a page looks the size it looked where it was written, and a desktop that
 * raises its logical resolution to enlarge everything enlarges pages alike.
 *
 * The factor is exact in binary floating point, so a size read from a file
 * is written back as the same number.
 */
namespace PointSizes {

/** Qt points per stored point. */
inline constexpr double kQtPointsPerStoredPoint = 72.0 / 96.0;

/** The Qt point size that shows as @p stored points showed where the files come from. */
[[nodiscard]] constexpr double qtFromStored(double stored)
{
    return stored * kQtPointsPerStoredPoint;
}

/** The stored size of a Qt point size; the inverse of qtFromStored(). */
[[nodiscard]] constexpr double storedFromQt(double qt)
{
    return qt / kQtPointsPerStoredPoint;
}

} // namespace PointSizes
