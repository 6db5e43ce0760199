#pragma once

#include <memory>

class JWMemo;
class NoteTextView;
class QString;
class QWidget;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The window side of a NoteTreeController: what the outline's controller
 * asks of the window that shows its selection. The note window implements
 * it; the outline never touches the text view's content itself.
 */
class NoteTreeWindow
{
public:
    virtual ~NoteTreeWindow() = default;

    /** The top-level widget: the parent of sheets, and whether it is visible. */
    [[nodiscard]] virtual QWidget *window() const = 0;
    /** The view that shows the selected page; may be null. */
    [[nodiscard]] virtual NoteTextView *textView() const = 0;

    /** @p memo changed in a way a paired device must hear about. */
    virtual void setEditedIfIsiPhoneMemo(const MemoPtr &memo) = 0;
    /** Shows @p memo in a new tab, leaving the selection alone. */
    virtual void addNewTabWithMemo(const MemoPtr &memo) = 0;
    /** Puts the keyboard on the outline, so that a new title can be typed. */
    virtual void goToTitleView() = 0;
    /** Writes the shown text into its page and saves it. */
    virtual void save() = 0;
    /** Writes the shown text into @p memo. */
    virtual void saveDataToMemo(const MemoPtr &memo) = 0;
    /** @p memo stops being shown: its edits go back into it. */
    virtual void resignSelection(const MemoPtr &memo) = 0;
    /** The current tab now stands for @p memo. */
    virtual void setMemoToTab(const MemoPtr &memo) = 0;
    /** Shows @p memo in the text view. */
    virtual void setSelection(const MemoPtr &memo) = 0;
    /** The title of @p memo was edited in the outline. */
    virtual void titleHasBeenChanged(const MemoPtr &memo) = 0;
    /** Tells the user, in the window's status area, why something did not happen. */
    virtual void showStatus(const QString &message) = 0;
};
