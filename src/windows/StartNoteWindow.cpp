#include "StartNoteWindow.h"

#include "StartWindow.h"
#include "model/JWMemo.h"
#include "platform/NotificationCenter.h"
#include "platform/NotificationNames.h"

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
    // Every change of the tree's shape ends with this notification.
    NotificationCenter::defaultCenter().addObserver(this, NotificationNames::JW3ReloadOutlineData, nullptr,
                                                    [this](const Notification &) { refreshPageCount(); });
}

StartNoteWindow::~StartNoteWindow() = default;

void StartNoteWindow::setRootMemo(const MemoPtr &root)
{
    m_root = root;
    refreshPageCount();
}

void StartNoteWindow::refreshPageCount()
{
    m_window->setPageCount(m_root ? countPages(*m_root) : 0);
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
