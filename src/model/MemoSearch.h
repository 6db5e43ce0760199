#pragma once

#include "JWMemo.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <utility>
#include <vector>

/**
 * The pages of a window that match a typed keyword, and the cache that lets
 * a longer keyword narrow an earlier result instead of reading every page.
 *
 * A page matches a keyword when every non-empty key of it
 * (StringUtility::separateStringKeyToArray) occurs in its title or in its
 * plain text, compared as CaseFolding folds them. Matching reads each page's
 * folded copy where it lies; nothing here writes a page or a file.
 */
class MemoSearch
{
public:
    using Pages = QList<MemoPtr>;

    /** The pages of @p pages that match @p keyword, in their order; every page for a keyword without keys. */
    [[nodiscard]] static Pages searchMemoWithKey(const QString &keyword, const Pages &pages);

    /**
     * The result for @p keyword, as a window lists it while the user types:
     * every page for an empty keyword (and the cache is emptied); the cached
     * result of a keyword seen before; otherwise a search over the smallest
     * base an earlier keyword gives (see chooseBase()), whose result is then
     * cached. @p allPages is asked only when the base is every page.
     */
    [[nodiscard]] Pages resultFor(const QString &keyword, const std::function<Pages()> &allPages);

    /** Forgets every cached result. A cached result is otherwise never refreshed when pages change. */
    void clearCache() { m_cache.clear(); }
    /** How many keywords have a cached result. */
    [[nodiscard]] qsizetype cachedKeywordCount() const { return qsizetype(m_cache.size()); }

private:
    [[nodiscard]] const Pages *cached(const QString &keyword) const;
    [[nodiscard]] const Pages *chooseBase(const QString &keyword) const;

    // In the order the keywords were first searched: chooseBase() walks it
    // from the newest, so that of two equally close earlier keywords the one
    // typed last, most likely the prefix of what is typed now, wins.
    std::vector<std::pair<QString, Pages>> m_cache;
};
