#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

/** One posted notification: its name, the object that posted it, and extra data. */
struct Notification
{
    QString name;
    QObject *object = nullptr;
    QVariantMap userInfo;
};

/**
 * The application-wide notification centre: objects post named notifications,
 * others observe them by name, by sender, or both.
 *
 * Delivery is synchronous, in the order the observers were added. An observer
 * added while a notification is being delivered first hears the next one; an
 * observer removed during delivery is not called again, even for the
 * notification under way. Observers go away by themselves when their receiver
 * is destroyed, and an observation tied to a sender ends when that sender is
 * destroyed. Used on the GUI thread only.
 */
class NotificationCenter final : public QObject
{
    Q_OBJECT
public:
    using Handler = std::function<void(const Notification &)>;

    NotificationCenter();
    ~NotificationCenter() override;

    /** The process-wide centre. */
    static NotificationCenter &defaultCenter();

    /**
     * Calls @p handler for every notification named @p name (any name if
     * empty) posted by @p sender (any sender if null), until @p receiver is
     * destroyed or the observation is removed.
     */
    void addObserver(QObject *receiver, const QString &name, const QObject *sender, Handler handler);

    /** Removes every observation made for @p receiver. */
    void removeObserver(const QObject *receiver);
    /**
     * Removes the observations of @p receiver for @p name (any name if empty)
     * and @p sender (any sender if null).
     */
    void removeObserver(const QObject *receiver, const QString &name, const QObject *sender = nullptr);

    /** Delivers a notification to every matching observer before returning. */
    void post(const QString &name, QObject *sender = nullptr, const QVariantMap &userInfo = {});

    /** Number of live observations; for tests and diagnostics. */
    [[nodiscard]] int observerCount() const;

private:
    struct Observer
    {
        quint64 order = 0; // position in the order of adding
        QPointer<QObject> receiver;
        const QObject *receiverKey = nullptr; // identity only; never dereferenced
        QString name;
        QPointer<const QObject> sender;
        bool anySender = true;
        Handler handler;
        bool removed = false;
    };
    using ObserverPtr = std::shared_ptr<Observer>;
    using ObserverList = std::vector<ObserverPtr>;

    void markRemoved(const ObserverPtr &observer);
    void compactIfWorthIt();
    void watchReceiver(QObject *receiver);
    static bool wants(const Observer &observer, const QObject *sender);

    // Removal only marks an observer; the lists are compacted later, outside
    // any delivery. That keeps removal cheap when thousands of pages, each
    // with its own observers, are destroyed together, and keeps the lists
    // stable while a delivery walks them. std::unordered_map keeps each list
    // in place while names are added during a delivery.
    std::unordered_map<QString, ObserverList> m_byName;
    ObserverList m_anyName;
    QHash<const QObject *, ObserverList> m_byReceiver;
    QHash<const QObject *, QMetaObject::Connection> m_receiverWatches;
    quint64 m_nextOrder = 0;
    qsizetype m_liveCount = 0;
    qsizetype m_removedCount = 0;
    int m_deliveryDepth = 0;
};
