#pragma once

#include "exchange/ExportFormat.h"
#include "NoteTreeWindow.h"
#include "NoteWindow.h"
#include "text/LinkClick.h"

#include <QList>
#include <QPointer>

#include <memory>
#include <optional>
#include <utility>

class JWWindowAttribute;
class LinkPanelController;
class NoteMainWindow;
class NoteOutlineView;
class NoteTextView;
class NoteTreeController;
class NoteTreeHost;
class QAction;
class QDockWidget;
class QLabel;
class QMenu;
class QStackedWidget;
class QTabWidget;
class FindBar;
class SearchController;
class QToolBar;
class QToolButton;

/**
 * One note window: the outline of a root page's subtree in a side panel,
 * the selected page in a text view, counters in the footer, recent and
 * favourite pages in the toolbar, and the menus of everything a page can do.
 *
 * The window is bound to its root page, whose window record
 * (JWWindowAttribute) says where it stands, which page it shows, how its
 * side panel sits and whether it floats or fades; the record is applied when
 * the window opens and written back when it saves or closes, so a window
 * reopens as it was left.
 *
 * The outline's NoteTreeController decides what is selected; this class
 * shows it: a selection change takes the edits back into the page left and
 * loads the new page into the text view. Nothing typed is lost: the window
 * takes the text back on every save ("JW3SaveData") and when it closes.
 */
class NoteWindowController final : public NoteWindow, public NoteTreeWindow, public LinkClickHost
{
    Q_OBJECT
public:
    /** The most pages the recent and favourite lists show. */
    static constexpr int kMaximumListedMemos = 15;
    /** The height of the page handle, which the stored window frame always includes. */
    static constexpr int kPageHandleHeight = 24;

    explicit NoteWindowController(NoteTreeHost &host, QObject *parent = nullptr);
    ~NoteWindowController() override;

    [[nodiscard]] NoteTreeController &treeController() const { return *m_treeController; }
    [[nodiscard]] NoteOutlineView &outline() const { return *m_outline; }
    [[nodiscard]] NoteMainWindow &mainWindow() const { return *m_window; }
    /** The side panel holding the outline and the search pane, as tabs. */
    [[nodiscard]] QDockWidget &drawer() const { return *m_drawer; }
    [[nodiscard]] QTabWidget &drawerTabs() const { return *m_drawerTabs; }
    [[nodiscard]] SearchController &searchController() const { return *m_searchController; }
    /** The find-and-replace bar under the text. */
    [[nodiscard]] FindBar &findBar() const { return *m_findBar; }
    /** Opens the side panel on the search pane with the keyboard in its field. */
    void showSearchPane();

    // --- NoteWindow ---------------------------------------------------------------------
    [[nodiscard]] MemoPtr rootMemo() const override { return m_rootMemo; }
    /** Binds the window to @p root, applies its window record and shows the page it names. Once. */
    void setRootMemo(const MemoPtr &root) override;
    [[nodiscard]] MemoPtr selectedMemo() const override;
    /** Selects @p memo through the outline (the password gate included). */
    void selectMemo(const MemoPtr &memo) override;
    [[nodiscard]] QWidget *windowWidget() const override;
    void showWindow() override;
    void performClose() override;
    [[nodiscard]] bool isEdited() const override { return m_isEdited; }
    bool takeDeviceEdits() override;
    [[nodiscard]] QUndoStack *undoStack() override;
    void makeIconWindowAtBackground() override;
    void makeIconWindow() override;

    // --- NoteTreeWindow -------------------------------------------------------------------
    [[nodiscard]] QWidget *window() const override;
    [[nodiscard]] NoteTextView *textView() const override { return m_textView; }
    void setEditedIfIsiPhoneMemo(const MemoPtr &memo) override;
    void addNewTabWithMemo(const MemoPtr &memo) override;
    void goToTitleView() override;
    /** Takes the text back into the selected page, saves it and writes the window record. */
    void save() override;
    void saveDataToMemo(const MemoPtr &memo) override;
    void resignSelection(const MemoPtr &memo) override;
    void setMemoToTab(const MemoPtr &) override { }
    void setSelection(const MemoPtr &memo) override;
    void titleHasBeenChanged(const MemoPtr &memo) override;
    void showStatus(const QString &message) override;

    // --- LinkClickHost: links clicked in this window's text -----------------------------------
    [[nodiscard]] MemoPtr noteDataWithID(qint64 memoID) override;
    void openWindowAndShowMemo(const MemoPtr &memo) override;
    void showMemoInThisWindow(const MemoPtr &memo) override;
    bool openUrl(const QUrl &url) override;
    bool openLocation(const QString &location) override;

    // --- The window record ------------------------------------------------------------------
    /** Applies the root's window record; answers the page it names (or the first page). */
    MemoPtr setWindowAttribute();
    /** Writes the window's state into the root's window record. */
    void saveWindowAttribute();
    /** Floating follows the window record. */
    void setWindowLevel();
    /** The opacity away from and under the mouse follows the window record. */
    void setWindowTransparency();
    /** The page handle (the strip naming where the page stands) shows as the window record says. */
    void switchPageHandle();

    // --- The text ---------------------------------------------------------------------------
    /** The text was edited: the window and the page are marked, and the title may follow the first line. */
    void textDidChanged();
    /** The counters and the page's summary follow the text. */
    void updateTextSummary();
    /** The footer's counters as shown. */
    [[nodiscard]] QString charactersCounterText() const;
    [[nodiscard]] QString wordsCounterText() const;

