#include "TextInformation.h"

#include <QTextBoundaryFinder>
#include <QTextCursor>
#include <QTextDocument>

#include <array>
#include <cstdint>
#include <vector>

namespace {

constexpr char16_t kBeginningOfFrame = 0xfdd0;
constexpr char16_t kEndOfFrame = 0xfdd1;

bool isLineBreak(char16_t c)
{
    // Ordered for speed: nearly every character is below U+0085 or between it and U+2028.
    if (c < 0x85)
        return c == u'\n' || c == u'\r';
    if (c < QChar::LineSeparator)
        return c == 0x85;
    return c == QChar::LineSeparator || c == QChar::ParagraphSeparator || c == kBeginningOfFrame || c == kEndOfFrame;
}

// Word-break classes of the characters of Latin text (Latin-1 and the
// typographic quotes and dashes), as far as they decide where a word segment
// ends. The rules below are those of QTextBoundaryFinder on such text:
// letters, digits and "_" hold together; an apostrophe (', ‘, ’) joins two
// letters or two digits; the middle dot joins two letters; ".", "," and ";"
// join two digits. Everything else stands alone (runs of spaces hold
// together, but never make a word); superscript digits and fractions are
// words of their own.
enum class Latin : std::uint8_t
{
    Other,
    Letter,
    Digit,
    Underscore,
    Apostrophe,
    MidLetter,
    MidNumber,
    LoneNumber,
    Unsupported, // needs the boundary finder
};

constexpr std::array<Latin, 256> kLatinClasses = [] {
    std::array<Latin, 256> classes{};
    for (int c = 'a'; c <= 'z'; ++c)
        classes[size_t(c)] = Latin::Letter;
    for (int c = 'A'; c <= 'Z'; ++c)
        classes[size_t(c)] = Latin::Letter;
    for (int c = 0xc0; c <= 0xff; ++c)
        classes[size_t(c)] = Latin::Letter;
    for (const int c : {0xaa, 0xb5, 0xba})
        classes[size_t(c)] = Latin::Letter;
    classes[0xd7] = Latin::Other; // multiplication sign
    classes[0xf7] = Latin::Other; // division sign
    for (int c = '0'; c <= '9'; ++c)
        classes[size_t(c)] = Latin::Digit;
    for (const int c : {0xb2, 0xb3, 0xb9, 0xbc, 0xbd, 0xbe})
        classes[size_t(c)] = Latin::LoneNumber;
    classes['_'] = Latin::Underscore;
    classes['\''] = Latin::Apostrophe;
    classes[0xb7] = Latin::MidLetter;
    classes['.'] = Latin::MidNumber;
    classes[','] = Latin::MidNumber;
    classes[';'] = Latin::MidNumber;
    classes[0xad] = Latin::Unsupported; // the soft hyphen vanishes inside a word
    return classes;
}();

Latin latinClass(char16_t c)
{
    if (c < 0x100)
        return kLatinClasses[c];
    switch (c) {
    case 0x2018: // single quotation marks
    case 0x2019:
        return Latin::Apostrophe;
    case 0x2013: // dashes, double quotation marks, ellipsis, bullet, euro sign
    case 0x2014:
    case 0x201c:
    case 0x201d:
    case 0x2026:
    case 0x2022:
    case 0x20ac:
        return Latin::Other;
    default:
        return Latin::Unsupported;
    }
}

bool holdsTogether(Latin c)
{
    return c == Latin::Letter || c == Latin::Digit || c == Latin::Underscore;
}

// Whether a middle character of class @p middle between @p before and
// @p after keeps them in one word; it then joins on both sides.
bool joinsAcross(Latin before, Latin middle, Latin after)
{
    switch (middle) {
    case Latin::Apostrophe:
        return (before == Latin::Letter && after == Latin::Letter) || (before == Latin::Digit && after == Latin::Digit);
    case Latin::MidLetter:
        return before == Latin::Letter && after == Latin::Letter;
    case Latin::MidNumber:
        return before == Latin::Digit && after == Latin::Digit;
    default:
        return false;
    }
}

// Words of a line of Latin text whose segments meet [from, to) (line positions).
//
// A word segment is a run of letters, digits and "_", extended across a
// middle character whenever the characters on both sides allow it. Every
// other character is a segment of its own (spaces merge, but hold no word),
// and of those only the lone numbers count.
qint64 countLatinWords(QStringView line, qint64 from, qint64 to)
{
    const auto classAt = [&](qsizetype i) {
        return i < line.size() ? latinClass(line[i].unicode()) : Latin::Other;
    };
    qint64 words = 0;
    qsizetype i = 0;
    while (i < line.size() && i < to) {
        Latin current = classAt(i);
        if (!holdsTogether(current)) {
            if (current == Latin::LoneNumber && i >= from)
                ++words;
            ++i;
            continue;
        }
        const qsizetype start = i;
        bool hasAlphanumeric = false;
        for (;;) {
            hasAlphanumeric = hasAlphanumeric || current != Latin::Underscore;
            const Latin next = classAt(i + 1);
            if (holdsTogether(next)) {
                current = next;
                ++i;
                continue;
            }
            const Latin after = classAt(i + 2);
            if (!joinsAcross(current, next, after))
                break;
            current = after;
            i += 2;
        }
        ++i; // past the run's last character
        if (hasAlphanumeric && i > from && start < to)
            ++words;
    }
    return words;
}

// Letters, digits and marks: what is left of a word once its punctuation and
// spaces are trimmed must hold one of them.
bool holdsLetterOrDigit(QStringView segment)
{
    for (qsizetype i = 0; i < segment.size(); ++i) {
        char32_t c = segment[i].unicode();
        if (QChar::isHighSurrogate(c) && i + 1 < segment.size() && segment[i + 1].isLowSurrogate()) {
            c = QChar::surrogateToUcs4(segment[i].unicode(), segment[i + 1].unicode());
            ++i;
        }
        if (QChar::isLetterOrNumber(c) || QChar::isMark(c))
            return true;
    }
    return false;
}

qint64 countWordsWithBoundaryFinder(QStringView line, qint64 from, qint64 to, std::vector<unsigned char> &buffer)
{
    // The finder works in a buffer of one attribute record per character (and
    // one more); records are a few bytes, so four per character is ample.
    const size_t needed = size_t(line.size() + 1) * 4;
    if (buffer.size() < needed)
        buffer.resize(needed);
    QTextBoundaryFinder finder(
        QTextBoundaryFinder::Word, line.data(), line.size(), buffer.data(), qsizetype(buffer.size()));
    qint64 words = 0;
    qsizetype segmentStart = 0;
    for (qsizetype end = finder.toNextBoundary(); end != -1 && segmentStart < to; end = finder.toNextBoundary()) {
        if (end > from && holdsLetterOrDigit(line.sliced(segmentStart, end - segmentStart)))
            ++words;
        segmentStart = end;
    }
    return words;
}

qint64 linesIn(QStringView text, TextSpan span)
{
    if (span.isEmpty())
        return 0;
    qint64 lines = 1;
    for (qsizetype i = span.start; i < span.end; ++i) {
        const char16_t c = text[i].unicode();
        if (!isLineBreak(c))
            continue;
        qsizetype next = i + 1;
        if (c == u'\r' && next < text.size() && text[next] == u'\n')
            ++next;
        // A break that ends before the range does starts a line inside it.
        if (next < span.end)
            ++lines;
        i = next - 1;
    }
    return lines;
}

qint64 wordsIn(QStringView text, TextSpan span)
{
    if (span.isEmpty())
        return 0;
    // Word segments never cross a line break, so each line is segmented on its
    // own, from the start of the line that holds the range's start.
    qsizetype lineStart = span.start;
    while (lineStart > 0 && !isLineBreak(text[lineStart - 1].unicode()))
        --lineStart;
    std::vector<unsigned char> buffer;
    qint64 words = 0;
    while (lineStart < span.end) {
        qsizetype lineEnd = lineStart;
        bool latin = true;
        for (; lineEnd < text.size(); ++lineEnd) {
            const char16_t c = text[lineEnd].unicode();
            if (c < 0x80) {
                if (c == u'\n' || c == u'\r')
                    break;
            } else if (isLineBreak(c)) {
                break;
            } else if (latin && latinClass(c) == Latin::Unsupported) {
                latin = false;
            }
        }
        const QStringView line = text.sliced(lineStart, lineEnd - lineStart);
        const qint64 from = span.start - lineStart;
        const qint64 to = span.end - lineStart;
        words += latin ? countLatinWords(line, from, to) : countWordsWithBoundaryFinder(line, from, to, buffer);
        lineStart = lineEnd + 1;
    }
    return words;
}

} // namespace

