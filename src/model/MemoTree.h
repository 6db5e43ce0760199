#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QVariant>

#include <functional>
#include <memory>

class JWMemo;
class MemoTreeHost;
class QMimeData;
class QUndoStack;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The operations on one memo tree: creating and inserting pages, finding
 * them by ID, title or position, flattening the tree, moving, copying and
 * sorting, keeping IDs unique, and the recent and favourite lists.
 *
 * Windows, import, sync and scripting all change the tree through this
 * class, so that every change ends the same way: the changed parent
 * recomputes isLeaf and "JW3ReloadOutlineData" is posted with the
 * notification object. Where a parent or start page is null, the root is
 * meant; with no root every operation does nothing and finds nothing.
 *
 * Lookups by ID and by parent go through an index built on first use and
 * rebuilt only after the tree changed (JWMemo::structureGeneration()), so
 * they cost a hash lookup however large the tree.
 *
 * Undo records whole child lists (ReplaceChildrenCommand) on the undo stack
 * given, or the host's front one; without either nothing is recorded.
 *
 * The tree must stay a tree: insertNewMemo and moveMemo refuse to put a page
 * into its own subtree.
 */
class MemoTree : public QObject
{
    Q_OBJECT
public:
    /** The kinds of data a page can be made from, as a drag or the clipboard brings them. */
    enum class MemoDataType
    {
        URL,
        RTFD,
        RTF,
        String
    };
    Q_ENUM(MemoDataType)

    /**
     * Imports the sample pages under @p parent at @p index (negative or past
     * the end: appended); answers whether it did.
     */
    using SamplePageImporter = std::function<bool(MemoTree &tree, const MemoPtr &parent, qsizetype index)>;

    /** Notifications are posted with @p notificationObject as sender, or with this tree when it is null. */
    explicit MemoTree(QObject *notificationObject = nullptr, QObject *parent = nullptr);
    ~MemoTree() override;

    [[nodiscard]] MemoPtr root() const { return m_root; }
    void setRoot(MemoPtr root);

    /** The application around the tree; may be null (no undo, no showing, no saving). Not owned. */
    [[nodiscard]] MemoTreeHost *host() const { return m_host; }
    void setHost(MemoTreeHost *host);

    /** The sender of the tree's notifications. */
    [[nodiscard]] QObject *notificationObject() const;

    // --- Creating and inserting ----------------------------------------------

    /**
     * Inserts @p memo into @p parent at @p index (appended when the index is
     * negative or not below the number of children), recording undo for the
     * parent on the front undo stack. Refused (false) for a null page, no
     * parent, or a parent inside @p memo.
     */
    bool insertNewMemo(const MemoPtr &memo, const MemoPtr &parent, qsizetype index);

    /**
     * Makes a page from @p data of the given type (MemoCreation) and inserts
     * it. @p data is a QUrl, QString or QByteArray for URL; a QByteArray for
     * RTFD and RTF; a QString (which may become a web clip) or QByteArray (a
     * file's bytes) for String. Answers the page, or null when the data
     * cannot be read or there is nowhere to insert it.
     */
    MemoPtr makeNewMemoWithData(const QVariant &data, MemoDataType type, const MemoPtr &parent, qsizetype index);
    /** As above, then sets the title unless @p title is null. */
    MemoPtr makeNewMemoWithData(
        const QVariant &data, MemoDataType type, const QString &title, const MemoPtr &parent, qsizetype index);
    /** A web clip of @p url, inserted; null for an invalid URL. */
    MemoPtr makeNewMemoWithURL(const QUrl &url, const MemoPtr &parent, qsizetype index);

    /**
     * Clips what another program handed over into a new page: the first kind
     * present decides, in this order: URLs (the first is clipped), RTFD, RTF,
     * text (PasteboardTypes). The page is appended to parentOfClippingMemo(),
     * shown and saved at once. Null, with nothing changed, when no kind is
     * present, its data are empty or cannot be read.
     */
    MemoPtr makeNewClippingMemo(const QMimeData &data);

    /**
     * The top-level page that collects clippings: the first whose title is
     * the localised "ClippingMemoParent title", made and appended on first use.
     */
    MemoPtr parentOfClippingMemo();

