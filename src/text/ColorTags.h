#pragma once

#include <QColor>

/**
 * The colour a colour menu item stands for, by its tag modulo 20:
 *
 * | tag % 20 | colour |
 * |---|---|
 * | 0 | transparent (black with alpha 0) |
 * | 1 | black |
 * | 2 | blue |
 * | 3 | red |
 * | 4 | yellow |
 * | 5 | green |
 * | 6 | orange |
 * | 7 | middle grey (0.5, 0.5, 0.5) |
 * | 8 | purple |
 * | 9 | brown |
 * | 10 | white |
 *
 * Tags 11 to 19 (after the modulo) and negative tags give black. The named
 * colours are the standard named colours of a desktop palette, not the SVG
 * colours of the same names: green is pure green, orange is (1, 0.5, 0),
 * purple (0.5, 0, 0.5) and brown (0.6, 0.4, 0.2).
 */
[[nodiscard]] QColor colorForTag(int tag);
