#pragma once

#include <QList>
#include <QString>

/**
 * Number operations the application calls by name: matching numbers, the
 * four-operation calculator, and durations for people. Arithmetic on a
 * single number is plain double arithmetic and has no function here.
 */
namespace NumberUtility {

/** True when one of @p numbers equals @p value exactly. */
[[nodiscard]] bool hasAnyKey(double value, const QList<double> &numbers);

/**
 * The value of an arithmetic statement such as "(1+2)×3" or "1,000 + 1 =":
 * "+", "-", "*" and "/" ("×" too) with "*" and "/" before "+" and "-",
 * brackets of three kinds, commas, "=" and spaces ignored. Empty or
 * unbalanced statements give 0. A run of operators counts as "+", so "3*-2"
 * gives 5 and "5--2" gives 7: statements have always been read this way.
 * Operands are read like the C library's strtod in the "C" locale, text that
 * is no number as 0. Division by zero gives an infinity or NaN.
 */
[[nodiscard]] double numberWithCalcurationStatement(const QString &statement);

/**
 * @p statement with every group between @p open and @p close replaced by
 * its value (six decimals), innermost first; identical groups are replaced
 * together. "0" when the brackets do not pair up; @p statement itself when
 * it holds neither bracket or a bracket is empty.
 */
[[nodiscard]] QString expandBracketOfStatement(const QString &statement, const QString &open, const QString &close);

/**
 * A duration in one unit, the value cut rather than rounded: "1.5 Hours",
 * "1.5 Minutes", "7 Seconds", "0.2 Seconds". A unit is used only above one
 * of it (3600 seconds are "60 Minutes"). Empty for a negative duration.
 * The unit words come from the strings table "NumberUtility".
 */
[[nodiscard]] QString timeStringFromSecond(double seconds);

/**
 * A duration in days, hours, minutes and seconds, each unit only above one
 * of it and the smaller units written as "00" once a larger one was:
 * 90061 seconds give "1 Days01 Hours01 Minutes01.00 Seconds". The words
 * (with their leading spaces) are all that separates the parts. Empty for a
 * negative duration.
 */
[[nodiscard]] QString detailedTimeStringFromSecond(double seconds);

} // namespace NumberUtility
