#include "XmlPropertyListReader.h"

#include "PropertyList.h"

#include <QDateTime>
#include <QXmlStreamReader>

#include <bitset>
#include <cmath>
#include <limits>
#include <map>

namespace {

// The platform escapes only < > & in strings and writes every other
// character raw, control characters included. XML forbids those (and the
// non-characters U+FFFE and U+FFFF), and inside text it would turn a carriage
// return into a line feed. So before parsing, each such character in a UTF-8
// document is replaced by a stand-in from a block of private-use code points
// that the document does not use itself; string and key texts map the
// stand-ins back. A stand-in is three bytes of UTF-8 and never a line break,
// so line numbers in error messages stay right.
//
// Stand-in offsets: 0x00-0x1F for the control character of that value, 32 for
// U+FFFE, 33 for U+FFFF.
constexpr int kStandInCount = 34;
constexpr char16_t kPrivateUseFirst = 0xE000;
constexpr char16_t kPrivateUseLast = 0xF8FF;
constexpr int kBlockSize = 64;
constexpr int kBlockCount = (kPrivateUseLast - kPrivateUseFirst + 1) / kBlockSize;

// Calls visit(position, length, standInOffset) for every character the
// parser must not see. Carriage returns count only inside <string> and
// <key>, which the platform writes without attributes; elsewhere they are
// line breaks.
template<typename Visit> void forEachForbidden(const QByteArray &bytes, Visit &&visit)
{
    const auto *data = reinterpret_cast<const uchar *>(bytes.constData());
    const qsizetype size = bytes.size();
    bool inText = false;
    for (qsizetype i = 0; i < size; ++i) {
        const uchar c = data[i];
        if (c == '<') {
            const QByteArrayView rest(data + i, size - i);
            inText = rest.startsWith("<string>") || rest.startsWith("<key>");
        } else if (c < 0x20) {
            if (c == '\t' || c == '\n' || (c == '\r' && !inText))
                continue;
            visit(i, 1, int(c));
        } else if (c == 0xEF && i + 2 < size && data[i + 1] == 0xBF && (data[i + 2] == 0xBE || data[i + 2] == 0xBF)) {
            visit(i, 3, data[i + 2] == 0xBE ? 32 : 33);
            i += 2;
        }
    }
}

// Stand-ins are UTF-8; documents in other encodings are parsed as they are.
bool isUtf8Document(const QByteArray &bytes)
{
    if (bytes.startsWith("\xFE\xFF") || bytes.startsWith("\xFF\xFE") || bytes.left(4).contains('\0'))
        return false;
    const qsizetype start = bytes.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    if (!QByteArrayView(bytes).sliced(start).startsWith("<?xml"))
        return true;
    const qsizetype end = bytes.indexOf("?>", start);
    const QByteArray declaration = bytes.mid(start, end < 0 ? -1 : end - start);
    qsizetype at = declaration.indexOf("encoding");
    if (at < 0)
        return true;
    at = declaration.indexOf('=', at);
    while (at >= 0 && ++at < declaration.size() && (declaration[at] == ' ' || declaration[at] == '\t'))
        ;
    if (at < 0 || at >= declaration.size() || (declaration[at] != '"' && declaration[at] != '\''))
        return true;
    const qsizetype close = declaration.indexOf(declaration[at], at + 1);
    const QByteArray encoding = declaration.mid(at + 1, close < 0 ? -1 : close - at - 1).toLower();
    return encoding == "utf-8" || encoding == "utf8";
}

struct Prepared
{
    QByteArray bytes;
    char16_t standInBase = 0; // 0: no stand-ins
};

Prepared replaceForbiddenCharacters(const QByteArray &bytes)
{
    qsizetype forbidden = 0;
    if (isUtf8Document(bytes))
        forEachForbidden(bytes, [&forbidden](qsizetype, int, int) { ++forbidden; });
    if (forbidden == 0)
        return {bytes, 0};

    const auto *data = reinterpret_cast<const uchar *>(bytes.constData());
    const qsizetype size = bytes.size();
    std::bitset<kBlockCount> used;
    for (qsizetype i = 0; i + 2 < size; ++i) {
        if ((data[i] == 0xEE || data[i] == 0xEF) && (data[i + 1] & 0xC0) == 0x80 && (data[i + 2] & 0xC0) == 0x80) {
            const int codePoint = ((data[i] & 0x0F) << 12) | ((data[i + 1] & 0x3F) << 6) | (data[i + 2] & 0x3F);
            if (codePoint >= kPrivateUseFirst && codePoint <= kPrivateUseLast)
                used.set(size_t(codePoint - kPrivateUseFirst) / kBlockSize);
        }
    }
    int block = 0;
    while (block < kBlockCount && used.test(size_t(block)))
        ++block;
    if (block == kBlockCount)
        return {bytes, 0}; // the parser will then report the first forbidden character

    const auto base = char16_t(kPrivateUseFirst + block * kBlockSize);
    QByteArray out;
    out.reserve(size + 2 * forbidden);
    qsizetype copied = 0;
    forEachForbidden(bytes, [&](qsizetype at, int length, int offset) {
        out.append(bytes.constData() + copied, at - copied);
        const int codePoint = base + offset;
        out.append(char(0xE0 | (codePoint >> 12)));
        out.append(char(0x80 | ((codePoint >> 6) & 0x3F)));
        out.append(char(0x80 | (codePoint & 0x3F)));
        copied = at + length;
    });
    out.append(bytes.constData() + copied, size - copied);
    return {out, base};
}

// Property lists never declare entities of their own; a document that does
// could otherwise turn every three-byte reference into thousands of characters.
constexpr int kEntityExpansionLimit = 256;

enum class Element
{
    Dict,
    Array,
    Key,
    String,
    Integer,
    Real,
    True,
    False,
    Date,
    Data,
    Unknown
};

Element elementOf(QStringView name)
{
    static const std::pair<QStringView, Element> kElements[] = {
        {u"dict", Element::Dict},
        {u"array", Element::Array},
        {u"key", Element::Key},
        {u"string", Element::String},
        {u"integer", Element::Integer},
        {u"real", Element::Real},
        {u"true", Element::True},
        {u"false", Element::False},
        {u"date", Element::Date},
        {u"data", Element::Data},
    };
    for (const auto &[elementName, element] : kElements) {
        if (name == elementName)
            return element;
    }
    return Element::Unknown;
}

class Parser
{
public:
    explicit Parser(const Prepared &prepared)
        : m_xml(prepared.bytes)
        , m_standInBase(prepared.standInBase)
    {
        m_xml.setEntityExpansionLimit(kEntityExpansionLimit);
    }

