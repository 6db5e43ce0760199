// Property lists come from outside: settings files, page files, web archives,
// files dropped on the application and the companion's sync payloads.
//
// Every input goes to every reader (not only the one the signature picks,
// and the libplist one books take too),
// and whatever reads must write in both forms and reach a fixed point: the
// bytes written for what was read back are the bytes written before.
#include "platform/archive/BinaryPropertyList.h"
#include "platform/archive/FlatXmlPropertyList.h"
#include "platform/archive/PropertyList.h"
#include "platform/archive/XmlPropertyListReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void require(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "property-list fuzzer: %s\n", what);
        std::abort();
    }
}

void checkRoundTrips(const QVariant &value)
{
    const auto binary = PropertyList::toData(value, PropertyList::Format::Binary);
    if (binary.ok()) {
        const auto back = BinaryPropertyList::read(binary.value());
        require(back.ok(), "the binary writer's output does not read");
        require(BinaryPropertyList::write(back.value()).valueOr({}) == binary.value(),
            "binary write, read and write again gives other bytes");
    }
    // XML loses what the form cannot hold (fractions of seconds, the sign of
    // zero, characters after a NUL), so its fixed point is one round later.
    const auto xml = PropertyList::toData(value, PropertyList::Format::Xml);
    if (xml.ok()) {
        const auto back = XmlPropertyListReader::read(xml.value());
        require(back.ok(), "the XML writer's output does not read");
        const auto rewritten = PropertyList::toData(back.value(), PropertyList::Format::Xml);
        require(rewritten.ok(), "a value read from XML cannot be written as XML");
        const auto again = XmlPropertyListReader::read(rewritten.value());
        require(again.ok(), "rewritten XML does not read");
        require(PropertyList::toData(again.value(), PropertyList::Format::Xml).valueOr({}) == rewritten.value(),
            "XML does not reach a fixed point");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    if (const auto parsed = PropertyList::fromData(bytes); parsed.ok())
        checkRoundTrips(parsed.value());
    if (const auto binary = BinaryPropertyList::read(bytes); binary.ok())
        checkRoundTrips(binary.value());
    if (const auto xml = XmlPropertyListReader::read(bytes); xml.ok())
        checkRoundTrips(xml.value());
    if (const auto flat = FlatXmlPropertyList::read(bytes); flat.ok())
        checkRoundTrips(flat.value());
    return 0;
}
