#pragma once

#include <QList>
#include <QPointer>
#include <QTreeView>

#include <memory>

class JWMemo;
class NoteOutlineModel;
class NoteTreeController;
class QTimer;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The outline of a note window: the titles of the pages below the window's
 * root, drawn with their label and character colours (TitleCellDelegate).
 *
 * Several rows can be selected. A double click opens a window on the
 * selection. Titles are edited in place, started by the edit key (F2) or a
 * command, never by a click: a click on the selected row only selects it. Rows are dragged out as page IDs
 * plus the first page's text; rows, text, rich text, URLs and files can be
 * dropped between rows or onto a row, and a drag that rests on a row for
 * 1.5 seconds selects it. Whether a drop is allowed and what it does is the
 * controller's decision; the view only says where it would land.
 *
 * Which rows are expanded is kept across launches, by page ID, in the
 * preferences (PreferenceKeys::ExpandedOutlineItems).
 */
class NoteOutlineView final : public QTreeView
{
    Q_OBJECT
public:
    explicit NoteOutlineView(QWidget *parent = nullptr);
    ~NoteOutlineView() override;

    /** Connects the view to its controller and the controller's model. Once. */
    void setController(NoteTreeController *controller);
    [[nodiscard]] NoteTreeController *controller() const;
    /**
     * Writes a pending change of the expanded rows before the old model goes;
     * the new one's expanded rows are restored as soon as it has rows.
     */
    void setModel(QAbstractItemModel *model) override;

    /** Expands every ancestor of @p memo, so that it has a visible row. */
    void exposeItem(const MemoPtr &memo);
    /** True when a selected page has children to show. */
    [[nodiscard]] bool isSelectionExpandable() const;

    /** Expands every row, and every row inside it. */
    void expandEveryItem();
    /** Collapses every row. */
    void collapseEveryItem();
    /** Expands the selected pages' rows with everything inside them. */
    void expandChildren();
    /** Collapses the selected pages' rows with everything inside them. */
    void collapseChildren();

    /** The pages of the selected rows, in row order. */
    [[nodiscard]] QList<MemoPtr> selectedMemosInRowOrder() const;
    /**
     * Selects the rows of @p memos (the first replacing the selection, the
     * others extending it), makes the first the current row, and scrolls to
     * each; pages without a row are skipped. Answers how many rows it selected.
     */
    int selectMemoRows(const QList<MemoPtr> &memos);

    /** Expands the rows whose page IDs the preference lists. */
    void restoreExpandedItems();
    /** Writes the IDs of the expanded pages into the preference, keeping those of pages this outline does not show. */
    void saveExpandedItems();

Q_SIGNALS:
    /** A row was double-clicked (not on its title while editing). */
    void rowDoubleClicked();
    /** The user asked to delete the selection with the keyboard. */
    void deleteRequested();
    /** A title edit was ended with Enter (not by leaving the editor or with Escape). */
    void titleSubmitted();

protected:
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void closeEditor(QWidget *editor, QAbstractItemDelegate::EndEditHint hint) override;

private:
    struct DropSpot
    {
        MemoPtr item;        // null: the root
        int childIndex = -1; // -1: onto the item
        QRect indicator;     // where the view marks it
        bool valid = false;
    };

    [[nodiscard]] DropSpot dropSpotAt(const QPoint &position) const;
    void scheduleExpansionSave();
    /** The model shown, when it is an outline model. */
    [[nodiscard]] NoteOutlineModel *outlineModel() const;
    void clearDropSpot();
    /** Collapses @p roots and every row inside them, outermost first. */
    void collapseRows(const QModelIndexList &roots);
    /** The first rows that have the model's pages: restores the expanded rows once. */
    void restoreOnFirstRows();

    QPointer<NoteTreeController> m_controller;
    DropSpot m_dropSpot;
    QTimer *m_expansionSaveTimer = nullptr;
    bool m_expansionRestored = false;
    QList<QMetaObject::Connection> m_modelConnections;
};
