#pragma once

#include <QPointer>
#include <QUndoCommand>

#include <memory>
#include <vector>

class JWMemo;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * Undo of any edit of one page's children, by the whole list: the command
 * keeps the list as it was before the edit, and undoing puts that list back
 * in one piece, whatever the edit did (insert, move, sort). Undoing keeps the
 * list it replaced, which redoing puts back.
 *
 * Push it before making the edit: the push itself changes nothing, since the
 * edit is about to be made by the caller. Undo and redo post
 * "JW3ReloadOutlineData" with the notification object given.
 *
 * The command holds the page and the pages of both lists, so that they
 * survive while the undo stack can still bring them back.
 */
class ReplaceChildrenCommand final : public QUndoCommand
{
public:
    /** Captures @p parent's children as they are now. */
    ReplaceChildrenCommand(MemoPtr parent, QObject *notificationObject, QUndoCommand *parentCommand = nullptr);

    void undo() override;
    void redo() override;

    [[nodiscard]] const MemoPtr &parentMemo() const { return m_parent; }

private:
    // Swaps the page's children with the kept list.
    void swapChildren();

    MemoPtr m_parent;
    std::vector<MemoPtr> m_otherChildren;
    QPointer<QObject> m_notificationObject;
    bool m_pushed = false;
};
