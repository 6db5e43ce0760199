#include "NumberUtility.h"

#include "LocalizedCharacters.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kMinute = 60;
constexpr double kHour = 3600;
constexpr double kDay = 86400;

// A number as the platform prints a number object: the fewest significant
// digits that read back as the same value, in the style of "%g" with room
// for all of them ("1000000", "0.25", "1e-05").
QString plainText(double value)
{
    for (int precision = 15; precision < 17; ++precision) {
        const QString text = QString::asprintf("%.*g", precision, value);
        if (text.toDouble() == value)
            return text;
    }
    return QString::asprintf("%.17g", value);
}

// "0" before a count of one digit, so that "01 Hours" lines up with "12 Hours".
QString paddedCount(double count, const QString &unit)
{
    return QString::asprintf(count <= 9 ? "0%.0f" : "%.0f", count) + unit;
}

} // namespace

namespace NumberUtility {

bool hasAnyKey(double value, const QList<double> &numbers)
{
    return std::find(numbers.cbegin(), numbers.cend(), value) != numbers.cend();
}

QString timeStringFromSecond(double seconds)
{
    if (seconds < 0)
        return QString();
    const LocalizedCharacters &words = LocalizedCharacters::forThisThread();
    if (seconds > kHour) {
        const double hours = seconds / kHour;
        // Ten hours and more keep their whole digits and nothing after them.
        const qsizetype digits = hours < 10 ? 3 : QString::asprintf("%.0f", std::floor(hours)).size();
        return plainText(hours).left(digits) + words.hours;
    }
    if (seconds > kMinute) {
        const double minutes = seconds / kMinute;
        return plainText(minutes).left(minutes < 10 ? 3 : 2) + words.minutes;
    }
    const qsizetype digits = seconds < 1 ? 3 : (seconds < 10 ? 1 : 2);
    return plainText(seconds).left(digits) + words.seconds;
}

QString detailedTimeStringFromSecond(double seconds)
{
    if (seconds < 0)
        return QString();
    const LocalizedCharacters &words = LocalizedCharacters::forThisThread();
    QString text;
    bool wroteDays = false;
    bool wroteHours = false;
    if (seconds > kDay) {
        const double days = std::trunc(seconds / kDay);
        text += QString::asprintf("%.0f", days) + words.days;
        seconds -= days * kDay;
        wroteDays = true;
    }
    if (seconds > kHour) {
        const double hours = std::trunc(seconds / kHour);
        text += paddedCount(hours, words.hours);
        seconds -= hours * kHour;
        wroteHours = true;
    } else if (wroteDays) {
        text += QLatin1String("00") + words.hours;
    }
    if (seconds > kMinute) {
        const double minutes = std::trunc(seconds / kMinute);
        text += paddedCount(minutes, words.minutes);
        seconds -= minutes * kMinute;
    } else if (wroteDays || wroteHours) {
        text += QLatin1String("00") + words.minutes;
    }
    text += QString::asprintf(seconds < 10 ? "0%.2f" : "%.2f", seconds) + words.seconds;
    return text;
}

} // namespace NumberUtility
