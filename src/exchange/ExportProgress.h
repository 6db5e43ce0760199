#pragma once

#include "platform/base/Result.h"

#include <functional>

/**
 * Progress of the export running on this thread, page by page, and the
 * user's way to stop it.
 *
 * The writers call pageDone() after each page they write; it answers false
 * once the watcher asked to stop, and the writer then stops as it does on a
 * failure ("Cancelled"). Without a watcher (the command line, the backups)
 * pageDone() costs a test of a pointer.
 */
class ExportProgress
{
public:
    /** Answers whether to go on; called on the exporting thread after each page. */
    using Watcher = std::function<bool()>;

    /** Watches the exports of this thread while it lives. Not nested. */
    explicit ExportProgress(Watcher watcher);
    ~ExportProgress();
    ExportProgress(const ExportProgress &) = delete;
    ExportProgress &operator=(const ExportProgress &) = delete;

    /** One more page written; false when the export is to stop. */
    [[nodiscard]] static bool pageDone();
    /** Whether the export running now was stopped by its watcher. */
    [[nodiscard]] static bool cancelled();
    /** What a writer answers when it stopped because it was asked to. */
    [[nodiscard]] static Error cancelledError();

private:
    Watcher m_watcher;
    bool m_cancelled = false;
};
