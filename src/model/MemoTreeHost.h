#pragma once

#include <memory>

class JWMemo;
class QUndoStack;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * What the tree operations need from the application around them: the undo
 * stack of the window in front, a way to show a page, and a save. The
 * application controller implements it; tests use small fakes.
 */
class MemoTreeHost
{
public:
    virtual ~MemoTreeHost() = default;

    /** The undo stack of the front window's outline, or null when there is none. */
    [[nodiscard]] virtual QUndoStack *frontUndoStack() = 0;

    /**
     * Shows @p memo: opens the main window if the front window's tree does
     * not hold the page, then selects the page there.
     */
    virtual void showMemoInWindow(const MemoPtr &memo) = 0;

    /** Saves the data folder now. */
    virtual void saveNow() = 0;
};
