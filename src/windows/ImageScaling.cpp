#include "ImageScaling.h"

#include <QAbstractTextDocumentLayout>
#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QTextDocument>
#include <QTextImageFormat>
#include <QUrl>

namespace {

QImage imageOf(QTextDocument *document, const QTextImageFormat &format)
{
    const QVariant resource = document->resource(QTextDocument::ImageResource, QUrl(format.name()));
    if (resource.canConvert<QImage>())
        return resource.value<QImage>();
    if (resource.canConvert<QPixmap>())
        return resource.value<QPixmap>().toImage();
    return {};
}

} // namespace

ImageScaling *ImageScaling::install(QTextDocument &document)
{
    if (auto *existing = document.findChild<ImageScaling *>(QString(), Qt::FindDirectChildrenOnly))
        return existing;
    auto *scaling = new ImageScaling(document);
    document.documentLayout()->registerHandler(QTextFormat::ImageObject, scaling);
    return scaling;
}

void ImageScaling::reinstall(QTextDocument &document)
{
    if (auto *existing = document.findChild<ImageScaling *>(QString(), Qt::FindDirectChildrenOnly))
        document.documentLayout()->registerHandler(QTextFormat::ImageObject, existing);
}

ImageScaling::ImageScaling(QTextDocument &document)
    : QObject(&document)
    , m_document(&document)
{ }

void ImageScaling::setMaximumWidth(bool on, qreal width)
{
    if (m_on == on && (!on || qFuzzyCompare(m_width, width)))
        return;
    m_on = on;
    m_width = width;
    // Lays the text out again without touching its contents or its undo steps.
    if (m_document)
        m_document->markContentsDirty(0, m_document->characterCount());
}

QSizeF ImageScaling::naturalSize(QTextDocument *document, const QTextImageFormat &format) const
{
    const QImage image = imageOf(document, format);
    QSizeF size(
        format.width() > 0 ? format.width() : image.width(), format.height() > 0 ? format.height() : image.height());
    // Only one side given: the other keeps the picture's proportions.
    if (format.width() > 0 && format.height() <= 0 && image.width() > 0)
        size.setHeight(format.width() * image.height() / image.width());
    else if (format.height() > 0 && format.width() <= 0 && image.height() > 0)
        size.setWidth(format.height() * image.width() / image.height());
    return size;
}

QSizeF ImageScaling::intrinsicSize(QTextDocument *document, int, const QTextFormat &format)
{
    QSizeF size = naturalSize(document, format.toImageFormat());
    if (m_on && m_width > 0 && size.width() > m_width)
        size = QSizeF(m_width, size.height() * m_width / size.width());
    return size;
}

void ImageScaling::drawObject(
    QPainter *painter, const QRectF &rect, QTextDocument *document, int, const QTextFormat &format)
{
    const QImage image = imageOf(document, format.toImageFormat());
    if (image.isNull())
        return;
    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(rect, image);
    painter->restore();
}
