#pragma once

#include <QByteArray>

class QTextDocument;

/**
 * Writes a QTextDocument as the RTF the platform's text system writes for
 * the same text, so that the platform reads it back with the same
 * formatting.
 *
 * The output announces a current writer (\cocoartf2822 with code page 1252)
 * and holds a font table with one entry per font the text uses, a colour
 * table whose entry 1 is always white, then the paragraphs. Paragraph
 * attributes are written with \pard whenever they change; character
 * attributes are written only where they differ from the previous run.
 * Characters outside printable ASCII become \'xx (Windows-1252) or
 * \uc0\u<n> escapes, so the output is pure 7-bit apart from the raw 0xAC
 * byte of attachment groups.
 */
class RtfWriter
{
public:
    /** What becomes of attachment characters. */
    enum class Attachments
    {
        /** Dropped, as in the platform's plain RTF. */
        Omit,
        /** Referenced by file name, as in the RTF inside an RTFD. */
        NeXTGraphic,
    };

    /**
     * The platform's RTF for @p document. With NeXTGraphic, each attachment
     * becomes {{\NeXTGraphic name \widthN \heightN\n}\xac} with the size in
     * twips (the display size, else the picture's own size at 72 dpi, else
     * 0); the caller stores the files themselves (TextAttachments::all).
     * Image characters that are no attachment are always dropped.
     */
    [[nodiscard]] static QByteArray write(const QTextDocument &document, Attachments attachments = Attachments::Omit);
};
