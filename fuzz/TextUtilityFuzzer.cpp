// Text from outside goes through these: imported files of unknown encoding,
// clipped HTML, search phrases and sums the user types (or a script passes).
#include "platform/base/Localization.h"
#include "util/NumberUtility.h"
#include "util/SearchKeys.h"
#include "util/StringMarkers.h"
#include "util/StringUtility.h"

#include <QCoreApplication>

#include <cstddef>
#include <cstdint>

namespace {

// The localised separators and character sets are read from the strings
// tables, which need the application object.
void ensureApplication()
{
    if (QCoreApplication::instance())
        return;
    static int argc = 1;
    static char name[] = "fuzz-text-utility";
    static char *argv[] = {name, nullptr};
    static QCoreApplication application(argc, argv);
    Localization::install();
}

void check(bool condition)
{
    if (!condition)
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    ensureApplication();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ensureApplication();
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<QString> decoded = StringUtility::stringWithContentsOfDataByAutoDetectingEncoding(bytes);
    if (!decoded)
        return 0;
    const QString &text = *decoded;

    // Taking tags out and decoding the five entities only ever shortens.
    check(StringUtility::removeAllHTMLTag(text).size() <= text.size());

    const qsizetype cut = StringUtility::dividePointUpToLength(text, 64);
    check(cut >= 0 && cut <= text.size() && (text.size() <= 64 || cut <= 64));

    const QStringList keys = StringUtility::separateStringKeyToArray(text);
    (void)StringUtility::stringHasAllKeys(text, keys);
    for (int day : StringUtility::separateDateKeyToArray(text))
        (void)day;

    (void)NumberUtility::numberWithCalcurationStatement(text);
    (void)StringUtility::substringFrom(text, QStringLiteral("<"), QStringLiteral(">"));
    (void)StringUtility::escapedStringWithPercent(text);
    (void)StringUtility::naturalCompare(text, QStringLiteral("Page 10"));
    return 0;
}