    // --- Recent and favourite pages -----------------------------------------------------------
    /** Fills @p menu with the recently changed pages of the root (at most kMaximumListedMemos). */
    void updateRecentItems(QMenu &menu);
    /** Fills @p menu with the most opened pages of the root (at most kMaximumListedMemos). */
    void updateFavoriteItems(QMenu &menu);

    /**
     * The outline's context menu: new page and sub-page, rename, delete,
     * title colour, lock, protect, and open in a new window. The items are
     * the menu bar's own actions, enabled and checked as there.
     */
    [[nodiscard]] std::unique_ptr<QMenu> outlineMenu();

    // --- The data folder's problems ---------------------------------------------------------
    /**
     * The bar at the top of the window follows the data store: while the
     * last save failed it names the cause and offers to save again; after a
     * start that found the data file unreadable it names the file kept
     * aside and offers to recover the pages from their page files.
     */
    void updateStoreBar();
    /** File > Recover Pages From Page Files: rebuilds the pages and says what was done. */
    void recoverPagesFromPageFiles();

    // --- Import ----------------------------------------------------------------------------
    /**
     * File > Import... (files) and File > Import Folder... (with @p folder):
     * asks for what to import, hands it to the application and says once
     * what could not be imported.
     */
    void openFile(bool folder);
    /**
     * File > Import Data of an Earlier Version...: asks for the previous
     * version's preferences file and then for its folder of text files
     * (which may be left out), and imports its pages.
     */
    void importEarlierVersion();
    /** File > Import Data of the First Version. */
    void importFirstVersion();

    // --- Export ----------------------------------------------------------------------------
    /** File > Export...: the export sheet for each selected page in turn. */
    void exportSelectedPages();
    /**
     * Writes @p memo in @p format to @p path, showing progress with Cancel
     * for more than a hundred pages; says what failed in a message.
     */
    void exportMemo(const MemoPtr &memo, ExportFormat::Format format, const QString &path);
    /** Copies the selected pages, or with @p wholeWindow every page of the window, to the player's folder. */
    void exportToIPod(bool wholeWindow);
    /** Asks for the player's Notes (or vCard) folder. */
    void chooseIPodFolder();

    /** The actions of the menus, by their object names; for tests and the toolbar. */
    [[nodiscard]] QAction *action(const QString &name) const;

Q_SIGNALS:
    /** The window record was written (on save and close). */
    void windowAttributeSaved();

protected:
    /** Tells typing from pasting in the text view, for the title taken from the first line. */
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildWindow();
    void buildMenus();
    void buildToolbar();
    void registerMyNotifications();
    void observeSelection(const MemoPtr &memo);
    void applyViewSwitches();
    void showLineNumbers(bool show);
    void fillMemoMenu(QMenu &menu, const QString &heading, const QList<MemoPtr> &memos);
    void windowWillClose();
    void exportNextMemoFromQueue();
    void validateActions();
    void editLink();
    void chooseTextBackgroundColor();
    void chooseTextColor();
    void chooseFont();
    void toggleProtection();
    void setPagePassword();
    /** True when Undo (Redo with @p redo) acts on the page edits rather than on the text. */
    [[nodiscard]] bool undoesPageEdit(bool redo) const;
    void undo();
    void redo();
    [[nodiscard]] MemoPtr iPhoneRootMemo() const;
    [[nodiscard]] QString windowTitle() const;
    void updatePageHandle();
    [[nodiscard]] bool isLoadingText() const { return m_loadingText > 0; }

    NoteTreeHost &m_host;
    std::unique_ptr<NoteMainWindow> m_window;
    QDockWidget *m_drawer = nullptr;
    QTabWidget *m_drawerTabs = nullptr;
    FindBar *m_findBar = nullptr;
    NoteOutlineView *m_outline = nullptr;
    NoteTextView *m_textView = nullptr;
    QStackedWidget *m_pages = nullptr;
    QLabel *m_webPlaceholder = nullptr;
    QLabel *m_notice = nullptr;
    QLabel *m_pageHandle = nullptr;
    QWidget *m_storeBar = nullptr;
    QLabel *m_storeBarText = nullptr;
    QWidget *m_saveAgainButton = nullptr;
    QWidget *m_recoverButton = nullptr;
    QWidget *m_dismissButton = nullptr;
    // The note on the kept-aside data file was closed in this window.
    bool m_setAsideNoteDismissed = false;
    // The export sheet's pages still to come, and its last choices.
    QList<MemoPtr> m_exportQueue;
    int m_exportTag = 0;
    bool m_hidesExtension = false;
    QString m_exportFolder;
    QString m_importFolder;
    QToolBar *m_formatBar = nullptr;
    QLabel *m_charsCounter = nullptr;
    QLabel *m_wordsCounter = nullptr;
    QToolButton *m_recentButton = nullptr;
    QToolButton *m_favoriteButton = nullptr;
    std::unique_ptr<NoteTreeController> m_treeController;
    std::unique_ptr<SearchController> m_searchController;
    QPointer<LinkPanelController> m_linkPanelController;

    MemoPtr m_rootMemo;
    MemoPtr m_observedMemo;
    QList<QMetaObject::Connection> m_memoConnections;
    bool m_isEdited = false;
    bool m_iPhoneMemoIsEdited = false;
    bool m_lastEditWasTyping = false;
    // A page edit was done or undone after the text last changed (see undoesPageEdit).
    bool m_pageEditIsLatest = false;
    bool m_closing = false;
    int m_loadingText = 0;
    std::optional<std::pair<int, Qt::Orientation>> m_drawerExtent;
};
