#include "DocumentText.h"

#include "platform/richtext/TextAttachment.h"

#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>
#include <tuple>
#include <vector>

namespace DocumentText {

QString withParagraphSeparators(QString text)
{
    text.replace(u'\n', QChar::ParagraphSeparator);
    return text;
}

QTextCharFormat formatAt(const QTextDocument &document, int position)
{
    const QTextBlock block = document.findBlock(position);
    if (!block.isValid())
        return {};
    // The separator at the block's end belongs to no fragment the iterator shows.
    const int probe = position >= block.position() + block.length() - 1 ? position - 1 : position;
    QTextCharFormat last = block.charFormat();
    for (auto it = block.begin(); !it.atEnd(); ++it) {
        const QTextFragment fragment = it.fragment();
        if (fragment.contains(probe))
            return fragment.charFormat();
        last = fragment.charFormat();
    }
    return last;
}

QTextCharFormat insertionFormat(const QTextDocument &document, int position)
{
    return textFormat(formatAt(document, std::max(0, position - 1)));
}

void clearProperties(QTextDocument &document, TextSpan span, const QList<int> &properties)
{
    if (span.isEmpty())
        return;
    // Collected first: rewriting a format splits and merges the fragments being walked.
    std::vector<std::tuple<int, int, QTextCharFormat>> pieces;
    forEachFragment(document, span, [&](const QTextFragment &fragment, int first, int last) {
        QTextCharFormat format = fragment.charFormat();
        bool changed = false;
        for (const int property : properties) {
            changed = changed || format.hasProperty(property);
            format.clearProperty(property);
        }
        if (changed)
            pieces.emplace_back(first, last, format);
        return true;
    });
    QTextCursor cursor(&document);
    for (const auto &[first, last, format] : pieces) {
        cursor.setPosition(first);
        cursor.setPosition(last, QTextCursor::KeepAnchor);
        cursor.setCharFormat(format);
    }
}

QTextCharFormat textFormat(QTextCharFormat format)
{
    if (!format.isImageFormat())
        return format;
    for (const int property : {int(QTextFormat::ObjectType), int(QTextFormat::ImageName), int(QTextFormat::ImageTitle),
             int(QTextFormat::ImageAltText), int(QTextFormat::ImageWidth), int(QTextFormat::ImageHeight),
             int(QTextFormat::ImageQuality), TextAttachments::FileNameProperty})
        format.clearProperty(property);
    return format;
}

} // namespace DocumentText
