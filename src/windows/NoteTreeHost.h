#pragma once

#include "platform/base/Result.h"

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
