#pragma once

#include <QByteArrayView>
#include <QColor>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringDecoder>
#include <QTextBlockFormat>
#include <QTextCharFormat>
#include <QTextOption>

#include <map>
#include <optional>

/**
 * What RTF text looks like: the character and paragraph properties a group
 * carries, the document's font and colour tables and its code pages, and
 * the QTextCharFormat / QTextBlockFormat they amount to.
 *
 * Lengths arrive in twips and are clamped, so absurd values never reach
 * the layout. Code pages Qt has no decoder for are read as Latin-1: no byte
 * is lost, at worst shown as the wrong letter.
 */
class RtfFormatting
{
public:
    struct CharProps
    {
        int font = -1;
        double pointSize = 12;
        bool bold = false;
        bool italic = false;
        bool underline = false;
        bool strike = false;
        int foreground = 0;
        int background = 0;
        int highlight = 0;
        QTextCharFormat::VerticalAlignment verticalAlignment = QTextCharFormat::AlignNormal;
        QString href;

        friend bool operator==(const CharProps &, const CharProps &) = default;
    };

    struct ParaProps
    {
        Qt::Alignment alignment = Qt::AlignLeft;
        int leftIndent = 0;
        int rightIndent = 0;
        int firstIndent = 0;
        int spaceBefore = 0;
        int spaceAfter = 0;
        int lineSpacing = 0;
        bool lineMultiple = false;
        QTextOption::TabType nextTabType = QTextOption::LeftTab;
        QList<QTextOption::Tab> tabs;
    };

    /** Code page number standing for UTF-8. */
    static constexpr int utf8CodePage = 65001;

    /** @p twips in points, clamped to a sane range. */
    [[nodiscard]] static double twipsToPoints(int twips);

    void setAnsiCodePage(int codePage) { m_ansiCodePage = codePage; }
    void setDefaultFont(int font) { m_defaultFont = font; }
    [[nodiscard]] int defaultFont() const { return m_defaultFont; }

    void setFontCharset(int font, int charset);
    /** Names @p font; the name's bytes are in the font's own code page. */
    void setFontName(int font, QByteArrayView name);
    void clearColors();
    /** Appends a colour-table entry; nothing stands for "automatic". */
    void addColor(std::optional<QColor> color);

    /** The code page of \'xx bytes written in @p font: its charset's, or the document's. */
    [[nodiscard]] int codePage(int font) const;
    /** @p bytes in @p codePage; multi-byte sequences must be complete within @p bytes. */
    [[nodiscard]] QString decode(int codePage, QByteArrayView bytes);

    /** Applies a character-formatting control word; false when @p word is none. */
    bool applyCharacterWord(CharProps &props, QByteArrayView word, bool hasParameter, int parameter) const;
    /** Applies a paragraph-formatting control word; false when @p word is none. */
    static bool applyParagraphWord(ParaProps &props, QByteArrayView word, bool hasParameter, int parameter);

    [[nodiscard]] QTextCharFormat charFormat(const CharProps &props) const;
    [[nodiscard]] static QTextBlockFormat blockFormat(const ParaProps &props, bool pageBreakBefore);

private:
    struct Font
    {
        QString name;
        int charset = 0;
    };

    [[nodiscard]] QColor color(int index) const;

    int m_ansiCodePage = 1252;
    int m_defaultFont = -1;
    QHash<int, Font> m_fonts;
    QList<std::optional<QColor>> m_colors;
    std::map<int, QStringDecoder> m_decoders;
    mutable CharProps m_cachedProps;
    mutable std::optional<QTextCharFormat> m_cachedFormat;
};
