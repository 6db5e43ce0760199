// The sync with the phone on the 10,000-page folder: merging the phone's
// 1,000-page tree (about 1 MB of plain text) into the store, and building
// the tree of a 1,000-page group that goes back to the phone.
//
// The group is made in memory under the store's root; nothing is saved.
#include "BenchFolder.h"
#include "RealisticText.h"

#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "sync/SyncDictionary.h"
#include "sync/SyncMerge.h"

#include <benchmark/benchmark.h>

#include <QTimeZone>

namespace {

constexpr int kGroupPages = 1000;
// Ten pages at the top of the group, the others spread over them.
constexpr int kFolders = 10;

const QString &groupName()
{
    static const QString name = QStringLiteral("Phone Sync Bench");
    return name;
}

QDateTime benchDate(int days)
{
    return QDateTime(QDate(2024, 1, 1).addDays(days), QTime(9, 0), QTimeZone::utc());
}

struct SyncStore
{
    std::unique_ptr<DataStore> store;
    MemoPtr group;
    qint64 firstID = 0;
    QStringList texts;
};

SyncStore *syncStore(benchmark::State &state)
{
    static SyncStore loaded;
    if (!loaded.store) {
        loaded.store = loadedStore(state);
        if (!loaded.store)
            return nullptr;
        MemoTree &tree = loaded.store->tree();
        loaded.firstID = tree.findBiggestID(0, tree.root()) + 1;
        loaded.group = JWMemo::bareMemo();
        loaded.group->setMemoID(loaded.firstID - 1 + 10 * kGroupPages);
        loaded.group->setTitle(groupName());
        tree.replaceChildren(
            QList<MemoPtr>(tree.root()->children().begin(), tree.root()->children().end()) << loaded.group,
            tree.root());
        const QString text = realisticText(1000);
        for (int i = 0; i < kGroupPages; ++i)
            loaded.texts.append(text.mid(i % 200) + QString::number(i));
    }
    return &loaded;
}

// The desktop's group as the last sync left it: page i under folder i % 10.
void resetGroup(SyncStore &sync)
{
    QList<MemoPtr> pages;
    for (int i = 0; i < kGroupPages; ++i) {
        MemoPtr memo = JWMemo::bareMemo();
        memo->setMemoID(sync.firstID + i);
        memo->setTitle(QStringLiteral("Page %1").arg(i));
        memo->setPlainText(sync.texts.at(i));
        memo->setCreatedAt(benchDate(0));
        memo->setModifiedAt(benchDate(1));
        memo->setIsEdited(false);
        memo->setModifiedAt(benchDate(1));
        if (i >= kFolders)
            pages.at(i % kFolders)->appendChild(memo);
        pages.append(memo);
    }
    sync.store->tree().replaceChildren(pages.mid(0, kFolders), sync.group);
}

// The phone's tree: every page edited later on the phone, and every page
// below the top moved to the next folder.
QVariantMap phoneTree(const SyncStore &sync)
{
    QList<QVariantMap> pages;
    for (int i = 0; i < kGroupPages; ++i) {
        pages.append(QVariantMap{{QStringLiteral("memoID"), sync.firstID + i},
            {QStringLiteral("title"), QStringLiteral("Page %1").arg(i)},
            {QStringLiteral("plainText"), QString(sync.texts.at(i) + QStringLiteral(" (phone)"))},
            {QStringLiteral("createdAt"), benchDate(0)}, {QStringLiteral("modifiedAt"), benchDate(2)},
            {QStringLiteral("locked"), false}, {QStringLiteral("referenceNumber"), 3}});
    }
    QList<QVariantList> children(kFolders);
    for (int i = kFolders; i < kGroupPages; ++i)
        children[(i + 1) % kFolders].append(pages.at(i));
    QVariantList top;
    for (int folder = 0; folder < kFolders; ++folder) {
        pages[folder].insert(QStringLiteral("children"), children.at(folder));
        top.append(pages.at(folder));
    }
    return QVariantMap{{QStringLiteral("memoID"), sync.group->memoID()}, {QStringLiteral("title"), groupName()},
        {QStringLiteral("modifiedAt"), benchDate(0)}, {QStringLiteral("children"), top}};
}

void BM_SyncMerge1000(benchmark::State &state)
{
    SyncStore *sync = syncStore(state);
    if (!sync)
        return;
    const QVariantMap phone = phoneTree(*sync);
    qint64 textBytes = 0;
    for (const QString &text : std::as_const(sync->texts))
        textBytes += text.toUtf8().size();
    for (auto _ : state) {
        state.PauseTiming();
        resetGroup(*sync);
        state.ResumeTiming();
        const MemoPtr merged = SyncMerge(sync->store->tree(), groupName(), benchDate(1)).syncWithDictionary(phone);
        if (!merged || merged->children().size() != size_t(kFolders)) {
            state.SkipWithError("the merge did not place the phone's pages");
            break;
        }
    }
    state.counters["text_MB"] = double(textBytes) / 1e6;
}
BENCHMARK(BM_SyncMerge1000)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_SyncDictionary1000(benchmark::State &state)
{
    SyncStore *sync = syncStore(state);
    if (!sync)
        return;
    resetGroup(*sync);
    qsizetype sent = 0;
    for (auto _ : state) {
        const auto tree
            = SyncDictionary(sync->store->tree(), SyncDictionary::Device::iPhone).dictionaryForGroup(groupName());
        sent = tree ? tree->value(QStringLiteral("children")).toList().size() : 0;
        benchmark::DoNotOptimize(sent);
    }
    if (sent != kFolders)
        state.SkipWithError("the group was not found");
}
BENCHMARK(BM_SyncDictionary1000)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
