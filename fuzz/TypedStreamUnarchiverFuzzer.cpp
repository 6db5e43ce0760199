// Data stores and settings are decoded straight from their bytes; the generic
// tree (TypedStreamReader, then the coders over it) is the reference. Both
// must fail on the same inputs, and where they decode, to values that write
// back to the same bytes, shared objects and all. Any difference stops the run.
#include "model/MemoCoding.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamReader.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <QCoreApplication>

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace {

const TypedStreamRegistry &standardRegistry()
{
    static const TypedStreamRegistry r = TypedStreamRegistry::withStandardClasses();
    return r;
}

const TypedStreamRegistry &memoRegistry()
{
    static const TypedStreamRegistry r = [] {
        TypedStreamRegistry made = TypedStreamRegistry::withStandardClasses();
        MemoCoding::registerWith(made);
        return made;
    }();
    return r;
}

// As unarchiveObjectWithData decoded before: the tree goes when the value is
// made, and with it whatever only the tree held (objects referred back to).
Result<QVariant> decodeThroughTree(const QByteArray &bytes, const TypedStreamRegistry &registry,
                                   TypedStreamDecodeOptions options)
{
    const auto archive = TypedStreamReader::read(bytes);
    if (!archive)
        return Error{archive.errorMessage()};
    TypedStreamDecoder decoder(archive.value(), registry, options);
    if (decoder.atEnd())
        return Error{QStringLiteral("no root")};
    return decoder.decodeObject();
}

QByteArray written(const Result<QVariant> &value, const TypedStreamRegistry &registry)
{
    if (!value)
        return QByteArrayLiteral("failed");
    auto bytes = TypedStreamWriter::archivedDataWithRootObject(value.value(), registry);
    return bytes ? bytes.value() : QByteArrayLiteral("unwritable");
}

void differ(const char *what, const Result<QVariant> &streamed, const Result<QVariant> &tree)
{
    std::fprintf(stderr, "%s: from bytes %s, through the tree %s\n", what,
                 qPrintable(streamed ? QStringLiteral("decoded") : streamed.errorMessage()),
                 qPrintable(tree ? QStringLiteral("decoded") : tree.errorMessage()));
    __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz-typed-stream-unarchiver";
    static char *argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv); // pages are QObjects

    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const TypedStreamRegistry *registry : {&standardRegistry(), &memoRegistry()}) {
        for (const TypedStreamDecodeOptions options : {TypedStreamDecodeOptions{}, TypedStreamDecodeOptions{true}}) {
            const auto streamed = TypedStreamDecoder::unarchiveObjectWithData(bytes, *registry, options);
            const auto tree = decodeThroughTree(bytes, *registry, options);
            if (streamed.ok() != tree.ok())
                differ("success", streamed, tree);
            if (streamed.ok() && written(streamed, *registry) != written(tree, *registry))
                differ("value", streamed, tree);
        }
    }
    return 0;
}
