#pragma once

#include "platform/base/Result.h"

#include <QList>
#include <QStringList>

#include <memory>

class JWMemo;
class MemoTree;
class NoteWindow;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * What a window's outline needs from the application around it: the page
 * tree, new windows, the clean-up after a page is deleted and the import of
 * dropped files. The application controller implements it; tests use small
 * stand-ins.
 */
class NoteTreeHost
{
public:
    virtual ~NoteTreeHost() = default;

    /** The tree every window edits. */
    [[nodiscard]] virtual MemoTree &memoTree() = 0;

    /** Opens a window on @p root, selecting @p show when given; null when none opens. */
    virtual NoteWindow *openWindowWithMemo(const MemoPtr &root, const MemoPtr &show) = 0;
    /** Opens a window on @p memo's parent with @p memo selected; null when none opens. */
    virtual NoteWindow *openWindowAndShowMemo(const MemoPtr &memo) = 0;

    /** @p memo left the tree: windows rooted at it close. */
    virtual void handleMemoRemoval(const MemoPtr &memo) = 0;

    /**
     * Makes a page from the file or folder at @p path and inserts it into
     * @p parent at @p index (appended when negative); the reason when the
     * file cannot be read.
     */
    virtual Result<MemoPtr> importFile(const QString &path, const MemoPtr &parent, qsizetype index) = 0;
    /** What importFiles() added, and what it could not, in words for the user. */
    struct ImportedFiles
    {
        QList<MemoPtr> pages;
        QStringList problems;
    };
    /**
     * Imports each of @p paths as importFile() does, into @p parent from
     * @p index on (appended when negative). The application overrides this
     * to read everything before inserting anything, with a progress dialog
     * and a way to cancel for large imports.
     */
    virtual ImportedFiles importFiles(const QStringList &paths, const MemoPtr &parent, qsizetype index)
    {
        ImportedFiles imported;
        for (const QString &path : paths) {
            Result<MemoPtr> page = importFile(path, parent, index);
            if (!page) {
                imported.problems.append(page.errorMessage());
                continue;
            }
            imported.pages.append(std::move(page).value());
            if (index >= 0)
                ++index;
        }
        return imported;
    }
    /**
     * Files the user chose to open: imported at the end of the top level,
     * or, for the application, a page file of a page in the tree shows it.
     * Answers the problems, to be shown once.
     */
    virtual QStringList openFiles(const QStringList &paths) { return importFiles(paths, nullptr, -1).problems; }
    /**
     * File > Import Data of an Earlier Version...: the previous version's
     * pages from its preferences file @p preferencesPath and its folder of
     * text files @p textFolder (may be empty), added at the end of the top
     * level. Answers the problems.
     */
    virtual QStringList importEarlierVersion(const QString &preferencesPath, const QString &textFolder)
    {
        Q_UNUSED(preferencesPath)
        Q_UNUSED(textFolder)
        return {QStringLiteral("Importing an earlier version's data is not available here")};
    }
    /** File > Import Data of the First Version: its page list, if there is one. Answers the problems. */
    virtual QStringList importJotwellData() { return {QStringLiteral("Not available here")}; }
    /** The lower-case file extensions importFile() reads. */
    [[nodiscard]] virtual QStringList importableFileTypes() const = 0;

    /** Why the last save failed, in plain words; empty when it succeeded. */
    [[nodiscard]] virtual QString saveFailure() const { return {}; }
    /** Where the data store that could not be read at start-up was kept; empty when none was. */
    [[nodiscard]] virtual QString setAsideDataFile() const { return {}; }
    /** Rebuilds pages from the data folder's page files; what was done, in words for the user, or why not. */
    virtual Result<QString> recoverPagesFromPageFiles() { return Error{QStringLiteral("Recovery is not available")}; }
    /** Shows the window of the sync with the phone. */
    virtual void showSyncWindow() { }
    /** Shows the window that restores a backup of the data folder into a new folder. */
    virtual void showRestoreBackupWindow() { }
};
