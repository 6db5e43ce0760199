#include "ArchiveRevision.h"

#include <atomic>

namespace ArchiveRevision {

quint64 next()
{
    // Pages are read on several threads at once when recovering from page files.
    static std::atomic<quint64> counter{0};
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

} // namespace ArchiveRevision
