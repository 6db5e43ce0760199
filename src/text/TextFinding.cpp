#include "TextFinding.h"

#include "util/CaseFolding.h"

#include <algorithm>
#include <vector>

namespace TextFinding {

namespace {

// A text folded for finding, with the place in the original of each unit.
struct FoldedText
{
    QString folded;
    // source[i]: where the character that gave folded[i] starts; one more
    // entry holds the end of the text.
    std::vector<qsizetype> source;

    [[nodiscard]] Range rangeOf(qsizetype start, qsizetype length) const
    {
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
    out.folded.reserve(text.size());
    out.source.reserve(size_t(text.size()) + 1);
    for (qsizetype i = 0; i < text.size();) {
        const char16_t c = text[i].unicode();
        if (c < 0x80) {
            out.folded.append(QChar(c >= 'A' && c <= 'Z' ? char16_t(c + ('a' - 'A')) : c));
            out.source.push_back(i);
            ++i;
            continue;
        }
        const qsizetype width
            = QChar::isHighSurrogate(c) && i + 1 < text.size() && text[i + 1].isLowSurrogate() ? 2 : 1;
        const QString folded = CaseFolding::foldedString(text.sliced(i, width));
        out.folded.append(folded);
        out.source.insert(out.source.end(), size_t(folded.size()), i);
        i += width;
    }
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

std::optional<Range> findFirst(QStringView text, const QStringList &keys, qsizetype from)
{
    from = std::clamp<qsizetype>(from, 0, text.size());
    const FoldedText folded = fold(text.sliced(from));
    std::optional<Range> best;
    for (const QString &key : foldedKeys(keys)) {
        if (key.isEmpty())
            continue;
        const qsizetype at = folded.folded.indexOf(key);
        if (at < 0)
            continue;
        const Range found = folded.rangeOf(at, key.size());
        if (!best || found.start < best->start)
            best = found;
    }
    if (best)
        best->start += from;
    return best;
}

std::optional<Range> findLast(QStringView text, const QStringList &keys, qsizetype before)
{
    before = std::clamp<qsizetype>(before, 0, text.size());
    const FoldedText folded = fold(text.first(before));
    std::optional<Range> best;
    for (const QString &key : foldedKeys(keys)) {
        if (key.isEmpty())
            continue;
        const qsizetype at = folded.folded.lastIndexOf(key);
        if (at < 0)
            continue;
        const Range found = folded.rangeOf(at, key.size());
        if (!best || found.start > best->start)
            best = found;
    }
    return best;
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
