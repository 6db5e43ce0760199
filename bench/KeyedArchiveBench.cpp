// The sync payload: one keyed archive holding the whole synchronised subtree.
#include "platform/archive/KeyedArchiver.h"
#include "platform/archive/KeyedUnarchiver.h"

#include <benchmark/benchmark.h>

#include <QDateTime>
#include <QTimeZone>

namespace {

constexpr int kFanOut = 10;

QVariantMap memoTree(int depth, qint64 &nextId)
{
    const qint64 id = nextId++;
    const QDateTime created = QDateTime(QDate(2010, 6, 1), QTime(12, 0), QTimeZone::utc()).addSecs(id * 61);
    QVariantList children;
    if (depth > 0) {
        for (int i = 0; i < kFanOut; ++i)
            children.append(memoTree(depth - 1, nextId));
    }
    return {{QStringLiteral("memoID"), id}, {QStringLiteral("title"), QStringLiteral("Page %1").arg(id)},
        {QStringLiteral("locked"), false}, {QStringLiteral("protectWithPassword"), false},
        {QStringLiteral("createdAt"), created}, {QStringLiteral("modifiedAt"), created.addDays(3)},
        {QStringLiteral("plainText"), QStringLiteral("Notes for page %1. ").arg(id).repeated(20)},
        {QStringLiteral("imageDataArray"), QVariantList{QByteArray(2048, char(id))}},
        {QStringLiteral("children"), children}};
}

// 1 + 10 + 100 + 1,000 = 1,111 pages.
QVariantMap syncPayload()
{
    qint64 nextId = 1;
    return memoTree(3, nextId);
}

void BM_KeyedArchiveEncodeSyncTree(benchmark::State &state)
{
    const QVariantMap tree = syncPayload();
    const KeyedArchiver archiver;
    qint64 bytes = 0;
    for (auto _ : state) {
        auto data = archiver.archivedDataWithRootObject(tree);
        if (!data) {
            state.SkipWithError(data.errorMessage().toUtf8().constData());
            break;
        }
        bytes = data.value().size();
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["pages"] = 1111;
    state.counters["archiveBytes"] = double(bytes);
    state.SetBytesProcessed(state.iterations() * bytes);
}
BENCHMARK(BM_KeyedArchiveEncodeSyncTree)->Unit(benchmark::kMillisecond);

void BM_KeyedArchiveDecodeSyncTree(benchmark::State &state)
{
    const QByteArray data = KeyedArchiver().archivedDataWithRootObject(syncPayload()).valueOr({});
    for (auto _ : state) {
        auto tree = KeyedUnarchiver::unarchiveObjectWithData(data);
        if (!tree) {
            state.SkipWithError(tree.errorMessage().toUtf8().constData());
            break;
        }
        benchmark::DoNotOptimize(tree.value());
    }
    state.counters["pages"] = 1111;
    state.SetBytesProcessed(state.iterations() * data.size());
}
BENCHMARK(BM_KeyedArchiveDecodeSyncTree)->Unit(benchmark::kMillisecond);

} // namespace
