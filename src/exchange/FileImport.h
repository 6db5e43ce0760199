#pragma once

#include "platform/base/Result.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class JWMemo;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * Files and folders to pages: the dispatch by kind of file, and folders
 * walked into page trees.
 *
 * One FileImport serves one import command. It builds unattached pages and
 * notes every file it skipped with the reason, so that the user is told once
 * at the end; a watcher sees each file as it is read and may cancel, after
 * which every call answers null and the caller drops what it has.
 */
class FileImport
{
public:
    /** A file that gave no page, and why. */
    struct Skipped
    {
        QString path;
        QString reason;
    };

    /** How much an import will read: files below the given paths and their bytes. */
    struct Size
    {
        qint64 files = 0;
        qint64 bytes = 0;
    };

    /** Called after each file read with the files and bytes read so far; false cancels. */
    using Watcher = std::function<bool(qint64 files, qint64 bytes)>;

    /** Folders nested deeper than this below the imported one are skipped. */
    static constexpr int kMaximumFolderDepth = 64;

    FileImport() = default;
    explicit FileImport(Watcher watcher);

    /**
     * The page (or tree) made from the file or folder at @p path; null when
     * it gives none. A path that does not exist or a file whose extension is
     * not importable gives none; a folder that is no package is walked
     * (newMemoFrom_folder); anything else is read by its extension.
     */
    [[nodiscard]] MemoPtr newMemoWithContentOfFile(const QString &path);

    /**
     * The tree of the folder at @p path. Its page is the import of the file
     * named like the folder (its "title file"), or an empty page titled by
     * the folder's name. Below it, every file's page in listing order, the
     * title file's included; a file's page takes as children the pages of
     * the folder of its own name without extension; then the other folders.
     * Null for a folder that gives no page at all and has no title file.
     */
    [[nodiscard]] MemoPtr newMemoFrom_folder(const QString &path);

    /**
     * The pages of every entry of the folder at @p path, in listing order,
     * or nothing at all as soon as one entry is missing or is a file that
     * cannot be imported. An empty list for a path that is no folder.
     */
    [[nodiscard]] std::optional<QList<MemoPtr>> memoArrayWithContentsOfFolder(const QString &path);

    /** The files skipped so far, in the order met. */
    [[nodiscard]] const QList<Skipped> &skipped() const { return m_skipped; }

    /** Whether the watcher cancelled the import. */
    [[nodiscard]] bool wasCancelled() const { return m_cancelled; }

    /** A message listing the skipped files, at most @p limit of them by name; empty when none was. */
    [[nodiscard]] QString skippedSummary(int limit = 20) const;

    /** Whether @p path is a document package: a folder read as one file. */
    [[nodiscard]] static bool isPackage(const QString &path);

    /** What importing @p paths will read (symbolic links to folders not followed). */
    [[nodiscard]] static Size measure(const QStringList &paths);

private:
    MemoPtr importPath(const QString &path, int depth);
    MemoPtr importFolder(const QString &path, int depth);
    Result<MemoPtr> importFileByExtension(const QString &path);
    void skip(const QString &path, const QString &reason);
    bool fileRead(const QString &path);

    Watcher m_watcher;
    QList<Skipped> m_skipped;
    QSet<QString> m_openFolders;   // canonical paths of the folders being walked
    QSet<QString> m_walkedFolders; // and of every folder walked so far
    qint64 m_files = 0;
    qint64 m_bytes = 0;
    bool m_cancelled = false;
};
