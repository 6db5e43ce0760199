#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

/**
 * Finding search keys inside one page's text, compared as CaseFolding folds
 * text (so "STRASSE" finds "Straße"), with positions in the text itself.
 *
 * The text is folded one character at a time, so a key and a text that only
 * compose alike (a letter with a separate combining accent against the
 * accented letter) do not find each other here.
 */
namespace TextFinding {

/** A found key: where it starts in the text and how many UTF-16 units it covers. */
struct Range
{
    qsizetype start = 0;
    qsizetype length = 0;
    friend bool operator==(const Range &, const Range &) = default;
};

/**
 * The occurrence of a non-empty key of @p keys that starts first at or after
 * @p from, the key listed first winning a tie; none when no key occurs
 * there. It never wraps to the start of the text.
 */
[[nodiscard]] std::optional<Range> findFirst(QStringView text, const QStringList &keys, qsizetype from);

/** The last occurrence of a key that ends at or before @p before (the earlier start wins); none without one. */
[[nodiscard]] std::optional<Range> findLast(QStringView text, const QStringList &keys, qsizetype before);

/** Every occurrence of every non-empty key, in text order, at most @p limit of them. */
[[nodiscard]] QList<Range> findAll(QStringView text, const QStringList &keys, qsizetype limit);

} // namespace TextFinding