    Result<QVariant> parse()
    {
        QVariant root;
        if (!parseDocument(root))
            return Error{
                QStringLiteral("XML property list, line %1: %2").arg(m_xml.lineNumber()).arg(m_xml.errorString())};
        return root;
    }

private:
    bool error(const QString &message)
    {
        m_xml.raiseError(message);
        return false;
    }

    // The next element boundary, past comments, processing instructions and
    // white space. Anything else stops the parse with an error.
    QXmlStreamReader::TokenType nextToken()
    {
        for (;;) {
            switch (m_xml.readNext()) {
            case QXmlStreamReader::StartElement:
            case QXmlStreamReader::EndElement:
            case QXmlStreamReader::EndDocument:
            case QXmlStreamReader::Invalid:
                return m_xml.tokenType();
            case QXmlStreamReader::Characters:
                if (m_xml.isWhitespace())
                    break;
                error(QStringLiteral("unexpected text \"%1\"").arg(m_xml.text().left(40)));
                return QXmlStreamReader::Invalid;
            case QXmlStreamReader::EntityReference:
                error(QStringLiteral("unknown entity &%1;").arg(m_xml.name()));
                return QXmlStreamReader::Invalid;
            default:
                break;
            }
        }
    }

    // After nextToken() inside a container: true for a start tag; false (with
    // an error set) for anything but the container's end tag.
    bool startsChild(QXmlStreamReader::TokenType token, bool &ended)
    {
        ended = token == QXmlStreamReader::EndElement;
        if (token == QXmlStreamReader::StartElement || ended)
            return true;
        return m_xml.hasError() ? false : error(QStringLiteral("the document ends inside a container"));
    }

    bool parseDocument(QVariant &root)
    {
        if (nextToken() != QXmlStreamReader::StartElement)
            return m_xml.hasError() ? false : error(QStringLiteral("the document holds no elements"));
        if (m_xml.name() == u"plist") {
            bool found = false;
            for (;;) {
                bool ended = false;
                if (!startsChild(nextToken(), ended))
                    return false;
                if (ended)
                    break;
                if (found)
                    return error(QStringLiteral("<plist> holds more than one value"));
                if (!readValue(0, root))
                    return false;
                found = true;
            }
            if (!found)
                return error(QStringLiteral("<plist> holds no value"));
        } else if (!readValue(0, root)) {
            return false;
        }
        if (nextToken() != QXmlStreamReader::EndDocument)
            return m_xml.hasError() ? false : error(QStringLiteral("content follows the property list"));
        return true;
    }

