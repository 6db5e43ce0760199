#pragma once

class NoteTextView;
class QMenu;

/**
 * The note text view's context menu: the editing commands Qt gives every
 * text field, and with a selection the link, font, size, colour and
 * highlight commands; the attachment exports when the text has attachments;
 * and the text scripts.
 */
namespace NoteTextMenu {

/**
 * Adds the view's own entries to @p menu, Qt's standard context menu for
 * @p view. The menu's actions act on the view when triggered.
 */
void addEntries(NoteTextView &view, QMenu &menu);

/** The font sizes the "Size" submenu offers, in points. */
inline constexpr int kFontSizes[] = {9, 10, 11, 12, 13, 14, 18, 24, 36, 48, 64};

} // namespace NoteTextMenu
