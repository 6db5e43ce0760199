#pragma once

#include <QMainWindow>

/**
 * The top-level widget of a note window. It tells its controller when it
 * becomes active and when it closes, and changes its opacity as the mouse
 * enters and leaves it, for windows set to be see-through.
 */
class NoteMainWindow final : public QMainWindow
{
    Q_OBJECT
public:
    explicit NoteMainWindow(QWidget *parent = nullptr);

    /**
     * The opacity away from the mouse and under it; 1 and 1 for an opaque
     * window. Applied at once, according to where the mouse is.
     */
    void setOpacities(double away, double underMouse);

Q_SIGNALS:
    /** The window became active (it takes the keyboard). */
    void activated();
    /** The window is about to close; its content must be saved now. */
    void closing();

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    double m_opacityAway = 1.0;
    double m_opacityUnderMouse = 1.0;
};
