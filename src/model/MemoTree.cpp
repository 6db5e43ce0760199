#include "MemoTree.h"

#include "JWMemo.h"
#include "MemoCreation.h"
#include "MemoIDAllocator.h"
#include "MemoSorting.h"
#include "MemoTreeHost.h"
#include "ModelLog.h"
#include "ReplaceChildrenCommand.h"

#include "platform/base/Localization.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/richtext/PasteboardTypes.h"

#include <QMimeData>
#include <QUndoStack>

#include <algorithm>
#include <vector>

namespace {

// Calls visit(memo, parent) for @p start and every page below it in
// pre-order, until visit answers false. Iterative, so that deep trees cannot
// exhaust the stack; visit must not change the tree.
template<typename Visit> void walkPreOrder(JWMemo *start, Visit visit)
{
    if (!start)
        return;
    struct Entry
    {
        JWMemo *memo;
        JWMemo *parent;
    };
    std::vector<Entry> pending{{start, nullptr}};
    while (!pending.empty()) {
        const Entry entry = pending.back();
        pending.pop_back();
        if (!visit(entry.memo, entry.parent))
            return;
        const auto &children = entry.memo->children();
        for (auto it = children.rbegin(); it != children.rend(); ++it)
            pending.push_back({it->get(), entry.memo});
    }
}

// Every page of a tree is held by a MemoPtr, so this finds its owner.
MemoPtr owner(JWMemo *memo)
{
    return memo ? memo->weak_from_this().lock() : nullptr;
}

qsizetype indexOfChild(const JWMemo &parent, const JWMemo *child)
{
    const auto &children = parent.children();
    const auto it
        = std::find_if(children.begin(), children.end(), [child](const MemoPtr &c) { return c.get() == child; });
    return it == children.end() ? -1 : qsizetype(it - children.begin());
}

QList<MemoPtr> childList(const JWMemo &parent)
{
    return QList<MemoPtr>(parent.children().begin(), parent.children().end());
}

void setChildren(JWMemo &parent, const QList<MemoPtr> &children)
{
    QVariantList values;
    values.reserve(children.size());
    for (const MemoPtr &child : children)
        values.append(QVariant::fromValue(child));
    parent.setChildrenValue(values);
}

} // namespace

MemoTree::MemoTree(QObject *notificationObject, QObject *parent)
    : QObject(parent)
    , m_notificationObject(notificationObject)
{ }

MemoTree::~MemoTree() = default;

void MemoTree::setRoot(MemoPtr root)
{
    m_root = std::move(root);
    m_indexValid = false;
}

void MemoTree::setHost(MemoTreeHost *host)
{
    m_host = host;
}

QObject *MemoTree::notificationObject() const
{
    if (m_notificationObject)
        return m_notificationObject.data();
    return const_cast<MemoTree *>(this);
}

void MemoTree::postReloadOutlineData()
{
    NotificationCenter::defaultCenter().post(NotificationNames::JW3ReloadOutlineData, notificationObject());
}

QUndoStack *MemoTree::undoStackOrFront(QUndoStack *undoStack) const
{
    if (undoStack)
        return undoStack;
    return m_host ? m_host->frontUndoStack() : nullptr;
}

// --- Creating and inserting ----------------------------------------------------

bool MemoTree::insertNewMemo(const MemoPtr &memo, const MemoPtr &parent, qsizetype index)
{
    const MemoPtr target = orRoot(parent);
    if (!memo || !target)
        return false;
    if (memo->containsMemo(target.get())) {
        qCWarning(lcModel) << "A page cannot go into its own subtree:" << memo->description();
        return false;
    }
    prepareUndoForParent(target);
    if (index < 0 || index >= qsizetype(target->children().size()))
        target->appendChild(memo);
    else
        target->insertChild(index, memo);
    target->changeIsLeaf();
    postReloadOutlineData();
    return true;
}

