// Flattened RTFD comes from page files, the pasteboard and sync payloads.
//
// The container must reach a fixed point (what we write for what we read is
// what we read), and whatever text reads must be written as RTFD that reads
// again with as many attachments.
#include "platform/richtext/FileWrapper.h"
#include "platform/richtext/Rtfd.h"
#include "platform/richtext/TextAttachment.h"

#include <QGuiApplication>
#include <QTextDocument>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void require(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "rtfd fuzzer: %s\n", what);
        std::abort();
    }
}

// Documents need fonts, and fonts need a GUI application.
void ensureApplication()
{
    static int argc = 1;
    static char name[] = "fuzz-rtfd";
    static char *argv[] = {name, nullptr};
    if (QCoreApplication::instance())
        return;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    new QGuiApplication(argc, argv);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ensureApplication();
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));

    if (const auto wrapper = FileWrapper::fromSerialized(bytes); wrapper.ok()) {
        const QByteArray written = wrapper.value().serialized(0);
        const auto back = FileWrapper::fromSerialized(written);
        require(back.ok(), "a written container does not read");
        require(back.value().serialized(0) == written, "container write, read and write again gives other bytes");
    }

    QTextDocument document;
    if (!Rtfd::readFlattened(bytes, document).ok())
        return 0;
    QTextDocument again;
    require(Rtfd::readFlattened(Rtfd::writeFlattened(document, 0), again).ok(), "written RTFD does not read");
    require(TextAttachments::all(again).size() == TextAttachments::all(document).size(),
        "written RTFD reads with another number of attachments");
    return 0;
}
