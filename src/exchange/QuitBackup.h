#pragma once

#include "platform/base/Result.h"

#include <QDateTime>
#include <QString>

/**
 * The backup of the data made at quit: a dated folder in "Backups" of the
 * data folder holding the data store, the settings file and the whole
 * "Note Data" folder as they were after the last save.
 *
 * Page files and web archives are never rewritten in place (every write
 * replaces the file by rename), so the backup holds hard links to them
 * rather than copies: a later save gives the page a new file and the
 * backup's link keeps the old content, at the cost of a directory entry.
 * The two archives are copied.
 */
class QuitBackup
{
public:
    static constexpr int kKeptBackups = 30;
    /** The name of the folder, inside the data folder, that holds the backups. */
    static constexpr QLatin1StringView kBackupsFolderName{"Backups"};

    /**
     * Backs up @p dataFolder into "<dataFolder>/Backups/<yyyy-MM-dd_HH-mm-ssZ>"
     * (@p time in UTC; "_2", "_3"… appended when that name is taken) and
     * answers the backup's path. Every file of "Note Data", in its folders,
     * is linked into the backup, or copied where the file system cannot
     * link; symbolic links are kept as links and never followed. The data
     * store and the settings file are copied; a missing settings file or
     * "Note Data" is left out, a missing data store is an error (an empty
     * backup would push a good one out).
     *
     * The backup is built under a temporary name in "Backups" and gets its
     * final name only once complete and on the disk, so no backup under a
     * dated name is ever partial; temporary folders left by an earlier
     * crash are removed first. Afterwards "Backups" is cut down to
     * kKeptBackups entries (removeOldFilesInDirectory()). On failure nothing
     * of this backup is left and no older backup is removed.
     */
    [[nodiscard]] static Result<QString> backUp(
        const QString &dataFolder, const QDateTime &time = QDateTime::currentDateTimeUtc());
};
