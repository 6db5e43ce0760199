#include "TreeArchive.h"

#include "ArchiveRevision.h"
#include "MemoCoding.h"

#include "platform/typedstream/TypedStreamReader.h"

#include <algorithm>

namespace {

using Earlier = TypedStreamWriter::Earlier;

// A page at depth d is begun by a writer at depth 2d (each level adds the
// page and its children's array); spans are not kept for trees so deep that
// writing them may fail on the depth limit.
constexpr int kMaxSplicedDepth = TypedStreamReader::maxDepth / 2 - 8;

} // namespace

struct TreeArchive::Slot
{
    struct Identity
    {
        const void *identity = nullptr;
        qint64 relative = 0;
        QVariant keepAlive;
    };

    Page *page = nullptr;
    bool tail = false;
    qint64 offset = 0;
    qint64 length = 0;
    qint64 firstObject = 0;
    qint64 objects = 0;
    qint64 firstString = 0;
    qint64 strings = 0;
    qint64 maxObjectReference = -1;
    qint64 maxStringReference = -1;
    bool refersToItself = false;
    std::vector<TypedStreamWriter::Definition> definitions;
    std::vector<Identity> identities;
    /** Objects of the span (by number in it) that other spans refer to; sorted. */
    std::vector<qint64> referencedRelatives;
    // The walk that placed the span last, and whether it was written anew then.
    quint64 walk = 0;
    bool rewritten = false;

    void take(const TypedStreamWriter::Span &span)
    {
        length = span.length;
        firstObject = span.firstObject;
        objects = span.objects;
        firstString = span.firstString;
        strings = span.strings;
        maxObjectReference = span.maxObjectReference;
        maxStringReference = span.maxStringReference;
        refersToItself = span.refersToItself;
        definitions = span.definitions;
        identities.clear();
        identities.reserve(span.identities.size());
        for (const auto &identity : span.identities)
            identities.push_back({identity.identity, identity.number - span.firstObject, identity.keepAlive});
    }

    void addReferenced(qint64 relative)
    {
        const auto it = std::lower_bound(referencedRelatives.begin(), referencedRelatives.end(), relative);
        if (it == referencedRelatives.end() || *it != relative)
            referencedRelatives.insert(it, relative);
    }

    // True when @p span, written in this span's place, holds every object
    // others refer to at the same number.
    [[nodiscard]] bool keepsReferencedObjects(const TypedStreamWriter::Span &span) const
    {
        for (qint64 relative : referencedRelatives) {
            const auto old = std::find_if(identities.begin(), identities.end(),
                [relative](const Identity &identity) { return identity.relative == relative; });
            if (old == identities.end())
                return false;
            const bool kept = std::any_of(span.identities.begin(), span.identities.end(), [&](const auto &identity) {
                return identity.identity == old->identity && identity.number == span.firstObject + relative;
            });
            if (!kept)
                return false;
        }
        return true;
    }
};

struct TreeArchive::Page
{
    MemoPtr memo;
    quint64 revision = 0;
    const JWWindowAttribute *attribute = nullptr;
    quint64 attributeRevision = 0;
    quint64 seen = 0;  ///< the walk that found the page in the tree
    bool dirty = true; ///< its values changed since it was last archived
    Slot head;
    Slot tail;

    [[nodiscard]] bool isCurrent() const
    {
        const JWMemo &m = *memo;
        // A page without a date is written with the time of writing.
        return m.archiveRevision() == revision && m.windowAttribute().get() == attribute
            && (!attribute || attribute->archiveRevision() == attributeRevision) && m.hasDates();
    }

    void stamp()
    {
        revision = memo->archiveRevision();
        attribute = memo->windowAttribute().get();
        attributeRevision = attribute ? attribute->archiveRevision() : 0;
    }
};

// One span of the tree in archive order.
struct TreeArchive::Entry
{
    const MemoPtr *memo = nullptr; // into its parent's children, which do not change while the tree is walked
    bool tail = false;
    int depth = 0;
    Page *page = nullptr;
};

TreeArchive::TreeArchive() = default;
TreeArchive::~TreeArchive() = default;

void TreeArchive::forget()
{
    m_root.reset();
    m_names.reset();
    m_pages.clear();
    m_order.clear();
    m_homes.clear();
}

