#pragma once

#include <QString>

#include <optional>

/**
 * Cutting text at markers, stripping tags and escaping: the operations that
 * take text apart for import, clipping and the strings files. Lengths and
 * positions count UTF-16 code units. None changes its argument; an operation
 * that finds nothing answers an empty optional.
 */
namespace StringUtility {

/** A span of text: @c length code units from @c location. */
struct Range
{
    qsizetype location = 0;
    qsizetype length = 0;

    [[nodiscard]] qsizetype end() const { return location + length; }
    [[nodiscard]] bool isEmpty() const { return length == 0; }
    friend bool operator==(const Range &, const Range &) = default;
};

/** @p text with every occurrence of @p part deleted (case-sensitive); @p text itself for an empty @p part. */
[[nodiscard]] QString removeString(const QString &text, const QString &part);

/** @p text with every occurrence of @p from replaced by @p to (literal, case-sensitive); @p text itself for an empty @p from. */
[[nodiscard]] QString replaceStringFrom(const QString &text, const QString &from, const QString &to);

/**
 * The span from the first @p start to the end of the first @p end that
 * begins after it (literal, case-sensitive). An empty range at 0 when either
 * marker or @p text is empty or a marker is missing: test isEmpty().
 */
[[nodiscard]] Range rangeOfStringFrom(const QString &text, const QString &start, const QString &end);

/**
 * As above, searching @p start inside @p within and @p end from there to the
 * end of @p within. A @p within that leaves the text finds nothing.
 */
[[nodiscard]] Range rangeOfStringFrom(const QString &text, const QString &start, const QString &end, Range within);

/**
 * Takes the text that rangeOfStringFrom() finds and deletes every occurrence
 * of that exact text, not only the first span; @p text itself when the
 * range is empty.
 */
[[nodiscard]] QString removeStringFrom(const QString &text, const QString &start, const QString &end);

/**
 * Deletes every span that runs from a @p start through the next @p end
 * (literal, case-sensitive). A @p start without a later @p end, and all that
 * follows it, stays. Empty markers delete nothing.
 */
[[nodiscard]] QString removeAllStringStartFrom(const QString &text, const QString &start, const QString &end);

/**
 * The text strictly between the first @p start and the next @p end after it,
 * both found without regard to case. Nothing when a marker is empty or
 * missing or when nothing stands between them.
 */
[[nodiscard]] std::optional<QString> substringFrom(const QString &text, const QString &start, const QString &end);

/**
 * As above, with @p start searched (case-insensitive) inside @p within but
 * @p end searched from there to the end of the whole text, not of
 * @p within. Nothing when @p within leaves the text.
 */
[[nodiscard]] std::optional<QString> substringFrom(
    const QString &text, const QString &start, const QString &end, Range within);

/** The text after the first @p start (case-insensitive); nothing when it is missing or ends the text. */
[[nodiscard]] std::optional<QString> substringFrom(const QString &text, const QString &start);

/** The text before the first @p end (case-insensitive); nothing when it is missing or starts the text. */
[[nodiscard]] std::optional<QString> substringTo(const QString &text, const QString &end);

/** substringFrom() with @p backward off; the text after the last @p start with it on. */
[[nodiscard]] std::optional<QString> substringFromBackward(const QString &text, const QString &start, bool backward);

/** substringTo() with @p backward off; the text before the last @p end with it on. */
[[nodiscard]] std::optional<QString> substringToBackward(const QString &text, const QString &end, bool backward);

/** Removes every tag ("<" through the next ">"), then decodes entities with arrangeHTMLString(). */
[[nodiscard]] QString removeAllHTMLTag(const QString &html);

/**
 * Decodes "&lt;", "&gt;", "&amp;", "&quot;" and "&nbsp;" (to a plain space),
 * in that order and nothing else: "&amp;lt;" becomes "&lt;" and stays so.
 */
[[nodiscard]] QString arrangeHTMLString(const QString &html);

/**
 * Undoes the escaping of a strings file, in this order: a doubled backslash
 * becomes one; backslash-quote becomes a quote, and then every quote becomes
 * backslash-quote again; backslash-semicolon becomes a semicolon; and
 * backslash, backslash, "n" becomes a line break.
 */
[[nodiscard]] QString escapeForStringsFile(const QString &text);

/**
 * @p text percent-escaped as UTF-8 for a URL. Letters, digits and
 * "-._~!#$&'()*+,/:;=?@" stay; every other character, "%" included, is
 * escaped. When the only change would be "%" to "%25", @p text is taken to
 * be escaped already and comes back unchanged.
 */
[[nodiscard]] QString escapedStringWithPercent(const QString &text);

/**
 * Puts a backslash before every @p character in @p text, unless one is
 * already there or the character stands within the first two code units
 * (the text before it is then too short to need it).
 */
[[nodiscard]] QString stringByAppendingBackSlashForCharacter(const QString &text, const QString &character);

/**
 * Where to cut a long text so that the first piece holds at most @p limit
 * code units: just after the last line break among the 200 code units
 * before @p limit, else after the last ".", else after the last ideographic
 * comma ("Touten Character"), else at @p limit. The text's length when it
 * is no longer than @p limit.
 */
[[nodiscard]] qsizetype dividePointUpToLength(const QString &text, qsizetype limit);

} // namespace StringUtility
