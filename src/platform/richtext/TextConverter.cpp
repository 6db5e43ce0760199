#include "TextConverter.h"

#include "RtfReader.h"
#include "RtfWriter.h"
#include "Rtfd.h"
#include "TextAttachment.h"

#include <QTextBlock>
#include <QTextCursor>

TextConverter::TextConverter() = default;

void TextConverter::setString(const QString &text)
{
    m_document.setPlainText(text);
}

QString TextConverter::string() const
{
    QString text = plainString();
    text.remove(QChar::ObjectReplacementCharacter);
    return text;
}

QString TextConverter::plainString() const
{
    QString text;
    for (QTextBlock block = m_document.begin(); block.isValid(); block = block.next()) {
        if (block != m_document.begin())
            text += u'\n';
        text += block.text();
    }
    return text;
}

QString TextConverter::topLine() const
{
    const QString text = string();
    qsizetype end = 0;
    while (end < text.size() && text[end] != u'\n' && text[end] != QChar::LineSeparator
        && text[end] != QChar::ParagraphSeparator)
        ++end;
    return text.left(end);
}

void TextConverter::insertTitleToTop(const QString &title)
{
    QTextCursor cursor(&m_document);
    cursor.beginEditBlock();
    cursor.movePosition(QTextCursor::Start);
    cursor.insertBlock();
    cursor.movePosition(QTextCursor::Start);
    cursor.insertText(title);
    // The new line starts plain: no font, colour or link carried over from what followed it.
    cursor.movePosition(QTextCursor::Start);
    cursor.movePosition(QTextCursor::NextBlock, QTextCursor::KeepAnchor);
    cursor.setCharFormat(QTextCharFormat());
    cursor.endEditBlock();
}

Status TextConverter::setRTFData(const QByteArray &rtf)
{
    const Status read = RtfReader::read(rtf, m_document);
    if (!read)
        m_document.clear();
    return read;
}

QByteArray TextConverter::RTFData() const
{
    return RtfWriter::write(m_document, RtfWriter::Attachments::Omit);
}

Status TextConverter::setRTFDData(const QByteArray &rtfd)
{
    return Rtfd::readFlattened(rtfd, m_document);
}

QByteArray TextConverter::RTFDData() const
{
    return Rtfd::writeFlattened(m_document);
}

QList<TextConverter::Attachment> TextConverter::attachments() const
{
    QList<Attachment> result;
    for (const auto &[position, attachment] : TextAttachments::all(m_document)) {
        Q_UNUSED(position)
        result.append({attachment.fileName, attachment.bytes, QImage::fromData(attachment.bytes)});
    }
    return result;
}