MemoPtr MemoTree::makeNewMemoWithData(const QVariant &data, MemoDataType type, const MemoPtr &parent, qsizetype index)
{
    if (!orRoot(parent))
        return nullptr;
    const bool isBytes = data.typeId() == QMetaType::QByteArray;
    const bool isString = data.typeId() == QMetaType::QString;
    MemoPtr memo;
    switch (type) {
    case MemoDataType::URL:
        if (data.typeId() == QMetaType::QUrl)
            memo = MemoCreation::initWithURL(data.toUrl());
        else if (isBytes || isString)
            memo = MemoCreation::initWithURL(QUrl(data.toString().trimmed(), QUrl::StrictMode));
        break;
    case MemoDataType::RTFD:
        if (isBytes)
            memo = MemoCreation::initWithRTFD(data.toByteArray());
        break;
    case MemoDataType::RTF:
        if (isBytes)
            memo = MemoCreation::initWithRTF(data.toByteArray());
        break;
    case MemoDataType::String:
        if (isString)
            memo = MemoCreation::initWithString(data.toString());
        else if (isBytes)
            memo = MemoCreation::initWithString(data.toByteArray());
        break;
    }
    if (!memo || !insertNewMemo(memo, parent, index))
        return nullptr;
    return memo;
}

MemoPtr MemoTree::makeNewMemoWithData(
    const QVariant &data, MemoDataType type, const QString &title, const MemoPtr &parent, qsizetype index)
{
    MemoPtr memo = makeNewMemoWithData(data, type, parent, index);
    if (memo && !title.isNull())
        memo->setTitle(title);
    return memo;
}

MemoPtr MemoTree::makeNewMemoWithURL(const QUrl &url, const MemoPtr &parent, qsizetype index)
{
    return makeNewMemoWithData(QVariant(url), MemoDataType::URL, parent, index);
}

namespace {

// The page the clipped data make; null when the first kind present is empty
// or unreadable (later kinds are not tried then).
MemoPtr clippedMemo(const QMimeData &data)
{
    if (data.hasUrls()) {
        const QList<QUrl> urls = data.urls();
        return urls.isEmpty() ? nullptr : MemoCreation::initWithURL(urls.first());
    }
    if (const QString format = PasteboardTypes::firstFormat(data, PasteboardTypes::RTFDTypes); !format.isEmpty()) {
        const QByteArray bytes = data.data(format);
        return bytes.isEmpty() ? nullptr : MemoCreation::initWithRTFD(bytes);
    }
    if (const QString format = PasteboardTypes::firstFormat(data, PasteboardTypes::RTFTypes); !format.isEmpty()) {
        const QByteArray bytes = data.data(format);
        return bytes.isEmpty() ? nullptr : MemoCreation::initWithRTF(bytes);
    }
    if (data.hasText()) {
        const QString text = data.text();
        return text.isEmpty() ? nullptr : MemoCreation::initWithString(text);
    }
    return nullptr;
}

} // namespace

MemoPtr MemoTree::makeNewClippingMemo(const QMimeData &data)
{
    if (!m_root)
        return nullptr;
    const MemoPtr memo = clippedMemo(data);
    if (!memo)
        return nullptr;
    // Making the clipping parent and adding the clip undo as one step.
    QUndoStack *undoStack = undoStackOrFront(nullptr);
    if (undoStack)
        undoStack->beginMacro(localizedString(QStringLiteral("Clip")));
    insertNewMemo(memo, parentOfClippingMemo(), -1);
    if (undoStack)
        undoStack->endMacro();
    showMemoInWindow(memo);
    if (m_host)
        m_host->saveNow();
    return memo;
}

MemoPtr MemoTree::parentOfClippingMemo()
{
    if (!m_root)
        return nullptr;
    const QString title = localizedString(QStringLiteral("ClippingMemoParent title"));
    for (const MemoPtr &child : m_root->children()) {
        if (child->title() == title)
            return child;
    }
    MemoPtr parent = MemoCreation::initWithString(localizedString(QStringLiteral("Clipped Memo via Services Menu")));
    if (!parent)
        return nullptr;
    parent->setTitle(title);
    insertNewMemo(parent, m_root, -1);
    return parent;
}

