// Reading a 10 MB NTP2 outline: about 10,000 notes of 1 KB of ordinary text,
// in groups three levels deep, as another note program would write them.
#include "RealisticText.h"

#include "exchange/NewNotePadImport.h"
#include "model/JWMemo.h"

#include <benchmark/benchmark.h>

#include <algorithm>

namespace {

constexpr qsizetype kOutlineSize = 10 * 1024 * 1024;

QString outlineText()
{
    const QString note = QStringLiteral(">>NOTE-----------------------------------------\n");
    const QString group = QStringLiteral(">>GROUP========================================\n");
    const QString groupEnd = QStringLiteral(">>GROUPEND-------------------------------------\n");
    const QString headerEnd = QStringLiteral(">>---------------------------------------------\n");

    const QString words = realisticText(kOutlineSize);
    QString text = QStringLiteral(">>NTP2---------\r\n");
    text.reserve(kOutlineSize + kOutlineSize / 8);
    qsizetype at = 0;
    int notes = 0;
    while (text.size() < kOutlineSize && at < words.size()) {
        // A group opens every 100 notes and every 10 groups go a level deeper, up to three.
        if (notes % 100 == 0) {
            if (notes % 1000 == 0 && notes > 0)
                text += groupEnd.repeated(3);
            text += group + QStringLiteral("Title:Group %1\r\n").arg(notes) + headerEnd;
        }
        // Cut at a space so that no word, and no surrogate pair, is split.
        const qsizetype end = std::max(words.indexOf(u' ', at + 1000), at + 1);
        text += note + QStringLiteral("Title:Note %1\r\n").arg(notes) + headerEnd;
        text += words.mid(at, end - at);
        text += QStringLiteral("\r\n");
        at = end;
        ++notes;
    }
    return text;
}

void BM_ImportNTP2_10MB(benchmark::State &state)
{
    const QString text = outlineText();
    qsizetype pages = 0;
    for (auto _ : state) {
        MemoPtr root = NewNotePadImport::newMemoFrom_NewNotePad(text);
        state.PauseTiming();
        pages = root ? qsizetype(root->children().size()) : 0;
        root.reset();
        state.ResumeTiming();
    }
    state.counters["text_MB"] = double(text.size()) / (1024 * 1024);
    state.counters["top_level_pages"] = double(pages);
}

} // namespace

BENCHMARK(BM_ImportNTP2_10MB)->Unit(benchmark::kMillisecond)->Iterations(3);