bool TreeArchive::walkTree(const MemoPtr &memo, int depth, std::vector<Entry> &entries)
{
    if (depth > kMaxSplicedDepth)
        return false;
    entries.push_back({&memo, false, depth});
    for (const MemoPtr &child : memo->children()) {
        if (!walkTree(child, depth + 1, entries))
            return false;
    }
    entries.push_back({&memo, true, depth});
    return true;
}

void TreeArchive::removeHomesOf(const Slot &slot)
{
    for (const Slot::Identity &identity : slot.identities) {
        const auto it = m_homes.find(identity.identity);
        if (it != m_homes.end() && it->second.page == slot.page && it->second.tail == slot.tail)
            m_homes.erase(it);
    }
}

void TreeArchive::addHomesOf(Slot &slot)
{
    for (const Slot::Identity &identity : slot.identities)
        m_homes[identity.identity] = {slot.page, slot.tail, identity.relative};
}

TreeArchive::Whole::Whole() = default;
TreeArchive::Whole::~Whole() = default;

Result<TreeArchive::Step> TreeArchive::begin(const MemoPtr &root)
{
    if (!root)
        return Error{QStringLiteral("There is no tree to archive")};
    // No page or window record anywhere has changed since the last archive.
    if (m_root == root && ArchiveRevision::latest() == m_latestRevision)
        return Step{};
    const quint64 latest = ArchiveRevision::latest();
    QString reason;
    if (m_root != root) {
        reason = m_root ? QStringLiteral("another tree") : QString();
    } else if (auto spliced = splice(root, reason)) {
        m_latestRevision = latest;
        return Step{std::move(*spliced), nullptr};
    }
    forget();
    auto whole = std::make_shared<Whole>();
    whole->root = root;
    whole->reason = reason;
    whole->latest = latest;
    // The pages as they are now: what changes from here on is seen by the next update.
    std::vector<Entry> entries;
    if (walkTree(root, 0, entries)) {
        for (const Entry &entry : entries) {
            if (entry.tail)
                continue;
            auto page = std::make_unique<Page>();
            page->memo = *entry.memo;
            page->stamp();
            page->dirty = false;
            page->head.page = page->tail.page = page.get();
            page->tail.tail = true;
            whole->pages.push_back(std::move(page));
        }
    }
    whole->copy = MemoCoding::snapshot(*root);
    return Step{std::nullopt, std::move(whole)};
}

Status TreeArchive::encode(Whole &whole)
{
    auto writer = std::make_unique<TypedStreamWriter>();
    writer->trackSpans();
    if (Status s = writer->encodeObject(QVariant::fromValue(whole.copy)); !s)
        return s;
    whole.spans = writer->takeSpans();
    whole.bytes = writer->takeData();
    whole.names = std::move(writer);
    return {};
}

TreeArchive::Update TreeArchive::adopt(Whole &whole)
{
    forget();
    Update update;
    update.complete = true;
    update.reason = whole.reason;
    update.size = whole.bytes.size();
    update.pieces.push_back({-1, update.size, whole.bytes});
    update.pagesEncoded = qsizetype(whole.pages.size());
    // The spans of the copy, in archive order, are those of the pages it was taken from.
    std::vector<Entry> entries;
    if (whole.pages.empty() || !walkTree(whole.copy, 0, entries) || entries.size() != whole.spans.size())
        return update; // archived, but not kept in spans: the next update writes it whole again

    ++m_walk;
    std::vector<Page *> heads;
    size_t nextPage = 0;
    m_order.reserve(entries.size());
    for (size_t k = 0; k < entries.size(); ++k) {
        Page *page = nullptr;
        if (!entries[k].tail) {
            page = whole.pages[nextPage++].get();
            heads.push_back(page);
        } else {
            page = heads.back();
            heads.pop_back();
        }
        page->seen = m_walk;
        Slot &slot = entries[k].tail ? page->tail : page->head;
        slot.offset = whole.spans[k].offset;
        slot.take(whole.spans[k]);
        addHomesOf(slot);
        m_order.push_back(&slot);
    }
    for (std::unique_ptr<Page> &page : whole.pages) {
        const JWMemo *memo = page->memo.get();
        m_pages.emplace(memo, std::move(page));
    }
    // Which objects others refer to: the span that holds each number referred to.
    for (const TypedStreamWriter::Span &span : whole.spans) {
        for (qint64 number : span.identityReferences) {
            auto it = std::upper_bound(m_order.begin(), m_order.end(), number,
                [](qint64 n, const Slot *slot) { return n < slot->firstObject; });
            while (it != m_order.begin()) {
                Slot *slot = *--it;
                if (slot->objects == 0)
                    continue;
                if (number < slot->firstObject + slot->objects)
                    slot->addReferenced(number - slot->firstObject);
                break;
            }
        }
    }
    m_headerSize = whole.spans.front().offset;
    m_names = std::move(whole.names);
    m_root = whole.root;
    m_latestRevision = whole.latest;
    return update;
}