void MemoTree::showMemoInWindow(const MemoPtr &memo)
{
    if (memo && m_host)
        m_host->showMemoInWindow(memo);
}

void MemoTree::setSamplePageImporter(SamplePageImporter importer)
{
    m_samplePageImporter = std::move(importer);
}

bool MemoTree::addSamplePage()
{
    if (!m_root)
        return false;
    if (!m_samplePageImporter) {
        qCWarning(lcModel) << "No importer for the sample pages; none added";
        return false;
    }
    return m_samplePageImporter(*this, m_root, qsizetype(m_root->children().size()));
}

bool MemoTree::addSamplePageIfNeeded()
{
    if (!m_root || !m_root->children().empty())
        return false;
    return addSamplePage();
}

// --- Undo ------------------------------------------------------------------------

void MemoTree::prepareUndoForParent(const MemoPtr &parent, QUndoStack *undoStack)
{
    QUndoStack *stack = undoStackOrFront(undoStack);
    const MemoPtr target = orRoot(parent);
    if (stack && target)
        stack->push(new ReplaceChildrenCommand(target, notificationObject()));
}

void MemoTree::prepareUndoForChild(const MemoPtr &memo, QUndoStack *undoStack)
{
    prepareUndoForParent(parentOfMemo(memo), undoStack);
}

void MemoTree::replaceChildren(const QList<MemoPtr> &children, const MemoPtr &parent)
{
    const MemoPtr target = orRoot(parent);
    if (!target)
        return;
    for (const MemoPtr &child : children) {
        if (child && child->containsMemo(target.get())) {
            qCWarning(lcModel) << "A page cannot go into its own subtree:" << child->description();
            return;
        }
    }
    setChildren(*target, children);
    postReloadOutlineData();
}

// --- Finding ---------------------------------------------------------------------

void MemoTree::ensureIndex() const
{
    const quint64 generation = JWMemo::structureGeneration();
    if (m_indexValid && m_indexGeneration == generation)
        return;
    // Trees mostly change by a page or two, so the last size is a good guess.
    const qsizetype expected = m_parentIndex.size();
    m_idIndex.clear();
    m_parentIndex.clear();
    m_idIndex.reserve(expected);
    m_parentIndex.reserve(expected);
    walkPreOrder(m_root.get(), [this](JWMemo *memo, JWMemo *parent) {
        if (!parent)
            return true; // the root: looked at apart
        // The first place in pre-order wins, for IDs as for parents: a slot
        // just made holds an empty (expired) pointer.
        if (std::weak_ptr<JWMemo> &slot = m_idIndex[memo->memoID()]; slot.expired())
            slot = memo->weak_from_this();
        if (std::weak_ptr<JWMemo> &slot = m_parentIndex[memo]; slot.expired())
            slot = parent->weak_from_this();
        return true;
    });
    m_indexGeneration = generation;
    m_indexValid = true;
}

MemoPtr MemoTree::noteDataWithID(qint64 memoID) const
{
    return noteDataWithID(memoID, m_root);
}

MemoPtr MemoTree::noteDataWithID(qint64 memoID, const MemoPtr &start) const
{
    const MemoPtr from = orRoot(start);
    if (!from)
        return nullptr;
    // The start page is compared by the low 32 bits alone: older versions
    // kept IDs as 32-bit numbers, and links written then still name them so.
    if (qint32(from->memoID()) == qint32(memoID))
        return from;
    if (from == m_root) {
        ensureIndex();
        return m_idIndex.value(memoID).lock();
    }
    JWMemo *found = nullptr;
    walkPreOrder(from.get(), [&](JWMemo *memo, JWMemo *parent) {
        if (parent && memo->memoID() == memoID)
            found = memo;
        return !found;
    });
    return owner(found);
}

