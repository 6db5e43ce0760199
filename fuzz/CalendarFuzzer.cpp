// Calendar files come from anyone. Any bytes must either be refused as not
// UTF-8 or give an event whose title is one line and whose body holds no
// backslash, and that body must go through the HTML reader without a crash.
#include "FuzzSupport.h"
#include "exchange/CalendarImport.h"

#include <QGuiApplication>
#include <QStringDecoder>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

const FuzzSupport::Requirement require{"calendar"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzSupport::ensureApplication("fuzz-calendar");
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return 0;

    const std::optional<CalendarImport::CalendarEvent> event = CalendarImport::firstEvent(text);
    if (!event)
        return 0;
    require(!event->title.contains(u'\n') && !event->title.contains(u'\r'), "the title spans lines");
    require(!event->body.contains(u'\\'), "a backslash is left in the body");
    (void)CalendarImport::plainStringOfHtml(event->body);
    return 0;
}
