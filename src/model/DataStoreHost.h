#pragma once

#include "platform/base/Result.h"

#include <QList>
#include <QString>

/**
 * What the data store needs from the rest of the application: the note
 * windows, whether the application is in front, and the steps that belong
 * to other parts (older preferences, the address book, backups). The
 * application controller implements it; tests use a stand-in.
 *
 * Steps whose part is not built by a host do nothing by default.
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
     * Clears every window's "edited on the device" mark and answers whether
     * one was set, so that saving can bring the address book up to date.
     */
    virtual bool takeDeviceEdits() { return false; }
    /** Brings over preferences stored under older names, once. */
    virtual void importOldUserDefaults() { }
    /** Writes the tree's contacts into the address book. */
    virtual void updateAddressBook() { }
    /** Makes the backups the user asked for, at quit. */
    virtual void backupData() { }
    /** Shows @p path in the desktop's file manager. */
    virtual void revealInFileManager(const QString &path);
    /**
     * Makes @p folder this process's data folder, so that no other process
     * writes it; fails, naming that process, when another one uses it.
     */
    virtual Status claimDataFolder(const QString &folder);
    /** Tells the user about a problem found while loading; logs by default. */
    virtual void reportProblem(const QString &message);
};