namespace TextInformation {

qint64 countLinesInRange(const QString &text, const TextRange &range)
{
    return linesIn(text, TextSpan::fit(range, text.size()));
}

qint64 countLinesInRange(const QTextDocument &document, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    return span.isEmpty() ? 0 : linesIn(document.toRawText(), span);
}

qint64 countLines(const QString &text)
{
    return countLinesInRange(text, TextRange{0, text.size()});
}

qint64 countLines(const QTextDocument &document)
{
    return countLinesInRange(document, TextSpan::whole(document).toRange());
}

qint64 countSelectedLines(const QTextCursor &cursor)
{
    const TextSpan span = TextSpan::selection(cursor);
    return span.isEmpty() ? 0 : linesIn(cursor.document()->toRawText(), span);
}

qint64 countWordsInRange(const QString &text, const TextRange &range)
{
    return wordsIn(text, TextSpan::fit(range, text.size()));
}

qint64 countWordsInRange(const QTextDocument &document, const TextRange &range)
{
    const TextSpan span = TextSpan::fit(range, document);
    return span.isEmpty() ? 0 : wordsIn(document.toRawText(), span);
}

qint64 countWords(const QString &text)
{
    return countWordsInRange(text, TextRange{0, text.size()});
}

qint64 countWords(const QTextDocument &document)
{
    return countWordsInRange(document, TextSpan::whole(document).toRange());
}

qint64 countSelectedWords(const QTextCursor &cursor)
{
    const TextSpan span = TextSpan::selection(cursor);
    return span.isEmpty() ? 0 : wordsIn(cursor.document()->toRawText(), span);
}

qint64 countCharacters(const QTextDocument &document)
{
    return TextSpan::textLength(document);
}

} // namespace TextInformation
