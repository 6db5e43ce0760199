#include "ArchivedValues.h"

#include <algorithm>

namespace {

ArchivedColor make(ArchivedColor::Kind kind, QList<float> components)
{
    ArchivedColor color;
    color.kind = kind;
    color.components = std::move(components);
    return color;
}

} // namespace

ArchivedColor ArchivedColor::calibratedRGB(float r, float g, float b, float a)
{
    return make(CalibratedRGB, {r, g, b, a});
}

ArchivedColor ArchivedColor::deviceRGB(float r, float g, float b, float a)
{
    return make(DeviceRGB, {r, g, b, a});
}

ArchivedColor ArchivedColor::calibratedWhite(float white, float alpha)
{
    return make(CalibratedWhite, {white, alpha});
}

ArchivedColor ArchivedColor::deviceWhite(float white, float alpha)
{
    return make(DeviceWhite, {white, alpha});
}

ArchivedColor ArchivedColor::clear()
{
    return calibratedWhite(0, 0);
}

ArchivedColor ArchivedColor::fromColor(const QColor &color)
{
    const QColor rgb = color.toRgb();
    return deviceRGB(float(rgb.redF()), float(rgb.greenF()), float(rgb.blueF()), float(rgb.alphaF()));
}

QColor ArchivedColor::toColor() const
{
    const auto c = [this](int i) {
        return std::clamp(components.value(i), 0.0f, 1.0f);
    };
    switch (kind) {
    case CalibratedRGB:
    case DeviceRGB:
        if (components.size() == 4)
            return QColor::fromRgbF(c(0), c(1), c(2), c(3));
        break;
    case CalibratedWhite:
    case DeviceWhite:
        if (components.size() == 2)
            return QColor::fromRgbF(c(0), c(0), c(0), c(1));
        break;
    case DeviceCMYK:
        if (components.size() == 5)
            return QColor::fromCmykF(c(0), c(1), c(2), c(3), c(4));
        break;
    case Catalog:
        if (fallback.canConvert<ArchivedColor>())
            return fallback.value<ArchivedColor>().toColor();
        break;
    }
    return QColor();
}

ArchivedCalendarDate ArchivedCalendarDate::fromDateTime(const QDateTime &dateTime)
{
    ArchivedCalendarDate date;
    date.dateTime = dateTime.toUTC();
    date.format = QStringLiteral("%Y-%m-%d %H:%M:%S %z");
    return date;
}
