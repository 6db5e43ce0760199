// Which of the outline's menu and toolbar commands can run now.

#include "NoteOutlineView.h"
#include "NoteTreeController.h"

namespace {

// Menu tags of the commands that depend on the outline's state.
constexpr int kMoveBackTag = 101;
constexpr int kMoveNextTag = 102;
constexpr int kOpenWithChildrenTag = 207;
constexpr int kFirstSinglePageTag = 301;
constexpr int kLastSinglePageTag = 304;

} // namespace

bool NoteTreeController::validateMenuItem(int tag) const
{
    if (tag == kMoveBackTag)
        return canMoveBack();
    if (tag == kMoveNextTag)
        return canMoveNext();
    if (tag == kOpenWithChildrenTag)
        return m_outline.isSelectionExpandable();
    if (tag >= kFirstSinglePageTag && tag <= kLastSinglePageTag)
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
