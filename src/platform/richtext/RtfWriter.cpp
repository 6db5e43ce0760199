#include "RtfWriter.h"

#include "PointSizes.h"
#include "TextAttachment.h"

#include <QBuffer>
#include <QColor>
#include <QHash>
#include <QImageReader>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextFragment>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace {

// The writer number announced in the header: that of the platform's current
// text system, which also writes \cocoatextscaling0\cocoaplatform0.
constexpr int kWriterVersion = 2822;

// What the platform writes for a paragraph without tab stops of its own.
constexpr char kDefaultTabStops[]
    = "\\tx560\\tx1120\\tx1680\\tx2240\\tx2800\\tx3360\\tx3920\\tx4480\\tx5040\\tx5600\\tx6160\\tx6720";

constexpr char kHexDigits[] = "0123456789abcdef";

void appendNumber(QByteArray &out, long long value)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr - buffer);
}

void appendControl(QByteArray &out, const char *word, long long value)
{
    out.append(word);
    appendNumber(out, value);
}

int twips(qreal points)
{
    if (!std::isfinite(points))
        return 0;
    return int(std::lround(std::clamp(points, -1.0e6, 1.0e6) * 20));
}

void appendHexByte(QByteArray &out, unsigned char byte)
{
    out.append("\\'");
    out.append(kHexDigits[byte >> 4]);
    out.append(kHexDigits[byte & 15]);
}

// The Windows-1252 byte of @p c when it has one above 0x7F, else -1.
int windows1252Byte(char16_t c)
{
    if (c >= 0xA0 && c <= 0xFF)
        return c;
    if (c < 0x152 || c > 0x2122)
        return -1;
    static constexpr char16_t kHighHalf[32] = {0x20AC, 0, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6,
        0x2030, 0x0160, 0x2039, 0x0152, 0, 0x017D, 0, 0, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0x02DC,
        0x2122, 0x0161, 0x203A, 0x0153, 0, 0x017E, 0x0178};
    for (int i = 0; i < 32; ++i) {
        if (kHighHalf[i] == c)
            return 0x80 + i;
    }
    return -1;
}

// Text as the body holds it. @p extra names one more ASCII character to hex-escape
// (the font table's ';'), or 0.
void appendEscaped(QByteArray &out, QStringView text, char16_t extra = 0)
{
    // Written straight into the buffer: no escape is longer than "\uc0\u65535 ".
    constexpr qsizetype kLongestEscape = 12;
    const qsizetype start = out.size();
    out.resize(start + text.size() * kLongestEscape);
    char *const begin = out.data();
    char *p = begin + start;
    bool afterUnicode = false;
    for (const QChar qc : text) {
        const char16_t c = qc.unicode();
        if (c >= 0x20 && c < 0x7F && c != extra) {
            if (c == u'\\' || c == u'{' || c == u'}')
                *p++ = '\\';
            *p++ = char(c);
            afterUnicode = false;
            continue;
        }
        if (c == u'\t') {
            *p++ = '\t';
            afterUnicode = false;
            continue;
        }
        const int byte = c == extra ? int(c) : windows1252Byte(c);
        if (byte >= 0) {
            *p++ = '\\';
            *p++ = '\'';
            *p++ = kHexDigits[byte >> 4];
            *p++ = kHexDigits[byte & 15];
            afterUnicode = false;
            continue;
        }
        // \uc0 holds for the rest of the group; the platform repeats it per run of escapes.
        if (!afterUnicode) {
            std::memcpy(p, "\\uc0", 4);
            p += 4;
        }
        *p++ = '\\';
        *p++ = 'u';
        p = std::to_chars(p, p + 5, int(c)).ptr;
        *p++ = ' ';
        afterUnicode = true;
    }
    out.resize(p - begin);
}

// A file name: its UTF-8 bytes, the non-ASCII ones as \'xx.
void appendEscapedUtf8(QByteArray &out, const QString &text)
{
    for (const char byte : text.toUtf8()) {
        const auto b = static_cast<unsigned char>(byte);
        if (b < 0x20 || b >= 0x7F) {
            appendHexByte(out, b);
            continue;
        }
        if (b == '\\' || b == '{' || b == '}')
            out.append('\\');
        out.append(byte);
    }
}

