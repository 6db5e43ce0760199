#pragma once

#include "util/GeometryStrings.h"

class QTextCursor;
class QTextDocument;

/**
 * A TextRange fitted into one text: 0 <= start <= end <= the text's length.
 *
 * Every operation of the text layer takes a TextRange from its caller and
 * works on the TextSpan made of it, so a range that starts or runs past the
 * end, runs backwards or has a negative length is cut to the text instead of
 * reaching outside it.
 */
struct TextSpan
{
    int start = 0;
    int end = 0;

    [[nodiscard]] bool isEmpty() const { return start == end; }
    [[nodiscard]] int length() const { return end - start; }
    [[nodiscard]] TextRange toRange() const { return {start, end - start}; }

    /** @p range cut to a text of @p textLength characters. */
    [[nodiscard]] static TextSpan fit(const TextRange &range, qint64 textLength);
    /** @p range cut to @p document's text. */
    [[nodiscard]] static TextSpan fit(const TextRange &range, const QTextDocument &document);
    /** The whole text of @p document. */
    [[nodiscard]] static TextSpan whole(const QTextDocument &document);
    /** The selection of @p cursor; empty for a null cursor. */
    [[nodiscard]] static TextSpan selection(const QTextCursor &cursor);

    /** The number of characters of @p document's text, without the end-of-document mark. */
    [[nodiscard]] static int textLength(const QTextDocument &document);

    friend bool operator==(const TextSpan &, const TextSpan &) = default;
};