MemoPtr MemoTree::parentOfMemo(const MemoPtr &memo) const
{
    if (!memo || !m_root || memo == m_root)
        return nullptr;
    ensureIndex();
    return m_parentIndex.value(memo.get()).lock();
}

MemoPtr MemoTree::parentOfMemo(const MemoPtr &memo, const MemoPtr &start) const
{
    if (!start || start == m_root)
        return parentOfMemo(memo);
    if (!memo)
        return nullptr;
    JWMemo *found = nullptr;
    walkPreOrder(start.get(), [&](JWMemo *candidate, JWMemo *) {
        if (indexOfChild(*candidate, memo.get()) >= 0)
            found = candidate;
        return !found;
    });
    return owner(found);
}

bool MemoTree::isSubItemOfMemo(const MemoPtr &memo, const MemoPtr &ancestor) const
{
    const MemoPtr top = orRoot(ancestor);
    return memo && top && top->containsMemo(memo.get());
}

MemoPtr MemoTree::memoWithTitle(const QString &title, const MemoPtr &start) const
{
    JWMemo *found = nullptr;
    walkPreOrder(orRoot(start).get(), [&](JWMemo *memo, JWMemo *) {
        if (memo->title() == title)
            found = memo;
        return !found;
    });
    return owner(found);
}

MemoPtr MemoTree::memoWithTitleIndexFrom(const QString &title, const MemoPtr &parent, qsizetype index) const
{
    const MemoPtr from = orRoot(parent);
    if (!from || index < 0 || index >= qsizetype(from->children().size()))
        return nullptr;
    const auto &children = from->children();
    const auto it = std::find_if(
        children.begin() + index, children.end(), [&title](const MemoPtr &child) { return child->title() == title; });
    return it == children.end() ? nullptr : *it;
}

// --- Flattening --------------------------------------------------------------------

QList<MemoPtr> MemoTree::arrayOfMemos(const MemoPtr &start, bool withoutProtectedMemo) const
{
    const MemoPtr from = orRoot(start);
    QList<MemoPtr> memos;
    if (!from)
        return memos;
    if (from != m_root)
        from->setTempParentMemo(parentOfMemo(from));
    from->addSubMemosToArray(memos, withoutProtectedMemo);
    return memos;
}

QList<MemoPtr> MemoTree::arrayOfMemos(const MemoPtr &start) const
{
    return arrayOfMemos(start, false);
}

QList<MemoPtr> MemoTree::memoArrayWithoutRoot() const
{
    return memoArrayWithoutRootFromMemo(m_root);
}

QList<MemoPtr> MemoTree::memoArrayWithoutRootFromMemo(const MemoPtr &start) const
{
    const MemoPtr from = orRoot(start);
    QList<MemoPtr> memos = arrayOfMemos(from, true);
    if (!memos.isEmpty() && memos.first() == from)
        memos.removeFirst();
    return memos;
}

QList<MemoPtr> MemoTree::webclipMemoArrayFromMemo(const MemoPtr &start) const
{
    QList<MemoPtr> clips;
    walkPreOrder(orRoot(start).get(), [&clips](JWMemo *memo, JWMemo *parent) {
        if (parent && !memo->webURLStr().isEmpty())
            clips.append(owner(memo));
        return true;
    });
    return clips;
}

QList<MemoPtr> MemoTree::sortedWebclipMemoArrayFromMemo(const MemoPtr &start) const
{
    QList<MemoPtr> clips = webclipMemoArrayFromMemo(start);
    MemoSorting::sortMemos(clips, MemoSorting::sortWithDate, true);
    return clips;
}

QList<MemoPtr> MemoTree::recentMemos(const MemoPtr &start) const
{
    QList<MemoPtr> memos = arrayOfMemos(start, false);
    memos.removeAll(m_root);
    MemoSorting::sortMemos(memos, MemoSorting::sortWithDate, false);
    return memos;
}

QList<MemoPtr> MemoTree::recentMemos() const
{
    return recentMemos(m_root);
}

