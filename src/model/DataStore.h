#pragma once

#include "JWMemo.h"
#include "MemoTree.h"
#include "SearchPreparation.h"
#include "TreeArchive.h"

#include "platform/base/Result.h"

#include <QFutureWatcher>
#include <QObject>
#include <QStringList>
#include <QTimer>

class DataStoreHost;

/**
 * The application's data folder in memory and on disk: the tree of pages
 * ("JW3Data.jw3datastore"), the settings file ("JW3Data.jw3settings") and one
 * page file per page in "Note Data".
 *
 * loadNoteData() reads the folder at start-up and reopens the windows;
 * save() writes it back. Saving is also done by the autosave timer, when the
 * application goes to the background with a save pending, and at quit.
 *
 * Nothing that exists is ever written over when it cannot be read: an
 * undecodable data store or settings file is renamed aside
 * ("<name>.unreadable-YYYYMMDD-HHMMSS"), the user is told, and only then is a
 * fresh tree made.
 */
class DataStore final : public QObject
{
    Q_OBJECT
public:
    /** Notifications this store posts name @p notificationObject as their sender (the store when null). */
    explicit DataStore(QObject *notificationObject = nullptr, QObject *parent = nullptr);
    ~DataStore() override;

    /** The windows and other parts of the application; may be null (no windows). Not owned. */
    void setHost(DataStoreHost *host);

    [[nodiscard]] MemoPtr rootMemo() const { return m_tree.root(); }
    /** Makes @p root the tree that is shown and saved. */
    void setRootMemo(const MemoPtr &root);
    /** The operations on the tree. */
    [[nodiscard]] MemoTree &tree() { return m_tree; }

    /**
     * Start-up: takes the preferences from the settings file, reads the tree
     * (from the data store, else from an older version's preferences, else a
     * new tree with sample pages), brings the ID counter up to the largest ID,
     * and reopens the windows listed in the settings (the main window when
     * none opens).
     */
    void loadNoteData();

    /**
     * Writes everything: windows and pages store their pending text (the
     * "JW3SaveData" and "JW3SaveMemoContent" notifications, so every edited
     * page writes its page file), then the data store and the settings file.
     * Answers the first failure (a page file that could not be written
     * included); whatever could be written is written, and what could not
     * stays edited for the next save. saveFailure() follows the outcome.
     *
     * Only what changed is written: the pages edited, the parts of the data
     * store that changed (see TreeArchive), the settings file when its bytes
     * differ. With nothing changed, nothing is written.
     */
    Status save();

    /**
     * save() without waiting for the data store's file: it is written on
     * another thread, and saveFailure() and stateChanged() report how that
     * went. Answers the failures known before that write. The next save and
     * finishWriting() wait for it.
     */
    Status saveInBackground();

    /** Waits for the data store's file being written, and answers how that went. */
    Status finishWriting();

    /** What tells one version of a file from another. */
    struct FileStamp
    {
        quint64 inode = 0;
        qint64 size = -1;
        qint64 modified = 0;
        friend bool operator==(const FileStamp &, const FileStamp &) = default;
    };

    /**
     * Why the last save failed, in plain words for the window ("The disk is
     * full", "Permission denied: <folder>"); empty once a save succeeds.
     */
    [[nodiscard]] QString saveFailure() const { return m_saveFailure; }
    /** The cause in @p error (a write's message), in the plain words saveFailure() uses. */
    [[nodiscard]] static QString plainWordsForSaveError(const QString &error);

    /** Where the last load kept a data store it could not read; empty when it read it (or found none). */
    [[nodiscard]] QString setAsideDataFile() const { return m_setAsideDataFile; }

    /**
     * Posted (NotificationCenter, sender as for the store's other
     * notifications) whenever saveFailure() or setAsideDataFile() changes.
     */
    [[nodiscard]] static QString stateChangedNotification() { return QStringLiteral("JW3DataStoreStateChanged"); }

    /** Problems found by the last load, in the words the user is shown. */
    [[nodiscard]] QStringList problems() const { return m_problems; }

    // --- Recovery ------------------------------------------------------------------

    /** What recoverPagesFromPageFiles() did. */
    struct Recovery
    {
        MemoPtr parent;           ///< the new top-level page "Recovered pages"
        qsizetype pages = 0;      ///< pages made, one per readable page file
        qsizetype renumbered = 0; ///< of those, pages whose ID a page of the tree had: they took new IDs
        qsizetype unreadable = 0; ///< page files skipped because they could not be read
    };

