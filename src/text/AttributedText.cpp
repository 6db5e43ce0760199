#include "AttributedText.h"

#include "DocumentText.h"
#include "platform/richtext/TextAttachment.h"

#include <QBuffer>
#include <QImage>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>

namespace {

// Calls @p visit with each attachment character in @p span and its attachment.
template<typename Visit> void forEachAttachment(const QTextDocument &document, TextSpan span, Visit visit)
{
    DocumentText::forEachFragment(document, span, [&](const QTextFragment &fragment, int first, int last) {
        if (!fragment.charFormat().isImageFormat())
            return true;
        const auto attachment = TextAttachments::fromFormat(document, fragment.charFormat());
        if (!attachment)
            return true;
        // Equal attachment characters side by side share one fragment.
        for (int position = first; position < last; ++position) {
            if (!visit(*attachment))
                return false;
        }
        return true;
    });
}

QTextCursor cursorAt(QTextDocument &document, qint64 index)
{
    QTextCursor cursor(&document);
    cursor.setPosition(TextSpan::fit(TextRange{index, 0}, document).start);
    return cursor;
}

QTextCharFormat colored(const QColor &color)
{
    QTextCharFormat format;
    format.setForeground(color.isValid() ? color : QColor(Qt::black));
    return format;
}

void insert(QTextDocument &document, const QString &text, const QTextCharFormat &format, qint64 index)
{
    if (text.isEmpty())
        return;
    QTextCursor cursor = cursorAt(document, index);
    cursor.beginEditBlock();
    cursor.insertText(text, format);
    cursor.endEditBlock();
}

} // namespace

namespace AttributedText {

QList<TextAttachment> attachments(const QTextDocument &document)
{
    return attachmentsInRange(document, TextSpan::whole(document).toRange());
}

QList<TextAttachment> attachmentsInRange(const QTextDocument &document, const TextRange &range)
{
    QList<TextAttachment> result;
    forEachAttachment(document, TextSpan::fit(range, document), [&](const TextAttachment &attachment) {
        result.append(attachment);
        return true;
    });
    return result;
}

bool hasAttachmentInRange(const QTextDocument &document, const TextRange &range)
{
    bool found = false;
    forEachAttachment(document, TextSpan::fit(range, document), [&](const TextAttachment &attachment) {
        found = !attachment.bytes.isEmpty();
        return !found;
    });
    return found;
}

bool hasAttachment(const QTextDocument &document)
{
    return hasAttachmentInRange(document, TextSpan::whole(document).toRange());
}

void appendString(QTextDocument &document, const QString &text)
{
    insert(document, text, QTextCharFormat(), TextSpan::textLength(document));
}

void appendString(QTextDocument &document, const QString &text, const QColor &color)
{
    insert(document, text, colored(color), TextSpan::textLength(document));
}

void insertString(QTextDocument &document, const QString &text, qint64 index)
{
    insert(document, text, QTextCharFormat(), index);
}

void insertString(QTextDocument &document, const QString &text, const QColor &color, qint64 index)
{
    insert(document, text, colored(color), index);
}

bool insertImage(QTextDocument &document, const QImage &image, qint64 index, const QString &fileName)
{
    if (image.isNull())
        return false;
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG"))
        return false;
    QTextCursor cursor = cursorAt(document, index);
    cursor.beginEditBlock();
    TextAttachments::insert(cursor, {fileName, png, {}});
    cursor.endEditBlock();
    return true;
}

bool replaceStringFrom(QTextDocument &document, const QString &from, const QString &to)
{
    if (from.isEmpty())
        return false;
    const qsizetype found = document.toRawText().lastIndexOf(DocumentText::withParagraphSeparators(from));
    if (found < 0)
        return false;
    const int start = int(found);
    const QTextCharFormat format = DocumentText::textFormat(DocumentText::formatAt(document, start));
    QTextCursor cursor(&document);
    cursor.setPosition(start);
    cursor.setPosition(start + int(from.size()), QTextCursor::KeepAnchor);
    cursor.beginEditBlock();
    cursor.insertText(to, format);
    cursor.endEditBlock();
    return true;
}

void replaceReturnCode(QTextDocument &document)
{
    QTextCursor batch(&document);
    batch.beginEditBlock();
    replaceStringFrom(document, QStringLiteral("\r\n"), QStringLiteral("\n"));
    replaceStringFrom(document, QStringLiteral("\r"), QStringLiteral("\n"));
    batch.endEditBlock();
}

QList<QTextDocumentFragment> componentsSeparatedByString(const QTextDocument &document, const QString &separator)
{
    const QString text = document.toRawText();
    const QString needle = DocumentText::withParagraphSeparators(separator);
    qsizetype found = separator.isEmpty() ? -1 : text.indexOf(needle);
    if (found < 0)
        return {QTextDocumentFragment(&document)};

    QList<QTextDocumentFragment> components;
    // A cursor needs a mutable document; this one only selects and reads.
    QTextCursor cursor(const_cast<QTextDocument *>(&document));
    qsizetype start = 0;
    while (found >= 0) {
        cursor.setPosition(int(start));
        cursor.setPosition(int(found), QTextCursor::KeepAnchor);
        components.append(QTextDocumentFragment(cursor));
        // The separator counts as one character, whatever its length.
        start = found + 1;
        found = text.indexOf(needle, start);
    }
    return components;
}

} // namespace AttributedText
