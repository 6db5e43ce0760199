#include "SyncMerge.h"

#include "SyncLog.h"
#include "SyncPayload.h"

#include "model/JWMemo.h"
#include "model/MemoTree.h"

#include <QTimeZone>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

QDateTime distantPast()
{
    return QDateTime(QDate(1, 1, 1), QTime(0, 0), QTimeZone::utc());
}

QList<MemoPtr> childList(const JWMemo &memo)
{
    return QList<MemoPtr>(memo.children().begin(), memo.children().end());
}

bool holds(const JWMemo &parent, const JWMemo *child)
{
    return std::any_of(parent.children().begin(), parent.children().end(),
        [child](const MemoPtr &candidate) { return candidate.get() == child; });
}

bool sameChildren(const JWMemo &memo, const QList<MemoPtr> &children)
{
    return std::equal(memo.children().begin(), memo.children().end(), children.begin(), children.end());
}

// A date the page does not know counts as now: such a page was not seen unchanged at the last sync.
bool isEarlier(const QDateTime &date, const QDateTime &reference)
{
    return date.isValid() && date < reference;
}

// Every page of @p top's subtree, without recursion.
template<typename Visit> void walk(const MemoPtr &top, Visit visit)
{
    std::vector<JWMemo *> pending{top.get()};
    while (!pending.empty()) {
        JWMemo *memo = pending.back();
        pending.pop_back();
        if (!visit(memo))
            return;
        for (auto it = memo->children().rbegin(); it != memo->children().rend(); ++it)
            pending.push_back(it->get());
    }
}

} // namespace

SyncMerge::SyncMerge(MemoTree &tree, QString groupName, std::optional<QDateTime> lastSynchronized)
    : m_tree(tree)
    , m_groupName(std::move(groupName))
    , m_referenceDate(lastSynchronized && lastSynchronized->isValid() ? *lastSynchronized : distantPast())
{ }

MemoPtr SyncMerge::syncWithDictionary(const QVariantMap &dictionary)
{
    if (m_groupName.isEmpty() || !m_tree.root())
        return nullptr;
    if (Status valid = SyncPayload::validate(dictionary); !valid) {
        qCWarning(lcSync).noquote() << valid.errorMessage();
        return nullptr;
    }

    m_synced = m_tree.memoWithTitle(m_groupName, m_tree.root());
    m_snapshot.clear();
    m_formerParent.clear();
    m_byID.clear();
    m_placed.clear();
    QList<MemoPtr> leftover;
    MemoPtr folder;
    if (m_synced) {
        m_snapshot = m_tree.arrayOfMemos(m_synced, false);
        m_byID.reserve(m_snapshot.size());
        m_formerParent.reserve(m_snapshot.size());
        for (const MemoPtr &memo : std::as_const(m_snapshot)) {
            m_formerParent.insert(memo.get(), memo->tempParentMemo());
            if (memo != m_synced && !m_byID.contains(memo->memoID()))
                m_byID.insert(memo->memoID(), memo);
        }
        leftover = m_tree.arrayOfMemos(m_synced, true);
        folder = m_tree.memoWithTitle(SyncPayload::removedMemoTitle(), m_synced);
        if (folder)
            leftover.removeAll(folder);
    }

    const MemoPtr root = memoDataWithDictionary(dictionary, true);
    if (!m_synced) {
        root->setTitle(m_groupName);
        append(m_tree.root(), root);
    }
    detachPlacedPagesFromOldParents();

    leftover.removeIf([this](const MemoPtr &memo) { return m_placed.contains(memo.get()); });
    if (!leftover.isEmpty()) {
        if (!folder) {
            folder = JWMemo::memo();
            folder->setMemoDataWithPlainText(QStringLiteral(""));
            folder->setTitle(SyncPayload::removedMemoTitle());
            append(root, folder);
        } else if (folder != root && !holds(*root, folder.get())) {
            // Out of every page first, so that no page moved into it can hold it.
            detach(folder, root);
        }
        moveLeftoverPages(leftover, root, folder);
        root->changeIsLeaf();
        folder->changeIsLeaf();
        if (folder != root && !holds(*root, folder.get())) {
            detach(folder, root);
            append(root, folder);
        }
    }
    keepUnplacedPages(root);
    return root;
}

