#include "ArchiveRevision.h"

#include <atomic>

namespace ArchiveRevision {

namespace {

// Pages are read on several threads at once when recovering from page files.
std::atomic<quint64> s_counter{0};

} // namespace

quint64 next()
{
    return s_counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

quint64 latest()
{
    return s_counter.load(std::memory_order_relaxed);
}

} // namespace ArchiveRevision
