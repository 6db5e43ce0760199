#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QString>
#include <QTextDocument>

/**
 * Converts text between plain strings, RTF and RTFD without any window: the
 * one converter the rest of the application uses for page text.
 *
 * It owns a QTextDocument that every setter replaces and every getter reads,
 * so a conversion is a set followed by a get. Attachments are kept as the
 * document keeps them (see TextAttachments), with their original bytes.
 */
class TextConverter
{
public:
    /** One attachment of the text. */
    struct Attachment
    {
        QString fileName;
        /** The file as stored, whether or not it is a picture. */
        QByteArray bytes;
        /** The decoded picture; null when the bytes are no picture Qt can read. */
        QImage image;
    };

    TextConverter();
    TextConverter(const TextConverter &) = delete;
    TextConverter &operator=(const TextConverter &) = delete;

    /** Replaces the text with @p text, unformatted; "\n" separates paragraphs. */
    void setString(const QString &text);
    /** The text without attachments: paragraphs joined by "\n", line separators (U+2028) kept. */
    [[nodiscard]] QString string() const;
    /** The text as the platform's attributed string gives it: string() plus one U+FFFC per attachment. */
    [[nodiscard]] QString plainString() const;
    /** The first line of string(): everything before the first paragraph break or line separator. */
    [[nodiscard]] QString topLine() const;

    /**
     * Makes @p title the text's new first line: a line break and then the
     * title go in at the start, and that line takes the document's default
     * character format, without links.
     */
    void insertTitleToTop(const QString &title);

    /** Replaces the text with RTF. On failure the text is empty. */
    [[nodiscard]] Status setRTFData(const QByteArray &rtf);
    /** The text as RTF; attachments are dropped, as plain RTF cannot hold them. */
    [[nodiscard]] QByteArray RTFData() const;

    /** Replaces the text with flattened RTFD (plain RTF is taken too). On failure the text is empty. */
    [[nodiscard]] Status setRTFDData(const QByteArray &rtfd);
    /** The text as flattened RTFD, with every attachment. */
    [[nodiscard]] QByteArray RTFDData() const;

    /** Every attachment, in text order; an attachment shown twice appears twice. */
    [[nodiscard]] QList<Attachment> attachments() const;

    /** The document itself, for formatting, HTML export or a cursor. */
    [[nodiscard]] QTextDocument &document() { return m_document; }
    [[nodiscard]] const QTextDocument &document() const { return m_document; }

private:
    QTextDocument m_document;
};
