#pragma once

#include <QDateTime>
#include <QString>

/**
 * Dates in calendar notation: "%Y-%m-%d %H:%M", the notation in which the
 * strings tables give every date format ("DateStampFormat", the summary's
 * "%m/%d/%y %H:%M"), so that translators keep writing them the same way.
 */
namespace CalendarFormat {

/**
 * @p calendarFormat as a QDateTime format, everything but the fields quoted.
 * Known fields: %Y %y %m %d %e %H %I %M %S %p %b %B %a %A; "%%" is a percent
 * sign, and any other "%x" stands for "x".
 */
[[nodiscard]] QString qtDateFormat(const QString &calendarFormat);

/** @p dateTime written in @p calendarFormat, with the user's month and day names. */
[[nodiscard]] QString format(const QDateTime &dateTime, const QString &calendarFormat);

} // namespace CalendarFormat
