#pragma once

#include <QByteArray>
#include <QByteArrayView>

/**
 * Splits RTF bytes into tokens: group braces, control words with their
 * optional signed parameter, control symbols, runs of literal text, \'hh
 * bytes and \binN data.
 *
 * It never reads past the input: a \binN count larger than what is left is
 * cut to the remaining bytes, parameters are clamped to the int range and
 * broken hex yields what could be read. Line feeds and carriage returns
 * between tokens are dropped, except after a lone backslash, which is
 * reported as the control symbol '\n' (a paragraph break).
 */
class RtfTokenizer
{
public:
    enum class Type
    {
        End,
        GroupStart,
        GroupEnd,
        ControlWord,
        ControlSymbol,
        Text,
        HexByte,
        Binary
    };

    struct Token
    {
        Type type = Type::End;
        /** The control word's letters, the text run or the binary data; views into the input. */
        QByteArrayView data;
        int parameter = 0;
        bool hasParameter = false;
        /** The symbol for ControlSymbol, the byte for HexByte. */
        char symbol = 0;
    };

    explicit RtfTokenizer(const QByteArray &rtf)
        : m_bytes(rtf)
    { }

    /** The next token; End once the input is used up. */
    [[nodiscard]] Token next();

    /** The number of bytes not yet read. */
    [[nodiscard]] qsizetype remaining() const { return m_bytes.size() - m_pos; }

    /**
     * Skips @p count characters of fallback text after \u: literal bytes and
     * \'hh escapes count one each; skipping stops early at a brace or any
     * other control word, which is left for next().
     */
    void skipFallback(int count);

private:
    [[nodiscard]] Token readControl();

    const QByteArray &m_bytes;
    qsizetype m_pos = 0;
};