    bool readValue(int depth, QVariant &out)
    {
        const Element element = elementOf(m_xml.name());
        switch (element) {
        case Element::Dict:
            return readDictionary(depth, out);
        case Element::Array:
            return readArray(depth, out);
        case Element::Key:
            return error(QStringLiteral("<key> appears outside a dictionary"));
        case Element::Unknown:
            return error(QStringLiteral("<%1> is not a property-list element").arg(m_xml.name()));
        case Element::Data:
            return readData(out);
        default:
            break;
        }
        QString text;
        if (!readText(text))
            return false;
        switch (element) {
        case Element::String:
            out = QVariant(text);
            return true;
        case Element::Integer:
            return parseInteger(text, out);
        case Element::Real:
            return parseReal(text, out);
        case Element::True:
        case Element::False:
            if (!text.trimmed().isEmpty())
                return error(QStringLiteral("<true/> and <false/> hold no text"));
            out = QVariant(element == Element::True);
            return true;
        case Element::Date:
            return parseDate(text, out);
        default:
            return false;
        }
    }

    bool readText(QString &out)
    {
        out = m_xml.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
        if (m_xml.hasError())
            return false;
        if (m_standInBase != 0) {
            for (QChar &c : out) {
                const int offset = c.unicode() - m_standInBase;
                if (offset >= 0 && offset < kStandInCount)
                    c = offset < 32 ? QChar(offset) : QChar(offset == 32 ? 0xFFFE : 0xFFFF);
            }
        }
        return true;
    }

    bool checkDepth(int depth)
    {
        if (depth < XmlPropertyListReader::kMaxDepth)
            return true;
        return error(QStringLiteral("arrays and dictionaries are nested more than %1 levels deep")
                         .arg(XmlPropertyListReader::kMaxDepth));
    }

    bool readArray(int depth, QVariant &out)
    {
        if (!checkDepth(depth))
            return false;
        QVariantList items;
        for (;;) {
            bool ended = false;
            if (!startsChild(nextToken(), ended))
                return false;
            if (ended)
                break;
            QVariant item;
            if (!readValue(depth + 1, item))
                return false;
            items.append(std::move(item));
        }
        out = QVariant(items);
        return true;
    }

    bool readDictionary(int depth, QVariant &out)
    {
        if (!checkDepth(depth))
            return false;
        std::map<QString, QVariant> entries;
        for (;;) {
            bool ended = false;
            if (!startsChild(nextToken(), ended))
                return false;
            if (ended)
                break;
            if (m_xml.name() != u"key")
                return error(QStringLiteral("<%1> stands in a dictionary where a <key> belongs").arg(m_xml.name()));
            QString key;
            if (!readText(key) || !startsChild(nextToken(), ended))
                return false;
            if (ended)
                return error(QStringLiteral("the key \"%1\" has no value").arg(key));
            QVariant value;
            if (!readValue(depth + 1, value))
                return false;
            entries.insert_or_assign(std::move(key), std::move(value));
        }
        // XML has no UID element: keyed archives write one as a dictionary
        // whose only key is "CF$UID", and the platform reads that back as a UID.
        if (entries.size() == 1 && entries.begin()->first == u"CF$UID") {
            const QVariant &number = entries.begin()->second;
            if (number.typeId() == QMetaType::ULongLong
                || (number.typeId() == QMetaType::LongLong && number.toLongLong() >= 0)) {
                out = QVariant::fromValue(PropertyListUid{number.toULongLong()});
                return true;
            }
        }
        out = QVariant(QVariantMap(std::move(entries)));
        return true;
    }

    bool parseInteger(const QString &text, QVariant &out)
    {
        QStringView digits = QStringView(text).trimmed();
        const bool negative = digits.startsWith(u'-');
        if (negative || digits.startsWith(u'+'))
            digits = digits.mid(1);
        quint64 radix = 10;
        if (digits.startsWith(u"0x", Qt::CaseInsensitive)) {
            radix = 16;
            digits = digits.mid(2);
        }
        if (digits.isEmpty())
            return error(QStringLiteral("\"%1\" is not an integer").arg(text));
        quint64 magnitude = 0;
        for (const QChar c : digits) {
            const char16_t u = c.unicode();
            quint64 digit = radix;
            if (u >= '0' && u <= '9')
                digit = u - '0';
            else if (radix == 16 && u >= 'a' && u <= 'f')
                digit = u - 'a' + 10;
            else if (radix == 16 && u >= 'A' && u <= 'F')
                digit = u - 'A' + 10;
            if (digit >= radix)
                return error(QStringLiteral("\"%1\" is not an integer").arg(text));
            if (magnitude > (std::numeric_limits<quint64>::max() - digit) / radix)
                return error(QStringLiteral("the integer %1 does not fit in 64 bits").arg(text));
            magnitude = magnitude * radix + digit;
        }
        constexpr auto kMaxSigned = quint64(std::numeric_limits<qint64>::max());
        if (negative) {
            if (magnitude > kMaxSigned + 1)
                return error(QStringLiteral("the integer %1 does not fit in 64 bits").arg(text));
            out = QVariant(qint64(0 - magnitude));
        } else {
            out = magnitude > kMaxSigned ? QVariant(magnitude) : QVariant(qint64(magnitude));
        }
        return true;
    }

