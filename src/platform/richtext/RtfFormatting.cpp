#include "RtfFormatting.h"

#include "PointSizes.h"

#include <algorithm>
#include <initializer_list>

namespace {

// Twips are clamped so that absurd values cannot reach the layout as
// astronomically large margins.
constexpr int maxTwips = 20 * 20000;
constexpr int maxTabStops = 256;

QStringDecoder makeDecoder(int codePage)
{
    auto valid = [](std::initializer_list<const char *> names) {
        for (const char *name : names) {
            QStringDecoder decoder(name, QStringConverter::Flag::Stateless);
            if (decoder.isValid())
                return decoder;
        }
        return QStringDecoder(QStringConverter::Latin1, QStringConverter::Flag::Stateless);
    };
    switch (codePage) {
    case RtfFormatting::utf8CodePage:
        return QStringDecoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    case 10000:
        return valid({"macintosh", "x-mac-roman"});
    case 932:
        return valid({"windows-31j", "Shift_JIS"});
    case 936:
        return valid({"GBK", "GB18030"});
    case 949:
        return valid({"windows-949", "EUC-KR"});
    case 950:
        return valid({"Big5"});
    case 437:
    case 850:
    case 852:
    case 866: {
        const QByteArray name = "IBM" + QByteArray::number(codePage);
        return valid({name.constData()});
    }
    default: {
        const QByteArray name = "windows-" + QByteArray::number(codePage);
        const QByteArray fallback = "cp" + QByteArray::number(codePage);
        return valid({name.constData(), fallback.constData()});
    }
    }
}

int codePageForCharset(int charset, int ansiCodePage)
{
    switch (charset) {
    case 77:
        return 10000;
    case 128:
        return 932;
    case 129:
        return 949;
    case 134:
        return 936;
    case 136:
        return 950;
    case 161:
        return 1253;
    case 162:
        return 1254;
    case 163:
        return 1258;
    case 177:
        return 1255;
    case 178:
        return 1256;
    case 186:
        return 1257;
    case 204:
        return 1251;
    case 222:
        return 874;
    case 238:
        return 1250;
    case 255:
        return 437;
    default:
        return ansiCodePage;
    }
}

} // namespace

double RtfFormatting::twipsToPoints(int twips)
{
    return std::clamp(twips, -maxTwips, maxTwips) / 20.0;
}

void RtfFormatting::setFontCharset(int font, int charset)
{
    m_fonts[font].charset = charset;
    m_cachedFormat.reset();
}

void RtfFormatting::setFontName(int font, QByteArrayView name)
{
    Font &entry = m_fonts[font];
    entry.name = decode(codePageForCharset(entry.charset, m_ansiCodePage), name);
    m_cachedFormat.reset();
}

void RtfFormatting::clearColors()
{
    m_colors.clear();
    m_cachedFormat.reset();
}

void RtfFormatting::addColor(std::optional<QColor> color)
{
    m_colors.append(color);
    m_cachedFormat.reset();
}

int RtfFormatting::codePage(int font) const
{
    const auto it = m_fonts.constFind(font);
    return codePageForCharset(it == m_fonts.cend() ? 0 : it->charset, m_ansiCodePage);
}

QString RtfFormatting::decode(int codePage, QByteArrayView bytes)
{
    bool ascii = true;
    for (const char c : bytes) {
        if (quint8(c) >= 0x80) {
            ascii = false;
            break;
        }
    }
    if (ascii || codePage == 28591)
        return QString::fromLatin1(bytes);
    auto it = m_decoders.find(codePage);
    if (it == m_decoders.end())
        it = m_decoders.emplace(codePage, makeDecoder(codePage)).first;
    it->second.resetState();
    return it->second.decode(bytes);
}

bool RtfFormatting::applyCharacterWord(CharProps &c, QByteArrayView word, bool hasParameter, int parameter) const
{
    const bool on = !hasParameter || parameter != 0;
    if (word == "plain") {
        // A link is a field result, not a character property: \plain inside it stays linked.
        QString href = std::move(c.href);
        c = CharProps();
        c.font = m_defaultFont;
        c.href = std::move(href);
    } else if (word == "f") {
        c.font = parameter;
    } else if (word == "fs") {
        c.pointSize = std::clamp(parameter, 1, 3276) / 2.0;
    } else if (word == "fsmilli") {
        c.pointSize = std::clamp(parameter, 500, 1638000) / 1000.0;
    } else if (word == "b") {
        c.bold = on;
    } else if (word == "i") {
        c.italic = on;
    } else if (word == "ulnone") {
        c.underline = false;
    } else if (word.startsWith("ul") && word != "ulc" && word != "ulstyle") {
        c.underline = on;
    } else if (word == "strike" || word == "striked") {
        c.strike = on;
    } else if (word == "cf") {
        c.foreground = parameter;
    } else if (word == "cb" || word == "chcbpat") {
        c.background = parameter;
    } else if (word == "highlight") {
        c.highlight = parameter;
    } else if (word == "super") {
        c.verticalAlignment = QTextCharFormat::AlignSuperScript;
    } else if (word == "sub") {
        c.verticalAlignment = QTextCharFormat::AlignSubScript;
    } else if (word == "nosupersub") {
        c.verticalAlignment = QTextCharFormat::AlignNormal;
    } else if (word == "up") {
        c.verticalAlignment
            = (hasParameter && parameter == 0) ? QTextCharFormat::AlignNormal : QTextCharFormat::AlignSuperScript;
    } else if (word == "dn") {
        c.verticalAlignment
            = (hasParameter && parameter == 0) ? QTextCharFormat::AlignNormal : QTextCharFormat::AlignSubScript;
    } else {
        return false;
    }
    return true;
}

