#include "RtfTokenizer.h"

#include <limits>

namespace {

constexpr int maxWordLength = 32;
constexpr int maxParameterDigits = 10;

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace

RtfTokenizer::Token RtfTokenizer::next()
{
    const qsizetype size = m_bytes.size();
    const char *bytes = m_bytes.constData();
    while (m_pos < size) {
        const char c = bytes[m_pos];
        if (c == '\r' || c == '\n') {
            ++m_pos;
            continue;
        }
        if (c == '{') {
            ++m_pos;
            return {Type::GroupStart, {}, 0, false, 0};
        }
        if (c == '}') {
            ++m_pos;
            return {Type::GroupEnd, {}, 0, false, 0};
        }
        if (c == '\\')
            return readControl();
        const qsizetype start = m_pos;
        while (m_pos < size) {
            const char t = bytes[m_pos];
            if (t == '\\' || t == '{' || t == '}' || t == '\r' || t == '\n')
                break;
            ++m_pos;
        }
        return {Type::Text, QByteArrayView(bytes + start, m_pos - start), 0, false, 0};
    }
    return {};
}

RtfTokenizer::Token RtfTokenizer::readControl()
{
    const qsizetype size = m_bytes.size();
    const char *bytes = m_bytes.constData();
    ++m_pos; // the backslash
    if (m_pos >= size)
        return {};
    const char c = bytes[m_pos];
    if (!isLetter(c)) {
        ++m_pos;
        if (c == '\'') {
            int value = 0;
            int digits = 0;
            while (digits < 2 && m_pos < size) {
                const int h = hexValue(bytes[m_pos]);
                if (h < 0)
                    break;
                value = value * 16 + h;
                ++digits;
                ++m_pos;
            }
            if (digits == 0)
                return next();
            return {Type::HexByte, {}, 0, false, char(value)};
        }
        if (c == '\r') {
            if (m_pos < size && bytes[m_pos] == '\n')
                ++m_pos;
            return {Type::ControlSymbol, {}, 0, false, '\n'};
        }
        return {Type::ControlSymbol, {}, 0, false, c};
    }

    const qsizetype start = m_pos;
    while (m_pos < size && isLetter(bytes[m_pos]))
        ++m_pos;
    Token token{Type::ControlWord, QByteArrayView(bytes + start, std::min<qsizetype>(m_pos - start, maxWordLength)), 0,
        false, 0};
    bool negative = false;
    if (m_pos + 1 < size && bytes[m_pos] == '-' && isDigit(bytes[m_pos + 1])) {
        negative = true;
        ++m_pos;
    }
    if (m_pos < size && isDigit(bytes[m_pos])) {
        qint64 value = 0;
        int digits = 0;
        while (m_pos < size && isDigit(bytes[m_pos])) {
            if (digits < maxParameterDigits)
                value = value * 10 + (bytes[m_pos] - '0');
            ++digits;
            ++m_pos;
        }
        value = std::min<qint64>(value, std::numeric_limits<int>::max());
        token.parameter = int(negative ? -value : value);
        token.hasParameter = true;
    }
    if (m_pos < size && bytes[m_pos] == ' ')
        ++m_pos;

    if (token.data == "bin") {
        const qsizetype count = std::min<qsizetype>(std::max(token.parameter, 0), size - m_pos);
        token.type = Type::Binary;
        token.data = QByteArrayView(bytes + m_pos, count);
        m_pos += count;
    }
    return token;
}

void RtfTokenizer::skipFallback(int count)
{
    const qsizetype size = m_bytes.size();
    const char *bytes = m_bytes.constData();
    while (count > 0 && m_pos < size) {
        const char c = bytes[m_pos];
        if (c == '{' || c == '}')
            return;
        if (c == '\r' || c == '\n') {
            ++m_pos;
            continue;
        }
        if (c != '\\') {
            ++m_pos;
            --count;
            continue;
        }
        if (m_pos + 1 < size && bytes[m_pos + 1] == '\'') {
            m_pos += 2;
            for (int i = 0; i < 2 && m_pos < size && hexValue(bytes[m_pos]) >= 0; ++i)
                ++m_pos;
            --count;
            continue;
        }
        return;
    }
}
