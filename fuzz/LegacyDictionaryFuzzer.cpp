// The previous version's preferences come from the user's disk, however old
// or damaged: any bytes read as a property list must convert to a page tree
// or be refused, never crash or hang. Bytes that are no property list are
// taken as a text with link markup, which must only ever get shorter.
#include "FuzzSupport.h"
#include "exchange/LinkMarkupConverter.h"
#include "exchange/OldDataConverter.h"
#include "platform/archive/PropertyList.h"

#include <QDir>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTextDocument>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

const FuzzSupport::Requirement require{"legacy dictionary"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzSupport::ensureApplication("fuzz-legacy-dictionary");
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const Result<QVariant> parsed = PropertyList::fromData(bytes);
    if (!parsed) {
        QTextDocument document;
        document.setPlainText(QString::fromUtf8(bytes));
        const int before = document.characterCount();
        LinkMarkupConverter::convertText(document);
        require(document.characterCount() <= before, "converting link markup made the text longer");
        return 0;
    }
    if (parsed.value().typeId() != QMetaType::QVariantMap)
        return 0;

    OldDataConverter::Context context = OldDataConverter::context();
    const Result<MemoPtr> root = OldDataConverter::memoWithOldDictionary(parsed.value().toMap(), context);
    if (!root)
        return 0;
    OldDataConverter::finish(context);
    QList<MemoPtr> pages;
    root.value()->addSubMemosToArray(pages, false);
    for (const MemoPtr &page : pages) {
        require(page->isMemoDataLoaded(), "a converted page without text");
        require(page->isEdited(), "a converted page not marked edited");
        require(page->windowAttribute() != nullptr, "a converted page without a window record");
    }
    return 0;
}
