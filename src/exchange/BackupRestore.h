#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

/**
 * Getting a backup of the data folder back: the dated backups QuitBackup
 * makes in "Backups", or a ".tar.gz" archive of one, restored into a new
 * folder that the application can then switch to. The data folder in use is
 * never written.
 *
 * A restore copies the backup's files; it does not link them. Links would be
 * safe as long as every file were only ever replaced by rename, as page files
 * are, but a restored folder is a live data folder that other programs (an
 * editor, a sync tool, a copy to another disk) may treat differently, and a
 * backup must stay as it was for a later restore. Copies make the restored
 * folder independent of the backup, whatever happens to either.
 *
 * A restore is built under a hidden temporary name beside the target and
 * renamed into place once complete and on the disk: a restore that fails at
 * any step, or a backup that turns out to be broken half way, leaves nothing
 * behind.
 */
class BackupRestore
{
public:
    /** One backup that can be restored. */
    struct Backup
    {
        /** The backup's folder, or the ".tar.gz" archive. */
        QString path;
        /** When it was made, in UTC: from its name, or an archive's modification time when its name is not dated. */
        QDateTime time;
        /**
         * The bytes a restore writes: every regular file at its size,
         * counted once for each name it has in the backup. Page files a
         * backup shares with the data folder or other backups (QuitBackup
         * links them) count in full, so the sizes of several backups add up
         * to more than the disk they take. Symbolic links count nothing.
         */
        qint64 bytes = 0;
        /** The page files (".jw3page") directly in its "Note Data". */
        qsizetype pageFiles = 0;

        [[nodiscard]] bool isArchive() const;
    };

    /**
     * The complete quit-time backups of @p dataFolder: the folders of
     * "<dataFolder>/Backups" with a dated name ("yyyy-MM-dd_HH-mm-ssZ",
     * perhaps "_2", "_3"…) holding a data store, newest first. Backups still
     * being built (".partial-*"), files, symbolic links and folders without
     * a data store are left out. Reads the disk: any thread.
     */
    [[nodiscard]] static QList<Backup> list(const QString &dataFolder);

    /**
     * The backup at @p path, a backup's folder or a ".tar.gz" archive the
     * user points at. An archive is read through for its sizes, so a broken
     * one is refused here already. Any thread.
     */
    [[nodiscard]] static Result<Backup> describe(const QString &path);

    /**
     * Reads every file of @p backup to its end (an archive: every entry, and
     * the archive itself to its end), and answers the data store's bytes.
     * Fails, naming the file, on the first one that cannot be read, on a
     * missing data store, and on an archive that is cut short or holds
     * absolute or ".." names. Any thread.
     */
    [[nodiscard]] static Result<QByteArray> readThrough(const Backup &backup);

    /**
     * Decodes @p dataStore, the bytes of a data store, into a tree of its own
     * that nothing else sees and that is let go before the answer: the
     * number of pages in it, or why it cannot be read. The pages it makes
     * register for the application's notifications while they live, so
     * this runs on the GUI thread.
     */
    [[nodiscard]] static Result<qsizetype> checkDataStore(const QByteArray &dataStore);

    /** readThrough() and checkDataStore(): the backup can be restored. GUI thread. */
    [[nodiscard]] static Status check(const Backup &backup);

    /**
     * Copies @p backup into the new folder @p target, and answers its path.
     * @p target must not exist or be an empty folder, must not be
     * @p currentDataFolder (the folder in use), and its parent must exist.
     * Folders are made anew, files copied with their permissions and times,
     * symbolic links made anew with the same target; an archive's entries
     * are unpacked from the folder holding its data store (the archive's top
     * or its one top-level folder). The data store is not decoded here: run
     * check() first. On failure nothing is left of the restore. Any thread.
     */
    [[nodiscard]] static Result<QString> restore(
        const Backup &backup, const QString &target, const QString &currentDataFolder);

    /** The time a dated backup name ("2026-03-29_01-30-00Z", "…Z_2", with or without ".tar.gz") says, in UTC; invalid for other names. */
    [[nodiscard]] static QDateTime timeFromName(const QString &name);
};