const char *familyClass(const QString &name)
{
    static const char *const kSwiss[]
        = {"Helvetica", "Arial", "Geneva", "Verdana", "LucidaGrande", "Lucida Grande", "Tahoma"};
    static const char *const kRoman[] = {"Times", "Georgia", "Palatino", "Baskerville", "Cochin", "Didot", "Garamond"};
    if (name.startsWith(QLatin1String("HelveticaNeue")) || name.startsWith(QLatin1String("Helvetica Neue")))
        return "\\fnil";
    for (const char *prefix : kSwiss) {
        if (name.startsWith(QLatin1String(prefix)))
            return "\\fswiss";
    }
    for (const char *prefix : kRoman) {
        if (name.startsWith(QLatin1String(prefix)))
            return "\\froman";
    }
    if (name.startsWith(QLatin1String("Courier")))
        return "\\fmodern";
    return "\\fnil";
}

// The character attributes the writer carries, with fonts and colours as table indices.
struct CharState
{
    int font = -1;
    int halfPoints = -1;
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool strike = false;
    int foreground = -1; // 0 is "automatic"
    int background = 0;
    int script = 0; // 0 baseline, 1 superscript, 2 subscript
};

// What a character format means for the output, worked out once per format.
struct RunInfo
{
    CharState state;
    QString href;
    bool image = false;
    QByteArray attachmentGroup; // empty for images that are no attachment
};

// A paragraph format as written: its \pard line, and whether a page break comes before it.
struct Paragraph
{
    QByteArray pard;
    bool pageBreak = false;
};

class BodyWriter
{
public:
    BodyWriter(const QTextDocument &document, RtfWriter::Attachments attachments)
        : m_document(document)
        , m_attachments(attachments)
    {
        const QFont font = document.defaultFont();
        m_defaultFamily = font.family();
        m_defaultPointSize = font.pointSizeF() > 0 ? PointSizes::storedFromQt(font.pointSizeF()) : 12.0;
        m_colourIndex.insert(qRgba(255, 255, 255, 255), 1);
        m_body.reserve(qsizetype(document.characterCount()) + qsizetype(document.characterCount() / 8) + 256);
    }

    void writeBody()
    {
        bool first = true;
        for (QTextBlock block = m_document.begin(); block.isValid(); block = block.next()) {
            // A page break ends the paragraph before it, so it takes the place of the line feed.
            if (!first)
                m_body.append(paragraphFor(block).pageBreak ? "\\page\n" : "\\\n");
            first = false;
            writeBlock(block);
        }
    }

