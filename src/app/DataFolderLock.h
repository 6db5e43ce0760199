#pragma once

#include "platform/base/Result.h"

#include <QString>

#include <memory>

class QLockFile;

/**
 * Keeps other processes from writing the data folder this process uses.
 *
 * Two running copies that share a data folder but not a preferences file
 * would each save their own tree over the other's. A lock file in the data
 * folder (".jotwell3.lock", holding the owner's process ID and host) stops
 * the second one. A lock left behind by a process that died is taken over.
 */
class DataFolderLock
{
public:
    DataFolderLock();
    ~DataFolderLock();
    DataFolderLock(const DataFolderLock &) = delete;
    DataFolderLock &operator=(const DataFolderLock &) = delete;

    /** The lock file's name inside the data folder. */
    static QString fileName();

    /**
     * Locks @p folder, releasing the folder held before once the new one is
     * locked. Fails, keeping the old lock, when another process holds
     * @p folder; the message names that process. A folder that cannot take
     * the lock file says why: its disk is full, or it cannot be written.
     */
    Status lock(const QString &folder);
    /** Lets go of the folder held, if any. */
    void unlock();

    /** The folder held, or empty. */
    [[nodiscard]] QString folder() const { return m_folder; }

private:
    std::unique_ptr<QLockFile> m_lock;
    QString m_folder;
};
