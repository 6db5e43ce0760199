// Import: a 10 MB NTP2 outline (about 10,000 notes of 1 KB of ordinary text,
// in groups three levels deep, as another note program would write them), a
// folder of 1,000 text and RTF files, and a book of the whole 10,000-page tree.
#include "BenchFolder.h"
#include "RealisticText.h"

#include "exchange/BookFile.h"
#include "exchange/FileImport.h"
#include "exchange/ImportIdentifiers.h"
#include "exchange/NewNotePadImport.h"
#include "model/DataStore.h"
#include "model/JWMemo.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>

namespace {

constexpr qsizetype kOutlineSize = 10 * 1024 * 1024;

QString outlineText()
{
    const QString note = QStringLiteral(">>NOTE-----------------------------------------\n");
    const QString group = QStringLiteral(">>GROUP========================================\n");
    const QString groupEnd = QStringLiteral(">>GROUPEND-------------------------------------\n");
    const QString headerEnd = QStringLiteral(">>---------------------------------------------\n");

    const QString words = realisticText(kOutlineSize);
    QString text = QStringLiteral(">>NTP2---------\r\n");
    text.reserve(kOutlineSize + kOutlineSize / 8);
    qsizetype at = 0;
    int notes = 0;
    while (text.size() < kOutlineSize && at < words.size()) {
        // A group opens every 100 notes and every 10 groups go a level deeper, up to three.
        if (notes % 100 == 0) {
            if (notes % 1000 == 0 && notes > 0)
                text += groupEnd.repeated(3);
            text += group + QStringLiteral("Title:Group %1\r\n").arg(notes) + headerEnd;
        }
        // Cut at a space so that no word, and no surrogate pair, is split.
        const qsizetype end = std::max(words.indexOf(u' ', at + 1000), at + 1);
        text += note + QStringLiteral("Title:Note %1\r\n").arg(notes) + headerEnd;
        text += words.mid(at, end - at);
        text += QStringLiteral("\r\n");
        at = end;
        ++notes;
    }
    return text;
}

void BM_ImportNTP2_10MB(benchmark::State &state)
{
    const QString text = outlineText();
    qsizetype pages = 0;
    for (auto _ : state) {
        MemoPtr root = NewNotePadImport::newMemoFrom_NewNotePad(text);
        state.PauseTiming();
        pages = root ? qsizetype(root->children().size()) : 0;
        root.reset();
        state.ResumeTiming();
    }
    state.counters["text_MB"] = double(text.size()) / (1024 * 1024);
    state.counters["top_level_pages"] = double(pages);
}

// 1,000 files of 5 KB on average, every fourth one RTF, spread over 50
// folders of which every fifth holds a title file.
bool writeFolderOfNotes(const QString &root, qint64 *bytes)
{
    const QString words = realisticText(5 * 1024 * 1024 + 1024);
    qsizetype at = 0;
    *bytes = 0;
    for (int i = 0; i < 1000; ++i) {
        const QString folder = root + QStringLiteral("/Folder %1").arg(i % 50);
        if (!QDir().mkpath(folder))
            return false;
        const qsizetype end = std::max(words.indexOf(u' ', at + 5000), at + 1);
        const QString text = words.mid(at, end - at);
        at = end;
        const bool rtf = i % 4 == 0;
        const bool titleFile = i < 50 && i % 5 == 0;
        const QString name = titleFile ? QStringLiteral("Folder %1").arg(i % 50) : QStringLiteral("Note %1").arg(i);
        QFile file(folder + u'/' + name + (rtf ? QStringLiteral(".rtf") : QStringLiteral(".txt")));
        QByteArray content = text.toUtf8();
        if (rtf) {
            QString escaped;
            for (const QChar c : text)
                escaped += c.unicode() < 128 ? QString(c) : QStringLiteral("\\u%1?").arg(qint16(c.unicode()));
            content = "{\\rtf1\\ansi{\\fonttbl\\f0 Helvetica;}\\f0\\fs24 " + escaped.toLatin1() + "}";
        }
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            return false;
        *bytes += content.size();
    }
    return true;
}

void BM_ImportFolder1000(benchmark::State &state)
{
    QTemporaryDir folder;
    const QString root = folder.filePath(QStringLiteral("Notes"));
    qint64 bytes = 0;
    if (!writeFolderOfNotes(root, &bytes)) {
        state.SkipWithError("the folder of notes cannot be written");
        return;
    }
    qsizetype top = 0;
    for (auto _ : state) {
        FileImport import;
        MemoPtr memo = import.newMemoWithContentOfFile(root);
        state.PauseTiming();
        top = memo ? qsizetype(memo->children().size()) : 0;
        memo.reset();
        state.ResumeTiming();
    }
    state.counters["MB"] = double(bytes) / (1024 * 1024);
    state.counters["folders"] = double(top);
}

// The whole 10,000-page tree as a book, read back with new IDs and its links
// rewritten, as File > Import does.
void BM_ImportBook10k(benchmark::State &state)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("All.jw3book"));
    {
        const std::unique_ptr<DataStore> store = loadedStore(state);
        if (!store)
            return;
        if (const Status written = BookFile::write(store->rootMemo(), path); !written) {
            state.SkipWithError(written.errorMessage().toUtf8().constData());
            return;
        }
    }
    qsizetype pages = 0;
    for (auto _ : state) {
        FileImport import;
        MemoPtr memo = import.newMemoWithContentOfFile(path);
        state.PauseTiming();
        if (!memo) {
            state.SkipWithError("the book cannot be read");
            break;
        }
        pages = ImportIdentifiers::pagesOf(memo).size();
        memo.reset();
        state.ResumeTiming();
    }
    state.counters["pages"] = double(pages);
    state.counters["MB"] = double(QFileInfo(path).size()) / 1e6;
    reportPeakMemory(state);
}

} // namespace

BENCHMARK(BM_ImportFolder1000)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ImportBook10k)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ImportNTP2_10MB)->Unit(benchmark::kMillisecond)->Iterations(3);
