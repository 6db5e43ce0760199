#include "StartNoteWindow.h"

#include "StartWindow.h"
#include "model/JWMemo.h"

namespace {

qsizetype countPages(const JWMemo &memo)
{
    qsizetype count = 0;
    for (const MemoPtr &child : memo.children())
        count += 1 + countPages(*child);
    return count;
}

} // namespace

StartNoteWindow::StartNoteWindow(QObject *parent)
    : NoteWindow(parent)
    , m_window(std::make_unique<StartWindow>())
{
    connect(m_window.get(), &StartWindow::activated, this, &NoteWindow::becameKey);
    connect(m_window.get(), &StartWindow::closing, this, &NoteWindow::willClose);
}

StartNoteWindow::~StartNoteWindow() = default;

void StartNoteWindow::setRootMemo(const MemoPtr &root)
{
    m_root = root;
    m_window->setPageCount(root ? countPages(*root) : 0);
}

void StartNoteWindow::selectMemo(const MemoPtr &memo)
{
    m_selection = memo;
    if (!memo)
        return;
    // There is no password sheet here yet, so a protected page stays closed.
    const bool closed = memo->protectWithPassword() && !memo->unlockedPassword();
    m_window->showPage(memo->title(), closed ? tr("This page is protected.") : memo->plainText());
}

void StartNoteWindow::showWindow()
{
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void StartNoteWindow::performClose()
{
    m_window->close();
}
