// Book files are handed from one user to another: a damaged or forged book
// must be an error, never a crash, a hang or a tree that breaks later. A book
// that was read must hold a tree of distinct pages with their texts, and
// write back as a book that reads again.
#include "FuzzSupport.h"
#include "exchange/BookFile.h"
#include "model/JWMemo.h"

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

const FuzzSupport::Requirement require{"book file"};

// The pages from @p root down; each must be met once.
QList<MemoPtr> pagesOf(const MemoPtr &root)
{
    QList<MemoPtr> pages;
    root->addSubMemosToArray(pages, false);
    return pages;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzSupport::ensureApplication("fuzz-book-file");
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const Result<MemoPtr> book = BookFile::readData(bytes);
    if (!book)
        return 0;
    require(book.value() != nullptr, "a book without pages was read");

    const QList<MemoPtr> pages = pagesOf(book.value());
    QSet<qint64> ids;
    for (const MemoPtr &page : pages) {
        require(!ids.contains(page->memoID()), "two pages share an ID");
        ids.insert(page->memoID());
        require(!page->memoData().isNull(), "a page without text");
        require(!page->isPlainTextMemo() && page->isEdited(), "a page not marked edited and rich");
    }

    const Result<QByteArray> written = BookFile::data(book.value());
    if (!written)
        return 0; // values read that have no archived form; writing says so
    const Result<MemoPtr> again = BookFile::readData(written.value());
    require(again.ok(), "a book written from a book does not read");
    require(pagesOf(again.value()).size() == pages.size(), "the pages changed in number");
    return 0;
}
