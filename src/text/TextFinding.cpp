#include "TextFinding.h"

#include "util/CaseFolding.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace TextFinding {

namespace {

// A text folded for finding, with the place in the original of each unit.
struct FoldedText
{
    QString folded;
    // source[i]: where the character that gave folded[i] starts; one more
    // entry holds the end of the text. Empty when the text is ASCII, whose
    // folding keeps every position.
    std::vector<qsizetype> source;

    [[nodiscard]] Range rangeOf(qsizetype start, qsizetype length) const
    {
        if (source.empty())
            return {start, length};
        const qsizetype from = source[size_t(start)];
        // A key may end inside one character's folding ("s" of "ß" = "ss"):
        // the range then covers that whole character.
        qsizetype end = start + length;
        while (end < folded.size() && source[size_t(end)] == source[size_t(end - 1)])
            ++end;
        return {from, source[size_t(end)] - from};
    }
};

FoldedText fold(QStringView text)
{
    FoldedText out;
    // The common case, and the fast one: lower ASCII letters in place.
    if (std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; })) {
        out.folded = text.toString();
        for (QChar &c : out.folded) {
            if (c >= u'A' && c <= u'Z')
                c = QChar(char16_t(c.unicode() + ('a' - 'A')));
        }
        return out;
    }
    // Written through a pointer, and each other character folded once: this
    // runs over a whole page at every Find Next.
    out.folded.resize(text.size());
    out.source.reserve(size_t(text.size()) + 1);
    qsizetype length = 0;
    const auto room = [&out, &length](qsizetype more) {
        if (length + more > out.folded.size())
            out.folded.resize(std::max(length + more, 2 * out.folded.size()));
        return out.folded.data() + length;
    };
    std::unordered_map<char32_t, QString> foldedCharacters;
    for (qsizetype i = 0; i < text.size();) {
        const char16_t c = text[i].unicode();
        if (c < 0x80) {
            *room(1) = QChar(c >= 'A' && c <= 'Z' ? char16_t(c + ('a' - 'A')) : c);
            ++length;
            out.source.push_back(i);
            ++i;
            continue;
        }
        const bool pair = QChar::isHighSurrogate(c) && i + 1 < text.size() && text[i + 1].isLowSurrogate();
        const qsizetype width = pair ? 2 : 1;
        const char32_t codePoint = pair ? QChar::surrogateToUcs4(c, text[i + 1].unicode()) : c;
        auto known = foldedCharacters.find(codePoint);
        if (known == foldedCharacters.end())
            known = foldedCharacters.emplace(codePoint, CaseFolding::foldedString(text.sliced(i, width))).first;
        const QString &folded = known->second;
        std::copy(folded.cbegin(), folded.cend(), room(folded.size()));
        length += folded.size();
        out.source.insert(out.source.end(), size_t(folded.size()), i);
        i += width;
    }
    out.folded.truncate(length);
    out.source.push_back(text.size());
    return out;
}

QList<QString> foldedKeys(const QStringList &keys)
{
    QList<QString> folded;
    for (const QString &key : keys)
        folded.append(fold(key).folded);
    return folded;
}

} // namespace

namespace {

// The occurrence that starts first (or, @p last, last) in @p text, whose
// positions are shifted by @p offset.
std::optional<Range> extremeOccurrence(QStringView text, const QStringList &keys, qsizetype offset, bool last)
{
    const FoldedText folded = fold(text);
    std::optional<Range> best;
    for (const QString &key : foldedKeys(keys)) {
        if (key.isEmpty())
            continue;
        const qsizetype at = last ? folded.folded.lastIndexOf(key) : folded.folded.indexOf(key);
        if (at < 0)
            continue;
        const Range found = folded.rangeOf(at, key.size());
        if (!best || (last ? found.start > best->start : found.start < best->start))
            best = found;
    }
    if (best)
        best->start += offset;
    return best;
}

} // namespace

std::optional<Range> findFirst(QStringView text, const QStringList &keys, qsizetype from)
{
    from = std::clamp<qsizetype>(from, 0, text.size());
    return extremeOccurrence(text.sliced(from), keys, from, false);
}

std::optional<Range> findLast(QStringView text, const QStringList &keys, qsizetype before)
{
    before = std::clamp<qsizetype>(before, 0, text.size());
    return extremeOccurrence(text.first(before), keys, 0, true);
}

QList<Range> findAll(QStringView text, const QStringList &keys, qsizetype limit)
{
    const FoldedText folded = fold(text);
    QList<Range> all;
    for (const QString &key : foldedKeys(keys)) {
        if (key.isEmpty())
            continue;
        for (qsizetype at = folded.folded.indexOf(key); at >= 0 && all.size() < limit;
             at = folded.folded.indexOf(key, at + key.size()))
            all.append(folded.rangeOf(at, key.size()));
    }
    std::sort(all.begin(), all.end(), [](const Range &a, const Range &b) { return a.start < b.start; });
    return all;
}

} // namespace TextFinding
