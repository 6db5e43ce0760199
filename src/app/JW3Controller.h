#pragma once

#include "app/DataFolderLock.h"
#include "model/DataStore.h"
#include "model/DataStoreHost.h"
#include "model/MemoTreeHost.h"
#include "platform/base/Result.h"
#include "sync/SyncHost.h"
#include "windows/NoteTreeHost.h"
#include "windows/NoteWindow.h"

#include <QObject>
#include <QPointer>
#include <QUrl>

#include <functional>
#include <memory>
#include <vector>

class QMimeData;
class SyncService;
class RestoreBackupDialog;
class SyncWindow;

/**
 * The application's owner of the data: the page tree and its data folder,
 * the open note windows and the timers around them.
 *
 * startUp() runs once after launch: it loads the data folder (reopening the
 * windows of the last session), follows the preferences it depends on, and
 * starts the autosave timer. From then on the controller opens and closes
 * windows, keeps track of the one in front, saves when the application goes
 * to the background and when it quits, and quits after the last window
 * closes when "QuitApp" says so.
 *
 * Windows are made by a factory, so that the controller never depends on how
 * a window looks; tests hand it stand-ins.
 */
class JW3Controller final : public QObject,
                            public DataStoreHost,
                            public MemoTreeHost,
                            public NoteTreeHost,
                            public SyncHost
{
    Q_OBJECT
public:
    /** Makes a window; the window reaches the application through @p host. */
    using WindowFactory = std::function<std::unique_ptr<NoteWindow>(NoteTreeHost &host)>;

    explicit JW3Controller(WindowFactory windowFactory, QObject *parent = nullptr);
    ~JW3Controller() override;

    /** Launch: load the data, reopen the windows, follow the preferences, start the timers. Once. */
    void startUp();
    [[nodiscard]] bool isStarted() const { return m_started; }

    // --- Data -------------------------------------------------------------------
    [[nodiscard]] MemoPtr rootMemo() const { return m_store.rootMemo(); }
    [[nodiscard]] DataStore &dataStore() { return m_store; }
    [[nodiscard]] MemoTree &tree() { return m_store.tree(); }
    /** Writes the data folder now; answers the first failure. */
    Status save();

    // --- Windows ----------------------------------------------------------------
    /** The open note windows, in the order they were opened. */
    [[nodiscard]] std::vector<NoteWindow *> windowControllers() const;
    /** The window that last took the keyboard, or null. */
    [[nodiscard]] NoteWindow *frontWindowController() const { return m_frontWindow; }

    /** Opens a window on @p root, selecting @p show when given; null for no root. */
    NoteWindow *openWindowWithMemo(const MemoPtr &root, const MemoPtr &show = {}) override;
    /** Opens a window on @p memo's parent with @p memo selected. */
    NoteWindow *openWindowAndShowMemo(const MemoPtr &memo) override;
    /** Turns every window into its icon window. */
    void makeAllWindowToIcon();

    // --- Application state --------------------------------------------------------
    /** The application came to the front: a main window appears when none is open. */
    void applicationDidBecomeActive();
    /** The application went to the background: a waiting autosave runs. */
    void applicationDidResignActive();
    /** The application quits: everything is saved. */
    void applicationWillTerminate();

    // --- Clipping from other programs ------------------------------------------------
    /**
     * Makes a clipping page from @p data (see MemoTree::makeNewClippingMemo),
     * which saves at once. An error when no page could be made, or when the
     * save failed: the page then stays in the tree, edited, for the next save.
     */
    Result<MemoPtr> makeNewClippingMemo(const QMimeData &data);
    /** A page of @p text, as makeNewClippingMemo(). */
    Result<MemoPtr> clipText(const QString &text);
    /** A web clip of @p url, as makeNewClippingMemo(); an error for a URL that is not valid. */
    Result<MemoPtr> clipURL(const QUrl &url);
    /** A page made from the file at @p path (RTF, RTFD or text), as makeNewClippingMemo(); an error when it cannot be read. */
    Result<MemoPtr> clipFile(const QString &path);

    // --- Links from other programs ----------------------------------------------------
    /**
     * Opens the link @p link as a click on it in the front window would: a
     * page link shows its page there (or in a new window with
     * "/OpenWithNewWindow"); any other URL goes to the desktop. A page that
     * no longer exists does nothing but log a line. Answers whether a page
     * or URL was opened.
     */
    bool openLink(const QString &link);

    // --- DataStoreHost ------------------------------------------------------------
    [[nodiscard]] QList<qint64> openWindowRootIDs() const override;
    /** Opens a window on the page with @p memoID; nothing when there is none. */
    void openWindowWithID(qint64 memoID) override;
    void showMainWindow() override;
    [[nodiscard]] bool hasOpenWindow() const override { return !m_windows.empty(); }
    [[nodiscard]] bool isAnyWindowEdited() const override;
    [[nodiscard]] bool isApplicationActive() const override;
    void closeAllWindows() override;
    bool takeDeviceEdits() override;
    void reportProblem(const QString &message) override;
    /**
     * When "autoBackupData" is on and the save before it succeeded, backs the
     * data folder up into its "Backups" (QuitBackup); a failure is logged.
     */
    void backupData() override;
    /**
     * The previous version's preferences and tree, converted on the first
     * start of this one (LegacyImport: "Jotwell2.plist" beside the
     * preferences, the texts in "Jotwell2" of the data home); a failure is
     * reported and the start goes on without it.
     */
    MemoPtr importOldUserDefaults() override;
    /** Locks @p folder for this process (see DataFolderLock), letting go of the one held before. */
    Status claimDataFolder(const QString &folder) override { return m_folderLock.lock(folder); }

    // --- MemoTreeHost ---------------------------------------------------------------
    [[nodiscard]] QUndoStack *frontUndoStack() override;
    void showMemoInWindow(const MemoPtr &memo) override;
    void saveNow() override { (void)save(); }

    // --- NoteTreeHost ------------------------------------------------------------------
    [[nodiscard]] MemoTree &memoTree() override { return tree(); }
    /** Closes every window rooted at @p memo, which has left the tree. */
    void handleMemoRemoval(const MemoPtr &memo) override;
    /** importFiles() of @p path alone: its page, or what kept it out. */
    Result<MemoPtr> importFile(const QString &path, const MemoPtr &parent, qsizetype index) override;
    /**
     * Reads every file and folder of @p paths (FileImport) and only then
     * inserts the pages into @p parent from @p index on, saves and shows the
     * last one. A large import (more than 200 files or 20 MB) shows its
     * progress with a Cancel button; cancelling inserts nothing. The
     * problems name each file left out and why.
     */
    ImportedFiles importFiles(const QStringList &paths, const MemoPtr &parent, qsizetype index) override;
    [[nodiscard]] QStringList importableFileTypes() const override;
    /**
     * Files opened from the desktop, the command line or File > Import: a
     * page file whose name is the ID of a page of the tree shows that page;
     * anything else is imported at the end of the top level. Answers the
     * problems, for the caller to show once.
     */
    QStringList openFiles(const QStringList &paths) override;
    /** LegacyImport::importEarlierVersionPages() added at the end of the top level, saved and shown. */
    QStringList importEarlierVersion(const QString &preferencesPath, const QString &textFolder) override;
    /** LegacyImport::importJotwellData() with new IDs, added at the end of the top level, saved and shown. */
    QStringList importJotwellData() override;
    [[nodiscard]] QString saveFailure() const override { return m_store.saveFailure(); }
    [[nodiscard]] QString setAsideDataFile() const override { return m_store.setAsideDataFile(); }
    /** Runs DataStore::recoverPagesFromPageFiles() and shows the new pages. */
    Result<QString> recoverPagesFromPageFiles() override;
    void showSyncWindow() override;
    /** Shows the one restore window, over the data folder in use. */
    void showRestoreBackupWindow() override;

    // --- SyncHost -------------------------------------------------------------------------
    [[nodiscard]] MemoTree &syncMemoTree() override { return tree(); }
    Status saveBeforeSync() override { return save(); }
    /** Packs the synchronised page's pages into "iPhone Data Backup". */
    Status backUpBeforeMerge(const MemoPtr &group) override;
    /** Undo cannot step back over a merge: every window's history ends there. */
    void syncMerged(const MemoPtr &group) override;
    void askToAllowDevice(
        const QString &device, const QString &pageTitle, std::function<void(bool allowed)> answer) override;

    /** Asks about a new device instead of the question window; for tests and scripts. */
    using DeviceQuestion = std::function<void(
        const QString &device, const QString &pageTitle, std::function<void(bool allowed)> answer)>;
    void setDeviceQuestion(DeviceQuestion question) { m_deviceQuestion = std::move(question); }
    [[nodiscard]] SyncService &syncService() { return *m_sync; }

    // --- Sync server and menus ----------------------------------------------------------
    /**
     * Stops the sync server and starts a new one, which devices find under
     * the name in "abGroupName". Runs at start-up and whenever that name
     * changes.
     */
    void restartServer();
    /** Tells the windows that the font list may have changed ("JW3RefreshFontMenu"). */
    void refreshFontMenu();

    /** How often restartServer() has run, for tests of what restarts it. */
    [[nodiscard]] int serverRestarts() const { return m_serverRestarts; }

public Q_SLOTS:
    /**
     * The session's screen locked (or unlocked): locking locks every
     * protected page, so that nothing protected is on screen when the
     * session opens again. Heard on the session bus when there is one.
     */
    void screenLockChanged(bool locked);

Q_SIGNALS:
    /** The last window closed with "QuitApp" on: the application should quit. */
    void terminateRequested();
    /** A problem the user must be told about. */
    void problemReported(const QString &message);

private:
    void registerMyNotifications();
    void adopt(std::unique_ptr<NoteWindow> window);
    void didCloseNoteWindow(NoteWindow *window);
    void changeKeyWindow(NoteWindow *window);
    void followApplicationState();
    void followScreenLock();

    WindowFactory m_windowFactory;
    DataFolderLock m_folderLock;
    DataStore m_store;
    std::vector<std::unique_ptr<NoteWindow>> m_windows;
    QPointer<NoteWindow> m_frontWindow;
    int m_serverRestarts = 0;
    std::unique_ptr<SyncService> m_sync;
    QPointer<SyncWindow> m_syncWindow;
    QPointer<RestoreBackupDialog> m_restoreWindow;
    DeviceQuestion m_deviceQuestion;
    bool m_started = false;
    bool m_closingAll = false;
    // The outcome of the last save, which a clip answers with.
    Status m_lastSave;
};