MemoPtr SyncMerge::memoDataWithDictionary(const QVariantMap &dictionary, bool isRootMemo)
{
    MemoPtr memo;
    if (isRootMemo) {
        memo = m_synced;
    } else if (const auto id = dictionary.constFind(QStringLiteral("memoID")); id != dictionary.cend()) {
        memo = desktopMemoWithID(id.value().toLongLong());
        // A page the phone sends twice (or the synchronised page itself) is placed once;
        // a further copy becomes a page of its own.
        if (memo && m_placed.contains(memo.get()))
            memo = nullptr;
    }
    const bool made = !memo;
    if (made) {
        memo = JWMemo::memo();
        // Older than anything the phone sends, so that every value of the phone is taken.
        memo->setModifiedAt(distantPast());
    }
    m_placed.insert(memo.get());
    copyPropertyFromDict(dictionary, *memo);
    if (made && memo->modifiedAt() == distantPast())
        memo->setModifiedAt(QDateTime::currentDateTime());

    const QVariantList childDictionaries = dictionary.value(QStringLiteral("children")).toList();
    QList<MemoPtr> children;
    children.reserve(childDictionaries.size());
    for (const QVariant &child : childDictionaries)
        children.append(memoDataWithDictionary(child.toMap(), false));
    // Only a real change reaches the outline: most syncs move nothing.
    if (!sameChildren(*memo, children))
        m_tree.replaceChildren(children, memo);
    memo->changeIsLeaf();
    return memo;
}

MemoPtr SyncMerge::desktopMemoWithID(qint64 memoID) const
{
    // The synchronised page answers to the low 32 bits of its ID, as lookups from a page do.
    if (m_synced && qint32(m_synced->memoID()) == qint32(memoID))
        return m_synced;
    return m_byID.value(memoID);
}