    /** Asks the host to show @p memo in a window. */
    void showMemoInWindow(const MemoPtr &memo);

    /** Sets what addSamplePage imports with; the import code installs it. */
    void setSamplePageImporter(SamplePageImporter importer);
    /** Imports the sample pages at the end of the root; false (with a warning) without an importer. */
    bool addSamplePage();
    /** addSamplePage() only when the root has no children. */
    bool addSamplePageIfNeeded();

    // --- Undo ------------------------------------------------------------------

    /**
     * Records on @p undoStack (or the host's front stack when null) that
     * undoing restores @p parent's present children as a whole. Call it just
     * before changing them.
     */
    void prepareUndoForParent(const MemoPtr &parent, QUndoStack *undoStack = nullptr);
    /** prepareUndoForParent for the parent of @p memo (the root when it has none). */
    void prepareUndoForChild(const MemoPtr &memo, QUndoStack *undoStack = nullptr);
    /**
     * Makes @p children the children of @p parent and posts the reload.
     * Refused when one of them contains @p parent.
     */
    void replaceChildren(const QList<MemoPtr> &children, const MemoPtr &parent);

    // --- Finding ---------------------------------------------------------------

    /**
     * The first page in pre-order from the root with ID @p memoID, or null.
     * The root matches when the low 32 bits of the IDs agree, as IDs written
     * by older versions were 32-bit; other pages must match exactly.
     */
    [[nodiscard]] MemoPtr noteDataWithID(qint64 memoID) const;
    /** As above, starting at @p start (which matches on the low 32 bits). */
    [[nodiscard]] MemoPtr noteDataWithID(qint64 memoID, const MemoPtr &start) const;

    /** The page whose children hold @p memo; null for the root and for pages outside the tree. */
    [[nodiscard]] MemoPtr parentOfMemo(const MemoPtr &memo) const;
    /** As above, searching below @p start only. */
    [[nodiscard]] MemoPtr parentOfMemo(const MemoPtr &memo, const MemoPtr &start) const;

    /** True when @p memo is @p ancestor or lies anywhere below it. */
    [[nodiscard]] bool isSubItemOfMemo(const MemoPtr &memo, const MemoPtr &ancestor) const;

    /** @p start if its title is @p title, else the first page below it with that title (pre-order). */
    [[nodiscard]] MemoPtr memoWithTitle(const QString &title, const MemoPtr &start) const;
    /** The first child of @p parent from @p index on titled @p title (one level); null for an index out of range. */
    [[nodiscard]] MemoPtr memoWithTitleIndexFrom(const QString &title, const MemoPtr &parent, qsizetype index) const;

    // --- Flattening -------------------------------------------------------------

    /**
     * @p start and every page below it, in pre-order, with each page's
     * tempParentMemo noted (the start's too, when it is not the root). With
     * @p withoutProtectedMemo, locked protected pages are left out with their
     * subtrees.
     */
    [[nodiscard]] QList<MemoPtr> arrayOfMemos(const MemoPtr &start, bool withoutProtectedMemo) const;
    [[nodiscard]] QList<MemoPtr> arrayOfMemos(const MemoPtr &start) const;
    /** Every page but the root, locked protected ones left out. */
    [[nodiscard]] QList<MemoPtr> memoArrayWithoutRoot() const;
    /** Every page below @p start, locked protected ones left out. */
    [[nodiscard]] QList<MemoPtr> memoArrayWithoutRootFromMemo(const MemoPtr &start) const;

    /** The web clips below @p start (not @p start itself), in pre-order. */
    [[nodiscard]] QList<MemoPtr> webclipMemoArrayFromMemo(const MemoPtr &start) const;
    /** The same, oldest modification first. */
    [[nodiscard]] QList<MemoPtr> sortedWebclipMemoArrayFromMemo(const MemoPtr &start) const;

    /** The pages of @p start's subtree but the root, protected ones too, last modified first. */
    [[nodiscard]] QList<MemoPtr> recentMemos(const MemoPtr &start) const;
    [[nodiscard]] QList<MemoPtr> recentMemos() const;
    /** The same pages, most often opened first. */
    [[nodiscard]] QList<MemoPtr> favoriteMemos(const MemoPtr &start) const;
    [[nodiscard]] QList<MemoPtr> favoriteMemos() const;

