// Outlines come from any program: any bytes imported as OPML must give a
// page tree or nothing, never crash or hang, and a tree must be one whose
// pages have their texts and IDs of their own.
#include "FuzzSupport.h"
#include "exchange/OpmlImport.h"

#include <QDir>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QSet>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

const FuzzSupport::Requirement require{"OPML import"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzSupport::ensureApplication("fuzz-opml-import");
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const MemoPtr root = OpmlImport::memoFromOpmlData(bytes);
    if (!root)
        return 0;
    QList<MemoPtr> pages;
    root->addSubMemosToArray(pages, false);
    QSet<qint64> ids;
    for (const MemoPtr &page : pages) {
        require(!ids.contains(page->memoID()), "two imported pages share an ID");
        ids.insert(page->memoID());
        require(page->isMemoDataLoaded() && !page->isPlainTextMemo(), "an imported page without rich text");
    }
    return 0;
}
