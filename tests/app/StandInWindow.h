#pragma once

#include "model/JWMemo.h"
#include "windows/NoteWindow.h"

#include <QUndoStack>

/**
 * A note window without widgets, for the application controller's tests: it
 * records what the controller asks of it and lets the test play the window
 * system (coming to the front, closing).
 */
class StandInWindow final : public NoteWindow
{
public:
    [[nodiscard]] MemoPtr rootMemo() const override { return root; }
    void setRootMemo(const MemoPtr &memo) override { root = memo; }
    [[nodiscard]] MemoPtr selectedMemo() const override { return selection; }
    void selectMemo(const MemoPtr &memo) override { selection = memo; }
    void showWindow() override { ++timesShown; }
    void performClose() override
    {
        if (refusesToClose)
            return;
        closed = true;
        Q_EMIT willClose();
    }
    [[nodiscard]] bool isEdited() const override { return edited; }
    [[nodiscard]] QUndoStack *undoStack() override { return &stack; }
    void makeIconWindowAtBackground() override { ++iconisedAtBackground; }

    /** The window system brings this window to the front. */
    void comeToFront() { Q_EMIT becameKey(); }

    MemoPtr root;
    MemoPtr selection;
    QUndoStack stack;
    int timesShown = 0;
    int iconisedAtBackground = 0;
    bool edited = false;
    bool closed = false;
    bool refusesToClose = false;
};
