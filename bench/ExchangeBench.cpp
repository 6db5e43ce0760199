// The backup of a synchronised subtree that runs before every merge of pages
// from the phone companion: 1,000 pages of about 1 KB of formatted text each,
// read from their page files as after start-up, written as text files,
// packed into a .tar.gz and rotated.
#include "BenchFolder.h"
#include "RealisticText.h"

#include "exchange/BookFile.h"
#include "exchange/DeviceDataBackup.h"
#include "exchange/QuitBackup.h"
#include "exchange/PlainTextHierarchy.h"
#include "model/JWMemo.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/FolderPaths.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTextCharFormat>
#include <QTextCursor>

#include <algorithm>
#include <vector>

#include <sys/stat.h>

namespace {

constexpr int kChapters = 9;
constexpr int kPagesPerChapter = 110; // with the chapters and the top page, 1,000 pages

// A page with @p text and its first words in bold, saved to its page file and
// then dropped from memory, so that the backup reads it as after start-up.
MemoPtr savedPage(const QString &text)
{
    TextConverter converter;
    converter.setString(text);
    QTextCursor cursor(&converter.document());
    cursor.movePosition(QTextCursor::NextWord, QTextCursor::KeepAnchor, 3);
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    cursor.mergeCharFormat(bold);

    MemoPtr memo = JWMemo::memo();
    memo->setTitle(JWMemo::titleFromText(text));
    memo->setPlainText(converter.plainString());
    memo->setMemoData(converter.RTFDData());
    memo->save();
    memo->setMemoData(QByteArray());
    return memo;
}

void BM_DeviceDataBackup1000(benchmark::State &state)
{
    const QString text = realisticText(1000 * 1024);
    qsizetype at = 0;
    std::vector<MemoPtr> pages;
    auto next = [&]() {
        // Cut at a space so that no word, and no surrogate pair, is split.
        const qsizetype end = std::max(text.indexOf(u' ', at + 1000), at + 1);
        pages.push_back(savedPage(text.mid(at, end - at)));
        at = end;
        return pages.back();
    };
    MemoPtr top = next();
    for (int c = 0; c < kChapters; ++c) {
        MemoPtr chapter = next();
        for (int p = 0; p < kPagesPerChapter; ++p)
            chapter->appendChild(next());
        top->appendChild(chapter);
    }

    const DeviceDataBackup backup;
    qint64 archiveBytes = 0;
    for (auto _ : state) {
        const Result<QString> made = backup.backupJotwell3Data(*top);
        state.PauseTiming();
        if (!made) {
            state.SkipWithError(made.errorMessage().toUtf8().constData());
            break;
        }
        archiveBytes = QFileInfo(made.value()).size();
        for (const MemoPtr &page : pages)
            page->setMemoData(QByteArray());
        state.ResumeTiming();
    }
    state.counters["pages"] = double(pages.size());
    state.counters["text_KB"] = double(text.toUtf8().size()) / 1024;
    state.counters["archive_KB"] = double(archiveBytes) / 1024;
}
BENCHMARK(BM_DeviceDataBackup1000)->Unit(benchmark::kMillisecond)->Iterations(10);

// The backup made at quit of the 10,000-page bench folder, forty times so
// that the last ones also remove the oldest: its page files linked, its data
// store and settings file copied, "Backups" rotated. The disk use counts
// what only the backups hold: folders and copies, not the links to files
// the data folder still has.
void BM_QuitBackup(benchmark::State &state)
{
    if (!useBenchFolder(state))
        return;
    const QString folder = dataFolderPath();
    const QString backups = folder + u'/' + QuitBackup::kBackupsFolderName;
    QDir(backups).removeRecursively();
    for (auto _ : state) {
        const Result<QString> made = QuitBackup::backUp(folder);
        if (!made) {
            state.SkipWithError(made.errorMessage().toUtf8().constData());
            return;
        }
    }
    qint64 ownBytes = 0;
    qint64 entries = 0;
    QDirIterator it(
        backups, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        struct stat status
        { };
        if (::lstat(QFile::encodeName(it.next()).constData(), &status) != 0)
            continue;
        ++entries;
        if (S_ISDIR(status.st_mode) || status.st_nlink == 1)
            ownBytes += qint64(status.st_blocks) * 512;
    }
    const auto made = double(QDir(backups).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
    state.counters["backups"] = made;
    state.counters["entries_per_backup"] = double(entries) / std::max(made, 1.0);
    state.counters["disk_MB_per_backup"] = double(ownBytes) / (1024 * 1024) / std::max(made, 1.0);
    QDir(backups).removeRecursively();
}
BENCHMARK(BM_QuitBackup)->Unit(benchmark::kMillisecond)->Iterations(40);

// Every page of the bench folder (10,000) as a plain-text hierarchy, read
// from the page files as after start-up: the export a user makes of the
// whole outline.
void BM_ExportAllText10k(benchmark::State &state)
{
    const std::unique_ptr<DataStore> store = loadedStore(state);
    if (!store)
        return;
    const MemoPtr root = store->rootMemo();
    const QList<MemoPtr> pages = pagesOf(*store);
    qint64 files = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto folder = std::make_unique<QTemporaryDir>();
        state.ResumeTiming();
        const Status written = PlainTextHierarchy::exportMemosASPlainText(*root, folder->path());
        state.PauseTiming();
        if (!written) {
            state.SkipWithError(written.errorMessage().toUtf8().constData());
            break;
        }
        files = 0;
        for (QDirIterator it(folder->path(), QDir::Files, QDirIterator::Subdirectories); it.hasNext(); it.next())
            ++files;
        folder.reset();
        for (const MemoPtr &page : pages)
            page->setMemoData(QByteArray());
        state.ResumeTiming();
    }
    state.counters["pages"] = double(pages.size());
    state.counters["files"] = double(files);
}
BENCHMARK(BM_ExportAllText10k)->Unit(benchmark::kMillisecond)->Iterations(5);

// The whole tree as one book file, each page's rich text read from its page
// file as after start-up.
void BM_ExportBook10k(benchmark::State &state)
{
    const std::unique_ptr<DataStore> store = loadedStore(state);
    if (!store)
        return;
    const QList<MemoPtr> pages = pagesOf(*store);
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("All.jw3book"));
    for (auto _ : state) {
        const Status written = BookFile::write(store->rootMemo(), path);
        state.PauseTiming();
        if (!written) {
            state.SkipWithError(written.errorMessage().toUtf8().constData());
            break;
        }
        state.counters["MB"] = double(QFileInfo(path).size()) / 1e6;
        for (const MemoPtr &page : pages)
            page->setMemoData(QByteArray());
        state.ResumeTiming();
    }
    state.counters["pages"] = double(pages.size());
    reportPeakMemory(state);
}
BENCHMARK(BM_ExportBook10k)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
