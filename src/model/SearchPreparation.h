#pragma once

#include "JWMemo.h"

#include <QList>
#include <QTimer>

#include <memory>
#include <vector>

/**
 * Makes every page's folded title and text (JWMemo::foldedTitle(),
 * foldedText()) a second after loading, a few milliseconds at a time on the
 * event loop, so that the first search while typing reads copies that are ready
 * instead of folding 50 MB at the first keystroke. Pages deleted meanwhile
 * are skipped; a page searched meanwhile simply has its copies already.
 */
class SearchPreparation
{
public:
    SearchPreparation();

    /** Starts folding @p pages, replacing any run still going. */
    void start(const QList<MemoPtr> &pages);
    /** Stops a run; the copies made so far stay. */
    void stop();
    [[nodiscard]] bool isRunning() const { return m_timer.isActive(); }

private:
    void foldSlice();

    std::vector<std::weak_ptr<JWMemo>> m_pending;
    size_t m_next = 0;
    QTimer m_timer;
};
