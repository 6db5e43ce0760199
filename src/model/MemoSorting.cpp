#include "MemoSorting.h"

#include "JWMemo.h"

#include "util/StringUtility.h"

#include <algorithm>

namespace {

template<typename T>
int threeWay(const T &a, const T &b)
{
    if (a < b)
        return -1;
    return b < a ? 1 : 0;
}

int reversedIf(bool reverse, int result)
{
    return reverse ? -result : result;
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
    std::stable_sort(memos.begin(), memos.end(), [comparison, flag](const MemoPtr &a, const MemoPtr &b) {
        if (!a || !b)
            return a && !b;
        return comparison(*a, *b, flag) < 0;
    });
}

} // namespace MemoSorting
