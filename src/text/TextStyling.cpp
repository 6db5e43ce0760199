#include "TextStyling.h"

#include "DocumentText.h"

#include <QFont>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

namespace {

void merge(QTextDocument &document, TextSpan span, const QTextCharFormat &format)
{
    QTextCursor cursor(&document);
    cursor.setPosition(span.start);
    cursor.setPosition(span.end, QTextCursor::KeepAnchor);
    cursor.mergeCharFormat(format);
}

// The font shown at @p position: its format's font over the document's default.
QFont fontAt(const QTextDocument &document, int position)
{
    return DocumentText::formatAt(document, position).font().resolve(document.defaultFont());
}

QStringList familiesOf(const QFont &font)
{
    const QStringList families = font.families();
    return families.isEmpty() ? QStringList{font.family()} : families;
}

// Character attributes that resetting the font removes, each with the
// property or properties that hold it in a QTextCharFormat.
const QList<int> &resetProperties()
{
    static const QList<int> properties = {
        QTextFormat::ForegroundBrush,
        QTextFormat::BackgroundBrush,
        QTextFormat::FontUnderline,
        QTextFormat::TextUnderlineStyle,
        QTextFormat::TextUnderlineColor,
        QTextFormat::TextVerticalAlignment,
        QTextFormat::TextBaselineOffset,
        QTextFormat::TextSuperScriptBaseline,
        QTextFormat::TextSubScriptBaseline,
        QTextFormat::FontLetterSpacing,
        QTextFormat::FontLetterSpacingType,
        QTextFormat::FontKerning,
        QTextFormat::TextOutline,
        QTextFormat::FontStretch,
        QTextFormat::TextToolTip,
    };
    return properties;
}

} // namespace

namespace TextStyling {

bool setAttribute(QTextDocument &document, int property, const QVariant &value, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    if (span.isEmpty() || property <= 0)
        return false;
    QTextCursor batch(&document);
    batch.beginEditBlock();
    if (value.isValid()) {
        QTextCharFormat format;
        format.setProperty(property, value);
        merge(document, span, format);
    } else {
        DocumentText::clearProperties(document, span, {property});
    }
    batch.endEditBlock();
    return true;
}

void changeTextColor(QTextDocument &document, const QColor &color, const TextRange &range)
{
    if (color.isValid())
        setAttribute(document, QTextFormat::ForegroundBrush, QBrush(color), range);
}

void changeFontSize(QTextDocument &document, qreal pointSize, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    if (span.isEmpty() || !(pointSize > 0))
        return;
    const QFont font = fontAt(document, span.start);
    QTextCharFormat format;
    format.setFontFamilies(familiesOf(font));
    format.setFontWeight(font.weight());
    format.setFontItalic(font.italic());
    format.setFontPointSize(pointSize);
    QTextCursor batch(&document);
    batch.beginEditBlock();
    merge(document, span, format);
    batch.endEditBlock();
}

void changeTextFont(QTextDocument &document, const QString &family, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    if (span.isEmpty() || family.isEmpty())
        return;
    const QFont font = fontAt(document, span.start);
    QTextCharFormat format;
    format.setFontFamilies({family});
    if (font.pointSizeF() > 0)
        format.setFontPointSize(font.pointSizeF());
    QTextCursor batch(&document);
    batch.beginEditBlock();
    merge(document, span, format);
    batch.endEditBlock();
}

void initializeFontInRange(
    QTextDocument &document, const TextRange &range, const std::optional<QFont> &font, bool deleteLink)
{
    const TextSpan span = TextSpan::fit(range, document);
    if (span.isEmpty())
        return;
    QTextCursor cursor(&document);
    cursor.beginEditBlock();
    // A paragraph's formatting is that of its first character: only the
    // paragraphs that start inside the range lose theirs.
    for (QTextBlock block = document.findBlock(span.start); block.isValid() && block.position() < span.end;
         block = block.next()) {
        if (block.position() >= span.start) {
            cursor.setPosition(block.position());
            cursor.setBlockFormat(QTextBlockFormat());
        }
    }
    QList<int> properties = resetProperties();
    if (deleteLink)
        properties << QTextFormat::IsAnchor << QTextFormat::AnchorHref;
    DocumentText::clearProperties(document, span, properties);
    if (font) {
        QTextCharFormat format;
        format.setFont(*font);
        // The font brings no decoration: strike-through stays as it was, and
        // underline and overline were removed above or are left alone.
        for (const int property : {QTextFormat::FontUnderline, QTextFormat::TextUnderlineStyle,
                 QTextFormat::FontOverline, QTextFormat::FontStrikeOut})
            format.clearProperty(property);
        merge(document, span, format);
    }
    cursor.endEditBlock();
}

TextRange clipRange(QTextDocument &document, const TextRange &range, const QString &tag, const QString &endTag,
    const QColor &tagColor, const QColor &stringColor)
{
    const TextSpan span = TextSpan::fit(range, document);
    const QColor tagForeground = tagColor.isValid() ? tagColor : QColor(Qt::black);
    QTextCursor cursor(&document);
    cursor.beginEditBlock();
    if (stringColor.isValid() && !span.isEmpty()) {
        QTextCharFormat format;
        format.setForeground(stringColor);
        merge(document, span, format);
    }
    // The closing tag first, so that the range's start stays where it is.
    const auto insertTag = [&](const QString &text, int position) {
        if (text.isEmpty())
            return;
        QTextCharFormat format = DocumentText::insertionFormat(document, position);
        format.setForeground(tagForeground);
        cursor.setPosition(position);
        cursor.insertText(text, format);
    };
    insertTag(endTag, span.end);
    insertTag(tag, span.start);
    cursor.endEditBlock();
    return {span.start, tag.size() + span.length() + endTag.size()};
}

} // namespace TextStyling
