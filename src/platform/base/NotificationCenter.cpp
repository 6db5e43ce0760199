#include "NotificationCenter.h"

#include <algorithm>

namespace {

// Compaction pays off once the dead entries outnumber the live ones.
constexpr qsizetype kMinimumRemovedBeforeCompaction = 64;

} // namespace

NotificationCenter::NotificationCenter() = default;

NotificationCenter::~NotificationCenter()
{
    for (const auto &connection : std::as_const(m_receiverWatches))
        disconnect(connection);
}

NotificationCenter &NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

void NotificationCenter::addObserver(QObject *receiver, const QString &name, const QObject *sender, Handler handler)
{
    Q_ASSERT(receiver);
    auto observer = std::make_shared<Observer>();
    observer->order = m_nextOrder++;
    observer->receiver = receiver;
    observer->receiverKey = receiver;
    observer->name = name;
    observer->sender = sender;
    observer->anySender = sender == nullptr;
    observer->handler = std::move(handler);

    m_byReceiver[receiver].push_back(observer);
    if (name.isEmpty())
        m_anyName.push_back(std::move(observer));
    else
        m_byName[name].push_back(std::move(observer));
    ++m_liveCount;
    watchReceiver(receiver);
}

void NotificationCenter::watchReceiver(QObject *receiver)
{
    if (m_receiverWatches.contains(receiver))
        return;
    // QObject::destroyed fires from ~QObject, after the subclass is gone, so
    // only the pointer's identity is used.
    m_receiverWatches.insert(
        receiver, connect(receiver, &QObject::destroyed, this, [this, receiver] { removeObserver(receiver); }));
}

void NotificationCenter::markRemoved(const ObserverPtr &observer)
{
    if (observer->removed)
        return;
    observer->removed = true;
    // Let go of whatever the handler captured, unless it may be the very
    // handler that is running now.
    if (m_deliveryDepth == 0)
        observer->handler = nullptr;
    --m_liveCount;
    ++m_removedCount;
}

void NotificationCenter::removeObserver(const QObject *receiver)
{
    auto observers = m_byReceiver.find(receiver);
    if (observers != m_byReceiver.end()) {
        for (const ObserverPtr &observer : std::as_const(*observers))
            markRemoved(observer);
        m_byReceiver.erase(observers);
    }
    auto watch = m_receiverWatches.find(receiver);
    if (watch != m_receiverWatches.end()) {
        disconnect(*watch);
        m_receiverWatches.erase(watch);
    }
    compactIfWorthIt();
}

void NotificationCenter::removeObserver(const QObject *receiver, const QString &name, const QObject *sender)
{
    auto observers = m_byReceiver.find(receiver);
    if (observers == m_byReceiver.end())
        return;
    std::erase_if(*observers, [&](const ObserverPtr &o) {
        const bool matches
            = (name.isEmpty() || o->name == name) && (sender == nullptr || (!o->anySender && o->sender == sender));
        if (matches)
            markRemoved(o);
        return matches;
    });
    if (observers->empty())
        removeObserver(receiver);
    else
        compactIfWorthIt();
}

void NotificationCenter::compactIfWorthIt()
{
    if (m_deliveryDepth > 0 || m_removedCount < kMinimumRemovedBeforeCompaction || m_removedCount < m_liveCount)
        return;
    auto isRemoved = [](const ObserverPtr &o) {
        return o->removed;
    };
    std::erase_if(m_anyName, isRemoved);
    for (auto it = m_byName.begin(); it != m_byName.end();) {
        std::erase_if(it->second, isRemoved);
        it = it->second.empty() ? m_byName.erase(it) : std::next(it);
    }
    m_removedCount = 0;
}

bool NotificationCenter::wants(const Observer &observer, const QObject *sender)
{
    if (observer.removed || observer.receiver.isNull())
        return false;
    if (observer.anySender)
        return true;
    // A destroyed sender posts nothing more; its null pointer must not be
    // taken for "any sender".
    return !observer.sender.isNull() && observer.sender.data() == sender;
}

void NotificationCenter::post(const QString &name, QObject *sender, const QVariantMap &userInfo)
{
    auto named = m_byName.find(name);
    ObserverList *byName = named != m_byName.end() ? &named->second : nullptr;
    // Observers added during this delivery sit past these ends and wait for
    // the next notification. Nothing is erased while m_deliveryDepth > 0, so
    // indices stay valid even if a handler adds observers and a list grows.
    const size_t nameEnd = byName ? byName->size() : 0;
    const size_t anyEnd = m_anyName.size();
    if (nameEnd == 0 && anyEnd == 0)
        return;

    const Notification notification{name, sender, userInfo};
    ++m_deliveryDepth;
    size_t i = 0;
    size_t j = 0;
    while (i < nameEnd || j < anyEnd) {
        // Merge both lists by the order in which the observers were added.
        ObserverPtr next;
        if (j >= anyEnd || (i < nameEnd && (*byName)[i]->order < m_anyName[j]->order))
            next = (*byName)[i++];
        else
            next = m_anyName[j++];
        if (wants(*next, sender))
            next->handler(notification);
    }
    --m_deliveryDepth;
    compactIfWorthIt();
}

int NotificationCenter::observerCount() const
{
    return int(m_liveCount);
}
