#pragma once

#include <QUndoCommand>

#include <functional>

/**
 * An outline edit on the undo stack as a pair of actions: what undoes it
 * and what does it again. The edit has already been made when the command
 * is pushed, so the push itself does nothing.
 */
class TreeEditCommand final : public QUndoCommand
{
public:
    TreeEditCommand(
        const QString &text, std::function<void()> undo, std::function<void()> redo, QUndoCommand *parent = nullptr)
        : QUndoCommand(text, parent)
        , m_undo(std::move(undo))
        , m_redo(std::move(redo))
    { }

    void undo() override
    {
        if (m_undo)
            m_undo();
    }

    void redo() override
    {
        if (!m_pushed) {
            m_pushed = true;
            return;
        }
        if (m_redo)
            m_redo();
    }

private:
    std::function<void()> m_undo;
    std::function<void()> m_redo;
    bool m_pushed = false;
};
