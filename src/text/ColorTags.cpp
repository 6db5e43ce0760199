#include "ColorTags.h"

#include <array>

QColor colorForTag(int tag)
{
    if (tag < 0)
        return QColor::fromRgbF(0, 0, 0);
    static const std::array<QColor, 11> table = {
        QColor::fromRgbF(0, 0, 0, 0),
        QColor::fromRgbF(0, 0, 0),
        QColor::fromRgbF(0, 0, 1),
        QColor::fromRgbF(1, 0, 0),
        QColor::fromRgbF(1, 1, 0),
        QColor::fromRgbF(0, 1, 0),
        QColor::fromRgbF(1, 0.5f, 0),
        QColor::fromRgbF(0.5f, 0.5f, 0.5f),
        QColor::fromRgbF(0.5f, 0, 0.5f),
        QColor::fromRgbF(0.6f, 0.4f, 0.2f),
        QColor::fromRgbF(1, 1, 1),
    };
    const int index = tag % 20;
    return index < int(table.size()) ? table[size_t(index)] : QColor::fromRgbF(0, 0, 0);
}
