// Keyed archives come from outside: the companion's sync payloads, and
// archived values inside settings and property lists dropped on the application.
#include "platform/archive/KeyedArchiver.h"
#include "platform/archive/KeyedUnarchiver.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    (void)KeyedUnarchiver::unarchiveObjectWithData(bytes);
    const auto top = KeyedUnarchiver::unarchiveTopLevelObjectsWithData(bytes);
    if (!top.ok())
        return 0;
    // Whatever was read and could be written again must read again.
    const auto written = KeyedArchiver().archivedDataWithTopLevelObjects(top.value());
    if (written.ok() && !KeyedUnarchiver::unarchiveTopLevelObjectsWithData(written.value()).ok())
        std::abort();
    return 0;
}
