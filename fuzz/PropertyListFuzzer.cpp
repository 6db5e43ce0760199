// Property lists come from outside: settings files, page files, web archives,
// files dropped on the application and the companion's sync payloads.
#include "platform/PropertyList.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto parsed = PropertyList::fromData(bytes);
    if (parsed.ok()) {
        // Whatever was read must write back in both forms and read again.
        for (auto format : {PropertyList::Format::Xml, PropertyList::Format::Binary}) {
            const auto written = PropertyList::toData(parsed.value(), format);
            if (written.ok())
                (void)PropertyList::fromData(written.value());
        }
    }
    return 0;
}
