// Import of files and folders into the tree: the File > Import command,
// files dropped on an outline, opened from the desktop or the command line.
#include "JW3Controller.h"

#include "exchange/FileImport.h"
#include "exchange/ImportFileTypes.h"
#include "exchange/ImportIdentifiers.h"
#include "exchange/LegacyImport.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "windows/NoteWindow.h"

#include <QDir>
#include <QFileInfo>
#include <QProgressDialog>

#include <memory>

namespace {

// Imports this large read long enough to need a progress bar and a way out.
constexpr qint64 kFilesWithoutProgress = 200;
constexpr qint64 kBytesWithoutProgress = 20 * 1024 * 1024;

} // namespace

Result<MemoPtr> JW3Controller::importFile(const QString &path, const MemoPtr &parent, qsizetype index)
{
    ImportedFiles imported = importFiles({path}, parent, index);
    if (imported.pages.isEmpty())
        return Error{imported.problems.isEmpty() ? tr("%1 gave no page").arg(path) : imported.problems.join(u'\n')};
    return imported.pages.constFirst();
}

NoteTreeHost::ImportedFiles JW3Controller::importFiles(const QStringList &paths, const MemoPtr &parent, qsizetype index)
{
    const FileImport::Size size = FileImport::measure(paths);
    std::unique_ptr<QProgressDialog> progress;
    if (size.files > kFilesWithoutProgress || size.bytes > kBytesWithoutProgress) {
        // Bytes rather than files: one large book can take longer than many notes.
        progress = std::make_unique<QProgressDialog>(tr("Importing %n file(s)...", nullptr, int(size.files)),
            tr("Cancel"), 0, 1000, m_frontWindow ? m_frontWindow->windowWidget() : nullptr);
        progress->setWindowTitle(tr("Import"));
        progress->setWindowModality(Qt::ApplicationModal);
        progress->setMinimumDuration(0);
        progress->setValue(0);
    }
    FileImport import([&](qint64 files, qint64 bytes) {
        if (!progress)
            return true;
        const double done = size.bytes > 0 ? double(bytes) / double(size.bytes) : double(files) / double(size.files);
        progress->setValue(std::clamp(int(done * 1000), 0, 999));
        return !progress->wasCanceled();
    });

    QList<MemoPtr> pages;
    for (const QString &path : paths) {
        MemoPtr page = import.newMemoWithContentOfFile(path);
        if (import.wasCancelled())
            break;
        if (page)
            pages.append(std::move(page));
    }
    progress.reset();

    ImportedFiles imported;
    if (import.wasCancelled()) {
        imported.problems.append(tr("The import was cancelled; nothing was added."));
        return imported;
    }
    const MemoPtr into = parent ? parent : tree().root();
    for (const MemoPtr &page : pages) {
        if (!tree().insertNewMemo(page, into, index)) {
            imported.problems.append(tr("\"%1\" could not be added to the tree").arg(page->title()));
            continue;
        }
        imported.pages.append(page);
        if (index >= 0)
            ++index;
    }
    if (const QString skipped = import.skippedSummary(); !skipped.isEmpty())
        imported.problems.append(skipped);
    if (!imported.pages.isEmpty()) {
        (void)save();
        showMemoInWindow(imported.pages.constLast());
    }
    return imported;
}

QStringList JW3Controller::importableFileTypes() const
{
    return ImportFileTypes::importableFileTypes();
}

QStringList JW3Controller::openFiles(const QStringList &paths)
{
    QStringList toImport;
    for (const QString &path : paths) {
        // A page file named by the ID of a page still in the tree is that
        // page: it is shown rather than copied.
        const QFileInfo info(path);
        if (info.suffix().compare(QLatin1String("jw3page"), Qt::CaseInsensitive) == 0) {
            bool number = false;
            const double id = info.completeBaseName().toDouble(&number);
            if (number) {
                if (const MemoPtr page = tree().noteDataWithID(qint64(id))) {
                    showMemoInWindow(page);
                    continue;
                }
            }
        }
        toImport.append(path);
    }
    if (toImport.isEmpty())
        return {};
    return importFiles(toImport, nullptr, -1).problems;
}

namespace {

// Adds @p page, read from an earlier version's files, at the end of the top level.
QStringList addOlderPages(JW3Controller &controller, const Result<MemoPtr> &page, const QString &none)
{
    if (!page)
        return {page.errorMessage()};
    if (!page.value())
        return {none};
    if (!controller.tree().insertNewMemo(page.value(), controller.tree().root(), -1))
        return {JW3Controller::tr("The pages could not be added to the tree")};
    (void)controller.save();
    controller.showMemoInWindow(page.value());
    return {};
}

} // namespace

QStringList JW3Controller::importEarlierVersion(const QString &preferencesPath, const QString &textFolder)
{
    return addOlderPages(*this, LegacyImport::importEarlierVersionPages(preferencesPath, textFolder), QString());
}

QStringList JW3Controller::importJotwellData()
{
    Result<MemoPtr> data = LegacyImport::importJotwellData();
    if (data && data.value())
        ImportIdentifiers::giveNewIDs(data.value());
    return addOlderPages(*this, data,
        tr("No data of the first version was found: it would be in %1")
            .arg(QDir::toNativeSeparators(LegacyImport::defaultJotwellDataPath())));
}

MemoPtr JW3Controller::importOldUserDefaults()
{
    Result<MemoPtr> converted = LegacyImport::importOldUserDefaults();
    if (!converted) {
        reportProblem(
            tr("The data of the earlier version could not be brought over: %1").arg(converted.errorMessage()));
        return nullptr;
    }
    return converted.value();
}