bool RtfFormatting::applyParagraphWord(ParaProps &p, QByteArrayView word, bool hasParameter, int parameter)
{
    if (word == "pard") {
        p = ParaProps();
    } else if (word == "ql" || word == "qnatural") {
        p.alignment = Qt::AlignLeft;
    } else if (word == "qc") {
        p.alignment = Qt::AlignHCenter;
    } else if (word == "qr") {
        p.alignment = Qt::AlignRight;
    } else if (word == "qj" || word == "qd") {
        p.alignment = Qt::AlignJustify;
    } else if (word == "li") {
        p.leftIndent = parameter;
    } else if (word == "ri") {
        p.rightIndent = parameter;
    } else if (word == "fi") {
        p.firstIndent = parameter;
    } else if (word == "sb") {
        p.spaceBefore = parameter;
    } else if (word == "sa") {
        p.spaceAfter = parameter;
    } else if (word == "sl") {
        p.lineSpacing = parameter;
    } else if (word == "slmult") {
        p.lineMultiple = !hasParameter || parameter != 0;
    } else if (word == "tqr") {
        p.nextTabType = QTextOption::RightTab;
    } else if (word == "tqc") {
        p.nextTabType = QTextOption::CenterTab;
    } else if (word == "tqdec") {
        p.nextTabType = QTextOption::DelimiterTab;
    } else if (word == "tx") {
        if (p.tabs.size() < maxTabStops) {
            QTextOption::Tab tab(twipsToPoints(parameter), p.nextTabType);
            if (tab.type == QTextOption::DelimiterTab)
                tab.delimiter = QLatin1Char('.');
            p.tabs.append(tab);
        }
        p.nextTabType = QTextOption::LeftTab;
    } else {
        return false;
    }
    return true;
}

QTextBlockFormat RtfFormatting::blockFormat(const ParaProps &p, bool pageBreakBefore)
{
    QTextBlockFormat format;
    format.setAlignment(p.alignment);
    format.setLeftMargin(twipsToPoints(p.leftIndent));
    format.setRightMargin(twipsToPoints(p.rightIndent));
    format.setTextIndent(twipsToPoints(p.firstIndent));
    format.setTopMargin(twipsToPoints(p.spaceBefore));
    format.setBottomMargin(twipsToPoints(p.spaceAfter));
    if (p.lineSpacing != 0) {
        if (p.lineMultiple)
            format.setLineHeight(
                std::clamp(p.lineSpacing, 1, 24000) * 100.0 / 240.0, QTextBlockFormat::ProportionalHeight);
        else if (p.lineSpacing < 0)
            format.setLineHeight(twipsToPoints(-p.lineSpacing), QTextBlockFormat::FixedHeight);
        else
            format.setLineHeight(twipsToPoints(p.lineSpacing), QTextBlockFormat::MinimumHeight);
    }
    if (!p.tabs.isEmpty())
        format.setTabPositions(p.tabs);
    if (pageBreakBefore)
        format.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
    return format;
}

QColor RtfFormatting::color(int index) const
{
    if (index <= 0 || index >= m_colors.size() || !m_colors[index])
        return {};
    return *m_colors[index];
}

QTextCharFormat RtfFormatting::charFormat(const CharProps &props) const
{
    // Runs mostly repeat the format of a run shortly before; building it anew costs more than the text.
    if (m_cachedFormat && m_cachedProps == props)
        return *m_cachedFormat;
    QTextCharFormat format;
    if (const auto it = m_fonts.constFind(props.font); it != m_fonts.cend() && !it->name.isEmpty())
        format.setFontFamilies({it->name});
    format.setFontPointSize(PointSizes::qtFromStored(props.pointSize));
    if (props.bold)
        format.setFontWeight(QFont::Bold);
    if (props.italic)
        format.setFontItalic(true);
    if (props.underline)
        format.setFontUnderline(true);
    if (props.strike)
        format.setFontStrikeOut(true);
    if (const QColor foreground = color(props.foreground); foreground.isValid())
        format.setForeground(foreground);
    if (const QColor background = color(props.highlight > 0 ? props.highlight : props.background); background.isValid())
        format.setBackground(background);
    if (props.verticalAlignment != QTextCharFormat::AlignNormal)
        format.setVerticalAlignment(props.verticalAlignment);
    if (!props.href.isEmpty()) {
        format.setAnchor(true);
        format.setAnchorHref(props.href);
    }
    m_cachedProps = props;
    m_cachedFormat = format;
    return format;
}
