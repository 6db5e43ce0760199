#include "MemoIDAllocator.h"

#include "ModelLog.h"

#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"

MemoIDAllocator &MemoIDAllocator::shared()
{
    static MemoIDAllocator allocator;
    return allocator;
}

qint64 MemoIDAllocator::storedCounter()
{
    return UserDefaults::standardUserDefaults().integerForKey(PreferenceKeys::memoID);
}

void MemoIDAllocator::followStoredCounter()
{
    // Looked up each time: the counter is a preference anyone may change
    // (and tests and folder switches replace the preferences altogether).
    if (const qint64 stored = storedCounter(); stored != m_reserved) {
        m_next = stored + 1;
        m_reserved = stored;
    }
}

void MemoIDAllocator::reserve(qint64 count)
{
    followStoredCounter();
    if (count > 0 && m_next + count - 1 > m_reserved)
        store(m_next + count - 1 + kBatchSize);
}

qint64 MemoIDAllocator::next()
{
    followStoredCounter();
    if (m_next > m_reserved)
        store(m_next + kBatchSize - 1);
    return m_next++;
}

void MemoIDAllocator::resetCounter(qint64 last)
{
    store(last);
    m_next = last + 1;
}

void MemoIDAllocator::raiseCounter(qint64 last)
{
    if (storedCounter() < last)
        resetCounter(last);
}

void MemoIDAllocator::store(qint64 counter)
{
    m_reserved = counter;
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    defaults.setValue(PreferenceKeys::memoID, counter);
    // Saved at once, so that a crash never hands the same ID out again.
    if (Status s = defaults.synchronize(); !s)
        qCWarning(lcModel, "Could not save the page ID counter: %s", qPrintable(s.errorMessage()));
}
