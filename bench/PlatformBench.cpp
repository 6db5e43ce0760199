// Costs of the platform services on the paths that run per page or per save.
#include "platform/base/AtomicFileWriter.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/archive/PropertyList.h"
#include "platform/settings/UserDefaults.h"

#include <benchmark/benchmark.h>

#include <QTemporaryDir>

#include <memory>
#include <vector>

namespace {

// Every page observes the save notification, so a save with N pages
// delivers to N observers.
void BM_NotificationPostToPages(benchmark::State &state)
{
    NotificationCenter center;
    std::vector<std::unique_ptr<QObject>> pages;
    int64_t delivered = 0;
    for (int64_t i = 0; i < state.range(0); ++i) {
        pages.push_back(std::make_unique<QObject>());
        center.addObserver(pages.back().get(), NotificationNames::JW3SaveMemoContent, nullptr,
            [&delivered](const Notification &) { ++delivered; });
        center.addObserver(pages.back().get(), NotificationNames::JW3OpenNoteLeaf, nullptr,
            [&delivered](const Notification &) { ++delivered; });
    }
    for (auto _ : state)
        center.post(NotificationNames::JW3SaveMemoContent);
    benchmark::DoNotOptimize(delivered);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_NotificationPostToPages)->Arg(10'000);

// Closing a large tree destroys every page and with it its observers.
void BM_NotificationPagesComeAndGo(benchmark::State &state)
{
    NotificationCenter center;
    for (auto _ : state) {
        std::vector<std::unique_ptr<QObject>> pages;
        for (int64_t i = 0; i < state.range(0); ++i) {
            pages.push_back(std::make_unique<QObject>());
            for (auto name : {NotificationNames::JW3SaveMemoContent, NotificationNames::JW3OpenNoteLeaf,
                     NotificationNames::JW3ConvertNoteTextToSetTitleAtFirstLine,
                     NotificationNames::JW3ConvertNoteTextToSetTitleFromFirstLine})
                center.addObserver(pages.back().get(), name, nullptr, [](const Notification &) {});
        }
        pages.clear();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_NotificationPagesComeAndGo)->Arg(10'000)->Unit(benchmark::kMillisecond);

// A page file of typical size, written the only way files are written.
void BM_AtomicWritePageFile(benchmark::State &state)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("12.jw3page"));
    const QByteArray bytes(int(state.range(0)), 'x');
    for (auto _ : state) {
        if (!AtomicFileWriter::writeFile(path, bytes).ok())
            state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_AtomicWritePageFile)->Arg(16 << 10)->Unit(benchmark::kMicrosecond);

QVariantMap typicalPreferences()
{
    QVariantMap values;
    for (int i = 0; i < 40; ++i)
        values.insert(QStringLiteral("Key%1").arg(i),
            i % 3 == 0 ? QVariant(qint64(i)) : QVariant(QStringLiteral("value %1").arg(i)));
    values.insert(QStringLiteral("windowIDs"), QVariantList{qint64(1), qint64(12), qint64(40)});
    values.insert(QStringLiteral("BGColor"), QByteArray(60, '\x84'));
    return values;
}

// The preferences are written after every burst of changes.
void BM_UserDefaultsSynchronize(benchmark::State &state)
{
    QTemporaryDir folder;
    UserDefaults defaults(folder.filePath(QStringLiteral("defaults.plist")));
    const QVariantMap values = typicalPreferences();
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        defaults.setValue(it.key(), it.value());
    qint64 memoID = 0;
    for (auto _ : state) {
        defaults.setValue(QStringLiteral("memoID"), ++memoID);
        if (!defaults.synchronize().ok())
            state.SkipWithError("synchronize failed");
    }
}
BENCHMARK(BM_UserDefaultsSynchronize)->Unit(benchmark::kMicrosecond);

// Reading a page-file-sized XML property list.
void BM_PropertyListReadXml(benchmark::State &state)
{
    QVariantMap page = typicalPreferences();
    page.insert(QStringLiteral("memoData"), QByteArray(int(state.range(0)), 'r'));
    const QByteArray xml = PropertyList::toData(page, PropertyList::Format::Xml).value();
    for (auto _ : state)
        benchmark::DoNotOptimize(PropertyList::fromData(xml));
    state.SetBytesProcessed(state.iterations() * xml.size());
}
BENCHMARK(BM_PropertyListReadXml)->Arg(16 << 10)->Unit(benchmark::kMicrosecond);

} // namespace
