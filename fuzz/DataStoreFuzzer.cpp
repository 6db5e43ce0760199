// A data store comes from outside whenever a data folder is brought over from
// another machine or restored from a backup; a damaged one must be an error,
// never a crash, a hang or a tree that breaks later.
#include "model/MemoCoding.h"
#include "model/JWMemo.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <QCoreApplication>

#include <cstddef>
#include <cstdint>

namespace {

const TypedStreamRegistry &registry()
{
    static const TypedStreamRegistry r = [] {
        TypedStreamRegistry made = TypedStreamRegistry::withStandardClasses();
        MemoCoding::registerWith(made);
        return made;
    }();
    return r;
}

// Walks the whole tree the way the outline and the save do.
qsizetype countPages(const JWMemo &memo, int depth)
{
    if (depth > 10'000)
        return 0;
    qsizetype count = 1;
    for (const MemoPtr &child : memo.children())
        count += countPages(*child, depth + 1);
    return count;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz-data-store";
    static char *argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv); // pages own timers

    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes, registry());
    if (!decoded.ok())
        return 0;
    const MemoPtr root = decoded.value().value<MemoPtr>();
    if (!root)
        return 0;
    (void)countPages(*root, 0);
    // A tree that was read must write back and read again.
    const auto encoded = TypedStreamWriter::archivedDataWithRootObject(decoded.value(), registry());
    if (encoded.ok() && !TypedStreamDecoder::unarchiveObjectWithData(encoded.value(), registry()).ok())
        __builtin_trap();
    return 0;
}