    [[nodiscard]] QByteArray assemble() const
    {
        QByteArray out;
        out.reserve(m_body.size() + 256 + m_fonts.size() * 48 + m_colours.size() * 80);
        out.append("{\\rtf1\\ansi\\ansicpg1252\\cocoartf");
        appendNumber(out, kWriterVersion);
        out.append("\n\\cocoatextscaling0\\cocoaplatform0{\\fonttbl");
        for (int i = 0; i < m_fonts.size(); ++i) {
            appendControl(out, "\\f", i);
            out.append(familyClass(m_fonts.at(i)));
            out.append("\\fcharset0 ");
            appendEscaped(out, m_fonts.at(i), u';');
            out.append(';');
        }
        out.append("}\n{\\colortbl;\\red255\\green255\\blue255;");
        for (const QRgb rgb : m_colours) {
            appendControl(out, "\\red", qRed(rgb));
            appendControl(out, "\\green", qGreen(rgb));
            appendControl(out, "\\blue", qBlue(rgb));
            out.append(';');
        }
        out.append("}\n{\\*\\expandedcolortbl;;");
        for (const QRgb rgb : m_colours) {
            // Components in thousandths of a percent.
            const auto component = [](int value) {
                return std::lround(value * 100000.0 / 255.0);
            };
            out.append("\\csgenericrgb");
            appendControl(out, "\\c", component(qRed(rgb)));
            appendControl(out, "\\c", component(qGreen(rgb)));
            appendControl(out, "\\c", component(qBlue(rgb)));
            if (qAlpha(rgb) != 255)
                appendControl(out, "\\c", component(qAlpha(rgb)));
            out.append(';');
        }
        out.append("}\n");
        out.append(m_body);
        out.append('}');
        return out;
    }

private:
    void writeBlock(const QTextBlock &block)
    {
        const QByteArray &pard = paragraphFor(block).pard;
        if (pard != m_lastPard) {
            m_body.append(pard);
            m_lastPard = pard;
            // The platform repeats the text colour after every \pard.
            m_state.foreground = -1;
        }

        if (block.length() <= 1) {
            // An empty paragraph still gives its line break a font and size.
            applyState(runFor(block.charFormatIndex(), block.charFormat()).state);
            return;
        }
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            if (!fragment.isValid())
                continue;
            const RunInfo &run = runFor(fragment.charFormatIndex(), fragment.charFormat());
            if (run.image) {
                if (m_attachments == RtfWriter::Attachments::Omit || run.attachmentGroup.isEmpty())
                    continue;
                setLink(run.href);
                for (int i = 0; i < fragment.length(); ++i)
                    m_body.append(run.attachmentGroup);
                continue;
            }
            setLink(run.href);
            applyState(run.state);
            appendEscaped(m_body, fragment.text());
        }
        closeLink();
    }

    void setLink(const QString &href)
    {
        if (href == m_openHref)
            return;
        closeLink();
        if (href.isEmpty())
            return;
        m_body.append("{\\field{\\*\\fldinst{HYPERLINK \"");
        appendEscaped(m_body, href);
        m_body.append("\"}}{\\fldrslt ");
        m_openHref = href;
        m_stateBeforeLink = m_state;
    }

    void closeLink()
    {
        if (m_openHref.isEmpty())
            return;
        m_body.append("}}");
        m_openHref.clear();
        // Whatever changed inside the field's groups ends with them.
        m_state = m_stateBeforeLink;
    }

    void applyState(const CharState &to)
    {
        CharState &from = m_state;
        if (to.font != from.font || to.bold != from.bold || to.italic != from.italic
            || to.halfPoints != from.halfPoints) {
            m_body.append('\n');
            if (to.font != from.font)
                appendControl(m_body, "\\f", to.font);
            if (to.bold != from.bold)
                m_body.append(to.bold ? "\\b" : "\\b0");
            if (to.italic != from.italic)
                m_body.append(to.italic ? "\\i" : "\\i0");
            if (to.halfPoints != from.halfPoints)
                appendControl(m_body, "\\fs", to.halfPoints);
            m_body.append(' ');
        }
        if (to.foreground != from.foreground) {
            appendControl(m_body, "\\cf", to.foreground);
            m_body.append(' ');
        }
        if (to.background != from.background) {
            appendControl(m_body, "\\cb", to.background);
            m_body.append(' ');
        }
        if (to.underline != from.underline)
            m_body.append(to.underline ? "\\ul " : "\\ulnone ");
        if (to.strike != from.strike)
            m_body.append(to.strike ? "\\strike \\strikec0 " : "\\strike0\\striked0 ");
        if (to.script != from.script)
            m_body.append(to.script == 1 ? "\\super " : to.script == 2 ? "\\sub " : "\\nosupersub ");
        from = to;
    }

    const Paragraph &paragraphFor(const QTextBlock &block)
    {
        const int index = block.blockFormatIndex();
        auto found = m_paragraphs.constFind(index);
        if (found != m_paragraphs.constEnd())
            return *found;

        const QTextBlockFormat format = block.blockFormat();
        QByteArray pard = "\\pard";
        const QList<QTextOption::Tab> tabs = format.tabPositions();
        if (tabs.isEmpty())
            pard.append(kDefaultTabStops);
        for (const QTextOption::Tab &tab : tabs) {
            if (tab.type == QTextOption::RightTab)
                pard.append("\\tqr");
            else if (tab.type == QTextOption::CenterTab)
                pard.append("\\tqc");
            else if (tab.type == QTextOption::DelimiterTab)
                pard.append("\\tqdec");
            appendControl(pard, "\\tx", twips(tab.position));
        }
        const auto appendNonZero = [&pard](const char *word, qreal points) {
            if (const int value = twips(points))
                appendControl(pard, word, value);
        };
        appendNonZero("\\li", format.leftMargin());
        appendNonZero("\\fi", format.textIndent());
        appendNonZero("\\ri", format.rightMargin());
        appendNonZero("\\sb", format.topMargin());
        appendNonZero("\\sa", format.bottomMargin());
        const Qt::Alignment alignment = format.alignment() & Qt::AlignHorizontal_Mask;
        if (alignment & Qt::AlignHCenter)
            pard.append("\\qc");
        else if (alignment & Qt::AlignJustify)
            pard.append("\\qj");
        else if (alignment & Qt::AlignRight)
            pard.append("\\qr");
        else
            pard.append("\\ql\\qnatural");
        pard.append("\\pardirnatural\\partightenfactor0\n");
        const bool pageBreak = format.pageBreakPolicy() & QTextFormat::PageBreak_AlwaysBefore;
        return *m_paragraphs.insert(index, Paragraph{pard, pageBreak});
    }

    const RunInfo &runFor(int formatIndex, const QTextCharFormat &format)
    {
        auto found = m_runs.constFind(formatIndex);
        if (found != m_runs.constEnd())
            return *found;

        RunInfo run;
        if (format.isAnchor())
            run.href = format.anchorHref();
        run.image = format.isImageFormat();
        if (run.image) {
            if (m_attachments == RtfWriter::Attachments::NeXTGraphic)
                run.attachmentGroup = attachmentGroup(format);
            return *m_runs.insert(formatIndex, run);
        }

        CharState &state = run.state;
        QString family = format.property(QTextFormat::FontFamilies).toStringList().value(0);
        if (family.isEmpty())
            family = format.stringProperty(QTextFormat::FontFamily);
        if (family.isEmpty())
            family = m_defaultFamily;
        state.font = fontIndex(family);
        const qreal size = format.hasProperty(QTextFormat::FontPointSize) && format.fontPointSize() > 0
            ? PointSizes::storedFromQt(format.fontPointSize())
            : m_defaultPointSize;
        state.halfPoints = int(std::lround(std::clamp(size, 0.5, 16000.0) * 2));
        state.bold = format.fontWeight() >= QFont::DemiBold;
        state.italic = format.fontItalic();
        state.underline = format.fontUnderline();
        state.strike = format.fontStrikeOut();
        state.foreground = format.foreground().style() == Qt::NoBrush ? 0 : colourIndex(format.foreground().color());
        state.background = format.background().style() == Qt::NoBrush ? 0 : colourIndex(format.background().color());
        const auto vertical = format.verticalAlignment();
        state.script = vertical == QTextCharFormat::AlignSuperScript ? 1
            : vertical == QTextCharFormat::AlignSubScript            ? 2
                                                                     : 0;
        return *m_runs.insert(formatIndex, run);
    }

    QByteArray attachmentGroup(const QTextCharFormat &format) const
    {
        const std::optional<TextAttachment> attachment = TextAttachments::fromFormat(m_document, format);
        if (!attachment)
            return {};
        QSizeF size = attachment->displaySize;
        if (size.isEmpty()) {
            // Only the header is read: a huge or broken picture costs nothing here.
            QByteArray bytes = attachment->bytes;
            QBuffer buffer(&bytes);
            QImageReader reader(&buffer);
            const QSize pixels = reader.size();
            size = pixels.isValid() ? QSizeF(pixels) : QSizeF(0, 0);
        }
        QByteArray group = "{{\\NeXTGraphic ";
        appendEscapedUtf8(group, attachment->fileName);
        appendControl(group, " \\width", twips(size.width()));
        appendControl(group, " \\height", twips(size.height()));
        group.append("\n}\xac}");
        return group;
    }

    int fontIndex(const QString &family)
    {
        auto found = m_fontIndex.constFind(family);
        if (found != m_fontIndex.constEnd())
            return *found;
        m_fonts.append(family);
        return *m_fontIndex.insert(family, int(m_fonts.size() - 1));
    }

    int colourIndex(const QColor &colour)
    {
        const QRgb rgb = colour.rgba();
        auto found = m_colourIndex.constFind(rgb);
        if (found != m_colourIndex.constEnd())
            return *found;
        m_colours.append(rgb);
        // Entries 0 (automatic) and 1 (white) come first.
        return *m_colourIndex.insert(rgb, int(m_colours.size() + 1));
    }

    const QTextDocument &m_document;
    RtfWriter::Attachments m_attachments;
    QString m_defaultFamily;
    qreal m_defaultPointSize = 12.0;
    QByteArray m_body;
    CharState m_state;
    CharState m_stateBeforeLink;
    QString m_openHref;
    QByteArray m_lastPard;
    QStringList m_fonts;
    QHash<QString, int> m_fontIndex;
    QList<QRgb> m_colours;
    QHash<QRgb, int> m_colourIndex;
    QHash<int, RunInfo> m_runs;
    QHash<int, Paragraph> m_paragraphs;
};

} // namespace

QByteArray RtfWriter::write(const QTextDocument &document, Attachments attachments)
{
    BodyWriter writer(document, attachments);
    if (!document.isEmpty())
        writer.writeBody();
    return writer.assemble();
}