    /**
     * Rebuilds pages from the page files of "Note Data", so that a lost tree
     * never means lost text: one page per readable file, with its title,
     * text, dates and flags, flat under a new top-level page "Recovered
     * pages", in ID order. A page keeps its file's ID unless a page of the
     * tree has it (then it takes a new ID, and its file is written under
     * that ID). The insertion can be undone on the front window's undo
     * stack. Saves at once; answers the save's failure, the pages staying
     * in the tree, edited.
     */
    Result<Recovery> recoverPagesFromPageFiles();

    // --- Autosave --------------------------------------------------------------

    /** (Re)starts the autosave timer from "AutoSave" and "AutoSavePeriod" (minutes); none when off. */
    void setAutoSaveTimer();
    [[nodiscard]] bool isAutoSaveTimerActive() const { return m_autoSaveTimer.isActive(); }
    [[nodiscard]] int autoSaveIntervalMilliseconds() const { return m_autoSaveTimer.interval(); }
    /**
     * What the timer does: nothing unless a window is edited or the last
     * save failed (what it could not write is still waiting); with the
     * application in front and "AutoSaveAtBG" on, the save waits for the
     * application to go to the background. Saves in the background (saveInBackground()).
     */
    void saveWithTimer();
    /** True while an autosave waits for the application to go to the background. */
    [[nodiscard]] bool saveWhenDeactivate() const { return m_saveWhenDeactivate; }
    /** The application went to the background: a waiting save runs now. */
    void applicationDidResignActive();
    /** The application quits: everything is saved, then backed up. */
    void applicationWillTerminate();

    /**
     * Follows the preferences the store depends on: "AutoSave" and
     * "AutoSavePeriod" restart the timer, "dataFolderPath" switches folders.
     */
    void observeDefaults();

    // --- Housekeeping -------------------------------------------------------

    /**
     * Moves every file of "Note Data" that belongs to no page of the tree into
     * "Unused Files" and shows that folder, removes web archives of pages that
     * are no longer web clips, and repairs the ID counter and duplicate IDs.
     */
    void cleanUpRemovedMemoFiles();

    /** Skips the save into the old folder on the next change of "dataFolderPath" (it was saved already). */
    void setNotToSave(bool notToSave) { m_notToSave = notToSave; }
    [[nodiscard]] bool notToSave() const { return m_notToSave; }

    /**
     * The "dataFolderPath" preference changed from @p oldPath to @p newPath.
     * Unless notToSave() is set, the current data are first saved into the
     * old folder. A new folder without a data store receives a copy of the
     * old folder (anything already there is renamed aside) and the tree in
     * memory is saved there from now on; a folder with a data store is
     * loaded instead, its windows replacing the open ones.
     */
    void dataFolderPathChanged(const QString &oldPath, const QString &newPath);

Q_SIGNALS:
    /** A problem the user must hear about (also in problems()). */
    void problemReported(const QString &message);
    /** saveFailure() or setAsideDataFile() changed. */
    void stateChanged();

private:
    void report(const QString &message);
    MemoPtr readDataStore();
    MemoPtr readTreeFromOlderPreferences();
    void reopenWindows(const QList<qint64> &windowIDs);
    void postToWindowsAndPages();
    void setState(const QString &saveFailure, const QString &setAsideDataFile);
    Status startWritingDataFile(const MemoPtr &root);
    Status dataFileWritten(const Status &written);
    [[nodiscard]] QObject *notificationObject();

    QObject *m_notificationObject;
    DataStoreHost *m_host = nullptr;
    MemoTree m_tree;
    QTimer m_autoSaveTimer;
    SearchPreparation m_searchPreparation;
    // The data store's file as the last archive left it, so that a save can
    // copy what did not change; written on a worker thread.
    TreeArchive m_archive;
    std::shared_ptr<TreeArchive::Whole> m_whole; // being encoded and written
    QFutureWatcher<Status> m_writing;
    bool m_writeHandled = true;
    QString m_failureBeforeWrite;
    FileStamp m_writtenStamp;
    QStringList m_problems;
    QString m_saveFailure;
    QString m_setAsideDataFile;
    bool m_saveWhenDeactivate = false;
    bool m_notToSave = false;
    bool m_switchingFolder = false;
    // An unreadable file that could not be renamed aside stays untouched.
    bool m_keepDataStore = false;
    bool m_keepSettings = false;
};
