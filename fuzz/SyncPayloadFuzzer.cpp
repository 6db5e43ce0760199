// The phone's page tree comes over the network from any device that finds
// the service: a damaged or forged tree must be refused or merged, never a
// crash, a hang, a lost page or a page in two places.
#include "FuzzSupport.h"
#include "model/JWMemo.h"
#include "model/MemoIDAllocator.h"
#include "model/MemoTree.h"
#include "sync/SyncMerge.h"
#include "sync/SyncPayload.h"

#include <QDir>
#include <QGuiApplication>
#include <QHash>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTimeZone>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

const FuzzSupport::Requirement require{"sync payload"};

void ensureApplication()
{
    if (QCoreApplication::instance())
        return;
    FuzzSupport::ensureApplication("fuzz-sync-payload");
    MemoIDAllocator::shared().resetCounter(1000);
}

MemoPtr page(const QString &title, qint64 id, int day, const MemoPtr &parent)
{
    MemoPtr memo = JWMemo::bareMemo();
    memo->setMemoID(id);
    memo->setTitle(title);
    memo->setPlainText(title);
    memo->setCreatedAt(QDateTime(QDate(2020, 1, day), QTime(0, 0), QTimeZone::utc()));
    memo->setModifiedAt(memo->createdAt());
    if (parent)
        parent->appendChild(memo);
    return memo;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ensureApplication();
    const auto tree = SyncPayload::decode(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!tree.ok())
        return 0;

    // The seeds' IDs are 1 to 9: the merge meets pages it knows, protected
    // pages, a removed-pages folder and a page outside the group.
    MemoTree memos;
    memos.setRoot(page(QStringLiteral("root"), 100, 1, nullptr));
    page(QStringLiteral("Outside"), 9, 1, memos.root());
    const MemoPtr group = page(QStringLiteral("Group"), 1, 1, memos.root());
    const MemoPtr a = page(QStringLiteral("A"), 2, 1, group);
    page(QStringLiteral("B"), 3, 20, a);
    const MemoPtr removed = page(SyncPayload::removedMemoTitle(), 4, 1, group);
    page(QStringLiteral("C"), 5, 1, removed);
    const MemoPtr secret = page(QStringLiteral("Secret"), 6, 1, a);
    page(QStringLiteral("D"), 7, 1, secret);
    secret->setProtectWithPassword(true);
    const QList<MemoPtr> before = memos.arrayOfMemos(memos.root());

    const MemoPtr merged
        = SyncMerge(memos, QStringLiteral("Group"), QDateTime(QDate(2020, 1, 10), QTime(0, 0), QTimeZone::utc()))
              .syncWithDictionary(tree.value());
    require(merged == group, "a decoded tree was not merged into the group");
    QHash<const JWMemo *, int> seen;
    for (const MemoPtr &memo : memos.arrayOfMemos(memos.root()))
        require(++seen[memo.get()] == 1, "a page stands in two places");
    for (const MemoPtr &memo : before)
        require(seen.contains(memo.get()), "a page was lost");
    return 0;
}
