#include "TextHighlight.h"

#include "DocumentText.h"

#include <QTextCursor>
#include <QTextDocument>

namespace TextHighlight {

QColor backgroundColorForRange(const QTextDocument &document, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    if (span.start >= TextSpan::textLength(document))
        return Qt::white;
    const QTextCharFormat format = DocumentText::formatAt(document, span.start);
    const QBrush background = format.background();
    if (!format.hasProperty(QTextFormat::BackgroundBrush) || background.style() == Qt::NoBrush)
        return Qt::white;
    return background.color();
}

void setBackgroundColor(QTextDocument &document, const QColor &color, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    if (span.isEmpty() || !color.isValid())
        return;
    QTextCharFormat format;
    format.setBackground(color);
    QTextCursor cursor(&document);
    cursor.setPosition(span.start);
    cursor.setPosition(span.end, QTextCursor::KeepAnchor);
    cursor.beginEditBlock();
    cursor.mergeCharFormat(format);
    cursor.endEditBlock();
}

void removeBackgroundColorOfRange(QTextDocument &document, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    if (span.isEmpty())
        return;
    QTextCursor batch(&document);
    batch.beginEditBlock();
    DocumentText::clearProperties(document, span, {QTextFormat::BackgroundBrush});
    batch.endEditBlock();
}

} // namespace TextHighlight