void SyncMerge::copyPropertyFromDict(const QVariantMap &dictionary, JWMemo &memo)
{
    const QVariant theirDate = dictionary.value(QStringLiteral("modifiedAt"));
    const QDateTime theirs = theirDate.isValid() ? theirDate.toDateTime() : distantPast();
    const QDateTime ours = memo.modifiedAt();
    if (ours.isValid() && ours > theirs)
        return;

    const auto has = [&dictionary](const char *key) {
        return dictionary.contains(QLatin1String(key));
    };
    const auto get = [&dictionary](const char *key) {
        return dictionary.value(QLatin1String(key));
    };

    // With "hasImage" the desktop's rich text holds pictures the phone's plain text cannot.
    // The same plain text keeps the rich text and its formatting.
    std::optional<QString> text;
    if (!get("hasImage").toBool() && has("plainText")) {
        if (QString plain = get("plainText").toString(); plain != memo.plainText())
            text = std::move(plain);
    }
    std::optional<QColor> labelColor;
    if (has("titleLabelColorString")) {
        const QString label = get("titleLabelColorString").toString();
        if (label != SyncPayload::labelColorString(memo.titleColor()))
            labelColor = SyncPayload::colorFromString(label);
    }
    const auto differs = [&](const char *key, const QVariant &mine) {
        return has(key) && get(key) != mine;
    };
    const bool titleChanged = has("title") && get("title").toString() != memo.title();
    const bool lockedChanged = has("locked") && get("locked").toBool() != memo.locked();
    const bool protectChanged
        = has("protectWithPassword") && get("protectWithPassword").toBool() != memo.protectWithPassword();
    const bool createdChanged = has("createdAt") && get("createdAt").toDateTime() != memo.createdAt();
    const bool modifiedChanged = theirDate.isValid() && theirs != ours;
    const auto referenceNumber = int(std::clamp<qint64>(
        get("referenceNumber").toLongLong(), std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    const bool referenceChanged = has("referenceNumber") && referenceNumber != memo.referenceNumber();
    const bool webURLChanged = differs("webURLStr", memo.webURLStr());
    if (!text && !labelColor && !titleChanged && !lockedChanged && !protectChanged && !createdChanged
        && !modifiedChanged && !referenceChanged && !webURLChanged) {
        return;
    }

    // Edited, so that the next save writes the page file; the phone's date is set after.
    memo.setIsEdited(true);
    if (text)
        memo.setMemoDataWithPlainText(*text);
    if (titleChanged)
        memo.setTitle(get("title").toString());
    if (labelColor)
        memo.setTitleColor(*labelColor);
    if (lockedChanged)
        memo.setLocked(get("locked").toBool());
    if (protectChanged)
        memo.setProtectWithPassword(get("protectWithPassword").toBool());
    if (createdChanged)
        memo.setCreatedAt(get("createdAt").toDateTime());
    if (theirDate.isValid())
        memo.setModifiedAt(theirs);
    if (referenceChanged)
        memo.setReferenceNumber(referenceNumber);
    if (webURLChanged)
        memo.setWebURLStr(get("webURLStr").toString());
}

void SyncMerge::detachPlacedPagesFromOldParents()
{
    // A page the phone moved may still stand in the list of a desktop page the
    // phone did not send; it must live in one place only.
    for (const MemoPtr &memo : std::as_const(m_snapshot)) {
        if (m_placed.contains(memo.get()))
            continue;
        const auto &children = memo->children();
        if (std::none_of(children.begin(), children.end(),
                [this](const MemoPtr &child) { return m_placed.contains(child.get()); })) {
            continue;
        }
        QList<MemoPtr> kept;
        for (const MemoPtr &child : children) {
            if (!m_placed.contains(child.get()))
                kept.append(child);
        }
        m_tree.replaceChildren(kept, memo);
    }
}

void SyncMerge::moveLeftoverPages(const QList<MemoPtr> &leftover, const MemoPtr &root, const MemoPtr &folder)
{
    for (const MemoPtr &memo : leftover) {
        if (folder->containsMemo(memo.get()) || folder->containsMemo(root.get()))
            continue;
        if (isEarlier(memo->createdAt(), m_referenceDate) && isEarlier(memo->modifiedAt(), m_referenceDate)) {
            // Unchanged since the last sync and gone from the phone: the phone deleted it.
            detach(memo, root);
            append(folder, memo);
            continue;
        }
        // New or edited on the desktop since: it stays, to be sent back.
        const MemoPtr parent = m_formerParent.value(memo.get());
        if (parent && holds(*parent, memo.get()))
            continue;
        detach(memo, root);
        if (parent && root->containsMemo(parent.get()) && !memo->containsMemo(parent.get()))
            append(parent, memo);
        else
            append(root, memo);
    }
}

void SyncMerge::keepUnplacedPages(const MemoPtr &root)
{
    // Pages the rebuild left nowhere (protected pages the phone did not send,
    // pages whose parent was rebuilt without them) go back under their former
    // parent, or the synchronised page when that parent is gone too.
    QSet<const JWMemo *> reachable;
    const auto reach = [&reachable](const MemoPtr &top) {
        walk(top, [&reachable](JWMemo *memo) {
            reachable.insert(memo);
            return true;
        });
    };
    reach(root);
    for (const MemoPtr &memo : std::as_const(m_snapshot)) {
        if (reachable.contains(memo.get()))
            continue;
        MemoPtr parent = m_formerParent.value(memo.get());
        if (!parent || !reachable.contains(parent.get()) || memo->containsMemo(parent.get()))
            parent = root;
        detach(memo, root);
        append(parent, memo);
        reach(memo);
    }
}

MemoPtr SyncMerge::holderOf(const MemoPtr &memo, const MemoPtr &root) const
{
    if (const MemoPtr former = m_formerParent.value(memo.get()); former && holds(*former, memo.get()))
        return former;
    MemoPtr found;
    walk(root, [&](JWMemo *candidate) {
        if (holds(*candidate, memo.get()))
            found = candidate->shared_from_this();
        return !found;
    });
    return found;
}

void SyncMerge::detach(const MemoPtr &memo, const MemoPtr &root)
{
    const MemoPtr holder = holderOf(memo, root);
    if (!holder)
        return;
    QList<MemoPtr> children = childList(*holder);
    children.removeAll(memo);
    m_tree.replaceChildren(children, holder);
}

void SyncMerge::append(const MemoPtr &parent, const MemoPtr &memo)
{
    QList<MemoPtr> children = childList(*parent);
    children.append(memo);
    m_tree.replaceChildren(children, parent);
}
