#include "ExportProgress.h"

#include <QCoreApplication>

#include <utility>

namespace {

thread_local ExportProgress *tCurrent = nullptr;

} // namespace

// A hook rather than a parameter of every writer: the writers nest (a
// hierarchy calls the page writers, a joined text appends pages) and most
// callers never watch.
ExportProgress::ExportProgress(Watcher watcher)
    : m_watcher(std::move(watcher))
{
    tCurrent = this;
}

ExportProgress::~ExportProgress()
{
    tCurrent = nullptr;
}

bool ExportProgress::pageDone()
{
    if (!tCurrent || tCurrent->m_cancelled)
        return !tCurrent;
    if (tCurrent->m_watcher && !tCurrent->m_watcher())
        tCurrent->m_cancelled = true;
    return !tCurrent->m_cancelled;
}

bool ExportProgress::cancelled()
{
    return tCurrent && tCurrent->m_cancelled;
}

Error ExportProgress::cancelledError()
{
    return Error{QCoreApplication::translate("ExportProgress", "The export was cancelled")};
}