    // --- Moving -------------------------------------------------------------------

    /**
     * Moves @p memo (or, with @p copy, a duplicate without children) into
     * @p target at @p index, an insertion index counted before the page is
     * taken out (appended when negative or past the end). Answers the page
     * placed, or null when @p target lies inside @p memo (the page itself
     * included): a page never goes into its own subtree.
     */
    MemoPtr moveMemo(const MemoPtr &memo, const MemoPtr &target, qsizetype index, bool copy);
    /** As above for the page with ID @p memoID; null when there is none. */
    MemoPtr moveMemo(qint64 memoID, const MemoPtr &target, qsizetype index, bool copy);
    /**
     * Moves @p memos into @p target at the gap before the index @p index
     * (counted before any of them is taken out; negative: the end), so that
     * they stand there together in list order; answers those placed.
     */
    QList<MemoPtr> moveMemos(const QList<MemoPtr> &memos, const MemoPtr &target, qsizetype index, bool copy);

    /** One place up among its siblings; the first goes to the end. */
    void moveUp(const MemoPtr &memo);
    /** One place down among its siblings; the last goes to the top. */
    void moveDown(const MemoPtr &memo);
    /** One level out, right after its parent; a top-level page stays. */
    void moveLeft(const MemoPtr &memo);
    /** One level in, as the last child of its previous sibling; a first child stays. */
    void moveRight(const MemoPtr &memo);

    /**
     * Moves the element at @p from to the insertion index @p to (counted
     * before the element is taken out, 0 to size). False, with @p list
     * unchanged, for an index out of range.
     */
    static bool moveData(QList<MemoPtr> &list, qsizetype from, qsizetype to);

    // --- Sorting -----------------------------------------------------------------

    /**
     * Sorts @p parent's children: @p key 1 by name, 2 by ID, anything else by
     * date, with @p order as the comparison's flag (MemoSorting).
     */
    void sortChildren(const MemoPtr &parent, int key, bool order);

    // --- Identity ----------------------------------------------------------------

    /** The largest of @p start and the IDs of @p memo and all pages below it. */
    [[nodiscard]] qint64 findBiggestID(qint64 start, const MemoPtr &memo) const;
    /**
     * Stores the tree's largest ID plus 1 as the "memoID" default and saves
     * the defaults, so the next new page gets the largest ID plus 2.
     */
    void resetMemoID();
    /**
     * Gives fresh IDs to pages whose ID an earlier page of the tree holds
     * (pre-order, protected pages included): the page created first keeps
     * the ID; on equal creation dates the page met last does. Answers how
     * many pages got a new ID.
     */
    int resolveDupulicatedMemoID();

    /** Asks every page to write its title into its text as the first line. */
    void convertNoteTextToSetTitleAtFirstLine();
    /** Asks every page to take its title from the first line of its text. */
    void convertNoteTextToSetTitleFromFirstLine();

private:
    void postReloadOutlineData();
    [[nodiscard]] MemoPtr orRoot(const MemoPtr &memo) const { return memo ? memo : m_root; }
    [[nodiscard]] QUndoStack *undoStackOrFront(QUndoStack *undoStack) const;
    void ensureIndex() const;

    QPointer<QObject> m_notificationObject;
    MemoPtr m_root;
    MemoTreeHost *m_host = nullptr;
    SamplePageImporter m_samplePageImporter;

    // First page in pre-order for each ID (the root left out, it matches
    // differently) and the first parent of each page; rebuilt on demand.
    mutable QHash<qint64, std::weak_ptr<JWMemo>> m_idIndex;
    mutable QHash<const JWMemo *, std::weak_ptr<JWMemo>> m_parentIndex;
    mutable quint64 m_indexGeneration = 0;
    mutable bool m_indexValid = false;
};

/** The IDs of @p memos, in order. */
[[nodiscard]] QList<qint64> idArrayFromObjects(const QList<MemoPtr> &memos);
