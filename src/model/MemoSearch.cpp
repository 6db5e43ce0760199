#include "MemoSearch.h"

#include "util/CaseFolding.h"
#include "util/SearchKeys.h"

#include <algorithm>
#include <cstring>

#include <QtConcurrent/QtConcurrentMap>

namespace {

// Enough text that handing a run to another thread costs little beside reading it.
constexpr qsizetype kPagesPerRun = 512;

bool holds(const QByteArray &folded, const QByteArray &key)
{
    // glibc's memmem reads several bytes at a time: the scan of every page's
    // text is the whole cost of a search.
    return ::memmem(folded.constData(), size_t(folded.size()), key.constData(), size_t(key.size())) != nullptr;
}

} // namespace

MemoSearch::Pages MemoSearch::searchMemoWithKey(const QString &keyword, const Pages &pages)
{
    QList<QByteArray> keys;
    for (const QString &key : StringUtility::separateStringKeyToArray(keyword)) {
        if (QByteArray folded = CaseFolding::folded(key); !folded.isEmpty())
            keys.append(std::move(folded));
    }
    if (keys.isEmpty())
        return pages;
    const auto matches = [&keys](const MemoPtr &page) {
        return std::all_of(keys.cbegin(), keys.cend(), [&page](const QByteArray &key) {
            return holds(page->foldedTitle(), key) || holds(page->foldedText(), key);
        });
    };

    // A large notebook is read on every core, in runs of pages each thread
    // owns alone (a page folds its copies on first use), while this thread
    // waits; the matches are then collected in the list's order.
    std::vector<char> matched(size_t(pages.size()), 0);
    std::vector<std::pair<qsizetype, qsizetype>> runs;
    for (qsizetype start = 0; start < pages.size(); start += kPagesPerRun)
        runs.emplace_back(start, std::min(pages.size(), start + kPagesPerRun));
    const auto matchRun = [&](const std::pair<qsizetype, qsizetype> &run) {
        for (qsizetype i = run.first; i < run.second; ++i)
            matched[size_t(i)] = matches(pages[i]);
    };
    if (runs.size() > 1)
        QtConcurrent::blockingMap(runs, matchRun);
    else if (!runs.empty())
        matchRun(runs.front());

    Pages found;
    for (qsizetype i = 0; i < pages.size(); ++i) {
        if (matched[size_t(i)])
            found.append(pages[i]);
    }
    return found;
}

MemoSearch::Pages MemoSearch::resultFor(const QString &keyword, const std::function<Pages()> &allPages)
{
    if (keyword.isEmpty()) {
        m_cache.clear();
        return allPages();
    }
    if (const Pages *hit = cached(keyword))
        return *hit;
    const Pages *base = chooseBase(keyword);
    Pages result = searchMemoWithKey(keyword, base ? *base : allPages());
    m_cache.emplace_back(keyword, result);
    return result;
}

const MemoSearch::Pages *MemoSearch::cached(const QString &keyword) const
{
    for (const auto &[key, pages] : m_cache) {
        if (key == keyword)
            return &pages;
    }
    return nullptr;
}

const MemoSearch::Pages *MemoSearch::chooseBase(const QString &keyword) const
{
    // An earlier keyword found inside this one gave a result that holds every
    // page this one can match: one character more takes it at once, else the
    // closest in length wins, the first met on a tie.
    const Pages *best = nullptr;
    qsizetype bestDifference = 0;
    for (auto it = m_cache.crbegin(); it != m_cache.crend(); ++it) {
        const QString &earlier = it->first;
        if (!keyword.contains(earlier, Qt::CaseInsensitive))
            continue;
        const qsizetype difference = keyword.size() - earlier.size();
        if (difference == 1)
            return &it->second;
        if (!best || difference < bestDifference) {
            best = &it->second;
            bestDifference = difference;
        }
    }
    return best;
}
