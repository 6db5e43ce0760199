// Counting the words and lines of a long page, as the word and line counters
// of a page window do after each change.
#include "RealisticText.h"
#include "text/TextInformation.h"

#include <benchmark/benchmark.h>

#include <QTextDocument>

namespace {

void BM_WordLineCount1MB(benchmark::State &state)
{
    QTextDocument document;
    document.setPlainText(realisticText(1 << 20));
    qint64 words = 0;
    qint64 lines = 0;
    for (auto _ : state) {
        words = TextInformation::countWords(document);
        lines = TextInformation::countLines(document);
        benchmark::DoNotOptimize(words);
        benchmark::DoNotOptimize(lines);
    }
    state.counters["characters"] = double(TextInformation::countCharacters(document));
    state.counters["words"] = double(words);
    state.counters["lines"] = double(lines);
}
BENCHMARK(BM_WordLineCount1MB)->Unit(benchmark::kMillisecond);

} // namespace
