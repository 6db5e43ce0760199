// Book files are handed from one user to another: a damaged or forged book
// must be an error, never a crash, a hang or a tree that breaks later. A book
// that was read must hold a tree of distinct pages with their texts, and
// write back as a book that reads again.
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

void require(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "book file fuzzer: %s\n", what);
        std::abort();
    }
}

// Texts need fonts, and fonts need a GUI application. Reading a book takes
// page IDs from the preferences, so the fuzzer runs as a user of its own,
// in memory where there is a place for it: every ID is written at once.
void ensureApplication()
{
    static int argc = 1;
    static char name[] = "fuzz-book-file";
    static char *argv[] = {name, nullptr};
    if (QCoreApplication::instance())
        return;
    static QTemporaryDir home(
        QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm/fuzz-book-XXXXXX") : QString());
    for (const char *variable : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"})
        qputenv(variable, home.path().toLocal8Bit());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    new QGuiApplication(argc, argv);
    // Every unreadable text writes a line; thousands of runs would drown the fuzzer's own output.
    QLoggingCategory::setFilterRules(QStringLiteral("jw.*.warning=false"));
}

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
    ensureApplication();
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
