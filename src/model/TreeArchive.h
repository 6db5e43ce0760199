#pragma once

#include "JWMemo.h"

#include "platform/base/Result.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

/**
 * The tree's archive as the data store holds it ("JW3Data.jw3datastore"),
 * kept between saves so that a save after a few edits costs the edited pages,
 * not the tree.
 *
 * Each page's part of the archive is two spans: its head (up to its
 * children's count) and its tail (after its last child). A span's bytes
 * depend on its page's values and on the tables of names and objects written
 * before it, through the references it makes. update() walks the tree in
 * archive order and, for each span, either copies its bytes from the last
 * archive or writes it anew with a continuing TypedStreamWriter:
 *
 * - Up to the first span that moves or changes its size in the tables, the
 *   new archive is the old one: spans are copied, and an edited page's spans
 *   are written anew where they stand; one that no longer defines the same
 *   names, or whose objects others refer to, ends that stretch.
 * - After it, numbers shift. A span is copied only when it refers to nothing
 *   but entries of that unchanged stretch and defines no name; every other
 *   span is written anew, referring to the unchanged stretch and to the new
 *   numbers of spans already placed.
 * - Anything else (a name defined after the unchanged stretch, an object
 *   shared with a span that comes later) makes the whole archive be written
 *   again, as does a tree too deep for spans or any failure: the bytes are
 *   always those a whole new archive would have.
 *
 * Pages are known by their archiveRevision() stamps and their window
 * records' stamps: a page whose stamps are as last time is not re-encoded.
 */
class TreeArchive
{
public:
    /** One stretch of the new archive: bytes of the last archive, or new bytes. */
    struct Piece
    {
        qint64 offset = -1; ///< where the bytes are in the last archive; -1 for @c bytes
        qint64 length = 0;
        QByteArray bytes;
    };

    struct Update
    {
        std::vector<Piece> pieces;
        qint64 size = 0;
        /** The pieces are the whole archive written anew (nothing is copied). */
        bool complete = false;
        /** Pages whose spans were written anew. */
        qsizetype pagesEncoded = 0;
        /** Why the whole archive was written, when it was after an earlier one. */
        QString reason;
    };

    TreeArchive();
    ~TreeArchive();
    TreeArchive(const TreeArchive &) = delete;
    TreeArchive &operator=(const TreeArchive &) = delete;

    /**
     * The archive of the tree under @p root, in pieces of the last archive
     * update() answered and new bytes. Nothing when the tree archives as that
     * last time. Without a last archive (or after forget()) the whole archive.
     */
    [[nodiscard]] Result<std::optional<Update>> update(const MemoPtr &root);

    struct Page;

    /**
     * A whole archive in the making: begin() takes a snapshot of the tree
     * (MemoCoding::snapshot) on the main thread, encode() writes it on any
     * thread, adopt() makes it the last archive on the main thread again.
     */
    struct Whole
    {
        Whole();
        ~Whole();
        MemoPtr root;
        MemoPtr copy;
        QString reason;
        quint64 latest = 0;
        std::vector<std::unique_ptr<Page>> pages; ///< the tree's pages in archive order, as they were
        QByteArray bytes;
        std::unique_ptr<TypedStreamWriter> names;
        std::vector<TypedStreamWriter::Span> spans;
    };

    /** update() in steps: a spliced update, a whole archive to encode, or neither when nothing changed. */
    struct Step
    {
        std::optional<Update> update;
        std::shared_ptr<Whole> whole;
    };
    [[nodiscard]] Result<Step> begin(const MemoPtr &root);
    /** Encodes @p whole's snapshot into its bytes; touches nothing else. */
    [[nodiscard]] static Status encode(Whole &whole);
    /** Makes @p whole, encoded, the last archive (its bytes are what the file now holds). */
    Update adopt(Whole &whole);

    /** The last archive is not what the file holds: the next update() writes it whole. */
    void forget();
    /** True while there is a last archive to copy from. */
    [[nodiscard]] bool hasArchive() const { return m_root != nullptr; }

private:
    struct Slot;
    struct Entry;

    /** The update, or an empty reason when the archive must be written whole (@p reason says why). */
    std::optional<std::optional<Update>> splice(const MemoPtr &root, QString &reason);
    static bool walkTree(const MemoPtr &memo, int depth, std::vector<Entry> &entries);
    void removeHomesOf(const Slot &slot);
    void addHomesOf(Slot &slot);

    MemoPtr m_root;
    std::unique_ptr<TypedStreamWriter> m_names;
    std::unordered_map<const JWMemo *, std::unique_ptr<Page>> m_pages;
    std::vector<Slot *> m_order;
    /** Where each object with an identity was written: its page, its span, its number in the span. */
    struct Home
    {
        Page *page = nullptr;
        bool tail = false;
        qint64 relative = 0;
    };
    std::unordered_map<const void *, Home> m_homes;
    qint64 m_headerSize = 0;
    quint64 m_latestRevision = 0;
    quint64 m_walk = 0;
};
