#pragma once

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QVariantMap>

#include <memory>
#include <optional>

class JWMemo;
class MemoTree;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * Merges the tree the phone sent (see SyncPayload) into the synchronised
 * subtree: the page titled with the group name, anywhere in the store.
 *
 * The phone's tree decides the order and nesting of every page it sends.
 * A page's values come from the phone unless the desktop changed the page
 * strictly later than the phone did. Desktop pages the phone did not send
 * either go to the "Removed Memo" page (they existed unchanged at the last
 * sync, so the phone deleted them) or stay (they are new or edited since):
 * under their former parent, or under the synchronised page when that
 * parent no longer holds them. Password-protected pages are never moved
 * that way, and no page of the store is ever dropped.
 *
 * Every change goes through the tree's operations, so the outline hears of
 * it; changed pages are marked edited and written by the next save.
 */
class SyncMerge
{
public:
    /**
     * @p lastSynchronized is when the last merge completed; without it every
     * desktop page counts as changed since, so none goes to "Removed Memo".
     */
    SyncMerge(MemoTree &tree, QString groupName, std::optional<QDateTime> lastSynchronized);

    /**
     * Merges @p dictionary (the phone's tree). Answers the synchronised page,
     * made and appended to the top of the store when there was none, or null
     * when nothing was done: no group name, no tree, or a dictionary that
     * SyncPayload::validate refuses.
     */
    MemoPtr syncWithDictionary(const QVariantMap &dictionary);

    /**
     * Copies the values of one page of the phone's tree into @p memo, unless
     * @p memo was modified strictly later than the phone's "modifiedAt" (on
     * equal dates the phone's values win). Its plain text replaces the text
     * unless "hasImage" is true or the text is the same; values that do not
     * differ are left alone, so an unchanged page is not marked edited.
     */
    static void copyPropertyFromDict(const QVariantMap &dictionary, JWMemo &memo);

private:
    MemoPtr memoDataWithDictionary(const QVariantMap &dictionary, bool isRootMemo);
    [[nodiscard]] MemoPtr desktopMemoWithID(qint64 memoID) const;
    void detachPlacedPagesFromOldParents();
    void moveLeftoverPages(const QList<MemoPtr> &leftover, const MemoPtr &root, const MemoPtr &folder);
    void keepUnplacedPages(const MemoPtr &root);
    [[nodiscard]] MemoPtr holderOf(const MemoPtr &memo, const MemoPtr &root) const;
    void detach(const MemoPtr &memo, const MemoPtr &root);
    void append(const MemoPtr &parent, const MemoPtr &memo);

    MemoTree &m_tree;
    QString m_groupName;
    QDateTime m_referenceDate;

    // The synchronised page as found before the merge, and its subtree then.
    MemoPtr m_synced;
    QList<MemoPtr> m_snapshot;
    QHash<const JWMemo *, MemoPtr> m_formerParent;
    QHash<qint64, MemoPtr> m_byID;
    // Pages the phone's tree has placed: each goes to one place only.
    QSet<const JWMemo *> m_placed;
};
