// Reading and writing a data store of 10,000 memos with 5 kB of text each
// (about 50 MB): the cost of every launch and every save.
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamReader.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <memory>
#include <vector>

namespace {

// Shaped like the application's memo record; strings stay UTF-8 bytes.
struct BenchMemo
{
    qint64 memoID = 0;
    QByteArray title;
    std::vector<std::shared_ptr<BenchMemo>> children;
    qint32 referenceNumber = 0;
    bool locked = false;
    QByteArray plainText;
};
using BenchMemoPtr = std::shared_ptr<BenchMemo>;

} // namespace

Q_DECLARE_METATYPE(BenchMemoPtr)

namespace {

constexpr int kMemoCount = 10'000;
constexpr int kTextSize = 5'000;

Status encodeMemo(TypedStreamWriter &writer, const QVariant &value)
{
    const BenchMemo &memo = *value.value<BenchMemoPtr>();
    if (Status s = writer.encodeObject(memo.memoID); !s)
        return s;
    if (Status s = writer.encodeStringBytes(memo.title); !s)
        return s;
    QVariantList children;
    children.reserve(qsizetype(memo.children.size()));
    for (const auto &child : memo.children)
        children.append(QVariant::fromValue(child));
    if (Status s = writer.encodeObject(children); !s)
        return s;
    if (Status s = writer.encodeObject(memo.referenceNumber); !s)
        return s;
    if (Status s = writer.encodeObject(memo.locked); !s)
        return s;
    return writer.encodeStringBytes(memo.plainText);
}

Result<QVariant> decodeMemo(TypedStreamDecoder &decoder)
{
    auto memo = std::make_shared<BenchMemo>();
    auto id = decoder.decodeObject();
    auto title = decoder.decodeStringBytes();
    auto children = decoder.decodeObject();
    auto reference = decoder.decodeObject();
    auto locked = decoder.decodeObject();
    auto text = decoder.decodeStringBytes();
    if (!id || !title || !children || !reference || !locked || !text)
        return Error{QStringLiteral("malformed memo")};
    memo->memoID = id.value().toLongLong();
    memo->title = title.value();
    for (const QVariant &child : children.value().toList())
        memo->children.push_back(child.value<BenchMemoPtr>());
    memo->referenceNumber = reference.value().toInt();
    memo->locked = locked.value().toBool();
    memo->plainText = text.value();
    return QVariant::fromValue(memo);
}

const TypedStreamRegistry &benchRegistry()
{
    static const TypedStreamRegistry registry = [] {
        TypedStreamRegistry r = TypedStreamRegistry::withStandardClasses();
        TypedStreamCoder coder;
        coder.className = "JWMemo";
        coder.version = 5;
        coder.encode = encodeMemo;
        coder.decode = decodeMemo;
        coder.identity = [](const QVariant &value) -> const void * {
            return value.value<BenchMemoPtr>().get();
        };
        r.registerCoder(std::move(coder));
        r.setDefaultClassName(qMetaTypeId<BenchMemoPtr>(), "JWMemo");
        return r;
    }();
    return registry;
}

// A root with 100 sections of 99 memos each, plus the sections themselves: 10,000 memos.
BenchMemoPtr makeTree()
{
    QByteArray base;
    base.reserve(kTextSize);
    while (base.size() < kTextSize)
        base += "The quick brown fox jumps over the lazy dog; notes keep their words. ";
    base.truncate(kTextSize);
    qint64 nextID = 0;
    const auto make = [&](const QByteArray &title) {
        auto memo = std::make_shared<BenchMemo>();
        memo->memoID = nextID++;
        memo->title = title;
        memo->referenceNumber = int(memo->memoID % 97);
        memo->locked = memo->memoID % 2;
        memo->plainText = base;
        memo->plainText.replace(0, 12, QByteArray::number(memo->memoID).rightJustified(12, '0'));
        return memo;
    };
    BenchMemoPtr root = make("Notes");
    for (int s = 0; s < 100 && nextID < kMemoCount; ++s) {
        auto section = make("Section " + QByteArray::number(s));
        for (int m = 0; m < 99 && nextID < kMemoCount; ++m)
            section->children.push_back(make("Memo " + QByteArray::number(nextID)));
        root->children.push_back(section);
    }
    return root;
}

// Generated once; the decoded tree's strings share the archive's buffer, so
// the encoder's input costs no memory beyond the archive itself.
struct Fixture
{
    QByteArray archive;
    BenchMemoPtr tree;
};

const Fixture &fixture()
{
    static const Fixture f = [] {
        Fixture fixture;
        {
            TypedStreamWriter writer(benchRegistry());
            writer.reserve(qsizetype(kMemoCount) * (kTextSize + 200));
            if (writer.encodeObject(QVariant::fromValue(makeTree())).ok())
                fixture.archive = writer.data();
        }
        // Hand the generated texts' pages back, so that peak RSS shows what
        // decoding and encoding hold rather than what generating them left behind.
        malloc_trim(0);
        fixture.tree = TypedStreamDecoder::unarchiveObjectWithData(fixture.archive, benchRegistry())
                           .valueOr({})
                           .value<BenchMemoPtr>();
        return fixture;
    }();
    return f;
}

void BM_TypedStreamDecodeText(benchmark::State &state)
{
    const Fixture &f = fixture();
    if (f.archive.isEmpty() || !f.tree) {
        state.SkipWithError("could not build the archive");
        return;
    }
    for (auto _ : state) {
        auto decoded = TypedStreamDecoder::unarchiveObjectWithData(f.archive, benchRegistry());
        if (!decoded.ok()) {
            state.SkipWithError(decoded.errorMessage().toStdString().c_str());
            return;
        }
        benchmark::DoNotOptimize(decoded.value().value<BenchMemoPtr>()->children.size());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * f.archive.size());
    state.counters["archive_MB"] = double(f.archive.size()) / 1e6;
}
BENCHMARK(BM_TypedStreamDecodeText)->Unit(benchmark::kMillisecond)->Iterations(3);

// The same archive read into its generic tree: what tools that show an
// archive as it is, and the rare archive that needs every node, cost.
void BM_TypedStreamReadTree(benchmark::State &state)
{
    const Fixture &f = fixture();
    if (f.archive.isEmpty() || !f.tree) {
        state.SkipWithError("could not build the archive");
        return;
    }
    for (auto _ : state) {
        auto tree = TypedStreamReader::read(f.archive);
        if (!tree.ok()) {
            state.SkipWithError(tree.errorMessage().toStdString().c_str());
            return;
        }
        benchmark::DoNotOptimize(tree.value().objects.size());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * f.archive.size());
}
BENCHMARK(BM_TypedStreamReadTree)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_TypedStreamEncodeText(benchmark::State &state)
{
    const Fixture &f = fixture();
    if (f.archive.isEmpty() || !f.tree) {
        state.SkipWithError("could not build the archive");
        return;
    }
    for (auto _ : state) {
        TypedStreamWriter writer(benchRegistry());
        writer.reserve(f.archive.size());
        const Status s = writer.encodeObject(QVariant::fromValue(f.tree));
        if (!s.ok() || writer.data().size() != f.archive.size()) {
            state.SkipWithError("encoding failed or differs");
            return;
        }
        benchmark::DoNotOptimize(writer.data().constData());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * f.archive.size());
}
BENCHMARK(BM_TypedStreamEncodeText)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
