// Data stores and settings are decoded straight from their bytes. A stream
// decodes only if it reads as a generic tree, and what decodes writes back to
// bytes that decode to a value writing the same bytes again, shared objects
// and all. Any difference stops the run.
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

QByteArray written(const Result<QVariant> &value, const TypedStreamRegistry &registry)
{
    if (!value)
        return QByteArrayLiteral("failed");
    auto bytes = TypedStreamWriter::archivedDataWithRootObject(value.value(), registry);
    return bytes ? bytes.value() : QByteArrayLiteral("unwritable");
}

void differ(const char *what, const QString &detail)
{
    std::fprintf(stderr, "%s: %s\n", what, qPrintable(detail));
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
    const bool readsAsTree = TypedStreamReader::read(bytes).ok();
    for (const TypedStreamRegistry *registry : {&standardRegistry(), &memoRegistry()}) {
        for (const TypedStreamDecodeOptions options : {TypedStreamDecodeOptions{}, TypedStreamDecodeOptions{true}}) {
            const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes, *registry, options);
            if (decoded.ok() && !readsAsTree)
                differ("decoded a stream that does not read as a tree", QString());
            const QByteArray once = written(decoded, *registry);
            if (!decoded.ok() || once == "unwritable")
                continue;
            const auto again = TypedStreamDecoder::unarchiveObjectWithData(once, *registry, options);
            if (!again.ok())
                differ("what was written does not decode", again.errorMessage());
            if (written(again, *registry) != once)
                differ("written again differently", QString());
        }
    }
    return 0;
}
