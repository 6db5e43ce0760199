#pragma once

// The large data folder the benchmarks run on, and the process's memory.
//
// The folder is the one named by JW_BENCH_DATA, or else one that
// DataFolderGenerator writes once into the temporary folder and that later
// runs reuse. Benchmarks that save write into it, so do not point
// JW_BENCH_DATA at data you care about.

#include "model/DataStore.h"

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QList>

#include <memory>

/** The seed and size of the generated folder. */
inline constexpr quint32 kBenchFolderSeed = 1;

/**
 * Hands freed memory back and restarts the kernel's high-water mark from the
 * present size, so that a benchmark's peak is its own.
 */
void resetPeakResidentMemory();
/** A "VmHWM:"-style line of /proc/self/status in megabytes; 0 when it is missing. */
[[nodiscard]] double statusMegabytes(const QByteArray &field);
[[nodiscard]] double peakResidentMegabytes();
/** Reports peak_RSS_MB. */
void reportPeakMemory(benchmark::State &state);

/** Points the preferences at the folder; false, with the benchmark skipped, when there is none. */
bool useBenchFolder(benchmark::State &state);
/** The folder as the application loads it at start-up without windows; null, with the benchmark skipped, on failure. */
[[nodiscard]] std::unique_ptr<DataStore> loadedStore(benchmark::State &state);
/** Every page but the root. */
[[nodiscard]] QList<MemoPtr> pagesOf(DataStore &store);
