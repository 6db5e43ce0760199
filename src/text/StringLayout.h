#pragma once

#include <QSizeF>
#include <QString>
#include <QTextOption>

#include <memory>

class QFont;
class QTextDocument;

/** Measuring and laying out plain strings, for views that draw text themselves. */
namespace StringLayout {

/**
 * The size @p text takes when drawn in @p font: the width of its widest line
 * and the height of all its lines. Line breaks start new lines and tabs
 * expand; nothing wraps.
 */
[[nodiscard]] QSizeF sizeForFont(const QString &text, const QFont &font);

/**
 * A document holding @p text as plain text whose lines break by @p mode
 * when it is laid out to a width: QTextOption::WordWrap at word boundaries,
 * WrapAnywhere between any characters, NoWrap not at all (long lines are
 * clipped by whoever draws them).
 */
[[nodiscard]] std::unique_ptr<QTextDocument> lineBreakedString(const QString &text, QTextOption::WrapMode mode);

} // namespace StringLayout
