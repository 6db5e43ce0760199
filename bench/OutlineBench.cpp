// A window's outline over the 10,000-page folder: expanding every row,
// selecting a page (the page left takes its edits back, the new one is
// shown, the history grows), and the reload that follows a move, which runs
// on every step of a drag.
#include "BenchFolder.h"
#include "windows/TreeOnlyHost.h"
#include "windows/OutlineTestWindow.h"

#include "model/JWMemo.h"
#include "windows/NoteOutlineModel.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>

#include <random>

namespace {

// A shown window with its outline on the folder's root.
struct OutlineOnFolder
{
    explicit OutlineOnFolder(DataStore &store)
        : host(store.tree())
        , controller(host, window, *window.outline)
    {
        window.resize(900, 700);
        window.show();
        controller.setRootMemo(store.rootMemo());
        settle();
    }

    static void settle() { QCoreApplication::processEvents(); }

    TreeOnlyHost host;
    OutlineTestWindow window;
    NoteTreeController controller;
};

// Pages a user could open: not behind a password, nor inside a page that is.
QList<MemoPtr> openablePages(DataStore &store)
{
    QList<MemoPtr> pages = store.tree().memoArrayWithoutRoot();
    pages.removeIf([](const MemoPtr &memo) { return memo->protectWithPassword(); });
    return pages;
}

void BM_OutlineExpandAll10k(benchmark::State &state)
{
    const auto store = loadedStore(state);
    if (!store)
        return;
    OutlineOnFolder outline(*store);
    NoteOutlineView &view = *outline.window.outline;
    for (auto _ : state) {
        state.PauseTiming();
        view.collapseEveryItem();
        OutlineOnFolder::settle();
        state.ResumeTiming();
        view.expandEveryItem();
        // Shown: the expanded rows laid out and the visible ones painted.
        view.viewport()->repaint();
    }
    state.counters["rows"] = double(outline.controller.model().memoCount());
}
BENCHMARK(BM_OutlineExpandAll10k)->Unit(benchmark::kMillisecond);

void BM_SelectMemo(benchmark::State &state)
{
    const auto store = loadedStore(state);
    if (!store)
        return;
    OutlineOnFolder outline(*store);
    QList<MemoPtr> pages = openablePages(*store);
    std::shuffle(pages.begin(), pages.end(), std::mt19937(kBenchFolderSeed));
    qsizetype next = 0;
    for (auto _ : state) {
        outline.controller.setSelection(pages[next]);
        outline.window.text->viewport()->repaint();
        outline.window.outline->viewport()->repaint();
        next = (next + 1) % pages.size();
    }
    if (outline.controller.moveHistory().size() < qsizetype(state.iterations()))
        state.SkipWithError("the selections were not recorded");
}
BENCHMARK(BM_SelectMemo)->Unit(benchmark::kMillisecond);

void BM_ReloadAfterMove(benchmark::State &state)
{
    const auto store = loadedStore(state);
    if (!store)
        return;
    OutlineOnFolder outline(*store);
    outline.window.outline->expandEveryItem();
    OutlineOnFolder::settle();
    MemoTree &tree = store->tree();
    const MemoPtr root = store->rootMemo();
    // A top-level page goes to the end and back, as a drag does; each move
    // posts the reload that every outline follows.
    const MemoPtr moving = root->children().front();
    bool atEnd = false;
    for (auto _ : state) {
        tree.moveMemo(moving, root, atEnd ? 0 : -1, false);
        atEnd = !atEnd;
        outline.window.outline->viewport()->repaint();
    }
    state.counters["rows"] = double(outline.controller.model().memoCount());
}
BENCHMARK(BM_ReloadAfterMove)->Unit(benchmark::kMillisecond);

} // namespace
