#include "TextExport.h"

#include "DocumentText.h"
#include "platform/base/AtomicFileWriter.h"
#include "platform/richtext/RtfReader.h"
#include "platform/richtext/RtfWriter.h"
#include "platform/richtext/Rtfd.h"

#include <QAbstractTextDocumentLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QSaveFile>
#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

// The tallest page a PDF reader is sure to show (200 inches).
constexpr qreal kMaxPageHeight = 14400;
// The width of an A4 page in points, for a document that was never given one.
constexpr qreal kDefaultWidth = 595;

Error cannotWrite(const QString &path, const QString &reason)
{
    return Error{QStringLiteral("Cannot write \"%1\": %2").arg(path, reason)};
}

} // namespace

namespace TextExport {

QByteArray RTFDData(const QTextDocument &document)
{
    return Rtfd::writeFlattened(document);
}

QByteArray RTFData(const QTextDocument &document)
{
    return RtfWriter::write(document, RtfWriter::Attachments::Omit);
}

Status setRTFDData(QTextDocument &document, const QByteArray &rtfd)
{
    return Rtfd::readFlattened(rtfd, document);
}

Status setRTFData(QTextDocument &document, const QByteArray &rtf)
{
    const Status read = RtfReader::read(rtf, document);
    if (!read)
        document.clear();
    return read;
}

void replaceCharactersWithString(QTextDocument &document, const QString &text)
{
    const QTextCharFormat format = DocumentText::textFormat(DocumentText::formatAt(document, 0));
    QTextCursor cursor(&document);
    cursor.beginEditBlock();
    cursor.select(QTextCursor::Document);
    cursor.insertText(text, format);
    cursor.endEditBlock();
}

QString string(const QTextDocument &document)
{
    QString text = document.toRawText();
    for (QChar &c : text) {
        // Paragraph breaks, and the frame markers around tables, are line ends in plain text.
        if (c == QChar::ParagraphSeparator || c.unicode() == 0xfdd0 || c.unicode() == 0xfdd1)
            c = u'\n';
    }
    return text;
}

Status saveAsPlainUTF8TextFile(const QTextDocument &document, const QString &path)
{
    return AtomicFileWriter::writeFile(path, string(document).toUtf8());
}

Status saveAsPDFToFile(const QTextDocument &document, const QString &path)
{
    QSaveFile file(path);
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly))
        return cannotWrite(path, file.errorString());
    {
        QPdfWriter writer(&file);
        // One device unit per point, so that the layout below is in points.
        writer.setResolution(72);
        const std::unique_ptr<QTextDocument> copy(document.clone());
        copy->documentLayout()->setPaintDevice(&writer);
        const qreal width = document.textWidth() > 0 ? document.textWidth() : kDefaultWidth;
        copy->setTextWidth(width);
        const qreal height = std::max<qreal>(1, std::ceil(copy->size().height()));
        const qreal pageHeight = std::min(height, kMaxPageHeight);
        if (height > kMaxPageHeight)
            copy->setPageSize(QSizeF(width, kMaxPageHeight)); // pages break between lines
        writer.setPageMargins(QMarginsF());
        writer.setPageSize(QPageSize(QSizeF(width, pageHeight), QPageSize::Point, QString(), QPageSize::ExactMatch));

        QPainter painter;
        if (!painter.begin(&writer)) {
            file.cancelWriting();
            return cannotWrite(path, QStringLiteral("the PDF could not be started"));
        }
        const int pages = height > kMaxPageHeight ? copy->pageCount() : 1;
        for (int page = 0; page < pages; ++page) {
            if (page > 0)
                writer.newPage();
            painter.save();
            painter.translate(0, -page * pageHeight);
            copy->drawContents(&painter, QRectF(0, page * pageHeight, width, pageHeight));
            painter.restore();
        }
        painter.end();
    }
    if (!file.commit())
        return cannotWrite(path, file.errorString());
    return {};
}

} // namespace TextExport
