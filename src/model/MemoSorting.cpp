#include "MemoSorting.h"

#include "JWMemo.h"

#include "util/StringUtility.h"

#include <QCollator>

#include <algorithm>
#include <optional>
#include <vector>

namespace {

template<typename T> int threeWay(const T &a, const T &b)
{
    if (a < b)
        return -1;
    return b < a ? 1 : 0;
}

int reversedIf(bool reverse, int result)
{
    return reverse ? -result : result;
}

// sortWithName over many pages: one collation key per title instead of a
// full collation per comparison, which is what makes large trees sort fast.
// The order is the one sortWithName gives.
void sortByName(QList<MemoPtr> &memos, bool flag)
{
    struct Entry
    {
        MemoPtr memo;
        std::optional<QCollatorSortKey> key; // none for an untitled page
        qsizetype position;
    };
    std::vector<Entry> entries;
    entries.reserve(std::size_t(memos.size()));
    for (qsizetype i = 0; i < memos.size(); ++i) {
        MemoPtr &memo = memos[i];
        std::optional<QCollatorSortKey> key;
        if (memo) {
            const QString title = memo->title();
            if (!title.isNull())
                key = StringUtility::naturalSortKey(title);
        }
        entries.push_back(Entry{std::move(memo), std::move(key), i});
    }

    const auto byName = [flag](const Entry &a, const Entry &b) {
        if (!a.memo || !b.memo)
            return a.memo && !b.memo;
        int result;
        if (!a.key && !b.key)
            result = threeWay(b.memo->memoID(), a.memo->memoID());
        else if (!a.key)
            result = 1;
        else if (!b.key)
            result = -1;
        else
            result = a.key->compare(*b.key);
        result = reversedIf(!flag, result);
        // Equal pages keep their order.
        return result < 0 || (result == 0 && a.position < b.position);
    };
    std::sort(entries.begin(), entries.end(), byName);
    for (qsizetype i = 0; i < memos.size(); ++i)
        memos[i] = std::move(entries[std::size_t(i)].memo);
}

} // namespace

namespace MemoSorting {

int sortWithDate(const JWMemo &a, const JWMemo &b, bool flag)
{
    const QDateTime dateA = a.modifiedAt();
    const QDateTime dateB = b.modifiedAt();
    int result;
    if (!dateA.isValid() && !dateB.isValid())
        result = threeWay(b.memoID(), a.memoID());
    else if (!dateA.isValid())
        result = 1;
    else if (!dateB.isValid())
        result = -1;
    else
        result = threeWay(dateB, dateA);
    return reversedIf(flag, result);
}

int sortWithName(const JWMemo &a, const JWMemo &b, bool flag)
{
    const QString titleA = a.title();
    const QString titleB = b.title();
    int result;
    if (titleA.isNull() && titleB.isNull())
        result = threeWay(b.memoID(), a.memoID());
    else if (titleA.isNull())
        result = 1;
    else if (titleB.isNull())
        result = -1;
    else
        result = StringUtility::naturalCompare(titleA, titleB);
    return reversedIf(!flag, result);
}

int sortWithID(const JWMemo &a, const JWMemo &b, bool flag)
{
    return reversedIf(!flag, threeWay(b.memoID(), a.memoID()));
}

int sortWithReferenceNumber(const JWMemo &a, const JWMemo &b, bool flag)
{
    return reversedIf(!flag, threeWay(b.referenceNumber(), a.referenceNumber()));
}

void sortMemos(QList<MemoPtr> &memos, Comparison comparison, bool flag)
{
    if (!comparison)
        return;
    if (comparison == &sortWithName) {
        sortByName(memos, flag);
        return;
    }
    std::stable_sort(memos.begin(), memos.end(), [comparison, flag](const MemoPtr &a, const MemoPtr &b) {
        if (!a || !b)
            return a && !b;
        return comparison(*a, *b, flag) < 0;
    });
}

} // namespace MemoSorting
