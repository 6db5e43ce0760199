// Outlines come from any program: any bytes imported as OPML must give a
// page tree or nothing, never crash or hang, and a tree must be one whose
// pages have their texts and IDs of their own.
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

void require(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "OPML import fuzzer: %s\n", what);
        std::abort();
    }
}

// Texts need fonts, and fonts need a GUI application. Imported pages take
// IDs from the preferences, so the fuzzer runs as a user of its own, in
// memory where there is a place for it.
void ensureApplication()
{
    static int argc = 1;
    static char name[] = "fuzz-opml-import";
    static char *argv[] = {name, nullptr};
    if (QCoreApplication::instance())
        return;
    static QTemporaryDir home(
        QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm/fuzz-opml-XXXXXX") : QString());
    for (const char *variable : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"})
        qputenv(variable, home.path().toLocal8Bit());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    new QGuiApplication(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("jw.*.warning=false"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ensureApplication();
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
