#pragma once

#include <QtGlobal>

/**
 * Hands out page IDs. Every path that gives a page an ID (new pages, book
 * imports, sample pages, clippings, the repair of duplicate IDs) takes it
 * from the shared allocator.
 *
 * The "memoID" preference is the counter: no ID handed out is above it.
 * IDs are reserved in batches of kBatchSize, and the preference is written
 * (and saved at once) only when a batch is reserved, holding the batch's
 * last ID: even after a crash, a restarted allocator starts above every ID
 * handed out before.
 *
 * When the preference moves under the allocator (the tree's counter is
 * reset at start-up, a test sets it), the rest of the batch is dropped and
 * IDs continue from the new value.
 */
class MemoIDAllocator final
{
public:
    /** How many IDs one write of the preference reserves. */
    static constexpr qint64 kBatchSize = 64;

    /** The allocator every part of the application takes IDs from. */
    [[nodiscard]] static MemoIDAllocator &shared();

    /** The next ID: the counter plus 1 for the first one (1 when there is no counter). */
    [[nodiscard]] qint64 next();

    /**
     * Makes sure the next @p count IDs are reserved with at most one write of
     * the preference, so that a large import does not save the preferences
     * once per batch.
     */
    void reserve(qint64 count);

    /**
     * Makes @p last the counter, so that the next ID is @p last + 1, and
     * saves the preferences at once. The batch reserved so far is dropped.
     */
    void resetCounter(qint64 last);

    /** resetCounter(@p last) when the counter is below @p last; otherwise nothing changes. */
    void raiseCounter(qint64 last);

    /** The counter as the preferences hold it: the last ID reserved. */
    [[nodiscard]] static qint64 storedCounter();

private:
    void followStoredCounter();
    void store(qint64 counter);

    // The next ID to hand out, and the last one the preference reserves.
    qint64 m_next = 1;
    qint64 m_reserved = 0;
};
