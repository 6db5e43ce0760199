// Searching a window's pages while the user types, on the 10,000-page folder
// (about 50 MB of plain text): the first keyword over every page, a keyword
// grown by one character over the previous result, and a keyword found
// nowhere, which reads every byte. BM_SearchNoMatch100k runs on a folder of
// 100,000 pages made by jw-make-data-folder and named by JW_BENCH_DATA_100K.
//
// Searches run on every core; times are wall-clock time.
//
// Pages keep a folded copy of their title and text once searched;
// BM_FoldAllPages10k is what making those copies costs once after loading,
// and every other benchmark here runs with them made.
#include "BenchFolder.h"
#include "RealisticText.h"

#include "model/DataStore.h"
#include "model/MemoSearch.h"
#include "platform/settings/UserDefaults.h"
#include "text/TextFinding.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QFileInfo>

#include <malloc.h>

namespace {

// Two words of the generator's vocabulary, found on some pages each.
const QString kTwoKeys = QStringLiteral("contract music");
const QString kNowhere = QStringLiteral("zqxjvkw");

qint64 foldAll(const QList<MemoPtr> &pages)
{
    qint64 bytes = 0;
    for (const MemoPtr &page : pages)
        bytes += page->foldedTitle().size() + page->foldedText().size();
    return bytes;
}

// The store of the 10,000-page folder, loaded and folded once for every benchmark here.
struct SearchedStore
{
    std::unique_ptr<DataStore> store;
    QList<MemoPtr> pages;
    qint64 foldedBytes = 0;
};

SearchedStore *searchedStore(benchmark::State &state)
{
    static SearchedStore loaded;
    if (!loaded.store) {
        loaded.store = loadedStore(state);
        if (!loaded.store)
            return nullptr;
        loaded.pages = loaded.store->tree().memoArrayWithoutRoot();
        loaded.foldedBytes = foldAll(loaded.pages);
    }
    return &loaded;
}

void BM_FoldAllPages10k(benchmark::State &state)
{
    qint64 bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto store = loadedStore(state);
        if (!store)
            return;
        const QList<MemoPtr> pages = store->tree().memoArrayWithoutRoot();
        malloc_trim(0);
        const double before = statusMegabytes("VmRSS:");
        state.ResumeTiming();

        bytes = foldAll(pages);

        state.PauseTiming();
        malloc_trim(0);
        state.counters["folded_MB"] = double(bytes) / 1e6;
        state.counters["added_RSS_MB"] = statusMegabytes("VmRSS:") - before;
        state.counters["store_and_search_RSS_MB"] = statusMegabytes("VmRSS:");
        state.ResumeTiming();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * bytes);
}
BENCHMARK(BM_FoldAllPages10k)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_SearchAllPages10k(benchmark::State &state)
{
    SearchedStore *searched = searchedStore(state);
    if (!searched)
        return;
    qsizetype found = 0;
    // The list of every page is made anew for each search, as a window does.
    for (auto _ : state)
        found = MemoSearch::searchMemoWithKey(kTwoKeys, searched->store->tree().memoArrayWithoutRoot()).size();
    state.counters["found"] = double(found);
}
BENCHMARK(BM_SearchAllPages10k)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_SearchNarrowing10k(benchmark::State &state)
{
    SearchedStore *searched = searchedStore(state);
    if (!searched)
        return;
    const auto all = [searched] {
        return searched->pages;
    };
    qsizetype found = 0;
    for (auto _ : state) {
        state.PauseTiming();
        MemoSearch search;
        (void)search.resultFor(QStringLiteral("267"), all);
        state.ResumeTiming();
        found = search.resultFor(QStringLiteral("2673"), all).size();
    }
    state.counters["found"] = double(found);
}
BENCHMARK(BM_SearchNarrowing10k)->Unit(benchmark::kMillisecond)->UseRealTime();

void searchNowhere(benchmark::State &state, const QList<MemoPtr> &pages, qint64 foldedBytes)
{
    for (auto _ : state) {
        if (!MemoSearch::searchMemoWithKey(kNowhere, pages).isEmpty())
            state.SkipWithError("the keyword that occurs nowhere was found");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * foldedBytes);
    state.counters["pages"] = double(pages.size());
}

// With JW_BENCH_PLAIN_TEXT set, also writes every page's plain text to that
// file, so that the same keyword can be timed with grep -c -i -F beside it.
void BM_SearchNoMatch10k(benchmark::State &state)
{
    SearchedStore *searched = searchedStore(state);
    if (!searched)
        return;
    if (const QString out = qEnvironmentVariable("JW_BENCH_PLAIN_TEXT"); !out.isEmpty()) {
        QFile file(out);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            for (const MemoPtr &page : searched->pages)
                file.write(page->title().toUtf8() + '\n' + page->plainText().toUtf8() + '\n');
        }
    }
    searchNowhere(state, searched->pages, searched->foldedBytes);
}
BENCHMARK(BM_SearchNoMatch10k)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_SearchNoMatch100k(benchmark::State &state)
{
    const QString folder = qEnvironmentVariable("JW_BENCH_DATA_100K");
    if (folder.isEmpty() || !QFileInfo::exists(folder + QStringLiteral("/JW3Data.jw3datastore"))) {
        state.SkipWithError("JW_BENCH_DATA_100K names no folder made by jw-make-data-folder --pages 100000");
        return;
    }
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("dataFolderPath"), folder);
    DataStore store;
    store.loadNoteData();
    const QList<MemoPtr> pages = store.tree().memoArrayWithoutRoot();
    const qint64 bytes = foldAll(pages);
    searchNowhere(state, pages, bytes);
    reportPeakMemory(state);
}
BENCHMARK(BM_SearchNoMatch100k)->Unit(benchmark::kMillisecond)->UseRealTime();

// Find Next in a 1 MB page whose only occurrence is at its very end: the
// whole text is folded and scanned once.
void BM_FindInText1MB(benchmark::State &state)
{
    const QString text = realisticText(1 << 20) + QStringLiteral(" Zqxjvkw");
    const QStringList keys{kNowhere};
    for (auto _ : state) {
        const auto found = TextFinding::findFirst(text, keys, 0);
        if (!found || found->start != text.size() - kNowhere.size())
            state.SkipWithError("the key at the end was not found there");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * text.size() * 2);
}
BENCHMARK(BM_FindInText1MB)->Unit(benchmark::kMillisecond);

} // namespace
