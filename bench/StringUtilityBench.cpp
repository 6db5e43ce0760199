// Sorting a large tree's titles in natural order, the way the outline's sort
// command and the page lists do.
#include "util/StringUtility.h"

#include <benchmark/benchmark.h>

#include <QRandomGenerator>
#include <QStringList>

#include <array>

namespace {

// Titles as a long-used tree holds them: numbered pages and chapters,
// dated entries, Japanese and accented titles, and plain words in any case.
QStringList realisticTitles(int count)
{
    static const std::array<const char *, 24> kWords
        = {"meeting", "Notes", "ideas", "Project", "draft", "TODO", "recipe", "Travel", "budget", "reading list",
            "caf\u00E9", "r\u00E9sum\u00E9", "\u00C5ngstr\u00F6m", "na\u00EFve", "Stra\u00DFe", "\u00E9t\u00E9",
            "\u65E5\u8A18", "\u4F1A\u8B70\u30E1\u30E2", "\u8CB7\u3044\u7269\u30EA\u30B9\u30C8",
            "\u3072\u3089\u304C\u306A", "\u30AB\u30BF\u30AB\u30CA", "\u6771\u4EAC", "\uFF21\uFF22\uFF23", "v2.1"};
    QRandomGenerator random(2024);
    const auto word = [&] {
        return QString::fromUtf8(kWords[random.bounded(int(kWords.size()))]);
    };
    QStringList titles;
    titles.reserve(count);
    for (int i = 0; i < count; ++i) {
        switch (random.bounded(6)) {
        case 0:
            titles.append(QStringLiteral("Page %1").arg(random.bounded(1, 2000)));
            break;
        case 1:
            titles.append(QStringLiteral("Chapter %1 - %2-%3-%4")
                              .arg(random.bounded(1, 40))
                              .arg(random.bounded(2000, 2025))
                              .arg(random.bounded(1, 13), 2, 10, QLatin1Char('0'))
                              .arg(random.bounded(1, 29), 2, 10, QLatin1Char('0')));
            break;
        case 2:
            titles.append(word() + QLatin1Char(' ') + QString::number(random.bounded(1, 300)));
            break;
        default: {
            QString title = word();
            for (int n = random.bounded(3); n > 0; --n)
                title += QLatin1Char(' ') + word();
            titles.append(title);
        }
        }
    }
    return titles;
}

void BM_NaturalCompareSort100k(benchmark::State &state)
{
    const QStringList titles = realisticTitles(100'000);
    for (auto _ : state) {
        QStringList sorted = titles;
        StringUtility::sortNaturally(sorted, [](const QString &title) { return title; });
        benchmark::DoNotOptimize(sorted.constData());
    }
    state.SetItemsProcessed(state.iterations() * titles.size());
}
BENCHMARK(BM_NaturalCompareSort100k)->Unit(benchmark::kMillisecond);

} // namespace
