#include "BenchFolder.h"

#include "DataFolderGenerator.h"

#include "platform/settings/UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <malloc.h>
#include <sys/resource.h>

namespace {

constexpr int kPages = 10'000;
constexpr int kTextBytes = 5'000;
constexpr quint32 kSeed = kBenchFolderSeed;
const QString kDataFolderPathKey = QStringLiteral("dataFolderPath");

Result<QString> generateCachedFolder()
{
    const QString cache
        = QDir::tempPath() + QStringLiteral("/jw-bench-data-%1-v%2").arg(kPages).arg(DataFolderGenerator::kVersion);
    if (QFileInfo::exists(cache + QStringLiteral("/JW3Data.jw3datastore")))
        return cache;
    // Written beside the cache and renamed into place when complete, so that
    // an interrupted run never leaves half a folder to be taken for a whole one.
    QTemporaryDir work(cache + QStringLiteral("-XXXXXX"));
    if (!work.isValid())
        return Error{work.errorString()};
    const QString folder = work.path() + QStringLiteral("/folder");
    DataFolderGenerator generator({kPages, kTextBytes, kSeed});
    if (auto written = generator.writeFolder(folder); !written)
        return Error{written.errorMessage()};
    if (!QDir().rename(folder, cache))
        return Error{QStringLiteral("The generated folder cannot be moved to %1").arg(cache)};
    return cache;
}

const Result<QString> &benchFolder()
{
    static const Result<QString> folder = []() -> Result<QString> {
        const QString given = qEnvironmentVariable("JW_BENCH_DATA");
        if (given.isEmpty())
            return generateCachedFolder();
        if (!QFileInfo::exists(given + QStringLiteral("/JW3Data.jw3datastore")))
            return Error{QStringLiteral("JW_BENCH_DATA=%1 holds no data store").arg(given)};
        return QFileInfo(given).absoluteFilePath();
    }();
    return folder;
}

} // namespace

// Hands freed memory back and restarts the kernel's high-water mark from the
// present size, so that a benchmark's peak is its own, not that of whatever
// ran before it (the folder's generation above all).
void resetPeakResidentMemory()
{
    malloc_trim(0);
    QFile clearRefs(QStringLiteral("/proc/self/clear_refs"));
    if (clearRefs.open(QIODevice::WriteOnly))
        clearRefs.write("5");
}

// A "VmHWM:"-style line of /proc/self/status in megabytes; 0 when it is missing.
double statusMegabytes(const QByteArray &field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(field.size()).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return 0;
}

double peakResidentMegabytes()
{
    if (const double peak = statusMegabytes("VmHWM:"); peak > 0)
        return peak;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

void reportPeakMemory(benchmark::State &state)
{
    state.counters["peak_RSS_MB"] = peakResidentMegabytes();
}

// Points the preferences at the folder; false, with the benchmark skipped, when there is none.
bool useBenchFolder(benchmark::State &state)
{
    const Result<QString> &folder = benchFolder();
    if (!folder) {
        state.SkipWithError(folder.errorMessage().toStdString().c_str());
        return false;
    }
    UserDefaults::standardUserDefaults().setValue(kDataFolderPathKey, folder.value());
    return true;
}

// The folder as the application loads it at start-up without windows; null, with the benchmark skipped, on failure.
std::unique_ptr<DataStore> loadedStore(benchmark::State &state)
{
    if (!useBenchFolder(state))
        return nullptr;
    auto store = std::make_unique<DataStore>();
    store->loadNoteData();
    if (!store->problems().isEmpty() || !store->rootMemo()) {
        state.SkipWithError(
            QStringLiteral("the folder did not load: %1").arg(store->problems().join(u' ')).toStdString().c_str());
        return nullptr;
    }
    return store;
}

// Every page but the root.
QList<MemoPtr> pagesOf(DataStore &store)
{
    QList<MemoPtr> pages = store.tree().arrayOfMemos(store.rootMemo());
    pages.removeFirst();
    return pages;
}
