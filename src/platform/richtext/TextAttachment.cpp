#include "TextAttachment.h"

#include "platform/base/FreeFileName.h"

#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QSet>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QUrl>

namespace {

// QTextDocument keys its resources by URL alone, whatever their type, so the
// picture and the original bytes need URLs of their own.
QUrl resourceUrl(const QString &fileName)
{
    QUrl url;
    url.setScheme(QStringLiteral("jw-attachment"));
    url.setPath(fileName);
    return url;
}

QUrl bytesUrl(const QString &fileName)
{
    QUrl url;
    url.setScheme(QStringLiteral("jw-attachment-bytes"));
    url.setPath(fileName);
    return url;
}

// What a file that is no picture shows: a page with its extension on it.
QImage placeholderFor(const QString &fileName)
{
    QImage image(48, 60, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(120, 120, 120), 1.5));
    painter.setBrush(QColor(250, 250, 250));
    painter.drawRoundedRect(QRectF(2, 2, 44, 56), 3, 3);
    QFont font = painter.font();
    font.setPixelSize(11);
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(QColor(80, 80, 80));
    painter.drawText(QRectF(2, 2, 44, 56), Qt::AlignCenter, QFileInfo(fileName).suffix().toUpper().left(5));
    return image;
}

QSet<QString> usedFileNames(const QTextDocument &document)
{
    QSet<QString> names;
    for (const auto &entry : TextAttachments::all(document))
        names.insert(entry.second.fileName);
    return names;
}

} // namespace

QTextImageFormat TextAttachments::insert(QTextCursor &cursor, TextAttachment attachment)
{
    QTextDocument *document = cursor.document();
    attachment.fileName = uniqueFileName(*document, attachment.fileName);
    const QUrl url = resourceUrl(attachment.fileName);

    QImage image = QImage::fromData(attachment.bytes);
    if (image.isNull())
        image = placeholderFor(attachment.fileName);
    document->addResource(AttachmentBytes, bytesUrl(attachment.fileName), attachment.bytes);
    document->addResource(QTextDocument::ImageResource, url, image);

    QTextImageFormat format;
    format.setName(url.toString());
    format.setProperty(FileNameProperty, attachment.fileName);
    if (!attachment.displaySize.isEmpty()) {
        format.setWidth(attachment.displaySize.width());
        format.setHeight(attachment.displaySize.height());
    }
    cursor.insertImage(format);
    return format;
}

std::optional<TextAttachment> TextAttachments::fromFormat(const QTextDocument &document, const QTextFormat &format)
{
    if (!format.isImageFormat() || !format.hasProperty(FileNameProperty))
        return std::nullopt;
    const QTextImageFormat image = format.toImageFormat();
    TextAttachment attachment;
    attachment.fileName = image.stringProperty(FileNameProperty);
    attachment.bytes = document.resource(AttachmentBytes, bytesUrl(attachment.fileName)).toByteArray();
    if (image.hasProperty(QTextFormat::ImageWidth) && image.hasProperty(QTextFormat::ImageHeight))
        attachment.displaySize = QSizeF(image.width(), image.height());
    return attachment;
}

QList<std::pair<int, TextAttachment>> TextAttachments::all(const QTextDocument &document)
{
    QList<std::pair<int, TextAttachment>> result;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            if (!fragment.isValid() || !fragment.charFormat().isImageFormat())
                continue;
            // A fragment of several equal image characters stands for as many attachments.
            if (auto attachment = fromFormat(document, fragment.charFormat())) {
                for (int i = 0; i < fragment.length(); ++i)
                    result.append({fragment.position() + i, *attachment});
            }
        }
    }
    return result;
}

QString TextAttachments::uniqueFileName(const QTextDocument &document, const QString &wanted)
{
    const QString base = wanted.isEmpty() ? QStringLiteral("Attachment") : wanted;
    const QSet<QString> used = usedFileNames(document);
    const QFileInfo info(base);
    const QString stem = info.completeBaseName();
    const QString suffix = info.suffix().isEmpty() ? QString() : u'.' + info.suffix();
    return FreeFileName::firstFree(
        base, [&](int n) -> QString { return QStringLiteral("%1 %2%3").arg(stem).arg(n).arg(suffix); }, 2,
        [&used](const QString &name) { return used.contains(name); });
}
