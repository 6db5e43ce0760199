#pragma once

#include <QAbstractItemModel>
#include <QHash>

#include <deque>
#include <memory>
#include <vector>

class JWMemo;
class NoteTreeController;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The outline's rows: the pages below the controller's root, one column of
 * titles.
 *
 * The model shows the tree as it was at the last reload(), not as it is at
 * each moment: tree edits change the pages first and announce it with
 * "JW3ReloadOutlineData" afterwards, and a view asking in between must get
 * answers that agree with each other. reload() takes a new picture and moves
 * the view's persistent indexes (expanded rows, selection, current row) to
 * the same pages in it, so nothing collapses or jumps when pages move.
 *
 * A protected page that is locked shows no children, whatever it holds.
 * Drags and drops go to the controller (NoteTreeDragging.cpp).
 */
class NoteOutlineModel final : public QAbstractItemModel
{
    Q_OBJECT
public:
    enum Role
    {
        /** The page (MemoPtr). */
        MemoRole = Qt::UserRole + 1,
        /** The label colour drawn behind the title (QColor; transparent for none). */
        LabelColorRole,
        /** Whether the page is read-only (bool): its title is drawn faded, after a crossed-out pen. */
        LockedRole,
        /** Whether the page is protected and locked (bool). */
        ProtectedRole,
        /** The web clip's site icon (QImage), when it has one. */
        WebIconRole,
        /** The page's password protection (PasswordMark as int): the lock drawn beside its title. */
        PasswordMarkRole,
    };

    /** How a page's protection shows in the outline. */
    enum PasswordMark
    {
        NoPasswordMark = 0,
        UnlockedMark,
        LockedMark
    };

    explicit NoteOutlineModel(NoteTreeController &controller, QObject *parent = nullptr);
    ~NoteOutlineModel() override;

    /** Takes a new picture of the tree below the controller's root. */
    void reload();
    /** Tells the views that @p memo's title or colours changed (every row for null). */
    void refreshMemo(const JWMemo *memo);

    /** The row of @p memo, or an invalid index when it has none (outside the root, or hidden). */
    [[nodiscard]] QModelIndex indexForMemo(const JWMemo *memo) const;
    [[nodiscard]] MemoPtr memoForIndex(const QModelIndex &index) const;
    /** The number of pages in the picture (the root left out). */
    [[nodiscard]] qsizetype memoCount() const { return qsizetype(m_nodes.size()); }

    [[nodiscard]] QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex &child) const override;
    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] bool hasChildren(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex &index) const override;

    /** Whether titles can be edited in place; only while one page is selected. */
    void setTitlesEditable(bool editable) { m_titlesEditable = editable; }
    [[nodiscard]] bool titlesEditable() const { return m_titlesEditable; }

    [[nodiscard]] QStringList mimeTypes() const override;
    [[nodiscard]] QMimeData *mimeData(const QModelIndexList &indexes) const override;
    [[nodiscard]] bool canDropMimeData(
        const QMimeData *data, Qt::DropAction action, int row, int column, const QModelIndex &parent) const override;
    bool dropMimeData(
        const QMimeData *data, Qt::DropAction action, int row, int column, const QModelIndex &parent) override;
    [[nodiscard]] Qt::DropActions supportedDropActions() const override;
    [[nodiscard]] Qt::DropActions supportedDragActions() const override;

private:
    struct Node
    {
        MemoPtr memo;
        Node *parent = nullptr;
        int row = 0;
        std::vector<Node *> children;
    };

    void build(std::deque<Node> &nodes, std::vector<Node *> &top, QHash<const JWMemo *, Node *> &byMemo) const;
    [[nodiscard]] Node *nodeOf(const QModelIndex &index) const;
    [[nodiscard]] const std::vector<Node *> &childrenOf(const QModelIndex &parent) const;
    [[nodiscard]] QModelIndex indexOfNode(Node *node) const;

    NoteTreeController &m_controller;
    std::deque<Node> m_nodes;
    std::vector<Node *> m_top;
    QHash<const JWMemo *, Node *> m_byMemo;
    bool m_titlesEditable = true;
};
