// Typed streams come from outside: data folders and settings written on
// another machine, book files, pasted colours and imported archives.
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamReader.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto archive = TypedStreamReader::read(bytes);
    if (!archive.ok())
        return 0;
    // Whatever was read must write back and read again.
    const auto rewritten = TypedStreamWriter::archivedDataWithArchive(archive.value());
    if (rewritten.ok())
        (void)TypedStreamReader::read(rewritten.value());
    const auto decoded = TypedStreamDecoder::unarchiveObjectWithData(bytes);
    if (decoded.ok()) {
        const auto encoded = TypedStreamWriter::archivedDataWithRootObject(decoded.value());
        if (encoded.ok())
            (void)TypedStreamDecoder::unarchiveObjectWithData(encoded.value());
    }
    return 0;
}
