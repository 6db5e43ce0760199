#pragma once

#include "platform/base/Result.h"

#include <QDateTime>
#include <QString>

class JWMemo;

/**
 * The backup of a synchronised subtree made before pages received from the
 * phone companion are merged into it, so that a bad merge can be undone by
 * hand. Each backup is one archive "<date and time>.tar.gz" in the backup
 * folder ("iPhone Data Backup" of the data folder) holding the subtree as
 * plain text files laid out as PlainTextHierarchy lays them out (but a name
 * two pages share is numbered for the second, so no page is left out), the
 * subtree's own page titled "<title>_backup". The newest kKeptBackups
 * entries of the folder are kept.
 */
class DeviceDataBackup
{
public:
    static constexpr int kKeptBackups = 30;

    /** Backups into the data folder's "iPhone Data Backup" folder. */
    DeviceDataBackup();
    /** Backups into @p rootFolder, which is created when missing. */
    explicit DeviceDataBackup(QString rootFolder);

    [[nodiscard]] QString rootFolder() const { return m_rootFolder; }

    /**
     * The name of a backup made at @p time: the time in UTC as
     * "yyyy-MM-dd_HH-mm-ssZ" ("2026-03-29_01-30-00Z"), so that names sort by
     * time whatever the time zone and its changes, with nothing in them that
     * file names or shells make awkward.
     */
    [[nodiscard]] static QString folderNameForTime(const QDateTime &time);

    /**
     * The path of the backup made at @p time, without ".tar.gz": the archive
     * is that path plus ".tar.gz", and its entries start with the path's last
     * component. Named by folderNameForTime(), or, when a file or folder of
     * that name, or its archive, is there already (two backups within a
     * second), that name with "_2", "_3"… appended, which sorts after it.
     */
    [[nodiscard]] QString iPhoneCurrentDataBackupFolderPath(const QDateTime &time) const;

    /**
     * Backs up @p memo and its subtree into a new archive named by
     * iPhoneCurrentDataBackupFolderPath(): the archive holds, under that
     * folder's name, what PlainTextHierarchy::exportMemosASPlainText() writes
     * for @p memo titled "<title>_backup" (the page itself is left alone).
     * The archive is written atomically; afterwards the backup folder is cut
     * down to kKeptBackups entries (removeOldFilesInDirectory()). Answers the
     * archive's path. On failure nothing of this backup is left behind and
     * no old backup is removed.
     */
    [[nodiscard]] Result<QString> backupJotwell3Data(
        const JWMemo &memo, const QDateTime &time = QDateTime::currentDateTimeUtc()) const;

private:
    QString m_rootFolder;
};
