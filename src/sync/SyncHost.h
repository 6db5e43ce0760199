#pragma once

#include "model/JWMemo.h"

#include "platform/base/Result.h"

#include <QString>

#include <functional>

class MemoTree;

/** What the sync server needs of the application around it. */
class SyncHost
{
public:
    /** The store's tree, which a sync reads and merges into. */
    [[nodiscard]] virtual MemoTree &syncMemoTree() = 0;
    /** Saves everything, the text being edited first; a merge never runs over unsaved typing. */
    [[nodiscard]] virtual Status saveBeforeSync() = 0;
    /** Backs up @p group's subtree; a merge does not run when this fails. */
    [[nodiscard]] virtual Status backUpBeforeMerge(const MemoPtr &group) = 0;
    /** A merge changed the tree under @p group. */
    virtual void syncMerged(const MemoPtr &group) = 0;
    /**
     * Asks whether @p device may sync with the page @p pageTitle, and calls
     * @p answer with the user's answer, now or later.
     */
    virtual void askToAllowDevice(
        const QString &device, const QString &pageTitle, std::function<void(bool allowed)> answer)
        = 0;

protected:
    ~SyncHost() = default;
};