QList<MemoPtr> MemoTree::favoriteMemos(const MemoPtr &start) const
{
    QList<MemoPtr> memos = arrayOfMemos(start, false);
    memos.removeAll(m_root);
    MemoSorting::sortMemos(memos, MemoSorting::sortWithReferenceNumber, true);
    return memos;
}

QList<MemoPtr> MemoTree::favoriteMemos() const
{
    return favoriteMemos(m_root);
}

QList<qint64> idArrayFromObjects(const QList<MemoPtr> &memos)
{
    QList<qint64> ids;
    ids.reserve(memos.size());
    for (const MemoPtr &memo : memos) {
        if (memo)
            ids.append(memo->memoID());
    }
    return ids;
}

// --- Moving --------------------------------------------------------------------------

MemoPtr MemoTree::moveMemo(const MemoPtr &memo, const MemoPtr &target, qsizetype index, bool copy)
{
    const MemoPtr destination = orRoot(target);
    if (!memo || !destination)
        return nullptr;
    // The page counts as part of its own subtree, so moving it into itself
    // is refused as well.
    if (isSubItemOfMemo(destination, memo))
        return nullptr;

    MemoPtr placed = memo;
    if (copy) {
        // A duplicate never takes the subtree along.
        placed = JWMemo::initWithMemo(*memo);
    } else if (const MemoPtr oldParent = orRoot(parentOfMemo(memo))) {
        const qsizetype oldIndex = indexOfChild(*oldParent, memo.get());
        if (oldIndex >= 0) {
            oldParent->takeChildAt(oldIndex);
            if (oldParent == destination && oldIndex < index)
                --index;
        }
        oldParent->changeIsLeaf();
    }

    if (index < 0 || index >= qsizetype(destination->children().size()))
        destination->appendChild(placed);
    else
        destination->insertChild(index, placed);
    destination->changeIsLeaf();
    postReloadOutlineData();
    return placed;
}

MemoPtr MemoTree::moveMemo(qint64 memoID, const MemoPtr &target, qsizetype index, bool copy)
{
    const MemoPtr memo = noteDataWithID(memoID);
    return memo ? moveMemo(memo, target, index, copy) : nullptr;
}

QList<MemoPtr> MemoTree::moveMemos(const QList<MemoPtr> &memos, const MemoPtr &target, qsizetype index, bool copy)
{
    const MemoPtr destination = orRoot(target);
    if (!destination)
        return {};
    // The pages go, in list order, in front of the page that stood at the
    // index and does not move itself (or to the end when none does), so
    // pages taken from above the index do not shift where the others land.
    MemoPtr anchor;
    const auto &children = destination->children();
    for (qsizetype i = std::max<qsizetype>(index, 0); index >= 0 && i < qsizetype(children.size()); ++i) {
        if (!memos.contains(children[size_t(i)])) {
            anchor = children[size_t(i)];
            break;
        }
    }
    QList<MemoPtr> placed;
    for (const MemoPtr &memo : memos) {
        const qsizetype at = anchor ? indexOfChild(*destination, anchor.get()) : -1;
        if (MemoPtr moved = moveMemo(memo, destination, at, copy))
            placed.append(std::move(moved));
    }
    return placed;
}

bool MemoTree::moveData(QList<MemoPtr> &list, qsizetype from, qsizetype to)
{
    if (from < 0 || from >= list.size() || to < 0 || to > list.size())
        return false;
    MemoPtr item = list.takeAt(from);
    if (to > from)
        --to;
    list.insert(to, std::move(item));
    return true;
}

void MemoTree::moveUp(const MemoPtr &memo)
{
    const MemoPtr parent = parentOfMemo(memo);
    if (!parent)
        return;
    QList<MemoPtr> children = childList(*parent);
    const qsizetype from = children.indexOf(memo);
    const qsizetype to = from > 0 ? from - 1 : children.size();
    if (!moveData(children, from, to))
        return;
    setChildren(*parent, children);
    parent->changeIsLeaf();
    postReloadOutlineData();
}

