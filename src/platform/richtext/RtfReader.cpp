#include "RtfReader.h"

#include "RtfFormatting.h"
#include "RtfTokenizer.h"
#include "TextAttachment.h"

#include <QColor>
#include <QHash>
#include <QList>
#include <QTextBlockFormat>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

namespace {

enum class Destination
{
    Text,
    Skip,
    FontTable,
    ColorTable,
    FieldInstruction,
    Picture,
    Graphic
};

using CharProps = RtfFormatting::CharProps;
using ParaProps = RtfFormatting::ParaProps;

struct GroupState
{
    CharProps chars;
    ParaProps para;
    Destination destination = Destination::Text;
    int unicodeSkip = 1;
};

struct Picture
{
    enum class Kind
    {
        Other,
        Png,
        Jpeg
    };
    Kind kind = Kind::Other;
    QByteArray data;
    int pendingNibble = -1;
    int goalWidth = 0;
    int goalHeight = 0;
};

struct Graphic
{
    QByteArray name;
    bool nameDone = false;
    int width = 0;
    int height = 0;
};

class Parser
{
public:
    Parser(const QByteArray &rtf, QTextDocument &document, const RtfReader::AttachmentResolver &resolver)
        : m_tokens(rtf)
        , m_cursor(std::in_place, &document)
        , m_resolver(resolver)
    { }

    /** A parser that only collects the text into @p plain, as TextConverter::plainString() gives it. */
    Parser(const QByteArray &rtf, QString &plain)
        : m_tokens(rtf)
        , m_plain(&plain)
        , m_resolver(m_noResolver)
    { }

    void run();

private:
    void runTokens();
    GroupState &state() { return m_stack.back(); }
    void pushGroup();
    void popGroup();
    void controlWord(QByteArrayView word, bool hasParameter, int parameter);
    bool characterSymbolWord(QByteArrayView word);
    bool destinationWord(QByteArrayView word);
    void controlSymbol(char symbol);
    void textBytes(QByteArrayView bytes);
    void hexByte(char byte);
    void unicode(int value);
    void flushBytes();
    void emitString(const QString &text);
    void appendText(const QString &text);
    void flushText();
    void endParagraph();
    void applyBlockFormat();
    void insertAttachment(TextAttachment attachment);
    void finishPicture();
    void finishGraphic();
    void commitFont();
    void commitColor();
    void startFieldResult();

    void appendPlain(const QString &text);

    RtfTokenizer m_tokens;
    // Exactly one of the two is set: the document being built, or the plain text.
    std::optional<QTextCursor> m_cursor;
    QString *m_plain = nullptr;
    const RtfReader::AttachmentResolver m_noResolver;
    const RtfReader::AttachmentResolver &m_resolver;
    RtfFormatting m_formatting;
    std::vector<GroupState> m_stack;
    int m_overflowDepth = 0;
    bool m_ignorableNext = false;
    bool m_expectPlaceholder = false;
    bool m_pageBreakNext = false;
    bool m_blockHasPageBreak = false;
    QTextBlockFormat m_blockFormat;
    int m_pendingCells = 0;

    QByteArray m_bytes;
    QString m_text;
    CharProps m_textProps;

