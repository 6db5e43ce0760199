// Note windows on the 10,000-page folder: a selection change that shows a
// 100 kB page, and the memory three open windows take.
#include "BenchFolder.h"
#include "windows/TreeOnlyHost.h"
#include "RealisticText.h"

#include "model/JWMemo.h"
#include "model/MemoCreation.h"
#include "model/MemoTree.h"
#include "text/TextExport.h"
#include "text/TextStyling.h"
#include "windows/NoteMainWindow.h"
#include "windows/NoteOutlineView.h"
#include "windows/NoteTextView.h"
#include "windows/NoteTreeController.h"
#include "windows/NoteTreeHost.h"
#include "windows/NoteWindowController.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QTextDocument>

#include <malloc.h>

namespace {

// About 100 kB of notes with bold runs, as a long page keeps them.
QByteArray longPage()
{
    QTextDocument document;
    document.setPlainText(realisticText(100 * 1024));
    const int length = document.characterCount() - 1;
    for (int at = 0; at + 40 < length; at += 997)
        TextStyling::setAttribute(document, QTextFormat::FontWeight, int(QFont::Bold), {at, 12});
    return TextExport::RTFDData(document);
}

void settle()
{
    QCoreApplication::processEvents();
}

void BM_SelectionChange100k(benchmark::State &state)
{
    const auto store = loadedStore(state);
    if (!store)
        return;
    const MemoPtr root = store->rootMemo();
    const MemoPtr longOne = MemoCreation::initWithString(QStringLiteral("long"));
    longOne->setMemoData(longPage());
    root->insertChild(0, longOne);
    const MemoPtr shortOne = MemoCreation::initWithString(QStringLiteral("A short page"));
    root->insertChild(1, shortOne);

    TreeOnlyHost host(store->tree());
    NoteWindowController window(host);
    window.setRootMemo(root);
    window.mainWindow().resize(1000, 700);
    window.showWindow();
    settle();
    for (auto _ : state) {
        // Away and back: each change resigns one page and shows the other.
        state.PauseTiming();
        window.selectMemo(shortOne);
        settle();
        state.ResumeTiming();
        window.selectMemo(longOne);
        window.textView()->viewport()->repaint();
    }
    if (window.textView()->string().size() < 50'000)
        state.SkipWithError("the long page was not shown");
    state.counters["page_kB"] = double(longOne->memoData().size()) / 1024;
}
BENCHMARK(BM_SelectionChange100k)->Unit(benchmark::kMillisecond);

// Not timed: the resident memory with the folder loaded and three windows open on it.
void BM_ThreeWindowsMemory(benchmark::State &state)
{
    const auto store = loadedStore(state);
    if (!store)
        return;
    TreeOnlyHost host(store->tree());
    std::vector<std::unique_ptr<NoteWindowController>> windows;
    for (auto _ : state) {
        const MemoPtr root = store->rootMemo();
        for (const MemoPtr &on : {root, root->children().at(0), root->children().at(1)}) {
            auto window = std::make_unique<NoteWindowController>(host);
            window->setRootMemo(on);
            window->mainWindow().resize(1000, 700);
            window->showWindow();
            window->outline().expandEveryItem();
            windows.push_back(std::move(window));
        }
        settle();
    }
    malloc_trim(0);
    state.counters["RSS_MB"] = statusMegabytes("VmRSS:");
    state.counters["windows"] = double(windows.size());
}
BENCHMARK(BM_ThreeWindowsMemory)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace
