#include "TypedStreamTypes.h"

#include <algorithm>
#include <limits>

namespace {

constexpr int kMaxTypeNesting = 32;

class TypeParser
{
public:
    explicit TypeParser(QByteArrayView text)
        : m_text(text)
    { }

    Result<std::vector<TypedStreamType>> parseAll()
    {
        std::vector<TypedStreamType> types;
        while (skipQualifiers()) {
            auto type = parseOne(0);
            if (!type)
                return Error{type.errorMessage()};
            types.push_back(std::move(type).value());
        }
        if (types.empty())
            return Error{QStringLiteral("Empty type encoding in typed stream")};
        return types;
    }

private:
    bool skipQualifiers()
    {
        static constexpr QByteArrayView qualifiers("rnNoORV");
        while (m_pos < m_text.size() && qualifiers.contains(m_text[m_pos]))
            ++m_pos;
        return m_pos < m_text.size();
    }

    Error fail(const char *why) const
    {
        return Error{
            QStringLiteral("Bad type encoding \"%1\" in typed stream: %2")
                .arg(QString::fromLatin1(m_text.first(std::min<qsizetype>(64, m_text.size()))), QLatin1String(why))};
    }

    Result<TypedStreamType> parseOne(int depth)
    {
        if (depth > kMaxTypeNesting)
            return fail("nested too deeply");
        if (!skipQualifiers())
            return fail("a type is missing");
        TypedStreamType type;
        type.code = m_text[m_pos++];
        if (TypedStreamTypes::isNumberCode(type.code))
            return type;
        switch (type.code) {
        case '*':
        case '+':
        case '%':
        case ':':
        case '#':
        case '@':
        case '!':
            return type;
        case '[':
            return parseArray(std::move(type), depth);
        case '{':
            return parseStruct(std::move(type), depth);
        case '(':
            return fail("unions have no typed-stream form");
        default:
            return fail("unsupported type character");
        }
    }

    Result<TypedStreamType> parseArray(TypedStreamType type, int depth)
    {
        qint64 count = 0;
        bool digits = false;
        while (m_pos < m_text.size() && m_text[m_pos] >= '0' && m_text[m_pos] <= '9') {
            count = count * 10 + (m_text[m_pos++] - '0');
            digits = true;
            if (count > std::numeric_limits<qint32>::max())
                return fail("array count too large");
        }
        if (!digits)
            return fail("array without count");
        auto element = parseOne(depth + 1);
        if (!element)
            return Error{element.errorMessage()};
        if (m_pos >= m_text.size() || m_text[m_pos] != ']')
            return fail("unterminated array");
        ++m_pos;
        type.count = count;
        type.members.push_back(std::move(element).value());
        return type;
    }

    Result<TypedStreamType> parseStruct(TypedStreamType type, int depth)
    {
        // The name is optional: "{ii}" has none. A '=' before the fields marks one.
        qsizetype scan = m_pos;
        while (scan < m_text.size() && m_text[scan] != '=' && m_text[scan] != '}' && m_text[scan] != '{'
            && m_text[scan] != '[')
            ++scan;
        if (scan < m_text.size() && m_text[scan] == '=')
            m_pos = scan + 1;
        while (m_pos < m_text.size() && m_text[m_pos] != '}') {
            auto field = parseOne(depth + 1);
            if (!field)
                return Error{field.errorMessage()};
            type.members.push_back(std::move(field).value());
        }
        if (m_pos >= m_text.size())
            return fail("unterminated struct");
        ++m_pos;
        return type;
    }

    QByteArrayView m_text;
    qsizetype m_pos = 0;
};

} // namespace

qint64 TypedStreamType::minimumSize() const
{
    switch (code) {
    case '!':
        return 0;
    case '[': {
        const qint64 element = members.front().minimumSize();
        // Capped so that nested arrays cannot overflow; no stream is this long.
        return element == 0 ? 0 : std::min<qint64>(count * element, std::numeric_limits<qint32>::max());
    }
    case '{': {
        qint64 total = 0;
        for (const auto &field : members)
            total = std::min<qint64>(total + field.minimumSize(), std::numeric_limits<qint32>::max());
        return total;
    }
    default:
        return 1;
    }
}

Result<std::vector<TypedStreamType>> TypedStreamTypes::parse(QByteArrayView types)
{
    return TypeParser(types).parseAll();
}

bool TypedStreamTypes::standsFor(char wanted, char found)
{
    static constexpr QByteArrayView integers("cCBsSiIlLqQ");
    if (wanted == found)
        return true;
    if (integers.contains(wanted) && integers.contains(found))
        return true;
    return (wanted == 'f' || wanted == 'd') && (found == 'f' || found == 'd');
}

bool TypedStreamTypes::isNumberCode(char code)
{
    return code != '\0' && QByteArrayView("cCBsSiIlLqQfd").contains(code);
}

QVariant TypedStreamTypes::numberValue(char code, qint64 integer, double real)
{
    switch (code) {
    case 'c':
        return QVariant::fromValue(qint8(integer));
    case 'C':
        return QVariant::fromValue(quint8(integer));
    case 'B':
        return QVariant(integer != 0);
    case 's':
        return QVariant::fromValue(short(integer));
    case 'S':
        return QVariant::fromValue(ushort(integer));
    case 'i':
        return QVariant(int(integer));
    case 'I':
        return QVariant(uint(integer));
    case 'l':
        return QVariant::fromValue(long(integer));
    case 'L':
        return QVariant::fromValue(ulong(integer));
    case 'q':
        return QVariant(qlonglong(integer));
    case 'Q':
        return QVariant(qulonglong(integer));
    case 'f':
        return QVariant(float(real));
    case 'd':
        return QVariant(real);
    default:
        return QVariant();
    }
}
