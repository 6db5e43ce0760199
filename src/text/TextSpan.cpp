#include "TextSpan.h"

#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>
#include <limits>

TextSpan TextSpan::fit(const TextRange &range, qint64 textLength)
{
    // Positions of a QTextDocument are ints: a longer text cannot occur there.
    const qint64 length = std::clamp<qint64>(textLength, 0, std::numeric_limits<int>::max());
    const qint64 start = std::clamp<qint64>(range.location, 0, length);
    const qint64 size = std::clamp<qint64>(range.length, 0, length - start);
    return {int(start), int(start + size)};
}

TextSpan TextSpan::fit(const TextRange &range, const QTextDocument &document)
{
    return fit(range, textLength(document));
}

TextSpan TextSpan::whole(const QTextDocument &document)
{
    return {0, textLength(document)};
}

TextSpan TextSpan::selection(const QTextCursor &cursor)
{
    if (cursor.isNull())
        return {};
    return fit(TextRange{cursor.selectionStart(), cursor.selectionEnd() - cursor.selectionStart()}, *cursor.document());
}

int TextSpan::textLength(const QTextDocument &document)
{
    // characterCount() includes the paragraph separator that ends every document.
    return std::max(0, document.characterCount() - 1);
}
