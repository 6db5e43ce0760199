#include "ReplaceChildrenCommand.h"

#include "JWMemo.h"

#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"

ReplaceChildrenCommand::ReplaceChildrenCommand(MemoPtr parent, QObject *notificationObject, QUndoCommand *parentCommand)
    : QUndoCommand(parentCommand)
    , m_parent(std::move(parent))
    , m_notificationObject(notificationObject)
{
    if (m_parent)
        m_otherChildren = m_parent->children();
}

void ReplaceChildrenCommand::undo()
{
    swapChildren();
}

void ReplaceChildrenCommand::redo()
{
    // QUndoStack::push() redoes the command; the edit it stands for is made
    // by the caller right after.
    if (!m_pushed) {
        m_pushed = true;
        return;
    }
    swapChildren();
}

void ReplaceChildrenCommand::swapChildren()
{
    if (!m_parent)
        return;
    std::vector<MemoPtr> current = m_parent->children();
    QVariantList list;
    list.reserve(qsizetype(m_otherChildren.size()));
    for (const MemoPtr &child : m_otherChildren)
        list.append(QVariant::fromValue(child));
    m_parent->setChildrenValue(list);
    m_otherChildren = std::move(current);
    NotificationCenter::defaultCenter().post(NotificationNames::JW3ReloadOutlineData, m_notificationObject.data());
}
