#pragma once

#include "platform/base/Result.h"

#include <QList>
#include <QString>

#include <memory>

class JWMemo;

/**
 * What the data store needs from the rest of the application: the note
 * windows, whether the application is in front, and the steps around loading
 * and quitting (older preferences, backups). The data store sits below the
 * windows and must not know them, so the application controller implements
 * this; tests use a stand-in.
 *
 * A step with a default is one a host may leave out; each says what the
 * default does.
 */
class DataStoreHost
{
public:
    virtual ~DataStoreHost() = default;

    /** The IDs of the open windows' root pages, in the order the windows were opened. */
    [[nodiscard]] virtual QList<qint64> openWindowRootIDs() const = 0;
    /** Opens a note window on the page with @p memoID (reopening at start-up). */
    virtual void openWindowWithID(qint64 memoID) = 0;
    /** Opens the main window: the one on the whole tree. */
    virtual void showMainWindow() = 0;
    /** True when at least one note window is open. */
    [[nodiscard]] virtual bool hasOpenWindow() const = 0;
    /** True when a window holds text that is newer than its page. */
    [[nodiscard]] virtual bool isAnyWindowEdited() const = 0;
    /** True while the application is the one in front. */
    [[nodiscard]] virtual bool isApplicationActive() const = 0;
    /** Closes every note window (switching to another data folder). */
    virtual void closeAllWindows() = 0;

    /**
     * Clears every window's "edited on the device" mark once the pages are
     * saved, answering whether one was set. By default there is no window,
     * so no mark: false.
     */
    virtual bool takeDeviceEdits() { return false; }
    /**
     * Brings over the previous version's preferences and answers its page
     * tree, once: loading asks for it while the preferences hold no
     * "ApplicationVersion", and takes the tree (saving it at once) when the
     * data folder holds no data store of its own. By default nothing is
     * brought over: null.
     */
    virtual std::shared_ptr<JWMemo> importOldUserDefaults() { return nullptr; }
    /**
     * Makes the backups the user asked for ("autoBackupData") at quit, after
     * the save. By default none is made: quitting only saves.
     */
    virtual void backupData() { }
    /** Shows @p path in the desktop's file manager; by default asks the desktop to open it. */
    virtual void revealInFileManager(const QString &path);
    /**
     * Makes @p folder this process's data folder, so that no other process
     * writes it; fails, naming that process, when another one uses it. By
     * default it succeeds without a lock, for a host that is alone with its
     * folder (a test's).
     */
    virtual Status claimDataFolder(const QString &folder);
    /**
     * Tells the user about a problem found while loading or moving the data
     * folder. By default it is only logged, for a host with no window to
     * show it in.
     */
    virtual void reportProblem(const QString &message);
};