    int m_tableFont = -1;
    QByteArray m_fontName;
    int m_red = -1, m_green = -1, m_blue = -1;
    QString m_fieldInstruction;
    Picture m_picture;
    int m_pictureCount = 0;
    Graphic m_graphic;
};

void Parser::run()
{
    if (!m_cursor) {
        runTokens();
        return;
    }
    m_cursor->beginEditBlock();
    runTokens();
    m_cursor->endEditBlock();
}

void Parser::runTokens()
{
    m_stack.reserve(64);
    m_stack.push_back({});
    bool started = false;
    for (;;) {
        const RtfTokenizer::Token token = m_tokens.next();
        if (token.type == RtfTokenizer::Type::End)
            break;
        if (m_overflowDepth > 0) {
            if (token.type == RtfTokenizer::Type::GroupStart)
                ++m_overflowDepth;
            else if (token.type == RtfTokenizer::Type::GroupEnd)
                --m_overflowDepth;
            continue;
        }
        if (token.type != RtfTokenizer::Type::Text && token.type != RtfTokenizer::Type::HexByte)
            flushBytes();
        if (token.type != RtfTokenizer::Type::ControlWord)
            m_ignorableNext = false;
        switch (token.type) {
        case RtfTokenizer::Type::GroupStart:
            m_expectPlaceholder = false;
            if (!started)
                started = true;
            else
                pushGroup();
            break;
        case RtfTokenizer::Type::GroupEnd:
            m_expectPlaceholder = false;
            if (m_stack.size() <= 1) {
                // The document's own group has closed: anything after it is no text.
                flushText();
                applyBlockFormat();
                return;
            }
            popGroup();
            break;
        case RtfTokenizer::Type::ControlWord:
            controlWord(token.data, token.hasParameter, token.parameter);
            break;
        case RtfTokenizer::Type::ControlSymbol:
            controlSymbol(token.symbol);
            break;
        case RtfTokenizer::Type::Text:
            textBytes(token.data);
            break;
        case RtfTokenizer::Type::HexByte:
            hexByte(token.symbol);
            break;
        case RtfTokenizer::Type::Binary:
            if (state().destination == Destination::Picture)
                m_picture.data.append(token.data);
            break;
        case RtfTokenizer::Type::End:
            break;
        }
    }
    flushBytes();
    // Unterminated groups are closed so that pictures and attachments still arrive.
    while (m_stack.size() > 1)
        popGroup();
    flushText();
    applyBlockFormat();
}

void Parser::pushGroup()
{
    if (int(m_stack.size()) >= RtfReader::maxDepth) {
        m_overflowDepth = 1;
        return;
    }
    m_stack.push_back(m_stack.back());
    m_ignorableNext = false;
}

void Parser::popGroup()
{
    const Destination ending = state().destination;
    if (ending == Destination::FontTable)
        commitFont();
    m_stack.pop_back();
    const Destination outer = state().destination;
    if (ending == Destination::Picture && outer != Destination::Picture)
        finishPicture();
    else if (ending == Destination::Graphic && outer != Destination::Graphic)
        finishGraphic();
}

void Parser::controlWord(QByteArrayView word, bool hasParameter, int parameter)
{
    GroupState &s = state();
    const bool ignorable = std::exchange(m_ignorableNext, false);
    if (s.destination == Destination::Skip)
        return;
    if (s.destination == Destination::Graphic && word != "u" && word != "uc" && !m_graphic.name.isEmpty())
        m_graphic.nameDone = true;

    if (word == "u") {
        unicode(parameter);
        m_tokens.skipFallback(s.unicodeSkip);
        return;
    }
    if (word == "uc") {
        s.unicodeSkip = std::clamp(parameter, 0, 16);
        return;
    }
    if (destinationWord(word))
        return;

    const bool plainDestination = s.destination == Destination::Text || s.destination == Destination::FieldInstruction
        || s.destination == Destination::FontTable;
    if (ignorable && !plainDestination) {
        s.destination = Destination::Skip;
        return;
    }
    switch (s.destination) {
    case Destination::FontTable:
        if (word == "f") {
            commitFont();
            m_tableFont = parameter;
        } else if (word == "fcharset") {
            m_formatting.setFontCharset(m_tableFont, parameter);
        } else if (ignorable) {
            s.destination = Destination::Skip;
        }
        return;
    case Destination::ColorTable:
        if (word == "red")
            m_red = std::clamp(parameter, 0, 255);
        else if (word == "green")
            m_green = std::clamp(parameter, 0, 255);
        else if (word == "blue")
            m_blue = std::clamp(parameter, 0, 255);
        return;
    case Destination::Picture:
        if (word == "pngblip")
            m_picture.kind = Picture::Kind::Png;
        else if (word == "jpegblip")
            m_picture.kind = Picture::Kind::Jpeg;
        else if (word == "picwgoal")
            m_picture.goalWidth = parameter;
        else if (word == "pichgoal")
            m_picture.goalHeight = parameter;
        return;
    case Destination::Graphic:
        if (word == "width")
            m_graphic.width = parameter;
        else if (word == "height")
            m_graphic.height = parameter;
        return;
    case Destination::Text:
    case Destination::FieldInstruction:
        break;
    case Destination::Skip:
        return;
    }

    if (m_formatting.applyCharacterWord(s.chars, word, hasParameter, parameter)
        || RtfFormatting::applyParagraphWord(s.para, word, hasParameter, parameter))
        return;
    if (s.destination == Destination::Text && characterSymbolWord(word))
        return;
    if (word == "ansicpg") {
        m_formatting.setAnsiCodePage(parameter);
    } else if (word == "ansi") {
        m_formatting.setAnsiCodePage(1252);
    } else if (word == "mac") {
        m_formatting.setAnsiCodePage(10000);
    } else if (word == "pc") {
        m_formatting.setAnsiCodePage(437);
    } else if (word == "pca") {
        m_formatting.setAnsiCodePage(850);
    } else if (word == "deff") {
        m_formatting.setDefaultFont(parameter);
        if (s.chars.font < 0)
            s.chars.font = parameter;
    } else if (word == "field") {
        m_fieldInstruction.clear();
    } else if (word == "fldrslt") {
        startFieldResult();
    } else if (ignorable) {
        s.destination = Destination::Skip;
    }
}

bool Parser::characterSymbolWord(QByteArrayView word)
{
    static const QHash<QByteArray, char16_t> characters = {
        {"tab", u'\t'},
        {"line", u'\u2028'},
        {"emdash", u'\u2014'},
        {"endash", u'\u2013'},
        {"bullet", u'\u2022'},
        {"lquote", u'\u2018'},
        {"rquote", u'\u2019'},
        {"ldblquote", u'\u201c'},
        {"rdblquote", u'\u201d'},
        {"emspace", u'\u2003'},
        {"enspace", u'\u2002'},
        {"qmspace", u'\u2005'},
        {"zwj", u'\u200d'},
        {"zwnj", u'\u200c'},
        {"ltrmark", u'\u200e'},
        {"rtlmark", u'\u200f'},
    };
    if (word == "par" || word == "sect") {
        endParagraph();
    } else if (word == "page") {
        m_pageBreakNext = true;
        endParagraph();
    } else if (word == "cell" || word == "nestcell") {
        ++m_pendingCells;
    } else if (word == "row" || word == "nestrow") {
        m_pendingCells = 0;
        endParagraph();
    } else if (const auto it = characters.constFind(word.toByteArray()); it != characters.cend()) {
        emitString(QString(QChar(*it)));
    } else {
        return false;
    }
    return true;
}

bool Parser::destinationWord(QByteArrayView word)
{
    GroupState &s = state();
    // Sorted, for binary search: every control word passes through here.
    static constexpr std::array<std::string_view, 58> skipped = {"aftnsep", "aftnsepc", "annotation", "author",
        "bkmkend", "bkmkstart", "colorschememapping", "comment", "company", "datastore", "defchp", "defpap", "docvar",
        "expandedcolortbl", "falt", "fchars", "filetbl", "footer", "footerf", "footerl", "footerr", "footnote",
        "ftnsep", "ftnsepc", "generator", "header", "headerf", "headerl", "headerr", "info", "keywords", "latentstyles",
        "lchars", "listoverridetable", "listpicture", "listtable", "mmathPr", "nonshppict", "objdata", "object",
        "operator", "panose", "pgdsctbl", "pnseclvl", "protusertbl", "revtbl", "rsidtbl", "stylesheet", "subject", "tc",
        "template", "themedata", "title", "txe", "userprops", "wgrffmtfilter", "xe", "xmlnstbl"};
    const std::string_view name(word.data(), size_t(word.size()));
    if (word == "fonttbl") {
        s.destination = Destination::FontTable;
        m_tableFont = -1;
        m_fontName.clear();
    } else if (word == "colortbl") {
        s.destination = Destination::ColorTable;
        m_formatting.clearColors();
        m_red = m_green = m_blue = -1;
    } else if (word == "fldinst") {
        s.destination = Destination::FieldInstruction;
    } else if (word == "pict") {
        s.destination = Destination::Picture;
        m_picture = Picture();
    } else if (word == "NeXTGraphic") {
        s.destination = Destination::Graphic;
        m_graphic = Graphic();
    } else if (word == "shppict" || word == "listtext" || word == "pntext") {
        // Their content is ordinary text or a picture.
    } else if (std::binary_search(skipped.begin(), skipped.end(), name)) {
        s.destination = Destination::Skip;
    } else {
        return false;
    }
    return true;
}

void Parser::controlSymbol(char symbol)
{
    switch (symbol) {
    case '*':
        m_ignorableNext = true;
        return;
    case '\n':
        if (state().destination == Destination::Text)
            endParagraph();
        return;
    case '~':
        emitString(QString(QChar(0x00a0)));
        return;
    case '_':
        emitString(QString(QChar(0x2011)));
        return;
    case '-':
        return;
    case '\t':
        emitString(QStringLiteral("\t"));
        return;
    default:
        if (symbol == '\\' || symbol == '{' || symbol == '}')
            textBytes(QByteArrayView(&symbol, 1));
        return;
    }
}

void Parser::textBytes(QByteArrayView bytes)
{
    switch (state().destination) {
    case Destination::Skip:
        return;
    case Destination::Picture:
        for (const char c : bytes) {
            int value = -1;
            if (c >= '0' && c <= '9')
                value = c - '0';
            else if (c >= 'a' && c <= 'f')
                value = c - 'a' + 10;
            else if (c >= 'A' && c <= 'F')
                value = c - 'A' + 10;
            if (value < 0)
                continue;
            if (m_picture.pendingNibble < 0) {
                m_picture.pendingNibble = value;
            } else {
                m_picture.data.append(char(m_picture.pendingNibble * 16 + value));
                m_picture.pendingNibble = -1;
            }
        }
        return;
    case Destination::ColorTable:
        for (const char c : bytes) {
            if (c == ';')
                commitColor();
        }
        return;
    case Destination::FontTable:
        for (const char c : bytes) {
            if (c == ';') {
                commitFont();
            } else {
                m_fontName.append(c);
            }
        }
        return;
    case Destination::Graphic:
        if (!m_graphic.nameDone)
            m_graphic.name.append(bytes);
        return;
    case Destination::Text:
        if (std::exchange(m_expectPlaceholder, false) && !bytes.isEmpty() && quint8(bytes.front()) == 0xac)
            bytes = bytes.sliced(1);
        m_bytes.append(bytes);
        return;
    case Destination::FieldInstruction:
        m_bytes.append(bytes);
        return;
    }
}

void Parser::hexByte(char byte)
{
    // An escaped byte in the font table is always part of a name, even a semicolon.
    if (state().destination == Destination::FontTable) {
        m_fontName.append(byte);
        return;
    }
    if (state().destination == Destination::Text && std::exchange(m_expectPlaceholder, false) && quint8(byte) == 0xac)
        return;
    textBytes(QByteArrayView(&byte, 1));
}

void Parser::unicode(int value)
{
    if (value < 0)
        value += 65536;
    if (value < 0 || value > 0xffff)
        return;
    const QString text{QChar(char16_t(value))};
    switch (state().destination) {
    case Destination::Graphic:
        if (!m_graphic.nameDone)
            m_graphic.name.append(text.toUtf8());
        return;
    case Destination::FontTable:
        m_fontName.append(text.toUtf8());
        return;
    default:
        emitString(text);
        return;
    }
}

void Parser::flushBytes()
{
    if (m_bytes.isEmpty())
        return;
    const QString text = m_formatting.decode(m_formatting.codePage(state().chars.font), m_bytes);
    m_bytes.clear();
    emitString(text);
}

void Parser::emitString(const QString &text)
{
    switch (state().destination) {
    case Destination::Text:
        appendText(text);
        return;
    case Destination::FieldInstruction:
        m_fieldInstruction += text;
        return;
    default:
        return;
    }
}

void Parser::appendText(const QString &text)
{
    if (text.isEmpty())
        return;
    const CharProps &props = state().chars;
    if (!m_text.isEmpty() && !(props == m_textProps))
        flushText();
    if (m_pendingCells > 0) {
        m_textProps = props;
        m_text += QString(std::exchange(m_pendingCells, 0), QLatin1Char('\t'));
    }
    m_textProps = props;
    m_text += text;
}

void Parser::flushText()
{
    if (m_text.isEmpty())
        return;
    if (m_cursor)
        m_cursor->insertText(m_text, m_formatting.charFormat(m_textProps));
    else
        appendPlain(m_text);
    m_text.clear();
}

void Parser::appendPlain(const QString &text)
{
    // The document turns these into paragraph breaks, a CR LF pair into one.
    const auto breaksParagraph = [](QChar c) {
        return c == u'\r' || c == QChar::ParagraphSeparator || c == QChar(0xFDD0) || c == QChar(0xFDD1);
    };
    if (std::none_of(text.begin(), text.end(), breaksParagraph)) {
        m_plain->append(text);
        return;
    }
    m_plain->reserve(m_plain->size() + text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        QChar c = text[i];
        if (c == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n')
            c = text[++i];
        if (breaksParagraph(c))
            c = u'\n';
        m_plain->append(c);
    }
}

void Parser::applyBlockFormat()
{
    // A paragraph's properties are only final at its end. The block was
    // created with those in force at its start, which mostly stay the same.
    if (!m_cursor)
        return;
    const QTextBlockFormat format = RtfFormatting::blockFormat(state().para, m_blockHasPageBreak);
    if (format != m_blockFormat)
        m_cursor->setBlockFormat(format);
}

void Parser::endParagraph()
{
    m_pendingCells = 0;
    flushText();
    applyBlockFormat();
    m_blockHasPageBreak = std::exchange(m_pageBreakNext, false);
    if (!m_cursor) {
        m_plain->append(u'\n');
        return;
    }
    m_blockFormat = RtfFormatting::blockFormat(state().para, m_blockHasPageBreak);
    m_cursor->insertBlock(m_blockFormat, m_formatting.charFormat(state().chars));
}

void Parser::insertAttachment(TextAttachment attachment)
{
    const GroupState &s = state();
    if (s.destination != Destination::Text)
        return;
    if (m_pendingCells > 0)
        appendText(QString(std::exchange(m_pendingCells, 0), QLatin1Char('\t')));
    flushText();
    if (m_cursor)
        TextAttachments::insert(*m_cursor, std::move(attachment));
    else
        m_plain->append(QChar::ObjectReplacementCharacter);
}

void Parser::finishPicture()
{
    Picture picture = std::exchange(m_picture, Picture());
    if (picture.kind == Picture::Kind::Other || picture.data.isEmpty())
        return;
    ++m_pictureCount;
    TextAttachment attachment;
    attachment.fileName = QStringLiteral("Picture %1.%2")
                              .arg(m_pictureCount)
                              .arg(picture.kind == Picture::Kind::Png ? QStringLiteral("png") : QStringLiteral("jpg"));
    attachment.bytes = std::move(picture.data);
    if (picture.goalWidth > 0 && picture.goalHeight > 0)
        attachment.displaySize
            = QSizeF(RtfFormatting::twipsToPoints(picture.goalWidth), RtfFormatting::twipsToPoints(picture.goalHeight));
    insertAttachment(std::move(attachment));
}

void Parser::finishGraphic()
{
    Graphic graphic = std::exchange(m_graphic, Graphic());
    const QString name = QString::fromUtf8(graphic.name).trimmed();
    if (name.isEmpty())
        return;
    TextAttachment attachment;
    attachment.fileName = name;
    if (m_resolver) {
        if (std::optional<QByteArray> bytes = m_resolver(name))
            attachment.bytes = std::move(*bytes);
    }
    if (graphic.width > 0 && graphic.height > 0)
        attachment.displaySize
            = QSizeF(RtfFormatting::twipsToPoints(graphic.width), RtfFormatting::twipsToPoints(graphic.height));
    insertAttachment(std::move(attachment));
    m_expectPlaceholder = true;
}

void Parser::commitFont()
{
    if (m_tableFont >= 0 && !m_fontName.trimmed().isEmpty())
        m_formatting.setFontName(m_tableFont, m_fontName.trimmed());
    m_fontName.clear();
}

void Parser::commitColor()
{
    if (m_red < 0 && m_green < 0 && m_blue < 0)
        m_formatting.addColor(std::nullopt);
    else
        m_formatting.addColor(QColor(std::max(m_red, 0), std::max(m_green, 0), std::max(m_blue, 0)));
    m_red = m_green = m_blue = -1;
}

void Parser::startFieldResult()
{
    const QString instruction = m_fieldInstruction.trimmed();
    if (!instruction.startsWith(QLatin1String("HYPERLINK"), Qt::CaseInsensitive))
        return;
    QString rest = instruction.mid(9).trimmed();
    QString url;
    const qsizetype open = rest.indexOf(QLatin1Char('"'));
    if (open >= 0) {
        const qsizetype close = rest.indexOf(QLatin1Char('"'), open + 1);
        url = rest.mid(open + 1, close < 0 ? -1 : close - open - 1);
    } else {
        url = rest.section(QLatin1Char(' '), 0, 0, QString::SectionSkipEmpty);
    }
    if (!url.isEmpty())
        state().chars.href = url;
}

} // namespace

namespace {

/** @p rtf from its "{\rtf" on, or nothing when it is no RTF. */
std::optional<QByteArray> rtfBody(const QByteArray &rtf)
{
    qsizetype start = 0;
    while (start < rtf.size() && QByteArrayView(" \t\r\n").contains(rtf.at(start)))
        ++start;
    if (!QByteArrayView(rtf).sliced(start).startsWith("{\\rtf"))
        return std::nullopt;
    return rtf.sliced(start);
}

} // namespace

Status RtfReader::read(const QByteArray &rtf, QTextDocument &document, const AttachmentResolver &resolver)
{
    const std::optional<QByteArray> body = rtfBody(rtf);
    if (!body)
        return Error{QStringLiteral("The data is no RTF text.")};
    document.clear();
    // Without undo steps and inside one edit block, insertion does not lay
    // out each block again after every run of text.
    const bool undoRedo = document.isUndoRedoEnabled();
    document.setUndoRedoEnabled(false);
    {
        Parser parser(*body, document, resolver);
        parser.run();
    }
    document.setUndoRedoEnabled(undoRedo);
    return {};
}

Result<QString> RtfReader::readPlainText(const QByteArray &rtf)
{
    const std::optional<QByteArray> body = rtfBody(rtf);
    if (!body)
        return Error{QStringLiteral("The data is no RTF text.")};
    QString plain;
    Parser parser(*body, plain);
    parser.run();
    return plain;
}