Result<std::optional<TreeArchive::Update>> TreeArchive::update(const MemoPtr &root)
{
    auto step = begin(root);
    if (!step)
        return Error{step.errorMessage()};
    if (!step.value().whole)
        return std::move(step.value().update);
    Whole &whole = *step.value().whole;
    if (Status encoded = encode(whole); !encoded)
        return Error{encoded.errorMessage()};
    return std::optional<Update>(adopt(whole));
}

std::optional<std::optional<TreeArchive::Update>> TreeArchive::splice(const MemoPtr &root, QString &reason)
{
    std::vector<Entry> entries;
    entries.reserve(m_order.size() + 16);
    if (!walkTree(root, 0, entries)) {
        reason = QStringLiteral("a tree deeper than %1 levels").arg(kMaxSplicedDepth);
        return std::nullopt;
    }
    const quint64 walk = ++m_walk;
    // The stamps are taken before writing, so a change made while the pages
    // are written is seen by the next update.
    bool changed = entries.size() != m_order.size();
    std::vector<Page *> heads; // the pages whose tails are still to come
    for (size_t k = 0; k < entries.size(); ++k) {
        Page *page = nullptr;
        if (!entries[k].tail) {
            const auto it = m_pages.find(entries[k].memo->get());
            page = it == m_pages.end() ? nullptr : it->second.get();
            heads.push_back(page);
        } else {
            page = heads.back();
            heads.pop_back();
        }
        entries[k].page = page;
        if (!page) {
            changed = true;
            continue;
        }
        if (!entries[k].tail) {
            page->seen = walk;
            page->dirty = !page->isCurrent();
            if (page->dirty) {
                page->stamp();
                changed = true;
            }
        }
        if (!changed && m_order[k] != (entries[k].tail ? &page->tail : &page->head))
            changed = true;
    }
    if (!changed)
        return std::optional<Update>();

    Update update;
    update.pieces.push_back({0, m_headerSize, {}});
    qint64 offset = m_headerSize;
    const auto copy = [&update, &offset](const Slot &slot) {
        Piece &last = update.pieces.back();
        if (last.offset >= 0 && last.offset + last.length == slot.offset)
            last.length += slot.length;
        else
            update.pieces.push_back({slot.offset, slot.length, {}});
        offset += slot.length;
    };

    qint64 objects = 0;
    qint64 strings = 0;
    bool unchangedSoFar = true;
    qint64 frontierObjects = 0;
    qint64 frontierStrings = 0;
    // Objects with an identity written by the spans written anew so far, by their new numbers.
    std::unordered_map<const void *, qint64> placed;
    std::vector<std::pair<Slot *, qint64>> referenced;
    std::unordered_map<const JWMemo *, std::unique_ptr<Page>> newPages;
    struct Rewritten
    {
        Slot *slot;
        bool keptPlace; ///< same place, same tables: the objects others refer to are where they were
        TypedStreamWriter::Span span;
    };
    std::vector<Rewritten> rewritten;
    std::vector<std::pair<Slot *, qint64>> order; // each span with its offset in the new archive
    order.reserve(entries.size());

    for (size_t k = 0; k < entries.size(); ++k) {
        const Entry &entry = entries[k];
        Page *page = entry.page;
        if (!page) {
            std::unique_ptr<Page> &created = newPages[entry.memo->get()];
            if (!created) {
                created = std::make_unique<Page>();
                created->memo = *entry.memo;
                created->seen = walk;
                created->stamp();
                created->head.page = created->tail.page = created.get();
                created->tail.tail = true;
            }
            page = created.get();
        }
        Slot *old = entry.tail ? &page->tail : &page->head;
        const bool inPlace = unchangedSoFar && k < m_order.size() && m_order[k] == old && old->firstObject == objects
            && old->firstString == strings;
        if (unchangedSoFar && !inPlace) {
            unchangedSoFar = false;
            frontierObjects = objects;
            frontierStrings = strings;
        }
        if (!page->dirty
            && (inPlace
                || (old->definitions.empty() && !old->refersToItself && old->maxObjectReference < frontierObjects
                    && old->maxStringReference < frontierStrings))) {
            order.emplace_back(old, offset);
            copy(*old);
            old->firstObject = objects;
            old->firstString = strings;
            old->walk = walk;
            old->rewritten = false;
            objects += old->objects;
            strings += old->strings;
            continue;
        }

        // Written anew where it now stands.
        TypedStreamWriter::Continuation continuation;
        continuation.base = m_names.get();
        continuation.objects = objects;
        continuation.strings = strings;
        continuation.visibleObjects = inPlace ? objects : frontierObjects;
        continuation.visibleStrings = inPlace ? strings : frontierStrings;
        continuation.redefine = inPlace;
        continuation.depth = 2 * entry.depth + (entry.tail ? 2 : 0);
        bool conflict = false;
        continuation.earlier = [&](const void *identity) -> Earlier {
            if (const auto it = placed.find(identity); it != placed.end())
                return {Earlier::At, it->second};
            const auto home = m_homes.find(identity);
            if (home == m_homes.end())
                return {};
            Slot &slot = home->second.tail ? home->second.page->tail : home->second.page->head;
            if (slot.walk != walk) {
                // Its own old object, or one of a page no longer in the tree: new here.
                if (&slot == old || slot.page->seen != walk)
                    return {};
                conflict = true; // shared with a span that now comes later
                return {Earlier::Conflict};
            }
            if (slot.rewritten)
                return {}; // its new version no longer holds it
            referenced.emplace_back(&slot, home->second.relative);
            return {Earlier::At, slot.firstObject + home->second.relative};
        };
        TypedStreamWriter writer(continuation);
        const Status written
            = entry.tail ? MemoCoding::encodeTail(writer, *entry.memo) : MemoCoding::encodeHead(writer, *entry.memo);
        if (!written || writer.continuationFailed()) {
            reason = !written ? written.errorMessage()
                : conflict    ? QStringLiteral("an object shared with a page further on")
                              : QStringLiteral("a name first written after a change");
            return std::nullopt;
        }
        TypedStreamWriter::Span span = writer.continuedSpan();
        bool keptPlace = false;
        if (inPlace) {
            keptPlace = span.objects == old->objects && span.strings == old->strings
                && span.definitions == old->definitions && old->keepsReferencedObjects(span);
            if (!keptPlace) {
                if (!span.definitions.empty() || !old->definitions.empty()) {
                    reason = QStringLiteral("a change in the names a page defines");
                    return std::nullopt;
                }
                // Spans further on that referred to its objects reach past the
                // unchanged stretch now, so they are written anew as well.
                unchangedSoFar = false;
                frontierObjects = objects;
                frontierStrings = strings;
            }
        }
        for (const auto &identity : span.identities)
            placed.emplace(identity.identity, identity.number);
        order.emplace_back(old, offset);
        QByteArray bytes = writer.takeData();
        offset += bytes.size();
        update.pieces.push_back({-1, bytes.size(), std::move(bytes)});
        old->walk = walk;
        old->rewritten = true;
        objects += span.objects;
        strings += span.strings;
        rewritten.push_back({old, keptPlace, std::move(span)});
    }

    // The new archive becomes the last one.
    for (Rewritten &r : rewritten) {
        removeHomesOf(*r.slot);
        std::vector<qint64> kept = r.keptPlace ? std::move(r.slot->referencedRelatives) : std::vector<qint64>();
        r.slot->take(r.span);
        r.slot->referencedRelatives = std::move(kept);
    }
    for (auto &[memo, page] : newPages)
        m_pages.emplace(memo, std::move(page));
    for (auto it = m_pages.begin(); it != m_pages.end();) {
        if (it->second->seen == walk) {
            ++it;
            continue;
        }
        removeHomesOf(it->second->head);
        removeHomesOf(it->second->tail);
        it = m_pages.erase(it);
    }
    for (Rewritten &r : rewritten)
        addHomesOf(*r.slot);
    for (auto &[slot, relative] : referenced)
        slot->addReferenced(relative);
    m_order.clear();
    for (auto &[slot, newOffset] : order) {
        slot->offset = newOffset;
        m_order.push_back(slot);
    }
    update.size = offset;
    std::vector<const Page *> pages;
    for (const Rewritten &r : rewritten)
        pages.push_back(r.slot->page);
    std::sort(pages.begin(), pages.end());
    update.pagesEncoded = std::unique(pages.begin(), pages.end()) - pages.begin();
    return std::optional<Update>(std::move(update));
}