    bool parseReal(const QString &text, QVariant &out)
    {
        const QString value = text.trimmed().toLower();
        if (value == u"nan" || value == u"+nan" || value == u"-nan") {
            out = QVariant(std::numeric_limits<double>::quiet_NaN());
            return true;
        }
        const bool negative = value.startsWith(u'-');
        const QStringView unsignedValue
            = negative || value.startsWith(u'+') ? QStringView(value).mid(1) : QStringView(value);
        if (unsignedValue == u"inf" || unsignedValue == u"infinity") {
            out = QVariant(
                negative ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity());
            return true;
        }
        bool ok = false;
        const double number = value.toDouble(&ok);
        if (!ok)
            return error(QStringLiteral("\"%1\" is not a real number").arg(text));
        out = QVariant(number);
        return true;
    }

    // YYYY-MM-DDTHH:MM:SS, optionally with a fraction of a second and a Z;
    // always UTC.
    bool parseDate(const QString &text, QVariant &out)
    {
        const QStringView s = QStringView(text).trimmed();
        qsizetype at = 0;
        const auto number = [&](int minDigits, int maxDigits, int &value) {
            value = 0;
            int digits = 0;
            while (at < s.size() && digits < maxDigits && s[at] >= u'0' && s[at] <= u'9') {
                value = value * 10 + (s[at++].unicode() - '0');
                ++digits;
            }
            return digits >= minDigits;
        };
        const auto separator = [&](char16_t c) {
            return at < s.size() && s[at++] == c;
        };
        int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
        const bool parsed = number(1, 6, year) && separator(u'-') && number(2, 2, month) && separator(u'-')
            && number(2, 2, day) && separator(u'T') && number(2, 2, hour) && separator(u':') && number(2, 2, minute)
            && separator(u':') && number(2, 2, second);
        double fraction = 0;
        if (parsed && at < s.size() && s[at] == u'.') {
            const qsizetype start = at++;
            while (at < s.size() && s[at] >= u'0' && s[at] <= u'9')
                ++at;
            QString decimal = QStringLiteral("0");
            decimal.append(s.mid(start, at - start));
            fraction = decimal.toDouble();
        }
        if (parsed && at < s.size() && s[at] == u'Z')
            ++at;
        const QDate date(year, month, day);
        const QTime time(hour, minute, second);
        if (!parsed || at != s.size() || !date.isValid() || !time.isValid())
            return error(QStringLiteral("\"%1\" is not a date of the form YYYY-MM-DDTHH:MM:SSZ").arg(text));
        out = QVariant(QDateTime(date, time, Qt::UTC).addMSecs(std::llround(fraction * 1000)));
        return true;
    }

    // Base64 goes from the parser's text straight into bytes: building the
    // element's text as a string first was a quarter of a page file's read.
    bool readData(QVariant &out)
    {
        QByteArray base64;
        for (;;) {
            switch (m_xml.readNext()) {
            case QXmlStreamReader::Characters:
                if (!appendBase64(m_xml.text(), base64))
                    return false;
                break;
            case QXmlStreamReader::Comment:
            case QXmlStreamReader::ProcessingInstruction:
                break;
            case QXmlStreamReader::EndElement: {
                auto decoded = QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
                if (!decoded)
                    return error(QStringLiteral("<data> is not valid base64"));
                out = QVariant(std::move(decoded.decoded));
                return true;
            }
            case QXmlStreamReader::Invalid:
                return false;
            case QXmlStreamReader::EntityReference:
                return error(QStringLiteral("unknown entity &%1;").arg(m_xml.name()));
            default:
                return error(QStringLiteral("<data> holds something other than text"));
            }
        }
    }

    bool appendBase64(QStringView text, QByteArray &base64)
    {
        const qsizetype start = base64.size();
        if (base64.capacity() < start + text.size())
            base64.reserve(std::max(start + text.size(), 2 * base64.capacity()));
        base64.resize(start + text.size());
        char *next = base64.data() + start;
        for (const QChar c : text) {
            const char16_t u = c.unicode();
            if (u == ' ' || u == '\t' || u == '\n' || u == '\r')
                continue;
            // Forbidden characters stand in as private-use ones, so they fail here too.
            if (u > 0x7F)
                return error(QStringLiteral("<data> holds a character that is not base64"));
            *next++ = char(u);
        }
        base64.truncate(next - base64.constData());
        return true;
    }

    QXmlStreamReader m_xml;
    char16_t m_standInBase;
};

} // namespace

Result<QVariant> XmlPropertyListReader::read(const QByteArray &bytes)
{
    return Parser(replaceForbiddenCharacters(bytes)).parse();
}
