#include "NoteMainWindow.h"

#include <QCloseEvent>
#include <QEnterEvent>

#include <algorithm>

namespace {

// A window never fades out of sight entirely: it could no longer be found.
double usable(double opacity)
{
    return std::clamp(opacity, 0.1, 1.0);
}

} // namespace

NoteMainWindow::NoteMainWindow(QWidget *parent)
    : QMainWindow(parent)
{
    setAttribute(Qt::WA_DeleteOnClose, false);
}

void NoteMainWindow::setOpacities(double away, double atMouse)
{
    m_opacityAway = usable(away);
    m_opacityUnderMouse = usable(atMouse);
    setWindowOpacity(QWidget::underMouse() ? m_opacityUnderMouse : m_opacityAway);
}

void NoteMainWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        Q_EMIT activated();
    QMainWindow::changeEvent(event);
}

void NoteMainWindow::closeEvent(QCloseEvent *event)
{
    Q_EMIT closing();
    QMainWindow::closeEvent(event);
}

void NoteMainWindow::enterEvent(QEnterEvent *event)
{
    setWindowOpacity(m_opacityUnderMouse);
    QMainWindow::enterEvent(event);
}

void NoteMainWindow::leaveEvent(QEvent *event)
{
    setWindowOpacity(m_opacityAway);
    QMainWindow::leaveEvent(event);
}
