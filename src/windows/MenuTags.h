#pragma once

/**
 * The tags of the menu items whose state depends on the outline: the window's
 * menus put them on their actions, and NoteTreeController::validateMenuItem()
 * tells from them whether an item can run now. An item without a tag (None)
 * is always enabled.
 */
enum class MenuTag : int
{
    None = 0,
    /** Copies the selected pages to the music player's folder, which must exist. */
    IPodExport = 13,
    /** Back through the pages shown. */
    Back = 101,
    /** Forward through the pages shown. */
    Forward = 102,
    /** Copies every page of the window to the music player's folder, which must exist. */
    IPodExportAll = 210,
    /** Opens the selected pages in windows of their own, children included. */
    OpenWithChildren = 207,
    /** The first of the commands that act on exactly one selected page. */
    SinglePage = 301,
    /** The last tag of the single-page commands. */
    LastSinglePage = 304,
};
