#include "SearchPreparation.h"

#include <QElapsedTimer>

namespace {

// Well inside one frame, so that typing and scrolling stay smooth meanwhile.
constexpr qint64 kSliceNanoseconds = 4'000'000;
// Start-up paints its first window undisturbed before the folding begins.
constexpr int kStartDelayMilliseconds = 1000;

} // namespace

SearchPreparation::SearchPreparation()
{
    QObject::connect(&m_timer, &QTimer::timeout, [this] { foldSlice(); });
}

void SearchPreparation::start(const QList<MemoPtr> &pages)
{
    m_pending.assign(pages.cbegin(), pages.cend());
    m_next = 0;
    if (!m_pending.empty())
        m_timer.start(kStartDelayMilliseconds);
}

void SearchPreparation::stop()
{
    m_timer.stop();
    m_pending.clear();
    m_next = 0;
}

void SearchPreparation::foldSlice()
{
    m_timer.setInterval(0);
    QElapsedTimer slice;
    slice.start();
    while (m_next < m_pending.size() && slice.nsecsElapsed() < kSliceNanoseconds) {
        if (const MemoPtr page = m_pending[m_next].lock()) {
            (void)page->foldedTitle();
            (void)page->foldedText();
        }
        ++m_next;
    }
    if (m_next >= m_pending.size())
        stop();
}
