#pragma once

#include "NoteWindow.h"

#include <QUndoStack>

#include <memory>

class StartWindow;

/**
 * The note window the application opens until the outline and text view
 * windows exist: a StartWindow bound to a root page, showing the selected
 * page's title and text read-only. Nothing in it edits a page, so it never
 * holds unsaved text.
 */
class StartNoteWindow final : public NoteWindow
{
    Q_OBJECT
public:
    explicit StartNoteWindow(QObject *parent = nullptr);
    ~StartNoteWindow() override;

    [[nodiscard]] MemoPtr rootMemo() const override { return m_root; }
    void setRootMemo(const MemoPtr &root) override;
    [[nodiscard]] MemoPtr selectedMemo() const override { return m_selection; }
    void selectMemo(const MemoPtr &memo) override;
    void showWindow() override;
    void performClose() override;
    [[nodiscard]] bool isEdited() const override { return false; }
    [[nodiscard]] QUndoStack *undoStack() override { return &m_undoStack; }

    /** The window on screen, for tests and screenshots. */
    [[nodiscard]] StartWindow *window() const { return m_window.get(); }

private:
    void refreshPageCount();

    std::unique_ptr<StartWindow> m_window;
    MemoPtr m_root;
    MemoPtr m_selection;
    QUndoStack m_undoStack;
};
