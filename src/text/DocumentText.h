#pragma once

#include "TextSpan.h"

#include <QList>
#include <QString>
#include <QTextBlock>
#include <QTextCharFormat>
#include <QTextDocument>

#include <algorithm>

/**
 * Reading and rewriting a QTextDocument's character formats at positions,
 * for the operations of the text layer that search, replace or restyle.
 */
namespace DocumentText {

/**
 * @p text as it would stand in a document's raw text: each "\n" becomes the
 * paragraph separator (U+2029) that a document holds between blocks.
 */
[[nodiscard]] QString withParagraphSeparators(QString text);

/**
 * The format of the character at @p position. A paragraph break lends the
 * format of the text before it (the last character of its paragraph), or the
 * paragraph's own character format when the paragraph is empty.
 */
[[nodiscard]] QTextCharFormat formatAt(const QTextDocument &document, int position);

/**
 * The format that text inserted at @p position takes: that of the character
 * before it, or of the character at it at the start of the text; never a
 * picture's (see textFormat()).
 */
[[nodiscard]] QTextCharFormat insertionFormat(const QTextDocument &document, int position);

/**
 * Calls @p visit(fragment, first, last) for each format run of @p document
 * that overlaps @p span, with the part inside the span as [first, last), in
 * order. Stops early when @p visit answers false.
 */
template<typename Visit> void forEachFragment(const QTextDocument &document, TextSpan span, Visit visit)
{
    if (span.isEmpty())
        return;
    for (QTextBlock block = document.findBlock(span.start); block.isValid() && block.position() < span.end;
         block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const int first = std::max(fragment.position(), span.start);
            const int last = std::min(fragment.position() + fragment.length(), span.end);
            if (first < last && !visit(fragment, first, last))
                return;
        }
    }
}

/**
 * Removes @p properties from every character format in @p span, keeping the
 * rest of each format. The caller opens the edit block.
 */
void clearProperties(QTextDocument &document, TextSpan span, const QList<int> &properties);

/**
 * @p format without what makes it a picture or an attachment, for text that
 * takes the attributes of a character it replaces: text never becomes a picture.
 */
[[nodiscard]] QTextCharFormat textFormat(QTextCharFormat format);

} // namespace DocumentText
