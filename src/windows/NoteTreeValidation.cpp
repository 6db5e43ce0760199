// Which of the outline's menu and toolbar commands can run now.

#include "MenuTags.h"
#include "NoteOutlineView.h"
#include "NoteTreeController.h"

bool NoteTreeController::validateMenuItem(MenuTag tag) const
{
    if (tag == MenuTag::Back)
        return canMoveBack();
    if (tag == MenuTag::Forward)
        return canMoveNext();
    if (tag == MenuTag::OpenWithChildren)
        return m_outline.isSelectionExpandable();
    if (tag >= MenuTag::SinglePage && tag <= MenuTag::LastSinglePage)
        return countSelection() == 1;
    return true;
}

bool NoteTreeController::validateToolbarItem(const QString &identifier) const
{
    if (identifier == QLatin1StringView("MoveForward"))
        return canMoveNext();
    if (identifier == QLatin1StringView("MoveBack"))
        return canMoveBack();
    if (identifier == QLatin1StringView("OpenNewWindowWithChildren"))
        return m_outline.isSelectionExpandable();
    return true;
}