void MemoTree::moveDown(const MemoPtr &memo)
{
    const MemoPtr parent = parentOfMemo(memo);
    if (!parent)
        return;
    QList<MemoPtr> children = childList(*parent);
    const qsizetype from = children.indexOf(memo);
    // Two higher as an insertion index: just after the next sibling.
    const qsizetype to = from + 2 <= children.size() ? from + 2 : 0;
    if (!moveData(children, from, to))
        return;
    setChildren(*parent, children);
    parent->changeIsLeaf();
    postReloadOutlineData();
}

void MemoTree::moveLeft(const MemoPtr &memo)
{
    const MemoPtr parent = parentOfMemo(memo);
    if (!parent || parent == m_root)
        return;
    const MemoPtr grandparent = orRoot(parentOfMemo(parent));
    const qsizetype position = indexOfChild(*grandparent, parent.get());
    if (position >= 0)
        moveMemo(memo, grandparent, position + 1, false);
}

void MemoTree::moveRight(const MemoPtr &memo)
{
    const MemoPtr parent = parentOfMemo(memo);
    if (!parent)
        return;
    const qsizetype position = indexOfChild(*parent, memo.get());
    if (position <= 0)
        return;
    const MemoPtr previous = parent->children()[size_t(position - 1)];
    moveMemo(memo, previous, qsizetype(previous->children().size()), false);
}

// --- Sorting ---------------------------------------------------------------------------

void MemoTree::sortChildren(const MemoPtr &parent, int key, bool order)
{
    const MemoPtr target = orRoot(parent);
    if (!target)
        return;
    MemoSorting::Comparison comparison = MemoSorting::sortWithDate;
    if (key == 1)
        comparison = MemoSorting::sortWithName;
    else if (key == 2)
        comparison = MemoSorting::sortWithID;
    QList<MemoPtr> children = childList(*target);
    MemoSorting::sortMemos(children, comparison, order);
    setChildren(*target, children);
    postReloadOutlineData();
}

// --- Identity ----------------------------------------------------------------------------

qint64 MemoTree::findBiggestID(qint64 start, const MemoPtr &memo) const
{
    qint64 biggest = start;
    walkPreOrder(orRoot(memo).get(), [&biggest](JWMemo *m, JWMemo *) {
        biggest = std::max(biggest, m->memoID());
        return true;
    });
    return biggest;
}

void MemoTree::resetMemoID()
{
    if (!m_root)
        return;
    MemoIDAllocator::shared().resetCounter(findBiggestID(0, m_root) + 1);
}

int MemoTree::resolveDupulicatedMemoID()
{
    // Collected first: new IDs change the tree's index under a running walk.
    QList<MemoPtr> memos;
    walkPreOrder(m_root.get(), [&memos](JWMemo *memo, JWMemo *) {
        memos.append(owner(memo));
        return true;
    });

    QHash<qint64, MemoPtr> holders;
    int renumbered = 0;
    for (const MemoPtr &memo : std::as_const(memos)) {
        const qint64 id = memo->memoID();
        const MemoPtr holder = holders.value(id);
        if (!holder) {
            holders.insert(id, memo);
            continue;
        }
        if (holder == memo)
            continue; // one page reached twice has one ID, not two
        ++renumbered;
        if (memo->createdAt() <= holder->createdAt()) {
            // The older page keeps the ID; the earlier holder moves on.
            holders.insert(id, memo);
            holders.insert(holder->takeNewIDKeepingText(), holder);
        } else {
            holders.insert(memo->takeNewIDKeepingText(), memo);
        }
    }
    return renumbered;
}

void MemoTree::convertNoteTextToSetTitleAtFirstLine()
{
    NotificationCenter::defaultCenter().post(
        NotificationNames::JW3ConvertNoteTextToSetTitleAtFirstLine, notificationObject());
}

void MemoTree::convertNoteTextToSetTitleFromFirstLine()
{
    NotificationCenter::defaultCenter().post(
        NotificationNames::JW3ConvertNoteTextToSetTitleFromFirstLine, notificationObject());
}
