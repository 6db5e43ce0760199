#pragma once

#include "MenuTags.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QUndoStack>

#include <functional>
#include <memory>

class ConfirmPassPanelController;
class JWMemo;
class MemoTree;
class NoteOutlineModel;
class NoteOutlineView;
class NoteTreeHost;
class NoteTreeWindow;
class QMimeData;
class QTimer;
class QColor;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The controller of one window's outline: the pages below the window's
 * root, which of them are selected, the Back/Forward history, adding,
 * deleting and moving pages (each undoable), title colours, further windows
 * on the selection, and the gate that asks for the page password before a
 * protected page shows.
 *
 * The selection is one page (shown in the window's text view) or several
 * rows (the text view is then empty and read-only). Every selection of a
 * single page goes through setSelection(), which the outline, Back/Forward,
 * links and the window use alike.
 *
 * The outline's model and its drag and drop live in NoteTreeDragging.cpp;
 * menu and toolbar validation in NoteTreeValidation.cpp.
 */
class NoteTreeController final : public QObject
{
    Q_OBJECT
public:
    /** Where a new sibling of the selection goes. */
    struct InsertPoint
    {
        MemoPtr parent;
        qsizetype position = 0;
    };

    /** The title-colour menu item that opens the colour dialog instead of naming a colour. */
    static constexpr int kCustomTitleColorTag = 99;
    /** The hover over a row during a drag after which that row becomes the selection. */
    static constexpr int kDragHoverMilliseconds = 1500;

    NoteTreeController(NoteTreeHost &host, NoteTreeWindow &window, NoteOutlineView &outline, QObject *parent = nullptr);
    ~NoteTreeController() override;

    [[nodiscard]] NoteTreeHost &host() const { return m_host; }
    [[nodiscard]] MemoTree &tree() const;
    [[nodiscard]] NoteOutlineView &outlineView() const { return m_outline; }
    [[nodiscard]] NoteOutlineModel &model() const { return *m_model; }
    /** The outline's undo stack: every tree edit of this window. */
    [[nodiscard]] QUndoStack &undoStack() { return m_undoStack; }

    // --- Root and selection --------------------------------------------------------

    [[nodiscard]] MemoPtr rootMemo() const { return m_rootMemo; }
    /**
     * Makes @p root the window's root. The first time, a root without
     * children gets one empty page, and its first child becomes the selection.
     */
    void setRootMemo(const MemoPtr &root);

    /** The current page: the first selected one, or null before a root is set. */
    [[nodiscard]] MemoPtr selection() const;
    [[nodiscard]] qsizetype countSelection() const { return m_selectedMemos.size(); }
    /** The selected pages in row order. */
    [[nodiscard]] const QList<MemoPtr> &selectedMemos() const { return m_selectedMemos; }
    [[nodiscard]] bool hasMultiSelection() const { return m_hasMultiSelection; }

    /**
     * Selects @p memo alone, when it lies below the root: the page shown
     * before takes back its edits and is saved, the new one is shown and
     * recorded in the history. A page that mayShowMemo() holds back is not
     * selected; the password is asked for instead.
     */
    void setSelection(const MemoPtr &memo);
    /** Takes the outline's selected rows as the selection (several pages; nothing shown). */
    void setMultipleSelection();
    /** Selects the rows of @p memos and makes them the selection. */
    void selectMemos(const QList<MemoPtr> &memos);
    /** Follows a change of the outline's selected rows. */
    void selectRowOfOutline();

    [[nodiscard]] bool selectionContainsLockedMemo() const;
    /** The text view is editable for one unlocked page, rich for one rich page. */
    void setTextEditCanEdit();

    // --- Adding and deleting ----------------------------------------------------------

    [[nodiscard]] InsertPoint insertPoint() const;
    /** A new page right after the selection, with its title ready to be typed. */
    void add();
    /** A new first child of the selection. */
    void addChild();
    /** Puts @p memo back into @p parent at @p index and selects it: the undo of a deletion. */
    void insertItem(const MemoPtr &memo, const MemoPtr &parent, qsizetype index);
    /** Deletes the selection, refusing locked pages and asking first when "DeleteCheck" is on. */
    void remove();
    /** Deletes every selected page without asking. */
    void removeSelection();
    /** Deletes @p memo and selects another: the undo of an add. */
    void removeMemo(const MemoPtr &memo);
    /** Deletes @p memo and its subtree; with @p selectOtherMemo, a page to show next is chosen. */
    void removeMemo(const MemoPtr &memo, bool selectOtherMemo);

    // --- Moving -------------------------------------------------------------------------

    void outlineMoveUp();
    void outlineMoveDown();
    void outlineMoveLeft();
    void outlineMoveRight();
    /** Moves @p memo into @p target at @p index and selects it. */
    void moveMemo(const MemoPtr &memo, const MemoPtr &target, qsizetype index);

    // --- History ------------------------------------------------------------------------

    void moveBack();
    void moveNext();
    [[nodiscard]] bool canMoveBack() const;
    [[nodiscard]] bool canMoveNext() const;
    /** The pages selected in this window, oldest first. */
    [[nodiscard]] const QList<MemoPtr> &moveHistory() const { return m_moveHistory; }
    /** The position in moveHistory() of the page shown; all ones while the history is empty. */
    [[nodiscard]] quint32 historyIndex() const { return m_historyIndex; }

    // --- Other commands -----------------------------------------------------------------

    /** Colours the selected titles with the palette colour of @p tag; kCustomTitleColorTag asks for one. */
    void changeTitleColorByTag(int tag);
    /** Sets the title colour of every selected page. */
    void setTitleColorOfSelection(const QColor &color);
    /** A window for each selected page: rooted at it when it has children, else showing it. */
    void openNewWindowWithSelection();
    /** A window showing each selected page, cascaded. */
    void openNewWindowWithParent();
    /** Writes the shown text into the selected page and saves it. */
    void save();
    /**
     * Rebuilds the outline from the tree and puts the selection back on its
     * rows. A shown page that has become held back (its protection locked)
     * leaves the text view, which then shows the first page that may be
     * shown, or nothing. One reload runs at a time in the whole process: a
     * reload started while another runs returns at once.
     */
    void reloadData();
    /** The outline finished editing a title: @p title becomes the selected page's title. */
    void titleEdited(const QString &title);

    // --- Page password ---------------------------------------------------------------------

    /**
     * What holds @p memo back: the nearest page among @p memo and the pages
     * above it in the whole tree (not only below this window's root) that is
     * protected and locked. Null when @p memo may be shown as it is.
     */
    [[nodiscard]] MemoPtr pageHoldingBack(const MemoPtr &memo) const;
    /**
     * The gate between a page and this window's text view. Every way of
     * showing a page asks here first: the outline, the selection restored
     * when a window opens, Back/Forward, links, the recent and favourite
     * lists, clippings, pages opened from other programs, new windows, and
     * search results and tabs.
     *
     * Answers true when @p memo may be shown now: nothing holds it back
     * (pageHoldingBack()), or the password kept in the keyring opens it, in
     * which case the locked pages above it are unlocked. Otherwise answers
     * false and asks for the password with the sheet on this window: at once
     * when the window is on screen, else when askForWaitingPage() runs. Once
     * the right password is given, the locked pages on the way unlock and
     * @p show runs with @p memo; cancelling shows nothing. A later request
     * replaces one still waiting.
     */
    bool mayShowMemo(const MemoPtr &memo, std::function<void(const MemoPtr &)> show);
    /** The window came on screen: the page a hidden window held back is asked for now. */
    void askForWaitingPage();
    /** The page held back while the window was hidden, still to be asked for; null when none. */
    [[nodiscard]] MemoPtr waitingPage() const { return m_waitingPage; }
    /**
     * Locks every protected page of @p memoTree that is unlocked. Windows
     * then take protected text off the screen (reloadData() sees to it).
     */
    static void lockProtectedPages(MemoTree &memoTree);
    /** The password sheet, once it has been made; for tests. */
    [[nodiscard]] ConfirmPassPanelController *passPanelController() const;

    // --- Validation (NoteTreeValidation.cpp) ------------------------------------------------

    /** Whether the menu item tagged @p tag can run now; an item the outline does not govern always can. */
    [[nodiscard]] bool validateMenuItem(MenuTag tag) const;
    [[nodiscard]] bool validateToolbarItem(const QString &identifier) const;

    // --- Outline data and dragging (NoteTreeDragging.cpp) -------------------------------------

    /** The drag format of outline rows: a property list of the rows' page IDs. */
    [[nodiscard]] static QString dragRowTypeName();
    /** Every format the outline takes in a drop, the row format first. */
    [[nodiscard]] static QStringList dragMimeTypes();
    /** The pages' IDs, and the first page's text as RTF, RTFD and plain text. */
    [[nodiscard]] QMimeData *writeItems(const QList<MemoPtr> &memos) const;
    /**
     * What a drop of @p data onto @p item (null: the root) at @p childIndex
     * (-1: onto the item itself) would do: copy when @p sourceActions is
     * exactly copy, else move; none when refused. Hovering over an item arms
     * the timer that selects it after kDragHoverMilliseconds.
     */
    [[nodiscard]] Qt::DropAction validateDrop(
        const QMimeData &data, Qt::DropActions sourceActions, const MemoPtr &item, int childIndex);
    /** Carries out a drop validateDrop() allowed; false when nothing came of it. */
    bool acceptDrop(const QMimeData &data, Qt::DropActions sourceActions, const MemoPtr &item, int childIndex);
    /** The page a drag hovers over, or null. */
    [[nodiscard]] MemoPtr dragTarget() const { return m_dragTarget; }
    /** True while the hover timer runs. */
    [[nodiscard]] bool isDragHoverArmed() const;
    /** The hover timer fired: the page under the drag becomes the selection. */
    void changeSelection();
    void invalidateTimer();
    /** A row is collapsing: a selected page inside it passes the selection to it. */
    void outlineWillCollapse(const MemoPtr &memo);

Q_SIGNALS:
    /** The selection changed (one page or several). */
    void selectionChanged();

private:
    void registerMyNotifications();
    void observeOutlineSelection(bool observe);
    void recordHistory(const MemoPtr &memo);
    void forgetInHistory(const MemoPtr &memo);
    void restoreOutlineSelection();
    [[nodiscard]] MemoPtr parentWithinRoot(const MemoPtr &memo) const;
    /** The selected page one place up (or down) among its siblings. */
    void moveAmongSiblings(bool up);
    /** The selected page one level out (or in), never out past the root. */
    void moveOneLevel(bool out);
    void showNewMemo(const MemoPtr &memo);
    /** The first row of the outline that nothing holds back, or null. */
    [[nodiscard]] MemoPtr firstShowableRow() const;
    /** Takes a held-back page out of the text view, keeping its edits; true when it did. */
    bool concealHeldBackSelection();
    void askPassword(const MemoPtr &memo, std::function<void(const MemoPtr &)> show);
    void unlockPathTo(const MemoPtr &memo);
    void alertLockedPage();
    [[nodiscard]] bool isOptionKeyDown() const;
    /** Runs @p edit with undo recording switched off: undo and redo must not record again. */
    void replaying(const std::function<void()> &edit);
    void pushUndo(const QString &text, std::function<void()> undo, std::function<void()> redo);

    NoteTreeHost &m_host;
    NoteTreeWindow &m_window;
    NoteOutlineView &m_outline;
    std::unique_ptr<NoteOutlineModel> m_model;
    QUndoStack m_undoStack;

    MemoPtr m_rootMemo;
    QList<MemoPtr> m_selectedMemos;
    bool m_hasMultiSelection = false;
    QList<MemoPtr> m_memosToRemove;

    QPointer<QTimer> m_timer;
    MemoPtr m_dragTarget;

    bool m_isHistoryMove = false;
    QList<MemoPtr> m_moveHistory;
    quint32 m_historyIndex = ~quint32(0);

    QPointer<ConfirmPassPanelController> m_passPanelController;
    MemoPtr m_waitingPage;
    std::function<void(const MemoPtr &)> m_waitingShow;
    QMetaObject::Connection m_outlineSelectionConnection;
    bool m_replaying = false;
};
