#pragma once

#include <QObject>

#include <memory>

class JWMemo;
class QUndoStack;
class QWidget;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * One note window as the application controller sees it: bound to a root
 * page, showing one selected page, telling when it comes to the front and
 * when it closes. The controller owns the windows it opens and never needs
 * to know how a window draws its outline and text.
 */
class NoteWindow : public QObject
{
    Q_OBJECT
public:
    explicit NoteWindow(QObject *parent = nullptr)
        : QObject(parent)
    { }
    ~NoteWindow() override = default;

    /** The page whose subtree the window shows. */
    [[nodiscard]] virtual MemoPtr rootMemo() const = 0;
    virtual void setRootMemo(const MemoPtr &root) = 0;

    /** The page shown in the text view, or null. */
    [[nodiscard]] virtual MemoPtr selectedMemo() const = 0;
    /** Shows @p memo (which lies below the root); the page protection may still hold it back. */
    virtual void selectMemo(const MemoPtr &memo) = 0;

    /** The window on screen, or null for a window without one. */
    [[nodiscard]] virtual QWidget *windowWidget() const { return nullptr; }

    /** Puts the window on screen, in front, with the text view taking the keyboard. */
    virtual void showWindow() = 0;
    /** Closes the window as its close button does; willClose() follows. */
    virtual void performClose() = 0;

    /** True when the window holds text that is newer than its page. */
    [[nodiscard]] virtual bool isEdited() const = 0;
    /** Clears the window's "changed on the device" mark, answering whether it was set. */
    virtual bool takeDeviceEdits() { return false; }
    /** The undo stack of the window's outline, which records tree edits; null when it has none. */
    [[nodiscard]] virtual QUndoStack *undoStack() = 0;

    /** Shrinks to its icon window while the application is in the background. */
    virtual void makeIconWindowAtBackground() { }
    /** Shrinks to its icon window now. */
    virtual void makeIconWindow() { }

Q_SIGNALS:
    /** The window became the one that takes the keyboard. */
    void becameKey();
    /** The window is closing; the controller lets go of it. */
    void willClose();
};
