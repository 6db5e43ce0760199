// The first start after an upgrade from the previous major version: a
// preferences file holding a tree of 10,000 pages and one old text file per
// page, each a few hundred bytes of formatted text with one link in the old
// markup. The whole conversion is timed: preferences, tree, texts and links.
#include "exchange/LegacyImport.h"
#include "exchange/OldDataConverter.h"
#include "model/JWMemo.h"
#include "platform/archive/PropertyList.h"
#include "platform/richtext/TextConverter.h"

#include <benchmark/benchmark.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTextCharFormat>
#include <QTextCursor>

#include <algorithm>

namespace {

constexpr int kGroups = 99;
constexpr int kPagesPerGroup = 100; // with the groups and the root, 10,000 pages

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// The old text of page @p id: a few sentences, the first words bold, and a
// link to the page before it written as markup.
QByteArray oldText(qint64 id)
{
    TextConverter converter;
    converter.setString(QStringLiteral("Notes of page %1. The meeting moved to Thursday; bring the figures "
                                       "and the drafts. See <a JW2Link PageID=\"%2\">the page before</a> for "
                                       "what was agreed, and keep the open questions for the end. Two more "
                                       "lines of text follow here, as most pages have a little more to say.")
                            .arg(id)
                            .arg(std::max<qint64>(id - 1, 0)));
    QTextCursor cursor(&converter.document());
    cursor.movePosition(QTextCursor::NextWord, QTextCursor::KeepAnchor, 4);
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    cursor.mergeCharFormat(bold);
    return PropertyList::toData(
        QVariantMap{{QStringLiteral("Note"), converter.RTFDData()}}, PropertyList::Format::Binary)
        .valueOr(QByteArray());
}

QVariantMap oldPage(qint64 id, const QVariantList &children = {})
{
    QVariantMap page{{QStringLiteral("ID"), id}, {QStringLiteral("Title"), QStringLiteral("Page %1").arg(id)},
        {QStringLiteral("LastUpdate"), QDateTime::currentDateTimeUtc()}};
    if (!children.isEmpty())
        page.insert(QStringLiteral("Children"), children);
    return page;
}

// Writes the old preferences and text files into @p folder; false on failure.
bool writeOldData(const QString &folder)
{
    const QString texts = folder + QStringLiteral("/Jotwell2");
    if (!QDir().mkpath(texts))
        return false;
    qint64 next = 1;
    QVariantList groups;
    for (int g = 0; g < kGroups; ++g) {
        const qint64 groupID = next++;
        QVariantList pages;
        for (int p = 0; p < kPagesPerGroup; ++p)
            pages.append(oldPage(next++));
        groups.append(oldPage(groupID, pages));
    }
    for (qint64 id = 0; id < next; ++id) {
        if (!writeFile(OldDataConverter::oldNotePathForID(texts, id), oldText(id)))
            return false;
    }
    const Result<QByteArray> tree = PropertyList::toData(oldPage(0, groups), PropertyList::Format::Binary);
    const Result<QByteArray> preferences = PropertyList::toData(
        QVariantMap{{QStringLiteral("MainNoteData"), tree.valueOr(QByteArray())}, {QStringLiteral("AutoSave"), true}},
        PropertyList::Format::Binary);
    return tree && preferences && writeFile(folder + QStringLiteral("/Jotwell2.plist"), preferences.value());
}

void BM_ImportLegacy10k(benchmark::State &state)
{
    QTemporaryDir folder;
    if (!folder.isValid() || !writeOldData(folder.path())) {
        state.SkipWithError("cannot write the old data");
        return;
    }
    qint64 pages = 0;
    for (auto _ : state) {
        Result<MemoPtr> root = LegacyImport::importOldUserDefaults(
            folder.path() + QStringLiteral("/Jotwell2.plist"), folder.path() + QStringLiteral("/Jotwell2"));
        state.PauseTiming();
        if (!root || !root.value()) {
            state.SkipWithError("the conversion failed");
            return;
        }
        QList<MemoPtr> all;
        root.value()->addSubMemosToArray(all, false);
        pages = all.size();
        root = MemoPtr();
        state.ResumeTiming();
    }
    state.counters["pages"] = double(pages);
}
BENCHMARK(BM_ImportLegacy10k)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace
