// The export commands of a note window: the export sheet with its queue of
// pages, and the copies for a music player's Notes folder.

#include "ExportDialog.h"
#include "NoteMainWindow.h"
#include "NoteTreeController.h"
#include "NoteTreeHost.h"
#include "NoteWindowController.h"
#include "iPodFolderChooser.h"

#include "exchange/ExportProgress.h"
#include "exchange/JW3iPodWriter.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/base/StandardFolders.h"

#include <QDir>
#include <QFileInfo>
#include <QMainWindow>
#include <QMessageBox>
#include <QPointer>
#include <QProgressDialog>
#include <QTimer>

namespace {

// Larger exports show their progress and can be stopped.
constexpr qsizetype kPagesWithoutProgress = 100;
// The pause between two pages of the queue, each with its own sheet.
constexpr int kQueueStepMilliseconds = 200;

} // namespace

void NoteWindowController::exportSelectedPages()
{
    m_exportQueue = m_treeController->selectedMemos();
    exportNextMemoFromQueue();
}

void NoteWindowController::exportNextMemoFromQueue()
{
    if (m_exportQueue.isEmpty())
        return;
    const MemoPtr memo = m_exportQueue.takeFirst();
    if (m_exportFolder.isEmpty()) {
        const QString documents = StandardFolders::documentsFolder();
        m_exportFolder = QFileInfo(documents).isDir() ? documents : QDir::homePath();
    }
    auto *dialog = new ExportDialog(memo->title(), m_exportFolder, m_exportTag, m_hidesExtension, m_window.get());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    connect(dialog, &QDialog::finished, this, [this, dialog, memo](int result) {
        if (result != QDialog::Accepted) {
            m_exportQueue.clear();
            return;
        }
        m_exportTag = dialog->tag();
        m_hidesExtension = dialog->hidesExtension();
        const QString chosen = dialog->chosenPath();
        m_exportFolder = QFileInfo(chosen).absolutePath();
        // Pending edits of the windows go into their pages before they are written.
        NotificationCenter::defaultCenter().post(NotificationNames::JW3SaveData, this);
        exportMemo(memo, dialog->format(), ExportFormat::targetPath(dialog->format(), chosen));
        QTimer::singleShot(kQueueStepMilliseconds, this, &NoteWindowController::exportNextMemoFromQueue);
    });
    dialog->open();
}

void NoteWindowController::exportMemo(const MemoPtr &memo, ExportFormat::Format format, const QString &path)
{
    // Held while the export runs: the progress dialog lets events through,
    // and a page removed meanwhile must not vanish under the writer.
    const QList<MemoPtr> pages = m_host.memoTree().arrayOfMemos(memo);
    std::unique_ptr<QProgressDialog> progress;
    if (pages.size() > kPagesWithoutProgress) {
        progress = std::make_unique<QProgressDialog>(
            tr("Exporting \"%1\"...").arg(memo->title()), tr("Cancel"), 0, int(pages.size()), m_window.get());
        progress->setWindowModality(Qt::ApplicationModal);
        progress->setMinimumDuration(0);
        progress->setValue(0);
    }
    int done = 0;
    const ExportProgress watch([&] {
        if (!progress)
            return true;
        progress->setValue(std::min(++done, progress->maximum()));
        return !progress->wasCanceled();
    });
    const Result<QString> written = ExportFormat::exportMemo(format, memo, path);
    const bool cancelled = ExportProgress::cancelled();
    progress.reset();
    if (!written && !cancelled)
        QMessageBox::warning(m_window.get(), tr("Export"), written.errorMessage());
}

void NoteWindowController::exportToIPod(bool wholeWindow)
{
    NotificationCenter::defaultCenter().post(NotificationNames::JW3SaveData, this);
    JW3iPodWriter writer;
    if (!writer.isiPodReady())
        return;
    const QList<MemoPtr> memos = wholeWindow && m_rootMemo
        ? QList<MemoPtr>(m_rootMemo->children().begin(), m_rootMemo->children().end())
        : m_treeController->selectedMemos();
    for (const MemoPtr &memo : memos)
        writer.writeData(memo->dictionaryRepresentation());
}

void NoteWindowController::chooseIPodFolder()
{
    JW3iPodWriter writer;
    (void)iPodFolderChooser::selectiPodPath(writer, m_window.get());
}
