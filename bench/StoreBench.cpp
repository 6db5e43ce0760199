// The data folder at the size years of use give it (10,000 pages, about
// 50 MB of rich text): starting up, saving after one edit, finding pages by
// ID, and the housekeeping that repairs IDs and clears away stray files.
//
// They run on the folder named by JW_BENCH_DATA, or else on one that
// DataFolderGenerator writes once into the temporary folder and that later
// runs reuse. Saving and clean-up write into that folder (one page's text,
// files they add and take away again), so do not point JW_BENCH_DATA at data
// you care about.
//
// Each reports peak_RSS_MB: the highest resident memory of the process while
// it ran, the peak being reset at its start where the kernel allows.
#include "BenchFolder.h"
#include "DataFolderGenerator.h"

#include "model/DataStore.h"
#include "platform/settings/FolderPaths.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/UserDefaults.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QTemporaryDir>
#include <QTextCursor>

#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <random>

namespace {

// --- BM_LoadNoteData ----------------------------------------------------------------

void BM_LoadNoteData(benchmark::State &state)
{
    if (!useBenchFolder(state))
        return;
    resetPeakResidentMemory();
    qsizetype pages = 0;
    double loadedMegabytes = 0;
    for (auto _ : state) {
        auto store = std::make_unique<DataStore>();
        store->loadNoteData();
        state.PauseTiming();
        if (!store->problems().isEmpty() || !store->rootMemo()) {
            state.SkipWithError("the folder did not load");
            break;
        }
        pages = store->tree().arrayOfMemos(store->rootMemo()).size();
        // What the loaded tree keeps, as against the peak on the way.
        malloc_trim(0);
        loadedMegabytes = std::max(loadedMegabytes, statusMegabytes("VmRSS:"));
        // Closing the tree is not part of starting up.
        store.reset();
        malloc_trim(0);
        state.ResumeTiming();
    }
    const qint64 archiveBytes = QFileInfo(dataFilePath()).size();
    state.SetBytesProcessed(int64_t(state.iterations()) * archiveBytes);
    state.counters["pages"] = double(pages);
    state.counters["loaded_RSS_MB"] = loadedMegabytes;
    reportPeakMemory(state);
}
BENCHMARK(BM_LoadNoteData)->Unit(benchmark::kMillisecond)->Iterations(5);

// --- BM_SaveOneEdit ---------------------------------------------------------------

// What tells a file that was written from one left alone: an atomic write
// makes a new file, a write in place moves the change time.
struct FileIdentity
{
    ino_t inode = 0;
    qint64 size = 0;
    qint64 modified = 0;
    qint64 changed = 0;
    friend bool operator==(const FileIdentity &, const FileIdentity &) = default;
};

QHash<QString, FileIdentity> filesOfFolder(const QString &folder)
{
    QHash<QString, FileIdentity> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        struct stat info
        { };
        if (::stat(QFile::encodeName(path).constData(), &info) != 0)
            continue;
        files.insert(path,
            {info.st_ino, qint64(info.st_size), qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec,
                qint64(info.st_ctim.tv_sec) * 1'000'000'000 + info.st_ctim.tv_nsec});
    }
    return files;
}

// The paths that are new, gone or written between @p before and @p after.
QStringList writtenFiles(const QHash<QString, FileIdentity> &before, const QHash<QString, FileIdentity> &after)
{
    QStringList written;
    for (auto it = after.cbegin(); it != after.cend(); ++it) {
        if (!before.contains(it.key()) || before.value(it.key()) != it.value())
            written.append(it.key());
    }
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        if (!after.contains(it.key()))
            written.append(it.key());
    }
    return written;
}

// The page's rich text with one more sentence typed at its end.
void typeInto(JWMemo &page, int edit)
{
    TextConverter converter;
    if (!converter.setRTFDData(page.memoData()))
        converter.setString(page.plainText());
    QTextCursor cursor(&converter.document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(QStringLiteral(" Edited for the %1th time.").arg(edit));
    page.setMemoData(converter.RTFDData());
    page.setPlainText(converter.plainString());
    page.setIsEdited(true);
}

void BM_SaveOneEdit(benchmark::State &state)
{
    resetPeakResidentMemory();
    const auto store = loadedStore(state);
    if (!store)
        return;
    const QList<MemoPtr> pages = pagesOf(*store);
    std::mt19937 random(kBenchFolderSeed);
    const MemoPtr page = pages.at(std::uniform_int_distribution<qsizetype>(0, pages.size() - 1)(random));

    // Once, before timing: the edit must write its own page file and the
    // tree, never any other page's file.
    const QString folder = dataFolderPath();
    const QHash<QString, FileIdentity> before = filesOfFolder(folder);
    typeInto(*page, 0);
    if (Status saved = store->save(); !saved) {
        state.SkipWithError(saved.errorMessage().toStdString().c_str());
        return;
    }
    const QHash<QString, FileIdentity> after = filesOfFolder(folder);
    QStringList written = writtenFiles(before, after);
    const QString pageFile = notePathForID(page->memoID());
    if (!written.contains(pageFile) || !written.contains(dataFilePath())) {
        state.SkipWithError("the edited page's file or the data store was not written");
        return;
    }
    qint64 bytesWritten = 0;
    for (const QString &path : std::as_const(written))
        bytesWritten += after.value(path).size;
    const qsizetype filesWritten = written.size();
    written.removeAll(pageFile);
    written.removeAll(dataFilePath());
    written.removeAll(dataDictionaryFilePath()); // the open windows and preferences, a few hundred bytes
    if (!written.isEmpty()) {
        state.SkipWithError(QStringLiteral("saving one edit also wrote %1 other files, such as %2")
                                .arg(written.size())
                                .arg(written.first())
                                .toStdString()
                                .c_str());
        return;
    }

    int edit = 0;
    for (auto _ : state) {
        state.PauseTiming();
        typeInto(*page, ++edit);
        state.ResumeTiming();
        if (Status saved = store->save(); !saved) {
            state.SkipWithError(saved.errorMessage().toStdString().c_str());
            break;
        }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * bytesWritten);
    state.counters["bytes_written"] = double(bytesWritten);
    state.counters["files_written"] = double(filesWritten);
    state.counters["files_checked"] = double(before.size());
    reportPeakMemory(state);
}
BENCHMARK(BM_SaveOneEdit)->Unit(benchmark::kMillisecond)->Iterations(10);

// Times the part of a save the window waits for: the write on the worker
// thread is waited for outside the timing. False, with the benchmark
// stopped, when the save failed.
bool timeMainThreadOfSave(benchmark::State &state, DataStore &store)
{
    const Status started = store.saveInBackground();
    state.PauseTiming();
    const Status written = store.finishWriting();
    state.ResumeTiming();
    if (!started || !written)
        state.SkipWithError("the save failed");
    return started && written;
}

// The part of saving one edit that the main thread waits for: the data
// store's file is written on a worker thread, waited for outside the timing.
void BM_SaveOneEditMainThread(benchmark::State &state)
{
    const auto store = loadedStore(state);
    if (!store)
        return;
    const QList<MemoPtr> pages = pagesOf(*store);
    std::mt19937 random(kBenchFolderSeed);
    const MemoPtr page = pages.at(std::uniform_int_distribution<qsizetype>(0, pages.size() - 1)(random));
    (void)store->save(); // the first save after loading writes the whole archive
    int edit = 0;
    for (auto _ : state) {
        state.PauseTiming();
        typeInto(*page, ++edit);
        state.ResumeTiming();
        if (!timeMainThreadOfSave(state, *store))
            break;
    }
}
BENCHMARK(BM_SaveOneEditMainThread)->Unit(benchmark::kMillisecond)->Iterations(10);

// The first save after loading: the whole archive is encoded and written
// on a worker thread from a copy of the tree; this is what the window waits for.
void BM_FirstSaveMainThread(benchmark::State &state)
{
    std::unique_ptr<DataStore> store;
    for (auto _ : state) {
        state.PauseTiming();
        store.reset(); // closing the tree is not part of saving
        store = loadedStore(state);
        if (!store)
            return;
        const QList<MemoPtr> pages = pagesOf(*store);
        typeInto(*pages.at(pages.size() / 2), 1);
        state.ResumeTiming();
        if (!timeMainThreadOfSave(state, *store))
            break;
    }
}
BENCHMARK(BM_FirstSaveMainThread)->Unit(benchmark::kMillisecond)->Iterations(3);

// A save with nothing edited: it must write no file at all.
void BM_SaveNothingEdited(benchmark::State &state)
{
    const auto store = loadedStore(state);
    if (!store)
        return;
    (void)store->save();
    const QHash<QString, FileIdentity> before = filesOfFolder(dataFolderPath());
    for (auto _ : state) {
        if (Status saved = store->save(); !saved) {
            state.SkipWithError(saved.errorMessage().toStdString().c_str());
            return;
        }
    }
    if (const QStringList written = writtenFiles(before, filesOfFolder(dataFolderPath())); !written.isEmpty())
        state.SkipWithError(QStringLiteral("wrote %1").arg(written.first()).toStdString().c_str());
}
BENCHMARK(BM_SaveNothingEdited)->Unit(benchmark::kMillisecond)->Iterations(100);

// One page moved to another parent, then saved.
void BM_SaveAfterMove(benchmark::State &state)
{
    const auto store = loadedStore(state);
    if (!store)
        return;
    (void)store->save();
    const MemoPtr root = store->rootMemo();
    std::mt19937 random(kBenchFolderSeed);
    for (auto _ : state) {
        state.PauseTiming();
        // A page of any top-level page but the first (whose pages name what every page uses) to another parent.
        const auto topLevel = [&] {
            return root->children().at(std::uniform_int_distribution<size_t>(1, root->children().size() - 1)(random));
        };
        const MemoPtr from = topLevel();
        const MemoPtr to = topLevel();
        if (!from->children().empty() && from != to) {
            const MemoPtr page = from->takeChildAt(0);
            to->insertChild(qsizetype(to->children().size() / 2), page);
        }
        state.ResumeTiming();
        if (Status saved = store->save(); !saved) {
            state.SkipWithError(saved.errorMessage().toStdString().c_str());
            break;
        }
    }
}
BENCHMARK(BM_SaveAfterMove)->Unit(benchmark::kMillisecond)->Iterations(10);

// --- BM_NoteDataWithID1000 --------------------------------------------------------

void BM_NoteDataWithID1000(benchmark::State &state)
{
    resetPeakResidentMemory();
    const auto store = loadedStore(state);
    if (!store)
        return;
    const QList<MemoPtr> pages = pagesOf(*store);
    std::mt19937 random(kBenchFolderSeed);
    std::uniform_int_distribution<qsizetype> any(0, pages.size() - 1);
    QList<qint64> ids;
    for (int i = 0; i < 1000; ++i)
        ids.append(pages.at(any(random))->memoID());

    // The first look-up after the tree changed builds the index; shown apart.
    QElapsedTimer indexTimer;
    indexTimer.start();
    benchmark::DoNotOptimize(store->tree().noteDataWithID(ids.first()));
    state.counters["index_build_ms"] = double(indexTimer.nsecsElapsed()) / 1e6;

    const MemoTree &tree = store->tree();
    for (auto _ : state) {
        int found = 0;
        for (qint64 id : std::as_const(ids)) {
            const MemoPtr memo = tree.noteDataWithID(id);
            found += memo && memo->memoID() == id ? 1 : 0;
        }
        if (found != ids.size()) {
            state.SkipWithError("a look-up missed an existing page");
            break;
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * ids.size());
    reportPeakMemory(state);
}
BENCHMARK(BM_NoteDataWithID1000)->Unit(benchmark::kMicrosecond)->Iterations(1000);

// --- BM_ResolveDuplicatedIDs ------------------------------------------------------

// A whole tree checked for IDs held twice, with range(0) pages given the ID of
// another page first (as pages copied in from an older folder are).
void BM_ResolveDuplicatedIDs(benchmark::State &state)
{
    resetPeakResidentMemory();
    const auto store = loadedStore(state);
    if (!store)
        return;
    const QList<MemoPtr> pages = pagesOf(*store);
    const int duplicates = int(state.range(0));
    std::mt19937 random(kBenchFolderSeed);
    for (auto _ : state) {
        state.PauseTiming();
        QList<MemoPtr> shuffled = pages;
        std::shuffle(shuffled.begin(), shuffled.end(), random);
        for (int i = 0; i < duplicates; ++i)
            shuffled[i]->setMemoID(shuffled[duplicates + i]->memoID());
        state.ResumeTiming();
        const int renumbered = store->tree().resolveDupulicatedMemoID();
        if (renumbered != duplicates) {
            state.SkipWithError(
                QStringLiteral("%1 pages renumbered, not %2").arg(renumbered).arg(duplicates).toStdString().c_str());
            break;
        }
    }
    state.counters["pages"] = double(pages.size() + 1);
    reportPeakMemory(state);
}
BENCHMARK(BM_ResolveDuplicatedIDs)->Arg(0)->Arg(100)->Unit(benchmark::kMillisecond)->Iterations(5);

// --- BM_CleanUpRemovedFiles -------------------------------------------------------

// The clean-up command on the whole folder with 100 page files of pages that
// are no longer in the tree.
void BM_CleanUpRemovedFiles(benchmark::State &state)
{
    resetPeakResidentMemory();
    const auto store = loadedStore(state);
    if (!store)
        return;
    const QList<MemoPtr> pages = pagesOf(*store);
    qint64 largestID = 0;
    for (const MemoPtr &page : pages)
        largestID = std::max(largestID, page->memoID());
    QByteArray strayContent;
    if (QFile file(notePathForID(pages.first()->memoID())); file.open(QIODevice::ReadOnly))
        strayContent = file.readAll();
    constexpr int kStrays = 100;
    const QString trash = trashFolderPath();
    const auto strayName = [&](int i) {
        return QStringLiteral("%1.jw3page").arg(largestID + 100'000 + i);
    };
    const auto pageFiles = [] {
        return QDir(noteDataFolderPath()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    };
    // Once untimed, so that only the strays are left to move in the timed runs.
    store->cleanUpRemovedMemoFiles();
    const QStringList filesToKeep = pageFiles();

    for (auto _ : state) {
        state.PauseTiming();
        for (int i = 0; i < kStrays; ++i) {
            QFile::remove(trash + u'/' + strayName(i)); // left by an interrupted run
            QFile file(noteDataFolderPath() + u'/' + strayName(i));
            if (!file.open(QIODevice::WriteOnly) || file.write(strayContent) != strayContent.size()) {
                state.SkipWithError("a stray page file could not be written");
                return;
            }
        }
        state.ResumeTiming();
        store->cleanUpRemovedMemoFiles();
        state.PauseTiming();
        for (int i = 0; i < kStrays; ++i) {
            if (!QFile::remove(trash + u'/' + strayName(i))) {
                state.SkipWithError("a stray page file was not moved to \"Unused Files\"");
                return;
            }
        }
        if (pageFiles() != filesToKeep) {
            state.SkipWithError("the clean-up moved files of pages in the tree");
            return;
        }
        state.ResumeTiming();
    }
    state.counters["pages"] = double(pages.size() + 1);
    state.counters["files_moved"] = kStrays;
    reportPeakMemory(state);
}
BENCHMARK(BM_CleanUpRemovedFiles)->Unit(benchmark::kMillisecond)->Iterations(5);

// --- BM_RecoverFromPageFiles10k -----------------------------------------------------

// The data store of the large folder is lost (random bytes in its place) and
// every page is rebuilt from its page file, as File > Recover Pages From
// Page Files does, saving included. It runs on a copy of the folder whose
// page files are hard links to the originals (recovery writes new files and
// renames them into place, never into an existing file), so the shared
// folder is left as it was.
void BM_RecoverFromPageFiles10k(benchmark::State &state)
{
    if (!useBenchFolder(state))
        return;
    const QString original = noteDataFolderPath();
    QTemporaryDir copy;
    const QString noteFolder = copy.path() + QStringLiteral("/Note Data");
    if (!copy.isValid() || !QDir().mkpath(noteFolder)) {
        state.SkipWithError("no room for a copy of the folder");
        return;
    }
    qsizetype files = 0;
    for (const QString &name : QDir(original).entryList({QStringLiteral("*.jw3page")}, QDir::Files)) {
        const QByteArray from = QFile::encodeName(original + u'/' + name);
        const QByteArray to = QFile::encodeName(noteFolder + u'/' + name);
        if (::link(from.constData(), to.constData()) != 0
            && !QFile::copy(original + u'/' + name, noteFolder + u'/' + name)) {
            state.SkipWithError("the page files could not be copied");
            return;
        }
        ++files;
    }
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("dataFolderPath"), copy.path());
    const QByteArray noise(64 * 1024, '\x5a');

    resetPeakResidentMemory();
    qsizetype recoveredPages = 0;
    for (auto _ : state) {
        state.PauseTiming();
        QFile dataFile(dataFilePath());
        if (!dataFile.open(QIODevice::WriteOnly | QIODevice::Truncate) || dataFile.write(noise) != noise.size()) {
            state.SkipWithError("the data store could not be damaged");
            break;
        }
        dataFile.close();
        auto store = std::make_unique<DataStore>();
        store->loadNoteData();
        if (store->setAsideDataFile().isEmpty()) {
            state.SkipWithError("the damaged data store was not set aside");
            break;
        }
        state.ResumeTiming();

        auto recovered = store->recoverPagesFromPageFiles();

        state.PauseTiming();
        if (!recovered) {
            state.SkipWithError(recovered.errorMessage().toStdString().c_str());
            break;
        }
        recoveredPages = recovered.value().pages;
        // The next round starts from the page files alone again.
        QFile::remove(notePathForID(recovered.value().parent->memoID()));
        store.reset();
        state.ResumeTiming();
    }
    // The fresh tree adds its own files to the copy; each original must come back.
    if (recoveredPages < files && state.iterations() > 0)
        state.SkipWithError("not every page file became a page");
    state.counters["pages"] = double(recoveredPages);
    reportPeakMemory(state);
}
BENCHMARK(BM_RecoverFromPageFiles10k)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
